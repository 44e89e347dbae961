/*
 * Vector members of the hot converter pairs. They give the plain members'
 * results bit for bit: the float products are corrected to what the double
 * product would truncate to, and gains whose float multiplier could differ
 * from the double one go to the plain member whole.
 *
 * The library is built for SSE2 and will not load without it, so the SSE
 * members (single-precision multiplier) pack their integers in XMM
 * registers too: the MMX packing of an SSE-only processor halves the rate.
 */
#include "lxconvert_sse.h"

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

/* Callers of an export may leave the stack at 4-byte alignment. */
#define LX_VECTOR_ENTRY __attribute__((force_align_arg_pointer))

namespace lxconvert {
namespace {

typedef unsigned char u8;

/* Samples for the plain loop before the source sits on 16 bytes; 0 when no
   whole number of samples gets it there (the loads are then unaligned). */
int HeadCount(const void *src, int sampleBytes, int count) {
    const unsigned misalign = (unsigned)((uintptr_t)src & 15);
    if (misalign == 0 || misalign % sampleBytes) return 0;
    const int head = (int)((16 - misalign) / sampleBytes);
    return head < count ? head : count;
}

/* The single-precision multiplier gain times factor, when it equals the
   double one and stays where the error of a float product is exact. */
bool FloatMultiplier(float gain, double factor, float *k) {
    const double wide = (double)gain * factor;
    if (!(wide <= 0x1p60 && wide >= -0x1p60)) return false;
    if (wide != 0.0 && wide < 0x1p-60 && wide > -0x1p-60) return false;
    const float narrow = (float)wide;
    if ((double)narrow != wide) return false;
    *k = narrow;
    return true;
}

/* A power-of-two multiplier (gain 1.0 among them) makes every product
   exact, so no correction is needed. */
bool PowerOfTwo(float k) {
    uint32_t bits;
    memcpy(&bits, &k, 4);
    return k != 0.0f && (bits & 0x007FFFFFu) == 0;
}

void Prefetch(const u8 *s) {
    _mm_prefetch((const char *)s + 64, _MM_HINT_NTA);
    _mm_prefetch((const char *)s + 96, _MM_HINT_NTA);
}

/* ---- Float products that truncate like double ones -------------------- */

/* The product x * k of two floats is exact in a double; its float rounding
   may land on an integer the exact product lies just short of, where
   truncation would then give one more. The error term (Dekker's product,
   exact for these magnitudes) tells which side the exact product is on;
   stepping such products one unit in the last place toward zero makes the
   truncation agree. Saturation bounds are integers, so clamping after the
   step keeps the agreement; NaN clamps to the low bound as in the plain
   member. */
template <bool Correct> struct ExactScale {
    __m128 k, kHigh, kLow, split, towardZero, zero, lo, hi;

    ExactScale(float multiplier, float lowest, float highest) {
        const float t = 4097.0f * multiplier;
        const float high = t - (t - multiplier);
        k = _mm_set1_ps(multiplier);
        kHigh = _mm_set1_ps(high);
        kLow = _mm_set1_ps(multiplier - high);
        split = _mm_set1_ps(4097.0f);
        towardZero = _mm_set1_ps(0x1.fffffep-1f);
        zero = _mm_setzero_ps();
        lo = _mm_set1_ps(lowest);
        hi = _mm_set1_ps(highest);
    }

    __m128 operator()(__m128 x) const {
        __m128 p = _mm_mul_ps(x, k);
        if (!Correct) return _mm_min_ps(_mm_max_ps(p, lo), hi);
        const __m128 t = _mm_mul_ps(x, split);
        const __m128 xHigh = _mm_sub_ps(t, _mm_sub_ps(t, x));
        const __m128 xLow = _mm_sub_ps(x, xHigh);
        __m128 e = _mm_sub_ps(p, _mm_mul_ps(xHigh, kHigh));
        e = _mm_sub_ps(e, _mm_mul_ps(xLow, kHigh));
        e = _mm_sub_ps(e, _mm_mul_ps(xHigh, kLow));
        e = _mm_sub_ps(_mm_mul_ps(xLow, kLow), e);
        const __m128 over = _mm_or_ps(_mm_and_ps(_mm_cmpgt_ps(p, zero), _mm_cmplt_ps(e, zero)),
                                      _mm_and_ps(_mm_cmplt_ps(p, zero), _mm_cmpgt_ps(e, zero)));
        p = _mm_or_ps(_mm_and_ps(over, _mm_mul_ps(p, towardZero)), _mm_andnot_ps(over, p));
        return _mm_min_ps(_mm_max_ps(p, lo), hi);
    }
};

template <int D> constexpr int DestBytes() { return D == 16 ? 1 : D == 17 ? 2 : 3; }

/* Four 32-bit integers as 12 packed bytes in the low bytes of the result. */
__m128i Pack24x4(__m128i v) {
    const __m128i low = _mm_and_si128(v, _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF));
    const __m128i high = _mm_and_si128(_mm_srli_epi64(v, 8),
                                       _mm_set_epi32(0x0000FFFF, (int)0xFF000000, 0x0000FFFF,
                                                     (int)0xFF000000));
    const __m128i pairs = _mm_or_si128(low, high); /* 6 bytes in each 64-bit lane */
    const __m128i lane0 = _mm_set_epi32(0, 0, -1, -1);
    const __m128i second = _mm_srli_si128(_mm_andnot_si128(lane0, pairs), 2);
    return _mm_or_si128(_mm_and_si128(pairs, lane0), second);
}

template <bool Stream> void Put16(u8 *d, __m128i v) {
    if (Stream) _mm_stream_si128((__m128i *)d, v);
    else _mm_storeu_si128((__m128i *)d, v);
}

/* Sixteen clamped integers (v[0..3]) packed to the destination width:
   16 bytes for D 16, 32 for D 17, 48 for D 18. */
template <int D, bool Stream> void Store16(u8 *d, const __m128i *v) {
    const __m128i w0 = _mm_packs_epi32(v[0], v[1]), w1 = _mm_packs_epi32(v[2], v[3]);
    if constexpr (D == 16) {
        Put16<Stream>(d, _mm_xor_si128(_mm_packs_epi16(w0, w1), _mm_set1_epi8((char)0x80)));
    } else if constexpr (D == 17) {
        Put16<Stream>(d, w0);
        Put16<Stream>(d + 16, w1);
    } else {
        const __m128i c0 = Pack24x4(v[0]), c1 = Pack24x4(v[1]), c2 = Pack24x4(v[2]),
                      c3 = Pack24x4(v[3]);
        Put16<Stream>(d, _mm_or_si128(c0, _mm_slli_si128(c1, 12)));
        Put16<Stream>(d + 16, _mm_or_si128(_mm_srli_si128(c1, 4), _mm_slli_si128(c2, 8)));
        Put16<Stream>(d + 32, _mm_or_si128(_mm_srli_si128(c2, 8), _mm_slli_si128(c3, 4)));
    }
}

/* Four clamped integers at the destination width. */
template <int D> void Store4(u8 *d, __m128i v) {
    const __m128i w = _mm_packs_epi32(v, v);
    if constexpr (D == 16) {
        const int b = _mm_cvtsi128_si32(_mm_xor_si128(_mm_packs_epi16(w, w), _mm_set1_epi8((char)0x80)));
        memcpy(d, &b, 4);
    } else if constexpr (D == 17) {
        _mm_storel_epi64((__m128i *)d, w);
    } else {
        const __m128i c = Pack24x4(v);
        _mm_storel_epi64((__m128i *)d, c);
        const int rest = _mm_cvtsi128_si32(_mm_srli_si128(c, 8));
        memcpy(d + 8, &rest, 4);
    }
}

/* The vector passes; returns the samples done, a multiple of 4. */
template <int D, bool Aligned, bool Stream, class Scale>
int FromFloatBody(u8 *d, const u8 *s, int count, const Scale &scale) {
    auto load = [](const u8 *p) {
        return Aligned ? _mm_load_ps((const float *)p) : _mm_loadu_ps((const float *)p);
    };
    const int total = count;
    for (; count >= 16; count -= 16, s += 64, d += 16 * DestBytes<D>()) {
        Prefetch(s);
        __m128i v[4];
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) v[q] = _mm_cvttps_epi32(scale(load(s + 16 * q)));
        Store16<D, Stream>(d, v);
    }
    for (; count >= 4; count -= 4, s += 16, d += 4 * DestBytes<D>())
        Store4<D>(d, _mm_cvttps_epi32(scale(load(s))));
    return total - count;
}

