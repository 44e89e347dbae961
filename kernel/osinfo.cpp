/*
 * The operating-system and processor questions: platform names and the
 * version test, the processor capability word (CPUID and a trial
 * instruction), the colour-depth answers and the narrow CLSID helpers.
 * Answers are cached with a plain set-once flag: computing one twice is
 * harmless, it always comes out the same.
 */
#include "kernel_internal.h"

#include <cpuid.h>
#include <cstdio>
#include <cstring>

/* ---- Operating system ------------------------------------------------- */

static KernelGetVersionFn g_pfnGetVersion = GetVersionExA;

KernelGetVersionFn Kernel_SetGetVersionSeam(KernelGetVersionFn fn) {
    KernelGetVersionFn old = g_pfnGetVersion;
    g_pfnGetVersion = fn ? fn : GetVersionExA;
    return old;
}

BOOL Kernel_GetVersionInfo(OSVERSIONINFOA *vi) { return g_pfnGetVersion(vi); }

static void QueryVersion(OSVERSIONINFOA *vi) {
    memset(vi, 0, sizeof *vi);
    vi->dwOSVersionInfoSize = sizeof *vi;
    g_pfnGetVersion(vi);
}

static BOOL g_bWin95Known, g_bWin95;

LXEXPORT(BOOL) LxIsWin95(void) {
    if (!g_bWin95Known) {
        OSVERSIONINFOA vi;
        QueryVersion(&vi);
        g_bWin95 = vi.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
        g_bWin95Known = TRUE;
    }
    return g_bWin95;
}

BOOL Kernel_OsName(const OSVERSIONINFOA *vi, char *pszName, int cchName) {
    const char *name = nullptr;
    BOOL known = TRUE;
    if (vi->dwPlatformId == VER_PLATFORM_WIN32_WINDOWS) {
        if (vi->dwMajorVersion < 4) {
            name = "Windows 95";
        } else if (vi->dwMinorVersion == 0) {
            if (vi->dwMajorVersion == 4) name = "Windows 95";
            /* A later major with minor 0 has no name: the buffer stays. */
        } else if (vi->dwMinorVersion < 90) {
            name = vi->szCSDVersion[1] == 'A' ? "Windows 98 SE" : "Windows 98";
        } else {
            name = "Windows Me";
        }
    } else if (vi->dwPlatformId == VER_PLATFORM_WIN32_NT) {
        if (vi->dwMajorVersion < 5)
            name = "Windows NT";
        else
            name = vi->dwMinorVersion == 0 ? "Windows 2000" : "Windows XP";
    } else {
        name = "Unknown";
        known = FALSE;
    }
    if (pszName && cchName > 0) {
        if (name) lstrcpynA(pszName, name, cchName);
        pszName[cchName - 1] = 0;
    }
    return known;
}

LXEXPORT(BOOL) LxGetOS(char *pszName, int cchName) {
    OSVERSIONINFOA vi;
    QueryVersion(&vi);
    return Kernel_OsName(&vi, pszName, cchName);
}

LXEXPORT(BOOL) LxOSVersionOK(int nKind) {
    static const struct {
        DWORD platform, major, minor;
        int servicePack;
    } rows[7] = {
        {1, 4, 0, 0}, {1, 4, 1, 0}, {1, 4, 1, 1}, {1, 0, 0, 0},
        {2, 4, 0, 0}, {2, 5, 0, 0}, {2, 5, 1, 0},
    };
    if (nKind < 0 || nKind > 6) nKind = 3;
    OSVERSIONINFOA vi;
    QueryVersion(&vi);
    const auto &r = rows[nKind];
    if (vi.dwPlatformId != r.platform) return FALSE;
    if (vi.dwMajorVersion != r.major) return vi.dwMajorVersion > r.major;
    if (vi.dwMinorVersion != r.minor) return vi.dwMinorVersion > r.minor;
    int sp = 0;
    if (sscanf(vi.szCSDVersion, "Service Pack %d", &sp) != 1) sp = 0;
    return sp >= r.servicePack;
}

/* ---- Processor -------------------------------------------------------- */

