// White-box tests of sample conversion: the converter table on edge values
// of every pair at unity gain and at half gain, in place and out of place;
// the exceptions; the vector members against the plain ones at every forced
// processor level; the copier table and the channel operations.
#include "dsp/lxconvert.h"
#include "dsp/lxconvert_sse.h"
#include "kernel/kernel.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;

const int kAllTypes[] = {16, 17, 18, 19, 32, 33, 48, 49, 64, 65, 66};

int SizeOf(int type) {
    switch (type) {
    case 16: case 49: return 1;
    case 17: case 64: return 2;
    case 18: case 65: return 3;
    case 33: return 8;
    default: return 4;
    }
}

// One sample of a type from its value in the type's own units (integers for
// the integer types, full scale 1.0 for floats).
Bytes Encode(int type, double value) {
    Bytes b((size_t)SizeOf(type));
    if (type == 32) {
        const float f = (float)value;
        memcpy(b.data(), &f, 4);
        return b;
    }
    if (type == 33) {
        memcpy(b.data(), &value, 8);
        return b;
    }
    const uint32_t u = (uint32_t)(int64_t)value;
    switch (type) {
    case 16: b[0] = (unsigned char)(u + 128); break;
    case 49: b[0] = (unsigned char)u; break;
    case 17: b = {(unsigned char)u, (unsigned char)(u >> 8)}; break;
    case 64: b = {(unsigned char)(u >> 8), (unsigned char)u}; break;
    case 18: b = {(unsigned char)u, (unsigned char)(u >> 8), (unsigned char)(u >> 16)}; break;
    case 65: b = {(unsigned char)(u >> 16), (unsigned char)(u >> 8), (unsigned char)u}; break;
    case 66:
        b = {(unsigned char)(u >> 24), (unsigned char)(u >> 16), (unsigned char)(u >> 8),
             (unsigned char)u};
        break;
    default: memcpy(b.data(), &u, 4); break; /* 19, 48 */
    }
    return b;
}

Bytes EncodeAll(int type, const double *values, int n) {
    Bytes out;
    for (int i = 0; i < n; ++i) {
        const Bytes one = Encode(type, values[i]);
        out.insert(out.end(), one.begin(), one.end());
    }
    return out;
}

tWAVEFORMATEX Format(WORD tag, WORD bits, WORD channels) {
    tWAVEFORMATEX f;
    memset(&f, 0, sizeof f);
    f.wFormatTag = tag;
    f.wBitsPerSample = bits;
    f.nChannels = channels;
    f.nSamplesPerSec = 44100;
    f.nBlockAlign = (WORD)(channels * (bits / 8));
    f.nAvgBytesPerSec = f.nSamplesPerSec * f.nBlockAlign;
    return f;
}

// A format record of each sample type.
tWAVEFORMATEX FormatOf(int type, WORD channels) {
    switch (type) {
    case 16: return Format(1, 8, channels);
    case 17: return Format(1, 16, channels);
    case 18: return Format(1, 24, channels);
    case 19: return Format(1, 32, channels);
    case 32: return Format(3, 32, channels);
    case 33: return Format(3, 64, channels);
    case 48: return Format(0xFE00, 32, channels);
    case 49: return Format(0xFE01, 8, channels);
    case 64: return Format(0xFE02, 16, channels);
    case 65: return Format(0xFE02, 24, channels);
    default: return Format(0xFE02, 32, channels);
    }
}

// Forces a processor level for the dispatch, and lets go afterwards.
class CpuLevel {
public:
    explicit CpuLevel(int level) {
        // A word of 0 clears the override, so level 0 carries a flag bit.
        Kernel_ForceCpuWord(level == 0 ? LXCPU_TSC : (DWORD)level);
    }
    ~CpuLevel() { Kernel_ForceCpuWord(0); }
};

LxAudioCopyFunc Member(int dest, int src) {
    return LxAudio_GetCopyFunction2((LXSAMPLETYPE)dest, (LXSAMPLETYPE)src);
}

/* ---- Edge values and what every pair makes of them ------------------- */

// Source levels by family: the most negative, one step below zero (for
// floats, -0.99999 as a float), zero, the largest, and an odd value.
const double kX1 = -(1.0 - 168.0 / 16777216.0);  // -0.99999f exactly
const double kX2 = 0.25 + 1.0 / 4096 + 1.0 / 1048576 + 1.0 / 8388608;
const double S8[5] = {-128, -1, 0, 127, -91};                       // 0xA5
const double S16[5] = {-32768, -1, 0, 32767, -4661};                // 0xEDCB
const double S24[5] = {-8388608, -1, 0, 8388607, -5517841};         // 0xABCDEF
const double S32[5] = {INT_MIN, -1, 0, INT_MAX, -1412567295};       // 0xABCDEF01
const double SF[5] = {-1.0, kX1, 0, 1.0, kX2};

const double* SourceLevels(int type) {
    switch (type) {
    case 16: case 49: return S8;
    case 17: case 64: return S16;
    case 18: case 65: case 48: return S24;
    case 19: case 66: return S32;
    default: return SF;
    }
}

// Scaled path at unity: value times source factor times destination
// factor, truncated toward zero and saturated. Named <dest>_<src family>.
const double A16_8[5] = {-32768, -256, 0, 32512, -23296};
const double A24_8[5] = {-8388608, -65536, 0, 8323072, -5963776};
const double A32_8[5] = {INT_MIN, -16777216, 0, 2130706432, -1526726656};
const double AF_8[5] = {-1.0, -0.0078125, 0, 0.9921875, -0.7109375};
const double A8_16[5] = {-128, 0, 0, 127, -18};  // -4661 / 256 = -18.2
const double A24_16[5] = {-8388608, -256, 0, 8388352, -1193216};
const double A32_16[5] = {INT_MIN, -65536, 0, 2147418112, -305463296};
const double AF_16[5] = {-1.0, -1.0 / 32768, 0, 32767.0 / 32768, -4661.0 / 32768};
const double A8_24[5] = {-128, 0, 0, 127, -84};  // also from 32 bits: -84.2
const double A16_24[5] = {-32768, 0, 0, 32767, -21554};
const double A32_24[5] = {INT_MIN, -256, 0, 2147483392, -1412567296};
const double AF_24[5] = {-1.0, -1.0 / 8388608, 0, 8388607.0 / 8388608, -5517841.0 / 8388608};
const double A24_32[5] = {-8388608, 0, 0, 8388607, -5517840};  // -5517840.996
const double AF_32[5] = {-1.0, -1.0 / 2147483648.0, 0, 2147483647.0 / 2147483648.0,
                         -1412567295.0 / 2147483648.0};
