/*
 * The Kernel's clock: milliseconds and microseconds over the best counter
 * the machine offers. The plain forms count from the clock's own zero; the
 * Ex forms count from a caller's 64-bit stamp, which the Delta forms move
 * to the present reading. Results wrap at 32 bits of their unit.
 */
#ifndef LXTIMER_H
#define LXTIMER_H

#include "kernel/lxbase.h"

LXEXPORT(DWORD) LxGetMillisec(void);
LXEXPORT(DWORD) LxGetMicrosec(void);
LXEXPORT(DWORD) LxGetMillisecEx(LONGLONG *pStamp);
LXEXPORT(DWORD) LxGetMicrosecEx(LONGLONG *pStamp);
LXEXPORT(DWORD) LxDeltaMillisecEx(LONGLONG *pStamp);
LXEXPORT(DWORD) LxDeltaMicrosecEx(LONGLONG *pStamp);
/* Calibrates the time-stamp counter if the start armed it: its rate in
   counts a second, or 0 when the clock stays where it is. */
LXEXPORT(DWORD) LxTimer_LateInitialize(void);

#endif
