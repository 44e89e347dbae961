// Converters on edge values at each processor level, vector members, channel operations.
#include "dsp/lxconvert.h"
#include "kernel/kernel.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;
typedef std::vector<double> Values;

const int kTypes[] = {16, 17, 18, 19, 32, 33, 48, 49, 64, 65, 66};
const double _ = 1e300;  // a sample the call must leave as it was

// Family by scale: 8, 16, 24, 32 bits, float.
int Fam(int t) { return t < 20 ? t - 16 : t < 34 ? 4 : t == 48 ? 2 : t == 49 ? 0 : t - 63; }
int SizeOf(int type) { return type == 33 ? 8 : type == 32 || type == 48 ? 4 : Fam(type) + 1; }

// Samples from values in the type's own units (full scale 1.0 for floats); _ gives marks.
Bytes Encode(int type, const Values &values) {
    Bytes out;
    for (const double v : values) {
        const size_t n = (size_t)SizeOf(type), at = out.size();
        const float f = v == _ ? 0 : (float)v;
        out.resize(at + n, 0xCD);
        if (v != _ && type / 16 == 2) memcpy(&out[at], type == 32 ? (const void *)&f : &v, n);
        if (v == _ || type / 16 == 2) continue;
        const uint32_t u = (uint32_t)(int64_t)v + (type == 16 ? 128 : 0);
        for (size_t i = 0; i < n; ++i)
            out[at + (type >= 64 ? n - 1 - i : i)] = (unsigned char)(u >> 8 * i);
    }
    return out;
}

tWAVEFORMATEX FormatOf(int t, int channels) {
    const WORD tag = t < 32 ? 1 : t < 48 ? 3 : t < 64 ? (WORD)(0xFE00 + t - 48) : 0xFE02;
    const WORD align = (WORD)(channels * SizeOf(t)), bits = (WORD)(8 * SizeOf(t));
    return tWAVEFORMATEX{tag, (WORD)channels, 44100, 44100u * align, align, bits, 0};
}

// Level 0 carries a flag bit: a word of 0 would clear the override.
LxAudioCopyFunc Member(int dest, int src, int level) {
    Kernel_ForceCpuWord(level == 0 ? LXCPU_TSC : (DWORD)level);
    const LxAudioCopyFunc fn = LxAudio_GetCopyFunction2((LXSAMPLETYPE)dest, (LXSAMPLETYPE)src);
    Kernel_ForceCpuWord(0);
    return fn;
}

// Source levels by family (8, 16, 24, 32 bits, float): the lowest, one step below zero
// (about -0.99999 for floats), zero, the highest, an odd value (0xA5 ... 0xABCDEF01).
const double kX1 = -(1 - 168.0 / 16777216), kX2 = 0.25 + 1.0 / 4096 + 1.0 / 1048576 + 1.0 / 8388608;
const Values kLevels[5] = {{-128, -1, 0, 127, -91}, {-32768, -1, 0, 32767, -4661},
                           {-8388608, -1, 0, 8388607, -5517841},
                           {INT_MIN, -1, 0, INT_MAX, -1412567295}, {-1.0, kX1, 0, 1.0, kX2}};
// Integer destinations by family, each source family's five levels in turn: the scaled
// path at unity (truncated toward zero, saturated), then at gain 0.5.
const double kScaled[4][25] = {
    {-128, -1, 0, 127, -91, -128, 0, 0, 127, -18, -128, 0, 0, 127, -84, -128, 0, 0, 127, -84, -128,
     -127, 0, 127, 32},
    {-32768, -256, 0, 32512, -23296, -32768, -1, 0, 32767, -4661, -32768, 0, 0, 32767, -21554,
     -32768, 0, 0, 32767, -21554, -32768, -32767, 0, 32767, 8200},
    {-8388608, -65536, 0, 8323072, -5963776, -8388608, -256, 0, 8388352, -1193216, -8388608, -1, 0,
     8388607, -5517841, -8388608, 0, 0, 8388607, -5517840, -8388608, -8388524, 0, 8388607,
     2099209},
    {INT_MIN, -16777216, 0, 2130706432, -1526726656, INT_MIN, -65536, 0, 2147418112, -305463296,
     INT_MIN, -256, 0, 2147483392, -1412567296, INT_MIN, -1, 0, INT_MAX, -1412567295, INT_MIN,
     -2147462144, 0, INT_MAX, 537397504},
};
const double kHalf[4][25] = {
    {-64, 0, 0, 63, -45, -64, 0, 0, 63, -9, -64, 0, 0, 63, -42, -64, 0, 0, 63, -42, -64, -63, 0,
     64, 16},
    {-16384, -128, 0, 16256, -11648, -16384, 0, 0, 16383, -2330, -16384, 0, 0, 16383, -10777,
     -16384, 0, 0, 16383, -10777, -16384, -16383, 0, 16384, 4100},
    {-4194304, -32768, 0, 4161536, -2981888, -4194304, -128, 0, 4194176, -596608, -4194304, 0, 0,
     4194303, -2758920, -4194304, 0, 0, 4194303, -2758920, -4194304, -4194262, 0, 4194304,
     1049604},
    {-1073741824, -8388608, 0, 1065353216, -763363328, -1073741824, -32768, 0, 1073709056,
     -152731648, -1073741824, -128, 0, 1073741696, -706283648, -1073741824, 0, 0, 1073741823,
     -706283647, -1073741824, -1073731072, 0, 1073741824, 268698752},
};
// Narrowing bit moves shift, toward minus infinity: the edges land on the destination's.
const double kShiftedOdd[3][4] = {{0, -19, -85, -85}, {0, 0, -21555, -21555}, {0, 0, 0, -5517841}};

