/*
 * Sample conversion and channel copy: one generated family of converters
 * over the eleven sample types, with the bit-moving unity path and the
 * double-precision scaled path, the single-channel copiers, and the channel
 * operations on whole interleaved buffers.
 */
#include "lxconvert.h"

#include "../kernel/kernel.h"
#include "lxconvert_sse.h"

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

typedef unsigned char u8;

enum : int {
    T8 = LXSAMPLETYPE_PCM8,
    T16 = LXSAMPLETYPE_PCM16,
    T24 = LXSAMPLETYPE_PCM24,
    T32 = LXSAMPLETYPE_PCM32,
    TF32 = LXSAMPLETYPE_FLOAT32,
    TF64 = LXSAMPLETYPE_FLOAT64,
    TU24 = LXSAMPLETYPE_UNPACKED24,
    TS8 = LXSAMPLETYPE_SIGNED8,
    TB16 = LXSAMPLETYPE_BE16,
    TB24 = LXSAMPLETYPE_BE24,
    TB32 = LXSAMPLETYPE_BE32,
};

constexpr int kTypeCount = 11;
constexpr int kTypes[kTypeCount] = {T8, T16, T24, T32, TF32, TF64, TU24, TS8, TB16, TB24, TB32};

constexpr int Slot(int type) {
    switch (type) {
    case T8: return 0;
    case T16: return 1;
    case T24: return 2;
    case T32: return 3;
    case TF32: return 4;
    case TF64: return 5;
    case TU24: return 6;
    case TS8: return 7;
    case TB16: return 8;
    case TB24: return 9;
    case TB32: return 10;
    default: return -1;
    }
}

constexpr int Bytes(int type) {
    switch (type) {
    case T8: case TS8: return 1;
    case T16: case TB16: return 2;
    case T24: case TB24: return 3;
    case TF64: return 8;
    case T32: case TF32: case TU24: case TB32: return 4;
    default: return 0;
    }
}

/* Factors of the scaled path. All are powers of two, so folding them with
   the gain into one multiplier rounds exactly as multiplying one by one. */
constexpr double SourceFactor(int type) {
    switch (type) {
    case T8: case TS8: return 0.0078125;
    case T16: case TB16: return 3.0517578125e-5;
    case T24: case TB24: case T32: case TB32: return 4.656612873077393e-10;
    case TU24: return 1.1920928955078125e-7;
    default: return 1.0;
    }
}

constexpr double DestFactor(int type) {
    switch (type) {
    case T8: case TS8: return 128.0;
    case T16: case TB16: return 32768.0;
    case T24: case TB24: case TU24: return 8388608.0;
    case T32: case TB32: return 2147483648.0;
    default: return 1.0;
    }
}

static_assert(SourceFactor(T32) * DestFactor(T32) == 1.0, "2^-31 is exact");
static_assert(SourceFactor(TU24) * DestFactor(TU24) == 1.0, "2^-23 is exact");

constexpr int Lowest(int type) {
    return Bytes(type) == 1 ? -128 : Bytes(type) == 2 ? -32768 : -8388608;
}
constexpr int Highest(int type) { return -Lowest(type) - 1; }

/* ---- Reading and storing one sample ----------------------------------- */

inline int32_t Word(const u8 *p) {
    int32_t v;
    memcpy(&v, p, 4);
    return v;
}

inline void PutWord(u8 *p, uint32_t v) { memcpy(p, &v, 4); }

inline int32_t Signed(uint32_t v) { return (int32_t)v; }

inline int32_t Sat24(int32_t v) {
    return v < -8388608 ? -8388608 : v > 8388607 ? 8388607 : v;
}

/* The raw value of step 1 of the scaled path: 24-bit samples sit in the top
   three bytes of a word, unsigned bytes are made signed. */
template <int T> inline double Raw(const u8 *p) {
    if constexpr (T == T8) return (int)p[0] - 128;
    else if constexpr (T == TS8) return (int8_t)p[0];
    else if constexpr (T == T16) return (int16_t)(uint16_t)(p[0] | p[1] << 8);
    else if constexpr (T == TB16) return (int16_t)(uint16_t)(p[1] | p[0] << 8);
    else if constexpr (T == T24)
        return Signed((uint32_t)p[0] << 8 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 24);
    else if constexpr (T == TB24)
        return Signed((uint32_t)p[2] << 8 | (uint32_t)p[1] << 16 | (uint32_t)p[0] << 24);
    else if constexpr (T == T32 || T == TU24) return Word(p);
    else if constexpr (T == TB32) return Signed(__builtin_bswap32((uint32_t)Word(p)));
    else if constexpr (T == TF32) {
        float f;
        memcpy(&f, p, 4);
        return f;
    } else {
        static_assert(T == TF64, "eleven types");
        double f;
        memcpy(&f, p, 8);
        return f;
    }
}

