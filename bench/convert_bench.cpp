// Conversion throughput in bytes of output per second, each pair beside a
// memcpy of the same output size timed in the same run, in cache (64 KiB of
// output) and in memory (64 MiB of output). The counter "vs_memcpy" is the
// ratio of the two rates. "vs_traffic" compares the converter with a loop
// that only moves its bytes (reads the whole source, streams the whole
// output): the ceiling of any converter of that pair on this machine.
#include <benchmark/benchmark.h>
#include <emmintrin.h>

#include "dsp/lxconvert.h"
#include "kernel/kernel.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

int SizeOf(int type) {
    switch (type) {
    case 17: return 2;
    case 18: return 3;
    case 33: return 8;
    case 16: return 1;
    default: return 4;
    }
}

// Samples spread over the range and a little beyond, as a mix bus holds.
void FillSource(unsigned char *p, int type, size_t samples) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<double> uni(-1.05, 1.05);
    for (size_t i = 0; i < samples; ++i) {
        const double v = uni(rng);
        switch (type) {
        case 32: {
            const float f = (float)v;
            memcpy(p + 4 * i, &f, 4);
            break;
        }
        case 33: memcpy(p + 8 * i, &v, 8); break;
        case 17: {
            const int16_t s = (int16_t)(v * 31000);
            memcpy(p + 2 * i, &s, 2);
            break;
        }
        default: {
            const int32_t s = (int32_t)(v * 7900000);
            memcpy(p + 3 * i, &s, 3);
            break;
        }
        }
    }
}

void *AlignedAlloc(size_t bytes) { return _aligned_malloc(bytes, 64); }

// Reads inBytes and streams outBytes, 64 output bytes against the matching
// share of input, with no arithmetic beyond an OR to keep the loads.
__attribute__((force_align_arg_pointer)) void MoveBytes(unsigned char *out, size_t outBytes,
                                                        const unsigned char *in, size_t inBytes) {
    const size_t blocks = outBytes / 64, inPerBlock = inBytes / blocks;
    __m128i acc = _mm_setzero_si128();
    for (size_t b = 0; b < blocks; ++b, out += 64, in += inPerBlock) {
        for (size_t i = 0; i < inPerBlock; i += 16)
            acc = _mm_or_si128(acc, _mm_load_si128((const __m128i *)(in + i)));
        for (int i = 0; i < 64; i += 16) _mm_stream_si128((__m128i *)(out + i), acc);
    }
    _mm_sfence();
}

// range(0): destination type, range(1): source type, range(2): output bytes.
void BM_Convert(benchmark::State &state) {
    const int dest = (int)state.range(0), src = (int)state.range(1);
    const size_t outBytes = (size_t)state.range(2);
    const size_t samples = outBytes / SizeOf(dest);
    const LxAudioCopyFunc convert =
        LxAudio_GetCopyFunction2((LXSAMPLETYPE)dest, (LXSAMPLETYPE)src);
    unsigned char *in = (unsigned char *)AlignedAlloc(samples * SizeOf(src));
    unsigned char *out = (unsigned char *)AlignedAlloc(outBytes);
    unsigned char *copyFrom = (unsigned char *)AlignedAlloc(outBytes);
    unsigned char *copyTo = (unsigned char *)AlignedAlloc(outBytes);
    unsigned char *moveTo = (unsigned char *)AlignedAlloc(outBytes);
    if (!convert || !in || !out || !copyFrom || !copyTo || !moveTo) {
        state.SkipWithError("no member or no memory");
        _aligned_free(in);
        _aligned_free(out);
        _aligned_free(copyFrom);
        _aligned_free(copyTo);
        _aligned_free(moveTo);
        return;
    }
    FillSource(in, src, samples);
    memset(out, 0, outBytes);
    memset(copyFrom, 0x55, outBytes);
    memset(copyTo, 0, outBytes);
    memset(moveTo, 0, outBytes);

    using Clock = std::chrono::steady_clock;
    double convertSeconds = 0, copySeconds = 0, moveSeconds = 0;
    for (auto _ : state) {
        const Clock::time_point t0 = Clock::now();
        convert(out, in, (int)samples, 1.0f);
        benchmark::ClobberMemory();
        const Clock::time_point t1 = Clock::now();
        memcpy(copyTo, copyFrom, outBytes);
        benchmark::ClobberMemory();
        const Clock::time_point t2 = Clock::now();
        MoveBytes(moveTo, outBytes, in, samples * SizeOf(src));
        benchmark::ClobberMemory();
        const Clock::time_point t3 = Clock::now();
        convertSeconds += std::chrono::duration<double>(t1 - t0).count();
        copySeconds += std::chrono::duration<double>(t2 - t1).count();
        moveSeconds += std::chrono::duration<double>(t3 - t2).count();
        state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    }
    const double total = (double)outBytes * (double)state.iterations();
    state.SetBytesProcessed((int64_t)total);
    state.counters["memcpy_GBps"] = total / copySeconds / 1e9;
    state.counters["convert_GBps"] = total / convertSeconds / 1e9;
    state.counters["vs_memcpy"] = copySeconds / convertSeconds;
    state.counters["traffic_GBps"] = total / moveSeconds / 1e9;
    state.counters["vs_traffic"] = moveSeconds / convertSeconds;
    state.counters["cpu_level"] = (double)LxGetCPUSupport(LXCPU_LEVELMASK);
    _aligned_free(in);
    _aligned_free(out);
    _aligned_free(copyFrom);
    _aligned_free(copyTo);
    _aligned_free(moveTo);
}

void Pairs(benchmark::internal::Benchmark *b) {
    const int pairs[][2] = {{16, 32}, {16, 33}, {32, 17}, {17, 18}, {33, 17}};
    for (const auto &p : pairs)
        for (int64_t bytes : {int64_t(64) << 10, int64_t(64) << 20}) b->Args({p[0], p[1], bytes});
    b->ArgNames({"dest", "src", "out_bytes"});
}

BENCHMARK(BM_Convert)->Apply(Pairs)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
