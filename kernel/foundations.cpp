/*
 * The foundations that attach sets up before anything else: the clock,
 * the cached system answers, the multi-monitor entry points (with a
 * single-monitor stand-in where USER32 lacks them), the table of interface
 * colours, the cursor tables and the language list.
 */
#include "kernel_internal.h"
#include "kernelstrings.h"
#include "lxprintf.h"
#include "devices/lxtimer_internal.h"

#include <cstring>
#include <new>

/* ---- Monitors --------------------------------------------------------- */

typedef BOOL(WINAPI *EnumDisplayMonitorsFn)(HDC, LPCRECT, MONITORENUMPROC, LPARAM);
typedef HMONITOR(WINAPI *MonitorFromRectFn)(LPCRECT, DWORD);
typedef HMONITOR(WINAPI *MonitorFromPointFn)(POINT, DWORD);
typedef BOOL(WINAPI *GetMonitorInfoFn)(HMONITOR, LPMONITORINFO);
typedef HMONITOR(WINAPI *MonitorFromWindowFn)(HWND, DWORD);

/* The one monitor of a system without multi-monitor support. */
static const HMONITOR kPrimaryMonitor = (HMONITOR)(LONG_PTR)0x12340042;

static BOOL WINAPI StubEnumDisplayMonitors(HDC, LPCRECT, MONITORENUMPROC proc, LPARAM data) {
    RECT r = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
    if (proc) proc(kPrimaryMonitor, nullptr, &r, data);
    return TRUE;
}
static HMONITOR WINAPI StubMonitorFromRect(LPCRECT, DWORD) { return kPrimaryMonitor; }
static HMONITOR WINAPI StubMonitorFromPoint(POINT, DWORD) { return kPrimaryMonitor; }
static HMONITOR WINAPI StubMonitorFromWindow(HWND, DWORD) { return kPrimaryMonitor; }
static BOOL WINAPI StubGetMonitorInfo(HMONITOR monitor, LPMONITORINFO info) {
    if (monitor != kPrimaryMonitor || !info || info->cbSize < sizeof(MONITORINFO)) return FALSE;
    SetRect(&info->rcMonitor, 0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN));
    SystemParametersInfoA(SPI_GETWORKAREA, 0, &info->rcWork, 0);
    info->dwFlags = MONITORINFOF_PRIMARY;
    if (info->cbSize >= sizeof(MONITORINFOEXA)) lstrcpyA(((MONITORINFOEXA *)info)->szDevice, "DISPLAY");
    return TRUE;
}

static EnumDisplayMonitorsFn g_pfnEnumDisplayMonitors = StubEnumDisplayMonitors;
static MonitorFromRectFn g_pfnMonitorFromRect = StubMonitorFromRect;
static MonitorFromPointFn g_pfnMonitorFromPoint = StubMonitorFromPoint;
static GetMonitorInfoFn g_pfnGetMonitorInfo = StubGetMonitorInfo;
static MonitorFromWindowFn g_pfnMonitorFromWindow = StubMonitorFromWindow;

template <typename T>
static void Resolve(HMODULE user, const char *name, T *slot, T fallback) {
    FARPROC p = user ? GetProcAddress(user, name) : nullptr;
    *slot = p ? (T)(void *)p : fallback;
}

static void ResolveMonitorFunctions(void) {
    HMODULE user = GetModuleHandleA("USER32");
    Resolve(user, "EnumDisplayMonitors", &g_pfnEnumDisplayMonitors, StubEnumDisplayMonitors);
    Resolve(user, "MonitorFromRect", &g_pfnMonitorFromRect, StubMonitorFromRect);
    Resolve(user, "MonitorFromPoint", &g_pfnMonitorFromPoint, StubMonitorFromPoint);
    Resolve(user, "GetMonitorInfoA", &g_pfnGetMonitorInfo, StubGetMonitorInfo);
    Resolve(user, "MonitorFromWindow", &g_pfnMonitorFromWindow, StubMonitorFromWindow);
}