const double A8_F[5] = {-128, -127, 0, 127, 32};  // 1.0 * 128 saturates
const double A16_F[5] = {-32768, -32767, 0, 32767, 8200};
const double A24_F[5] = {-8388608, -8388524, 0, 8388607, 2099209};
const double A32_F[5] = {INT_MIN, -2147462144, 0, INT_MAX, 537397504};

// The scaled path at gain 0.5.
const double H8_8[5] = {-64, 0, 0, 63, -45};
const double H16_8[5] = {-16384, -128, 0, 16256, -11648};
const double H24_8[5] = {-4194304, -32768, 0, 4161536, -2981888};
const double H32_8[5] = {-1073741824, -8388608, 0, 1065353216, -763363328};
const double HF_8[5] = {-0.5, -0.00390625, 0, 0.49609375, -0.35546875};
const double H8_16[5] = {-64, 0, 0, 63, -9};
const double H16_16[5] = {-16384, 0, 0, 16383, -2330};
const double H24_16[5] = {-4194304, -128, 0, 4194176, -596608};
const double H32_16[5] = {-1073741824, -32768, 0, 1073709056, -152731648};
const double HF_16[5] = {-0.5, -1.0 / 65536, 0, 32767.0 / 65536, -4661.0 / 65536};
const double H8_24[5] = {-64, 0, 0, 63, -42};  // H8..H24 also from 32 bits
const double H16_24[5] = {-16384, 0, 0, 16383, -10777};
const double H24_24[5] = {-4194304, 0, 0, 4194303, -2758920};
const double H32_24[5] = {-1073741824, -128, 0, 1073741696, -706283648};
const double HF_24[5] = {-0.5, -1.0 / 16777216, 0, 8388607.0 / 16777216, -5517841.0 / 16777216};
const double H32_32[5] = {-1073741824, 0, 0, 1073741823, -706283647};
const double HF_32[5] = {-0.5, -1.0 / 4294967296.0, 0, 2147483647.0 / 4294967296.0,
                         -1412567295.0 / 4294967296.0};
const double H8_F[5] = {-64, -63, 0, 64, 16};
const double H16_F[5] = {-16384, -16383, 0, 16384, 4100};
const double H24_F[5] = {-4194304, -4194262, 0, 4194304, 1049604};
const double H32_F[5] = {-1073741824, -1073731072, 0, 1073741824, 268698752};
const double HF_F[5] = {-0.5, kX1 / 2, 0, 0.5, kX2 / 2};

// Unity moves of bits: shifts and byte picks round toward minus infinity.
const double U8_16[5] = {-128, -1, 0, 127, -19};        // 0xED
const double U8_24[5] = {-128, -1, 0, 127, -85};        // 0xAB
const double U16_24[5] = {-32768, -1, 0, 32767, -21555};  // 0xABCD
// 64 from 19: raw word times gain, truncated, shifted right by 16; at unity
// the same as the byte pick.
const double E64_19H[5] = {-16384, 0, 0, 16383, -10778};  // -706283647 >> 16

struct PairRow {
    int dest, src;
    const double *unity, *half;
};

const PairRow kPairs[] = {
    {16, 16, S8, H8_8}, {16, 17, U8_16, H8_16}, {16, 18, U8_24, H8_24}, {16, 19, U8_24, H8_24},
    {16, 32, A8_F, H8_F}, {16, 33, A8_F, H8_F}, {16, 48, U8_24, H8_24}, {16, 49, S8, H8_8},
    {16, 64, A8_16, H8_16}, {16, 65, A8_24, H8_24}, {16, 66, A8_24, H8_24},
    {49, 16, S8, H8_8}, {49, 17, U8_16, H8_16}, {49, 18, U8_24, H8_24}, {49, 19, U8_24, H8_24},
    {49, 32, A8_F, H8_F}, {49, 33, A8_F, H8_F}, {49, 48, U8_24, H8_24}, {49, 49, S8, H8_8},
    {49, 64, A8_16, H8_16}, {49, 65, A8_24, H8_24}, {49, 66, A8_24, H8_24},
    {17, 16, A16_8, H16_8}, {17, 17, S16, H16_16}, {17, 18, U16_24, H16_24},
    {17, 19, U16_24, H16_24}, {17, 32, A16_F, H16_F}, {17, 33, A16_F, H16_F},
    {17, 48, U16_24, H16_24}, {17, 49, A16_8, H16_8}, {17, 64, S16, H16_16},
    {17, 65, U16_24, H16_24}, {17, 66, A16_24, H16_24},
    {64, 16, A16_8, H16_8}, {64, 17, S16, H16_16}, {64, 18, A16_24, H16_24},
    {64, 19, U16_24, E64_19H}, {64, 32, A16_F, H16_F}, {64, 33, A16_F, H16_F},
    {64, 49, A16_8, H16_8}, {64, 64, S16, H16_16}, {64, 65, A16_24, H16_24},
    {18, 16, A24_8, H24_8}, {18, 17, A24_16, H24_16}, {18, 18, S24, H24_24}, {18, 19, S24, H24_24},
    {18, 32, A24_F, H24_F}, {18, 33, A24_F, H24_F}, {18, 48, S24, H24_24}, {18, 49, A24_8, H24_8},
    {18, 64, A24_16, H24_16}, {18, 65, S24, H24_24}, {18, 66, A24_32, H24_24},
    {65, 16, A24_8, H24_8}, {65, 17, A24_16, H24_16}, {65, 18, S24, H24_24}, {65, 32, A24_F, H24_F},
    {65, 33, A24_F, H24_F}, {65, 49, A24_8, H24_8}, {65, 64, A24_16, H24_16}, {65, 65, S24, H24_24},
    {48, 16, A24_8, H24_8}, {48, 17, A24_16, H24_16}, {48, 18, S24, H24_24}, {48, 19, S24, H24_24},
    {48, 32, A32_F, H32_F}, {48, 33, A24_F, H24_F}, {48, 48, S24, H24_24}, {48, 49, A24_8, H24_8},
    {48, 64, A24_16, H24_16}, {48, 65, S24, H24_24}, {48, 66, A24_32, H24_24},
    {19, 16, A32_8, H32_8}, {19, 17, A32_16, H32_16}, {19, 18, A32_24, H32_24},
    {19, 19, S32, H32_32}, {19, 32, A32_F, H32_F}, {19, 33, A32_F, H32_F}, {19, 48, A32_24, H32_24},
    {19, 49, A32_8, H32_8}, {19, 64, A32_16, H32_16}, {19, 65, A32_24, H32_24},
    {19, 66, S32, H32_32},
    {66, 19, S32, H32_32}, {66, 66, S32, H32_32},
    {32, 16, AF_8, HF_8}, {32, 17, AF_16, HF_16}, {32, 18, AF_24, HF_24}, {32, 19, AF_32, HF_32},
    {32, 32, SF, HF_F}, {32, 33, SF, HF_F}, {32, 48, AF_24, HF_24}, {32, 49, AF_8, HF_8},
    {32, 64, AF_16, HF_16}, {32, 65, AF_24, HF_24}, {32, 66, AF_32, HF_32},
    {33, 16, AF_8, HF_8}, {33, 17, AF_16, HF_16}, {33, 18, AF_24, HF_24}, {33, 19, AF_32, HF_32},
    {33, 32, SF, HF_F}, {33, 33, SF, HF_F}, {33, 48, AF_24, HF_24}, {33, 49, AF_8, HF_8},
    {33, 64, AF_16, HF_16}, {33, 65, AF_24, HF_24}, {33, 66, AF_32, HF_32},
};