/* Stores an integer already within the type's range. */
template <int T> inline void PutInt(u8 *p, int32_t v) {
    const uint32_t u = (uint32_t)v;
    if constexpr (T == T8) p[0] = (u8)(u ^ 0x80);
    else if constexpr (T == TS8) p[0] = (u8)u;
    else if constexpr (T == T16) { p[0] = (u8)u; p[1] = (u8)(u >> 8); }
    else if constexpr (T == TB16) { p[0] = (u8)(u >> 8); p[1] = (u8)u; }
    else if constexpr (T == T24) { p[0] = (u8)u; p[1] = (u8)(u >> 8); p[2] = (u8)(u >> 16); }
    else if constexpr (T == TB24) { p[0] = (u8)(u >> 16); p[1] = (u8)(u >> 8); p[2] = (u8)u; }
    else if constexpr (T == T32 || T == TU24) PutWord(p, u);
    else {
        static_assert(T == TB32, "integer types");
        PutWord(p, __builtin_bswap32(u));
    }
}

/* Truncation toward zero with saturation. NaN takes the low end, which is
   what the processor's truncating conversion followed by saturation gives,
   and what the vector members give. */
inline int32_t Saturate(double y, int lo, int hi) {
    if (!(y >= lo)) return lo;
    if (y >= hi) return hi;
    return (int32_t)y;
}

inline int32_t Saturate32(double y) {
    if (y < -2147483648.0) return INT32_MIN;
    if (y > 2147483647.0) return INT32_MAX;
    if (y != y) return INT32_MIN;
    return (int32_t)y;
}

/* The truncating conversion without saturation: out of range and NaN give
   the integer indefinite 0x80000000, as the processor does. */
inline int32_t TruncateWrap32(double y) {
    if (y >= -2147483648.0 && y < 2147483648.0) return (int32_t)y;
    return INT32_MIN;
}

/* Step 4 of the scaled path for a value already multiplied by every
   factor. Float destinations are never clipped. */
template <int T> inline void Put(u8 *p, double y) {
    if constexpr (T == TF32) {
        const float f = (float)y;
        memcpy(p, &f, 4);
    } else if constexpr (T == TF64) {
        memcpy(p, &y, 8);
    } else if constexpr (T == T32 || T == TB32) {
        PutInt<T>(p, Saturate32(y));
    } else {
        PutInt<T>(p, Saturate(y, Lowest(T), Highest(T)));
    }
}

/* ---- The converter family --------------------------------------------- */

/* Pairs whose unity gain moves bits instead of multiplying (equal types
   aside, which copy memory). */
constexpr bool MovesBits(int d, int s) {
    switch (d) {
    case T8: case TS8:
        return s == T16 || s == T24 || s == T32 || s == TU24 || (d == T8 && s == TS8) ||
               (d == TS8 && s == T8);
    case T16: return s == T8 || s == TS8 || s == T24 || s == T32 || s == TU24 || s == TB16 ||
                     s == TB24;
    case T24: return s == T8 || s == T32 || s == TU24;
    case T32: return s == T8 || s == TS8 || s == T16 || s == TU24 || s == TB32;
    case TU24: return s == T8 || s == TS8 || s == T16 || s == T24 || s == T32;
    case TB16: return s == T16;
    case TB32: return s == T32;
    default: return false;
    }
}

/* One sample of the unity path. Sources are read whole before the
   destination is written, for the in-place walk. */