template <int D, class Scale> int FromFloatPasses(u8 *d, const u8 *s, int count, const Scale &scale) {
    const bool aligned = ((uintptr_t)s & 15) == 0, stream = ((uintptr_t)d & 15) == 0;
    return aligned && stream ? FromFloatBody<D, true, true>(d, s, count, scale)
           : aligned         ? FromFloatBody<D, true, false>(d, s, count, scale)
           : stream          ? FromFloatBody<D, false, true>(d, s, count, scale)
                             : FromFloatBody<D, false, false>(d, s, count, scale);
}

template <int D>
void FromFloat(void *dest, const void *src, int count, float gain,
                               LxAudioCopyFunc plain) {
    if (count <= 0 || !dest || !src) return;
    const float lowest = D == 16 ? -128.0f : D == 17 ? -32768.0f : -8388608.0f;
    float k;
    if (!FloatMultiplier(gain, -(double)lowest, &k)) {
        plain(dest, src, count, gain);
        return;
    }
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    const int head = HeadCount(s, 4, count);
    if (head) {
        plain(d, s, head, gain);
        d += head * DestBytes<D>();
        s += head * 4;
        count -= head;
    }
    const int done = PowerOfTwo(k)
                         ? FromFloatPasses<D>(d, s, count, ExactScale<false>(k, lowest, -lowest - 1.0f))
                         : FromFloatPasses<D>(d, s, count, ExactScale<true>(k, lowest, -lowest - 1.0f));
    d += done * DestBytes<D>();
    s += 4 * done;
    count -= done;
    _mm_sfence();
    if (count) plain(d, s, count, gain);
}

