/*
 * Language blocks: the module and its optional language file, the string
 * ring, built-in string tables, the resource loaders with their lookup order
 * (active language file, then module), the user's and the system's language,
 * and the international settings with the formatter's start-up tokens.
 */
#include "lxlang.h"
#include "kernel_internal.h"
#include "kernelstrings.h"
#include "lxprintf.h"
#include "lxtext.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

HLXLANG g_hKernelLang;
HLXLANG g_hAppLang;

struct tLXLANG {
    HMODULE module;
    BOOL lockReady;
    CRITICAL_SECTION lock;
    LONG ringSize;
    LONG ringReserve;
    LONG ringPosition;
    char *ring;
    BOOL langActive;
    HMODULE langModule;
    LCID lcid;
    tLXLIST *stringTables;
    BOOL langOwned; /* we hold a library reference on langModule */
};

struct StringTable {
    const char *const *defaults;
    char **cache; /* equals defaults when the block had no language file */
    LONG count;
    UINT first;
    UINT end;
};

static const LONG kDefaultRing = 8192;
static const LONG kMinimumRing = 2048;
static const LONG kRingReserve = 1024;
static const int kString2Chars = 1024;
static const char kMark[] = "^*";

static char g_szEmpty[1];
static WCHAR g_wszEmpty[1];

/* ---- Helpers ------------------------------------------------------------ */

int Lang_StripMark(char *text, int length) {
    if (!text || length < 2 || text[0] != kMark[0] || text[1] != kMark[1]) return length;
    memmove(text, text + 2, (size_t)(length - 2) + 1);
    return length - 2;
}

/* Copies at most size - 1 bytes and never leaves half a double-byte pair. */
static int CopyCut(char *out, int size, const char *text, int length) {
    int n = 0;
    while (n < length) {
        int step = (IsDBCSLeadByte((BYTE)text[n]) && n + 1 < length) ? 2 : 1;
        if (n + step > size - 1) break;
        n += step;
    }
    memcpy(out, text, (size_t)n);
    out[n] = 0;
    return n;
}

/* Wide to multi-byte with CP_ACP, cut to the buffer; the length. */
static int WideToBuffer(const WCHAR *text, int cch, DWORD flags, char *out, int size) {
    out[0] = 0;
    if (cch <= 0 || size < 2) return 0;
    int need = WideCharToMultiByte(CP_ACP, flags, text, cch, nullptr, 0, nullptr, nullptr);
    if (need <= 0) return 0;
    if (need <= size - 1) {
        int n = WideCharToMultiByte(CP_ACP, flags, text, cch, out, need, nullptr, nullptr);
        out[n > 0 ? n : 0] = 0;
        return n > 0 ? n : 0;
    }
    char *tmp = (char *)malloc((size_t)need);
    if (!tmp) return 0;
    int n = WideCharToMultiByte(CP_ACP, flags, text, cch, tmp, need, nullptr, nullptr);
    n = n > 0 ? CopyCut(out, size, tmp, n) : 0;
    free(tmp);
    return n;
}

HMODULE Lang_Module(HLXLANG h) { return h ? h->module : nullptr; }

HRSRC Lang_FindInLangFile(HLXLANG h, LPCSTR name, LPCSTR type, HMODULE *pOwner) {
    if (!h || !h->langModule || !h->langActive) return nullptr;
    HRSRC res = FindResourceExA(h->langModule, type, name, LANGIDFROMLCID(h->lcid));
    if (res && pOwner) *pOwner = h->langModule;
    return res;
}

/* The bytes of a language-file resource, or null. */
static void *LockLangResource(HLXLANG h, LPCSTR name, LPCSTR type, HMODULE *pOwner,
                              DWORD *pSize) {
    HMODULE owner = nullptr;
    HRSRC res = Lang_FindInLangFile(h, name, type, &owner);
    if (!res) return nullptr;
    HGLOBAL g = LoadResource(owner, res);
    void *p = g ? LockResource(g) : nullptr;
    if (p) {
        if (pOwner) *pOwner = owner;
        if (pSize) *pSize = SizeofResource(owner, res);
    }
    return p;
}