Values Expected(int dest, int src, bool half) {
    const int d = dest == 48 && src == 32 ? 3 : Fam(dest), s = Fam(src);  // the top of the word
    const auto le = [](int t) { return t < 20 || t == 48 || t == 49; };
    Values v = kLevels[s];
    if (d == 4) {
        for (double &x : v) x = x / -kLevels[s][0] * (half ? 0.5 : 1.0);  // over full scale
    } else if (!half && ((le(dest) && le(src) && d < s) || (dest == 17 && src == 65) ||
                         (dest == 64 && src == 19))) {
        v = kLevels[d];
        v[4] = kShiftedOdd[d][s];
    } else if (half && dest == 64 && src == 19) {
        v = {-16384, 0, 0, 16383, -10778};  // the word times the gain, shifted
    } else {
        const double *row = (half ? kHalf : kScaled)[d] + 5 * s;
        v.assign(row, row + 5);
    }
    return v;
}

// Also the pairs without a member, and those that read their source and store nothing.
TEST(LxConvert, EveryPairOnEdgeValuesAtEachLevel) {
    for (int level : {0, 2, 5, 6}) {
        for (int dest : kTypes) {
            for (int src : kTypes) {
                SCOPED_TRACE(testing::Message() << dest << " from " << src << " level " << level);
                const LxAudioCopyFunc fn = Member(dest, src, level);
                const bool none = (dest == 64 || dest == 65) && (src == 48 || src == 66);
                const bool keeps = dest == 66 && src != 19 && src != 66;
                EXPECT_EQ(none, fn == nullptr);
                for (int half = 0; !none && !(dest == 65 && src == 19) && half < 2; ++half) {
                    const Bytes in = Encode(src, kLevels[Fam(src)]);
                    Bytes want = keeps ? in : Encode(dest, Expected(dest, src, half)), both = in;
                    Bytes out(want.size() + 8, 0xCD);
                    both.resize(std::max(in.size(), want.size()));
                    fn(out.data(), in.data(), 5, half ? 0.5f : 1.0f);
                    fn(both.data(), both.data(), 5, half ? 0.5f : 1.0f);
                    EXPECT_EQ(want, Bytes(both.begin(), both.begin() + want.size())) << half;
                    want.resize(keeps ? 0 : want.size());
                    want.resize(out.size(), 0xCD);
                    EXPECT_EQ(want, out) << "out of place, half " << half;
                }
            }
        }
    }
}

// The two odd members; then bad input: the status, no crash, nothing written.
TEST(LxConvert, OddMembersAndBadInput) {
    const Bytes packed = {0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB};  // 0x123456, 0xABCDEF
    const struct { int dest, src; float gain; Bytes in, want; } rows[] = {
        {64, 19, 2.0f, Encode(19, {INT_MAX, 0x3FFF0000}), {0x80, 0x00, 0x7F, 0xFE}},  // no clip
        {65, 19, 1.0f, packed, packed},
        {65, 19, 0.5f, packed, {0x2B, 0x1A, 0x09, 0xF8, 0xE6, 0xD5}},
    };
    for (const auto &r : rows) {
        Bytes out(r.want.size() + 2, 0xCD), want = r.want;
        want.resize(out.size(), 0xCD);
        Member(r.dest, r.src, 0)(out.data(), r.in.data(), (int)r.want.size() / SizeOf(r.dest),
                                 r.gain);
        EXPECT_EQ(want, out) << r.dest << " from " << r.src << " times " << r.gain;
    }
    const tWAVEFORMATEX s16 = FormatOf(17, 2), wide = FormatOf(17, 65535);
    tWAVEFORMATEX none = s16;
    none.nChannels = 0;  // no channels
    unsigned char b[16];
    memset(b, 0x77, sizeof b);
    const HRESULT invalid[] = {
        LxAudio_Copy(nullptr, b, &s16, b, 1, 1.0f), LxAudio_Copy(&s16, nullptr, &s16, b, 1, 1.0f),
        LxAudio_Copy(&s16, b, &s16, b, -1, 1.0f), LxAudio_Copy(&wide, b, &wide, b, 1 << 28, 1.0f),
        LxAudio_ChannelChange(b, 1, b, &none, 1), LxAudio_MuteChannel(nullptr, &s16, 0, 1),
        LxAudio_MonoChannel(b, b, &none, 1), LxAudio_CopyChannelToMultiMono(b, &s16, b, &none, 0, 1)
    };
    for (const HRESULT &hr : invalid) EXPECT_EQ(LX_E_INVALIDARG, hr) << "call " << &hr - invalid;
    for (int bad : {0, 15, 20, 31, 34, 47, 50, 63, 67, 0x7FFFFFFF})
        EXPECT_TRUE(!Member(bad, 17, 0) && !Member(17, bad, 0)) << bad;
    Member(17, 32, 6)(nullptr, nullptr, 4, 1.0f);
    Member(17, 32, 6)(b, b, -3, 1.0f);
    EXPECT_EQ(Bytes(16, 0x77), Bytes(b, b + 16));
}

