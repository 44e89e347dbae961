/*
 * The international record, filled from the user's locale. The Kernel loads
 * it at start; anything that asks before that loads it then, so a white-box
 * caller or an early export never sees empty separators.
 */
#include "inat.h"

#include <cstdlib>
#include <cstring>

static_assert(sizeof(tLXINAT) == LXINAT_SIZE, "the record is 448 bytes");

static tLXINAT g_inat;
static volatile LONG g_inatReady;
static volatile LONG g_inatBusy;

/* Filling takes microseconds and happens once; a spin keeps it free of any
   object that would need its own start-up. */
namespace {
class FillLock {
public:
    FillLock() {
        while (InterlockedExchange(&g_inatBusy, 1)) Sleep(0);
    }
    ~FillLock() { InterlockedExchange(&g_inatBusy, 0); }
    FillLock(const FillLock &) = delete;
    FillLock &operator=(const FillLock &) = delete;
};
}  // namespace

static void ReadText(LCTYPE type, char *text, int size, LONG *pLength) {
    /* A longer answer keeps its head rather than coming back empty. */
    char buffer[256];
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, type, buffer, sizeof buffer)) buffer[0] = 0;
    buffer[sizeof buffer - 1] = 0;
    lstrcpynA(text, buffer, size);
    *pLength = lstrlenA(text);
}

static void SetText(tLXINATTEXT8 *field, const char *text) {
    lstrcpynA(field->text, text, sizeof field->text);
    field->length = lstrlenA(field->text);
}

static DWORD ReadNumber(LCTYPE type, int base) {
    char buffer[32];
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, type, buffer, sizeof buffer)) return 0;
    buffer[sizeof buffer - 1] = 0;
    return (DWORD)strtoul(buffer, nullptr, base);
}

static void Fill(tLXINAT *r) {
    memset(r, 0, sizeof *r);
    r->size = LXINAT_SIZE;
    r->lcid = GetSystemDefaultLCID();
    r->language = ReadNumber(LOCALE_ILANGUAGE, 16);
    ReadText(LOCALE_SLANGUAGE, r->languageName.text, 64, &r->languageName.length);
    ReadText(LOCALE_SENGLANGUAGE, r->englishLanguageName.text, 64,
             &r->englishLanguageName.length);
    r->country = ReadNumber(LOCALE_ICOUNTRY, 10);
    ReadText(LOCALE_SCOUNTRY, r->countryName.text, 64, &r->countryName.length);
    ReadText(LOCALE_SENGCOUNTRY, r->englishCountryName.text, 64, &r->englishCountryName.length);
    ReadText(LOCALE_SNEGATIVESIGN, r->negativeSignOut.text, 8, &r->negativeSignOut.length);
    SetText(&r->negativeSignIn, "-");
    ReadText(LOCALE_STHOUSAND, r->thousand.text, 8, &r->thousand.length);
    ReadText(LOCALE_SDECIMAL, r->decimal.text, 8, &r->decimal.length);
    char grouping[16];
    LONG unused;
    ReadText(LOCALE_SGROUPING, grouping, sizeof grouping, &unused);
    int group = atoi(grouping);
    r->groupSize = group > 0 ? (DWORD)group : 0;
    r->digits = ReadNumber(LOCALE_IDIGITS, 10);
    r->leadingZero = ReadNumber(LOCALE_ILZERO, 10);
    ReadText(LOCALE_STIME, r->time.text, 8, &r->time.length);
    ReadText(LOCALE_SLIST, r->list.text, 8, &r->list.length);
    r->measure = ReadNumber(LOCALE_IMEASURE, 10);
    SetText(&r->smpteWhole, ":");
    SetText(&r->smpteNonDrop, ".");
    SetText(&r->smpteDrop, ",");
    SetText(&r->bar, ".");
    SetText(&r->beat, ".");
}

/* A reload builds the new record aside, so a reader never meets it half
   cleared. */
void Inat_Load(void) {
    tLXINAT fresh;
    Fill(&fresh);
    FillLock hold;
    g_inat = fresh;
    InterlockedExchange(&g_inatReady, 1);
}

static const tLXINAT *Record(void) {
    if (!g_inatReady) {
        FillLock hold;
        if (!g_inatReady) {
            Fill(&g_inat);
            InterlockedExchange(&g_inatReady, 1);
        }
    }
    return &g_inat;
}

const void *Inat_Record(DWORD *pSize) {
    const tLXINAT *r = Record();
    if (pSize) *pSize = r->size;
    return r;
}

static const char *Text(const tLXINATTEXT8 &field, int *pLength) {
    if (pLength) *pLength = field.length;
    return field.text;
}

const char *Inat_Decimal(int *pLength) { return Text(Record()->decimal, pLength); }
const char *Inat_Thousand(int *pLength) { return Text(Record()->thousand, pLength); }
const char *Inat_List(int *pLength) { return Text(Record()->list, pLength); }
const char *Inat_Time(int *pLength) { return Text(Record()->time, pLength); }
const char *Inat_NegativeSignOut(int *pLength) { return Text(Record()->negativeSignOut, pLength); }
const char *Inat_SmpteWhole(int *pLength) { return Text(Record()->smpteWhole, pLength); }
const char *Inat_SmpteNonDrop(int *pLength) { return Text(Record()->smpteNonDrop, pLength); }
const char *Inat_SmpteDrop(int *pLength) { return Text(Record()->smpteDrop, pLength); }
const char *Inat_Bar(int *pLength) { return Text(Record()->bar, pLength); }
const char *Inat_Beat(int *pLength) { return Text(Record()->beat, pLength); }
UINT Inat_GroupSize(void) { return Record()->groupSize; }
UINT Inat_LeadingZero(void) { return Record()->leadingZero; }

static LONG CopyOut(char *out, const char *text, LONG length) {
    if (out) memcpy(out, text, (size_t)length + 1);
    return length;
}

LXEXPORT(LONG) LxGetInat(int code, char *out) {
    if (out) out[0] = 0;
    const tLXINAT *r = Record();
    switch (code) {
    case LXINAT_LCID: return (LONG)r->lcid;
    case LXINAT_LANGUAGE: return (LONG)r->language;
    case LXINAT_LANGUAGENAME:
        return CopyOut(out, r->languageName.text, r->languageName.length);
    case LXINAT_ENGLISHLANGUAGE:
        return CopyOut(out, r->englishLanguageName.text, r->englishLanguageName.length);
    case LXINAT_COUNTRY: return (LONG)r->country;
    case LXINAT_DECIMAL: return CopyOut(out, r->decimal.text, r->decimal.length);
    case LXINAT_LIST: return CopyOut(out, r->list.text, r->list.length);
    case LXINAT_TIME: return CopyOut(out, r->time.text, r->time.length);
    case LXINAT_SMPTEWHOLE: return CopyOut(out, r->smpteWhole.text, r->smpteWhole.length);
    case LXINAT_SMPTENONDROP: return CopyOut(out, r->smpteNonDrop.text, r->smpteNonDrop.length);
    case LXINAT_SMPTEDROP: return CopyOut(out, r->smpteDrop.text, r->smpteDrop.length);
    case LXINAT_BAR: return CopyOut(out, r->bar.text, r->bar.length);
    case LXINAT_BEAT: return CopyOut(out, r->beat.text, r->beat.length);
    default: return 0;
    }
}
