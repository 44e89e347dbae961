// The sample-type family through MARLOK.DLL's exports, texts from its own string table.
#include "dsp/lxsampletype.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

WAVEFORMATEX Pcm(WORD channels, WORD bits) {
    const WORD align = (WORD)(channels * bits / 8);
    return WAVEFORMATEX{1, channels, 500, 500u * align, align, bits, 0};
}

TEST(LxSampleTypeDll, ColumnsClassificationAndSilence) {
    EXPECT_EQ(0xFE02u, LxAudio_FormatTagFromSampleType(LXSAMPLETYPE_BE24));
    EXPECT_EQ(32, LxAudio_BitsFromSampleType(LXSAMPLETYPE_UNPACKED24));
    EXPECT_EQ(0, LxAudio_BytesFromSampleType((LXSAMPLETYPE)67));
    EXPECT_EQ(8388608.0, LxAudio_GetNormalizeFactor(24));
    const WAVEFORMATEX w = Pcm(2, 24), pcm8 = Pcm(2, 8);
    EXPECT_EQ(LXSAMPLETYPE_PCM24, LxAudio_GetSampleType(&w));
    EXPECT_TRUE(LxAudio_IsEqualFormat(&w, &w));
    WAVEFORMATEX bad = Pcm(2, 20);
    bad.nBlockAlign = 6;
    EXPECT_TRUE(LxAudio_FixBadWfx(&bad));
    EXPECT_EQ(24, +bad.wBitsPerSample);
    BYTE buffer[7];
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(&pcm8, buffer, 3));
    EXPECT_EQ(0, memcmp("\x80\x80\x80\x80\x80\x80\xCC", buffer, 7));
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(&pcm8, buffer, 1, 3));
    EXPECT_EQ(0, memcmp("\xCC\x80\xCC\x80\xCC\x80\xCC", buffer, 7));
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