template <int D, int S> inline void MoveBits(u8 *d, const u8 *s) {
    constexpr u8 flip = D == T8 ? 0x80 : 0;
    if constexpr ((D == T8 && S == TS8) || (D == TS8 && S == T8)) {
        d[0] = (u8)(s[0] ^ 0x80);
    } else if constexpr (D == T8 || D == TS8) {
        if constexpr (S == T16) d[0] = (u8)(s[1] ^ flip);
        else if constexpr (S == T24) d[0] = (u8)(s[2] ^ flip);
        else if constexpr (S == T32) d[0] = (u8)(s[3] ^ flip);
        else {
            static_assert(S == TU24, "8-bit unity sources");
            d[0] = (u8)((uint32_t)(Sat24(Word(s)) >> 16) ^ flip);
        }
    } else if constexpr (D == T16) {
        if constexpr (S == T8 || S == TS8) {
            const u8 hi = (u8)(s[0] ^ (S == T8 ? 0x80 : 0));
            d[0] = 0;
            d[1] = hi;
        } else if constexpr (S == T24) {
            const u8 a = s[1], b = s[2];
            d[0] = a;
            d[1] = b;
        } else if constexpr (S == T32) {
            const u8 a = s[2], b = s[3];
            d[0] = a;
            d[1] = b;
        } else if constexpr (S == TU24) {
            PutInt<T16>(d, Sat24(Word(s)) >> 8);
        } else {
            static_assert(S == TB16 || S == TB24, "16-bit unity sources");
            const u8 a = s[1], b = s[0];
            d[0] = a;
            d[1] = b;
        }
    } else if constexpr (D == TB16) {
        static_assert(S == T16, "byte swap");
        const u8 a = s[1], b = s[0];
        d[0] = a;
        d[1] = b;
    } else if constexpr (D == T24) {
        if constexpr (S == T8) {
            const u8 hi = (u8)(s[0] ^ 0x80);
            d[0] = 0;
            d[1] = 0;
            d[2] = hi;
        } else if constexpr (S == T32) {
            const u8 a = s[1], b = s[2], c = s[3];
            d[0] = a;
            d[1] = b;
            d[2] = c;
        } else {
            static_assert(S == TU24, "24-bit unity sources");
            PutInt<T24>(d, Sat24(Word(s)));
        }
    } else if constexpr (D == T32) {
        if constexpr (S == T8 || S == TS8)
            PutWord(d, (uint32_t)(u8)(s[0] ^ (S == T8 ? 0x80 : 0)) << 24);
        else if constexpr (S == T16)
            PutWord(d, ((uint32_t)s[0] | (uint32_t)s[1] << 8) << 16);
        else if constexpr (S == TU24)
            PutWord(d, (uint32_t)Sat24(Word(s)) << 8);
        else {
            static_assert(S == TB32, "byte reversal");
            PutWord(d, __builtin_bswap32((uint32_t)Word(s)));
        }
    } else if constexpr (D == TB32) {
        static_assert(S == T32, "byte reversal");
        PutWord(d, __builtin_bswap32((uint32_t)Word(s)));
    } else {
        static_assert(D == TU24, "unity destinations");
        if constexpr (S == T8) PutWord(d, (uint32_t)((int32_t)s[0] - 128) * 65536u);
        else if constexpr (S == TS8) PutWord(d, (uint32_t)(int32_t)(int8_t)s[0] * 65536u);
        else if constexpr (S == T16)
            PutWord(d, (uint32_t)(int32_t)(int16_t)(uint16_t)(s[0] | s[1] << 8) * 256u);
        else if constexpr (S == T24) PutWord(d, (uint32_t)((int32_t)Raw<T24>(s) >> 8));
        else {
            static_assert(S == T32, "unpacked unity sources");
            PutWord(d, (uint32_t)(Word(s) >> 8));
        }
    }
}

/* Multiplier of the scaled path before the gain. Two members keep their own
   arithmetic: 48 from 32 lands at the top of the word, and 64 from 19
   multiplies the raw word and shifts. */
constexpr double PairFactor(int d, int s) {
    if (d == TU24 && s == TF32) return 2147483648.0;
    if (d == TB16 && s == T32) return 1.0;
    return SourceFactor(s) * DestFactor(d);
}

template <int D, int S> inline void Scale(u8 *d, const u8 *s, double k) {
    const double y = Raw<S>(s) * k;
    if constexpr (D == TU24 && S == TF32) PutInt<TU24>(d, Saturate32(y));
    else if constexpr (D == TB16 && S == T32) PutInt<TB16>(d, (int16_t)(TruncateWrap32(y) >> 16));
    else Put<D>(d, y);
}

/* A wider destination walks from the last sample, a narrower one from the
   first, so that dest may equal src. */
template <int D, int S, class Op> inline void Walk(u8 *d, const u8 *s, int count, Op op) {
    constexpr size_t sd = Bytes(D), ss = Bytes(S);
    if constexpr (sd > ss) {
        for (int i = count - 1; i >= 0; --i) op(d + (size_t)i * sd, s + (size_t)i * ss);
    } else {
        for (int i = 0; i < count; ++i) op(d + (size_t)i * sd, s + (size_t)i * ss);
    }
}