// 121 pairs: these 107, 4 without a member, 9 that store nothing, 65 from 19.
static_assert(sizeof kPairs / sizeof kPairs[0] == 107, "every pair with values once");

// Runs one member over the five levels out of place (with a guard byte
// pattern behind the output) and in place, and compares with the expected
// bytes.
void CheckPair(LxAudioCopyFunc fn, int dest, int src, float gain, const double *expected) {
    const Bytes input = EncodeAll(src, SourceLevels(src), 5);
    const Bytes want = EncodeAll(dest, expected, 5);

    Bytes out(want.size() + 8, 0xCD);
    fn(out.data(), input.data(), 5, gain);
    EXPECT_EQ(want, Bytes(out.begin(), out.begin() + want.size())) << "out of place";
    EXPECT_EQ(Bytes(8, 0xCD), Bytes(out.begin() + want.size(), out.end())) << "wrote past the end";

    Bytes both(std::max(want.size(), input.size()) + 8, 0xCD);
    memcpy(both.data(), input.data(), input.size());
    fn(both.data(), both.data(), 5, gain);
    EXPECT_EQ(want, Bytes(both.begin(), both.begin() + want.size())) << "in place";
}

TEST(LxConvert, EveryPairOnEdgeValuesAtUnityAndHalfGain) {
    for (int level : {0, 2, 5, 6}) {
        CpuLevel cpu(level);
        for (const PairRow &row : kPairs) {
            SCOPED_TRACE("level " + std::to_string(level) + ": " + std::to_string(row.dest) +
                         " from " + std::to_string(row.src));
            const LxAudioCopyFunc fn = Member(row.dest, row.src);
            ASSERT_NE(nullptr, fn);
            {
                SCOPED_TRACE("gain 1.0");
                CheckPair(fn, row.dest, row.src, 1.0f, row.unity);
            }
            {
                SCOPED_TRACE("gain 0.5");
                CheckPair(fn, row.dest, row.src, 0.5f, row.half);
            }
        }
    }
}

TEST(LxConvert, PairsWithoutMember) {
    const int missing[][2] = {{64, 48}, {64, 66}, {65, 48}, {65, 66}};
    for (const auto &pair : missing) {
        SCOPED_TRACE(std::to_string(pair[0]) + " from " + std::to_string(pair[1]));
        EXPECT_EQ(nullptr, Member(pair[0], pair[1]));
        const tWAVEFORMATEX df = FormatOf(pair[0], 1), sf = FormatOf(pair[1], 1);
        unsigned char dest[8] = {}, src[8] = {};
        EXPECT_EQ(LX_E_NOTIMPL, LxAudio_Copy(&df, dest, &sf, src, 1, 1.0f));
    }
    for (int bad : {0, 15, 20, 31, 34, 47, 50, 63, 67, 0x7FFFFFFF}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(nullptr, Member(bad, 17));
        EXPECT_EQ(nullptr, Member(17, bad));
    }
}

TEST(LxConvert, BigEndian32FromMostTypesStoresNothing) {
    for (int src : {16, 17, 18, 32, 33, 48, 49, 64, 65}) {
        SCOPED_TRACE(src);
        const LxAudioCopyFunc fn = Member(66, src);
        ASSERT_NE(nullptr, fn);
        const Bytes input = EncodeAll(src, SourceLevels(src), 5);
        for (float gain : {1.0f, 0.5f}) {
            Bytes out(20, 0x5A);
            fn(out.data(), input.data(), 5, gain);
            EXPECT_EQ(Bytes(20, 0x5A), out);
        }
        const tWAVEFORMATEX df = FormatOf(66, 1), sf = FormatOf(src, 1);
        Bytes out(20, 0x5A);
        EXPECT_EQ(LX_S_OK, LxAudio_Copy(&df, out.data(), &sf, input.data(), 5, 1.0f));
        EXPECT_EQ(Bytes(20, 0x5A), out);
    }
}

TEST(LxConvert, BigEndian24From32IsThePacked24Copy) {
    // Source read as packed little-endian three-byte samples, kept in that
    // byte order: 0x123456 and 0xABCDEF.
    const Bytes input = {0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x77, 0x77};
    const LxAudioCopyFunc fn = Member(65, 19);
    ASSERT_NE(nullptr, fn);
    Bytes out(8, 0xCD);
    fn(out.data(), input.data(), 2, 1.0f);
    EXPECT_EQ((Bytes{0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0xCD, 0xCD}), out);
    // Half gain: 0x091A2B and -2758920.5 truncated, 0xD5E6F8.
    out.assign(8, 0xCD);
    fn(out.data(), input.data(), 2, 0.5f);
    EXPECT_EQ((Bytes{0x2B, 0x1A, 0x09, 0xF8, 0xE6, 0xD5, 0xCD, 0xCD}), out);
}

struct SatRow {
    const char *name;
    int dest, src;
    float gain;
    double in;
    Bytes want;
};

