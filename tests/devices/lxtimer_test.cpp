// The clock's moves between counters and the wrap of its readings, on a simulated machine.
#include "devices/lxtimer_internal.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

// A 9x Pentium, 10 MHz counter, 200 MHz time-stamp counter; time moves only when told.
struct World {
    DWORD cpu = PROCESSOR_INTEL_PENTIUM, platform = VER_PLATFORM_WIN32_WINDOWS;
    ULONGLONG tscRate = 200000000, sleepPercent = 100;  // how much of a Sleep passes
    ULONGLONG tscStep = 0, tscExtra = 0;  // counts each reading adds, as if readings lay apart
    ULONGLONG ns = 5000000000ull, counts = 0, slept = 0;  // counts: added to the counter
    LONGLONG frequency = 10000000;  // as reported, by a call that fails if it is negative
} w;

ULONGLONG At(ULONGLONG rate) {
    return w.ns / 1000000000u * rate + w.ns % 1000000000u * rate / 1000000000u;
}
DWORD WINAPI Tick(void) { return (DWORD)(w.ns / 1000000u); }
BOOL WINAPI Frequency(LARGE_INTEGER *f) {
    f->QuadPart = w.frequency < 0 ? -w.frequency : w.frequency;
    return w.frequency >= 0;
}
// The counter runs at the low word of the reported frequency, all the clock takes.
BOOL WINAPI Counter(LARGE_INTEGER *c) {
    c->QuadPart = (LONGLONG)(At((DWORD)w.frequency) + w.counts);
    return TRUE;
}
ULONGLONG Tsc(void) { return At(w.tscRate) + (w.tscExtra += w.tscStep); }
void WINAPI SystemInfo(SYSTEM_INFO *si) { si->dwProcessorType = w.cpu; }
BOOL WINAPI Version(OSVERSIONINFOA *vi) {
    vi->dwPlatformId = w.platform;
    return TRUE;
}
void WINAPI Nap(DWORD ms) {
    w.slept += ms;
    w.ns += ms * w.sleepPercent / 100u * 1000000u;
}
const TimerMachine kFake = {Tick, Frequency, Counter, Tsc, SystemInfo, Version, Nap};

TimerState Started(int level) {
    Timer_ResetForTest(&kFake);
    TimerStart(level);
    TimerState s;
    Timer_GetState(&s);
    return s;
}

// The high word of a difference is reduced first, so readings wrap at 2^32 of their unit.
// Without a counter the clock stays on the tick count.
TEST(LxTimer, StartRatesAndReadingsThatWrap) {
    const struct {
        LONGLONG frequency;
        ULONGLONG counts;  // of the counter, or milliseconds of the tick count
        DWORD milli, micro;
    } rows[] = {
        {1000000, 4000000000ull, 4000000, 4000000000u},
        {1000000, (1ull << 32) + 5, 4294967, 5},
        {1000000, (1000ull << 32) + 3000, 3, 3000},
        {1193182, 3000000000ull, 2514668, 2514285331u},  // microseconds scaled down
        {32768, 40454, 1264, 40454},  // no whole count a microsecond: raw counts
        {0x100000000ll, 1234, 1234, 1234000},
        {-10000000, 4294968, 4294968, 704},  // the call fails
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows);
        w = World();
        w.frequency = r.frequency;
        const TimerState s = Started(4);
        const bool counter = r.frequency > 0 && (DWORD)r.frequency != 0;
        EXPECT_EQ(counter ? 1 : 0, s.nLevel);
        w.counts = counter ? r.counts : 0;
        w.ns += counter ? 0 : r.counts * 1000000;
        EXPECT_EQ(r.milli, LxGetMillisec());
        EXPECT_EQ(r.micro, LxGetMicrosec());
        LONGLONG stamp = s.llBaseStamp;  // a delta moves it to the present reading
        EXPECT_EQ(r.milli, LxDeltaMillisecEx(&stamp));
        EXPECT_EQ(0u, LxDeltaMicrosecEx(&stamp));
    }
}

// Arming at a start of level 5 or more, then the late calibration. Whichever counter it
// ends on, the clock runs on from where it stood, to the microsecond.
TEST(LxTimer, CalibrationOnSimulatedMachines) {
    const DWORD P5 = PROCESSOR_INTEL_PENTIUM, W9 = VER_PLATFORM_WIN32_WINDOWS;
    const struct {
        World machine;
        int level;
        ULONGLONG waitUs;  // from the start to the late start
        DWORD result, slept;
    } rows[] = {
        {{}, 5, 0, 200000000, 500},
        {{P5, W9, 200500000}, 5, 0, 201000000, 500},  // half a count a microsecond: up
        {{P5, W9, 200499998}, 5, 0, 200000000, 500},
        {{P5, W9, 200000000, 100, 1000}, 5, 0, 200000000, 500},  // readings 1000 counts apart
        {{P5, W9, 200000000, 100, 1001}, 5, 0, 0, 0},
        {{}, 5, 300250, 200000000, 200},
        {{}, 9, 800000, 200000000, 0},
        {{P5, W9, 200000000, 90}, 5, 0, 200000000, 500},  // 450 ms is enough
        {{P5, W9, 200000000, 80}, 5, 0, 0, 500},
        {{P5, VER_PLATFORM_WIN32_NT}, 5, 0, 0, 0},
        {{}, 4, 0, 0, 0},  // the attach's level
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows);
        w = r.machine;
        TimerState s = Started(r.level);
        w.ns += r.waitUs * 1000;
        EXPECT_EQ(r.result, LxTimer_LateInitialize());
        Timer_GetState(&s);
        EXPECT_EQ(std::make_tuple(TRUE, r.result ? 5 : 1, r.result != 0, r.slept),
                  std::make_tuple(s.fLateStarted, s.nLevel, s.fStampCounterUsable != 0, w.slept));
        if (r.machine.tscStep) continue;  // every reading moves that counter on
        const DWORD us = (DWORD)((w.ns - 5000000000ull) / 1000);
        EXPECT_EQ(us / 1000, LxGetMillisec());
        EXPECT_EQ(us, LxGetMicrosec());
    }
}

}  // namespace
