// Sample types and format records: columns, classification, repair, silence
// and texts, with records that end early placed against guard pages.
#include "dsp/lxsampletype.h"

#include "guardbuffer.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <mmreg.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

using lxtest::GuardBuffer;

namespace {

typedef std::vector<BYTE> Bytes;

// The extensible form, usable wherever the 18-byte record is.
#pragma pack(push, 1)
struct Rec : tWAVEFORMATEX {
    WORD wValidBitsPerSample;
    DWORD dwChannelMask;
    GUID SubFormat;
};
#pragma pack(pop)

const GUID kFloatSubtype = {3, 0, 0x10, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
const BYTE kMark = 0xCC;

Rec Wfx(WORD tag, WORD channels, DWORD rate, WORD bits, WORD align, WORD cbSize = 0) {
    Rec w{};
    static_cast<tWAVEFORMATEX &>(w) = {tag, channels, rate, rate * align, align, bits, cbSize};
    return w;
}

Rec Stereo(WORD tag, WORD bits) { return Wfx(tag, 2, 44100, bits, (WORD)(bits / 8 * 2)); }

Rec Ext(WORD bits, WORD valid, bool pcm = true, WORD channels = 2) {
    Rec w = Wfx(0xFFFE, channels, 48000, bits, (WORD)(bits / 8 * channels), 22);
    w.wValidBitsPerSample = valid;
    w.dwChannelMask = channels == 2 ? 3 : 4;
    w.SubFormat = pcm ? LXKSDATAFORMAT_SUBTYPE_PCM : kFloatSubtype;
    return w;
}

Bytes Head(const Rec &w, size_t n = sizeof(Rec)) {
    const BYTE *p = reinterpret_cast<const BYTE *>(&w);
    return Bytes(p, p + n);
}

TEST(LxSampleType, ColumnsOfEveryTypeAndNoneForGaps) {
    const BYTE pcm[16] = {0x01, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    EXPECT_EQ(0, memcmp(pcm, &LXKSDATAFORMAT_SUBTYPE_PCM, 16));
    // The factor looks at the depth alone: float32 and unpacked24 get the 32-bit one.
    const struct {
        int type;
        UINT tag;
        int bits, bytes;
        double fullScale, factorOfBits;
    } rows[] = {
        {0, 0, 0, 0, 0.0, 1.0},
        {18, 1, 24, 3, 8388608.0, 8388608.0},
        {32, 3, 32, 4, 1.0, 2147483648.0},
        {33, 3, 64, 8, 1.0, 1.0},
        {48, 0xFE00, 32, 4, 8388608.0, 2147483648.0},
        {49, 0xFE01, 8, 1, 128.0, 128.0},
        {64, 0xFE02, 16, 2, 32768.0, 32768.0},
    };
    auto columns = [](LXSAMPLETYPE t) {
        return std::make_tuple(LxAudio_FormatTagFromSampleType(t), LxAudio_BitsFromSampleType(t),
                               LxAudio_BytesFromSampleType(t), SampleType_FullScale(t),
                               LxAudio_GetNormalizeFactor(LxAudio_BitsFromSampleType(t)));
    };
    for (const auto &r : rows) {
        EXPECT_EQ(std::make_tuple(r.tag, r.bits, r.bytes, r.fullScale, r.factorOfBits),
                  columns((LXSAMPLETYPE)r.type)) << r.type;
    }
    for (int bits : {-8, 1, 12, 20, 64, 0x10008}) EXPECT_EQ(1.0, LxAudio_GetNormalizeFactor(bits));
    for (int v : {-1, 1, 15, 20, 34, 50, 67, 0x7FFFFFFF, (int)0x80000010})
        EXPECT_EQ(std::make_tuple(0u, 0, 0, 0.0, 1.0), columns((LXSAMPLETYPE)v)) << v;
}

TEST(LxSampleType, ClassificationGridOfEveryTagAndDepth) {
    const int N = 0;
    // Channels, rate and alignment don't enter, so the bases carry nonsense there.
    const struct {
        const char *name;
        Rec base;
        int types[5];  // 8, 16, 24, 32, 64 bits
    } rows[] = {
        {"PCM", Wfx(1, 0, 0, 0, 0), {16, 17, 18, 19, N}},
        {"float", Wfx(3, 2, 44100, 0, 0), {N, N, N, 32, 33}},
        {"unpacked", Wfx(0xFE00, 2, 44100, 0, 0), {N, N, 48, 48, N}},
        {"signed", Wfx(0xFE01, 2, 44100, 0, 0), {49, 17, 18, 19, N}},
        {"big endian", Wfx(0xFE02, 7, 1, 0, 1), {16, 64, 65, 66, N}},
        {"extensible PCM", Ext(0, 32), {16, 17, 18, 19, N}},
        {"0xFE03", Wfx(0xFE03, 2, 44100, 0, 0), {N, N, N, N, N}},
    };
    const WORD depths[] = {8, 16, 24, 32, 64, 0, 7, 20, 31, 33, 48, 0xFFFF};
    for (const auto &r : rows) {
        for (int i = 0; i < 12; ++i) {
            Rec w = r.base;
            w.wBitsPerSample = depths[i];
            EXPECT_EQ(i < 5 ? r.types[i] : N, LxAudio_GetSampleType(&w)) << r.name << depths[i];
        }
    }
    EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(nullptr));
}

TEST(LxSampleType, ExtensibleNeedsThePcmSubtypeAndTheValidBitsOf32) {
    const struct {
        WORD bits, valid, cbSize;
        int type;
    } rows[] = {
        {32, 0, 22, 0}, {32, 23, 22, 0}, {32, 24, 22, 19}, {32, 25, 22, 0}, {32, 31, 22, 0},
        {32, 32, 22, 19}, {32, 33, 22, 0}, {8, 5, 22, 16}, {24, 20, 22, 18}, {64, 64, 22, 0},
        {16, 16, 21, 0}, {16, 16, 0xFFFF, 17},  // the subtype is there only when cbSize reaches it
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(std::to_string(r.bits) + "/" + std::to_string(r.valid) + "/" +
                     std::to_string(r.cbSize));
        Rec w = Ext(r.bits, r.valid);
        w.cbSize = r.cbSize;
        EXPECT_EQ(r.type, LxAudio_GetSampleType(&w));
        w.SubFormat = kFloatSubtype;
        EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(&w));
    }
    for (int at = 0; at < 16; ++at) {
        Rec w = Ext(16, 16);
        reinterpret_cast<BYTE *>(&w.SubFormat)[at] ^= 0x01;
        EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(&w)) << "subtype byte " << at;
    }
}

