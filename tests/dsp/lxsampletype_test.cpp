// Sample types and format records: the columns of every type, the
// classification grid of every tag and depth, the repair of damaged PCM
// records, silence byte for byte, the format texts from the Kernel's string
// table and from the compression manager, and records that end early or
// carry wrong counts, the short ones placed against guard pages.
#include "dsp/lxsampletype.h"

#include "guardbuffer.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <mmreg.h>

#include <cstring>
#include <string>
#include <vector>

using lxtest::GuardBuffer;

namespace {

typedef std::vector<BYTE> Bytes;

// The record in its extensible form, usable wherever the 18-byte record is.
#pragma pack(push, 1)
struct Rec : tWAVEFORMATEX {
    WORD wValidBitsPerSample;
    DWORD dwChannelMask;
    GUID SubFormat;
};
#pragma pack(pop)
static_assert(sizeof(Rec) == sizeof(WAVEFORMATEXTENSIBLE), "same layout");

const GUID kFloatSubtype = {
    0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

Rec Wfx(WORD tag, WORD channels, DWORD rate, WORD bits, WORD align, WORD cbSize = 0) {
    Rec w;
    memset(&w, 0, sizeof w);
    w.wFormatTag = tag;
    w.nChannels = channels;
    w.nSamplesPerSec = rate;
    w.nAvgBytesPerSec = rate * align;
    w.nBlockAlign = align;
    w.wBitsPerSample = bits;
    w.cbSize = cbSize;
    return w;
}

// A consistent record of a tag and depth in two channels.
Rec Stereo(WORD tag, WORD bits) { return Wfx(tag, 2, 44100, bits, (WORD)(bits / 8 * 2)); }

enum Sub { kPcmSub, kFloatSub };

Rec Ext(WORD bits, WORD valid, Sub sub = kPcmSub, WORD channels = 2) {
    Rec w = Wfx(0xFFFE, channels, 48000, bits, (WORD)(bits / 8 * channels), 22);
    w.wValidBitsPerSample = valid;
    w.dwChannelMask = channels == 2 ? 3 : 4;
    w.SubFormat = sub == kPcmSub ? LXKSDATAFORMAT_SUBTYPE_PCM : kFloatSubtype;
    return w;
}

Bytes RecordBytes(const Rec &w) {
    const BYTE *p = reinterpret_cast<const BYTE *>(&w);
    return Bytes(p, p + sizeof w);
}

std::string Hex(WORD v) {
    char s[16];
    wsprintfA(s, "0x%04X", v);
    return s;
}

// ---------------------------------------------------------------------------
// The record and the columns of each type.

TEST(LxSampleType, RecordLayoutIsThePlatformsExtensibleForm) {
    EXPECT_EQ(18u, sizeof(tWAVEFORMATEX));
    EXPECT_EQ(16u, offsetof(tWAVEFORMATEX, cbSize));
    EXPECT_EQ(24u, offsetof(WAVEFORMATEXTENSIBLE, SubFormat));
    const BYTE pcm[16] = {0x01, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    EXPECT_EQ(0, memcmp(pcm, &LXKSDATAFORMAT_SUBTYPE_PCM, 16));
}

TEST(LxSampleType, ColumnsOfEveryType) {
    // factorOfBits: the normalize factor of the type's bit column, which
    // looks at the depth alone, so float32 and unpacked24 get the 32-bit
    // factor where their full scale is 1.0 and 2^23.
    const struct {
        const char *name;
        LXSAMPLETYPE type;
        int value;
        UINT tag;
        int bits, bytes;
        double fullScale, factorOfBits;
    } rows[] = {
        {"NONE", LXSAMPLETYPE_NONE, 0, 0, 0, 0, 0.0, 1.0},
        {"PCM24", LXSAMPLETYPE_PCM24, 18, 1, 24, 3, 8388608.0, 8388608.0},
        {"FLOAT32", LXSAMPLETYPE_FLOAT32, 32, 3, 32, 4, 1.0, 2147483648.0},
        {"FLOAT64", LXSAMPLETYPE_FLOAT64, 33, 3, 64, 8, 1.0, 1.0},
        {"UNPACKED24", LXSAMPLETYPE_UNPACKED24, 48, 0xFE00, 32, 4, 8388608.0, 2147483648.0},
        {"SIGNED8", LXSAMPLETYPE_SIGNED8, 49, 0xFE01, 8, 1, 128.0, 128.0},
        {"BE16", LXSAMPLETYPE_BE16, 64, 0xFE02, 16, 2, 32768.0, 32768.0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.value, (int)r.type);
        EXPECT_EQ(r.tag, LxAudio_FormatTagFromSampleType(r.type));
        EXPECT_EQ(r.bits, LxAudio_BitsFromSampleType(r.type));
        EXPECT_EQ(r.bytes, LxAudio_BytesFromSampleType(r.type));
        EXPECT_EQ(r.fullScale, SampleType_FullScale(r.type));
        EXPECT_EQ(r.factorOfBits, LxAudio_GetNormalizeFactor(LxAudio_BitsFromSampleType(r.type)));
    }
    // Depths other than 8, 16, 24 and 32 have factor 1.
    for (int bits : {-8, 1, 12, 20, 64, 0x10008}) EXPECT_EQ(1.0, LxAudio_GetNormalizeFactor(bits)) << bits;
}

TEST(LxSampleType, GapsAndValuesOutsideTheRangeHaveNoColumns) {
    const int values[] = {-1, 1, 15, 20, 34, 50, 67, 0x7FFFFFFF, (int)0x80000010};
    for (int v : values) {
        SCOPED_TRACE(v);
        EXPECT_EQ(0u, LxAudio_FormatTagFromSampleType((LXSAMPLETYPE)v));
        EXPECT_EQ(0, LxAudio_BitsFromSampleType((LXSAMPLETYPE)v));
        EXPECT_EQ(0, LxAudio_BytesFromSampleType((LXSAMPLETYPE)v));
        EXPECT_EQ(0.0, SampleType_FullScale((LXSAMPLETYPE)v));
    }
}

// ---------------------------------------------------------------------------
// Classification.

TEST(LxSampleType, ClassificationGridOfEveryTagAndDepth) {
    const int N = 0;
    const struct {
        const char *name;
        Rec base;
        int types[5];  // 8, 16, 24, 32, 64 bits
    } rows[] = {
        {"PCM", Wfx(1, 2, 44100, 0, 0), {16, 17, 18, 19, N}},
        {"float", Wfx(3, 2, 44100, 0, 0), {N, N, N, 32, 33}},
        {"unpacked", Wfx(0xFE00, 2, 44100, 0, 0), {N, N, 48, 48, N}},
        {"signed", Wfx(0xFE01, 2, 44100, 0, 0), {49, 17, 18, 19, N}},
        {"big endian", Wfx(0xFE02, 2, 44100, 0, 0), {16, 64, 65, 66, N}},
        {"extensible PCM", Ext(0, 32), {16, 17, 18, 19, N}},
        {"extensible float", Ext(0, 32, kFloatSub), {N, N, N, N, N}},
        {"ADPCM", Wfx(2, 2, 44100, 0, 0), {N, N, N, N, N}},
        {"0xFE03", Wfx(0xFE03, 2, 44100, 0, 0), {N, N, N, N, N}},
        {"0xFDFF", Wfx(0xFDFF, 2, 44100, 0, 0), {N, N, N, N, N}},
    };
    const WORD depths[5] = {8, 16, 24, 32, 64};
    const WORD others[] = {0, 7, 20, 31, 33, 48, 0xFFFF};
    for (const auto &r : rows) {
        for (int i = 0; i < 5; ++i) {
            Rec w = r.base;
            w.wBitsPerSample = depths[i];
            w.nBlockAlign = (WORD)(depths[i] / 8 * w.nChannels);
            SCOPED_TRACE(std::string(r.name) + " at " + std::to_string(depths[i]) + " bits");
            EXPECT_EQ(r.types[i], LxAudio_GetSampleType(&w));
        }
        for (WORD bits : others) {
            Rec w = r.base;
            w.wBitsPerSample = bits;
            SCOPED_TRACE(std::string(r.name) + " at " + std::to_string(bits) + " bits");
            EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(&w));
        }
    }
}

TEST(LxSampleType, ClassificationIgnoresTheOtherFields) {
    // Channels, rate, alignment and data rate don't enter: a record with
    // nonsense there still has a type.
    Rec w = Wfx(1, 0, 0, 16, 0);
    EXPECT_EQ(LXSAMPLETYPE_PCM16, LxAudio_GetSampleType(&w));
    w = Wfx(0xFE02, 7, 1, 24, 1);
    w.nAvgBytesPerSec = 0xFFFFFFFF;
    EXPECT_EQ(LXSAMPLETYPE_BE24, LxAudio_GetSampleType(&w));
    EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(nullptr));
}

TEST(LxSampleType, Extensible32BitsNeeds24Or32ValidBits) {
    const struct {
        WORD valid;
        int type;
    } rows[] = {{0, 0}, {23, 0}, {24, 19}, {25, 0}, {31, 0}, {32, 19}, {33, 0}, {0xFFFF, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE("valid bits " + std::to_string(r.valid));
        Rec w = Ext(32, r.valid);
        EXPECT_EQ(r.type, LxAudio_GetSampleType(&w));
        w.SubFormat = kFloatSubtype;
        EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(&w));
    }
}

TEST(LxSampleType, ExtensibleBelow32BitsIgnoresValidBits) {
    const struct {
        WORD bits, valid;
        int type;
    } rows[] = {{8, 5, 16}, {16, 0xFFFF, 17}, {24, 20, 18}, {64, 64, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE(std::to_string(r.bits) + "/" + std::to_string(r.valid));
        Rec w = Ext(r.bits, r.valid);
        EXPECT_EQ(r.type, LxAudio_GetSampleType(&w));
    }
}

TEST(LxSampleType, ExtensibleWithAnotherSubtypeHasNoType) {
    // Each byte of the subtype counts: one byte off anywhere refuses it.
    for (int at = 0; at < 16; ++at) {
        SCOPED_TRACE("subtype byte " + std::to_string(at));
        Rec w = Ext(16, 16);
        reinterpret_cast<BYTE *>(&w.SubFormat)[at] ^= 0x01;
        EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(&w));
    }
}

TEST(LxSampleType, ExtensibleWhoseCbSizeEndsBeforeTheSubtypeHasNone) {
    // The tail is only there if cbSize says so; a short cbSize with a PCM
    // subtype in the bytes behind still isn't believed.
    const struct {
        WORD cbSize;
        int type;
    } rows[] = {{0, 0}, {21, 0}, {22, 17}, {0xFFFF, 17}};
    for (const auto &r : rows) {
        SCOPED_TRACE("cbSize " + std::to_string(r.cbSize));
        Rec w = Ext(16, 16);
        w.cbSize = r.cbSize;
        EXPECT_EQ(r.type, LxAudio_GetSampleType(&w));
    }
}

// ---------------------------------------------------------------------------
// Repair.

TEST(LxSampleType, FixBadWfxRepairsPcmRecordsOnly) {
    // The record afterwards is the record before with bits and alignment
    // set to the two columns; every other byte stays, the data rate too.
    const struct {
        const char *name;
        Rec before;
        WORD bits, align;
        BOOL changed;
    } rows[] = {
        {"20 bits stereo, align 5", Wfx(1, 2, 44100, 20, 5), 24, 6, TRUE},
        {"20 bits, 3 channels, align 0", Wfx(1, 3, 8000, 20, 0), 24, 9, TRUE},
        // 12 / 8 truncates to 1 byte.
        {"12 bits stereo, align 3", Wfx(1, 2, 44100, 12, 3), 12, 2, TRUE},
        {"16 bits stereo, align 4", Wfx(1, 2, 44100, 16, 4), 16, 4, FALSE},
        {"16 bits stereo, align 3", Wfx(1, 2, 44100, 16, 3), 16, 4, TRUE},
        {"4 bits mono, align 1", Wfx(1, 1, 8000, 4, 1), 4, 0, TRUE},
        // 4 * 65535 doesn't fit the field; its low 16 bits are stored.
        {"32 bits, 65535 channels", Wfx(1, 65535, 8000, 32, 4), 32, 0xFFFC, TRUE},
        {"float, bad align", Wfx(3, 2, 44100, 32, 3), 32, 3, FALSE},
        {"signed, 20 bits", Wfx(0xFE01, 2, 44100, 20, 1), 20, 1, FALSE},
        {"extensible, 20 bits", Ext(20, 20), 20, 4, FALSE},
        {"ADPCM", Wfx(2, 1, 22050, 4, 512, 32), 4, 512, FALSE},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Rec expected = r.before;
        expected.wBitsPerSample = r.bits;
        expected.nBlockAlign = r.align;
        Rec w = r.before;
        EXPECT_EQ(r.changed, LxAudio_FixBadWfx(&w));
        EXPECT_EQ(RecordBytes(expected), RecordBytes(w));
        // A repaired record needs no second repair.
        EXPECT_FALSE(LxAudio_FixBadWfx(&w));
    }
    EXPECT_FALSE(LxAudio_FixBadWfx(nullptr));
}

// ---------------------------------------------------------------------------
// Equality.

TEST(LxSampleType, IsEqualFormatComparesFourFields) {
    const Rec base = Ext(24, 24);
    const struct {
        const char *name;
        void (*change)(Rec *);
        bool equal;
    } rows[] = {
        {"same", [](Rec *) {}, true},
        {"channels", [](Rec *w) { w->nChannels = 1; }, false},
        {"rate", [](Rec *w) { w->nSamplesPerSec = 48001; }, false},
        {"bits", [](Rec *w) { w->wBitsPerSample = 32; }, false},
        {"tag 1, same type", [](Rec *w) { w->wFormatTag = 1; }, false},
        {"block align", [](Rec *w) { w->nBlockAlign = 1; }, true},
        {"cbSize", [](Rec *w) { w->cbSize = 0; }, true},
        {"subtype", [](Rec *w) { w->SubFormat = kFloatSubtype; }, true},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Rec other = base;
        r.change(&other);
        EXPECT_EQ(r.equal, LxAudio_IsEqualFormat(&base, &other) != 0);
        EXPECT_EQ(r.equal, LxAudio_IsEqualFormat(&other, &base) != 0);
    }
    // Both classify as 24-bit PCM and still differ.
    const Rec pcm = Wfx(1, 2, 48000, 24, 6);
    EXPECT_EQ(LxAudio_GetSampleType(&pcm), LxAudio_GetSampleType(&base));
    EXPECT_FALSE(LxAudio_IsEqualFormat(&pcm, &base));
    EXPECT_FALSE(LxAudio_IsEqualFormat(nullptr, &base));
    EXPECT_FALSE(LxAudio_IsEqualFormat(nullptr, nullptr));
}

// ---------------------------------------------------------------------------
// Silence.

const BYTE kMark = 0xCC;

TEST(LxSampleType, FillSilenceOfEveryFormat) {
    // nBlockAlign times frames bytes of the fill, nothing behind them.
    const struct {
        const char *name;
        Rec w;
        UINT frames;
        HRESULT hr;
        size_t bytes;
        BYTE fill;
    } rows[] = {
        {"PCM8 stereo", Stereo(1, 8), 3, S_OK, 6, 0x80},
        {"PCM24 mono, 5 frames", Wfx(1, 1, 8000, 24, 3), 5, S_OK, 15, 0x00},
        {"FLOAT64 mono", Wfx(3, 1, 8000, 64, 8), 3, S_OK, 24, 0x00},
        {"float at 8 bits", Wfx(3, 1, 8000, 8, 1), 5, S_OK, 5, 0x00},
        {"UNPACKED24 at 24 bits", Wfx(0xFE00, 2, 8000, 24, 8), 3, S_OK, 24, 0x00},
        {"SIGNED8 is signed", Wfx(0xFE01, 1, 8000, 8, 1), 5, S_OK, 5, 0x00},
        {"BE8 is unsigned", Wfx(0xFE02, 1, 8000, 8, 1), 5, S_OK, 5, 0x80},
        {"BE24, 3 channels", Wfx(0xFE02, 3, 8000, 24, 9), 1, S_OK, 9, 0x00},
        {"extensible PCM8", Ext(8, 8), 3, S_OK, 6, 0x80},
        {"extensible PCM32 with 20 valid bits", Ext(32, 20), 1, S_OK, 8, 0x00},
        {"extensible float: quiet no-op", Ext(32, 32, kFloatSub), 3, S_OK, 0, 0},
        {"extensible short cbSize: no subtype", Wfx(0xFFFE, 1, 8000, 8, 1, 0), 3, S_OK, 0, 0},
        {"ADPCM", Wfx(2, 1, 22050, 4, 256, 32), 1, E_FAIL, 0, 0},
        {"tag 0xFE03", Wfx(0xFE03, 1, 8000, 8, 1), 3, E_FAIL, 0, 0},
        // The count comes from the stored alignment, however wrong.
        {"alignment 3 for 16-bit stereo", Wfx(1, 2, 8000, 16, 3), 3, S_OK, 9, 0x00},
        // A zero count wins over everything, even an unknown tag.
        {"alignment 0", Wfx(1, 2, 8000, 16, 0), 9, S_OK, 0, 0},
        {"no frames, ADPCM", Wfx(2, 1, 22050, 4, 256, 32), 0, S_OK, 0, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Bytes buffer(64, kMark);
        EXPECT_EQ(r.hr, LxAudio_FillSilence(&r.w, buffer.data(), r.frames));
        Bytes expected(64, kMark);
        for (size_t i = 0; i < r.bytes; ++i) expected[i] = r.fill;
        EXPECT_EQ(expected, buffer);
    }
}

TEST(LxSampleType, FillSilenceOddLengthsAndOffsets) {
    // Every length from 0 to 11 bytes at every offset within a word: the
    // word loop and the tail together cover exactly the count.
    for (UINT frames = 0; frames < 12; ++frames) {
        for (size_t offset = 0; offset < 4; ++offset) {
            SCOPED_TRACE(std::to_string(frames) + " frames at offset " + std::to_string(offset));
            Bytes buffer(24, kMark);
            const Rec w = Wfx(1, 1, 8000, 8, 1);
            EXPECT_EQ(S_OK, LxAudio_FillSilence(&w, buffer.data() + offset, frames));
            Bytes expected(24, kMark);
            for (size_t i = 0; i < frames; ++i) expected[offset + i] = 0x80;
            EXPECT_EQ(expected, buffer);
        }
    }
}

TEST(LxSampleType, FillSilenceRefusesMissingPointers) {
    const Rec w = Stereo(1, 16);
    Bytes buffer(8, kMark);
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(nullptr, buffer.data(), 2));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(&w, nullptr, 2));
    EXPECT_EQ(S_OK, LxAudio_FillSilence(&w, nullptr, 0));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(nullptr, buffer.data(), 0, 2));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(&w, nullptr, 0, 2));
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(&w, nullptr, 0, 0));
    EXPECT_EQ(Bytes(8, kMark), buffer);
}