template <int D, int S> void LXAPI Convert(void *dest, const void *src, int count, float gain) {
    if (count <= 0 || !dest || !src) return;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    if (gain == 1.0f) {
        if constexpr (D == S) {
            if (d != s) memmove(d, s, (size_t)count * Bytes(D));
            return;
        } else if constexpr (MovesBits(D, S)) {
            Walk<D, S>(d, s, count, [](u8 *dp, const u8 *sp) { MoveBits<D, S>(dp, sp); });
            return;
        }
    }
    const double k = PairFactor(D, S) * (double)gain;
    Walk<D, S>(d, s, count, [k](u8 *dp, const u8 *sp) { Scale<D, S>(dp, sp, k); });
}

/* 66 from anything but 19 and 66: reads its source and keeps nothing. */
template <int S> void LXAPI ReadOnly(void *, const void *src, int count, float) {
    if (count <= 0 || !src) return;
    const u8 *s = (const u8 *)src;
    unsigned seen = 0;
    for (size_t i = 0, n = (size_t)count * Bytes(S); i < n; ++i) seen ^= s[i];
    __asm__ volatile("" : : "r"(seen));
}

template <int D, int S> constexpr LxAudioCopyFunc Member() {
    if constexpr ((D == TB16 || D == TB24) && (S == TU24 || S == TB32)) return nullptr;
    else if constexpr (D == TB32 && S != T32 && S != TB32) return &ReadOnly<S>;
    else if constexpr (D == TB24 && S == T32) return &Convert<T24, T24>;
    else return &Convert<D, S>;
}

template <size_t... I> constexpr std::array<LxAudioCopyFunc, sizeof...(I)> ConverterTable(
    std::index_sequence<I...>) {
    return {{Member<kTypes[I / kTypeCount], kTypes[I % kTypeCount]>()...}};
}

constexpr std::array<LxAudioCopyFunc, kTypeCount * kTypeCount> kConverters =
    ConverterTable(std::make_index_sequence<kTypeCount * kTypeCount>());

/* Paired loop: two samples a pass, both read before either is stored. */
template <int D, int S> void Paired(void *dest, const void *src, int count, float gain) {
    static_assert(Bytes(D) <= Bytes(S), "narrowing pairs walk forward");
    if (count <= 0 || !dest || !src) return;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    const double k = PairFactor(D, S) * (double)gain;
    int i = 0;
    for (; i + 2 <= count; i += 2) {
        const double a = Raw<S>(s) * k, b = Raw<S>(s + Bytes(S)) * k;
        Put<D>(d, a);
        Put<D>(d + Bytes(D), b);
        d += 2 * Bytes(D);
        s += 2 * Bytes(S);
    }
    if (i < count) Put<D>(d, Raw<S>(s) * k);
}

/* ---- The copier family ------------------------------------------------ */

constexpr int kCopierTypes[8] = {T8, T16, T24, T32, TF32, TF64, TU24, TS8};

constexpr int CopierSlot(int type) {
    for (int i = 0; i < 8; ++i)
        if (kCopierTypes[i] == type) return i;
    return -1;
}

template <int D, int S>
void LXAPI CopyChannel(void *dest, int destChannels, int destChannel, const void *src,
                       int srcChannels, int srcChannel, UINT frames) {
    if (!dest || !src || destChannels <= 0 || srcChannels <= 0 || destChannel < 0 ||
        srcChannel < 0 || destChannel >= destChannels || srcChannel >= srcChannels)
        return;
    u8 *d = (u8 *)dest + (size_t)destChannel * Bytes(D);
    const u8 *s = (const u8 *)src + (size_t)srcChannel * Bytes(S);
    const size_t dstep = (size_t)destChannels * Bytes(D), sstep = (size_t)srcChannels * Bytes(S);
    if constexpr (D == S) {
        if (d == s && destChannels > srcChannels) return;
        for (UINT i = 0; i < frames; ++i, d += dstep, s += sstep) memmove(d, s, Bytes(D));
    } else if constexpr (MovesBits(D, S)) {
        for (UINT i = 0; i < frames; ++i, d += dstep, s += sstep) MoveBits<D, S>(d, s);
    } else {
        constexpr double k = PairFactor(D, S);
        for (UINT i = 0; i < frames; ++i, d += dstep, s += sstep) Scale<D, S>(d, s, k);
    }
}

template <size_t... I> constexpr std::array<LxAudioCopyChannelsFunc, sizeof...(I)> CopierTable(
    std::index_sequence<I...>) {
    return {{&CopyChannel<kCopierTypes[I / 8], kCopierTypes[I % 8]>...}};
}

constexpr std::array<LxAudioCopyChannelsFunc, 64> kCopiers =
    CopierTable(std::make_index_sequence<64>());

/* ---- Channel operations ----------------------------------------------- */