TEST(LxSampleType, FixBadWfxRepairsPcmRecordsOnlyAndKeepsTheDataRate) {
    const struct {
        const char *name;
        Rec before;
        WORD bits, align;
        BOOL changed;
    } rows[] = {
        {"20 bits stereo, align 5", Wfx(1, 2, 44100, 20, 5), 24, 6, TRUE},
        {"12 bits stereo: 12 / 8 truncates", Wfx(1, 2, 44100, 12, 3), 12, 2, TRUE},
        {"16 bits stereo, align 4", Wfx(1, 2, 44100, 16, 4), 16, 4, FALSE},
        {"16 bits stereo, align 3", Wfx(1, 2, 44100, 16, 3), 16, 4, TRUE},
        {"32 bits, 65535 channels: low 16 bits", Wfx(1, 65535, 8000, 32, 4), 32, 0xFFFC, TRUE},
        {"float, bad align", Wfx(3, 2, 44100, 32, 3), 32, 3, FALSE},
        {"extensible, 20 bits", Ext(20, 20), 20, 4, FALSE},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Rec expected = r.before, w = r.before;
        expected.wBitsPerSample = r.bits;
        expected.nBlockAlign = r.align;
        EXPECT_EQ(r.changed, LxAudio_FixBadWfx(&w));
        EXPECT_EQ(Head(expected), Head(w));
        EXPECT_FALSE(LxAudio_FixBadWfx(&w));
    }
    EXPECT_FALSE(LxAudio_FixBadWfx(nullptr));
}