TEST(LxConvert, SaturationAndSpecialValues) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const SatRow rows[] = {
        {"16-bit doubled saturates high", 17, 17, 2.0f, 20000, {0xFF, 0x7F}},
        {"16-bit doubled saturates low", 17, 17, 2.0f, -20000, {0x00, 0x80}},
        {"32-bit doubled saturates high", 19, 19, 2.0f, INT_MAX, {0xFF, 0xFF, 0xFF, 0x7F}},
        {"32-bit doubled saturates low", 19, 19, 2.0f, INT_MIN, {0x00, 0x00, 0x00, 0x80}},
        {"NaN to 8 bits takes the low end", 16, 33, 1.0f, nan, {0x00}},
        {"NaN to 32 bits", 19, 33, 1.0f, nan, {0x00, 0x00, 0x00, 0x80}},
        {"infinity to 8 bits", 16, 33, 1.0f, inf, {0xFF}},
        {"minus infinity to 16 bits", 17, 32, 1.0f, -inf, {0x00, 0x80}},
        {"floats are never clipped", 32, 33, 1.0f, 3.5, {0x00, 0x00, 0x60, 0x40}},
        {"gain on floats is not clipped", 33, 17, 4.0f, 32767,
         Encode(33, 32767.0 / 8192)},
        {"48 beyond 24 bits to 8 bits", 16, 48, 1.0f, INT_MAX, {0xFF}},
        {"48 below 24 bits to 8 bits", 16, 48, 1.0f, INT_MIN, {0x00}},
        {"48 beyond 24 bits to 16 bits", 17, 48, 1.0f, 0x01000000, {0xFF, 0x7F}},
        {"48 beyond 24 bits to 24 bits", 18, 48, 1.0f, 0x01000000, {0xFF, 0xFF, 0x7F}},
        {"48 beyond 24 bits to 32 bits", 19, 48, 1.0f, 0x01000000, {0x00, 0xFF, 0xFF, 0x7F}},
        {"48 beyond 24 bits scaled", 48, 48, 0.5f, INT_MAX, {0xFF, 0xFF, 0x7F, 0x00}},
        // No saturation for 64 from 19: the out-of-range product is the
        // integer indefinite 0x80000000.
        {"64 from 19 doubled, no saturation", 64, 19, 2.0f, INT_MAX, {0x80, 0x00}},
        {"64 from 19 doubled in range", 64, 19, 2.0f, 0x3FFF0000, {0x7F, 0xFE}},
    };
    for (const SatRow &row : rows) {
        SCOPED_TRACE(row.name);
        const Bytes input = Encode(row.src, row.in);
        Bytes out(row.want.size(), 0xCD);
        Member(row.dest, row.src)(out.data(), input.data(), 1, row.gain);
        EXPECT_EQ(row.want, out);
    }
}

// Unity gain on equal types does nothing in place: a read-only buffer would
// fault on any store.
TEST(LxConvert, UnityOnEqualTypesInPlaceTouchesNothing) {
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    BYTE *page = (BYTE *)VirtualAlloc(nullptr, si.dwPageSize, MEM_COMMIT | MEM_RESERVE,
                                      PAGE_READWRITE);
    ASSERT_NE(nullptr, page);
    memset(page, 0x42, si.dwPageSize);
    DWORD old;
    ASSERT_TRUE(VirtualProtect(page, si.dwPageSize, PAGE_READONLY, &old));
    for (int type : kAllTypes) {
        SCOPED_TRACE(type);
        Member(type, type)(page, page, 64, 1.0f);
    }
    VirtualFree(page, 0, MEM_RELEASE);
}

/* ---- The front end ---------------------------------------------------- */

TEST(LxConvertFrontEnd, CopyRunsFramesTimesChannels) {
    const tWAVEFORMATEX df = FormatOf(32, 2), sf = FormatOf(17, 2);
    const int16_t src[4] = {0x7FFF, -32768, 0x4000, 0};
    float dest[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(LX_S_OK, LxAudio_Copy(&df, dest, &sf, src, 2, 1.0f));
    EXPECT_EQ(0.999969482421875f, dest[0]);
    EXPECT_EQ(-1.0f, dest[1]);
    EXPECT_EQ(0.5f, dest[2]);
    EXPECT_EQ(0.0f, dest[3]);
    EXPECT_EQ(9.0f, dest[4]);
}

TEST(LxConvertFrontEnd, BadInput) {
    const tWAVEFORMATEX f16 = FormatOf(17, 1), f65 = FormatOf(65, 1), f48 = FormatOf(48, 1);
    tWAVEFORMATEX none = f16;
    none.wFormatTag = 2;  // compressed: no sample type
    unsigned char buf[16] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_Copy(nullptr, nullptr, nullptr, nullptr, 0, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(nullptr, buf, &f16, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, nullptr, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, nullptr, &f16, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, &f16, nullptr, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, &f16, buf, -1, 1.0f));
    EXPECT_EQ(LX_E_NOTIMPL, LxAudio_Copy(&f65, buf, &f48, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_NOTIMPL, LxAudio_Copy(&none, buf, &f16, buf, 1, 1.0f));
    tWAVEFORMATEX wide = FormatOf(17, 65535);
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&wide, buf, &wide, buf, 0x10000000, 1.0f));
    // A raw member with no samples or null buffers does nothing.
    Member(17, 32)(nullptr, nullptr, 4, 1.0f);
    Member(17, 32)(buf, buf, -3, 1.0f);
}

/* ---- Processor levels ------------------------------------------------- */

TEST(LxConvertDispatch, MemberByLevel) {
    // Levels 0 and 1 take the plain member, 2 to 4 the paired loop (null:
    // plain), 5 and 6 the members named; levels beyond 6 are taken as 6.
    using namespace lxconvert;
    const struct {
        int dest, src;
        LxAudioCopyFunc paired, at5, at6;
    } rows[] = {
        {16, 32, Paired16From32, Sse16From32, Sse16From32},
        {17, 32, Paired17From32, Sse17From32, Sse17From32},
        {18, 32, Paired18From32, Sse18From32, Sse18From32},
        {16, 33, Paired16From33, Paired16From33, Sse2_16From33},
        {17, 33, Paired17From33, Paired17From33, Sse2_17From33},
        {18, 33, Paired18From33, Paired18From33, Sse2_18From33},
        {32, 17, nullptr, Sse32From17, Sse2_32From17},
    };
    for (const auto &row : rows) {
        LxAudioCopyFunc plain;
        {
            CpuLevel cpu(0);
            plain = Member(row.dest, row.src);
        }
        ASSERT_NE(nullptr, plain);
        const LxAudioCopyFunc paired = row.paired ? row.paired : plain;
        const LxAudioCopyFunc byLevel[] = {plain, plain, paired, paired, paired, row.at5, row.at6, row.at6};
        for (int level = 0; level <= 7; ++level) {
            SCOPED_TRACE(std::to_string(row.dest) + " from " + std::to_string(row.src) +
                         " at level " + std::to_string(level == 7 ? 9 : level));
            CpuLevel cpu(level == 7 ? 9 : level);
            EXPECT_EQ(byLevel[level], Member(row.dest, row.src));
        }
    }
}

