/*
 * SMPTE values and their frame counts, with drop-frame arithmetic.
 */
#ifndef SMPTE_H
#define SMPTE_H

#include "../kernel/lxbase.h"

/* type: 1 = 30, 2 = 30 drop, 3 = 25, 4 = 24, 5 = 30 non-drop (29.97). */
typedef struct _smpteval {
    DWORD type;
    DWORD hours;
    DWORD minutes;
    DWORD seconds;
    DWORD frames;
} _smpteval;

/* Fills hours to frames from the count in the value's type; a negative
   count is 0. S_OK, or E_INVALIDARG (fields zero) for an unknown type. */
LXEXPORT(HRESULT) FrameCountToSMPTE(_smpteval *value, LONGLONG count);
/* The frame count of a value; 0 for an unknown type. */
LXEXPORT(LONGLONG) SMPTEToFrameCount(const _smpteval *value);

#endif
