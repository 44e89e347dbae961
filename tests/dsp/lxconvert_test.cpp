// White-box tests of sample conversion: every converter pair on edge values,
// the exceptions, the vector members against the plain ones at every forced
// processor level, the copiers and the channel operations.
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
typedef std::vector<int16_t> Shorts;

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

void Append(Bytes *to, const Bytes &more) { to->insert(to->end(), more.begin(), more.end()); }

// One sample from its value in the type's own units (full scale 1.0 for floats).
Bytes Encode(int type, double value) {
    Bytes b((size_t)SizeOf(type));
    if (type == 32) {
        const float f = (float)value;
        memcpy(b.data(), &f, 4);
    } else if (type == 33) {
        memcpy(b.data(), &value, 8);
    } else {
        const uint32_t u = (uint32_t)(int64_t)value + (type == 16 ? 128 : 0);
        for (size_t i = 0, n = b.size(); i < n; ++i)
            b[type >= 64 ? n - 1 - i : i] = (unsigned char)(u >> 8 * i);
    }
    return b;
}

Bytes Encode(int type, const double *values, size_t n) {
    Bytes out;
    for (size_t i = 0; i < n; ++i) Append(&out, Encode(type, values[i]));
    return out;
}

tWAVEFORMATEX FormatOf(int type, WORD channels) {
    tWAVEFORMATEX f;
    memset(&f, 0, sizeof f);
    f.wFormatTag = type < 32 ? 1 : type < 48 ? 3 : type < 64 ? (WORD)(0xFE00 + type - 48) : 0xFE02;
    f.nChannels = channels;
    f.nSamplesPerSec = 44100;
    f.wBitsPerSample = (WORD)(8 * SizeOf(type));
    f.nBlockAlign = (WORD)(channels * SizeOf(type));
    f.nAvgBytesPerSec = 44100u * f.nBlockAlign;
    return f;
}

class CpuLevel {
public:
    // A word of 0 clears the override, so level 0 carries a flag bit.
    explicit CpuLevel(int level) { Kernel_ForceCpuWord(level == 0 ? LXCPU_TSC : (DWORD)level); }
    ~CpuLevel() { Kernel_ForceCpuWord(0); }
};

LxAudioCopyFunc Member(int dest, int src, int level = -1) {
    if (level < 0) return LxAudio_GetCopyFunction2((LXSAMPLETYPE)dest, (LXSAMPLETYPE)src);
    CpuLevel cpu(level);
    return Member(dest, src);
}

// Source levels: the lowest, one step below zero (-0.99999f for floats),
// zero, the highest, and an odd value.
const double kX1 = -(1.0 - 168.0 / 16777216.0);
const double kX2 = 0.25 + 1.0 / 4096 + 1.0 / 1048576 + 1.0 / 8388608;
const double S8[5] = {-128, -1, 0, 127, -91};                  // 0xA5
const double S16[5] = {-32768, -1, 0, 32767, -4661};           // 0xEDCB
const double S24[5] = {-8388608, -1, 0, 8388607, -5517841};    // 0xABCDEF
const double S32[5] = {INT_MIN, -1, 0, INT_MAX, -1412567295};  // 0xABCDEF01
const double SF[5] = {-1.0, kX1, 0, 1.0, kX2};

const double *SourceLevels(int type) {
    switch (type) {
    case 16: case 49: return S8;
    case 17: case 64: return S16;
    case 18: case 65: case 48: return S24;
    case 19: case 66: return S32;
    default: return SF;
    }
}

// Scaled path at unity, truncated toward zero and saturated: <dest>_<src family>.
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
const double U8_16[5] = {-128, -1, 0, 127, -19};          // 0xED
const double U8_24[5] = {-128, -1, 0, 127, -85};          // 0xAB
const double U16_24[5] = {-32768, -1, 0, 32767, -21555};  // 0xABCD
// 64 from 19: raw word times gain, truncated, shifted right by 16.
const double E64_19H[5] = {-16384, 0, 0, 16383, -10778};  // -706283647 >> 16

struct PairRow {
    std::vector<int> dests;
    int src;
    const double *unity, *half;
};

