// Format records, each flush with a guard page at the length a file would give it.
#include "dsp/lxsampletype.h"

#include "guardbuffer.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

const GUID kFloat = {3, 0, 0x10, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

WAVEFORMATEXTENSIBLE Wfx(WORD tag, WORD channels, WORD bits, WORD align, WORD cbSize = 0,
                         WORD valid = 0, const GUID &sub = LXKSDATAFORMAT_SUBTYPE_PCM,
                         DWORD rate = 44100) {
    return {{tag, channels, rate, rate * align, align, bits, cbSize}, {valid}, 3, sub};
}

// PCM and float records may end before cbSize; the rest end after cbSize more bytes.
struct Placed {
    explicit Placed(const WAVEFORMATEXTENSIBLE &w)
        : rec(&w, w.Format.wFormatTag % 2 && w.Format.wFormatTag < 4 ? 16 : 18 + w.Format.cbSize) {}
    const tWAVEFORMATEX *get() const { return (const tWAVEFORMATEX *)rec.data(); }
    lxtest::GuardBuffer rec;
};

TEST(LxSampleType, ColumnsAndClassification) {
    const LXSAMPLETYPE u24 = LXSAMPLETYPE_UNPACKED24;  // 32 bits: its container
    EXPECT_EQ(std::make_tuple(0xFE00u, 32, 4, 0u),
              std::make_tuple(LxAudio_FormatTagFromSampleType(u24), LxAudio_BitsFromSampleType(u24),
                              LxAudio_BytesFromSampleType(u24),
                              LxAudio_FormatTagFromSampleType((LXSAMPLETYPE)67)));
    const struct {
        WAVEFORMATEXTENSIBLE base;  // channels and alignment don't enter
        int types[5];  // at 8, 16, 24, 32, 64 bits; every other depth gives 0
    } grid[] = {
        {Wfx(1, 0, 0, 0), {16, 17, 18, 19, 0}}, {Wfx(3, 2, 0, 0), {0, 0, 0, 32, 33}},
        {Wfx(0xFE00, 2, 0, 7), {0, 0, 48, 48, 0}}, {Wfx(0xFE01, 2, 0, 0), {49, 17, 18, 19, 0}},
        {Wfx(0xFE02, 7, 0, 1), {16, 64, 65, 66, 0}},
        {Wfx(0xFFFE, 2, 0, 0, 22, 24), {16, 17, 18, 19, 0}},
        {Wfx(0xFFFE, 2, 0, 0, 22, 33), {16, 17, 18, 0, 0}},  // valid bits of 32: 24 or 32
        {Wfx(0xFFFE, 2, 0, 0, 22, 32, kFloat), {0, 0, 0, 0, 0}},
        {Wfx(0xFFFE, 2, 0, 0), {0, 0, 0, 0, 0}},  // no room for a subtype
    };
    const WORD depths[] = {8, 16, 24, 32, 64, 0, 20, 0xFFFF};
    for (const auto &r : grid) {
        for (int i = 0; i < 8; ++i) {
            WAVEFORMATEXTENSIBLE w = r.base;
            w.Format.wBitsPerSample = depths[i];
            EXPECT_EQ(i < 5 ? r.types[i] : 0, LxAudio_GetSampleType(Placed(w).get()))
                << "row " << &r - grid << " depth " << depths[i];
        }
    }
    EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(nullptr));
}