/* An HRSRC points into the image that holds it. */
static HMODULE ModuleOfResource(HLXLANG h, HRSRC res) {
    if (h->langModule && h->langModule != h->module) {
        MEMORY_BASIC_INFORMATION mbi;
        if (VirtualQuery(res, &mbi, sizeof mbi) && (HMODULE)mbi.AllocationBase == h->langModule)
            return h->langModule;
    }
    return h->module;
}

/* Takes a reference of our own on a language file so that each block can
   free what it holds. A module we cannot name is kept without one. */
static void SetLangModule(HLXLANG h, HMODULE lang) {
    if (h->langModule == lang) return;
    HMODULE old = h->langModule;
    BOOL oldOwned = h->langOwned;
    h->langModule = lang;
    h->langOwned = FALSE;
    if (lang && lang != h->module) {
        char path[MAX_PATH];
        DWORD n = GetModuleFileNameA(lang, path, MAX_PATH);
        HMODULE again = (n > 0 && n < MAX_PATH) ? LoadLibraryA(path) : nullptr;
        if (again == lang)
            h->langOwned = TRUE;
        else if (again)
            FreeLibrary(again);
    }
    if (old && oldOwned && old != h->module) FreeLibrary(old);
}

static HMODULE OpenLangFile(HMODULE module) {
    char path[MAX_PATH + 4];
    DWORD n = GetModuleFileNameA(module, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return nullptr;
    char *dot = nullptr;
    for (char *p = path; *p; p = CharNextA(p)) {
        if (*p == '.') dot = p;
        if (*p == '\\' || *p == '/') dot = nullptr;
    }
    if (dot)
        lstrcpyA(dot + 1, "LNG");
    else
        lstrcatA(path, ".LNG");
    UINT oldMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    HMODULE lang = LoadLibraryA(path);
    SetErrorMode(oldMode);
    return lang;
}

/* ---- Lifetime ------------------------------------------------------------ */

LXEXPORT(HRESULT) LxLang_Open(HLXLANG *out, HMODULE module, LCID lcid, LONG ringSize) {
    if (!out) return LX_E_INVALIDARG;
    *out = nullptr;
    HLXLANG h = (HLXLANG)calloc(1, sizeof(tLXLANG));
    if (!h) return LX_E_OUTOFMEMORY;
    h->module = module;
    if (ringSize == 0)
        ringSize = kDefaultRing;
    else if (ringSize <= kMinimumRing)
        ringSize = kMinimumRing;
    h->ring = (char *)GlobalAlloc(GPTR, (SIZE_T)ringSize);
    if (!h->ring) {
        free(h);
        return LX_E_OUTOFMEMORY;
    }
    h->ringSize = ringSize;
    h->ringReserve = kRingReserve;
    InitializeCriticalSection(&h->lock);
    h->lockReady = TRUE;
    /* Without a caller's choice, resources are asked for in the system's
       language; the file only counts once a language is set. */
    h->lcid = lcid ? lcid : Lang_GetSystemLCID();
    h->langModule = OpenLangFile(module);
    h->langOwned = h->langModule != nullptr;
    *out = h;
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxLang_Close(HLXLANG h) {
    if (!h) return LX_S_OK;
    LxLang_DestroyStringTables(h);
    if (h->lockReady) DeleteCriticalSection(&h->lock);
    if (h->langModule && h->langOwned && h->langModule != h->module) FreeLibrary(h->langModule);
    if (h->ring) GlobalFree(h->ring);
    free(h);
    return LX_S_OK;
}

LXEXPORT(HINSTANCE) LxLang_InstFromLang(HLXLANG h) {
    if (!h) return nullptr;
    return (h->langModule && h->langActive) ? h->langModule : h->module;
}

LXEXPORT(LCID) LxLang_GetLCID(HLXLANG h) { return h ? h->lcid : 0; }

LXEXPORT(BOOL) LxLang_GetLangAbbrev(HLXLANG h, char *out, int size) {
    if (!h) return FALSE;
    if (out && size > 0) {
        out[0] = 0;
        if (!GetLocaleInfoA(h->lcid, LOCALE_SABBREVLANGNAME, out, size)) out[0] = 0;
    }
    return TRUE;
}

LXEXPORT(BOOL) LxLang_IsLCIDEnglish(LCID lcid) { return (lcid & 0x3FF) == LANG_ENGLISH; }

LXEXPORT(BOOL) LxLang_UpdateKernelLCID(HLXLANG h, LCID lcid, DWORD reserved) {
    (void)reserved;
    if (lcid == 0) lcid = 1033;
    BOOL active = !LxLang_IsLCIDEnglish(lcid);
    HLXLANG blocks[2] = {h, g_hKernelLang};
    for (HLXLANG b : blocks) {
        if (!b) continue;
        b->lcid = lcid;
        b->langActive = active;
    }
    return h && g_hKernelLang;
}

LXEXPORT(BOOL) LxLang_ChangeLangInst(HLXLANG h, HMODULE module) {
    if (!h) return FALSE;
    if (!module) return TRUE;
    SetLangModule(h, module);
    if (!g_hKernelLang) return FALSE;
    SetLangModule(g_hKernelLang, module);
    return TRUE;
}

/* ---- User and system language ------------------------------------------- */

static bool LangKeyPath(char *out, size_t size, const char *product, DWORD version) {
    int n = snprintf(out, size, "Software\\Velmora\\%s\\%d.%d\\Lang", product,
                     (int)((version >> 24) & 0xFF), (int)((version >> 16) & 0xFF));
    return n > 0 && (size_t)n < size;
}

LXEXPORT(BOOL) LxLang_LoadUserLCIDMetric(const char *product, DWORD version, LCID *pLcid) {
    if (!product || !pLcid) return FALSE;
    char path[300];
    if (!LangKeyPath(path, sizeof path, product, version)) return FALSE;
    HKEY key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return FALSE;
    DWORD value = 0, type = 0, cb = sizeof value;
    LONG rc = RegQueryValueExA(key, "ULangID", nullptr, &type, (BYTE *)&value, &cb);
    RegCloseKey(key);
    if (rc != ERROR_SUCCESS || type != REG_DWORD || cb != sizeof value) return FALSE;
    *pLcid = (value & 0x3FF) | 0x400;
    return TRUE;
}

LXEXPORT(HRESULT) LxLang_SaveUserLCIDMetric(const char *product, DWORD version, LCID lcid) {
    if (!product) return LX_E_INVALIDARG;
    char path[300];
    if (!LangKeyPath(path, sizeof path, product, version)) return LX_E_INVALIDARG;
    HKEY key;
    LONG rc = RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &key);
    if (rc != ERROR_SUCCESS) return HRESULT_FROM_WIN32(rc);
    DWORD value = lcid & 0xFFFF;
    rc = RegSetValueExA(key, "ULangID", 0, REG_DWORD, (const BYTE *)&value, sizeof value);
    RegCloseKey(key);
    return rc == ERROR_SUCCESS ? LX_S_OK : HRESULT_FROM_WIN32(rc);
}

LCID Lang_GetSystemLCID(void) {
    HKEY key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Control\\Nls\\Locale", 0,
                      KEY_READ, &key) != ERROR_SUCCESS)
        return 0;
    char text[32];
    bool got = false;
    /* Some systems keep it as the key's default value, others under a value
       literally named "(Default)". */
    static const char *const names[] = {"", "(Default)"};
    for (const char *name : names) {
        DWORD type = 0, cb = sizeof text - 1;
        if (RegQueryValueExA(key, name, nullptr, &type, (BYTE *)text, &cb) == ERROR_SUCCESS &&
            type == REG_SZ && cb > 0) {
            text[cb] = 0;
            got = true;
            break;
        }
    }
    RegCloseKey(key);
    if (!got) return 0;
    LCID lcid = LxHexToDWordToken(text, nullptr);
    return IsValidLocale(lcid, LCID_INSTALLED) ? lcid : 0;
}

