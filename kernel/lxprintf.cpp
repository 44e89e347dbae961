/*
 * LxPrintF: copies the format, walking by characters so that double-byte
 * pairs pass whole, and expands `$$`, `%%`, `$(token)`, `$(number)` and the
 * conversions. Numeric conversions run through the C runtime and then
 * through the locale number formatter; a conversion whose spec could make
 * the runtime read more than the one argument it is given writes nothing.
 */
#include "lxprintf.h"
#include "lxlist.h"

#include <cmath>
#include <cstdio>
#include <cstring>

/* The spec and conversion buffers, terminator included. */
static const int kSpecSize = 260;
static const int kConversionSize = 260;
/* wsprintfA writes at most 1024 characters and cannot be bounded lower. */
static const int kWsprintfSize = 1025;
static const int kTokenNameChars = 260;

static const char kConversionChars[] = "!&*,:EGXcdefgiosuxz";

/* ---- Token table --------------------------------------------------------- */

/* One allocation: the header, the name's text, then the value's text from
   the next multiple of 4. */
struct Token {
    DWORD zero;
    const char *name;
    LONG valueLength;
    const char *value;
};

static tLXLIST *volatile g_pTokens;

static int LXCALLBACK CompareTokens(DWORD, const void *first, const void *second) {
    return lstrcmpiA(((const Token *)first)->name, ((const Token *)second)->name);
}

/* Made on first use; two threads racing here both build a table and the
   loser throws its own away. */
static tLXLIST *Tokens(void) {
    tLXLIST *list = (tLXLIST *)InterlockedCompareExchangePointer((PVOID volatile *)&g_pTokens,
                                                                nullptr, nullptr);
    if (list) return list;
    tLXLIST *made = nullptr;
    if (FAILED(LxList_CreateExZ(&made, 4, 16, 16, LXLIST_HEAP | LXLIST_THREADSAFE, 0, 0, 0)))
        return nullptr;
    list = (tLXLIST *)InterlockedCompareExchangePointer((PVOID volatile *)&g_pTokens, made,
                                                       nullptr);
    if (list) {
        LxList_Destroy(made);
        return list;
    }
    return made;
}

void LxPrintF_Terminate(void) {
    tLXLIST *list =
        (tLXLIST *)InterlockedExchangePointer((PVOID volatile *)&g_pTokens, nullptr);
    LxList_Destroy(list);
}

/* The list's own lock, held across several of its calls (it is recursive). */
namespace {
class TableLock {
public:
    explicit TableLock(tLXLIST *list) : list_(list) { EnterCriticalSection(&list_->lock); }
    ~TableLock() { LeaveCriticalSection(&list_->lock); }
    TableLock(const TableLock &) = delete;
    TableLock &operator=(const TableLock &) = delete;

private:
    tLXLIST *list_;
};
}  // namespace

static LONG FindToken(tLXLIST *list, const char *name) {
    Token key = {0, name, 0, nullptr};
    return LxList_FindSortedItemRange(list, &key, 0, -1, CompareTokens);
}

LXEXPORT(BOOL) LxPrintF_AddToken(const char *name, const char *value) {
    if (!name) return FALSE;
    if (!value) value = "";
    size_t cchName = strlen(name);
    size_t cchValue = strlen(value);
    if (cchName > (size_t)kTokenNameChars || cchValue > 0x10000000u) return FALSE;
    tLXLIST *list = Tokens();
    if (!list) return FALSE;

    size_t valueOffset = (sizeof(Token) + cchName + 1 + 3) & ~(size_t)3;
    LONG size = (LONG)(valueOffset + cchValue + 1);

    TableLock hold(list);
    LONG old = FindToken(list, name);
    if (old >= 0) LxList_DeleteList(list, old, 1, FALSE);

    void *memory = nullptr;
    if (FAILED(LxList_AllocItem(list, size, &memory))) return FALSE;
    char *base = (char *)memory;
    Token *token = (Token *)memory;
    char *nameText = base + sizeof(Token);
    char *valueText = base + valueOffset;
    memcpy(nameText, name, cchName + 1);
    memcpy(valueText, value, cchValue + 1);
    token->zero = 0;
    token->name = nameText;
    token->valueLength = (LONG)cchValue;
    token->value = valueText;

    LONG at = LxList_FindSortedInsertIndexRange(list, token, 0, -1, CompareTokens);
    if (FAILED(LxList_InsertList(list, at, nullptr, -1))) {
        LxList_DeleteList(list, -1, -1, FALSE); /* gives up the pending item */
        return FALSE;
    }
    return TRUE;
}