TEST(LxSampleType, IsEqualFormatComparesFourFields) {
    const Rec base = Ext(24, 24);
    const struct {
        size_t at;
        bool equal;
    } rows[] = {
        {offsetof(tWAVEFORMATEX, wFormatTag), false},
        {offsetof(tWAVEFORMATEX, nChannels), false},
        {offsetof(tWAVEFORMATEX, nSamplesPerSec), false},
        {offsetof(tWAVEFORMATEX, wBitsPerSample), false},
        {offsetof(tWAVEFORMATEX, nAvgBytesPerSec), true},
        {offsetof(tWAVEFORMATEX, nBlockAlign), true},
        {offsetof(tWAVEFORMATEX, cbSize), true},
        {offsetof(WAVEFORMATEXTENSIBLE, SubFormat), true},
    };
    for (const auto &r : rows) {
        Rec other = base;
        reinterpret_cast<BYTE *>(&other)[r.at] ^= 1;
        EXPECT_EQ(r.equal, LxAudio_IsEqualFormat(&base, &other) != 0) << "offset " << r.at;
        EXPECT_EQ(r.equal, LxAudio_IsEqualFormat(&other, &base) != 0) << "offset " << r.at;
    }
    // Both classify as 24-bit PCM and still differ.
    const Rec pcm = Wfx(1, 2, 48000, 24, 6);
    EXPECT_FALSE(LxAudio_IsEqualFormat(&pcm, &base));
    EXPECT_FALSE(LxAudio_IsEqualFormat(nullptr, &base));
    EXPECT_FALSE(LxAudio_IsEqualFormat(nullptr, nullptr));
}

// The whole buffer afterwards, _ standing for an untouched byte.
const int _ = -1;
std::vector<int> Fill(size_t n, int fill) {
    std::vector<int> v(n, fill);
    v.push_back(_);
    return v;
}