// Near an integer step of the destination (a few ulps off), or special.
Bytes RandomSource(int src, size_t samples, float gain, std::mt19937 &rng) {
    std::uniform_int_distribution<int> kind(0, 9), i16(-32768, 32767), steps(-40000, 40000);
    const double specials[] = {0.0, -0.0, 1.0, -1.0, INFINITY, -INFINITY, NAN, 1e-40, -1e-42,
                               3e38, -3e38, 1e300, 0.99999994, -0.99999994};
    Values out;
    for (size_t i = 0; i < samples; ++i) {
        const int k = kind(rng);
        float f = (float)(steps(rng) / ((double)gain * (k & 1 ? 32768.0 : 128.0)));
        for (int step = (int)(rng() % 5) - 2; step != 0; step += step > 0 ? -1 : 1)
            f = std::nextafter(f, step > 0 ? 2e38f : -2e38f);
        out.push_back(src == 17 ? i16(rng) : k < 8 ? f : specials[rng() % std::size(specials)]);
    }
    return Encode(src, out);
}

// Levels 0 and 1 get the plain member, 2 to 4 the paired loop, 5 SSE, 6 and above SSE2,
// where a pair has them: an SSE2 member at level 5 would fault without SSE2. Alignment
// decides the vector members' paths, hence every start.
TEST(LxConvertDispatch, VectorMembersMatchPlainBitForBit) {
    const struct { int dest, src; const char *member; } pairs[] = {  // levels 0 to 7 by member
        {16, 32, "00111222"}, {17, 32, "00111222"}, {18, 32, "00111222"}, {16, 33, "00111122"},
        {17, 33, "00111122"}, {18, 33, "00111122"}, {32, 17, "00000122"},
    };
    const float gains[] = {1.0f, 0.5f, 0.7f, 1.3f, -0.3f, 0.0f, 3.0517578e-5f, 1e20f, 2.5e-20f};
    std::mt19937 rng(20240607);
    const size_t kMax = 67, kPad = 32;
    alignas(16) unsigned char src[(kMax + 16) * 8], want[kMax * 8 + 2 * kPad], got[sizeof want];
    for (const auto &p : pairs) {
        LxAudioCopyFunc at[8];
        for (int level = 0; level < 8; ++level) at[level] = Member(p.dest, p.src, level);
        for (int i = 0; i < 64; ++i)
            EXPECT_EQ(p.member[i / 8] == p.member[i % 8], at[i / 8] == at[i % 8])
                << p.dest << "/" << p.src << " levels " << i / 8 << ", " << i % 8;
        const size_t ss = SizeOf(p.src);
        for (int level = 2; level < 7; ++level) {
            for (size_t g = 0; at[level] != at[level - 1] && g < std::size(gains); ++g) {
                const Bytes source = RandomSource(p.src, kMax + 16, gains[g], rng);
                for (size_t n = 0; n <= kMax; ++n) {
                    for (size_t so = 0; so < 16; ++so) {
                        memcpy(src + so, source.data(), n * ss);
                        // Destination starts 0 to 15 (fewer for long runs), then in place.
                        for (size_t dof = 0; dof <= 16; dof += n < 20 || dof == 15 ? 1 : 5) {
                            const bool inPlace = dof == 16;
                            const size_t to = inPlace ? so : kPad + dof;
                            memset(want, 0xA5, sizeof want);
                            memset(got, 0xA5, sizeof got);
                            memcpy(want + to, src + so, inPlace ? n * ss : 0);
                            memcpy(got + to, src + so, inPlace ? n * ss : 0);
                            at[0](want + to, inPlace ? want + to : src + so, (int)n, gains[g]);
                            at[level](got + to, inPlace ? got + to : src + so, (int)n, gains[g]);
                            ASSERT_EQ(0, memcmp(want, got, sizeof want)) << p.dest << "/" << p.src
                                << " level " << level << " gain " << gains[g] << " n " << n << " "
                                << so << " to " << dof;
                        }
                    }
                }
            }
        }
    }
}

