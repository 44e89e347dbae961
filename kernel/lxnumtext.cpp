/*
 * Numbers to locale text. The system formats the digits; what comes out is
 * then held to two rules of our own: text ahead of a number stays as it was
 * (padding and leading zeros survive), and a negative number always shows an
 * ASCII minus, so that the token parsers can read it back in any locale.
 */
#include "lxnumtext.h"
#include "inat.h"
#include "lxtext.h"

#include <cmath>
#include <cstring>

/* What the integer-to-text family hands the formatter. */
static const int kNumberTextSize = 64;
/* NUMBERFMT takes a group size of 0 to 9 (32 is not a size). */
static const UINT kMaxGroup = 9;

static bool BeginsNumber(const char *p) {
    char c = *p;
    return c == 0 || c == '-' || c == '.' || (c >= '1' && c <= '9') || (c == '0' && p[1] == '.');
}

static UINT DigitsAfterPoint(const char *p) {
    const char *point = strchr(p, '.');
    if (!point) return 0;
    UINT n = 0;
    for (point++; *point >= '0' && *point <= '9'; point++) n++;
    return n;
}

/* The system spells a negative number with the locale's sign; ours is
   always the ASCII minus. */
static void AsciiMinus(char *number) {
    int cchSign;
    const char *sign = Inat_NegativeSignOut(&cchSign);
    if (cchSign <= 0 || (cchSign == 1 && sign[0] == '-')) return;
    if (strncmp(number, sign, (size_t)cchSign) != 0) return;
    number[0] = '-';
    memmove(number + 1, number + cchSign, strlen(number + cchSign) + 1);
}

/* digits: -1 counts the text's own; decimalSep: false gives the empty
   separator of the integer form. */
static int FormatLocale(const char *text, char *out, int size, int digits, bool group,
                        bool decimalSep) {
    if (!out || size <= 0) return 0;
    out[0] = 0;
    if (!text) return 0;

    int pos = 0;
    const char *p = text;
    while (pos < size - 1 && !BeginsNumber(p)) out[pos++] = *p++;
    out[pos] = 0;
    if (pos >= size - 1 || !*p) return pos;

    char thousand[8], decimal[8], empty[1] = {0};
    lstrcpynA(thousand, Inat_Thousand(nullptr), sizeof thousand);
    lstrcpynA(decimal, Inat_Decimal(nullptr), sizeof decimal);
    UINT groupSize = group ? Inat_GroupSize() : 0;
    NUMBERFMTA nf;
    nf.NumDigits = digits >= 0 ? (UINT)digits : DigitsAfterPoint(p);
    nf.LeadingZero = Inat_LeadingZero();
    nf.Grouping = groupSize > kMaxGroup ? kMaxGroup : groupSize;
    nf.lpDecimalSep = decimalSep ? decimal : empty;
    nf.lpThousandSep = thousand;
    nf.NegativeOrder = 1;

    char *number = out + pos;
    if (GetNumberFormatA(LOCALE_USER_DEFAULT, 0, p, &nf, number, size - pos) <= 0) {
        /* Not a number the system takes (or no room): the text stands. */
        lstrcpynA(number, p, size - pos);
        return lstrlenA(out);
    }
    AsciiMinus(number);
    return lstrlenA(out);
}

LXEXPORT(int) LxFormatNumber(const char *text, char *out, int size) {
    return FormatLocale(text, out, size, 0, true, false);
}

LXEXPORT(int) LxFormatDecimalNumber(const char *text, char *out, int size) {
    return FormatLocale(text, out, size, -1, false, true);
}

LXEXPORT(int) LxFormatGroupDecimalNumber(const char *text, char *out, int size, int decimals) {
    return FormatLocale(text, out, size, decimals < 0 ? -1 : decimals, true, true);
}

/* ---- Integers ------------------------------------------------------------ */

/* Digits from the end of a buffer of 24: enough for 2^64 and a sign. */
static char *DigitsFromEnd(ULONGLONG magnitude, bool negative, char *end) {
    *--end = 0;
    do {
        *--end = (char)('0' + (int)(magnitude % 10u));
        magnitude /= 10u;
    } while (magnitude);
    if (negative) *--end = '-';
    return end;
}

static int Emit(ULONGLONG magnitude, bool negative, char *out, BOOL group) {
    if (!out) return 0;
    if (magnitude == 0) {
        out[0] = '0';
        out[1] = 0;
        return 1;
    }
    char buffer[24];
    const char *text = DigitsFromEnd(magnitude, negative, buffer + sizeof buffer);
    if (group) return LxFormatNumber(text, out, kNumberTextSize);
    size_t n = strlen(text);
    memcpy(out, text, n + 1);
    return (int)n;
}

LXEXPORT(int) LxLongToText(LONG value, char *out, BOOL group) {
    bool negative = value < 0;
    ULONGLONG magnitude = negative ? 0u - (ULONGLONG)(LONGLONG)value : (ULONGLONG)value;
    return Emit(magnitude, negative, out, group);
}