const PairRow kPairs[] = {
    {{16, 49}, 16, S8, H8_8}, {{16, 49}, 17, U8_16, H8_16}, {{16, 49}, 18, U8_24, H8_24},
    {{16, 49}, 19, U8_24, H8_24}, {{16, 49}, 32, A8_F, H8_F}, {{16, 49}, 33, A8_F, H8_F},
    {{16, 49}, 48, U8_24, H8_24}, {{16, 49}, 49, S8, H8_8}, {{16, 49}, 64, A8_16, H8_16},
    {{16, 49}, 65, A8_24, H8_24}, {{16, 49}, 66, A8_24, H8_24}, {{17}, 18, U16_24, H16_24},
    {{17}, 19, U16_24, H16_24}, {{17}, 48, U16_24, H16_24}, {{17}, 65, U16_24, H16_24},
    {{17}, 66, A16_24, H16_24}, {{17, 64}, 16, A16_8, H16_8}, {{17, 64}, 17, S16, H16_16},
    {{17, 64}, 32, A16_F, H16_F}, {{17, 64}, 33, A16_F, H16_F}, {{17, 64}, 49, A16_8, H16_8},
    {{17, 64}, 64, S16, H16_16}, {{64}, 18, A16_24, H16_24}, {{64}, 19, U16_24, E64_19H},
    {{64}, 65, A16_24, H16_24}, {{18, 48}, 19, S24, H24_24}, {{18, 48}, 48, S24, H24_24},
    {{18, 48}, 66, A24_32, H24_24}, {{18, 65}, 32, A24_F, H24_F}, {{18, 65, 48}, 16, A24_8, H24_8},
    {{18, 65, 48}, 17, A24_16, H24_16}, {{18, 65, 48}, 18, S24, H24_24},
    {{18, 65, 48}, 33, A24_F, H24_F}, {{18, 65, 48}, 49, A24_8, H24_8},
    {{18, 65, 48}, 64, A24_16, H24_16}, {{18, 65, 48}, 65, S24, H24_24},
    {{48, 19}, 32, A32_F, H32_F}, {{19}, 16, A32_8, H32_8}, {{19}, 17, A32_16, H32_16},
    {{19}, 18, A32_24, H32_24}, {{19}, 33, A32_F, H32_F}, {{19}, 48, A32_24, H32_24},
    {{19}, 49, A32_8, H32_8}, {{19}, 64, A32_16, H32_16}, {{19}, 65, A32_24, H32_24},
    {{19, 66}, 19, S32, H32_32}, {{19, 66}, 66, S32, H32_32}, {{32, 33}, 16, AF_8, HF_8},
    {{32, 33}, 17, AF_16, HF_16}, {{32, 33}, 18, AF_24, HF_24}, {{32, 33}, 19, AF_32, HF_32},
    {{32, 33}, 32, SF, HF_F}, {{32, 33}, 33, SF, HF_F}, {{32, 33}, 48, AF_24, HF_24},
    {{32, 33}, 49, AF_8, HF_8}, {{32, 33}, 64, AF_16, HF_16}, {{32, 33}, 65, AF_24, HF_24},
    {{32, 33}, 66, AF_32, HF_32},
};

const double *UnityOf(int dest, int src) {
    for (const PairRow &r : kPairs)
        for (int d : r.dests)
            if (d == dest && r.src == src) return r.unity;
    return nullptr;
}

// Out of place with a guard behind the output, then in place.
void CheckPair(LxAudioCopyFunc fn, int dest, int src, float gain, const double *expected) {
    const Bytes input = Encode(src, SourceLevels(src), 5), want = Encode(dest, expected, 5);
    Bytes out(want.size() + 8, 0xCD), both(std::max(want.size(), input.size()) + 8, 0xCD);
    fn(out.data(), input.data(), 5, gain);
    EXPECT_EQ(want, Bytes(out.begin(), out.begin() + want.size())) << "out of place";
    EXPECT_EQ(Bytes(8, 0xCD), Bytes(out.begin() + want.size(), out.end())) << "wrote past the end";
    memcpy(both.data(), input.data(), input.size());
    fn(both.data(), both.data(), 5, gain);
    EXPECT_EQ(want, Bytes(both.begin(), both.begin() + want.size())) << "in place";
}

TEST(LxConvert, EveryPairOnEdgeValuesAtUnityAndHalfGain) {
    for (int level : {0, 2, 5, 6}) {
        CpuLevel cpu(level);
        for (const PairRow &row : kPairs) {
            for (int dest : row.dests) {
                SCOPED_TRACE("level " + std::to_string(level) + ": " + std::to_string(dest) +
                             " from " + std::to_string(row.src));
                const LxAudioCopyFunc fn = Member(dest, row.src);
                ASSERT_NE(nullptr, fn);
                CheckPair(fn, dest, row.src, 1.0f, row.unity);
                CheckPair(fn, dest, row.src, 0.5f, row.half);
            }
        }
    }
}