// Random input for the vector members: ordinary values, values whose
// product lands next to an integer, and the special ones.
std::vector<unsigned char> RandomSource(int src, size_t samples, float gain, std::mt19937 &rng) {
    std::vector<unsigned char> out(samples * SizeOf(src));
    std::uniform_real_distribution<double> uni(-1.3, 1.3);
    std::uniform_int_distribution<int> kind(0, 9), i16(-32768, 32767), steps(-40000, 40000);
    const double specials[] = {0.0, -0.0, 1.0, -1.0, std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN(), 1e-40, -1e-42, 3e38,
                               -3e38, 1e300, 0.99999994, -0.99999994};
    for (size_t i = 0; i < samples; ++i) {
        if (src == 17) {
            const int16_t v = (int16_t)i16(rng);
            memcpy(&out[i * 2], &v, 2);
            continue;
        }
        double v;
        const int k = kind(rng);
        if (k < 4) {
            v = uni(rng);
        } else if (k < 8) {
            // An integer step of the destination, divided back by the
            // multiplier and nudged by a few units in the last place.
            const double m = (double)gain * (k & 1 ? 32768.0 : 128.0);
            float f = (float)(steps(rng) / (m != 0 ? m : 1.0));
            for (int step = (int)(rng() % 5) - 2; step != 0; step += step > 0 ? -1 : 1)
                f = std::nextafter(f, step > 0 ? 2e38f : -2e38f);
            v = f;
        } else {
            v = specials[rng() % (sizeof specials / sizeof specials[0])];
        }
        if (src == 32) {
            const float f = (float)v;
            memcpy(&out[i * 4], &f, 4);
        } else {
            memcpy(&out[i * 8], &v, 8);
        }
    }
    return out;
}

struct HotPair {
    int dest, src;
    int levels[3];
};

// Every vector member (and paired loop) against the plain member on the
// same random input, lengths 0 to 67, every start offset of source and
// destination within 16 bytes, and in place; bit for bit, with nothing
// written outside the output.
TEST(LxConvertDispatch, VectorMembersMatchPlainBitForBit) {
    const HotPair pairs[] = {
        {16, 32, {2, 5, 6}}, {17, 32, {2, 5, 6}}, {18, 32, {2, 5, 6}},
        {16, 33, {2, 5, 6}}, {17, 33, {2, 5, 6}}, {18, 33, {2, 5, 6}},
        {32, 17, {5, 6, 6}},
    };
    const float gains[] = {1.0f, 0.5f, 0.7f, 1.3f, -0.3f, 0.0f, 3.0517578e-5f, 1e20f, 2.5e-20f};
    std::mt19937 rng(20240607);
    const size_t kMax = 67, kPad = 32;
    for (const HotPair &pair : pairs) {
        LxAudioCopyFunc plain;
        {
            CpuLevel cpu(0);
            plain = Member(pair.dest, pair.src);
        }
        const size_t ss = SizeOf(pair.src);
        for (int level : pair.levels) {
            CpuLevel cpu(level);
            const LxAudioCopyFunc member = Member(pair.dest, pair.src);
            for (float gain : gains) {
                const std::vector<unsigned char> source =
                    RandomSource(pair.src, kMax + 16, gain, rng);
                // 16-byte aligned backing stores.
                alignas(16) unsigned char srcBuf[(kMax + 16) * 8 + 2 * kPad];
                alignas(16) unsigned char want[kMax * 8 + 2 * kPad];
                alignas(16) unsigned char got[kMax * 8 + 2 * kPad];
                for (size_t n = 0; n <= kMax; ++n) {
                    for (size_t so = 0; so < 16; ++so) {
                        memcpy(srcBuf + so, source.data(), n * ss);
                        for (size_t dof = 0; dof < 16; dof += (n < 20 ? 1 : 5)) {
                            memset(want, 0xA5, sizeof want);
                            memset(got, 0xA5, sizeof got);
                            plain(want + kPad + dof, srcBuf + so, (int)n, gain);
                            member(got + kPad + dof, srcBuf + so, (int)n, gain);
                            if (memcmp(want, got, sizeof want) != 0) {
                                ADD_FAILURE() << pair.dest << " from " << pair.src << " level "
                                              << level << " gain " << gain << " n " << n
                                              << " src offset " << so << " dest offset " << dof;
                                return;
                            }
                        }
                        // In place, from the same start.
                        alignas(16) unsigned char a[(kMax + 16) * 8 + kPad];
                        alignas(16) unsigned char b[sizeof a];
                        memset(a, 0xA5, sizeof a);
                        memcpy(a + so, source.data(), n * ss);
                        memcpy(b, a, sizeof a);
                        plain(a + so, a + so, (int)n, gain);
                        member(b + so, b + so, (int)n, gain);
                        if (memcmp(a, b, sizeof a) != 0) {
                            ADD_FAILURE() << pair.dest << " from " << pair.src
                                          << " in place, level " << level << " gain "
                                          << gain << " n " << n
                                          << " offset " << so;
                            return;
                        }
                    }
                }
            }
        }
    }
}

/* ---- Copiers ---------------------------------------------------------- */

const int kCopierTypes[] = {16, 17, 18, 19, 32, 33, 48, 49};

// Each copier moves what the converter of its pair moves at unity gain:
// source channel 1 of 2 into destination channel 2 of 3.
TEST(LxCopyChannels, EveryCopierOnEdgeValues) {
    for (int d : kCopierTypes) {
        for (int s : kCopierTypes) {
            const PairRow *row = nullptr;
            for (const PairRow &r : kPairs)
                if (r.dest == d && r.src == s) row = &r;
            ASSERT_NE(nullptr, row);
            SCOPED_TRACE(std::to_string(d) + " from " + std::to_string(s));
            const tWAVEFORMATEX df = FormatOf(d, 3), sf = FormatOf(s, 2);
            const LxAudioCopyChannelsFunc copy = LxAudio_GetCopyChannelsFunction(&df, &sf);
            ASSERT_NE(nullptr, copy);

            Bytes src;
            const Bytes filler = Encode(s, 0);
            for (int i = 0; i < 5; ++i) {
                const Bytes one = Encode(s, SourceLevels(s)[i]);
                src.insert(src.end(), filler.begin(), filler.end());
                src.insert(src.end(), one.begin(), one.end());
            }
            const size_t w = SizeOf(d);
            Bytes dest(5 * 3 * w, 0xEE), want = dest;
            for (int i = 0; i < 5; ++i) {
                const Bytes one = Encode(d, row->unity[i]);
                memcpy(&want[(i * 3 + 2) * w], one.data(), w);
            }
            copy(dest.data(), 3, 2, src.data(), 2, 1, 5);
            EXPECT_EQ(want, dest);
        }
    }
}

