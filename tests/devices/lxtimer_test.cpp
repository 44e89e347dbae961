// White-box tests of the clock: the load state, the move to the performance
// counter for counters that do and don't divide into microseconds, the
// 32-bit wrap, caller stamps, the time-stamp calibration on a simulated
// machine, the attach stage, and the real counters under Wine.
#include "devices/lxtimer_internal.h"
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// ---- A simulated machine whose time moves only when told -----------------------------

struct World {
    ULONGLONG ns;          // time since power-on
    DWORD tickAtZero;      // GetTickCount at ns 0
    LONGLONG frequency;    // performance counter rate as QueryPerformanceFrequency gives it
    BOOL frequencyOk;
    ULONGLONG counterOffset;
    ULONGLONG tscRate;     // time-stamp counts a second
    ULONGLONG tscStep;     // counts added by each reading, as if reads lay apart
    ULONGLONG tscExtra;
    DWORD processorType;
    DWORD platform;
    unsigned sleepPercent; // how much of a Sleep the machine really sleeps
    int sleeps;
    DWORD lastSleep;
    int frequencyQueries;
};
World w;

ULONGLONG Scale(ULONGLONG ns, ULONGLONG rate) {
    return ns / 1000000000u * rate + ns % 1000000000u * rate / 1000000000u;
}

DWORD WINAPI FakeTick(void) { return (DWORD)(w.tickAtZero + w.ns / 1000000u); }
BOOL WINAPI FakeFrequency(LARGE_INTEGER *f) {
    w.frequencyQueries++;
    f->QuadPart = w.frequency;
    return w.frequencyOk;
}
// The counter runs at the low word of the reported frequency, the only
// part the clock takes.
BOOL WINAPI FakeCounter(LARGE_INTEGER *c) {
    c->QuadPart = (LONGLONG)(Scale(w.ns, (DWORD)w.frequency) + w.counterOffset);
    return TRUE;
}
ULONGLONG FakeTsc(void) {
    w.tscExtra += w.tscStep;
    return Scale(w.ns, w.tscRate) + w.tscExtra;
}
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

const TimerMachine kFake = {FakeTick, FakeFrequency, FakeCounter, FakeTsc,
                            FakeSystemInfo, FakeVersion, FakeSleep};

// A Pentium under Windows 9x with a 10 MHz counter and a 200 MHz time-stamp.
World Pentium9x() {
    World x;
    memset(&x, 0, sizeof x);
    x.ns = 5000000000ull;
    x.tickAtZero = 777;
    x.frequency = 10000000;
    x.frequencyOk = TRUE;
    x.tscRate = 200000000;
    x.processorType = PROCESSOR_INTEL_PENTIUM;
    x.platform = VER_PLATFORM_WIN32_WINDOWS;
    x.sleepPercent = 100;
    return x;
}

void Advance(ULONGLONG ns) { w.ns += ns; }

TimerState State() {
    TimerState s;
    Timer_GetState(&s);
    return s;
}

const tLXTIMERFN *TickTable() {
    Timer_ResetForTest(nullptr);
    return State().table;
}

class LxTimer : public ::testing::Test {
protected:
    void SetUp() override {
        w = Pentium9x();
        Timer_ResetForTest(nullptr);
    }
    void TearDown() override { Timer_ResetForTest(nullptr); }
    void UseFake() { Timer_ResetForTest(&kFake); }
};

// ---- Load state ---------------------------------------------------------------------

TEST_F(LxTimer, LoadStateReadsTheSystemTickCount) {
    TimerState s = State();
    EXPECT_EQ(1000u, s.nTicksPerSecond);
    EXPECT_EQ(1u, s.nTicksPerMilli);
    EXPECT_EQ(0u, s.nTicksPerMicro);
    EXPECT_EQ(0u, s.nMicroCorrection);
    EXPECT_EQ(LXTIMER_TICKCOUNT, s.nLevel);
    EXPECT_EQ(0, s.llBaseStamp);
    EXPECT_FALSE(s.fStampCounterUsable);

    for (int i = 0; i < 20; i++) {
        DWORD t0 = GetTickCount();
        DWORD m = LxGetMillisec();
        DWORD u = LxGetMicrosec();
        DWORD t1 = GetTickCount();
        EXPECT_LE(m - t0, t1 - t0);
        // u is some tick count in the window times 1000, wrapped to 32 bits
        bool found = false;
        for (DWORD k = 0; k <= t1 - t0 && !found; k++) found = u == (t0 + k) * 1000u;
        EXPECT_TRUE(found) << u << " against ticks " << t0 << ".." << t1;
    }
}