/* What the channel operations need of a format; the per-sample size comes
   from the block alignment, as the formats in files state it. */
struct Layout {
    int type;
    int channels;
    size_t size;
};

HRESULT ReadLayout(const tWAVEFORMATEX *format, Layout *out) {
    if (!format || format->nChannels == 0) return LX_E_INVALIDARG;
    out->type = LxAudio_GetSampleType(format);
    out->channels = format->nChannels;
    out->size = format->nBlockAlign / format->nChannels;
    return LX_S_OK;
}

/* Typed work reads whole samples at the per-sample stride; a stride shorter
   than the sample would read past the frame. */
bool StrideHoldsSample(const Layout &l) {
    return Bytes(l.type) > 0 && l.size >= (size_t)Bytes(l.type);
}

template <int T> double Value(const u8 *p) { return Raw<T>(p) * SourceFactor(T); }

template <int T>
void MixDown(u8 *d, const u8 *s, const Layout &l, int frames, bool average) {
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, s += frame, d += l.size) {
        if constexpr (T == T8) {
            if (average) {
                /* Widened to 16 bits and averaged as integers. */
                int sum = 0;
                for (int c = 0; c < l.channels; ++c) sum += ((int)s[c * l.size] - 128) * 256;
                const int avg = Saturate(sum / l.channels, -32768, 32767);
                PutInt<T8>(d, avg >> 8);
                continue;
            }
        }
        double sum = 0.0;
        for (int c = 0; c < l.channels; ++c) sum += Value<T>(s + c * l.size);
        if (average) sum /= l.channels;
        Put<T>(d, sum * DestFactor(T));
    }
}

HRESULT MixDownByType(int type, u8 *d, const u8 *s, const Layout &l, int frames, bool average) {
    switch (type) {
    case T8: MixDown<T8>(d, s, l, frames, average); return LX_S_OK;
    case T16: MixDown<T16>(d, s, l, frames, average); return LX_S_OK;
    case T24: MixDown<T24>(d, s, l, frames, average); return LX_S_OK;
    case T32: MixDown<T32>(d, s, l, frames, average); return LX_S_OK;
    case TF32: MixDown<TF32>(d, s, l, frames, average); return LX_S_OK;
    case TF64: MixDown<TF64>(d, s, l, frames, average); return LX_S_OK;
    case TS8: MixDown<TS8>(d, s, l, frames, average); return LX_S_OK;
    case TB16: MixDown<TB16>(d, s, l, frames, average); return LX_S_OK;
    case TB24: MixDown<TB24>(d, s, l, frames, average); return LX_S_OK;
    case TB32: MixDown<TB32>(d, s, l, frames, average); return LX_S_OK;
    default: return LX_E_FAIL;
    }
}

bool CanMixDown(int type) { return type != TU24 && Bytes(type) > 0; }

HRESULT ChangeChannels(void *dest, int destChannels, const void *src,
                       const tWAVEFORMATEX *srcFormat, int frames, bool average) {
    Layout l;
    const HRESULT hr = ReadLayout(srcFormat, &l);
    if (FAILED(hr)) return hr;
    if (frames < 0) return LX_E_INVALIDARG;
    if (destChannels == l.channels)
        return LxAudio_Copy(srcFormat, dest, srcFormat, src, frames, 1.0f);

    if (destChannels < l.channels) {
        if (destChannels != 1 || !CanMixDown(l.type) || !StrideHoldsSample(l)) return LX_E_FAIL;
        if (frames == 0) return LX_S_OK;
        if (!dest || !src) return LX_E_INVALIDARG;
        return MixDownByType(l.type, (u8 *)dest, (const u8 *)src, l, frames, average);
    }

    if (l.channels != 1 || Bytes(l.type) == 0 || l.size == 0) return LX_E_FAIL;
    if (frames == 0) return LX_S_OK;
    if (!dest || !src) return LX_E_INVALIDARG;
    /* From the last frame, so that dest may equal src. */
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    const size_t frame = l.size * (size_t)destChannels;
    for (int f = frames - 1; f >= 0; --f) {
        u8 *first = d + (size_t)f * frame;
        memmove(first, s + (size_t)f * l.size, l.size);
        for (int c = 1; c < destChannels; ++c) memcpy(first + c * l.size, first, l.size);
    }
    return LX_S_OK;
}

bool IsBasicType(int type) {
    return type == T8 || type == T16 || type == T24 || type == T32 || type == TF32;
}

/* Checks shared by the in-place operations; *done is set when a mono
   format or zero frames leave nothing to do. */