static char g_szLangID[4] = "ENU";

LXEXPORT(int) LxSetLangID(const char *abbreviation) {
    if (!abbreviation || !*abbreviation) abbreviation = "ENU";
    lstrcpynA(g_szLangID, abbreviation, sizeof g_szLangID);
    return lstrlenA(g_szLangID);
}

const char *Lang_GetLangID(void) { return g_szLangID; }

/* ---- International settings --------------------------------------------- */

static const char *KernelText(UINT id) {
    const char *text = LxGetString2(g_hKernelLang, id);
    if (!text && id >= LXKERNEL_STRINGS_FIRST && id < LXKERNEL_STRINGS_FIRST + LXKERNEL_STRINGS_COUNT)
        text = g_KernelStringDefaults[id - LXKERNEL_STRINGS_FIRST];
    return text ? text : "";
}

/* The time-code and music-time labels, built once from the Kernel's texts
   with the separators of the international record. */
static void AddStartupTokens(void) {
    const char *whole = Inat_SmpteWhole(nullptr), *nonDrop = Inat_SmpteNonDrop(nullptr);
    const char *drop = Inat_SmpteDrop(nullptr), *bar = Inat_Bar(nullptr), *beat = Inat_Beat(nullptr);
    LxPrintF_AddToken("SMPTE.Whole", whole);
    LxPrintF_AddToken("SMPTE.NonDrop", nonDrop);
    LxPrintF_AddToken("SMPTE.Drop", drop);

    char out[1024];
    const char *smpte = KernelText(4305), *smpteFull = KernelText(4306);
    const char *music = KernelText(4307), *musicFull = KernelText(4308);
    LxPrintF(out, smpte, whole, whole, nonDrop);
    LxPrintF_AddToken("SMPTE.Label.NonDrop", out);
    LxPrintF(out, smpte, whole, whole, drop);
    LxPrintF_AddToken("SMPTE.Label.Drop", out);
    LxPrintF(out, smpteFull, whole, whole, nonDrop);
    LxPrintF_AddToken("SMPTE.Label.NonDrop.Full", out);
    LxPrintF(out, smpteFull, whole, whole, drop);
    LxPrintF_AddToken("SMPTE.Label.Drop.Full", out);

    LxPrintF_AddToken("m.b", bar);
    LxPrintF_AddToken("b.t", beat);
    LxPrintF(out, music, bar, beat);
    LxPrintF_AddToken("MusicTime.Label", out);
    LxPrintF(out, musicFull, bar, beat);
    LxPrintF_AddToken("MusicTime.Label.Full", out);
}

