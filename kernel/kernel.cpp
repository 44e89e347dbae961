/*
 * The frame: what happens when a process loads and unloads the library and
 * when threads come and go, the two-stage start (attach, then the host's
 * MloKrnInitialize), the version rule, the host's preferences blob and the
 * list of the host's plug-in libraries.
 */
#include "kernel_internal.h"
#include "kernelres.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

HMODULE g_hKernelModule;
HLXMETRIC g_hKernelMetric;
HLXMETRIC g_hAppMetric;
BOOL g_bRunDllHost;
HWND g_hSplashWnd;
IUnknown *g_pHostUnknown;
IUnknown *g_pHostServices;
IUnknown *g_pHostDocServices;
tLXLIST *g_pLangList;

static LONG g_nThreadCount;
static MLOKRNPREFS g_Prefs;
static DWORD g_dwHostWords[3];
static tLXLIST *g_pScratchList;

static const char kTitle[] = "Velmora Kernel";
static const char kExplorerClass[] = "LxKrn_ExplorerEx_Class";
static const char *const kBuiltInLibs[4] = {"MLOPLUGS.DLL", "MLOQZ.DLL", "MLOFFT.DLL",
                                            "MLOSMP.DLL"};

static const IID IID_HostServices = {0xBFCCD726, 0x17B0, 0x11D0,
                                     {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
static const IID IID_HostDocServices = {0xBFCCD751, 0x17B0, 0x11D0,
                                        {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};

static KernelMessageBoxFn g_pfnMessageBox = MessageBoxA;

KernelMessageBoxFn Kernel_SetMessageBoxSeam(KernelMessageBoxFn fn) {
    KernelMessageBoxFn old = g_pfnMessageBox;
    g_pfnMessageBox = fn ? fn : MessageBoxA;
    return old;
}

/* ---- Version ---------------------------------------------------------- */

LXEXPORT(DWORD) LxKernel_GetVersion(void) { return LXKERNEL_VERSION; }
LXEXPORT(DWORD) MloKrnVersion(void) { return LXKERNEL_VERSION; }

static void LoadKernelText(UINT id, const char *fallback, char *out, int cch) {
    if (!g_hKernelModule || LoadStringA(g_hKernelModule, id, out, cch) <= 0)
        lstrcpynA(out, fallback, cch);
}

static HRESULT RefuseClient(HWND owner, const char *text) {
    g_pfnMessageBox(owner, text, kTitle, MB_OK | MB_ICONINFORMATION);
    return LX_E_FAIL;
}

LXEXPORT(HRESULT) LxKernel_CheckVersion(HWND hwndOwner, const char *pszClient,
                                        DWORD dwClientVersion, int nInterfaceLevel,
                                        DWORD dwReserved) {
    (void)dwReserved;
    char fmt[512], text[1024];
    OSVERSIONINFOA vi;
    memset(&vi, 0, sizeof vi);
    vi.dwOSVersionInfoSize = sizeof vi;
    Kernel_GetVersionInfo(&vi);
    if (vi.dwMajorVersion < 4) {
        LoadKernelText(IDS_VERSION_OLDOS,
                       "This product requires Windows 95 or Windows NT 4.0 or later.", text,
                       sizeof text);
        return RefuseClient(hwndOwner, text);
    }
    if (nInterfaceLevel != LXKERNEL_INTERFACE_LEVEL) {
        LoadKernelText(IDS_VERSION_INCOMPATIBLE,
                       "The version of the Velmora Kernel is incompatible with the following "
                       "client:\n\n%s.",
                       fmt, sizeof fmt);
        snprintf(text, sizeof text, fmt, pszClient ? pszClient : "");
        return RefuseClient(hwndOwner, text);
    }
    if (dwClientVersion > LXKERNEL_VERSION) {
        LoadKernelText(IDS_VERSION_TOOOLD, "The version of the Velmora Kernel is too old.", text,
                       sizeof text);
        return RefuseClient(hwndOwner, text);
    }
    return LX_S_OK;
}

LXEXPORT(LONG) LxKernelGetThreadCount(void) { return g_nThreadCount; }

/* ---- Preferences ------------------------------------------------------ */

static void DefaultPrefs(MLOKRNPREFS *p) {
    memset(p, 0, sizeof *p);
    p->fAllowWide = 1;
    p->wTagA = 3;
    p->wBitsA = 32;
    p->wTagB = 3;
    p->wBitsB = 64;
}

void Kernel_NormalizePrefs(MLOKRNPREFS *p) {
    p->wTagA = 3;
    if (p->wBitsA != 32) {
        /* A 64 with wide allowed turns into 32; only an odd width becomes 64. */
        if (p->fAllowWide && p->wBitsA != 64)
            p->wBitsA = 64;
        else
            p->wBitsA = 32;
    }
    if (p->wTagB != 1 && p->wTagB != 3) p->wTagB = 3;
    /* Looks at the width, not the tag: a tag value stored as a width. */
    if (p->wBitsB == 1)
        p->wBitsB = 32;
    else if (p->wBitsB == 3)
        p->wBitsB = 64;
}

/* The host may hand back more than the blob; only the blob is ours. */
static void StorePrefs(const void *pIn, DWORD cbIn) {
    if (pIn && cbIn) {
        memcpy(&g_Prefs, pIn, cbIn < sizeof g_Prefs ? cbIn : sizeof g_Prefs);
    } else {
        DefaultPrefs(&g_Prefs);
    }
    Kernel_NormalizePrefs(&g_Prefs);
}

LXEXPORT(int) MloKrnGetPrefs(void *pOut, int cbOut) {
    const int size = (int)sizeof g_Prefs;
    if (pOut && cbOut > 0) {
        int n = cbOut < size ? cbOut : size;
        memcpy(pOut, &g_Prefs, n);
        if (cbOut > size) memset((BYTE *)pOut + size, 0, cbOut - size);
    }
    return size;
}

LXEXPORT(void) MloKrnSetPrefs(const void *pIn, DWORD cbIn) { StorePrefs(pIn, cbIn); }

/* ---- Host lifetime ---------------------------------------------------- */

/* The host's language block, on the kernel's module; a second initialise
   without a terminate replaces it. */
static BOOL OpenAppLanguage(void) {
    LxLang_Close(g_hAppLang);
    g_hAppLang = nullptr;
    return SUCCEEDED(LxLang_Open(&g_hAppLang, g_hKernelModule, 0, 0));
}

static void CloseAppLanguage(void) {
    LxLang_Close(g_hAppLang);
    g_hAppLang = nullptr;
}

/* The app-wide media pool arrives with the audio store. */
static void DestroyAppWidePool(void) {}

LXEXPORT(BOOL) MloKrnInitialize(DWORD dwHostWord, const void *pPrefs, DWORD cbPrefs,
                                IUnknown *pHost, DWORD dwHostWord2, DWORD dwHostWord3) {
    g_dwHostWords[0] = dwHostWord;
    g_dwHostWords[1] = dwHostWord2;
    g_dwHostWords[2] = dwHostWord3;
    StorePrefs(pPrefs, cbPrefs);

    if (g_hAppMetric) {
        LxMetric_Close(g_hAppMetric);
        g_hAppMetric = nullptr;
    }
    if (FAILED(LxMetric_Open(&g_hAppMetric, "Marlo", LXKERNEL_VERSION, nullptr))) return FALSE;
    if (!OpenAppLanguage()) return FALSE;

    g_pHostUnknown = pHost;
    if (pHost) {
        void *p = nullptr;
        g_pHostServices =
            SUCCEEDED(pHost->QueryInterface(IID_HostServices, &p)) ? (IUnknown *)p : nullptr;
        p = nullptr;
        g_pHostDocServices =
            SUCCEEDED(pHost->QueryInterface(IID_HostDocServices, &p)) ? (IUnknown *)p : nullptr;
    }
    return TRUE;
}

LXEXPORT(void) MloKrnLateInitialize(void) {}

LXEXPORT(BOOL) MloKrnTerminate(DWORD dwReserved) {
    (void)dwReserved;
    DestroyAppWidePool();
    CloseAppLanguage();
    LxMetric_Close(g_hAppMetric);
    g_hAppMetric = nullptr;
    /* The host's interfaces are neither released nor cleared: the host
       owns their lifetime. */
    return TRUE;
}


LXEXPORT(LRESULT) LxKernel_UserPrefChanges(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam) {
    (void)hwnd;
    (void)wParam;
    (void)lParam;
    if (uMsg == WM_SYSCOLORCHANGE) {
        Kernel_RefreshColourAnswers();
        Kernel_ResetInterfaceColours();
    } else if (uMsg == WM_DISPLAYCHANGE) {
        Kernel_RefreshColourAnswers();
    }
    return 0;
}

LXEXPORT(void) LxKernel_SetSplash(HWND hwnd) { g_hSplashWnd = hwnd; }

/* Names one entry of each optional family so that the linker keeps them.
   Never meant to run. */
LXEXPORT(void) LxKernel_ForceRefs(void) {
    static volatile const void *refs[] = {
        (const void *)&LxList_CreateExZ,
        (const void *)&LxMetric_Open,
    };
    (void)refs;
}

/* ---- Plug-in library enumeration -------------------------------------- */

LXEXPORT(HRESULT) Marlo_GetPluginLibNameStart(DWORD **ppCursor) {
    if (!ppCursor) return LX_E_INVALIDARG;
    *ppCursor = (DWORD *)calloc(1, sizeof(DWORD));
    return *ppCursor ? LX_S_OK : LX_E_OUTOFMEMORY;
}

LXEXPORT(HRESULT) Marlo_GetPluginLibNameStop(DWORD *pCursor) {
    free(pCursor);
    return LX_S_OK;
}

static const char *IniPath(void) {
    static char path[MAX_PATH];
    if (!path[0]) {
        char module[MAX_PATH];
        DWORD n = GetModuleFileNameA(g_hKernelModule, module, MAX_PATH);
        if (n == 0 || n >= MAX_PATH) module[0] = 0;
        char *slash = strrchr(module, '\\');
        if (!slash) slash = strrchr(module, '/');
        if (slash)
            slash[1] = 0;
        else
            module[0] = 0;
        snprintf(path, sizeof path, "%sMARLO.INI", module);
    }
    return path;
}

LXEXPORT(HRESULT) Marlo_GetPluginLibName(DWORD *pCursor, char *pszName, int cchName,
                                         DWORD *pfBuiltIn) {
    if (!pCursor || !pszName || cchName < 1) return LX_E_INVALIDARG;
    DWORD i = *pCursor;
    if (i < 4) {
        lstrcpynA(pszName, kBuiltInLibs[i], cchName);
        if (pfBuiltIn) *pfBuiltIn = 1;
        *pCursor = i + 1;
        return LX_S_OK;
    }
    if (pfBuiltIn) *pfBuiltIn = 0;
    for (DWORD n = i - 4; n < 32; n++) {
        char key[32];
        if (n == 0)
            lstrcpyA(key, "PlugIn");
        else
            snprintf(key, sizeof key, "%s%lu", "PlugIn", (unsigned long)n);
        *pCursor = n + 5;
        /* Compares the key, not the value read, so it never skips: kept. */
        BOOL builtIn = FALSE;
        for (const char *b : kBuiltInLibs) builtIn |= lstrcmpiA(key, b) == 0;
        if (builtIn) continue;
        DWORD len = GetPrivateProfileStringA("Plug-Ins 5.0", key, "", pszName, cchName, IniPath());
        if (len > 0) return LX_S_OK;
    }
    pszName[0] = 0;
    return LX_S_FALSE;
}

/* ---- Per-thread scratch ----------------------------------------------- */

struct ScratchItem {
    DWORD threadId;
    DWORD size;
    void *block;
};

static const DWORD kScratchSize = 0x20000;

static void FreeScratchBlock(void *block) {
    if (!block) return;
    HGLOBAL h = GlobalHandle(block);
    GlobalUnlock(h);
    GlobalFree(h);
}

static LONG FindScratch(DWORD tid) {
    ScratchItem *items = (ScratchItem *)g_pScratchList->items;
    for (LONG i = 0; i < g_pScratchList->count; i++)
        if (items[i].threadId == tid) return i;
    return -1;
}

void *Kernel_GetThreadScratch(DWORD *pSize) {
    if (pSize) *pSize = 0;
    tLXLIST *list = g_pScratchList;
    if (!list) return nullptr;
    void *result = nullptr;
    EnterCriticalSection(&list->lock);
    LONG i = FindScratch(GetCurrentThreadId());
    if (i >= 0) {
        result = ((ScratchItem *)list->items)[i].block;
    } else {
        HGLOBAL h = GlobalAlloc(GHND, kScratchSize);
        void *block = h ? GlobalLock(h) : nullptr;
        if (block) {
            ScratchItem item = {GetCurrentThreadId(), kScratchSize, block};
            if (SUCCEEDED(LxList_InsertList(list, -1, &item, 1)))
                result = block;
            else
                FreeScratchBlock(block);
        } else if (h) {
            GlobalFree(h);
        }
    }
    LeaveCriticalSection(&list->lock);
    if (result && pSize) *pSize = kScratchSize;
    return result;
}

static void ReleaseThreadScratch(void) {
    tLXLIST *list = g_pScratchList;
    if (!list) return;
    EnterCriticalSection(&list->lock);
    LONG i = FindScratch(GetCurrentThreadId());
    if (i >= 0) {
        FreeScratchBlock(((ScratchItem *)list->items)[i].block);
        LxList_DeleteList(list, i, 1, FALSE);
    }
    LeaveCriticalSection(&list->lock);
}

static void DestroyScratchList(void) {
    tLXLIST *list = g_pScratchList;
    if (!list) return;
    ScratchItem *items = (ScratchItem *)list->items;
    for (LONG i = list->count - 1; i >= 0; i--) FreeScratchBlock(items[i].block);
    LxList_Destroy(list);
    g_pScratchList = nullptr;
}

/* ---- Attach and detach ------------------------------------------------ */


static BOOL IsRunDllHost(void) {
    char path[MAX_PATH];
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return FALSE;
    const char *name = path;
    for (const char *p = path; *p; p = CharNextA(p))
        if (*p == '\\' || *p == '/' || *p == ':') name = p + 1;
    return lstrcmpiA(name, "RunDLL32.exe") == 0;
}

static void RegisterExplorerClass(void) {
    WNDCLASSA wc;
    memset(&wc, 0, sizeof wc);
    wc.style = CS_GLOBALCLASS | CS_DBLCLKS;
    wc.lpfnWndProc = DefWindowProcA;
    wc.hInstance = g_hKernelModule;
    wc.hCursor = LoadCursorA(nullptr, (LPCSTR)IDC_ARROW);
    wc.lpszClassName = kExplorerClass;
    RegisterClassA(&wc);
}

/* The custom controls arrive later; their start and end are kept here so
   that the order of attach and detach stays as it must be. */
static BOOL ControlsInitialize(HMODULE) { return TRUE; }
static void ControlsTerminate(HMODULE) {}

BOOL Kernel_ProcessAttach(HMODULE module) {
    g_hKernelModule = module;
    g_bRunDllHost = FALSE;
    DefaultPrefs(&g_Prefs);
    Kernel_NormalizePrefs(&g_Prefs);

    /* A failing foundation does not stop the load: its word is 0 or 1 and
       only a negative one would count. */
    LONG foundations = Kernel_AttachFoundations() ? 1 : 0;
    (void)(foundations < 0);

    if (IsRunDllHost()) {
        g_bRunDllHost = TRUE;
    } else {
        LxMetric_Open(&g_hKernelMetric, "Marlo", LXKERNEL_VERSION, "Kernel");
        LxMetric_SetDefaultStore(g_hKernelMetric);
        ControlsInitialize(module);
        RegisterExplorerClass();
    }
    LxList_CreateExZ(&g_pScratchList, sizeof(ScratchItem), 16, 16, LXLIST_ARRAY | LXLIST_THREADSAFE,
                     0, 0, 0);
    g_nThreadCount++;
    return TRUE;
}

void Kernel_ThreadAttach(void) { g_nThreadCount++; }

void Kernel_ThreadDetach(void) {
    g_nThreadCount--;
    ReleaseThreadScratch();
}

void Kernel_ProcessDetach(void) {
    g_nThreadCount--;
    DestroyScratchList();
    if (!g_bRunDllHost) {
        UnregisterClassA(kExplorerClass, g_hKernelModule);
        ControlsTerminate(g_hKernelModule);
    }
    LxMetric_SetDefaultStore(nullptr);
    LxMetric_Close(g_hKernelMetric);
    g_hKernelMetric = nullptr;
    Kernel_DetachFoundations();
    g_hKernelModule = nullptr;
}
