/*
 * Text to number: the token parsers that read what the formatter writes,
 * with the locale's separators.
 */
#ifndef LXTEXT_H
#define LXTEXT_H

#include "lxbase.h"

LXEXPORT(DWORD) LxTextToDWordToken(const char *text, const char **stop);
LXEXPORT(DWORD) LxTextToDWordTokenEx(const char *text, DWORD onFailure, DWORD minimum,
                                     DWORD maximum, const char **stop);

#endif