TEST(LxConvert, PairsWithoutMemberAndThoseThatStoreNothing) {
    unsigned char buf[8] = {};
    for (const auto &pair : {std::make_pair(64, 48), {64, 66}, {65, 48}, {65, 66}}) {
        EXPECT_EQ(nullptr, Member(pair.first, pair.second)) << pair.first << "/" << pair.second;
        const tWAVEFORMATEX df = FormatOf(pair.first, 1), sf = FormatOf(pair.second, 1);
        EXPECT_EQ(LX_E_NOTIMPL, LxAudio_Copy(&df, buf, &sf, buf, 1, 1.0f));
    }
    for (int bad : {0, 15, 20, 31, 34, 47, 50, 63, 67, 0x7FFFFFFF})
        EXPECT_TRUE(!Member(bad, 17) && !Member(17, bad)) << bad;
    // 66 from all but 19 and 66 succeeds and leaves the destination alone.
    const tWAVEFORMATEX df = FormatOf(66, 1);
    for (int src : {16, 17, 18, 32, 33, 48, 49, 64, 65}) {
        const Bytes input = Encode(src, SourceLevels(src), 5);
        Bytes out(20, 0x5A);
        ASSERT_NE(nullptr, Member(66, src)) << src;
        Member(66, src)(out.data(), input.data(), 5, 1.0f);
        Member(66, src)(out.data(), input.data(), 5, 0.5f);
        const tWAVEFORMATEX sf = FormatOf(src, 1);
        EXPECT_EQ(LX_S_OK, LxAudio_Copy(&df, out.data(), &sf, input.data(), 5, 1.0f));
        EXPECT_EQ(Bytes(20, 0x5A), out) << src;
    }
}

TEST(LxConvert, SaturationSpecialValuesAndOddMembers) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Bytes packed = {0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x77};  // 0x123456, 0xABCDEF
    const struct {
        const char *name;
        int dest, src;
        float gain;
        Bytes in, want;  // want.size() / the destination's width samples
    } rows[] = {
        {"16-bit x2 low", 17, 17, 2.0f, Encode(17, -20000), {0x00, 0x80}},
        {"32-bit x2 low", 19, 19, 2.0f, Encode(19, INT_MIN), {0, 0, 0, 0x80}},
        {"NaN to 8 bits takes the low end", 16, 33, 1.0f, Encode(33, nan), {0x00}},
        {"NaN to 32 bits", 19, 33, 1.0f, Encode(33, nan), {0x00, 0x00, 0x00, 0x80}},
        {"floats are never clipped", 32, 33, 1.0f, Encode(33, 3.5), {0x00, 0x00, 0x60, 0x40}},
        {"float gain not clipped", 33, 17, 4.0f, Encode(17, 32767), Encode(33, 32767.0 / 8192)},
        {"48 beyond 24 bits to 8 bits", 16, 48, 1.0f, Encode(48, INT_MAX), {0xFF}},
        {"48 below 24 bits to 8 bits", 16, 48, 1.0f, Encode(48, INT_MIN), {0x00}},
        {"48 beyond 24 bits to 16 bits", 17, 48, 1.0f, Encode(48, 0x01000000), {0xFF, 0x7F}},
        {"48 beyond 24 bits to 24 bits", 18, 48, 1.0f, Encode(48, 0x01000000), {0xFF, 0xFF, 0x7F}},
        {"48 beyond 24 bits to 32", 19, 48, 1.0f, Encode(48, 0x01000000), {0, 0xFF, 0xFF, 0x7F}},
        {"48 beyond 24 bits scaled", 48, 48, 0.5f, Encode(48, INT_MAX), {0xFF, 0xFF, 0x7F, 0x00}},
        // The out-of-range product is the integer indefinite 0x80000000.
        {"64 from 19 doubled, no saturation", 64, 19, 2.0f, Encode(19, INT_MAX), {0x80, 0x00}},
        {"64 from 19 doubled in range", 64, 19, 2.0f, Encode(19, 0x3FFF0000), {0x7F, 0xFE}},
        // Packed little-endian three-byte samples, kept in that byte order.
        {"65 from 19 is 18 from 18", 65, 19, 1.0f, packed, {0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB}},
        // 0x091A2B and -2758920.5 truncated, 0xD5E6F8.
        {"65 from 19 at half gain", 65, 19, 0.5f, packed, {0x2B, 0x1A, 0x09, 0xF8, 0xE6, 0xD5}},
    };
    for (const auto &row : rows) {
        Bytes out(row.want.size() + 2, 0xCD), want = row.want;
        Append(&want, {0xCD, 0xCD});
        const int n = (int)row.want.size() / SizeOf(row.dest);
        Member(row.dest, row.src)(out.data(), row.in.data(), n, row.gain);
        EXPECT_EQ(want, out) << row.name;
    }
}

// A read-only page faults on any store.
TEST(LxConvert, UnityOnEqualTypesInPlaceTouchesNothing) {
    BYTE *page = (BYTE *)VirtualAlloc(nullptr, 4096, MEM_COMMIT, PAGE_READWRITE);
    ASSERT_NE(nullptr, page);
    memset(page, 0x42, 4096);
    DWORD old;
    ASSERT_TRUE(VirtualProtect(page, 4096, PAGE_READONLY, &old));
    for (int type : kAllTypes) Member(type, type)(page, page, 64, 1.0f);
    VirtualFree(page, 0, MEM_RELEASE);
}