LXEXPORT(BOOL) LxPrintF_DeleteToken(const char *name) {
    if (!name) return FALSE;
    tLXLIST *list = Tokens();
    if (!list) return FALSE;
    TableLock hold(list);
    LONG at = FindToken(list, name);
    if (at < 0) return FALSE;
    return SUCCEEDED(LxList_DeleteList(list, at, 1, FALSE));
}

/* Copies the token's value to `out`; the length, or -1 if there is none. */
static int CopyTokenValue(const char *name, char *out) {
    tLXLIST *list = Tokens();
    if (!list) return -1;
    TableLock hold(list);
    LONG at = FindToken(list, name);
    if (at < 0) return -1;
    const Token *token = ((const Token *const *)list->items)[at];
    memcpy(out, token->value, (size_t)token->valueLength);
    return token->valueLength;
}

/* ---- Conversions ------------------------------------------------------- */

static bool IsLead(const char *p) { return IsDBCSLeadByte((BYTE)*p) && p[1]; }

static char *Append(char *o, const char *text, int length) {
    memcpy(o, text, (size_t)length);
    return o + length;
}

static char *AppendText(char *o, const char *text) { return Append(o, text, lstrlenA(text)); }

/* Only flags, width, precision and size modifiers may stand between the
   head and the conversion character: anything else could make the runtime
   read an argument that isn't there. */
static bool PlainSpec(const char *spec, int length, const char *allowed) {
    for (int i = 1; i < length - 1; i++)
        if (!strchr(allowed, spec[i]) || !spec[i]) return false;
    return true;
}

static const char kRuntimeModifiers[] = "-+ #0123456789.hlLI";
static const char kWsprintfModifiers[] = "-#0123456789.hlw";

/* The C runtime's answer in a bounded buffer; a spec that asks for more
   than the buffer holds gives -1. Trailing zero words keep a spec with a
   wider size modifier from reading beyond the call. */
static int RuntimeLong(char *buffer, const char *spec, LONG value) {
    int n = _snprintf(buffer, kConversionSize - 1, spec, value, 0, 0);
    buffer[kConversionSize - 1] = 0;
    return n;
}

static int RuntimeLongLong(char *buffer, const char *spec, LONGLONG value) {
    int n = _snprintf(buffer, kConversionSize - 1, spec, value, 0, 0);
    buffer[kConversionSize - 1] = 0;
    return n;
}

static int RuntimeDouble(char *buffer, const char *spec, double value) {
    int n = _snprintf(buffer, kConversionSize - 1, spec, value, 0, 0);
    buffer[kConversionSize - 1] = 0;
    return n;
}

static bool Is64(const char *spec) { return spec[1] == 'I' && spec[2] == '6'; }

/* The precision of a spec: -1 if it has none. Capped, so that an absurd
   one stays a large number rather than an overflow. */
static int Precision(const char *spec) {
    const char *point = strchr(spec, '.');
    if (!point) return -1;
    int n = 0;
    for (point++; *point >= '0' && *point <= '9'; point++)
        if (n < 100000) n = n * 10 + (*point - '0');
    return n;
}

static const double kPowersOfTen[16] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

namespace {
/* State of one walk. */
struct Walk {
    char *o;
    va_list *args;
};
}  // namespace

/* d, i, u, x, X, o with a spec: 32 bits, or 64 after "I6". */
static int RuntimeInteger(char *buffer, const char *spec, int length, va_list *args) {
    bool wide = Is64(spec);
    if (!PlainSpec(spec, length, kRuntimeModifiers)) {
        if (wide)
            (void)va_arg(*args, LONGLONG);
        else
            (void)va_arg(*args, LONG);
        return -1;
    }
    if (wide) return RuntimeLongLong(buffer, spec, va_arg(*args, LONGLONG));
    return RuntimeLong(buffer, spec, va_arg(*args, LONG));
}