TEST(LxSampleType, FillSilenceOfACountBeyondTheAddressSpaceFails) {
    // 65535 * 0x10000 + more doesn't fit 32 bits; nothing may be written.
    const Rec w = Wfx(1, 1, 8000, 8, 0xFFFF);
    Bytes buffer(8, kMark);
    EXPECT_EQ(E_FAIL, LxAudio_FillSilence(&w, buffer.data(), 0x10002));
    EXPECT_EQ(Bytes(8, kMark), buffer);
}

// One channel of an interleaved buffer, by hand: `pattern` is the whole
// buffer as it must be afterwards, `_` standing for an untouched byte.
const int _ = -1;

TEST(LxSampleType, FillSilenceChannelWritesOneChannel) {
    const struct {
        const char *name;
        Rec w;
        UINT channel, frames;
        HRESULT hr;
        std::vector<int> pattern;
    } rows[] = {
        {"PCM8 stereo, right", Stereo(1, 8), 1, 3, S_OK, {_, 0x80, _, 0x80, _, 0x80, _, _}},
        {"PCM16 stereo, left", Stereo(1, 16), 0, 2, S_OK, {0, 0, _, _, 0, 0, _, _, _, _}},
        {"PCM24, 3 channels, third", Wfx(1, 3, 8000, 24, 9), 2, 2, S_OK,
         {_, _, _, _, _, _, 0, 0, 0, _, _, _, _, _, _, 0, 0, 0, _, _}},
        {"PCM32 stereo, right", Stereo(1, 32), 1, 2, S_OK,
         {_, _, _, _, 0, 0, 0, 0, _, _, _, _, 0, 0, 0, 0, _}},
        {"FLOAT64 stereo, right", Stereo(3, 64), 1, 1, S_OK,
         {_, _, _, _, _, _, _, _, 0, 0, 0, 0, 0, 0, 0, 0, _}},
        {"float at 16 bits", Stereo(3, 16), 0, 2, E_FAIL, {_, _, _, _}},
        // Unpacked 24-bit samples fill their four-byte words.
        {"UNPACKED24 at 24 bits, right", Wfx(0xFE00, 2, 8000, 24, 8), 1, 2, S_OK,
         {_, _, _, _, 0, 0, 0, 0, _, _, _, _, 0, 0, 0, 0, _}},
        {"0xFE00 at 8 bits", Stereo(0xFE00, 8), 0, 2, S_OK, {0x80, _, 0x80, _, _}},
        {"SIGNED8 stereo, right", Stereo(0xFE01, 8), 1, 3, S_OK, {_, 0, _, 0, _, 0, _}},
        {"BE24 stereo, right", Stereo(0xFE02, 24), 1, 1, S_OK, {_, _, _, 0, 0, 0, _}},
        // The step is computed, not read from the alignment.
        {"alignment 0", Wfx(1, 2, 8000, 16, 0), 1, 2, S_OK, {_, _, 0, 0, _, _, 0, 0, _}},
        {"PCM at 20 bits", Wfx(1, 2, 8000, 20, 6), 0, 1, E_FAIL, {_, _, _, _, _, _}},
        // Taken whole by LxAudio_FillSilence, refused one channel at a time.
        {"extensible PCM16 stereo", Ext(16, 16), 0, 2, E_FAIL, {_, _, _, _}},
        {"ADPCM stereo", Wfx(2, 2, 22050, 4, 512, 32), 0, 2, E_FAIL, {_, _, _}},
        {"channel past the last", Stereo(1, 16), 2, 2, E_FAIL, {_, _, _, _}},
        {"0 channels", Wfx(1, 0, 8000, 16, 0), 0, 2, E_FAIL, {_, _, _, _}},
        {"no frames, unknown tag", Wfx(2, 2, 22050, 4, 512, 32), 1, 0, S_OK, {_, _, _}},
        {"no frames, bad channel", Stereo(1, 16), 2, 0, E_FAIL, {_, _, _}},
        // Mono becomes LxAudio_FillSilence, which counts by the alignment.
        {"mono PCM8, channel 1", Wfx(1, 1, 8000, 8, 1), 1, 3, E_FAIL, {_, _, _, _}},
        {"mono, alignment 2", Wfx(1, 1, 8000, 8, 2), 0, 2, S_OK, {0x80, 0x80, 0x80, 0x80, _}},
        {"mono extensible PCM16", Ext(16, 16, kPcmSub, 1), 0, 2, S_OK, {0, 0, 0, 0, _}},
        {"mono ADPCM", Wfx(2, 1, 22050, 4, 256, 32), 0, 1, E_FAIL, {_, _, _}},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Bytes buffer(r.pattern.size(), kMark);
        EXPECT_EQ(r.hr, LxAudio_FillSilenceChannel(&r.w, buffer.data(), r.channel, r.frames));
        Bytes expected(r.pattern.size());
        for (size_t i = 0; i < expected.size(); ++i)
            expected[i] = r.pattern[i] == _ ? kMark : (BYTE)r.pattern[i];
        EXPECT_EQ(expected, buffer);
    }
}