LXEXPORT(HRESULT) LxLang_GetInternationals(void *buffer, DWORD size) {
    if (!buffer) {
        Inat_Load();
        AddStartupTokens();
        return LX_S_OK;
    }
    memset(buffer, 0, size);
    DWORD recordSize = 0;
    const void *record = Inat_Record(&recordSize);
    DWORD n = record ? (size < recordSize ? size : recordSize) : 0;
    if (n) memcpy(buffer, record, n);
    /* The copy says how much of it is real; a buffer too small for the
       word gets what fits of it. */
    DWORD word = n;
    memcpy(buffer, &word, size < sizeof word ? size : sizeof word);
    return LX_S_OK;
}

/* ---- Loaders -------------------------------------------------------------- */

LXEXPORT(HWND) LxCreateDialogParam(HLXLANG h, LPCSTR name, HWND parent, DLGPROC proc,
                                   LPARAM param) {
    if (!h) return nullptr;
    HMODULE owner;
    void *t = LockLangResource(h, name, (LPCSTR)RT_DIALOG, &owner, nullptr);
    if (t) {
        HWND w = CreateDialogIndirectParamA(owner, (LPCDLGTEMPLATEA)t, parent, proc, param);
        if (w) return w;
    }
    return CreateDialogParamA(h->module, name, parent, proc, param);
}