/* ---- Double sources, SSE2 --------------------------------------------- */

/* Four doubles times the multiplier, clamped and truncated as the plain
   member does: max() yields the low bound for NaN. */
template <bool Aligned>
__m128i Truncate4d(const u8 *s, __m128d k, __m128d lo, __m128d hi) {
    const __m128d a = Aligned ? _mm_load_pd((const double *)s) : _mm_loadu_pd((const double *)s);
    const __m128d b =
        Aligned ? _mm_load_pd((const double *)(s + 16)) : _mm_loadu_pd((const double *)(s + 16));
    const __m128i ia = _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(_mm_mul_pd(a, k), lo), hi));
    const __m128i ib = _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(_mm_mul_pd(b, k), lo), hi));
    return _mm_unpacklo_epi64(ia, ib);
}

template <int D, bool Aligned, bool Stream>
int FromDoubleBody(u8 *d, const u8 *s, int count, double multiplier) {
    const int total = count;
    const double lowest = D == 16 ? -128.0 : D == 17 ? -32768.0 : -8388608.0;
    const __m128d k = _mm_set1_pd(multiplier), lo = _mm_set1_pd(lowest),
                  hi = _mm_set1_pd(-lowest - 1.0);
    for (; count >= 16; count -= 16, s += 128, d += 16 * DestBytes<D>()) {
        Prefetch(s);
        __m128i v[4];
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) v[q] = Truncate4d<Aligned>(s + 32 * q, k, lo, hi);
        Store16<D, Stream>(d, v);
    }
    for (; count >= 4; count -= 4, s += 32, d += 4 * DestBytes<D>())
        Store4<D>(d, Truncate4d<Aligned>(s, k, lo, hi));
    return total - count;
}

template <int D>
void FromDouble(void *dest, const void *src, int count, float gain,
                                LxAudioCopyFunc plain) {
    if (count <= 0 || !dest || !src) return;
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    const int head = HeadCount(s, 8, count);
    if (head) {
        plain(d, s, head, gain);
        d += head * DestBytes<D>();
        s += 8 * head;
        count -= head;
    }
    /* The same double multiplier as the plain member: exact, a power of two
       times the gain. */
    const double multiplier = (double)gain * (D == 16 ? 128.0 : D == 17 ? 32768.0 : 8388608.0);
    const bool aligned = ((uintptr_t)s & 15) == 0, stream = ((uintptr_t)d & 15) == 0;
    const int done = aligned && stream ? FromDoubleBody<D, true, true>(d, s, count, multiplier)
                     : aligned         ? FromDoubleBody<D, true, false>(d, s, count, multiplier)
                     : stream          ? FromDoubleBody<D, false, true>(d, s, count, multiplier)
                                       : FromDoubleBody<D, false, false>(d, s, count, multiplier);
    d += done * DestBytes<D>();
    s += 8 * done;
    count -= done;
    _mm_sfence();
    if (count) plain(d, s, count, gain);
}

/* ---- 32 from 17 ------------------------------------------------------- */

/* A 16-bit integer times a float multiplier is exact in a double, so the
   float product rounds exactly as the double product stored as a float. */
template <bool Stream> void PutFloats(u8 *d, __m128 v) {
    if (Stream) _mm_stream_ps((float *)d, v);
    else _mm_storeu_ps((float *)d, v);
}