enum Op { kMap, kSum, kAvg, kMono, kMultiMono, kMute };

HRESULT Call(Op op, const tWAVEFORMATEX &df, void *dest, const tWAVEFORMATEX &sf,
             const void *src, int frames, int a, int b) {
    const int map[2] = {a, b};
    switch (op) {
    case kMap: return LxAudio_CopyChannels(&df, dest, &sf, src, frames, map);
    case kSum: return LxAudio_ChannelChange(dest, df.nChannels, src, &sf, frames);
    case kAvg: return LxAudio_ChannelChangeAvg(dest, df.nChannels, src, &sf, frames);
    case kMono: return LxAudio_MonoChannel(dest, src, &sf, frames);
    case kMultiMono: return LxAudio_CopyChannelToMultiMono(dest, &df, src, &sf, a, frames);
    default: return LxAudio_MuteChannel(dest, &sf, a, frames);
    }
}

// In place too but for the map; a failing call changes nothing.
TEST(LxChannelOps, EdgesOfEachOperation) {
    const struct {
        Op op;
        int dt, dc, st, sc, a, b;  // destination and source type and channels; arguments
        Values in, out;
        HRESULT hr = S_OK;
    } rows[] = {
        {kMap, 19, 3, 17, 2, 2, 3, {0x11, 0x22, 0x33, 0x44}, {_, _, 0x110000, _, _, 0x330000}},
        {kMap, 16, 2, 17, 2, 1, 0, {0x1180, 0x2280, -1, 0x7FFF}, {0x11, 0x22, -1, 0x7F}},
        {kMap, 17, 1, 64, 2, 0, 0, {1, 2}, {}, LX_E_NOTIMPL},
        {kSum, 17, 1, 17, 2, 0, 0, {0x6000, 0x6000}, {0x7FFF}},
        {kAvg, 16, 1, 16, 2, 0, 0, {-1, 0}, {-1}},  // as 16-bit integers: -256 / 2 >> 8
        {kSum, 17, 2, 17, 3, 0, 0, {1, 2, 3}, {}, LX_E_FAIL},
        {kSum, 65, 3, 65, 1, 0, 0, {-8388608, 5}, {-8388608, -8388608, -8388608, 5, 5, 5}},
        {kMono, 16, 2, 16, 2, 0, 0, {127, -128}, {-1, -1}},  // raw bytes: 0xFF / 2
        {kMultiMono, 17, 4, 17, 2, 1, 0, {1, 2, 3, 4}, {2, 2, 2, 2, 4, 4, 4, 4}},
        {kMultiMono, 17, 2, 17, 4, 2, 0, {1, 2, 3, 4, 5, 6, 7, 8}, {3, 3, 7, 7}},
        {kMultiMono, 19, 2, 17, 2, 0, 0, {1, 2}, {}, LX_E_INVALIDARG},
        {kMute, 16, 3, 16, 3, 1, 0, {127, -1, 5, -91, 0, 1}, {127, -128, 5, -91, -128, 1}},
        {kMute, 16, 3, 16, 3, 3, 0, {1, 2, 3}, {}, LX_E_FAIL},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows);
        const tWAVEFORMATEX df = FormatOf(r.dt, r.dc), sf = FormatOf(r.st, r.sc);
        const Bytes in = Encode(r.st, r.in), want = Encode(r.dt, r.out);
        const int frames = (int)r.in.size() / r.sc;
        Bytes dest(std::max(in.size(), want.size()) + 4, 0xCD), buf = in, expect = want;
        expect.resize(dest.size(), 0xCD);
        buf.resize(dest.size(), 0xCD);
        if (r.op != kMute) {
            EXPECT_EQ(r.hr, Call(r.op, df, dest.data(), sf, in.data(), frames, r.a, r.b));
            EXPECT_EQ(expect, dest) << "out of place";
        }
        expect = buf;
        std::copy(want.begin(), want.end(), expect.begin());
        if (r.op != kMap) {
            EXPECT_EQ(r.hr, Call(r.op, df, buf.data(), sf, buf.data(), frames, r.a, r.b));
            EXPECT_EQ(expect, buf) << "in place";
        }
    }
}

}  // namespace