LXEXPORT(HWND) LxCreateDialogIndirectParam(HLXLANG h, LPCDLGTEMPLATEA dlg, HWND parent,
                                           DLGPROC proc, LPARAM param) {
    if (!h || !dlg) return nullptr;
    if (h->langModule && h->langActive) {
        HWND w = CreateDialogIndirectParamA(h->langModule, dlg, parent, proc, param);
        if (w) return w;
    }
    return CreateDialogIndirectParamA(h->module, dlg, parent, proc, param);
}

LXEXPORT(INT_PTR) LxDialogBoxParam(HLXLANG h, LPCSTR name, HWND parent, DLGPROC proc,
                                   LPARAM param) {
    if (!h) return -1;
    HMODULE owner;
    void *t = LockLangResource(h, name, (LPCSTR)RT_DIALOG, &owner, nullptr);
    if (t) {
        INT_PTR r = DialogBoxIndirectParamA(owner, (LPCDLGTEMPLATEA)t, parent, proc, param);
        if (r >= 0) return r;
    }
    return DialogBoxParamA(h->module, name, parent, proc, param);
}

LXEXPORT(INT_PTR) LxDialogBoxIndirectParam(HLXLANG h, LPCDLGTEMPLATEA dlg, HWND parent,
                                           DLGPROC proc, LPARAM param) {
    if (!h || !dlg) return -1;
    return DialogBoxIndirectParamA(h->module, dlg, parent, proc, param);
}

LXEXPORT(HACCEL) LxLoadAccelerators(HLXLANG h, LPCSTR name) {
    if (!h) return nullptr;
    void *t = LockLangResource(h, name, (LPCSTR)RT_ACCELERATOR, nullptr, nullptr);
    if (t) {
        /* The table is built with a count of 0, which the system refuses;
           the module's table then stands. Kept as it has always been. */
        HACCEL a = CreateAcceleratorTableA((LPACCEL)t, 0);
        if (a) return a;
    }
    return LoadAcceleratorsA(h->module, name);
}

LXEXPORT(void *) LxLoadResourceCustom(HLXLANG h, LPCSTR name, LPCSTR type, DWORD *pSize) {
    if (pSize) *pSize = 0;
    if (!h || !type) return nullptr;
    void *p = LockLangResource(h, name, type, nullptr, pSize);
    if (p) return p;
    HRSRC res = FindResourceA(h->module, name, type);
    HGLOBAL g = res ? LoadResource(h->module, res) : nullptr;
    p = g ? LockResource(g) : nullptr;
    if (p && pSize) *pSize = SizeofResource(h->module, res);
    return p;
}

LXEXPORT(HRSRC) LxFindResource(HLXLANG h, LPCSTR name, LPCSTR type) {
    if (!h || !type) return nullptr;
    HRSRC res = Lang_FindInLangFile(h, name, type, nullptr);
    return res ? res : FindResourceA(h->module, name, type);
}

LXEXPORT(HGLOBAL) LxLoadResource(HLXLANG h, HRSRC res) {
    if (!h || !res) return nullptr;
    return LoadResource(ModuleOfResource(h, res), res);
}

LXEXPORT(DWORD) LxSizeofResource(HLXLANG h, HRSRC res) {
    if (!h || !res) return 0;
    return SizeofResource(ModuleOfResource(h, res), res);
}

LXEXPORT(HINSTANCE) LxFindResInstance(HLXLANG h, LPCSTR name, LPCSTR type) {
    if (!h) return nullptr;
    HMODULE owner = nullptr;
    if (type && Lang_FindInLangFile(h, name, type, &owner)) return owner;
    return h->module;
}

/* The text of string id in the language file's bundle, or an empty text. */
static int LoadLangFileString(HLXLANG h, UINT id, char *out, int size) {
    DWORD bytes = 0;
    const WCHAR *p = (const WCHAR *)LockLangResource(h, MAKEINTRESOURCEA((id >> 4) + 1),
                                                     (LPCSTR)RT_STRING, nullptr, &bytes);
    out[0] = 0;
    if (!p) return 0;
    const WCHAR *end = p + bytes / sizeof(WCHAR);
    for (UINT i = id & 15; i > 0 && p < end; i--) p += 1 + *p;
    if (p >= end) return 0;
    int cch = *p++;
    if (cch > end - p) cch = (int)(end - p);
    return WideToBuffer(p, cch, WC_COMPOSITECHECK, out, size);
}