TEST(LxConvertFrontEnd, CopyAndBadInput) {
    const tWAVEFORMATEX df = FormatOf(32, 2), sf = FormatOf(17, 2), f16 = FormatOf(17, 1);
    const int16_t src[4] = {0x7FFF, -32768, 0x4000, 0};
    std::vector<float> dest(5, 9.0f);
    EXPECT_EQ(LX_S_OK, LxAudio_Copy(&df, dest.data(), &sf, src, 2, 1.0f));  // frames * channels
    EXPECT_EQ((std::vector<float>{0.999969482421875f, -1.0f, 0.5f, 0.0f, 9.0f}), dest);
    tWAVEFORMATEX none = f16, wide = FormatOf(17, 65535);
    none.wFormatTag = 2;
    unsigned char buf[16] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_Copy(nullptr, nullptr, nullptr, nullptr, 0, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(nullptr, buf, &f16, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, nullptr, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, nullptr, &f16, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, &f16, nullptr, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&f16, buf, &f16, buf, -1, 1.0f));
    EXPECT_EQ(LX_E_NOTIMPL, LxAudio_Copy(&none, buf, &f16, buf, 1, 1.0f));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_Copy(&wide, buf, &wide, buf, 0x10000000, 1.0f));
    Member(17, 32)(nullptr, nullptr, 4, 1.0f);
    Member(17, 32)(buf, buf, -3, 1.0f);
}

// An SSE2 member at level 5 would fault on a processor without SSE2.
TEST(LxConvertDispatch, MemberByLevel) {
    using namespace lxconvert;
    const struct {
        int dest, src;
        LxAudioCopyFunc paired, at5, at6;  // paired null: the plain member
    } rows[] = {
        {16, 32, Paired16From32, Sse16From32, Sse16From32},
        {17, 32, Paired17From32, Sse17From32, Sse17From32},
        {18, 32, Paired18From32, Sse18From32, Sse18From32},
        {16, 33, Paired16From33, Paired16From33, Sse2_16From33},
        {17, 33, Paired17From33, Paired17From33, Sse2_17From33},
        {18, 33, Paired18From33, Paired18From33, Sse2_18From33},
        {32, 17, nullptr, Sse32From17, Sse2_32From17},
    };
    for (const auto &r : rows) {
        const LxAudioCopyFunc plain = Member(r.dest, r.src, 0), p = r.paired ? r.paired : plain;
        ASSERT_NE(nullptr, plain);
        const LxAudioCopyFunc byLevel[] = {plain, plain, p, p, p, r.at5, r.at6, r.at6};
        for (int level = 0; level <= 7; ++level) {
            const int forced = level == 7 ? 9 : level;  // above 6 is taken as 6
            EXPECT_EQ(byLevel[level], Member(r.dest, r.src, forced))
                << r.dest << " from " << r.src << " at level " << forced;
        }
    }
}

// Ordinary values, values whose product lands next to an integer, and special ones.
Bytes RandomSource(int src, size_t samples, float gain, std::mt19937 &rng) {
    std::uniform_real_distribution<double> uni(-1.3, 1.3);
    std::uniform_int_distribution<int> kind(0, 9), i16(-32768, 32767), steps(-40000, 40000);
    const double inf = std::numeric_limits<double>::infinity();
    const double specials[] = {0.0, -0.0, 1.0, -1.0, inf, -inf, std::nan(""), 1e-40, -1e-42,
                               3e38, -3e38, 1e300, 0.99999994, -0.99999994};
    Bytes out;
    for (size_t i = 0; i < samples; ++i) {
        const int k = kind(rng);
        double v = specials[rng() % (sizeof specials / sizeof specials[0])];
        if (src == 17) {
            v = i16(rng);
        } else if (k < 4) {
            v = uni(rng);
        } else if (k < 8) {
            // An integer step of the destination over the multiplier, nudged a few ulps.
            const double m = (double)gain * (k & 1 ? 32768.0 : 128.0);
            float f = (float)(steps(rng) / (m != 0 ? m : 1.0));
            for (int step = (int)(rng() % 5) - 2; step != 0; step += step > 0 ? -1 : 1)
                f = std::nextafter(f, step > 0 ? 2e38f : -2e38f);
            v = f;
        }
        Append(&out, Encode(src, v));
    }
    return out;
}

