/*
 * The clock's start, called by the library's attach, and the seams through
 * which white-box tests and benchmarks see its state and replace the
 * machine under it. Not a public header.
 */
#ifndef LXTIMER_INTERNAL_H
#define LXTIMER_INTERNAL_H

#include "lxtimer.h"

/* One slot of the clock's table: a count since *pStamp; slots 3 to 5 move
   the stamp to the present reading. */
typedef DWORD (*tLXTIMERFN)(LONGLONG *pStamp);

enum {
    LXTIMER_SLOT_TICKS = 0,
    LXTIMER_SLOT_MICRO = 1,
    LXTIMER_SLOT_MILLI = 2,
    LXTIMER_SLOT_DELTATICKS = 3,
    LXTIMER_SLOT_DELTAMICRO = 4,
    LXTIMER_SLOT_DELTAMILLI = 5,
    LXTIMER_SLOTS = 6
};

/* Levels of the source in force. */
enum { LXTIMER_TICKCOUNT = 0, LXTIMER_PERFCOUNTER = 1, LXTIMER_STAMPCOUNTER = 5 };

/* Moves the clock from the tick count to the performance counter (any
   non-zero level, once) and restarts its zero; a level of 5 or more also
   arms the time-stamp counter's calibration. */
void TimerStart(int level);
/* Start and calibrate at once; the answer is the calibration's. */
DWORD TimerStartAndCalibrate(void);
DWORD TimerStartAndCalibrateEx(int level);

struct TimerState {
    DWORD nTicksPerSecond;
    DWORD nTicksPerMilli;
    DWORD nTicksPerMicro;
    DWORD nMicroCorrection;
    int nLevel;
    LONGLONG llBaseStamp;
    BOOL fStampCounterUsable;
    BOOL fLateStarted;
    const tLXTIMERFN *table;
};
void Timer_GetState(TimerState *state);

/* What the clock asks of the machine. */
struct TimerMachine {
    DWORD (WINAPI *getTickCount)(void);
    BOOL (WINAPI *queryFrequency)(LARGE_INTEGER *);
    BOOL (WINAPI *queryCounter)(LARGE_INTEGER *);
    ULONGLONG (*readStampCounter)(void);
    void (WINAPI *getSystemInfo)(SYSTEM_INFO *);
    BOOL (WINAPI *getVersionEx)(OSVERSIONINFOA *);
    void (WINAPI *sleep)(DWORD);
};
/* Puts the clock back in its load state over the given machine; null
   means the real one. Not for use while other threads read the clock. */
void Timer_ResetForTest(const TimerMachine *machine);

#endif
