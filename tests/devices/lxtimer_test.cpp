// White-box tests of the clock: the load state, the move to the performance
// counter, the 32-bit wrap, caller stamps, the time-stamp calibration on a
// simulated machine, the attach stage, and the real counters under Wine.
#include "devices/lxtimer_internal.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

namespace {

// A simulated machine whose time moves only when told.
struct World {
    ULONGLONG ns;        // since power-on
    DWORD tickAtZero;    // GetTickCount at ns 0
    LONGLONG frequency;  // as QueryPerformanceFrequency reports it
    BOOL frequencyOk;
    ULONGLONG counterOffset, tscRate;
    ULONGLONG tscStep, tscExtra;  // counts added by each read, as if reads lay apart
    DWORD processorType, platform;
    unsigned sleepPercent;  // how much of a Sleep the machine really sleeps
    int sleeps, frequencyQueries;
    DWORD lastSleep;
};
World w;

// A Pentium under Windows 9x with a 10 MHz counter and a 200 MHz time-stamp counter.
World Pentium9x() {
    return World{5000000000ull, 777, 10000000, TRUE, 0, 200000000, 0, 0, PROCESSOR_INTEL_PENTIUM,
                 VER_PLATFORM_WIN32_WINDOWS, 100, 0, 0, 0};
}

ULONGLONG Scale(ULONGLONG ns, ULONGLONG rate) {
    return ns / 1000000000u * rate + ns % 1000000000u * rate / 1000000000u;
}
DWORD WINAPI FakeTick(void) { return (DWORD)(w.tickAtZero + w.ns / 1000000u); }
BOOL WINAPI FakeFrequency(LARGE_INTEGER *f) {
    w.frequencyQueries++;
    f->QuadPart = w.frequency;
    return w.frequencyOk;
}
// The counter runs at the low word of the reported frequency, all the clock takes.
BOOL WINAPI FakeCounter(LARGE_INTEGER *c) {
    c->QuadPart = (LONGLONG)(Scale(w.ns, (DWORD)w.frequency) + w.counterOffset);
    return TRUE;
}
ULONGLONG FakeTsc(void) { return Scale(w.ns, w.tscRate) + (w.tscExtra += w.tscStep); }
void WINAPI FakeSystemInfo(SYSTEM_INFO *si) {
    memset(si, 0, sizeof *si);
    si->dwProcessorType = w.processorType;
}
BOOL WINAPI FakeVersion(OSVERSIONINFOA *vi) {
    vi->dwPlatformId = w.platform;
    return TRUE;
}
void WINAPI FakeSleep(DWORD ms) {
    w.sleeps++;
    w.lastSleep = ms;
    w.ns += (ULONGLONG)ms * w.sleepPercent / 100u * 1000000u;
}
const TimerMachine kFake = {FakeTick,       FakeFrequency, FakeCounter, FakeTsc,
                            FakeSystemInfo, FakeVersion,   FakeSleep};

void Advance(ULONGLONG ns) { w.ns += ns; }
LONGLONG Counter() {
    LARGE_INTEGER c;
    FakeCounter(&c);
    return c.QuadPart;
}
TimerState State() {
    TimerState s;
    Timer_GetState(&s);
    return s;
}
const tLXTIMERFN *TableAt(int level) {
    Timer_ResetForTest(&kFake);
    TimerStart(level);
    const tLXTIMERFN *table = State().table;
    Timer_ResetForTest(nullptr);
    return table;
}

class LxTimer : public ::testing::Test {
protected:
    void SetUp() override {
        w = Pentium9x();
        Timer_ResetForTest(nullptr);
    }
    void TearDown() override { Timer_ResetForTest(nullptr); }
    // The clock in its load state over the machine w as it now stands.
    static void UseFake() { Timer_ResetForTest(&kFake); }
};

TEST_F(LxTimer, LoadStateReadsTheSystemTickCount) {
    for (int i = 0; i < 20; i++) {
        const DWORD t0 = GetTickCount(), m = LxGetMillisec(), u = LxGetMicrosec();
        const DWORD t1 = GetTickCount();
        EXPECT_LE(m - t0, t1 - t0);
        bool found = false;  // some tick of the window times 1000, wrapped to 32 bits
        for (DWORD k = 0; k <= t1 - t0; k++) found = found || u == (t0 + k) * 1000u;
        EXPECT_TRUE(found) << u << " against ticks " << t0 << ".." << t1;
    }
}

TEST_F(LxTimer, TickSourceOnSimulatedTicks) {
    UseFake();
    for (DWORD tick : {123456u, 0xFFFFFFF0u, 0u}) {
        w.ns = 0;
        w.tickAtZero = tick;
        EXPECT_EQ(tick, LxGetMillisec());
        EXPECT_EQ(tick * 1000u, LxGetMicrosec()) << tick;  // wraps
    }
    w.tickAtZero = 0xFFFFFFFEu;  // the stamp's low word is what counts
    LONGLONG s = 0;
    EXPECT_EQ(0xFFFFFFFEu, LxDeltaMillisecEx(&s));
    EXPECT_EQ(0xFFFFFFFEll, s);
    Advance(7000000);  // across the tick count's wrap
    EXPECT_EQ(7u, LxGetMillisecEx(&s));
    EXPECT_EQ(7000u, LxGetMicrosecEx(&s));
    EXPECT_EQ(7000u, LxDeltaMicrosecEx(&s));
    EXPECT_EQ(5ll, s);
}

TEST_F(LxTimer, StartSetsRatesByCounterFrequency) {
    const tLXTIMERFN *tickTable = TableAt(0);
    const struct {
        const char *name;
        LONGLONG frequency;
        BOOL ok;
        DWORD perSecond, perMilli, perMicro, correction;
        int level;
        DWORD milli, micro;  // after 1.234567891 s
    } rows[] = {
        {"exactly 1 MHz", 1000000, TRUE, 1000000, 1000, 1, 0, 1, 1234, 1234567},
        {"1193182 Hz scales down", 1193182, TRUE, 1193182, 1193, 1, 1193182, 1, 1234, 1234568},
        {"high word ignored", 0x100989680ll, TRUE, 10000000, 10000, 10, 0, 1, 1234, 1234567},
        // Below 1 MHz microseconds are raw counts; milliseconds still divide.
        {"32768 Hz", 32768, TRUE, 32768, 32, 0, 0, 1, 1264, 40454},
        {"zero low word", 0x100000000ll, TRUE, 1000, 1, 0, 0, 0, 1234, 1234000},
        {"call fails", 10000000, FALSE, 1000, 1, 0, 0, 0, 1234, 1234000},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        w = Pentium9x();
        w.frequency = r.frequency;
        w.frequencyOk = r.ok;
        UseFake();
        TimerStart(4);
        const TimerState s = State();
        EXPECT_EQ(std::make_tuple(r.perSecond, r.perMilli, r.perMicro, r.correction, r.level),
                  std::make_tuple(s.nTicksPerSecond, s.nTicksPerMilli, s.nTicksPerMicro,
                                  s.nMicroCorrection, s.nLevel));
        EXPECT_EQ(r.level == 0, s.table == tickTable);
        EXPECT_EQ(r.level ? Counter() : (LONGLONG)FakeTick(), s.llBaseStamp);  // zero at the start
        Advance(1234567891);
        EXPECT_EQ(r.milli, LxGetMillisec());
        EXPECT_EQ(r.micro, LxGetMicrosec());
    }
}

TEST_F(LxTimer, StartActsOnceAndOnlyWithALevel) {
    UseFake();
    TimerStart(0);
    EXPECT_EQ(LXTIMER_TICKCOUNT, State().nLevel);
    EXPECT_EQ(0, State().llBaseStamp);
    TimerStart(4);
    const LONGLONG base = State().llBaseStamp;
    EXPECT_EQ(LXTIMER_PERFCOUNTER, State().nLevel);
    Advance(1000000000);
    TimerStart(4);
    TimerStart(5);  // would arm the calibration on a first start
    const TimerState s = State();
    EXPECT_EQ(std::make_tuple(1, base, FALSE),
              std::make_tuple(w.frequencyQueries, s.llBaseStamp, s.fStampCounterUsable));
    EXPECT_EQ(1000u, LxGetMillisec());
}

// The division reduces the high word first: results wrap at 2^32 of the unit.
TEST_F(LxTimer, CounterReadingsWrapAt32BitsOfTheUnit) {
    const ULONGLONG k2_32 = 0x100000000ull;
    const struct {
        const char *name;
        LONGLONG frequency;
        ULONGLONG ticks;
        DWORD milli, micro, rawTicks;
    } rows[] = {
        {"below 2^32", 1000000, 4000000000ull, 4000000, 4000000000u, 4000000000u},
        {"micro wraps", 1000000, k2_32 + 5, 4294967, 5, 5},
        {"milli wraps after 49.7 days", 1000000, 1000 * k2_32 + 3000, 3, 3000, 3000},
        // The correction takes counts past 2^31 as unsigned.
        {"corrected 1193182 Hz", 1193182, 3000000000ull, 2514668, 2514285331u, 3000000000u},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        w.frequency = r.frequency;
        UseFake();
        TimerStart(4);
        w.counterOffset = r.ticks;
        EXPECT_EQ(r.milli, LxGetMillisec());
        EXPECT_EQ(r.micro, LxGetMicrosec());
        LONGLONG s = State().llBaseStamp;
        EXPECT_EQ(r.rawTicks, State().table[LXTIMER_SLOT_TICKS](&s));
        EXPECT_EQ(State().llBaseStamp, s);
        w.counterOffset = 0;
    }
}

TEST_F(LxTimer, DeltaMovesTheStampAndGetKeepsIt) {
    w.frequency = 1000000;
    UseFake();
    TimerStart(4);
    LONGLONG s = 0;
    EXPECT_EQ((DWORD)(Counter() / 1000), LxDeltaMillisecEx(&s));
    EXPECT_EQ(Counter(), s);
    // The half millisecond each call leaves over is dropped, not carried.
    for (int i = 0; i < 3; i++) {
        Advance(1500000);
        EXPECT_EQ(1u, LxDeltaMillisecEx(&s)) << i;
    }
    Advance(2500000);
    EXPECT_EQ(2u, LxGetMillisecEx(&s));
    EXPECT_EQ(2500u, LxGetMicrosecEx(&s));
    EXPECT_EQ(2u, LxGetMillisecEx(&s));
    EXPECT_EQ(2500u, LxDeltaMicrosecEx(&s));
    EXPECT_EQ(0u, LxGetMicrosecEx(&s));
    Advance(40000000);
    EXPECT_EQ(40u, LxDeltaMillisecEx(&s));
    EXPECT_EQ(0u, LxDeltaMillisecEx(&s));
    EXPECT_EQ((DWORD)((w.ns - 5000000000ull) / 1000000u), LxGetMillisec());  // own zero untouched
    EXPECT_EQ(0u, LxGetMillisecEx(nullptr) | LxGetMicrosecEx(nullptr) | LxDeltaMillisecEx(nullptr) |
                      LxDeltaMicrosecEx(nullptr));
}

TEST_F(LxTimer, CalibrationOnSimulatedMachines) {
    const tLXTIMERFN *tickTable = TableAt(0), *counterTable = TableAt(4);
    const DWORD P5 = PROCESSOR_INTEL_PENTIUM, W9 = VER_PLATFORM_WIN32_WINDOWS;
    const struct {
        const char *name;
        DWORD cpu, platform;
        int level;
        ULONGLONG tscRate, tscStep;
        unsigned sleepPercent, waitMs;  // waitMs: between start and late start
        bool usable;                    // after arming
        DWORD result;
        int levelAfter, sleeps;
        DWORD sleptMs;
    } rows[] = {
        {"9x Pentium", P5, W9, 5, 200000000, 0, 100, 0, true, 200000000, 5, 1, 500},
        {"half a count: up", P5, W9, 5, 200500000, 0, 100, 0, true, 201000000, 5, 1, 500},
        {"just below half: down", P5, W9, 5, 200499998, 0, 100, 0, true, 200000000, 5, 1, 500},
        {"reads 1000 apart: yes", P5, W9, 5, 200000000, 1000, 100, 0, true, 200000000, 5, 1, 500},
        {"reads 1001 apart: no", P5, W9, 5, 200000000, 1001, 100, 0, false, 0, 1, 0, 0},
        {"sleeps the rest of 500", P5, W9, 5, 200000000, 0, 100, 300, true, 200000000, 5, 1, 200},
        {"no sleep after 800 ms", P5, W9, 5, 200000000, 0, 100, 800, true, 200000000, 5, 0, 0},
        {"450 ms is enough", P5, W9, 5, 200000000, 0, 90, 0, true, 200000000, 5, 1, 500},
        {"busy machine: 400 ms", P5, W9, 5, 200000000, 0, 80, 0, true, 0, 1, 1, 500},
        {"NT never arms", P5, VER_PLATFORM_WIN32_NT, 5, 200000000, 0, 100, 0, false, 0, 1, 0, 0},
        {"486 never arms", PROCESSOR_INTEL_486, W9, 5, 200000000, 0, 100, 0, false, 0, 1, 0, 0},
        {"attach's level 4 never arms", P5, W9, 4, 200000000, 0, 100, 0, false, 0, 1, 0, 0},
        // Under half a count a microsecond the rates are 0 and readings raw.
        {"200 kHz stamp counter", P5, W9, 5, 200000, 0, 100, 0, true, 0, 5, 1, 500},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        w = World{5000000000ull, 777, 10000000, TRUE, 0, r.tscRate, r.tscStep, 0, r.cpu, r.platform,
                  r.sleepPercent, 0, 0, 0};
        UseFake();
        TimerStart(r.level);
        EXPECT_EQ(r.usable, State().fStampCounterUsable != FALSE);
        Advance(r.waitMs * 1000000ull);
        const DWORD msBefore = LxGetMillisec();
        EXPECT_EQ(r.result, LxTimer_LateInitialize());
        const TimerState s = State();
        const bool usable = s.fStampCounterUsable;
        EXPECT_EQ(std::make_tuple(TRUE, r.levelAfter, r.levelAfter == 5, r.sleeps, r.sleptMs),
                  std::make_tuple(s.fLateStarted, s.nLevel, usable, w.sleeps, w.lastSleep));
        if (r.levelAfter == 5) {
            EXPECT_TRUE(s.table != counterTable && s.table != tickTable);
            EXPECT_EQ(std::make_tuple(r.result, r.result / 1000u, r.result / 1000000u, 0u),
                      std::make_tuple(s.nTicksPerSecond, s.nTicksPerMilli, s.nTicksPerMicro,
                                      s.nMicroCorrection));
        } else {
            EXPECT_EQ(counterTable, s.table);
            EXPECT_EQ(10000000u, s.nTicksPerSecond);
        }
        // The clock runs on from where it stood, whichever counter it reads.
        const DWORD msAt = (DWORD)((w.ns - 5000000000ull) / 1000000u);
        EXPECT_GE(LxGetMillisec(), msBefore);
        if (r.tscStep == 0 && r.result) {
            EXPECT_EQ(msAt, LxGetMillisec());
        }
        Advance(1000000000);
        if (r.tscStep == 0 && r.result == r.tscRate) {
            EXPECT_EQ(msAt + 1000u, LxGetMillisec());
            EXPECT_EQ((msAt + 1000u) * 1000u, LxGetMicrosec());
        }
        if (r.levelAfter == 5 && !r.result) {
            EXPECT_EQ(200000u, LxGetMillisec());
            EXPECT_EQ(200000u, LxGetMicrosec());
        }
    }
    // The zero moves to the stamp counter to the microsecond, not the millisecond.
    w = Pentium9x();
    UseFake();
    TimerStart(5);
    Advance(300250000);
    ASSERT_EQ(200000000u, LxTimer_LateInitialize());
    EXPECT_EQ(500250u, LxGetMicrosec());
}

TEST_F(LxTimer, StartAndCalibrateFormsAndASecondLateStart) {
    const struct {
        int level;  // 0: the form without a level
        DWORD result;
        int levelAfter;
    } rows[] = {{0, 0, 1}, {4, 0, 1}, {5, 200000000, 5}, {9, 200000000, 5}};
    for (const auto &r : rows) {
        w = Pentium9x();
        UseFake();
        EXPECT_EQ(r.result, r.level ? TimerStartAndCalibrateEx(r.level) : TimerStartAndCalibrate());
        EXPECT_EQ(r.levelAfter, State().nLevel) << r.level;
        EXPECT_FALSE(State().fLateStarted);
        // After a success the late start answers the rate without measuring again.
        EXPECT_EQ(r.result, LxTimer_LateInitialize());
        EXPECT_EQ(r.result ? 1 : 0, w.sleeps);
        EXPECT_EQ(r.levelAfter, State().nLevel);
    }
}

TEST_F(LxTimer, AttachMovesToTheCounterAndLateStartKeepsIt) {
    Kernel_AttachFoundations();
    const TimerState s = State();
    Kernel_DetachFoundations();
    LARGE_INTEGER f;
    ASSERT_TRUE(QueryPerformanceFrequency(&f));
    ASSERT_NE(0u, f.LowPart) << "Wine offers a performance counter";
    EXPECT_EQ(std::make_tuple((int)LXTIMER_PERFCOUNTER, f.LowPart, TRUE, FALSE),
              std::make_tuple(s.nLevel, s.nTicksPerSecond, s.fLateStarted, s.fStampCounterUsable));
    EXPECT_NE(0, s.llBaseStamp);
}

// Wine reports processor type 586 on the NT platform, as Windows NT does,
// so even a level above 4 leaves the performance counter in force.
TEST_F(LxTimer, RealMachineLevelAbove4StaysOnTheCounter) {
    OSVERSIONINFOA vi;
    memset(&vi, 0, sizeof vi);
    vi.dwOSVersionInfoSize = sizeof vi;
    ASSERT_TRUE(GetVersionExA(&vi));
    if (vi.dwPlatformId != VER_PLATFORM_WIN32_NT) GTEST_SKIP() << "9x would calibrate for real";
    EXPECT_EQ(0u, TimerStartAndCalibrateEx(5));
    EXPECT_EQ(LXTIMER_PERFCOUNTER, State().nLevel);
    EXPECT_FALSE(State().fStampCounterUsable);
}

// Each reading lies between the counter's readings around it.
TEST_F(LxTimer, RealCounterAgreesWithQueryPerformanceCounter) {
    TimerStart(4);
    EXPECT_EQ(0u, LxTimer_LateInitialize());
    const TimerState s = State();
    ASSERT_EQ(LXTIMER_PERFCOUNTER, s.nLevel);
    Sleep(20);
    for (int i = 0; i < 200; i++) {
        LARGE_INTEGER q0, q1;
        QueryPerformanceCounter(&q0);
        const DWORD m = LxGetMillisec(), u = LxGetMicrosec();
        QueryPerformanceCounter(&q1);
        const ULONGLONG d0 = q0.QuadPart - s.llBaseStamp, d1 = q1.QuadPart - s.llBaseStamp;
        ASSERT_LE(d0 / s.nTicksPerMilli, m);
        ASSERT_GE(d1 / s.nTicksPerMilli, m);
        const double u0 = d0 * 1e6 / s.nTicksPerSecond, u1 = d1 * 1e6 / s.nTicksPerSecond;
        ASSERT_LE(u0 * 0.999 - 2, (double)u);
        ASSERT_GE(u1 * 1.001 + 2, (double)u);
    }
}

}  // namespace