// Lengths 0 to 67, every source start within 16 bytes, destination starts, and
// in place; bit for bit, with nothing written outside the output.
TEST(LxConvertDispatch, VectorMembersMatchPlainBitForBit) {
    const struct {
        int dest, src;
        int levels[3];
    } pairs[] = {
        {16, 32, {2, 5, 6}}, {17, 32, {2, 5, 6}}, {18, 32, {2, 5, 6}}, {16, 33, {2, 5, 6}},
        {17, 33, {2, 5, 6}}, {18, 33, {2, 5, 6}}, {32, 17, {5, 6, 6}},
    };
    const float gains[] = {1.0f, 0.5f, 0.7f, 1.3f, -0.3f, 0.0f, 3.0517578e-5f, 1e20f, 2.5e-20f};
    std::mt19937 rng(20240607);
    const size_t kMax = 67, kPad = 32;
    alignas(16) unsigned char srcBuf[(kMax + 16) * 8 + 2 * kPad], want[kMax * 8 + 2 * kPad],
        got[sizeof want], a[(kMax + 16) * 8 + kPad], b[sizeof a];
    for (const auto &pair : pairs) {
        const LxAudioCopyFunc plain = Member(pair.dest, pair.src, 0);
        const size_t ss = SizeOf(pair.src);
        for (int level : pair.levels) {
            const LxAudioCopyFunc member = Member(pair.dest, pair.src, level);
            for (float gain : gains) {
                const Bytes source = RandomSource(pair.src, kMax + 16, gain, rng);
                for (size_t n = 0; n <= kMax; ++n) {
                    for (size_t so = 0; so < 16; ++so) {
                        auto where = [&] {
                            return std::to_string(pair.dest) + " from " + std::to_string(pair.src) +
                                   " level " + std::to_string(level) + " gain " +
                                   std::to_string(gain) + " n " + std::to_string(n) + " offset " +
                                   std::to_string(so);
                        };
                        memcpy(srcBuf + so, source.data(), n * ss);
                        for (size_t dof = 0; dof < 16; dof += (n < 20 ? 1 : 5)) {
                            memset(want, 0xA5, sizeof want);
                            memset(got, 0xA5, sizeof got);
                            plain(want + kPad + dof, srcBuf + so, (int)n, gain);
                            member(got + kPad + dof, srcBuf + so, (int)n, gain);
                            ASSERT_EQ(0, memcmp(want, got, sizeof want))
                                << where() << " dest " << dof;
                        }
                        memset(a, 0xA5, sizeof a);
                        memcpy(a + so, source.data(), n * ss);
                        memcpy(b, a, sizeof a);
                        plain(a + so, a + so, (int)n, gain);
                        member(b + so, b + so, (int)n, gain);
                        ASSERT_EQ(0, memcmp(a, b, sizeof a)) << where() << " in place";
                    }
                }
            }
        }
    }
}

// Each copier moves what the converter of its pair moves at unity gain:
// source channel 1 of 2 into destination channel 2 of 3.
TEST(LxCopyChannels, EveryCopierOnEdgeValues) {
    const int types[] = {16, 17, 18, 19, 32, 33, 48, 49};
    for (int d : types) {
        for (int s : types) {
            SCOPED_TRACE(std::to_string(d) + " from " + std::to_string(s));
            const double *unity = UnityOf(d, s);
            const tWAVEFORMATEX df = FormatOf(d, 3), sf = FormatOf(s, 2);
            const LxAudioCopyChannelsFunc copy = LxAudio_GetCopyChannelsFunction(&df, &sf);
            ASSERT_TRUE(unity && copy);
            const size_t w = SizeOf(d);
            Bytes src, dest(5 * 3 * w, 0xEE), want = dest;
            for (int i = 0; i < 5; ++i) {
                Append(&src, Encode(s, 0));
                Append(&src, Encode(s, SourceLevels(s)[i]));
                memcpy(&want[(i * 3 + 2) * w], Encode(d, unity[i]).data(), w);
            }
            copy(dest.data(), 3, 2, src.data(), 2, 1, 5);
            EXPECT_EQ(want, dest);
        }
    }
    const tWAVEFORMATEX f17 = FormatOf(17, 2);
    for (int t : {64, 65, 66}) {
        const tWAVEFORMATEX be = FormatOf(t, 2);
        EXPECT_TRUE(!LxAudio_GetCopyChannelsFunction(&be, &f17) &&
                    !LxAudio_GetCopyChannelsFunction(&f17, &be)) << t;
    }
    EXPECT_EQ(nullptr, LxAudio_GetCopyChannelsFunction(nullptr, &f17));
    // Equal types on one channel with a wider destination stride do nothing;
    // a narrower one copies front to back.
    const LxAudioCopyChannelsFunc copy = LxAudio_GetCopyChannelsFunction(&f17, &f17);
    int16_t buf[6] = {1, 2, 3, 4, 5, 6};
    copy(buf, 3, 0, buf, 2, 0, 2);
    EXPECT_EQ((Shorts{1, 2, 3, 4, 5, 6}), Shorts(buf, buf + 6));
    copy(buf, 1, 0, buf, 2, 0, 3);
    EXPECT_EQ((Shorts{1, 3, 5, 4, 5, 6}), Shorts(buf, buf + 6));
}