// ---------------------------------------------------------------------------
// Records that end early, against guard pages.

TEST(LxSampleType, ShortRecordsAreReadOnlyAsFarAsTheirTag) {
    // A 16-byte PCM or float record has no cbSize; an extensible one whose
    // cbSize is 0 ends after 18 bytes. Each sits flush with a guard page.
    const Rec pcm = Wfx(1, 2, 44100, 16, 4);
    const Rec flt = Wfx(3, 1, 48000, 32, 4);
    const Rec ext = Wfx(0xFFFE, 2, 44100, 16, 4, 0);

    GuardBuffer pcmRec(&pcm, 16), fltRec(&flt, 16), extRec(&ext, 18);
    ASSERT_TRUE(pcmRec.ok() && fltRec.ok() && extRec.ok());
    const tWAVEFORMATEX *p = reinterpret_cast<const tWAVEFORMATEX *>(pcmRec.data());
    const tWAVEFORMATEX *f = reinterpret_cast<const tWAVEFORMATEX *>(fltRec.data());
    const tWAVEFORMATEX *e = reinterpret_cast<const tWAVEFORMATEX *>(extRec.data());

    EXPECT_EQ(LXSAMPLETYPE_PCM16, LxAudio_GetSampleType(p));
    EXPECT_EQ(LXSAMPLETYPE_FLOAT32, LxAudio_GetSampleType(f));
    EXPECT_EQ(LXSAMPLETYPE_NONE, LxAudio_GetSampleType(e));
    EXPECT_TRUE(LxAudio_IsEqualFormat(p, p));
    EXPECT_FALSE(LxAudio_IsEqualFormat(p, f));
    EXPECT_FALSE(LxAudio_FixBadWfx(reinterpret_cast<tWAVEFORMATEX *>(pcmRec.data())));

    Bytes buffer(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(p, buffer.data(), 2));
    EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0, 0, 0, kMark, kMark, kMark, kMark}), buffer);
    buffer.assign(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilenceChannel(p, buffer.data(), 1, 2));
    EXPECT_EQ((Bytes{kMark, kMark, 0, 0, kMark, kMark, 0, 0, kMark, kMark, kMark, kMark}), buffer);
    buffer.assign(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(f, buffer.data(), 2));
    EXPECT_EQ((Bytes{0, 0, 0, 0, 0, 0, 0, 0, kMark, kMark, kMark, kMark}), buffer);

    // No subtype: a quiet no-op whole, a refusal per channel.
    buffer.assign(12, kMark);
    EXPECT_EQ(S_OK, LxAudio_FillSilence(e, buffer.data(), 1));
    EXPECT_EQ(E_FAIL, LxAudio_FillSilenceChannel(e, buffer.data(), 0, 1));
    EXPECT_EQ(Bytes(12, kMark), buffer);
}