static int RuntimeFloat(char *buffer, const char *spec, int length, va_list *args) {
    double value = va_arg(*args, double);
    if (!PlainSpec(spec, length, kRuntimeModifiers)) return -1;
    return RuntimeDouble(buffer, spec, value);
}

/* `z`: a fixed-point value in units of 10^-n with a precision n above 0,
   otherwise `d`. */
static char *FixedPoint(char *o, char *spec, int length, bool group, va_list *args) {
    char buffer[kConversionSize];
    LONG raw = va_arg(*args, LONG);
    if (!PlainSpec(spec, length, kRuntimeModifiers)) return o;
    int n = Precision(spec);
    if (n > 0) {
        double value = (double)raw / (n < 16 ? kPowersOfTen[n] : pow(10.0, n));
        char format[32];
        snprintf(format, sizeof format, "%%.%df", n);
        int k = RuntimeDouble(buffer, format, value);
        if (k <= 0) return o;
        if (group) return o + LxFormatGroupDecimalNumber(buffer, o, 2 * k, n);
        return o + LxFormatDecimalNumber(buffer, o, 2 * k);
    }
    spec[length - 1] = 'd';
    int k = RuntimeLong(buffer, spec, raw);
    if (k <= 0) return o;
    if (group) return o + LxFormatNumber(buffer, o, 2 * k);
    return Append(o, buffer, k);
}

/* One conversion, its spec complete with the conversion character last.
   `rest` is the format behind it; returns where the walk goes on. */
static const char *Convert(Walk *w, char *spec, int length, bool group, const char *rest) {
    char buffer[kConversionSize];
    char conversion = spec[length - 1];
    bool bare = length == 2;
    int k;
    switch (conversion) {
    case '*':
        w->o = AppendText(w->o, Inat_Decimal(nullptr));
        return rest;
    case ',':
        w->o = AppendText(w->o, Inat_List(nullptr));
        return rest;
    case ':':
        w->o = AppendText(w->o, Inat_Time(nullptr));
        return rest;
    case '!':
        if (*rest == ':') w->o = AppendText(w->o, Inat_SmpteWhole(nullptr));
        else if (*rest == '.') w->o = AppendText(w->o, Inat_SmpteNonDrop(nullptr));
        else if (*rest == ',') w->o = AppendText(w->o, Inat_SmpteDrop(nullptr));
        else return rest;
        return rest + 1;
    case '&':
        if (*rest == ':') w->o = AppendText(w->o, Inat_Bar(nullptr));
        else if (*rest == '.') w->o = AppendText(w->o, Inat_Beat(nullptr));
        else return rest;
        return rest + 1;
    case 'd':
    case 'i':
    case 'u':
        if (bare && conversion == 'u') {
            w->o += LxDWordToText(va_arg(*w->args, DWORD), w->o, group);
            return rest;
        }
        if (bare) {
            w->o += LxLongToText(va_arg(*w->args, LONG), w->o, group);
            return rest;
        }
        k = RuntimeInteger(buffer, spec, length, w->args);
        if (k <= 0) return rest;
        if (group) w->o += LxFormatNumber(buffer, w->o, 2 * k);
        else w->o = Append(w->o, buffer, k);
        return rest;
    case 'x':
    case 'X':
    case 'o':
        k = RuntimeInteger(buffer, spec, length, w->args);
        if (k > 0) w->o = Append(w->o, buffer, k);
        return rest;
    case 'f':
        k = RuntimeFloat(buffer, spec, length, w->args);
        if (k <= 0) return rest;
        if (group) w->o += LxFormatGroupDecimalNumber(buffer, w->o, 2 * k, -1);
        else w->o += LxFormatDecimalNumber(buffer, w->o, 2 * k);
        return rest;
    case 'g':
    case 'G':
        k = RuntimeFloat(buffer, spec, length, w->args);
        if (k <= 0) return rest;
        if (strpbrk(buffer, "eE")) w->o = Append(w->o, buffer, k);
        else w->o += LxFormatDecimalNumber(buffer, w->o, 2 * k);
        return rest;
    case 'e':
    case 'E':
        k = RuntimeFloat(buffer, spec, length, w->args);
        if (k > 0) w->o = Append(w->o, buffer, k);
        return rest;
    case 'z':
        w->o = FixedPoint(w->o, spec, length, group, w->args);
        return rest;
    case 's':
    case 'c': {
        DWORD_PTR value = va_arg(*w->args, DWORD_PTR);
        if (!PlainSpec(spec, length, kWsprintfModifiers)) return rest;
        char text[kWsprintfSize];
        text[0] = 0;
        text[kWsprintfSize - 1] = 0;
        /* At its limit the count may take in the terminator: the text is
           what lies before it. */
        if (wsprintfA(text, spec, value) > 0) w->o = AppendText(w->o, text);
        return rest;
    }
    default:
        return rest;
    }
}