TEST(LxCopyChannels, CopierTableHasNoBigEndianTypes) {
    const tWAVEFORMATEX f17 = FormatOf(17, 2);
    for (int t : {64, 65, 66}) {
        SCOPED_TRACE(t);
        const tWAVEFORMATEX be = FormatOf(t, 2);
        EXPECT_EQ(nullptr, LxAudio_GetCopyChannelsFunction(&be, &f17));
        EXPECT_EQ(nullptr, LxAudio_GetCopyChannelsFunction(&f17, &be));
    }
    EXPECT_EQ(nullptr, LxAudio_GetCopyChannelsFunction(nullptr, &f17));
}

TEST(LxCopyChannels, EqualTypesOnOneChannelWithWiderDestinationStrideDoNothing) {
    const tWAVEFORMATEX f = FormatOf(17, 2);
    const LxAudioCopyChannelsFunc copy = LxAudio_GetCopyChannelsFunction(&f, &f);
    int16_t buf[6] = {1, 2, 3, 4, 5, 6};
    copy(buf, 3, 0, buf, 2, 0, 2);
    EXPECT_EQ((std::vector<int16_t>{1, 2, 3, 4, 5, 6}), std::vector<int16_t>(buf, buf + 6));
    // A narrower destination stride on the same channel copies front to back.
    copy(buf, 1, 0, buf, 2, 0, 3);
    EXPECT_EQ((std::vector<int16_t>{1, 3, 5, 4, 5, 6}), std::vector<int16_t>(buf, buf + 6));
}

TEST(LxCopyChannels, MapRules) {
    const tWAVEFORMATEX stereo16 = FormatOf(17, 2), three32 = FormatOf(19, 3);
    const int16_t src[4] = {0x1111, 0x2222, 0x3333, 0x4444};
    struct Row {
        const char *name;
        int map[2];
        int32_t want[6];
    };
    const int32_t o = 0x0BADF00D;
    const Row rows[] = {
        {"to channel 2, second skipped", {2, -1}, {o, o, 0x11110000, o, o, 0x33330000}},
        {"swapped", {1, 0}, {0x22220000, 0x11110000, o, 0x44440000, 0x33330000, o}},
        {"one target, the later wins", {0, 0}, {0x22220000, o, o, 0x44440000, o, o}},
        {"out of range skips", {3, 1}, {o, 0x22220000, o, o, 0x44440000, o}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        int32_t dest[6] = {o, o, o, o, o, o};
        EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&three32, dest, &stereo16, src, 2, row.map));
        EXPECT_EQ(std::vector<int32_t>(row.want, row.want + 6),
                  std::vector<int32_t>(dest, dest + 6));
    }
}

TEST(LxCopyChannels, FrontEndCases) {
    const tWAVEFORMATEX stereo16 = FormatOf(17, 2), stereo8 = FormatOf(16, 2);
    const tWAVEFORMATEX mono16 = FormatOf(17, 1), stereoBe = FormatOf(64, 2);
    const int16_t src[4] = {0x1180, 0x2280, -1, 0x7FFF};
    const int map[2] = {1, 0};
    unsigned char dest[4] = {9, 9, 9, 9};
    // Equal channel counts ignore the map: a plain conversion.
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&stereo8, dest, &stereo16, src, 2, map));
    EXPECT_EQ((Bytes{0x91, 0xA2, 0x7F, 0xFF}), Bytes(dest, dest + 4));
    // No map: a plain conversion of frames times source channels.
    memset(dest, 9, 4);
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&stereo8, dest, &stereo16, src, 1, nullptr));
    EXPECT_EQ((Bytes{0x91, 0xA2, 9, 9}), Bytes(dest, dest + 4));
    // With a map and different counts: zero frames, then the copier lookup.
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&mono16, nullptr, &stereoBe, nullptr, 0, map));
    EXPECT_EQ(LX_E_NOTIMPL, LxAudio_CopyChannels(&mono16, dest, &stereoBe, src, 1, map));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannels(nullptr, dest, &stereo16, src, 1, map));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannels(&mono16, nullptr, &stereo16, src, 1, map));
}

/* ---- Channel operations ----------------------------------------------- */

struct MixRow {
    const char *name;
    int type;
    int channels;
    std::vector<double> frame;  // one frame of values in the type's units
    double sum, average;        // the mono sample each gives
};

TEST(LxChannelChange, MixDownSumsAndAverages) {
    const MixRow rows[] = {
        {"16-bit pair clips when summed", 17, 2, {0x6000, 0x6000}, 0x7FFF, 0x6000},
        {"16-bit -1 and 0 average truncates to 0", 17, 2, {-1, 0}, -1, 0},
        {"16-bit three channels", 17, 3, {-32768, -32768, 100}, -32768, -21812},  // -65436 / 3
        {"8-bit unsigned sum clips", 16, 2, {64, 64}, 127, 64},
        // Type 16 averages as widened integers: -256 / 2 = -128, >> 8 = -1.
        {"8-bit unsigned -1 and 0 average floors", 16, 2, {-1, 0}, -1, -1},
        {"8-bit signed", 49, 2, {-1, 0}, -1, 0},
        {"24-bit", 18, 2, {-5517841, 1}, -5517840, -2758920},
        {"24-bit big-endian clips", 65, 2, {8388607, 1}, 8388607, 4194304},
        {"32-bit clips", 19, 2, {INT_MAX, INT_MAX}, INT_MAX, INT_MAX},
        {"32-bit big-endian", 66, 2, {0x40000000, 0x40000000}, INT_MAX, 0x40000000},
        {"16-bit big-endian", 64, 2, {-4661, -3}, -4664, -2332},
        {"float is not clipped", 32, 2, {0.75, 0.75}, 1.5, 0.75},
        {"double is not clipped", 33, 3, {1.0, 1.0, 0.5}, 2.5, 2.5 / 3},
    };
    for (const MixRow &row : rows) {
        SCOPED_TRACE(row.name);
        const tWAVEFORMATEX f = FormatOf(row.type, (WORD)row.channels);
        const Bytes src = EncodeAll(row.type, row.frame.data(), row.channels);
        const size_t w = SizeOf(row.type);
        Bytes dest(w + 4, 0xCD), want = dest;
        const Bytes sum = Encode(row.type, row.sum), avg = Encode(row.type, row.average);
        memcpy(want.data(), sum.data(), w);
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(dest.data(), 1, src.data(), &f, 1));
        EXPECT_EQ(want, dest);
        memcpy(want.data(), avg.data(), w);
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChangeAvg(dest.data(), 1, src.data(), &f, 1));
        EXPECT_EQ(want, dest);
    }
}