TEST(LxSampleType, FillSilenceAndFillSilenceChannel) {
    const struct {
        const char *name;
        Rec w;
        int channel;  // -1: LxAudio_FillSilence
        UINT frames;
        HRESULT hr;
        std::vector<int> pattern;
    } rows[] = {
        {"float at 8 bits", Wfx(3, 1, 8000, 8, 1), -1, 5, S_OK, Fill(5, 0)},
        {"SIGNED8 is signed", Wfx(0xFE01, 1, 8000, 8, 1), -1, 5, S_OK, Fill(5, 0)},
        {"BE8 is unsigned", Wfx(0xFE02, 1, 8000, 8, 1), -1, 5, S_OK, Fill(5, 0x80)},
        {"extensible PCM8", Ext(8, 8), -1, 3, S_OK, Fill(6, 0x80)},
        {"extensible PCM32 with 20 valid bits", Ext(32, 20), -1, 1, S_OK, Fill(8, 0)},
        {"extensible float: quiet no-op", Ext(32, 32, false), -1, 3, S_OK, Fill(0, 0)},
        {"ADPCM", Wfx(2, 1, 22050, 4, 256, 32), -1, 1, E_FAIL, Fill(0, 0)},
        {"counted by a wrong alignment", Wfx(1, 2, 8000, 16, 3), -1, 3, S_OK, Fill(9, 0)},
        {"no frames beats an unknown tag", Wfx(2, 1, 22050, 4, 256, 32), -1, 0, S_OK, Fill(0, 0)},
        {"PCM8 stereo, right", Stereo(1, 8), 1, 3, S_OK, {_, 0x80, _, 0x80, _, 0x80, _, _}},
        {"PCM24, 3 channels, third", Wfx(1, 3, 8000, 24, 9), 2, 2, S_OK,
         {_, _, _, _, _, _, 0, 0, 0, _, _, _, _, _, _, 0, 0, 0, _, _}},
        {"FLOAT64 stereo, right", Stereo(3, 64), 1, 1, S_OK,
         {_, _, _, _, _, _, _, _, 0, 0, 0, 0, 0, 0, 0, 0, _}},
        {"float at 16 bits", Stereo(3, 16), 0, 2, E_FAIL, {_, _, _, _}},
        // Unpacked 24-bit samples fill their four-byte words.
        {"UNPACKED24 at 24 bits, right", Wfx(0xFE00, 2, 8000, 24, 8), 1, 2, S_OK,
         {_, _, _, _, 0, 0, 0, 0, _, _, _, _, 0, 0, 0, 0, _}},
        {"SIGNED8 stereo, right", Stereo(0xFE01, 8), 1, 3, S_OK, {_, 0, _, 0, _, 0, _}},
        // The step comes from tag and depth, not from the alignment.
        {"alignment 0", Wfx(1, 2, 8000, 16, 0), 1, 2, S_OK, {_, _, 0, 0, _, _, 0, 0, _}},
        {"PCM at 20 bits", Wfx(1, 2, 8000, 20, 6), 0, 1, E_FAIL, Fill(6, _)},
        // Taken whole, refused one channel at a time.
        {"extensible PCM16 stereo", Ext(16, 16), 0, 2, E_FAIL, Fill(4, _)},
        {"channel past the last", Stereo(1, 16), 2, 2, E_FAIL, Fill(4, _)},
        {"no frames, unknown tag", Wfx(2, 2, 22050, 4, 512, 32), 1, 0, S_OK, Fill(3, _)},
        {"no frames, bad channel", Stereo(1, 16), 2, 0, E_FAIL, Fill(3, _)},
        // Mono is LxAudio_FillSilence, which counts by the alignment.
        {"mono PCM8, channel 1", Wfx(1, 1, 8000, 8, 1), 1, 3, E_FAIL, Fill(4, _)},
        {"mono, alignment 2", Wfx(1, 1, 8000, 8, 2), 0, 2, S_OK, Fill(4, 0x80)},
        {"mono extensible PCM16", Ext(16, 16, true, 1), 0, 2, S_OK, Fill(4, 0)},
    };
    for (const auto &r : rows) {
        Bytes buffer(r.pattern.size(), kMark), expected;
        BYTE *p = buffer.data();
        EXPECT_EQ(r.hr, r.channel < 0 ? LxAudio_FillSilence(&r.w, p, r.frames)
                                      : LxAudio_FillSilenceChannel(&r.w, p, r.channel, r.frames))
            << r.name;
        for (int b : r.pattern) expected.push_back(b == _ ? kMark : (BYTE)b);
        EXPECT_EQ(expected, buffer) << r.name;
    }
    // Every length to 11 bytes at every offset in a word: words and tail cover the count.
    const Rec pcm8 = Wfx(1, 1, 8000, 8, 1);
    for (UINT frames = 0; frames < 12; ++frames) {
        for (size_t offset = 0; offset < 4; ++offset) {
            Bytes buffer(24, kMark), expected(24, kMark);
            EXPECT_EQ(S_OK, LxAudio_FillSilence(&pcm8, buffer.data() + offset, frames));
            memset(expected.data() + offset, 0x80, frames);
            EXPECT_EQ(expected, buffer) << frames << " frames at offset " << offset;
        }
    }
}

TEST(LxSampleType, FillSilenceRefusals) {
    const Rec w = Stereo(1, 16), huge = Wfx(1, 1, 8000, 8, 0xFFFF);
    Bytes buffer(8, kMark);
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(nullptr, buffer.data(), 2));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(&w, nullptr, 2));
    EXPECT_EQ(S_OK, LxAudio_FillSilence(&w, nullptr, 0));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(nullptr, buffer.data(), 0, 2));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(&w, nullptr, 0, 2));
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(&w, nullptr, 0, 0));
    // 65535 * 0x10002 bytes lie beyond the address space.
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(&huge, buffer.data(), 0x10002));
    EXPECT_EQ(Bytes(8, kMark), buffer);
}

