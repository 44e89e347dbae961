/*
 * The international record: the user's locale answers that every formatted
 * number and every parsed token depends on, read once for the process and
 * read-only afterwards. Each text is kept with its length.
 */
#ifndef INAT_H
#define INAT_H

#include "lxbase.h"

typedef struct tLXINATTEXT8 {
    LONG length;
    char text[8];
} tLXINATTEXT8;

typedef struct tLXINATTEXT64 {
    LONG length;
    char text[64];
} tLXINATTEXT64;

typedef struct tLXINAT {
    DWORD size;              /* 448 */
    LCID lcid;               /* the system's default */
    DWORD language;          /* LOCALE_ILANGUAGE, a hexadecimal text */
    tLXINATTEXT64 languageName;
    tLXINATTEXT64 englishLanguageName;
    DWORD country;           /* LOCALE_ICOUNTRY */
    tLXINATTEXT64 countryName;
    tLXINATTEXT64 englishCountryName;
    tLXINATTEXT8 negativeSignOut;
    tLXINATTEXT8 negativeSignIn; /* always "-" */
    tLXINATTEXT8 thousand;
    tLXINATTEXT8 decimal;
    DWORD groupSize;         /* atoi of LOCALE_SGROUPING: "3;2;0" gives 3 */
    DWORD digits;
    DWORD leadingZero;
    tLXINATTEXT8 time;
    tLXINATTEXT8 list;
    DWORD measure;
    tLXINATTEXT8 smpteWhole;
    tLXINATTEXT8 smpteNonDrop;
    tLXINATTEXT8 smpteDrop;
    tLXINATTEXT8 bar;
    tLXINATTEXT8 beat;
    DWORD reserved[3];
} tLXINAT;

#define LXINAT_SIZE 448

/* LxGetInat codes. */
#define LXINAT_LCID              0
#define LXINAT_LANGUAGE          1
#define LXINAT_LANGUAGENAME      2
#define LXINAT_ENGLISHLANGUAGE   3
#define LXINAT_COUNTRY           4
#define LXINAT_DECIMAL           24
#define LXINAT_LIST              40
#define LXINAT_TIME              60
#define LXINAT_SMPTEWHOLE        100
#define LXINAT_SMPTENONDROP      101
#define LXINAT_SMPTEDROP         102
#define LXINAT_BAR               120
#define LXINAT_BEAT              121

/* A number code gives the number; a text code copies the text into `out`
   (which must hold the field: 64 characters for names, 8 for separators)
   and gives its length. `out` is emptied first; an unknown code gives 0. */
LXEXPORT(LONG) LxGetInat(int code, char *out);

/* Fills the process-wide record from the user's locale; a second call
   reads the locale again. */
void Inat_Load(void);
/* The record and its size; loads it on first use. */
const void *Inat_Record(DWORD *pSize);

/* What the formatter and the parsers read; each loads the record on first
   use. Texts are terminated; the length goes to *pLength if it isn't null. */
const char *Inat_Decimal(int *pLength);
const char *Inat_Thousand(int *pLength);
const char *Inat_List(int *pLength);
const char *Inat_Time(int *pLength);
const char *Inat_NegativeSignOut(int *pLength);
const char *Inat_SmpteWhole(int *pLength);
const char *Inat_SmpteNonDrop(int *pLength);
const char *Inat_SmpteDrop(int *pLength);
const char *Inat_Bar(int *pLength);
const char *Inat_Beat(int *pLength);
UINT Inat_GroupSize(void);
UINT Inat_LeadingZero(void);

#endif