TEST(LxSampleType, FillSilenceAndFillSilenceChannel) {
    const int _ = -1;  // a byte left as it was
    const struct {
        WAVEFORMATEXTENSIBLE w;
        int channel;  // -1: the whole buffer
        HRESULT hr;
        std::vector<int> after;  // two frames
    } rows[] = {
        {Wfx(0xFE01, 1, 8, 1), -1, S_OK, {0, 0, _}},
        {Wfx(0xFE02, 1, 8, 1), -1, S_OK, {0x80, 0x80, _}},
        {Wfx(0xFFFE, 1, 16, 2), -1, S_OK, {_}},  // no PCM subtype: quietly nothing
        {Wfx(2, 1, 4, 2), -1, E_FAIL, {_}},
        {Wfx(1, 2, 8, 2), 1, S_OK, {_, 0x80, _, 0x80, _}},
        {Wfx(1, 2, 16, 0), 1, S_OK, {_, _, 0, 0, _, _, 0, 0, _}},  // the step from the depth
        {Wfx(0xFFFE, 2, 16, 4, 22, 16), 0, E_FAIL, {_}},  // taken whole only
        {Wfx(1, 2, 16, 4), 2, E_FAIL, {_}},
        {Wfx(1, 1, 8, 2), 0, S_OK, {0x80, 0x80, 0x80, 0x80, _}},  // mono fills whole frames
    };
    for (const auto &r : rows) {
        std::vector<BYTE> out(r.after.size(), 0xCC), expected;
        const Placed w(r.w);
        EXPECT_EQ(r.hr, r.channel < 0 ? LxAudio_FillSilence(w.get(), out.data(), 2)
                                      : LxAudio_FillSilenceChannel(w.get(), &out[0], r.channel, 2));
        for (int b : r.after) expected.push_back(b == _ ? 0xCC : (BYTE)b);
        EXPECT_EQ(expected, out) << "row " << &r - rows;
    }
    // Words, then the tail: every length to 11 bytes at every offset in a word.
    const WAVEFORMATEXTENSIBLE pcm8 = Wfx(1, 1, 8, 1), huge = Wfx(1, 1, 8, 0xFFFF);
    for (UINT i = 0; i < 48; ++i) {
        lxtest::GuardBuffer buffer(i % 4 + i / 4);
        ASSERT_EQ(S_OK, LxAudio_FillSilence(&pcm8.Format, buffer.data() + i % 4, i / 4));
        ASSERT_EQ(std::string(i % 4, 0) + std::string(i / 4, '\x80'),
                  std::string((char *)buffer.data(), buffer.size())) << i;
    }
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(&huge.Format, (void *)&pcm8, 0x10002));  // > 4 GB
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(nullptr, (void *)&pcm8, 0, 2));
}

// Own tags are named from the Kernel's string table, 2 and 0x55 by the compression
// manager's drivers, in Wine's words.
TEST(LxSampleTypeText, TagAndAttributeTexts) {
    ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr)));
    const UINT tags[] = {1, 0xFE02, 2, 0x55, 0xFE03};
    const char *names[] = {"PCM", "PCM (big endian)", "Microsoft ADPCM", "MPeg3", "Unknown"};
    char text[40], list[8] = {0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(i < 4 ? S_OK : E_FAIL, LxAudio_GetTagText(tags[i], text, sizeof text));
        EXPECT_EQ(i < 4 ? S_OK : E_FAIL, LxAudio_GetTagText(tags[i], nullptr, 0));
        EXPECT_STREQ(names[i], text);
    }
    GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SLIST, list, sizeof list);
    const Placed own(Wfx(0xFE02, 3, 16, 6, 0, 0, kFloat, 500)), asked(Wfx(1, 2, 16, 3));
    EXPECT_EQ(S_OK, LxAudio_GetAttribsText(own.get(), text, sizeof text));
    EXPECT_EQ(std::string("500 Hz") + list + " 16 Bit" + list + " 3 Channel", text);
    EXPECT_EQ(S_OK, LxAudio_GetAttribsText(asked.get(), text, sizeof text));
    EXPECT_STREQ("44100 Hz; 16 bits; Stereo", text);
    memset(text, '?', sizeof text);  // at most size bytes, the last one zero
    EXPECT_EQ(E_FAIL, LxAudio_GetAttribsText(Placed(Wfx(0xFFFE, 2, 32, 8, 22, 32, kFloat)).get(),
                                             text, 4));
    EXPECT_EQ(std::string("Unk\0?", 5), std::string(text, 5));
    Kernel_ProcessDetach();
}

}  // namespace