TEST(LxChannelChange, MixDownInPlaceOverFrames) {
    const tWAVEFORMATEX f = FormatOf(17, 2);
    int16_t buf[6] = {100, 200, -300, -400, 0x4000, 0x4000};
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(buf, 1, buf, &f, 3));
    EXPECT_EQ((std::vector<int16_t>{300, -700, 0x7FFF, -400, 0x4000, 0x4000}),
              std::vector<int16_t>(buf, buf + 6));
}

TEST(LxChannelChange, SpreadsMonoFromTheLastFrame) {
    for (int type : kAllTypes) {
        SCOPED_TRACE(type);
        const tWAVEFORMATEX mono = FormatOf(type, 1);
        const double *levels = SourceLevels(type);
        const double in[3] = {levels[0], levels[3], levels[4]};
        const size_t w = SizeOf(type);
        Bytes buf(3 * 3 * w, 0xCD);
        const Bytes src = EncodeAll(type, in, 3);
        memcpy(buf.data(), src.data(), src.size());
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(buf.data(), 3, buf.data(), &mono, 3));
        Bytes want;
        for (int f = 0; f < 3; ++f)
            for (int c = 0; c < 3; ++c)
                want.insert(want.end(), src.begin() + f * w, src.begin() + (f + 1) * w);
        EXPECT_EQ(want, buf);
        // The average form spreads the same way.
        memcpy(buf.data(), src.data(), src.size());
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChangeAvg(buf.data(), 3, buf.data(), &mono, 3));
        EXPECT_EQ(want, buf);
    }
}

TEST(LxChannelChange, UnsupportedCombinations) {
    const tWAVEFORMATEX three = FormatOf(17, 3), stereo = FormatOf(17, 2);
    const tWAVEFORMATEX unpacked = FormatOf(48, 2), unpackedMono = FormatOf(48, 1);
    unsigned char buf[64] = {};
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 2, buf, &three, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 3, buf, &stereo, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 0, buf, &stereo, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 1, buf, &unpacked, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChangeAvg(buf, 1, buf, &unpacked, 1));
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(buf, 2, buf, &unpackedMono, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, nullptr, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(nullptr, 1, buf, &stereo, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, &stereo, -1));
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(nullptr, 1, nullptr, &stereo, 0));
    tWAVEFORMATEX zero = stereo;
    zero.nChannels = 0;
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, &zero, 1));
    // Equal counts copy the format to itself.
    const int16_t src[2] = {5, -5};
    int16_t dest[2] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(dest, 2, src, &stereo, 1));
    EXPECT_EQ(5, dest[0]);
    EXPECT_EQ(-5, dest[1]);
}

TEST(LxExtractChannel, OneChannelIntoMono) {
    struct Row {
        int type;
        UINT channel;
    };
    for (const Row &row : {Row{16, 2}, Row{17, 0}, Row{18, 1}, Row{19, 2}, Row{32, 1}}) {
        SCOPED_TRACE(row.type);
        const tWAVEFORMATEX f = FormatOf(row.type, 3);
        const double *levels = SourceLevels(row.type);
        const double frames[6] = {levels[0], levels[1], levels[3], levels[4], levels[2], levels[0]};
        const Bytes src = EncodeAll(row.type, frames, 6);
        const size_t w = SizeOf(row.type);
        // Two frames of three channels.
        Bytes dest(2 * w + 2, 0xCD), want = dest;
        memcpy(&want[0], &src[row.channel * w], w);
        memcpy(&want[w], &src[(3 + row.channel) * w], w);
        EXPECT_EQ(LX_S_OK, LxAudio_ExtractChannel(dest.data(), row.channel, src.data(), &f, 2));
        EXPECT_EQ(want, dest);
        // In place.
        Bytes inplace = src;
        EXPECT_EQ(LX_S_OK,
                  LxAudio_ExtractChannel(inplace.data(), row.channel, inplace.data(), &f, 2));
        EXPECT_EQ(Bytes(want.begin(), want.begin() + 2 * w),
                  Bytes(inplace.begin(), inplace.begin() + 2 * w));
    }
    unsigned char buf[16] = {};
    for (int type : {33, 48, 49, 64, 65, 66}) {
        SCOPED_TRACE(type);
        const tWAVEFORMATEX f = FormatOf(type, 2);
        EXPECT_EQ(LX_E_FAIL, LxAudio_ExtractChannel(buf, 0, buf, &f, 1));
    }
    const tWAVEFORMATEX stereo = FormatOf(17, 2), mono = FormatOf(33, 1);
    EXPECT_EQ(LX_E_FAIL, LxAudio_ExtractChannel(buf, 2, buf, &stereo, 1));
    // A mono source of any type is a copy, whatever the channel.
    const double v = -0.25;
    double out = 0;
    EXPECT_EQ(LX_S_OK, LxAudio_ExtractChannel(&out, 7, &v, &mono, 1));
    EXPECT_EQ(-0.25, out);
}

TEST(LxMonoChannel, EveryChannelTakesTheAverage) {
    struct Row {
        const char *name;
        int type;
        std::vector<double> frame;
        double average;
    };
    const Row rows[] = {
        // Raw unsigned bytes 0xFF and 0x00: 255 / 2 = 127, stored 0x7F.
        {"8-bit sums raw bytes", 16, {127, -128}, -1},
        {"16-bit truncates", 17, {-3, 0}, -1},
        {"32-bit wraps", 19, {INT_MAX, INT_MAX}, -1},
        {"24-bit through double", 18, {1, 2}, 1},
        {"24-bit negative truncates toward zero", 18, {-1, -2}, -1},
        {"float", 32, {0.25, 0.5}, 0.375},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const int ch = (int)row.frame.size();
        const tWAVEFORMATEX f = FormatOf(row.type, (WORD)ch);
        const Bytes src = EncodeAll(row.type, row.frame.data(), ch);
        Bytes dest(src.size() + 2, 0xCD), want;
        for (int c = 0; c < ch; ++c) {
            const Bytes one = Encode(row.type, row.average);
            want.insert(want.end(), one.begin(), one.end());
        }
        want.push_back(0xCD);
        want.push_back(0xCD);
        EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(dest.data(), src.data(), &f, 1));
        EXPECT_EQ(want, dest);
        Bytes inplace = src;
        EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(inplace.data(), inplace.data(), &f, 1));
        EXPECT_EQ(Bytes(want.begin(), want.end() - 2), inplace);
    }
    unsigned char buf[16] = {};
    for (int type : {33, 48, 49, 64, 65, 66}) {
        SCOPED_TRACE(type);
        const tWAVEFORMATEX f = FormatOf(type, 2);
        EXPECT_EQ(LX_E_FAIL, LxAudio_MonoChannel(buf, buf, &f, 1));
    }
    const tWAVEFORMATEX mono = FormatOf(66, 1);
    const unsigned char be[4] = {1, 2, 3, 4};
    unsigned char out[4] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(out, be, &mono, 1));
    EXPECT_EQ(Bytes(be, be + 4), Bytes(out, out + 4));
}

