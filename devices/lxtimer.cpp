/*
 * The clock: a table of six readers over the tick count, the performance
 * counter or the processor's time-stamp counter. The table and the rates
 * change only during attach and late start; every thread reads them
 * without a lock.
 */
#include "lxtimer_internal.h"

#include <x86intrin.h>

namespace {

ULONGLONG ReadTsc(void) { return __rdtsc(); }

const TimerMachine kRealMachine = {
    GetTickCount, QueryPerformanceFrequency, QueryPerformanceCounter, ReadTsc,
    GetSystemInfo, GetVersionExA, Sleep,
};

TimerMachine g_machine = kRealMachine;

DWORD g_nTicksPerSecond = 1000;
DWORD g_nTicksPerMilli = 1;
DWORD g_nTicksPerMicro = 0;
DWORD g_nMicroCorrection = 0;
int g_nLevel = LXTIMER_TICKCOUNT;
LONGLONG g_llBaseStamp = 0;
BOOL g_fStampCounterUsable = FALSE;
BOOL g_fLateStarted = FALSE;
/* Source and time-stamp readings taken together when calibration is armed. */
LONGLONG g_llArmStamp = 0;
ULONGLONG g_llArmTsc = 0;

/* 64-bit count over a 32-bit divisor with a 32-bit answer: the high word is
   reduced first so that divl cannot overflow, hence the wrap at 2^32 of the
   unit. A zero divisor answers the raw count. */
inline DWORD Quotient(ULONGLONG diff, DWORD divisor) {
    DWORD lo = (DWORD)diff;
    if (!divisor) return lo;
    DWORD hi = (DWORD)(diff >> 32) % divisor, q, r;
    __asm__("divl %4" : "=a"(q), "=d"(r) : "a"(lo), "d"(hi), "rm"(divisor) : "cc");
    return q;
}

/* MulDiv(us, 1000000, correction) without its signed view of the count. */
inline DWORD CorrectMicro(DWORD us) {
    if (!g_nMicroCorrection) return us;
    return (DWORD)(((ULONGLONG)us * 1000000u + g_nMicroCorrection / 2) / g_nMicroCorrection);
}

/* ---- Tick count ------------------------------------------------------- */

inline DWORD TickSince(const LONGLONG *s) { return g_machine.getTickCount() - (DWORD)*s; }
inline DWORD TickMove(LONGLONG *s) {
    DWORD now = g_machine.getTickCount(), d = now - (DWORD)*s;
    *s = now;
    return d;
}
DWORD TickTicks(LONGLONG *s) { return TickSince(s); }
DWORD TickMicro(LONGLONG *s) { return TickSince(s) * 1000u; }
DWORD TickMilli(LONGLONG *s) { return TickSince(s); }
DWORD TickDeltaTicks(LONGLONG *s) { return TickMove(s); }
DWORD TickDeltaMicro(LONGLONG *s) { return TickMove(s) * 1000u; }
DWORD TickDeltaMilli(LONGLONG *s) { return TickMove(s); }

const tLXTIMERFN kTickTable[LXTIMER_SLOTS] = {
    TickTicks, TickMicro, TickMilli, TickDeltaTicks, TickDeltaMicro, TickDeltaMilli,
};

/* ---- Performance counter ---------------------------------------------- */

inline ULONGLONG CounterNow(void) {
    LARGE_INTEGER li;
    li.QuadPart = 0;
    g_machine.queryCounter(&li);
    return (ULONGLONG)li.QuadPart;
}
inline ULONGLONG CounterSince(const LONGLONG *s) { return CounterNow() - (ULONGLONG)*s; }
inline ULONGLONG CounterMove(LONGLONG *s) {
    ULONGLONG now = CounterNow(), d = now - (ULONGLONG)*s;
    *s = (LONGLONG)now;
    return d;
}
DWORD CounterTicks(LONGLONG *s) { return (DWORD)CounterSince(s); }
DWORD CounterMicro(LONGLONG *s) { return CorrectMicro(Quotient(CounterSince(s), g_nTicksPerMicro)); }
DWORD CounterMilli(LONGLONG *s) { return Quotient(CounterSince(s), g_nTicksPerMilli); }
DWORD CounterDeltaTicks(LONGLONG *s) { return (DWORD)CounterMove(s); }
DWORD CounterDeltaMicro(LONGLONG *s) { return CorrectMicro(Quotient(CounterMove(s), g_nTicksPerMicro)); }
DWORD CounterDeltaMilli(LONGLONG *s) { return Quotient(CounterMove(s), g_nTicksPerMilli); }

const tLXTIMERFN kCounterTable[LXTIMER_SLOTS] = {
    CounterTicks, CounterMicro, CounterMilli, CounterDeltaTicks, CounterDeltaMicro, CounterDeltaMilli,
};

/* ---- Time-stamp counter ----------------------------------------------- */

inline ULONGLONG TscSince(const LONGLONG *s) { return g_machine.readStampCounter() - (ULONGLONG)*s; }
inline ULONGLONG TscMove(LONGLONG *s) {
    ULONGLONG now = g_machine.readStampCounter(), d = now - (ULONGLONG)*s;
    *s = (LONGLONG)now;
    return d;
}
DWORD TscTicks(LONGLONG *s) { return (DWORD)TscSince(s); }
DWORD TscMicro(LONGLONG *s) { return Quotient(TscSince(s), g_nTicksPerMicro); }
DWORD TscMilli(LONGLONG *s) { return Quotient(TscSince(s), g_nTicksPerMilli); }
DWORD TscDeltaTicks(LONGLONG *s) { return (DWORD)TscMove(s); }
DWORD TscDeltaMicro(LONGLONG *s) { return Quotient(TscMove(s), g_nTicksPerMicro); }
DWORD TscDeltaMilli(LONGLONG *s) { return Quotient(TscMove(s), g_nTicksPerMilli); }

const tLXTIMERFN kTscTable[LXTIMER_SLOTS] = {
    TscTicks, TscMicro, TscMilli, TscDeltaTicks, TscDeltaMicro, TscDeltaMilli,
};

const tLXTIMERFN *g_pTable = kTickTable;

/* ---- Start and calibration -------------------------------------------- */

/* The time-stamp counter is trusted only on a Pentium-class processor
   outside NT, and only if two readings in a row lie close together. */
void ArmCalibration(void) {
    SYSTEM_INFO si;
    ZeroMemory(&si, sizeof si);
    g_machine.getSystemInfo(&si);
    OSVERSIONINFOA vi;
    ZeroMemory(&vi, sizeof vi);
    vi.dwOSVersionInfoSize = sizeof vi;
    if (si.dwProcessorType != PROCESSOR_INTEL_PENTIUM) return;
    if (!g_machine.getVersionEx(&vi) || vi.dwPlatformId == VER_PLATFORM_WIN32_NT) return;
    g_pTable[LXTIMER_SLOT_DELTATICKS](&g_llArmStamp);
    g_llArmTsc = g_machine.readStampCounter();
    if (g_machine.readStampCounter() - g_llArmTsc < 1001) g_fStampCounterUsable = TRUE;
}

/* Microseconds from the clock's zero on the source in force, in 64 bits, so
   that the zero can move to another counter without a jump. */
ULONGLONG MicrosSinceBase(void) {
    if (g_nLevel == LXTIMER_TICKCOUNT) return (ULONGLONG)TickSince(&g_llBaseStamp) * 1000u;
    ULONGLONG d = CounterSince(&g_llBaseStamp), f = g_nTicksPerSecond;
    return d / f * 1000000u + d % f * 1000000u / f;
}

DWORD Calibrate(void) {
    if (!g_fStampCounterUsable) return 0;
    if (g_nLevel == LXTIMER_STAMPCOUNTER) return g_nTicksPerSecond;
    DWORD ms = g_pTable[LXTIMER_SLOT_MILLI](&g_llArmStamp);
    ULONGLONG t = g_machine.readStampCounter() - g_llArmTsc;
    if (ms < 500) {
        g_machine.sleep(500 - ms);
        ms = g_pTable[LXTIMER_SLOT_MILLI](&g_llArmStamp);
        t = g_machine.readStampCounter() - g_llArmTsc;
    }
    if (ms < 450) {
        /* Too busy to measure: the performance counter stays. */
        g_fStampCounterUsable = FALSE;
        return 0;
    }
    ULONGLONG perMicro = (t + 500ull * ms) / (1000ull * ms);
    ULONGLONG elapsed = MicrosSinceBase();
    ULONGLONG tscNow = g_machine.readStampCounter();
    g_nTicksPerMicro = (DWORD)perMicro;
    g_nTicksPerMilli = 1000u * g_nTicksPerMicro;
    g_nTicksPerSecond = 1000u * g_nTicksPerMilli;
    g_nMicroCorrection = 0;
    g_llBaseStamp = (LONGLONG)(tscNow - elapsed * perMicro);
    g_pTable = kTscTable;
    g_nLevel = LXTIMER_STAMPCOUNTER;
    return g_nTicksPerSecond;
}

}  // namespace