LXEXPORT(int) LxLoadString(HLXLANG h, UINT id, char *buffer, int size) {
    if (!buffer || size <= 0) return 0;
    buffer[0] = 0;
    if (!h) return 0;
    int len = LoadLangFileString(h, id, buffer, size);
    if (len == 0) {
        len = LoadStringA(h->module, id, buffer, size);
        if (len < 0) len = 0;
        buffer[len < size ? len : size - 1] = 0;
    }
    return Lang_StripMark(buffer, len);
}

/* ---- Images, cursors, dialog size, version languages ---------------------- */

LXEXPORT(HBITMAP) LxLoadBitmap(HLXLANG h, LPCSTR name) {
    return LoadBitmapA(Lang_Module(h), name);
}

LXEXPORT(HICON) LxLoadIcon(HLXLANG h, LPCSTR name) { return LoadIconA(Lang_Module(h), name); }

LXEXPORT(HANDLE) LxLoadImage(HLXLANG h, LPCSTR name, UINT type, int cx, int cy, UINT flags) {
    return LoadImageA(Lang_Module(h), name, type, cx, cy, flags);
}

LXEXPORT(HCURSOR) LxLoadCursor(HLXLANG h, LPCSTR name) {
    if (h) return LoadCursorA(h->module, name);
    UINT_PTR id = (UINT_PTR)name;
    if (IS_INTRESOURCE(name) && id >= 32512 && id <= 0xFFFF) return LoadCursorA(nullptr, name);
    return LoadCursorA(g_hKernelModule, name);
}

typedef HIMAGELIST(WINAPI *ImageListLoadFn)(HINSTANCE, LPCSTR, int, int, COLORREF, UINT, UINT);

/* Resolved on first use so that the library doesn't import the common
   controls for one call. */
LXEXPORT(HIMAGELIST) LxImageList_LoadImage(HLXLANG h, LPCSTR name, int cx, int grow,
                                           COLORREF mask, UINT type, UINT flags) {
    static ImageListLoadFn load;
    if (!load) {
        HMODULE cc = LoadLibraryA("COMCTL32.DLL");
        load = cc ? (ImageListLoadFn)(void *)GetProcAddress(cc, "ImageList_LoadImageA") : nullptr;
        if (!load) return nullptr;
    }
    return load(Lang_Module(h), name, cx, grow, mask, type, flags);
}

LXEXPORT(BOOL) LxGetDialogSize(HLXLANG h, LPCSTR name, DLGPROC proc, LPARAM param, SIZE *pSize) {
    if (!h || !pSize) return FALSE;
    HWND w = LxCreateDialogParam(h, name, GetDesktopWindow(), proc, param);
    if (!w) return FALSE;
    RECT r;
    BOOL ok = GetWindowRect(w, &r);
    DestroyWindow(w);
    if (!ok) return FALSE;
    pSize->cx = r.right - r.left;
    pSize->cy = r.bottom - r.top;
    return TRUE;
}

struct LangList {
    char *out;
    int size;
    int length;
};

static BOOL CALLBACK AddLanguage(HMODULE, LPCSTR, LPCSTR, WORD lang, LONG_PTR data) {
    LangList *list = (LangList *)data;
    char abbrev[16];
    if (!GetLocaleInfoA(MAKELCID(lang, SORT_DEFAULT), LOCALE_SABBREVLANGNAME, abbrev,
                        sizeof abbrev))
        return TRUE;
    char joined[512];
    if (list->length)
        snprintf(joined, sizeof joined, "%s,%s", list->out, abbrev);
    else
        lstrcpynA(joined, abbrev, sizeof joined);
    list->length = CopyCut(list->out, list->size, joined, lstrlenA(joined));
    return TRUE;
}