TEST(LxInPlaceChannels, CopyMuteSwap) {
    struct Row {
        int type;
        WORD channels;
    };
    for (const Row &row : {Row{16, 3}, Row{17, 3}, Row{18, 3}, Row{19, 3}, Row{32, 3}}) {
        SCOPED_TRACE(row.type);
        const tWAVEFORMATEX f = FormatOf(row.type, row.channels);
        const size_t w = SizeOf(row.type);
        Bytes buf(2 * 3 * w);
        for (size_t i = 0; i < buf.size(); ++i) buf[i] = (unsigned char)(i + 1);
        const Bytes orig = buf;
        auto sample = [&](const Bytes &b, int frame, int ch) {
            return Bytes(b.begin() + (frame * 3 + ch) * w, b.begin() + (frame * 3 + ch + 1) * w);
        };

        EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToChannel(buf.data(), &f, 2, 0, 2));
        for (int fr = 0; fr < 2; ++fr) {
            EXPECT_EQ(sample(orig, fr, 2), sample(buf, fr, 0));
            EXPECT_EQ(sample(orig, fr, 1), sample(buf, fr, 1));
            EXPECT_EQ(sample(orig, fr, 2), sample(buf, fr, 2));
        }

        buf = orig;
        EXPECT_EQ(LX_S_OK, LxAudio_MuteChannel(buf.data(), &f, 1, 2));
        for (int fr = 0; fr < 2; ++fr) {
            EXPECT_EQ(sample(orig, fr, 0), sample(buf, fr, 0));
            EXPECT_EQ(Bytes(w, 0), sample(buf, fr, 1));  // 0x00 also for type 16
            EXPECT_EQ(sample(orig, fr, 2), sample(buf, fr, 2));
        }

        buf = orig;
        EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(buf.data(), &f, 2));
        for (int fr = 0; fr < 2; ++fr) {
            EXPECT_EQ(sample(orig, fr, 1), sample(buf, fr, 0));
            EXPECT_EQ(sample(orig, fr, 0), sample(buf, fr, 1));
            EXPECT_EQ(sample(orig, fr, 2), sample(buf, fr, 2));
        }
    }
}

TEST(LxInPlaceChannels, MonoDoesNothingAndOthersFail) {
    const tWAVEFORMATEX mono = FormatOf(33, 1), stereo = FormatOf(17, 2);
    unsigned char buf[16];
    memset(buf, 0x77, sizeof buf);
    EXPECT_EQ(LX_S_OK, LxAudio_MuteChannel(buf, &mono, 5, 2));
    EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(buf, &mono, 2));
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToChannel(buf, &mono, 0, 3, 2));
    EXPECT_EQ(Bytes(16, 0x77), Bytes(buf, buf + 16));
    for (int type : {33, 48, 49, 64, 65, 66}) {
        SCOPED_TRACE(type);
        const tWAVEFORMATEX f = FormatOf(type, 2);
        EXPECT_EQ(LX_E_FAIL, LxAudio_MuteChannel(buf, &f, 0, 1));
        EXPECT_EQ(LX_E_FAIL, LxAudio_SwapStereoChannels(buf, &f, 1));
        EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToChannel(buf, &f, 0, 1, 1));
    }
    EXPECT_EQ(Bytes(16, 0x77), Bytes(buf, buf + 16));
    EXPECT_EQ(LX_E_FAIL, LxAudio_MuteChannel(buf, &stereo, 2, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToChannel(buf, &stereo, 0, 2, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_MuteChannel(nullptr, &stereo, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_MuteChannel(buf, nullptr, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_SwapStereoChannels(buf, &stereo, -1));
    EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(nullptr, &stereo, 0));
}

TEST(LxMultiMono, OneChannelToAll) {
    // Stereo 16-bit, channel 1, into four channels in place: from the last
    // frame.
    const tWAVEFORMATEX stereo = FormatOf(17, 2), quad = FormatOf(17, 4), mono = FormatOf(17, 1);
    int16_t buf[12] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(buf, &quad, buf, &stereo, 1, 3));
    EXPECT_EQ((std::vector<int16_t>{2, 2, 2, 2, 4, 4, 4, 4, 6, 6, 6, 6}),
              std::vector<int16_t>(buf, buf + 12));
    // Four channels into stereo in place: from the first frame.
    int16_t four[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(four, &stereo, four, &quad, 2, 2));
    EXPECT_EQ((std::vector<int16_t>{3, 3, 7, 7, 5, 6, 7, 8}), std::vector<int16_t>(four, four + 8));
    // Into mono: an extraction.
    int16_t one[2] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(one, &mono, four, &quad, 3, 2));
    EXPECT_EQ(7, one[0]);
    EXPECT_EQ(8, one[1]);
    // 24-bit big-endian moves three bytes.
    const tWAVEFORMATEX be1 = FormatOf(65, 1), be2 = FormatOf(65, 2);
    const unsigned char src[3] = {0xAB, 0xCD, 0xEF};
    unsigned char dest[7] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(dest, &be2, src, &be1, 0, 1));
    EXPECT_EQ((Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0}), Bytes(dest, dest + 7));
}

TEST(LxMultiMono, TypesMustAgree) {
    const tWAVEFORMATEX s16 = FormatOf(17, 2), s32 = FormatOf(19, 2);
    tWAVEFORMATEX none = s16;
    none.wFormatTag = 2;
    unsigned char buf[16] = {};
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(buf, &s32, buf, &s16, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(buf, &none, buf, &none, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(buf, nullptr, buf, &s16, 0, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToMultiMono(buf, &s16, buf, &s16, 2, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(buf, &s16, nullptr, &s16, 0, 1));
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(nullptr, &s16, nullptr, &s16, 0, 0));
}

}  // namespace