BOOL Kernel_EnumMonitors(MONITORENUMPROC proc, LPARAM data) {
    return g_pfnEnumDisplayMonitors(nullptr, nullptr, proc, data);
}

BOOL Kernel_GetMonitorInfo(HMONITOR monitor, MONITORINFOEXA *info) {
    return g_pfnGetMonitorInfo(monitor, (LPMONITORINFO)info);
}

/* ---- Interface colours, drawing objects, cursors ---------------------- */

static const int kColourCount = 59;
static COLORREF g_Colours[kColourCount];

/* Defaults follow the system's own colours, then a ramp of greys for the
   controls' faces and meters. */
void Kernel_ResetInterfaceColours(void) {
    for (int i = 0; i < kColourCount; i++) {
        if (i <= COLOR_MENUBAR) {
            g_Colours[i] = GetSysColor(i);
        } else {
            BYTE g = (BYTE)(255 - (i - COLOR_MENUBAR - 1) * 8);
            g_Colours[i] = RGB(g, g, g);
        }
    }
}

static const int kCursorSlots = 55, kCursorCacheSlots = 200;
static HCURSOR *g_pCursorTable, *g_pCursorCache;
static HMODULE g_hCursorModule;
static int g_nFirstCursor;

static void SetCursorDefaults(void) {
    g_hCursorModule = GetModuleHandleA(nullptr);
    g_nFirstCursor = 100;
}

static void DestroyCursorTables(void) {
    delete[] g_pCursorTable;
    delete[] g_pCursorCache;
    g_pCursorTable = g_pCursorCache = nullptr;
}

/* ---- Stages that later layers fill ------------------------------------ */

/* Moves the clock onto the performance counter; attach gives level 4, which
   never arms the time-stamp calibration. */
static BOOL StartTimers(int level) {
    TimerStart(level);
    return TRUE;
}
/* At level 4 the calibration answers 0 by design: that is no failure. */
static BOOL LateInitializeTimers(void) {
    LxTimer_LateInitialize();
    return TRUE;
}
/* The kernel's own language block, with its built-in texts (ids 4000 to
   4433) so that every text has a default without any language file. */
static BOOL OpenKernelLanguage(void) {
    if (FAILED(LxLang_Open(&g_hKernelLang, g_hKernelModule, 0, 0))) return FALSE;
    return SUCCEEDED(LxLang_AddStringTable(g_hKernelLang, g_KernelStringDefaults,
                                           LXKERNEL_STRINGS_COUNT, LXKERNEL_STRINGS_FIRST));
}
static void CloseKernelLanguage(void) {
    LxLang_DestroyStringTables(g_hKernelLang);
    LxLang_Close(g_hKernelLang);
    g_hKernelLang = nullptr;
}
/* The locale's separators, and the formatter's tokens built from them and
   from the kernel's texts, which therefore must be there first. */
static BOOL LoadInternationals(void) { return SUCCEEDED(LxLang_GetInternationals(nullptr, 0)); }

BOOL Kernel_AttachFoundations(void) {
    BOOL ok = StartTimers(4);
    LxIsWin95();
    LxGetCPUSupport(0);
    SetCursorDefaults();
    g_pCursorTable = new (std::nothrow) HCURSOR[kCursorSlots]();
    g_pCursorCache = new (std::nothrow) HCURSOR[kCursorCacheSlots]();
    g_hSplashWnd = nullptr;
    ResolveMonitorFunctions();
    Kernel_ResetInterfaceColours();
    ok &= SUCCEEDED(LxList_CreateExZ(&g_pLangList, 4, 16, 16, 0, 0, 0, 0));
    ok &= OpenKernelLanguage();
    ok &= LoadInternationals();
    ok &= LateInitializeTimers();
    return ok;
}

void Kernel_DetachFoundations(void) {
    CloseKernelLanguage();
    LxList_Destroy(g_pLangList);
    g_pLangList = nullptr;
    SetCursor(LoadCursorA(nullptr, (LPCSTR)IDC_ARROW));
    DestroyCursorTables();
    LxPrintF_Terminate();
}