TEST(LxCopyChannels, MapRulesAndFrontEnd) {
    const tWAVEFORMATEX stereo16 = FormatOf(17, 2), three32 = FormatOf(19, 3);
    const int16_t src[4] = {0x1111, 0x2222, 0x3333, 0x4444};
    const int32_t o = 0x0BADF00D;
    const struct {
        const char *name;
        int map[2];
        std::vector<int32_t> want;
    } rows[] = {
        {"to channel 2, second skipped", {2, -1}, {o, o, 0x11110000, o, o, 0x33330000}},
        {"swapped", {1, 0}, {0x22220000, 0x11110000, o, 0x44440000, 0x33330000, o}},
        {"one target, the later wins", {0, 0}, {0x22220000, o, o, 0x44440000, o, o}},
        {"out of range skips", {3, 1}, {o, 0x22220000, o, o, 0x44440000, o}},
    };
    for (const auto &row : rows) {
        std::vector<int32_t> dest(6, o);
        EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&three32, dest.data(), &stereo16, src, 2, row.map));
        EXPECT_EQ(row.want, dest) << row.name;
    }
    const tWAVEFORMATEX stereo8 = FormatOf(16, 2), mono16 = FormatOf(17, 1), be = FormatOf(64, 2);
    const int16_t in[4] = {0x1180, 0x2280, -1, 0x7FFF};
    const int map[2] = {1, 0};
    Bytes dest(4, 9);
    // Equal channel counts ignore the map; no map converts frames times channels.
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&stereo8, dest.data(), &stereo16, in, 2, map));
    EXPECT_EQ((Bytes{0x91, 0xA2, 0x7F, 0xFF}), dest);
    dest.assign(4, 9);
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&stereo8, dest.data(), &stereo16, in, 1, nullptr));
    EXPECT_EQ((Bytes{0x91, 0xA2, 9, 9}), dest);
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannels(&mono16, nullptr, &be, nullptr, 0, map));
    EXPECT_EQ(LX_E_NOTIMPL, LxAudio_CopyChannels(&mono16, dest.data(), &be, in, 1, map));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannels(nullptr, dest.data(), &stereo16, in, 1, map));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannels(&mono16, nullptr, &stereo16, in, 1, map));
}

TEST(LxChannelChange, MixDownSumsAndAverages) {
    const struct {
        const char *name;
        int type;
        std::vector<double> frame;  // one frame in the type's units
        double sum, average;
    } rows[] = {
        {"16-bit pair clips when summed", 17, {0x6000, 0x6000}, 0x7FFF, 0x6000},
        {"16-bit -1 and 0 average truncates to 0", 17, {-1, 0}, -1, 0},
        {"16-bit three channels", 17, {-32768, -32768, 100}, -32768, -21812},  // -65436 / 3
        // Type 16 averages as widened integers: -256 / 2 = -128, >> 8 = -1.
        {"8-bit unsigned -1 and 0 average floors", 16, {-1, 0}, -1, -1},
        {"8-bit signed", 49, {-1, 0}, -1, 0},
        {"24-bit", 18, {-5517841, 1}, -5517840, -2758920},
        {"24-bit big-endian clips", 65, {8388607, 1}, 8388607, 4194304},
        {"32-bit clips", 19, {INT_MAX, INT_MAX}, INT_MAX, INT_MAX},
        {"32-bit big-endian", 66, {0x40000000, 0x40000000}, INT_MAX, 0x40000000},
        {"16-bit big-endian", 64, {-4661, -3}, -4664, -2332},
        {"float is not clipped", 32, {0.75, 0.75}, 1.5, 0.75},
        {"double is not clipped", 33, {1.0, 1.0, 0.5}, 2.5, 2.5 / 3},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const tWAVEFORMATEX f = FormatOf(row.type, (WORD)row.frame.size());
        const Bytes src = Encode(row.type, row.frame.data(), row.frame.size());
        Bytes dest(SizeOf(row.type) + 4, 0xCD), want = Encode(row.type, row.sum);
        Append(&want, Bytes(4, 0xCD));
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(dest.data(), 1, src.data(), &f, 1));
        EXPECT_EQ(want, dest);
        memcpy(want.data(), Encode(row.type, row.average).data(), SizeOf(row.type));
        EXPECT_EQ(LX_S_OK, LxAudio_ChannelChangeAvg(dest.data(), 1, src.data(), &f, 1));
        EXPECT_EQ(want, dest);
    }
    const tWAVEFORMATEX f = FormatOf(17, 2);
    int16_t buf[6] = {100, 200, -300, -400, 0x4000, 0x4000};  // in place: from the first frame
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(buf, 1, buf, &f, 3));
    EXPECT_EQ((Shorts{300, -700, 0x7FFF, -400, 0x4000, 0x4000}), Shorts(buf, buf + 6));
}