HRESULT InPlaceChecks(const void *buffer, const tWAVEFORMATEX *format, int frames,
                      UINT highestChannel, Layout *l, bool *done) {
    *done = false;
    HRESULT hr = ReadLayout(format, l);
    if (FAILED(hr)) return hr;
    if (frames < 0) return LX_E_INVALIDARG;
    if (l->channels == 1) {
        *done = true;
        return LX_S_OK;
    }
    if (!IsBasicType(l->type) || highestChannel >= (UINT)l->channels) return LX_E_FAIL;
    if (frames == 0) {
        *done = true;
        return LX_S_OK;
    }
    return buffer ? LX_S_OK : LX_E_INVALIDARG;
}

template <int T> void Average(u8 *d, const u8 *s, const Layout &l, int frames) {
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, s += frame, d += frame) {
        u8 value[4];
        if constexpr (T == T8 || T == T16 || T == T32) {
            /* 32-bit integer sum; 32-bit samples wrap on overflow. */
            uint32_t sum = 0;
            for (int c = 0; c < l.channels; ++c) {
                const u8 *p = s + c * l.size;
                if constexpr (T == T8) sum += p[0];
                else if constexpr (T == T16) sum += (uint32_t)(int32_t)Raw<T16>(p);
                else sum += (uint32_t)Word(p);
            }
            const int32_t avg = (int32_t)sum / l.channels;
            if constexpr (T == T8) value[0] = (u8)avg;
            else PutInt<T>(value, avg);
        } else {
            double sum = 0.0;
            for (int c = 0; c < l.channels; ++c) sum += Value<T>(s + c * l.size);
            Put<T>(value, sum / l.channels * DestFactor(T));
        }
        for (int c = 0; c < l.channels; ++c) memcpy(d + c * l.size, value, Bytes(T));
    }
}

}  // namespace

/* ---- Selection by processor level ------------------------------------- */

namespace lxconvert {

void LXAPI Plain16From32(void *d, const void *s, int n, float g) { Convert<T8, TF32>(d, s, n, g); }
void LXAPI Plain17From32(void *d, const void *s, int n, float g) { Convert<T16, TF32>(d, s, n, g); }
void LXAPI Plain18From32(void *d, const void *s, int n, float g) { Convert<T24, TF32>(d, s, n, g); }
void LXAPI Plain16From33(void *d, const void *s, int n, float g) { Convert<T8, TF64>(d, s, n, g); }
void LXAPI Plain17From33(void *d, const void *s, int n, float g) { Convert<T16, TF64>(d, s, n, g); }
void LXAPI Plain18From33(void *d, const void *s, int n, float g) { Convert<T24, TF64>(d, s, n, g); }
void LXAPI Plain32From17(void *d, const void *s, int n, float g) { Convert<TF32, T16>(d, s, n, g); }

void LXAPI Paired16From32(void *d, const void *s, int n, float g) { Paired<T8, TF32>(d, s, n, g); }
void LXAPI Paired17From32(void *d, const void *s, int n, float g) { Paired<T16, TF32>(d, s, n, g); }
void LXAPI Paired18From32(void *d, const void *s, int n, float g) { Paired<T24, TF32>(d, s, n, g); }
void LXAPI Paired16From33(void *d, const void *s, int n, float g) { Paired<T8, TF64>(d, s, n, g); }
void LXAPI Paired17From33(void *d, const void *s, int n, float g) { Paired<T16, TF64>(d, s, n, g); }
void LXAPI Paired18From33(void *d, const void *s, int n, float g) { Paired<T24, TF64>(d, s, n, g); }

LxAudioCopyFunc SelectMember(int dest, int src, int level) {
    const int ds = Slot(dest), ss = Slot(src);
    if (ds < 0 || ss < 0) return nullptr;
    if (level < 0) level = 0;
    if (level > 6) level = 6;

    const int narrow = dest == T8 ? 0 : dest == T16 ? 1 : dest == T24 ? 2 : -1;
    if (src == TF32 && narrow >= 0 && level >= 2) {
        static const LxAudioCopyFunc paired[3] = {Paired16From32, Paired17From32, Paired18From32};
        static const LxAudioCopyFunc sse[3] = {Sse16From32, Sse17From32, Sse18From32};
        return level >= 5 ? sse[narrow] : paired[narrow];
    }
    if (src == TF64 && narrow >= 0 && level >= 2) {
        static const LxAudioCopyFunc paired[3] = {Paired16From33, Paired17From33, Paired18From33};
        static const LxAudioCopyFunc sse2[3] = {Sse2_16From33, Sse2_17From33, Sse2_18From33};
        return level == 6 ? sse2[narrow] : paired[narrow];
    }
    if (dest == TF32 && src == T16 && level >= 5) return level == 6 ? Sse2_32From17 : Sse32From17;
    return kConverters[(size_t)ds * kTypeCount + (size_t)ss];
}

}  // namespace lxconvert

