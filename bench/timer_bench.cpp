// The cost of one clock reading, on the tick count (before attach) and on
// the performance counter (after attach), against the bare system calls.
#include "devices/lxtimer_internal.h"

#include <benchmark/benchmark.h>

namespace {

// Arg 0: the clock as loaded; arg 1: started as attach starts it.
void PutClockAtLevel(int started) {
    Timer_ResetForTest(nullptr);
    if (started) {
        TimerStart(4);
        LxTimer_LateInitialize();
    }
}

void BM_LxGetMillisec(benchmark::State &state) {
    PutClockAtLevel((int)state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(LxGetMillisec());
}
BENCHMARK(BM_LxGetMillisec)->Arg(0)->Arg(1);

void BM_LxGetMicrosec(benchmark::State &state) {
    PutClockAtLevel((int)state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(LxGetMicrosec());
}
BENCHMARK(BM_LxGetMicrosec)->Arg(0)->Arg(1);

void BM_LxDeltaMicrosecEx(benchmark::State &state) {
    PutClockAtLevel(1);
    LONGLONG stamp = 0;
    for (auto _ : state) benchmark::DoNotOptimize(LxDeltaMicrosecEx(&stamp));
}
BENCHMARK(BM_LxDeltaMicrosecEx);

void BM_QueryPerformanceCounter(benchmark::State &state) {
    LARGE_INTEGER li;
    for (auto _ : state) {
        QueryPerformanceCounter(&li);
        benchmark::DoNotOptimize(li.QuadPart);
    }
}
BENCHMARK(BM_QueryPerformanceCounter);

void BM_GetTickCount(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(GetTickCount());
}
BENCHMARK(BM_GetTickCount);

}  // namespace