TEST(LxChannelChange, SpreadsMonoFromTheLastFrame) {
    for (int type : kAllTypes) {
        const tWAVEFORMATEX mono = FormatOf(type, 1);
        const double *l = SourceLevels(type), in[3] = {l[0], l[3], l[4]};
        Bytes want;
        for (int i = 0; i < 9; ++i) Append(&want, Encode(type, in[i / 3]));
        for (auto change : {LxAudio_ChannelChange, LxAudio_ChannelChangeAvg}) {
            Bytes buf = Encode(type, in, 3);
            buf.resize(want.size(), 0xCD);
            EXPECT_EQ(LX_S_OK, change(buf.data(), 3, buf.data(), &mono, 3));
            EXPECT_EQ(want, buf) << type;
        }
    }
}

TEST(LxChannelChange, UnsupportedCombinations) {
    const tWAVEFORMATEX three = FormatOf(17, 3), stereo = FormatOf(17, 2);
    const tWAVEFORMATEX unpacked = FormatOf(48, 2);
    tWAVEFORMATEX zero = stereo;
    zero.nChannels = 0;
    unsigned char buf[64] = {};
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 2, buf, &three, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChange(buf, 3, buf, &stereo, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ChannelChangeAvg(buf, 1, buf, &unpacked, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, nullptr, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, &zero, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(nullptr, 1, buf, &stereo, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_ChannelChange(buf, 1, buf, &stereo, -1));
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(nullptr, 1, nullptr, &stereo, 0));
    const int16_t src[2] = {5, -5};  // equal counts copy the format to itself
    int16_t dest[2] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_ChannelChange(dest, 2, src, &stereo, 1));
    EXPECT_EQ((Shorts{5, -5}), Shorts(dest, dest + 2));
}

TEST(LxChannelOps, ExtractAndMono) {
    for (int type : {16, 17, 18, 19, 32}) {
        const UINT ch = (UINT)type % 3;
        const tWAVEFORMATEX f = FormatOf(type, 3);
        const double *l = SourceLevels(type), frames[6] = {l[0], l[1], l[3], l[4], l[2], l[0]};
        const Bytes src = Encode(type, frames, 6);
        Bytes want = Encode(type, frames[ch]), dest(2 * want.size() + 2, 0xCD), inplace = src;
        Append(&want, Encode(type, frames[3 + ch]));
        EXPECT_EQ(LX_S_OK, LxAudio_ExtractChannel(inplace.data(), ch, inplace.data(), &f, 2));
        EXPECT_EQ(want, Bytes(inplace.begin(), inplace.begin() + want.size())) << type;
        Append(&want, {0xCD, 0xCD});
        EXPECT_EQ(LX_S_OK, LxAudio_ExtractChannel(dest.data(), ch, src.data(), &f, 2));
        EXPECT_EQ(want, dest) << type;
    }
    const struct {
        const char *name;
        int type;
        std::vector<double> frame;
        double average;
    } rows[] = {
        {"8-bit sums raw bytes", 16, {127, -128}, -1},  // (0xFF + 0x00) / 2 = 0x7F
        {"16-bit truncates", 17, {-3, 0}, -1},
        {"32-bit wraps", 19, {INT_MAX, INT_MAX}, -1},
        {"24-bit through double", 18, {1, 2}, 1},
        {"24-bit negative truncates toward zero", 18, {-1, -2}, -1},
        {"float", 32, {0.25, 0.5}, 0.375},
    };
    for (const auto &row : rows) {
        const size_t ch = row.frame.size();
        const tWAVEFORMATEX f = FormatOf(row.type, (WORD)ch);
        const Bytes src = Encode(row.type, row.frame.data(), ch);
        const std::vector<double> avg(ch, row.average);
        Bytes want = Encode(row.type, avg.data(), ch), dest(src.size() + 2, 0xCD), inplace = src;
        EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(inplace.data(), inplace.data(), &f, 1));
        EXPECT_EQ(want, inplace) << row.name;
        Append(&want, {0xCD, 0xCD});
        EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(dest.data(), src.data(), &f, 1));
        EXPECT_EQ(want, dest) << row.name;
    }
}

TEST(LxChannelOps, CopyMuteSwapInPlace) {
    for (int type : {16, 17, 18, 19, 32}) {
        const tWAVEFORMATEX f = FormatOf(type, 3);
        const size_t w = SizeOf(type);
        Bytes orig(2 * 3 * w), buf;
        for (size_t i = 0; i < orig.size(); ++i) orig[i] = (unsigned char)(i + 1);
        // Which original channel each channel holds afterwards; -1 zeros.
        auto expect = [&](std::vector<int> from) {
            Bytes want;
            for (int i = 0; i < 6; ++i) {
                const size_t at = (i / 3 * 3 + std::max(from[i % 3], 0)) * w;
                Append(&want, from[i % 3] < 0 ? Bytes(w, 0) : Bytes(&orig[at], &orig[at] + w));
            }
            EXPECT_EQ(want, buf) << type;
            buf = orig;
        };
        buf = orig;
        EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToChannel(buf.data(), &f, 2, 0, 2));
        expect({2, 1, 2});
        EXPECT_EQ(LX_S_OK, LxAudio_MuteChannel(buf.data(), &f, 1, 2));
        expect({0, -1, 2});  // zero bytes also for type 16
        EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(buf.data(), &f, 2));
        expect({1, 0, 2});
    }
}