TEST_F(LxTimer, TickSourceOnSimulatedTicks) {
    UseFake();
    struct Row {
        const char *name;
        DWORD tick;
        DWORD milli, micro;
    } rows[] = {
        {"plain", 123456, 123456, 123456000},
        {"micro wraps", 0xFFFFFFF0u, 0xFFFFFFF0u, 0xFFFFFFF0u * 1000u},
        {"zero", 0, 0, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        w.ns = 0;
        w.tickAtZero = r.tick;
        EXPECT_EQ(r.milli, LxGetMillisec());
        EXPECT_EQ(r.micro, LxGetMicrosec());
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

// ---- Start on the performance counter -------------------------------------------------

TEST_F(LxTimer, StartSetsRatesByCounterFrequency) {
    const tLXTIMERFN *tickTable = TickTable();
    // After 1.234567891 s of simulated time.
    struct Row {
        const char *name;
        LONGLONG frequency;
        BOOL ok;
        DWORD perSecond, perMilli, perMicro, correction;
        int level;
        DWORD milli, micro;
    } rows[] = {
        {"10 MHz divides", 10000000, TRUE, 10000000, 10000, 10, 0, 1, 1234, 1234567},
        {"exactly 1 MHz", 1000000, TRUE, 1000000, 1000, 1, 0, 1, 1234, 1234567},
        {"1193182 Hz scales down", 1193182, TRUE, 1193182, 1193, 1, 1193182, 1, 1234, 1234568},
        {"14318180 Hz", 14318180, TRUE, 14318180, 14318, 14, 1022727, 1, 1234, 1234568},
        {"high word ignored", 0x100989680ll, TRUE, 10000000, 10000, 10, 0, 1, 1234, 1234567},
        // Below 1 MHz microseconds are raw counts; milliseconds still divide.
        {"32768 Hz", 32768, TRUE, 32768, 32, 0, 0, 1, 1264, 40454},
        {"no counter", 0, FALSE, 1000, 1, 0, 0, 0, 1234, 1234000},
        {"zero low word", 0x100000000ll, TRUE, 1000, 1, 0, 0, 0, 1234, 1234000},
        {"call fails", 10000000, FALSE, 1000, 1, 0, 0, 0, 1234, 1234000},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        w = Pentium9x();
        w.frequency = r.frequency;
        w.frequencyOk = r.ok;
        UseFake();
        TimerStart(4);
        TimerState s = State();
        EXPECT_EQ(r.perSecond, s.nTicksPerSecond);
        EXPECT_EQ(r.perMilli, s.nTicksPerMilli);
        EXPECT_EQ(r.perMicro, s.nTicksPerMicro);
        EXPECT_EQ(r.correction, s.nMicroCorrection);
        EXPECT_EQ(r.level, s.nLevel);
        EXPECT_EQ(r.level == 0, s.table == tickTable);
        EXPECT_FALSE(s.fStampCounterUsable);
        // The clock's zero is the start.
        LARGE_INTEGER c;
        FakeCounter(&c);
        EXPECT_EQ(r.level ? c.QuadPart : (LONGLONG)FakeTick(), s.llBaseStamp);
        EXPECT_EQ(0u, LxGetMillisec());
        EXPECT_EQ(0u, LxGetMicrosec());
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
    LONGLONG base = State().llBaseStamp;
    EXPECT_EQ(LXTIMER_PERFCOUNTER, State().nLevel);
    Advance(1000000000);
    TimerStart(4);
    TimerStart(5);
    EXPECT_EQ(1, w.frequencyQueries);
    EXPECT_EQ(base, State().llBaseStamp);
    EXPECT_FALSE(State().fStampCounterUsable);
    EXPECT_EQ(1000u, LxGetMillisec());
}

// The division reduces the high word first: results wrap at 2^32 of the unit.
TEST_F(LxTimer, CounterReadingsWrapAt32BitsOfTheUnit) {
    w.frequency = 1000000;  // 1 tick a microsecond, 1000 a millisecond
    UseFake();
    TimerStart(4);
    const ULONGLONG k2_32 = 0x100000000ull;
    struct Row {
        const char *name;
        ULONGLONG ticks;
        DWORD milli, micro, rawTicks;
    } rows[] = {
        {"below 2^32", 4000000000ull, 4000000, 4000000000u, 4000000000u},
        {"micro wraps", k2_32 + 5, 4294967, 5, 5},
        {"five wraps of the high word", 5 * k2_32 + 7, 21474836, 7, 7},
        {"milli wraps after 49.7 days", 1000 * k2_32 + 3000, 3, 3000, 3000},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        w.counterOffset = r.ticks;
        EXPECT_EQ(r.milli, LxGetMillisec());
        EXPECT_EQ(r.micro, LxGetMicrosec());
        LONGLONG s = State().llBaseStamp;
        EXPECT_EQ(r.rawTicks, State().table[LXTIMER_SLOT_TICKS](&s));
        EXPECT_EQ(State().llBaseStamp, s);
    }
}

// A 1193182 Hz counter's microseconds go through the correction as unsigned
// counts, so that counts past 2^31 stay on the line.
TEST_F(LxTimer, CorrectionKeepsLargeCountsUnsigned) {
    w.frequency = 1193182;
    UseFake();
    TimerStart(4);
    w.counterOffset = 3000000000ull;
    EXPECT_EQ(2514285331u, LxGetMicrosec());
    EXPECT_EQ(2514668u, LxGetMillisec());  // 3e9 / 1193
}

// ---- Caller stamps -------------------------------------------------------------------

TEST_F(LxTimer, DeltaMovesTheStampAndGetKeepsIt) {
    w.frequency = 1000000;
    UseFake();
    TimerStart(4);
    LONGLONG s = 0;
    DWORD first = LxDeltaMillisecEx(&s);
    LARGE_INTEGER c;
    FakeCounter(&c);
    EXPECT_EQ(c.QuadPart, s);
    EXPECT_EQ((DWORD)(c.QuadPart / 1000), first);

    // The stamp becomes the present reading: the half millisecond left over
    // by each call is dropped, not carried.
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(i);
        Advance(1500000);
        EXPECT_EQ(1u, LxDeltaMillisecEx(&s));
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
    // The clock's own zero is untouched by caller stamps.
    EXPECT_EQ((DWORD)((w.ns - 5000000000ull) / 1000000u), LxGetMillisec());

    EXPECT_EQ(0u, LxGetMillisecEx(nullptr));
    EXPECT_EQ(0u, LxGetMicrosecEx(nullptr));
    EXPECT_EQ(0u, LxDeltaMillisecEx(nullptr));
    EXPECT_EQ(0u, LxDeltaMicrosecEx(nullptr));
}

// ---- Time-stamp counter ----------------------------------------------------------------

TEST_F(LxTimer, CalibrationOnSimulatedMachines) {
    const tLXTIMERFN *tickTable = TickTable();
    TimerStart(4);
    const tLXTIMERFN *counterTable = State().table;
    Timer_ResetForTest(nullptr);

    struct Row {
        const char *name;
        int level;
        DWORD processorType, platform;
        ULONGLONG tscRate, tscStep;
        unsigned sleepPercent;
        ULONGLONG waitBeforeLateNs;
        bool usable;        // after arming
        DWORD result;
        int levelAfter;
        int sleeps;
        DWORD sleptMs;
    } rows[] = {
        {"9x Pentium", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 100, 0,
         true, 200000000, 5, 1, 500},
        {"half a count rounds up", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200500000, 0, 100, 0,
         true, 201000000, 5, 1, 500},
        {"just below half rounds down", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200499998, 0,
         100, 0, true, 200000000, 5, 1, 500},
        {"reads 1000 apart still work", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 1000,
         100, 0, true, 200000000, 5, 1, 500},
        {"reads 1001 apart: no", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 1001, 100, 0,
         false, 0, 1, 0, 0},
        {"sleeps the rest of 500 ms", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 100,
         300000000, true, 200000000, 5, 1, 200},
        {"no sleep after 800 ms", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 100,
         800000000, true, 200000000, 5, 0, 0},
        {"450 ms is enough", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 90, 0, true,
         200000000, 5, 1, 500},
        {"busy machine: 400 ms", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 80, 0,
         true, 0, 1, 1, 500},
        {"NT never arms", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_NT, 200000000, 0, 100, 0, false, 0, 1,
         0, 0},
        {"486 never arms", 5, PROCESSOR_INTEL_486, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 100, 0, false, 0, 1,
         0, 0},
        {"attach's level 4 never arms", 4, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000000, 0, 100,
         0, false, 0, 1, 0, 0},
        // Under half a count a microsecond the rates are 0 and readings raw.
        {"200 kHz stamp counter", 5, PROCESSOR_INTEL_PENTIUM, VER_PLATFORM_WIN32_WINDOWS, 200000, 0, 100, 0, true,
         0, 5, 1, 500},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        w = Pentium9x();
        w.processorType = r.processorType;
        w.platform = r.platform;
        w.tscRate = r.tscRate;
        w.tscStep = r.tscStep;
        w.sleepPercent = r.sleepPercent;
        UseFake();
        TimerStart(r.level);
        EXPECT_EQ(r.usable, State().fStampCounterUsable != FALSE);
        Advance(r.waitBeforeLateNs);
        DWORD msBefore = LxGetMillisec();
        EXPECT_EQ(r.result, LxTimer_LateInitialize());
        TimerState s = State();
        EXPECT_TRUE(s.fLateStarted);
        EXPECT_EQ(r.levelAfter, s.nLevel);
        EXPECT_EQ(r.levelAfter == 5, s.fStampCounterUsable != FALSE);
        EXPECT_EQ(r.sleeps, w.sleeps);
        EXPECT_EQ(r.sleptMs, w.lastSleep);
        if (r.levelAfter == 5) {
            EXPECT_NE(counterTable, s.table);
            EXPECT_NE(tickTable, s.table);
            EXPECT_EQ(r.result, s.nTicksPerSecond);
            EXPECT_EQ(r.result / 1000u, s.nTicksPerMilli);
            EXPECT_EQ(r.result / 1000000u, s.nTicksPerMicro);
            EXPECT_EQ(0u, s.nMicroCorrection);
        } else {
            EXPECT_EQ(counterTable, s.table);
            EXPECT_EQ(10000000u, s.nTicksPerSecond);
        }
        // The clock runs on from where it stood, whichever counter it reads.
        DWORD msAt = (DWORD)((w.ns - 5000000000ull) / 1000000u);
        EXPECT_GE(LxGetMillisec(), msBefore);
        if (r.tscStep == 0 && r.result) {
            EXPECT_EQ(msAt, LxGetMillisec());
        }
        if (r.tscStep == 0 && r.result == r.tscRate) {
            Advance(1000000000);
            EXPECT_EQ(msAt + 1000u, LxGetMillisec());
            EXPECT_EQ((msAt + 1000u) * 1000u, LxGetMicrosec());
        }
        if (r.levelAfter == 5 && !r.result) {
            Advance(1000000000);
            EXPECT_EQ(200000u, LxGetMillisec());
            EXPECT_EQ(200000u, LxGetMicrosec());
        }
    }
}

TEST_F(LxTimer, LateStartAfterSuccessDoesNotMeasureAgain) {
    UseFake();
    TimerStart(5);
    ASSERT_EQ(200000000u, LxTimer_LateInitialize());
    EXPECT_EQ(1, w.sleeps);
    EXPECT_EQ(200000000u, LxTimer_LateInitialize());
    EXPECT_EQ(1, w.sleeps);
    EXPECT_EQ(LXTIMER_STAMPCOUNTER, State().nLevel);
}

TEST_F(LxTimer, StartAndCalibrateForms) {
    struct Row {
        const char *name;
        int level;  // 0: the form without a level
        DWORD result;
        int levelAfter;
    } rows[] = {
        {"level 4 form", 0, 0, 1},
        {"given level 4", 4, 0, 1},
        {"given level 5", 5, 200000000, 5},
        {"given level 9", 9, 200000000, 5},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        w = Pentium9x();
        UseFake();
        DWORD got = r.level ? TimerStartAndCalibrateEx(r.level) : TimerStartAndCalibrate();
        EXPECT_EQ(r.result, got);
        EXPECT_EQ(r.levelAfter, State().nLevel);
        EXPECT_FALSE(State().fLateStarted);
    }
}

// ---- The attach stage and the real counters -----------------------------------------------

TEST_F(LxTimer, AttachMovesToTheCounterAndLateStartKeepsIt) {
    Kernel_AttachFoundations();  // its word is not the clock's concern
    TimerState s = State();
    Kernel_DetachFoundations();
    LARGE_INTEGER f;
    ASSERT_TRUE(QueryPerformanceFrequency(&f));
    ASSERT_NE(0u, f.LowPart) << "Wine offers a performance counter";
    EXPECT_EQ(LXTIMER_PERFCOUNTER, s.nLevel);
    EXPECT_EQ(f.LowPart, s.nTicksPerSecond);
    EXPECT_TRUE(s.fLateStarted);
    EXPECT_FALSE(s.fStampCounterUsable);
    EXPECT_NE(0, s.llBaseStamp);
}

// Wine reports processor type 586 on the NT platform, as Windows NT does,
// so even a level above 4 leaves the performance counter in force.
TEST_F(LxTimer, RealMachineLevelAbove4StaysOnTheCounter) {
    OSVERSIONINFOA vi;
    memset(&vi, 0, sizeof vi);
    vi.dwOSVersionInfoSize = sizeof vi;
    ASSERT_TRUE(GetVersionExA(&vi));
    if (vi.dwPlatformId != VER_PLATFORM_WIN32_NT) GTEST_SKIP() << "a 9x platform would calibrate for real";
    EXPECT_EQ(0u, TimerStartAndCalibrateEx(5));
    EXPECT_EQ(LXTIMER_PERFCOUNTER, State().nLevel);
    EXPECT_FALSE(State().fStampCounterUsable);
}

TEST_F(LxTimer, RealCounterAgreesWithQueryPerformanceCounter) {
    TimerStart(4);
    EXPECT_EQ(0u, LxTimer_LateInitialize());
    TimerState s = State();
    ASSERT_EQ(LXTIMER_PERFCOUNTER, s.nLevel);
    const ULONGLONG base = (ULONGLONG)s.llBaseStamp;
    Sleep(20);
    // Each reading lies between the counter's readings around it.
    for (int i = 0; i < 200; i++) {
        LARGE_INTEGER q0, q1;
        QueryPerformanceCounter(&q0);
        DWORD m = LxGetMillisec();
        DWORD u = LxGetMicrosec();
        QueryPerformanceCounter(&q1);
        ULONGLONG d0 = (ULONGLONG)q0.QuadPart - base, d1 = (ULONGLONG)q1.QuadPart - base;
        ASSERT_LE(d0 / s.nTicksPerMilli, m);
        ASSERT_GE(d1 / s.nTicksPerMilli, m);
        double u0 = (double)d0 * 1e6 / s.nTicksPerSecond, u1 = (double)d1 * 1e6 / s.nTicksPerSecond;
        ASSERT_LE(u0 * 0.999 - 2, (double)u);
        ASSERT_GE(u1 * 1.001 + 2, (double)u);
    }
}

TEST_F(LxTimer, RealClockIsMonotonicAndItsUnitsAgree) {
    TimerStart(4);
    DWORD lastMs = LxGetMillisec(), lastUs = LxGetMicrosec();
    const DWORD startUs = lastUs;
    int steps = 0;
    for (int i = 0; i < 200000 && lastUs - startUs < 100000; i++) {
        DWORD m0 = LxGetMillisec();
        DWORD u = LxGetMicrosec();
        DWORD m1 = LxGetMillisec();
        ASSERT_GE(m0, lastMs);
        ASSERT_GE(u, lastUs);
        ASSERT_LE(m0, m1);
        // Microseconds over a thousand lie within the bracketing
        // milliseconds, give or take the correction's rounding.
        ASSERT_LE(u / 1000u, m1 + 1 + m1 / 1000u);
        ASSERT_GE(u / 1000u + 1 + m0 / 1000u, m0);
        if (u != lastUs) steps++;
        lastMs = m1;
        lastUs = u;
    }
    EXPECT_GT(steps, 100) << "microseconds should move in steps well below a millisecond";

    // Over a sleep, both units and the system's tick count tell the same
    // time within wide bounds.
    DWORD t0 = GetTickCount(), m0 = LxGetMillisec(), u0 = LxGetMicrosec();
    Sleep(300);
    DWORD t = GetTickCount() - t0, m = LxGetMillisec() - m0, u = LxGetMicrosec() - u0;
    EXPECT_GE(m, 150u);
    EXPECT_LE(m, 5000u);
    EXPECT_NEAR((double)u / 1000.0, (double)m, 2.0 + m * 0.002);
    EXPECT_GT((double)m, t * 0.5 - 20);
    EXPECT_LT((double)m, t * 2.0 + 20);
}

}  // namespace