LXEXPORT(int) LxDWordToText(DWORD value, char *out, BOOL group) {
    return Emit(value, false, out, group);
}

LXEXPORT(int) LxLongLongToText(DWORD low, LONG high, char *out, BOOL group) {
    if (high == 0) return LxDWordToText(low, out, group);
    LONGLONG value = (LONGLONG)(((ULONGLONG)(DWORD)high << 32) | low);
    bool negative = value < 0;
    ULONGLONG magnitude = negative ? 0u - (ULONGLONG)value : (ULONGLONG)value;
    return Emit(magnitude, negative, out, group);
}

LXEXPORT(int) LxDWordLongToText(DWORD low, DWORD high, char *out, BOOL group) {
    if (high == 0) return LxDWordToText(low, out, group);
    return Emit(((ULONGLONG)high << 32) | low, false, out, group);
}

/* ---- Doubles --------------------------------------------------------------- */

static const int kMaxDecimals = 9;
/* The rounding half-step comes from single-precision powers; results at a
   half depend on exactly these values. */
static const float kRoundingPowers[kMaxDecimals + 1] = {1.0f,  0.1f,  0.01f, 0.001f, 1e-4f,
                                                         1e-5f, 1e-6f, 1e-7f, 1e-8f,  1e-9f};
static const DWORD kScales[kMaxDecimals + 1] = {1u,      10u,      100u,      1000u,      10000u,
                                                100000u, 1000000u, 10000000u, 100000000u, 1000000000u};

LXEXPORT(int) LxDoubleToText(char *out, double value, int decimals, BOOL group) {
    if (!out) return 0;
    if (decimals > kMaxDecimals) decimals = kMaxDecimals;
    if (decimals < 0) decimals = 0;

    double x = std::fabs(value) + (double)kRoundingPowers[decimals] / 2;
    ULONGLONG whole = 0, fraction = 0;
    if (x != x) {
        x = 0; /* not a number: shown as zero */
    } else if (x >= 18446744073709551616.0) {
        whole = ~0ull; /* beyond 64 bits: the largest whole part */
    } else {
        whole = (ULONGLONG)x;
        fraction = (ULONGLONG)((x - (double)whole) * (double)kScales[decimals]);
        if (fraction >= kScales[decimals]) fraction = kScales[decimals] - 1;
    }

    char text[kNumberTextSize];
    char *p = text;
    if (value < 0 && (whole || fraction)) *p++ = '-';
    p += LxDWordLongToText((DWORD)whole, (DWORD)(whole >> 32), p, FALSE);
    if (decimals > 0) {
        LxDWordToText((DWORD)fraction + kScales[decimals], p, FALSE);
        *p = '.';
    }
    if (group) return LxFormatGroupDecimalNumber(text, out, kNumberTextSize, decimals);
    size_t n = strlen(text);
    memcpy(out, text, n + 1);
    return (int)n;
}

/* ---- Text helpers ------------------------------------------------------------ */

LXEXPORT(char *) LxFourCCToString(DWORD code, char *out) {
    if (!out) return nullptr;
    for (int i = 0; i < 4; i++) {
        unsigned char c = (unsigned char)(code >> (8 * i));
        out[i] = (c < 32 || c >= 127) ? '.' : (char)c;
    }
    out[4] = 0;
    return out;
}

LXEXPORT(int) LxStringReplaceChars(char *text, int from, int to) {
    if (!text) return 0;
    char *p = text;
    while (*p) {
        if (IsDBCSLeadByte((BYTE)*p) && p[1]) {
            p += 2;
            continue;
        }
        if (*p == (char)from) *p = (char)to;
        p++;
    }
    return (int)(p - text);
}

/* First and end of the text without white space at its ends. */
static const char *Trimmed(const char *text, const char **pEnd) {
    const char *p = text;
    int n;
    while ((n = LxText_SpaceLength(p)) != 0) p += n;
    const char *first = p, *end = p;
    while (*p) {
        n = LxText_SpaceLength(p);
        if (n) {
            p += n;
            continue;
        }
        p += (IsDBCSLeadByte((BYTE)*p) && p[1]) ? 2 : 1;
        end = p;
    }
    *pEnd = end;
    return first;
}

LXEXPORT(int) LxStripWhiteSpace(char *text) {
    if (!text) return 0;
    const char *end;
    const char *first = Trimmed(text, &end);
    size_t n = (size_t)(end - first);
    memmove(text, first, n);
    text[n] = 0;
    return (int)n;
}

LXEXPORT(char *) LxPrepareName(const char *source, char *out, int size) {
    if (!out || size <= 0) return nullptr;
    out[0] = 0;
    if (!source) return nullptr;
    const char *end;
    const char *first = Trimmed(source, &end);
    /* Cut at a character boundary. */
    const char *p = first;
    while (p < end) {
        int w = (IsDBCSLeadByte((BYTE)*p) && p[1]) ? 2 : 1;
        if (p - first + w > size - 1) break;
        p += w;
    }
    size_t n = (size_t)(p - first);
    memmove(out, first, n);
    out[n] = 0;
    return n ? out : nullptr;
}
