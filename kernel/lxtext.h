/*
 * Text to number: the token parsers that read what the formatter writes,
 * with the locale's separators.
 */
#ifndef LXTEXT_H
#define LXTEXT_H

#include "lxbase.h"

/* Plain parsers: `stop` (may be null) gets the position where reading
   ended. */
LXEXPORT(DWORD) LxTextToDWordToken(const char *text, const char **stop);
LXEXPORT(ULONGLONG) LxTextToDWordLongToken(const char *text, const char **stop);
LXEXPORT(LONG) LxTextToLongToken(const char *text, const char **stop);
LXEXPORT(LONGLONG) LxTextToLongLongToken(const char *text, const char **stop);
LXEXPORT(double) LxTextToDoubleToken(const char *text, const char **stop);
LXEXPORT(DWORD) LxHexToDWordToken(const char *text, const char **stop);
LXEXPORT(ULONGLONG) LxHexToDWordLongToken(const char *text, const char **stop);

/* Bounded forms: a zero that stopped on anything but the end or white space
   gives `onFailure`; the result is then clamped to [minimum, maximum].
   64-bit and double arguments travel as two stack words each. */
LXEXPORT(DWORD) LxTextToDWordTokenEx(const char *text, DWORD onFailure, DWORD minimum,
                                     DWORD maximum, const char **stop);
LXEXPORT(ULONGLONG) LxTextToDWordLongTokenEx(const char *text, ULONGLONG onFailure,
                                             ULONGLONG minimum, ULONGLONG maximum,
                                             const char **stop);
LXEXPORT(LONG) LxTextToLongTokenEx(const char *text, LONG onFailure, LONG minimum,
                                   LONG maximum, const char **stop);
/* Reads a 32-bit number only and sign-extends it; the bounds are 64-bit. */
LXEXPORT(LONGLONG) LxTextToLongLongTokenEx(const char *text, LONGLONG onFailure,
                                           LONGLONG minimum, LONGLONG maximum,
                                           const char **stop);
LXEXPORT(double) LxTextToDoubleTokenEx(const char *text, double onFailure, double minimum,
                                       double maximum, const char **stop);
LXEXPORT(DWORD) LxHexToDWordTokenEx(const char *text, DWORD onFailure, DWORD minimum,
                                    DWORD maximum, const char **stop);
/* Reads a 32-bit number only; the bounds are 64-bit. */
LXEXPORT(ULONGLONG) LxHexToDWordLongTokenEx(const char *text, ULONGLONG onFailure,
                                            ULONGLONG minimum, ULONGLONG maximum,
                                            const char **stop);

/* Not exported: the byte length of the white-space character at `p`, or 0
   if it isn't one (the end of the text isn't). */
int LxText_SpaceLength(const char *p);

#endif
