/*
 * Token parsers: read the numbers that the formatter writes, thousand
 * separators included. White space is what the C runtime's multi-byte
 * classification calls space, so a double-byte ideographic space counts too.
 */
#include "lxtext.h"

#include <cstring>
#include <mbctype.h>
#include <mbstring.h>

/* The user's thousand separator, read once. Two threads racing on the first
   call both store the same text, so a plain set-once flag is enough. */
static char g_szThousand[8];
static int g_cchThousand;
static volatile LONG g_bThousandKnown;

static const char *ThousandSeparator(int *pLength) {
    if (!g_bThousandKnown) {
        char text[8] = {0};
        if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, text, sizeof text))
            text[0] = 0;
        text[sizeof text - 1] = 0;
        lstrcpynA(g_szThousand, text, sizeof g_szThousand);
        g_cchThousand = lstrlenA(g_szThousand);
        InterlockedExchange(&g_bThousandKnown, 1);
    }
    *pLength = g_cchThousand;
    return g_szThousand;
}

/* Byte length of the character at p and whether it is white space. */
static int SpaceAt(const char *p, BOOL *pIsSpace) {
    unsigned c = (unsigned char)p[0];
    if (c && _ismbblead(c) && p[1]) {
        *pIsSpace = _ismbcspace((c << 8) | (unsigned char)p[1]) != 0;
        return 2;
    }
    *pIsSpace = c && _ismbcspace(c) != 0;
    return 1;
}

static const char *SkipSpace(const char *p) {
    for (;;) {
        BOOL space;
        int n = SpaceAt(p, &space);
        if (!space) return p;
        p += n;
    }
}

LXEXPORT(DWORD) LxTextToDWordToken(const char *text, const char **stop) {
    if (!text) {
        if (stop) *stop = text;
        return 0;
    }
    int cchSep;
    const char *sep = ThousandSeparator(&cchSep);
    const char *p = SkipSpace(text);
    DWORD value = 0;
    for (;;) {
        if (cchSep && strncmp(p, sep, cchSep) == 0) {
            p += cchSep;
        } else if (*p >= '0' && *p <= '9') {
            value = value * 10u + (DWORD)(*p - '0');
            p++;
        } else {
            break;
        }
    }
    if (stop) *stop = p;
    return value;
}

LXEXPORT(DWORD) LxTextToDWordTokenEx(const char *text, DWORD onFailure, DWORD minimum,
                                     DWORD maximum, const char **stop) {
    const char *end = text;
    DWORD value = LxTextToDWordToken(text, &end);
    if (value == 0 && end && *end) {
        BOOL space;
        SpaceAt(end, &space);
        if (!space) value = onFailure;
    }
    if (stop) *stop = end;
    if (value < minimum)
        value = minimum;
    else if (value > maximum)
        value = maximum;
    return value;
}