LXEXPORT(int) LxEnumResourceLanguages(HLXLANG h, LPCSTR id, char *out, int size) {
    if (!out || size <= 0) return 0;
    out[0] = 0;
    if (!h || !h->langModule) return 0;
    LangList list = {out, size, 0};
    EnumResourceLanguagesA(h->langModule, (LPCSTR)RT_VERSION, id, AddLanguage, (LONG_PTR)&list);
    return list.length;
}

/* ---- The ring --------------------------------------------------------------- */

/* Under the lock: the piece at the position and the room behind it. */
static char *RingBegin(HLXLANG h, LONG *pRoom) {
    if (h->ringPosition > h->ringSize - h->ringReserve) h->ringPosition = 0;
    *pRoom = h->ringSize - h->ringPosition;
    return h->ring + h->ringPosition;
}

static void RingEnd(HLXLANG h, LONG used) {
    h->ringPosition = (h->ringPosition + used + 4) & ~3L;
}

LXEXPORT(const char *) LxGetString(HLXLANG h, UINT id) {
    if (!h || !h->ring) return g_szEmpty;
    EnterCriticalSection(&h->lock);
    LONG room;
    char *p = RingBegin(h, &room);
    int len = LxLoadString(h, id, p, (int)room);
    RingEnd(h, len);
    LeaveCriticalSection(&h->lock);
    return p;
}

LXEXPORT(char *) LxGetStringBuffer(HLXLANG h, LONG bytes) {
    if (!h || !h->ring || bytes < 0 || bytes > h->ringSize) return nullptr;
    EnterCriticalSection(&h->lock);
    LONG room;
    char *p = RingBegin(h, &room);
    /* A piece that would run off the end starts the ring over instead. */
    if (bytes > room) {
        h->ringPosition = 0;
        p = h->ring;
    }
    RingEnd(h, bytes);
    LeaveCriticalSection(&h->lock);
    return p;
}

LXEXPORT(WCHAR *) LxGetWideFromPrintString(HLXLANG h, const char *text) {
    if (!h || !h->ring) return g_wszEmpty;
    EnterCriticalSection(&h->lock);
    LONG room;
    WCHAR *p = (WCHAR *)RingBegin(h, &room);
    int cap = (int)(room / (LONG)sizeof(WCHAR));
    int n = 0;
    if (text) {
        int need = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
        if (need > 0 && need <= cap) {
            n = MultiByteToWideChar(CP_ACP, 0, text, -1, p, cap);
            n = n > 0 ? n - 1 : 0;
        } else if (need > cap) {
            WCHAR *tmp = (WCHAR *)malloc((size_t)need * sizeof(WCHAR));
            if (tmp && MultiByteToWideChar(CP_ACP, 0, text, -1, tmp, need) > 0) {
                n = cap - 1;
                memcpy(p, tmp, (size_t)n * sizeof(WCHAR));
            }
            free(tmp);
        }
    }
    p[n] = 0;
    RingEnd(h, n * (LONG)sizeof(WCHAR));
    LeaveCriticalSection(&h->lock);
    return p;
}

LXEXPORT(char *) LxGetPrintFromWideString(HLXLANG h, const WCHAR *text) {
    if (!h || !h->ring) return g_szEmpty;
    EnterCriticalSection(&h->lock);
    LONG room;
    char *p = RingBegin(h, &room);
    int n = text ? WideToBuffer(text, lstrlenW(text), 0, p, (int)room) : 0;
    p[n] = 0;
    RingEnd(h, n);
    LeaveCriticalSection(&h->lock);
    return p;
}

/* Print strings are multi-byte strings in this build. */
LXEXPORT(const char *) LxGetMultiByteFromPrintString(HLXLANG h, const char *text) {
    (void)h;
    return text;
}

LXEXPORT(const char *) LxGetPrintFromMultiByteString(HLXLANG h, const char *text) {
    (void)h;
    return text;
}

/* ---- String tables ------------------------------------------------------------ */

static bool Covers(const StringTable &t, UINT id) { return id >= t.first && id < t.end; }