/* `p` at the `%` or `$`; collects the spec up to its conversion character. */
static const char *Conversion(Walk *w, const char *p, bool group) {
    char spec[kSpecSize];
    int length = 0;
    spec[length++] = '%';
    const char *q = p + 1;
    bool complete = false;
    while (*q) {
        int width = IsLead(q) ? 2 : 1;
        if (length + width > kSpecSize - 1) break;
        memcpy(spec + length, q, (size_t)width);
        length += width;
        q += width;
        if (width == 1 && strchr(kConversionChars, spec[length - 1])) {
            complete = true;
            break;
        }
    }
    spec[length] = 0;
    if (!complete) {
        w->o = Append(w->o, spec, length);
        return q;
    }
    return Convert(w, spec, length, group, q);
}

static bool StartsNumber(char c) { return (c >= '0' && c <= '9') || c == '-' || c == '.'; }

/* `p` at the `$(`. */
static const char *Bracket(Walk *w, const char *p) {
    const char *q = p + 2;
    char text[kTokenNameChars + 1];
    int length = 0;
    if (StartsNumber(*q)) {
        if (*q == '-') text[length++] = *q++;
        while (length < kTokenNameChars && ((*q >= '0' && *q <= '9') || *q == '.' || *q == ','))
            text[length++] = *q++;
        text[length] = 0;
        if (*q == ')') {
            w->o += LxFormatGroupDecimalNumber(text, w->o, 2 * length, -1);
            return q + 1;
        }
    } else {
        while (length < kTokenNameChars && *q && *q != ')') text[length++] = *q++;
        text[length] = 0;
        if (*q == ')') {
            int k = CopyTokenValue(text, w->o);
            if (k >= 0) {
                w->o += k;
            } else {
                w->o = Append(w->o, p, length + 2);
                *w->o++ = ')';
            }
            return q + 1;
        }
    }
    /* No closing bracket: what was read goes out as it stands. */
    w->o = Append(w->o, "$(", 2);
    w->o = Append(w->o, text, length);
    return q;
}

LXEXPORT(int) LxVPrintF(char *out, const char *format, va_list args) {
    if (!out) return 0;
    out[0] = 0;
    if (!format) return 0;
    va_list walkArgs;
    va_copy(walkArgs, args);
    Walk w = {out, &walkArgs};
    const char *p = format;
    while (*p) {
        if (IsLead(p)) {
            w.o = Append(w.o, p, 2);
            p += 2;
        } else if (*p == '$' && p[1] == '$') {
            *w.o++ = '$';
            p += 2;
        } else if ((*p == '$' || *p == '%') && p[1] == '%') {
            *w.o++ = '%';
            p += 2;
        } else if (*p == '$' && p[1] == '(') {
            p = Bracket(&w, p);
        } else if (*p == '$' || *p == '%') {
            p = Conversion(&w, p, *p == '$');
        } else {
            *w.o++ = *p++;
        }
    }
    *w.o = 0;
    va_end(walkArgs);
    return lstrlenA(out);
}

LXEXPORT(int) LxPrintF(char *out, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int n = LxVPrintF(out, format, args);
    va_end(args);
    return n;
}

LXEXPORT(DWORD) LxComposeStr(char *buffer, DWORD size, const char *format, ...) {
    if (!buffer || !size) return 0;
    buffer[0] = 0;
    if (!format) return 0;
    va_list args;
    va_start(args, format);
    DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_STRING, format, 0, 0, buffer, size, &args);
    va_end(args);
    if (!n) buffer[0] = 0;
    return n;
}