DWORD Kernel_ComputeCpuWord(const KernelCpuFacts *f) {
    DWORD level = f->processorType == PROCESSOR_INTEL_486       ? 1
                  : f->processorType == PROCESSOR_INTEL_PENTIUM ? 2
                                                                : 0;
    BOOL hasCpuid = f->win95Family ? f->eflagsId : f->processorType == PROCESSOR_INTEL_PENTIUM;
    LONG maxLeaf = hasCpuid ? f->maxLeaf : -1;
    DWORD features = maxLeaf >= 1 ? f->features : 0;
    DWORD word = 0;
    if (features & (1u << 4)) word |= LXCPU_TSC;
    if (features & (1u << 15)) word |= LXCPU_CMOV;
    if ((features & (1u << 15)) && (features & 1u)) {
        word |= LXCPU_CMOVFPU;
        level = 3;
    }
    if (features & (1u << 23)) {
        word |= LXCPU_MMX;
        if (level == 3) level = 4;
    }
    if ((features & (1u << 25)) && f->trialSSE) {
        word |= LXCPU_SSE;
        level = 5;
    }
    if ((features & (1u << 26)) && f->trialSSE2) {
        word |= LXCPU_SSE2;
        level = 6;
    }
    return word | level;
}

/* The trial runs behind a structured exception frame of its own: the
   handler steps over an illegal instruction (its length is in ECX) and
   clears EAX, which is the answer. Any other exception is passed on. */
extern "C" EXCEPTION_DISPOSITION __cdecl lx_trial_handler(EXCEPTION_RECORD *rec, void *frame,
                                                           CONTEXT *ctx, void *dispatch) {
    (void)frame;
    (void)dispatch;
    const DWORD unwinding = 0x6; /* EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND */
    if (rec->ExceptionCode == STATUS_ILLEGAL_INSTRUCTION && !(rec->ExceptionFlags & unwinding)) {
        ctx->Eip += ctx->Ecx;
        ctx->Eax = 0;
        return ExceptionContinueExecution;
    }
    return ExceptionContinueSearch;
}

extern "C" int lx_trial_run(int kind);
__asm__(
    ".text\n"
    ".globl _lx_trial_run\n"
    "_lx_trial_run:\n"
    "  pushl $_lx_trial_handler\n"
    "  pushl %fs:0\n"
    "  movl %esp, %fs:0\n"
    "  movl 12(%esp), %edx\n"
    "  movl $1, %eax\n"
    "  cmpl $0, %edx\n"
    "  jne 1f\n"
    "  movl $3, %ecx\n"
    "  xorps %xmm0, %xmm0\n" /* 0F 57 C0 */
    "  jmp 9f\n"
    "1:\n"
    "  cmpl $1, %edx\n"
    "  jne 2f\n"
    "  movl $4, %ecx\n"
    "  xorpd %xmm0, %xmm0\n" /* 66 0F 57 C0 */
    "  jmp 9f\n"
    "2:\n"
    "  movl $2, %ecx\n"
    "  ud2\n"
    "9:\n"
    "  popl %fs:0\n"
    "  addl $4, %esp\n"
    "  ret\n");

BOOL Kernel_TrialInstruction(int kind) { return lx_trial_run(kind) != 0; }

static BOOL EflagsIdToggles(void) {
    DWORD changed;
    __asm__ volatile(
        "pushfl\n"
        "popl %%eax\n"
        "movl %%eax, %%ecx\n"
        "xorl $0x200000, %%eax\n"
        "pushl %%eax\n"
        "popfl\n"
        "pushfl\n"
        "popl %%eax\n"
        "pushl %%ecx\n"
        "popfl\n"
        "xorl %%ecx, %%eax\n"
        "andl $0x200000, %%eax\n"
        : "=a"(changed)
        :
        : "ecx", "cc");
    return changed != 0;
}

static DWORD g_dwCpuWord;
static BOOL g_bCpuKnown;
static DWORD g_dwForcedCpuWord;

static DWORD ComputeCpuWord(void) {
    KernelCpuFacts f;
    memset(&f, 0, sizeof f);
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    f.processorType = si.dwProcessorType;
    f.win95Family = LxIsWin95();
    f.eflagsId = f.win95Family ? EflagsIdToggles() : FALSE;
    BOOL hasCpuid = f.win95Family ? f.eflagsId : f.processorType == PROCESSOR_INTEL_PENTIUM;
    f.maxLeaf = -1;
    if (hasCpuid) {
        unsigned a, b, c, d;
        __cpuid(0, a, b, c, d);
        f.maxLeaf = (LONG)a;
        if (f.maxLeaf >= 1) {
            __cpuid(1, a, b, c, d);
            f.features = d;
        }
    }
    if (f.features & (1u << 25)) f.trialSSE = Kernel_TrialInstruction(0);
    if (f.features & (1u << 26)) f.trialSSE2 = Kernel_TrialInstruction(1);
    return Kernel_ComputeCpuWord(&f);
}

