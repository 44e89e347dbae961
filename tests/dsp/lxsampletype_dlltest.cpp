// The sample-type family through MARLOK.DLL's exports: the columns, a
// classification, silence, and texts from the DLL's own string table.
#include "dsp/lxsampletype.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

WAVEFORMATEX Pcm(WORD channels, WORD bits) {
    WAVEFORMATEX w;
    memset(&w, 0, sizeof w);
    w.wFormatTag = 1;
    w.nChannels = channels;
    w.nSamplesPerSec = 500;
    w.nBlockAlign = (WORD)(channels * bits / 8);
    w.nAvgBytesPerSec = 500u * w.nBlockAlign;
    w.wBitsPerSample = bits;
    return w;
}

TEST(LxSampleTypeDll, ColumnsAndClassification) {
    EXPECT_EQ(0xFE02u, LxAudio_FormatTagFromSampleType(LXSAMPLETYPE_BE24));
    EXPECT_EQ(32, LxAudio_BitsFromSampleType(LXSAMPLETYPE_UNPACKED24));
    EXPECT_EQ(0, LxAudio_BytesFromSampleType((LXSAMPLETYPE)67));
    EXPECT_EQ(8388608.0, LxAudio_GetNormalizeFactor(24));
    const WAVEFORMATEX w = Pcm(2, 24);
    EXPECT_EQ(LXSAMPLETYPE_PCM24, LxAudio_GetSampleType(&w));
    EXPECT_TRUE(LxAudio_IsEqualFormat(&w, &w));
    WAVEFORMATEX bad = Pcm(2, 20);
    bad.nBlockAlign = 6;
    EXPECT_TRUE(LxAudio_FixBadWfx(&bad));
    EXPECT_EQ(24, +bad.wBitsPerSample);
}

TEST(LxSampleTypeDll, SilenceOfUnsigned8Bit) {
    const WAVEFORMATEX w = Pcm(2, 8);
    BYTE buffer[7];
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(&w, buffer, 3));
    const BYTE all[7] = {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0xCC};
    EXPECT_EQ(0, memcmp(all, buffer, 7));
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(&w, buffer, 1, 3));
    const BYTE right[7] = {0xCC, 0x80, 0xCC, 0x80, 0xCC, 0x80, 0xCC};
    EXPECT_EQ(0, memcmp(right, buffer, 7));
}

TEST(LxSampleTypeDll, TextsComeFromTheDllsStringTable) {
    char text[64];
    EXPECT_EQ(S_OK, LxAudio_GetTagText(0xFE01, text, sizeof text));
    EXPECT_STREQ("PCM (signed)", text);
    EXPECT_EQ(E_FAIL, LxAudio_GetTagText(0x7777, text, sizeof text));
    EXPECT_STREQ("Unknown", text);

    char list[8] = {0};
    GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SLIST, list, sizeof list);
    const WAVEFORMATEX w = Pcm(1, 16);
    EXPECT_EQ(S_OK, LxAudio_GetAttribsText(&w, text, sizeof text));
    EXPECT_EQ(std::string("500 Hz") + list + " 16 Bit" + list + " Mono", text);
}

}  // namespace