LXEXPORT(HRESULT) LxLang_AddStringTable(HLXLANG h, const char *const *defaults, LONG count,
                                        UINT first) {
    if (!h || !defaults || count <= 0) return LX_E_INVALIDARG;
    UINT end = first + (UINT)count;
    if (end < first) return LX_E_INVALIDARG;
    if (!h->stringTables &&
        FAILED(LxList_CreateExZ(&h->stringTables, sizeof(StringTable), 4, 4,
                                LXLIST_ARRAY | LXLIST_THREADSAFE, 0, 0, 0)))
        return LX_E_OUTOFMEMORY;
    tLXLIST *list = h->stringTables;
    HRESULT hr = LX_S_OK;
    EnterCriticalSection(&list->lock);
    /* Only the two ends are tried: a table that surrounds an old one passes. */
    const StringTable *tables = (const StringTable *)list->items;
    for (LONG i = 0; i < list->count; i++)
        if (Covers(tables[i], first) || Covers(tables[i], end)) hr = LX_E_INVALIDARG;
    if (SUCCEEDED(hr)) {
        StringTable t = {defaults, nullptr, count, first, end};
        if (h->langModule) {
            t.cache = (char **)calloc((size_t)count, sizeof(char *));
            if (!t.cache) hr = LX_E_OUTOFMEMORY;
        } else {
            t.cache = const_cast<char **>(defaults);
        }
        if (SUCCEEDED(hr)) {
            hr = LxList_InsertList(list, -1, &t, 1);
            if (FAILED(hr) && t.cache != (char **)defaults) free(t.cache);
        }
    }
    LeaveCriticalSection(&list->lock);
    return hr;
}

LXEXPORT(HRESULT) LxLang_DestroyStringTables(HLXLANG h) {
    if (!h) return LX_E_INVALIDARG;
    tLXLIST *list = h->stringTables;
    if (!list) return LX_S_OK;
    StringTable *tables = (StringTable *)list->items;
    for (LONG i = 0; i < list->count; i++) {
        StringTable &t = tables[i];
        if (t.cache == (char **)t.defaults) continue;
        for (LONG k = 0; k < t.count; k++) free(t.cache[k]);
        free(t.cache);
    }
    LxList_Destroy(list);
    h->stringTables = nullptr;
    return LX_S_OK;
}

LXEXPORT(const char *) LxGetString2(HLXLANG h, UINT id) {
    static char error[64];
    if (!h || !h->stringTables) return nullptr;
    tLXLIST *list = h->stringTables;
    StringTable t;
    bool found = false;
    EnterCriticalSection(&list->lock);
    const StringTable *tables = (const StringTable *)list->items;
    for (LONG i = 0; i < list->count && !found; i++)
        if (Covers(tables[i], id)) {
            t = tables[i];
            found = true;
        }
    LeaveCriticalSection(&list->lock);
    if (!found) {
        snprintf(error, sizeof error, "LxGetString2(uId=%d, ERROR)", (int)id);
        return error;
    }
    char **slot = &t.cache[id - t.first];
    /* Without a language file the defaults are the cache and aren't ours to fill. */
    if (*slot || t.cache == (char **)t.defaults) return *slot;

    char text[kString2Chars + 1];
    int len = LxLoadString(h, id, text, sizeof text);
    const char *source = len > 0 ? text : t.defaults[id - t.first];
    if (!source) return nullptr;
    char *copy = _strdup(source);
    if (!copy) return nullptr;
    /* Two first readers may race; the loser's copy goes. */
    char *prior = (char *)InterlockedCompareExchangePointer((void **)slot, copy, nullptr);
    if (prior) {
        free(copy);
        return prior;
    }
    return copy;
}

LXEXPORT(int) LxLoadString2(HLXLANG h, UINT id, char *buffer, int size) {
    if (!buffer || size <= 0) return 0;
    buffer[0] = 0;
    const char *text = LxGetString2(h, id);
    if (!text) return 0;
    CopyCut(buffer, size, text, lstrlenA(text));
    return size;
}