// ---------------------------------------------------------------------------
// Texts. These need the Kernel's language block and its string table.

class LxSampleTypeText : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr))); }
    void TearDown() override { Kernel_ProcessDetach(); }

    static std::string Locale(LCTYPE what) {
        char text[16] = {0};
        if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, what, text, sizeof text)) text[0] = 0;
        return text;
    }
    static std::string List() { return Locale(LOCALE_SLIST); }

    static std::string Text(UINT tag, HRESULT *hr) {
        char text[128];
        memset(text, kMark, sizeof text);
        *hr = LxAudio_GetTagText(tag, text, sizeof text);
        return std::string(text, strnlen(text, sizeof text));
    }
    static std::string Attribs(const tWAVEFORMATEX *w, HRESULT *hr) {
        char text[256];
        memset(text, kMark, sizeof text);
        *hr = LxAudio_GetAttribsText(w, text, sizeof text);
        return std::string(text, strnlen(text, sizeof text));
    }
};

TEST_F(LxSampleTypeText, TagTextCopiesAtMostSizeAndZeroesTheLastByte) {
    const struct {
        UINT tag, size;
        Bytes after;  // the first 10 bytes of a buffer of marks afterwards
    } rows[] = {
        // Terminator copied, marks behind it kept, the buffer's last byte 0.
        {1, 8, {'P', 'C', 'M', 0, kMark, kMark, kMark, 0, kMark, kMark}},
        {1, 3, {'P', 'C', 0, kMark, kMark, kMark, kMark, kMark, kMark, kMark}},
        {1, 1, {0, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark}},
        {0xFE02, 10, {'P', 'C', 'M', ' ', '(', 'b', 'i', 'g', ' ', 0}},
        // Size 0: nothing written.
        {1, 0, {kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark, kMark}},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(Hex((WORD)r.tag) + " size " + std::to_string(r.size));
        Bytes buffer(10, kMark);
        EXPECT_EQ(S_OK, LxAudio_GetTagText(r.tag, reinterpret_cast<char *>(buffer.data()), r.size));
        EXPECT_EQ(r.after, buffer);
    }
}