TEST(LxChannelOps, OtherTypesFailAndMonoIsACopyOrNothing) {
    unsigned char buf[16];
    memset(buf, 0x77, sizeof buf);
    for (int type : {33, 48, 49, 64, 65, 66}) {
        const tWAVEFORMATEX f = FormatOf(type, 2);
        EXPECT_EQ(LX_E_FAIL, LxAudio_ExtractChannel(buf, 0, buf, &f, 1)) << type;
        EXPECT_EQ(LX_E_FAIL, LxAudio_MonoChannel(buf, buf, &f, 1)) << type;
        EXPECT_EQ(LX_E_FAIL, LxAudio_MuteChannel(buf, &f, 0, 1)) << type;
        EXPECT_EQ(LX_E_FAIL, LxAudio_SwapStereoChannels(buf, &f, 1)) << type;
        EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToChannel(buf, &f, 0, 1, 1)) << type;
    }
    const tWAVEFORMATEX mono = FormatOf(33, 1), stereo = FormatOf(17, 2), be = FormatOf(66, 1);
    EXPECT_EQ(LX_S_OK, LxAudio_MuteChannel(buf, &mono, 5, 2));
    EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(buf, &mono, 2));
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToChannel(buf, &mono, 0, 3, 2));
    EXPECT_EQ(Bytes(16, 0x77), Bytes(buf, buf + 16));
    EXPECT_EQ(LX_E_FAIL, LxAudio_ExtractChannel(buf, 2, buf, &stereo, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_MuteChannel(buf, &stereo, 2, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToChannel(buf, &stereo, 0, 2, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_MuteChannel(nullptr, &stereo, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_MuteChannel(buf, nullptr, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_SwapStereoChannels(buf, &stereo, -1));
    EXPECT_EQ(LX_S_OK, LxAudio_SwapStereoChannels(nullptr, &stereo, 0));
    // A mono source of any type is a copy, whatever the channel.
    const double v = -0.25;
    double out = 0;
    EXPECT_EQ(LX_S_OK, LxAudio_ExtractChannel(&out, 7, &v, &mono, 1));
    EXPECT_EQ(-0.25, out);
    const unsigned char word[4] = {1, 2, 3, 4};
    EXPECT_EQ(LX_S_OK, LxAudio_MonoChannel(buf, word, &be, 1));
    EXPECT_EQ(Bytes(word, word + 4), Bytes(buf, buf + 4));
}

TEST(LxChannelOps, CopyChannelToMultiMono) {
    const tWAVEFORMATEX stereo = FormatOf(17, 2), quad = FormatOf(17, 4), mono = FormatOf(17, 1);
    int16_t buf[12] = {1, 2, 3, 4, 5, 6};  // in place into more channels: from the last frame
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(buf, &quad, buf, &stereo, 1, 3));
    EXPECT_EQ((Shorts{2, 2, 2, 2, 4, 4, 4, 4, 6, 6, 6, 6}), Shorts(buf, buf + 12));
    int16_t four[8] = {1, 2, 3, 4, 5, 6, 7, 8};  // into fewer: from the first
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(four, &stereo, four, &quad, 2, 2));
    EXPECT_EQ((Shorts{3, 3, 7, 7, 5, 6, 7, 8}), Shorts(four, four + 8));
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(buf, &mono, four, &quad, 3, 2));
    EXPECT_EQ((Shorts{7, 8}), Shorts(buf, buf + 2));
    const tWAVEFORMATEX be1 = FormatOf(65, 1), be2 = FormatOf(65, 2), s32 = FormatOf(19, 2);
    const unsigned char src[3] = {0xAB, 0xCD, 0xEF};
    unsigned char dest[7] = {};
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(dest, &be2, src, &be1, 0, 1));
    EXPECT_EQ((Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0}), Bytes(dest, dest + 7));
    tWAVEFORMATEX none = stereo;
    none.wFormatTag = 2;
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(dest, &s32, dest, &stereo, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(dest, &none, dest, &none, 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(dest, nullptr, dest, &stereo, 0, 1));
    EXPECT_EQ(LX_E_FAIL, LxAudio_CopyChannelToMultiMono(dest, &stereo, dest, &stereo, 2, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxAudio_CopyChannelToMultiMono(dest, &s32, nullptr, &s32, 0, 1));
    EXPECT_EQ(LX_S_OK, LxAudio_CopyChannelToMultiMono(nullptr, &s32, nullptr, &s32, 0, 0));
}

}  // namespace