void TimerStart(int level) {
    if (level == 0 || g_nLevel != LXTIMER_TICKCOUNT) return;
    LARGE_INTEGER li;
    li.QuadPart = 0;
    DWORD f = g_machine.queryFrequency(&li) ? li.LowPart : 0;
    if (f) {
        g_nTicksPerSecond = f;
        g_nTicksPerMilli = f / 1000u;
        g_nTicksPerMicro = f / 1000000u;
        /* Below 1 MHz there is no whole count a microsecond; such a counter
           answers raw counts for microseconds rather than divide by zero. */
        DWORD correction = g_nTicksPerMicro ? f / g_nTicksPerMicro : 0;
        g_nMicroCorrection = correction == 1000000u ? 0 : correction;
        g_pTable = kCounterTable;
        g_nLevel = LXTIMER_PERFCOUNTER;
    }
    g_pTable[LXTIMER_SLOT_DELTATICKS](&g_llBaseStamp);
    if (level >= 5) ArmCalibration();
}

DWORD TimerStartAndCalibrate(void) { return TimerStartAndCalibrateEx(4); }

DWORD TimerStartAndCalibrateEx(int level) {
    TimerStart(level);
    return Calibrate();
}

void Timer_GetState(TimerState *state) {
    if (!state) return;
    state->nTicksPerSecond = g_nTicksPerSecond;
    state->nTicksPerMilli = g_nTicksPerMilli;
    state->nTicksPerMicro = g_nTicksPerMicro;
    state->nMicroCorrection = g_nMicroCorrection;
    state->nLevel = g_nLevel;
    state->llBaseStamp = g_llBaseStamp;
    state->fStampCounterUsable = g_fStampCounterUsable;
    state->fLateStarted = g_fLateStarted;
    state->table = g_pTable;
}

