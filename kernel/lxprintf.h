/*
 * The Kernel's formatter: a printf-like language in which `$` marks the
 * locale-aware form of a conversion, `$(name)` a named token and
 * `$(digits)` a number in the locale's spelling. Every number the user sees
 * goes through it, so a translated build needs no change in the code.
 */
#ifndef LXPRINTF_H
#define LXPRINTF_H

#include "lxbase.h"
#include "lxnumtext.h"
#include "inat.h"

#include <stdarg.h>

/* `out` is the caller's and must be large enough. Result: lstrlenA(out). */
LXEXPORT(int) LxPrintF(char *out, const char *format, ...);
LXEXPORT(int) LxVPrintF(char *out, const char *format, va_list args);

/* Adds a token or replaces the one of that name (names compare without
   regard to case). 1 on success. */
LXEXPORT(BOOL) LxPrintF_AddToken(const char *name, const char *value);
/* 1 if the token existed. */
LXEXPORT(BOOL) LxPrintF_DeleteToken(const char *name);

/* FormatMessageA over the arguments: the format uses "%1" insertions.
   Result: the length written, 0 on failure (then `buffer` is empty). */
LXEXPORT(DWORD) LxComposeStr(char *buffer, DWORD size, const char *format, ...);

/* Not exported: frees the token table at the Kernel's detach. A later
   call of the formatter makes a new one. */
void LxPrintF_Terminate(void);

#endif