/* ---- Exports ---------------------------------------------------------- */

LXEXPORT(LxAudioCopyFunc) LxAudio_GetCopyFunction2(LXSAMPLETYPE dest, LXSAMPLETYPE src) {
    /* Asked at each lookup: the answer is cached by the frame, and a test
       may force another level. */
    return lxconvert::SelectMember(dest, src, (int)LxGetCPUSupport(LXCPU_LEVELMASK));
}

LXEXPORT(HRESULT) LxAudio_Copy(const tWAVEFORMATEX *destFormat, void *dest,
                               const tWAVEFORMATEX *srcFormat, const void *src, int frames,
                               float gain) {
    if (frames == 0) return LX_S_OK;
    if (!destFormat || !srcFormat) return LX_E_INVALIDARG;
    const LxAudioCopyFunc convert = LxAudio_GetCopyFunction2(LxAudio_GetSampleType(destFormat),
                                                             LxAudio_GetSampleType(srcFormat));
    if (!convert) return LX_E_NOTIMPL;
    if (frames < 0 || !dest || !src) return LX_E_INVALIDARG;
    const long long count = (long long)frames * srcFormat->nChannels;
    if (count > INT_MAX) return LX_E_INVALIDARG;
    convert(dest, src, (int)count, gain);
    return LX_S_OK;
}

LXEXPORT(LxAudioCopyChannelsFunc) LxAudio_GetCopyChannelsFunction(const tWAVEFORMATEX *dest,
                                                                  const tWAVEFORMATEX *src) {
    if (!dest || !src) return nullptr;
    const int ds = CopierSlot(LxAudio_GetSampleType(dest));
    const int ss = CopierSlot(LxAudio_GetSampleType(src));
    if (ds < 0 || ss < 0) return nullptr;
    return kCopiers[(size_t)ds * 8 + (size_t)ss];
}

LXEXPORT(HRESULT) LxAudio_CopyChannels(const tWAVEFORMATEX *destFormat, void *dest,
                                       const tWAVEFORMATEX *srcFormat, const void *src,
                                       UINT frames, const int *channelMap) {
    if (!destFormat || !srcFormat) return LX_E_INVALIDARG;
    if (channelMap && destFormat->nChannels != srcFormat->nChannels) {
        if (frames == 0) return LX_S_OK;
        const LxAudioCopyChannelsFunc copy = LxAudio_GetCopyChannelsFunction(destFormat, srcFormat);
        if (!copy) return LX_E_NOTIMPL;
        if (!dest || !src) return LX_E_INVALIDARG;
        const int destChannels = destFormat->nChannels, srcChannels = srcFormat->nChannels;
        for (int i = 0; i < srcChannels; ++i) {
            const int to = channelMap[i];
            if (to < 0 || to >= destChannels) continue;
            copy(dest, destChannels, to, src, srcChannels, i, frames);
        }
        return LX_S_OK;
    }
    if (frames > (UINT)INT_MAX) return LX_E_INVALIDARG;
    return LxAudio_Copy(destFormat, dest, srcFormat, src, (int)frames, 1.0f);
}

LXEXPORT(HRESULT) LxAudio_ChannelChange(void *dest, int destChannels, const void *src,
                                        const tWAVEFORMATEX *srcFormat, int frames) {
    return ChangeChannels(dest, destChannels, src, srcFormat, frames, false);
}

LXEXPORT(HRESULT) LxAudio_ChannelChangeAvg(void *dest, int destChannels, const void *src,
                                           const tWAVEFORMATEX *srcFormat, int frames) {
    return ChangeChannels(dest, destChannels, src, srcFormat, frames, true);
}