// Tags 2 and 0x55 are named by the compression manager's drivers, and these
// are Wine's names. Windows' drivers call tag 2 "Microsoft ADPCM" as well,
// but 0x55 "MPEG Layer-3" where Wine says "MPeg3".
TEST_F(LxSampleTypeText, TagTexts) {
    const struct {
        UINT tag;
        const char *text;
        HRESULT hr;
    } rows[] = {
        {1, "PCM", S_OK},
        {3, "PCM (float)", S_OK},
        {0xFE00, "PCM (unpacked)", S_OK},
        {0xFE01, "PCM (signed)", S_OK},
        {0xFE02, "PCM (big endian)", S_OK},
        {2, "Microsoft ADPCM", S_OK},
        {0x55, "MPeg3", S_OK},
        {0, "Unknown", E_FAIL},
        {0xFE03, "Unknown", E_FAIL},
        {0x10001, "Unknown", E_FAIL},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(Hex((WORD)r.tag));
        HRESULT hr = E_UNEXPECTED;
        EXPECT_EQ(r.text, Text(r.tag, &hr));
        EXPECT_EQ(r.hr, hr);
        EXPECT_EQ(r.hr, LxAudio_GetTagText(r.tag, nullptr, 0));
        if (r.tag == 1 || r.tag == 3 || (r.tag >= 0xFE00 && r.tag <= 0xFE02)) {
            EXPECT_EQ(S_OK, LxAudio_GetTagText(r.tag, nullptr, 64));
        }
        if (r.hr == S_OK) continue;
        Bytes small(6, kMark);
        EXPECT_EQ(E_FAIL, LxAudio_GetTagText(r.tag, reinterpret_cast<char *>(small.data()), 4));
        EXPECT_EQ((Bytes{'U', 'n', 'k', 0, kMark, kMark}), small);
    }
}