// A 16-byte PCM or float record has no cbSize; an extensible one with cbSize 0
// ends after 18 bytes.
TEST(LxSampleType, ShortRecordsAreReadOnlyAsFarAsTheirTag) {
    GuardBuffer pcmRec(Head(Wfx(1, 2, 44100, 16, 4), 16).data(), 16);
    GuardBuffer fltRec(Head(Wfx(3, 1, 48000, 32, 4), 16).data(), 16);
    GuardBuffer extRec(Head(Wfx(0xFFFE, 2, 44100, 16, 4, 0), 18).data(), 18);
    ASSERT_TRUE(pcmRec.ok() && fltRec.ok() && extRec.ok());
    tWAVEFORMATEX *p = reinterpret_cast<tWAVEFORMATEX *>(pcmRec.data());
    const tWAVEFORMATEX *f = reinterpret_cast<const tWAVEFORMATEX *>(fltRec.data());
    const tWAVEFORMATEX *e = reinterpret_cast<const tWAVEFORMATEX *>(extRec.data());
    EXPECT_EQ(LXSAMPLETYPE_PCM16, LxAudio_GetSampleType(p));
    EXPECT_EQ(LXSAMPLETYPE_FLOAT32, LxAudio_GetSampleType(f));
    EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(e));
    EXPECT_FALSE(LxAudio_IsEqualFormat(p, f));
    EXPECT_FALSE(LxAudio_FixBadWfx(p));
    Bytes buffer(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(p, buffer.data(), 2));
    EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0, 0, 0, kMark, kMark, kMark, kMark}), buffer);
    buffer.assign(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(p, buffer.data(), 1, 2));
    EXPECT_EQ((Bytes{kMark, kMark, 0, 0, kMark, kMark, 0, 0, kMark, kMark, kMark, kMark}), buffer);
    // No subtype: a quiet no-op whole, a refusal per channel.
    buffer.assign(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(e, buffer.data(), 1));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(e, buffer.data(), 0, 1));
    EXPECT_EQ(Bytes(12, kMark), buffer);
}

// The texts need the Kernel's language block and its string table.
class LxSampleTypeText : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr))); }
    void TearDown() override { Kernel_ProcessDetach(); }

    static std::string Locale(LCTYPE what) {
        char text[16] = {0};
        if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, what, text, sizeof text)) text[0] = 0;
        return text;
    }
    // The text written into a buffer of marks, and the result of a null buffer.
    template <class Fn> static std::string Text(Fn fn, HRESULT hr, UINT size = 256) {
        char text[256];
        memset(text, kMark, sizeof text);
        EXPECT_EQ(hr, fn(text, size));
        EXPECT_EQ(hr, fn(nullptr, 0));
        if (hr == S_OK) return std::string(text, strnlen(text, sizeof text));
        // "Unknown" cut to the size, the last byte zero.
        memset(text, kMark, sizeof text);
        EXPECT_EQ(E_FAIL, fn(text, 4));
        EXPECT_EQ((Bytes{'U', 'n', 'k', 0, kMark}), Bytes(text, text + 5));
        fn(text, size);
        return std::string(text, strnlen(text, sizeof text));
    }
};

TEST_F(LxSampleTypeText, TextsCopyAtMostSizeAndZeroTheLastByte) {
    const struct {
        UINT tag, size;
        Bytes after;  // the first 10 bytes of a buffer of marks
    } rows[] = {
        {1, 8, {'P', 'C', 'M', 0, kMark, kMark, kMark, 0, kMark, kMark}},
        {1, 1, {0, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark}},
        {0xFE02, 10, {'P', 'C', 'M', ' ', '(', 'b', 'i', 'g', ' ', 0}},
        {1, 0, Bytes(10, kMark)},
    };
    for (const auto &r : rows) {
        Bytes buffer(10, kMark);
        EXPECT_EQ(S_OK, LxAudio_GetTagText(r.tag, reinterpret_cast<char *>(buffer.data()), r.size));
        EXPECT_EQ(r.after, buffer) << r.tag << " size " << r.size;
    }
    EXPECT_EQ(S_OK, LxAudio_GetTagText(1, nullptr, 64));
    const Rec w = Wfx(1, 2, 500, 16, 4);
    Bytes buffer(8, kMark);
    EXPECT_EQ(S_OK, LxAudio_GetAttribsText(&w, reinterpret_cast<char *>(buffer.data()), 5));
    EXPECT_EQ((Bytes{'5', '0', '0', ' ', 0, kMark, kMark, kMark}), buffer);
}