template <bool Stream> int FloatFrom16SseBody(u8 *d, const u8 *s, int count, __m128 k) {
    const int total = count;
    for (; count >= 16; count -= 16, s += 32, d += 64) {
        Prefetch(s);
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) {
            __m64 v;
            memcpy(&v, s + 8 * q, 8);
            PutFloats<Stream>(d + 16 * q, _mm_mul_ps(_mm_cvtpi16_ps(v), k));
        }
    }
    for (; count >= 4; count -= 4, s += 8, d += 16) {
        __m64 v;
        memcpy(&v, s, 8);
        PutFloats<false>(d, _mm_mul_ps(_mm_cvtpi16_ps(v), k));
    }
    return total - count;
}

template <bool Aligned, bool Stream>
int FloatFrom16Sse2Body(u8 *d, const u8 *s, int count, __m128 k) {
    const int total = count;
    auto widen = [k](__m128i v, bool high) {
        const __m128i pairs = high ? _mm_unpackhi_epi16(v, v) : _mm_unpacklo_epi16(v, v);
        return _mm_mul_ps(_mm_cvtepi32_ps(_mm_srai_epi32(pairs, 16)), k);
    };
    for (; count >= 16; count -= 16, s += 32, d += 64) {
        Prefetch(s);
#pragma GCC unroll 2
        for (int h = 0; h < 2; ++h) {
            const __m128i v = Aligned ? _mm_load_si128((const __m128i *)(s + 16 * h))
                                      : _mm_loadu_si128((const __m128i *)(s + 16 * h));
            PutFloats<Stream>(d + 32 * h, widen(v, false));
            PutFloats<Stream>(d + 32 * h + 16, widen(v, true));
        }
    }
    for (; count >= 4; count -= 4, s += 8, d += 16) {
        const __m128i v = _mm_loadl_epi64((const __m128i *)s);
        PutFloats<false>(d, widen(v, false));
    }
    return total - count;
}

template <bool Sse2>
void FloatFrom16(void *dest, const void *src, int count, float gain) {
    if (count <= 0 || !dest || !src) return;
    float k;
    /* In place, the widening walk must run backward: the plain member's. */
    if (dest == src || !FloatMultiplier(gain, 3.0517578125e-5, &k)) {
        Plain32From17(dest, src, count, gain);
        return;
    }
    u8 *d = (u8 *)dest;
    const u8 *s = (const u8 *)src;
    const int head = HeadCount(s, 2, count);
    if (head) {
        Plain32From17(d, s, head, gain);
        d += 4 * head;
        s += 2 * head;
        count -= head;
    }
    const __m128 multiplier = _mm_set1_ps(k);
    const bool stream = ((uintptr_t)d & 15) == 0;
    int done;
    if constexpr (Sse2) {
        const bool aligned = ((uintptr_t)s & 15) == 0;
        done = aligned && stream ? FloatFrom16Sse2Body<true, true>(d, s, count, multiplier)
               : aligned         ? FloatFrom16Sse2Body<true, false>(d, s, count, multiplier)
               : stream          ? FloatFrom16Sse2Body<false, true>(d, s, count, multiplier)
                                 : FloatFrom16Sse2Body<false, false>(d, s, count, multiplier);
    } else {
        done = stream ? FloatFrom16SseBody<true>(d, s, count, multiplier)
                      : FloatFrom16SseBody<false>(d, s, count, multiplier);
        _mm_empty();
    }
    d += 4 * done;
    s += 2 * done;
    count -= done;
    _mm_sfence();
    if (count) Plain32From17(d, s, count, gain);
}

}  // namespace

#define LX_MEMBER(name, body) \
    LX_VECTOR_ENTRY void LXAPI name(void *d, const void *s, int n, float g) { body; }

LX_MEMBER(Sse16From32, FromFloat<16>(d, s, n, g, Plain16From32))
LX_MEMBER(Sse17From32, FromFloat<17>(d, s, n, g, Plain17From32))
LX_MEMBER(Sse18From32, FromFloat<18>(d, s, n, g, Plain18From32))
LX_MEMBER(Sse32From17, FloatFrom16<false>(d, s, n, g))
LX_MEMBER(Sse2_16From33, FromDouble<16>(d, s, n, g, Plain16From33))
LX_MEMBER(Sse2_17From33, FromDouble<17>(d, s, n, g, Plain17From33))
LX_MEMBER(Sse2_18From33, FromDouble<18>(d, s, n, g, Plain18From33))
LX_MEMBER(Sse2_32From17, FloatFrom16<true>(d, s, n, g))

}  // namespace lxconvert