TEST_F(LxSampleTypeText, AttribsCopyAtMostSize) {
    const Rec w = Wfx(1, 2, 500, 16, 4);
    Bytes buffer(8, kMark);
    EXPECT_EQ(S_OK, LxAudio_GetAttribsText(&w, reinterpret_cast<char *>(buffer.data()), 5));
    EXPECT_EQ((Bytes{'5', '0', '0', ' ', 0, kMark, kMark, kMark}), buffer);
}

// A complete ADPCM record: 22050 Hz mono, 512-byte blocks of 1012 samples,
// the seven standard coefficient pairs.
Bytes Head(const Rec &w, size_t n) {
    const BYTE *p = reinterpret_cast<const BYTE *>(&w);
    return Bytes(p, p + n);
}

Bytes Adpcm22kMono() {
    Bytes b(18 + 32, 0);
    Rec w = Wfx(2, 1, 22050, 4, 512, 32);
    w.nAvgBytesPerSec = 11155;  // 22050 * 512 / 1012, rounded down
    memcpy(b.data(), &w, 18);
    const short extra[16] = {1012, 7, 256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232};
    memcpy(b.data() + 18, extra, 32);
    return b;
}

// Every record sits flush with a guard page: PCM and float as 16 bytes, the
// rest as 18 + cbSize. Own tags whose alignment adds up are formatted from
// the string table: $d groups with the user's thousand separator (T), "$,"
// is the user's list separator (L). Any other record is the compression
// manager's to name, and these are Wine's texts: when its driver leaves the
// text empty, Wine composes "<rate> Hz; <bits> bits; Mono|Stereo", and its
// drivers accept any tag at a standard rate, depth and channel count.
TEST_F(LxSampleTypeText, AttribsTexts) {
    const std::string T = Locale(LOCALE_STHOUSAND), L = List();
    const struct {
        const char *name;
        Bytes record;
        std::string text;
        HRESULT hr;
    } rows[] = {
        {"PCM16 stereo", Head(Stereo(1, 16), 16), "44" + T + "100 Hz" + L + " 16 Bit" + L + " Stereo", S_OK},
        {"PCM8 mono", Head(Wfx(1, 1, 500, 8, 1), 16), "500 Hz" + L + " 8 Bit" + L + " Mono", S_OK},
        {"PCM24 at 6 channels", Head(Wfx(1, 6, 96000, 24, 18), 16),
         "96" + T + "000 Hz" + L + " 24 Bit" + L + " 6 Channel", S_OK},
        {"float mono", Head(Wfx(3, 1, 48000, 32, 4), 16),
         "48" + T + "000 Hz" + L + " 32 Bit (IEEE Float)" + L + " Mono", S_OK},
        {"big endian, 3 channels", Head(Wfx(0xFE02, 3, 1000000, 16, 6), 18),
         "1" + T + "000" + T + "000 Hz" + L + " 16 Bit" + L + " 3 Channel", S_OK},
        // The gate only asks that the alignment adds up: 0 channels, 0 bytes.
        {"0 channels, alignment 0", Head(Wfx(1, 0, 44100, 16, 0), 16),
         "44" + T + "100 Hz" + L + " 16 Bit" + L + " 0 Channel", S_OK},
        // 20 / 8 is 2: alignment 4 adds up, and 20 bits are shown as stored.
        {"20 bits, alignment 4", Head(Wfx(1, 2, 44100, 20, 4), 16),
         "44" + T + "100 Hz" + L + " 20 Bit" + L + " Stereo", S_OK},
        {"65535 channels", Head(Wfx(1, 65535, 8000, 0, 0), 16),
         "8" + T + "000 Hz" + L + " 0 Bit" + L + " 65535 Channel", S_OK},
        {"ADPCM", Adpcm22kMono(), "22050 Hz; 4 bits; Mono", S_OK},
        {"PCM16 stereo, alignment 3", Head(Wfx(1, 2, 44100, 16, 3), 16), "44100 Hz; 16 bits; Stereo", S_OK},
        {"PCM16 mono, alignment 0", Head(Wfx(1, 1, 44100, 16, 0), 16), "44100 Hz; 16 bits; Mono", S_OK},
        {"PCM16 at 12345 Hz, alignment 3", Head(Wfx(1, 2, 12345, 16, 3), 16), "Unknown", E_FAIL},
        {"PCM at 20 bits, alignment 6", Head(Wfx(1, 2, 44100, 20, 6), 16), "Unknown", E_FAIL},
        {"float mono, alignment 1", Head(Wfx(3, 1, 48000, 32, 1), 16), "Unknown", E_FAIL},
        {"big endian at 12345 Hz, alignment 1", Head(Wfx(0xFE02, 2, 12345, 16, 1), 18), "Unknown",
         E_FAIL},
        {"tag 0x7777 at 12345 Hz", Head(Wfx(0x7777, 3, 12345, 16, 6), 18), "Unknown", E_FAIL},
        {"extensible with a float subtype", RecordBytes(Ext(32, 32, kFloatSub)), "Unknown", E_FAIL},
        {"extensible PCM with 20 valid bits", RecordBytes(Ext(32, 20)), "Unknown", E_FAIL},
        {"ADPCM, everything else 0", Head(Wfx(2, 0, 0, 0, 0), 18), "Unknown", E_FAIL},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        GuardBuffer rec(r.record.data(), r.record.size());
        ASSERT_TRUE(rec.ok());
        const tWAVEFORMATEX *w = reinterpret_cast<const tWAVEFORMATEX *>(rec.data());
        HRESULT hr = E_UNEXPECTED;
        EXPECT_EQ(r.text, Attribs(w, &hr));
        EXPECT_EQ(r.hr, hr);
        EXPECT_EQ(r.hr, LxAudio_GetAttribsText(w, nullptr, 0));
        if (r.hr == S_OK) continue;
        Bytes small(6, kMark);
        EXPECT_EQ(E_FAIL, LxAudio_GetAttribsText(w, reinterpret_cast<char *>(small.data()), 4));
        EXPECT_EQ((Bytes{'U', 'n', 'k', 0, kMark, kMark}), small);
    }
    HRESULT hr = S_OK;
    EXPECT_EQ("Unknown", Attribs(nullptr, &hr));
    EXPECT_EQ(E_FAIL, hr);
    EXPECT_EQ(E_FAIL, LxAudio_GetAttribsText(nullptr, nullptr, 0));
}

}  // namespace
