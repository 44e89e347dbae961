/*
 * Numbers as the user reads them: plain number text made locale text with
 * the system's number formatting, integers and doubles to text, and the
 * small text helpers that sit beside them.
 */
#ifndef LXNUMTEXT_H
#define LXNUMTEXT_H

#include "lxbase.h"

/* Plain text with a point as decimal point in, locale text out; text ahead
   of the number is copied as it stands. Result: the length of `out`. */
LXEXPORT(int) LxFormatNumber(const char *text, char *out, int size);
LXEXPORT(int) LxFormatDecimalNumber(const char *text, char *out, int size);
/* decimals -1: as many as the text holds. */
LXEXPORT(int) LxFormatGroupDecimalNumber(const char *text, char *out, int size, int decimals);

/* Decimal text; a non-zero `group` adds the locale's grouping. `out` holds
   64 characters. Result: the length. */
LXEXPORT(int) LxLongToText(LONG value, char *out, BOOL group);
LXEXPORT(int) LxDWordToText(DWORD value, char *out, BOOL group);
/* Signed only if the high word isn't zero. */
LXEXPORT(int) LxLongLongToText(DWORD low, LONG high, char *out, BOOL group);
LXEXPORT(int) LxDWordLongToText(DWORD low, DWORD high, char *out, BOOL group);
/* Rounded to `decimals` (0 to 9) with a point, or with the locale's
   separators under `group`; never "-0". */
LXEXPORT(int) LxDoubleToText(char *out, double value, int decimals, BOOL group);

/* Four bytes, low first, unprintable ones as points; `out` holds 5. */
LXEXPORT(char *) LxFourCCToString(DWORD code, char *out);
/* Replaces single-byte characters in place; returns the length walked. */
LXEXPORT(int) LxStringReplaceChars(char *text, int from, int to);
/* Removes white space at both ends in place; returns the new length. */
LXEXPORT(int) LxStripWhiteSpace(char *text);
/* The source without white space at its ends, cut to `size`; null if
   nothing is left. */
LXEXPORT(char *) LxPrepareName(const char *source, char *out, int size);

#endif