void Timer_ResetForTest(const TimerMachine *machine) {
    g_machine = machine ? *machine : kRealMachine;
    g_nTicksPerSecond = 1000;
    g_nTicksPerMilli = 1;
    g_nTicksPerMicro = 0;
    g_nMicroCorrection = 0;
    g_nLevel = LXTIMER_TICKCOUNT;
    g_llBaseStamp = 0;
    g_fStampCounterUsable = FALSE;
    g_fLateStarted = FALSE;
    g_llArmStamp = 0;
    g_llArmTsc = 0;
    g_pTable = kTickTable;
}

LXEXPORT(DWORD) LxGetMillisec(void) { return g_pTable[LXTIMER_SLOT_MILLI](&g_llBaseStamp); }

LXEXPORT(DWORD) LxGetMicrosec(void) { return g_pTable[LXTIMER_SLOT_MICRO](&g_llBaseStamp); }

LXEXPORT(DWORD) LxGetMillisecEx(LONGLONG *pStamp) {
    if (!pStamp) return 0;
    return g_pTable[LXTIMER_SLOT_MILLI](pStamp);
}

LXEXPORT(DWORD) LxGetMicrosecEx(LONGLONG *pStamp) {
    if (!pStamp) return 0;
    return g_pTable[LXTIMER_SLOT_MICRO](pStamp);
}

LXEXPORT(DWORD) LxDeltaMillisecEx(LONGLONG *pStamp) {
    if (!pStamp) return 0;
    return g_pTable[LXTIMER_SLOT_DELTAMILLI](pStamp);
}

LXEXPORT(DWORD) LxDeltaMicrosecEx(LONGLONG *pStamp) {
    if (!pStamp) return 0;
    return g_pTable[LXTIMER_SLOT_DELTAMICRO](pStamp);
}

LXEXPORT(DWORD) LxTimer_LateInitialize(void) {
    DWORD result = Calibrate();
    g_fLateStarted = TRUE;
    return result;
}
