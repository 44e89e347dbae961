/*
 * Token parsers: read the numbers that the formatter writes, thousand
 * separators included. White space is what the C runtime's multi-byte
 * classification calls space, so a double-byte ideographic space counts too.
 * Only the ASCII minus is a sign, whatever the locale shows.
 */
#include "lxtext.h"
#include "inat.h"

#include <cstdlib>
#include <cstring>
#include <mbctype.h>
#include <mbstring.h>

/* Signed readers copy at most this much of a token. */
static const int kTokenChars = 63;

int LxText_SpaceLength(const char *p) {
    if (!p) return 0;
    unsigned c = (unsigned char)p[0];
    if (!c) return 0;
    if (_ismbblead(c) && p[1])
        return _ismbcspace((c << 8) | (unsigned char)p[1]) ? 2 : 0;
    return _ismbcspace(c) ? 1 : 0;
}

static const char *SkipSpace(const char *p) {
    int n;
    while ((n = LxText_SpaceLength(p)) != 0) p += n;
    return p;
}

/* The next character boundary: double-byte pairs stay whole. */
static const char *NextChar(const char *p) {
    if (_ismbblead((unsigned char)p[0]) && p[1]) return p + 2;
    return p + 1;
}

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

static bool AtSeparator(const char *p, const char *sep, int cchSep) {
    return cchSep && strncmp(p, sep, (size_t)cchSep) == 0;
}

/* Digits with the thousand separator passed anywhere; wraps silently. */
template <typename T>
static T ReadDigits(const char *text, const char **stop) {
    if (!text) {
        if (stop) *stop = text;
        return 0;
    }
    int cchSep;
    const char *sep = Inat_Thousand(&cchSep);
    const char *p = SkipSpace(text);
    T value = 0;
    for (;;) {
        if (AtSeparator(p, sep, cchSep)) {
            p += cchSep;
        } else if (IsDigit(*p)) {
            value = value * 10u + (T)(*p - '0');
            p++;
        } else {
            break;
        }
    }
    if (stop) *stop = p;
    return value;
}

template <typename T>
static T ReadHex(const char *text, const char **stop) {
    if (!text) {
        if (stop) *stop = text;
        return 0;
    }
    const char *p = SkipSpace(text);
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) p += 2;
    T value = 0;
    for (;; p++) {
        unsigned digit;
        if (*p >= '0' && *p <= '9')
            digit = (unsigned)(*p - '0');
        else if (*p >= 'a' && *p <= 'f')
            digit = (unsigned)(*p - 'a' + 10);
        else if (*p >= 'A' && *p <= 'F')
            digit = (unsigned)(*p - 'A' + 10);
        else
            break;
        value = (T)(value << 4) | digit;
    }
    if (stop) *stop = p;
    return value;
}

/* The signed readers' token: it ends at white space or the end, and that is
   the stop position whatever the token holds. Its number is rewritten for
   the C runtime: brackets or a minus make it negative, thousand separators
   go, the decimal separator becomes a point, anything else ends it. */
static const char *NormaliseToken(const char *text, char *number, const char **tokenStart) {
    int cchThousand, cchDecimal;
    const char *thousand = Inat_Thousand(&cchThousand);
    const char *decimal = Inat_Decimal(&cchDecimal);

    const char *start = SkipSpace(text);
    const char *end = start;
    while (*end) {
        if (LxText_SpaceLength(end)) {
            /* Where the locale groups with a space (a no-break space in
               Swedish or French), the separator between two digits is part
               of the number, or we could not read what the formatter wrote. */
            if (end > start && IsDigit(end[-1]) && AtSeparator(end, thousand, cchThousand) &&
                IsDigit(end[cchThousand])) {
                end += cchThousand;
                continue;
            }
            break;
        }
        end = NextChar(end);
    }
    *tokenStart = start;

    char token[kTokenChars + 1];
    size_t n = (size_t)(end - start);
    if (n > (size_t)kTokenChars) n = kTokenChars;
    memcpy(token, start, n);
    token[n] = 0;

    const char *p = SkipSpace(token);
    bool negative = false;
    if (*p == '(') {
        negative = true;
        p++;
        if (*p == '-') p++;
    } else if (*p == '-') {
        negative = true;
        p++;
    }

    char *o = number;
    if (negative) *o++ = '-';
    for (;;) {
        if (AtSeparator(p, thousand, cchThousand)) {
            p += cchThousand;
        } else if (AtSeparator(p, decimal, cchDecimal)) {
            *o++ = '.';
            p += cchDecimal;
        } else if (IsDigit(*p)) {
            *o++ = *p++;
        } else {
            break;
        }
    }
    *o = 0;
    return end;
}