LXEXPORT(HRESULT) LxAudio_ExtractChannel(void *dest, UINT channel, const void *src,
                                         const tWAVEFORMATEX *srcFormat, int frames) {
    Layout l;
    const HRESULT hr = ReadLayout(srcFormat, &l);
    if (FAILED(hr)) return hr;
    if (frames < 0) return LX_E_INVALIDARG;
    if (l.channels == 1) return LxAudio_Copy(srcFormat, dest, srcFormat, src, frames, 1.0f);
    if (!IsBasicType(l.type) || channel >= (UINT)l.channels || l.size == 0) return LX_E_FAIL;
    if (frames == 0) return LX_S_OK;
    if (!dest || !src) return LX_E_INVALIDARG;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src + (size_t)channel * l.size;
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, d += l.size, s += frame) memmove(d, s, l.size);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_MonoChannel(void *dest, const void *src, const tWAVEFORMATEX *format,
                                      int frames) {
    Layout l;
    const HRESULT hr = ReadLayout(format, &l);
    if (FAILED(hr)) return hr;
    if (frames < 0) return LX_E_INVALIDARG;
    if (l.channels == 1) return LxAudio_Copy(format, dest, format, src, frames, 1.0f);
    if (!IsBasicType(l.type) || !StrideHoldsSample(l)) return LX_E_FAIL;
    if (frames == 0) return LX_S_OK;
    if (!dest || !src) return LX_E_INVALIDARG;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    switch (l.type) {
    case T8: Average<T8>(d, s, l, frames); break;
    case T16: Average<T16>(d, s, l, frames); break;
    case T24: Average<T24>(d, s, l, frames); break;
    case T32: Average<T32>(d, s, l, frames); break;
    default: Average<TF32>(d, s, l, frames); break;
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_CopyChannelToChannel(void *buffer, const tWAVEFORMATEX *format,
                                               UINT fromChannel, UINT toChannel, int frames) {
    Layout l;
    bool done;
    const UINT highest = fromChannel > toChannel ? fromChannel : toChannel;
    const HRESULT hr = InPlaceChecks(buffer, format, frames, highest, &l, &done);
    if (FAILED(hr) || done || fromChannel == toChannel) return hr;
    u8 *to = (u8 *)buffer + (size_t)toChannel * l.size;
    const u8 *from = (const u8 *)buffer + (size_t)fromChannel * l.size;
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, to += frame, from += frame) memcpy(to, from, l.size);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_MuteChannel(void *buffer, const tWAVEFORMATEX *format, UINT channel,
                                      int frames) {
    Layout l;
    bool done;
    const HRESULT hr = InPlaceChecks(buffer, format, frames, channel, &l, &done);
    if (FAILED(hr) || done) return hr;
    /* Zero bytes for every type: on 8-bit unsigned that is full negative
       level, not silence. */
    u8 *p = (u8 *)buffer + (size_t)channel * l.size;
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, p += frame) memset(p, 0, l.size);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_SwapStereoChannels(void *buffer, const tWAVEFORMATEX *format,
                                             int frames) {
    Layout l;
    bool done;
    const HRESULT hr = InPlaceChecks(buffer, format, frames, 1, &l, &done);
    if (FAILED(hr) || done) return hr;
    u8 *p = (u8 *)buffer;
    const size_t frame = l.size * (size_t)l.channels;
    for (int f = 0; f < frames; ++f, p += frame) {
        u8 *a = p, *b = p + l.size;
        for (size_t i = 0; i < l.size; ++i) {
            const u8 t = a[i];
            a[i] = b[i];
            b[i] = t;
        }
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_CopyChannelToMultiMono(void *dest, const tWAVEFORMATEX *destFormat,
                                                 const void *src,
                                                 const tWAVEFORMATEX *srcFormat, UINT channel,
                                                 int frames) {
    if (!destFormat || !srcFormat) return LX_E_INVALIDARG;
    const int type = LxAudio_GetSampleType(srcFormat);
    if (type == LXSAMPLETYPE_NONE || type != LxAudio_GetSampleType(destFormat))
        return LX_E_INVALIDARG;
    const int destChannels = destFormat->nChannels, srcChannels = srcFormat->nChannels;
    if (destChannels == 0 || srcChannels == 0 || frames < 0) return LX_E_INVALIDARG;
    if (channel >= (UINT)srcChannels) return LX_E_FAIL;
    if (frames == 0) return LX_S_OK;
    if (!dest || !src) return LX_E_INVALIDARG;

    const size_t width = (size_t)Bytes(type);
    const size_t dframe = width * destChannels, sframe = width * srcChannels;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src + channel * width;
    auto one = [&](int f) {
        u8 sample[8];
        memcpy(sample, s + (size_t)f * sframe, width);
        u8 *p = d + (size_t)f * dframe;
        for (int c = 0; c < destChannels; ++c) memcpy(p + c * width, sample, width);
    };
    /* More destination channels widen each frame: walk from the last. */
    if (destChannels <= srcChannels) {
        for (int f = 0; f < frames; ++f) one(f);
    } else {
        for (int f = frames - 1; f >= 0; --f) one(f);
    }
    return LX_S_OK;
}