// Tags 2 and 0x55 are named by the compression manager's drivers, in Wine's
// words: Windows calls tag 2 "Microsoft ADPCM" too, but 0x55 "MPEG Layer-3".
TEST_F(LxSampleTypeText, TagTexts) {
    const struct {
        UINT tag;
        const char *text;
        HRESULT hr;
    } rows[] = {
        {1, "PCM", S_OK}, {3, "PCM (float)", S_OK}, {0xFE00, "PCM (unpacked)", S_OK},
        {0xFE01, "PCM (signed)", S_OK}, {0xFE02, "PCM (big endian)", S_OK},
        {2, "Microsoft ADPCM", S_OK}, {0x55, "MPeg3", S_OK}, {0xFE03, "Unknown", E_FAIL},
        {0x10001, "Unknown", E_FAIL},
    };
    for (const auto &r : rows) {
        auto text = [&](char *t, UINT n) { return LxAudio_GetTagText(r.tag, t, n); };
        EXPECT_EQ(r.text, Text(text, r.hr)) << r.tag;
    }
}

// A complete ADPCM record: 22050 Hz mono, 512-byte blocks of 1012 samples.
Bytes Adpcm22kMono() {
    Rec w = Wfx(2, 1, 22050, 4, 512, 32);
    w.nAvgBytesPerSec = 11155;
    Bytes b = Head(w, 18);
    const short extra[16] = {1012, 7,   256, 0, 512, -256, 0,   0,
                             192,  64,  240, 0, 460, -208, 392, -232};
    b.insert(b.end(), (const BYTE *)extra, (const BYTE *)extra + 32);
    return b;
}

// Each record flush with a guard page: PCM and float as 16 bytes, the rest as
// 18 + cbSize. Own tags whose alignment adds up come from the string table
// ($d groups with the thousand separator T, "$," is the list separator L);
// the rest go to the compression manager, whose Wine drivers compose
// "<rate> Hz; <bits> bits; Mono|Stereo" for any tag at a standard format.
TEST_F(LxSampleTypeText, AttribsTexts) {
    const std::string T = Locale(LOCALE_STHOUSAND), L = Locale(LOCALE_SLIST);
    const struct {
        const char *name;
        Bytes record;
        std::string text;
        HRESULT hr;
    } rows[] = {
        {"PCM16 stereo", Head(Stereo(1, 16), 16),
         "44" + T + "100 Hz" + L + " 16 Bit" + L + " Stereo", S_OK},
        {"float mono", Head(Wfx(3, 1, 48000, 32, 4), 16),
         "48" + T + "000 Hz" + L + " 32 Bit (IEEE Float)" + L + " Mono", S_OK},
        {"big endian, 3 channels", Head(Wfx(0xFE02, 3, 1000000, 16, 6), 18),
         "1" + T + "000" + T + "000 Hz" + L + " 16 Bit" + L + " 3 Channel", S_OK},
        // The gate only asks that the alignment adds up.
        {"20 bits, alignment 4", Head(Wfx(1, 2, 44100, 20, 4), 16),
         "44" + T + "100 Hz" + L + " 20 Bit" + L + " Stereo", S_OK},
        {"ADPCM", Adpcm22kMono(), "22050 Hz; 4 bits; Mono", S_OK},
        {"PCM16, alignment 3", Head(Wfx(1, 2, 44100, 16, 3), 16), "44100 Hz; 16 bits; Stereo",
         S_OK},
        {"PCM16 at 12345 Hz, alignment 3", Head(Wfx(1, 2, 12345, 16, 3), 16), "Unknown", E_FAIL},
        {"float mono, alignment 1", Head(Wfx(3, 1, 48000, 32, 1), 16), "Unknown", E_FAIL},
        {"big endian, alignment 1", Head(Wfx(0xFE02, 2, 12345, 16, 1), 18), "Unknown", E_FAIL},
        {"extensible float", Head(Ext(32, 32, false)), "Unknown", E_FAIL},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        GuardBuffer rec(r.record.data(), r.record.size());
        ASSERT_TRUE(rec.ok());
        const tWAVEFORMATEX *w = reinterpret_cast<const tWAVEFORMATEX *>(rec.data());
        auto text = [&](char *t, UINT n) { return LxAudio_GetAttribsText(w, t, n); };
        EXPECT_EQ(r.text, Text(text, r.hr));
    }
    auto none = [](char *t, UINT n) { return LxAudio_GetAttribsText(nullptr, t, n); };
    EXPECT_EQ("Unknown", Text(none, E_FAIL));
}

}  // namespace