/* Room for a normalised token: a sign and every byte of it as one
   character. */
static const int kNumberChars = kTokenChars + 2;

LXEXPORT(DWORD) LxTextToDWordToken(const char *text, const char **stop) {
    return ReadDigits<DWORD>(text, stop);
}

LXEXPORT(ULONGLONG) LxTextToDWordLongToken(const char *text, const char **stop) {
    return ReadDigits<ULONGLONG>(text, stop);
}

/* Normalises the token of text into number and sets the stop at its end;
   false for a null text, whose stop is null. */
static bool TakeToken(const char *text, char *number, const char **start, const char **stop) {
    const char *end = text;
    if (text) end = NormaliseToken(text, number, start);
    if (stop) *stop = end;
    return text != nullptr;
}

LXEXPORT(LONG) LxTextToLongToken(const char *text, const char **stop) {
    char number[kNumberChars];
    const char *start;
    return TakeToken(text, number, &start, stop) ? atol(number) : 0;
}

LXEXPORT(LONGLONG) LxTextToLongLongToken(const char *text, const char **stop) {
    char number[kNumberChars];
    const char *start;
    return TakeToken(text, number, &start, stop) ? _atoi64(number) : 0;
}

LXEXPORT(double) LxTextToDoubleToken(const char *text, const char **stop) {
    char number[kNumberChars];
    const char *start, *end;
    if (!TakeToken(text, number, &start, &end)) {
        if (stop) *stop = end;
        return 0.0;
    }
    char *used = number;
    double value = strtod(number, &used);
    if (stop) *stop = used == number ? start : end;
    return value;
}

LXEXPORT(DWORD) LxHexToDWordToken(const char *text, const char **stop) {
    return ReadHex<DWORD>(text, stop);
}

LXEXPORT(ULONGLONG) LxHexToDWordLongToken(const char *text, const char **stop) {
    return ReadHex<ULONGLONG>(text, stop);
}

/* The Ex rule: zero that stopped inside something else was no number. */
static bool WasNoNumber(bool isZero, const char *end) {
    return isZero && end && *end && !LxText_SpaceLength(end);
}

template <typename T>
static T Clamp(T value, T minimum, T maximum) {
    if (value < minimum) return minimum;
    if (value > maximum) return maximum;
    return value;
}

/* The Ex forms: the plain parser, its value widened to T (so the 64-bit
   forms that read through a 32-bit parser see 32-bit numbers only), the
   failure value for no number, then the clamp. */
template <typename T, typename R>
static T ParseEx(R (*read)(const char *, const char **), const char *text, T onFailure,
                 T minimum, T maximum, const char **stop) {
    const char *end = text;
    T value = (T)read(text, &end);
    if (WasNoNumber(value == 0, end)) value = onFailure;
    if (stop) *stop = end;
    return Clamp(value, minimum, maximum);
}

LXEXPORT(DWORD) LxTextToDWordTokenEx(const char *text, DWORD onFailure,
        DWORD minimum, DWORD maximum, const char **stop) {
    return ParseEx<DWORD>(LxTextToDWordToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(ULONGLONG) LxTextToDWordLongTokenEx(const char *text, ULONGLONG onFailure,
        ULONGLONG minimum, ULONGLONG maximum, const char **stop) {
    return ParseEx<ULONGLONG>(LxTextToDWordLongToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(LONG) LxTextToLongTokenEx(const char *text, LONG onFailure,
        LONG minimum, LONG maximum, const char **stop) {
    return ParseEx<LONG>(LxTextToLongToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(LONGLONG) LxTextToLongLongTokenEx(const char *text, LONGLONG onFailure,
        LONGLONG minimum, LONGLONG maximum, const char **stop) {
    return ParseEx<LONGLONG>(LxTextToLongToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(double) LxTextToDoubleTokenEx(const char *text, double onFailure,
        double minimum, double maximum, const char **stop) {
    return ParseEx<double>(LxTextToDoubleToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(DWORD) LxHexToDWordTokenEx(const char *text, DWORD onFailure,
        DWORD minimum, DWORD maximum, const char **stop) {
    return ParseEx<DWORD>(LxHexToDWordToken, text, onFailure, minimum, maximum, stop);
}

LXEXPORT(ULONGLONG) LxHexToDWordLongTokenEx(const char *text, ULONGLONG onFailure,
        ULONGLONG minimum, ULONGLONG maximum, const char **stop) {
    return ParseEx<ULONGLONG>(LxHexToDWordToken, text, onFailure, minimum, maximum, stop);
}