void Kernel_ForceCpuWord(DWORD word) { g_dwForcedCpuWord = word; }

LXEXPORT(DWORD) LxGetCPUSupport(DWORD dwMask) {
    if (!g_bCpuKnown) {
        g_dwCpuWord = ComputeCpuWord();
        g_bCpuKnown = TRUE;
    }
    DWORD word = g_dwForcedCpuWord ? g_dwForcedCpuWord : g_dwCpuWord;
    return dwMask ? (word & dwMask) : word;
}

/* ---- Colour depth ----------------------------------------------------- */

extern BOOL Kernel_EnumMonitors(MONITORENUMPROC proc, LPARAM data);
extern BOOL Kernel_GetMonitorInfo(HMONITOR monitor, MONITORINFOEXA *info);

static BOOL g_bHighColorKnown, g_bHighColor;
static BOOL g_bAllHighColorKnown, g_bAllHighColor;

static BOOL DcIsHighColor(HDC dc) {
    return GetDeviceCaps(dc, BITSPIXEL) * GetDeviceCaps(dc, PLANES) >= 16;
}

LXEXPORT(BOOL) LxIsHighColor(void) {
    if (!g_bHighColorKnown) {
        HDC dc = GetDC(nullptr);
        /* No screen to ask counts as good, as a silent monitor does. */
        g_bHighColor = dc ? DcIsHighColor(dc) : TRUE;
        if (dc) ReleaseDC(nullptr, dc);
        g_bHighColorKnown = TRUE;
    }
    return g_bHighColor;
}

static BOOL CALLBACK MonitorDepthProc(HMONITOR monitor, HDC, LPRECT, LPARAM data) {
    MONITORINFOEXA info;
    memset(&info, 0, sizeof info);
    info.cbSize = sizeof info;
    if (!Kernel_GetMonitorInfo(monitor, &info)) return TRUE;
    HDC dc = CreateDCA(info.szDevice, nullptr, nullptr, nullptr);
    if (!dc) return TRUE;
    if (!DcIsHighColor(dc)) *(BOOL *)data = FALSE;
    DeleteDC(dc);
    return TRUE;
}

LXEXPORT(BOOL) LxIsAllMonitorsHighColor(void) {
    if (!g_bAllHighColorKnown) {
        BOOL all = TRUE;
        Kernel_EnumMonitors(MonitorDepthProc, (LPARAM)&all);
        g_bAllHighColor = all;
        g_bAllHighColorKnown = TRUE;
    }
    return g_bAllHighColor;
}

void Kernel_RefreshColourAnswers(void) {
    g_bHighColorKnown = FALSE;
    g_bAllHighColorKnown = FALSE;
    LxIsHighColor();
    LxIsAllMonitorsHighColor();
}

void Kernel_ResetCachedAnswers(void) {
    g_bWin95Known = FALSE;
    g_bCpuKnown = FALSE;
    g_bHighColorKnown = FALSE;
    g_bAllHighColorKnown = FALSE;
}

/* ---- CLSID text ------------------------------------------------------- */

LXEXPORT(HRESULT) LxCLSIDFromString(const char *psz, CLSID *pclsid) {
    if (!psz || !pclsid) return LX_E_INVALIDARG;
    WCHAR wide[40];
    if (!MultiByteToWideChar(CP_ACP, 0, psz, -1, wide, 40)) {
        /* Longer than any CLSID text: keep what fits, as the cut would. */
        MultiByteToWideChar(CP_ACP, 0, psz, 39, wide, 39);
    }
    wide[39] = 0;
    return CLSIDFromString(wide, pclsid);
}

LXEXPORT(HRESULT) LxStringFromCLSID(char *psz, const CLSID *pclsid) {
    if (!psz || !pclsid) return LX_E_INVALIDARG;
    WCHAR wide[40];
    if (!StringFromGUID2(*pclsid, wide, 40)) {
        psz[0] = 0;
        return LX_E_FAIL;
    }
    if (!WideCharToMultiByte(CP_ACP, 0, wide, -1, psz, 40, nullptr, nullptr)) psz[0] = 0;
    psz[39] = 0;
    return LX_S_OK;
}
