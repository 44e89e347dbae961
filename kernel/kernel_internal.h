/*
 * Kernel-wide state and the seams that the frame offers to the rest of the
 * library and to white-box tests. Not a public header.
 */
#ifndef KERNEL_INTERNAL_H
#define KERNEL_INTERNAL_H

#include "kernel.h"
#include "lxlang.h"
#include "lxlist.h"
#include "lxmetric.h"

extern HMODULE g_hKernelModule;
extern HLXMETRIC g_hKernelMetric;
extern HLXMETRIC g_hAppMetric;
extern BOOL g_bRunDllHost;
extern HWND g_hSplashWnd;
extern IUnknown *g_pHostUnknown;
extern IUnknown *g_pHostServices;
extern IUnknown *g_pHostDocServices;
extern tLXLIST *g_pLangList;
extern HLXLANG g_hKernelLang;
extern HLXLANG g_hAppLang;

/* Entry points of the loader notifications, called by DllMain. */
BOOL Kernel_ProcessAttach(HMODULE module);
void Kernel_ProcessDetach(void);
void Kernel_ThreadAttach(void);
void Kernel_ThreadDetach(void);

/* The per-thread scratch block: 0x20000 zeroed bytes, made on the calling
   thread's first request and released at its detach. Null on failure. */
void *Kernel_GetThreadScratch(DWORD *pSize);

/* Message boxes of the frame go through this; tests replace it to read the
   text without a window. Null restores MessageBoxA. */
typedef int (WINAPI *KernelMessageBoxFn)(HWND, LPCSTR, LPCSTR, UINT);
KernelMessageBoxFn Kernel_SetMessageBoxSeam(KernelMessageBoxFn fn);

/* The operating system's answer as the frame sees it; tests substitute a
   version record to walk the tables. Null restores GetVersionExA. */
typedef BOOL (WINAPI *KernelGetVersionFn)(OSVERSIONINFOA *);
KernelGetVersionFn Kernel_SetGetVersionSeam(KernelGetVersionFn fn);
/* GetVersionExA through the seam; vi->dwOSVersionInfoSize must be set. */
BOOL Kernel_GetVersionInfo(OSVERSIONINFOA *vi);
/* Forgets the cached answers (LxIsWin95, CPU word, colour depths). */
void Kernel_ResetCachedAnswers(void);

/* Normalisation of the preferences blob, in place. */
void Kernel_NormalizePrefs(MLOKRNPREFS *prefs);

/* The processor capability word from the raw facts, so that every branch
   can be walked. trialSSE/trialSSE2: the trial instruction ran (1) or raised
   an illegal-instruction exception (0). */
struct KernelCpuFacts {
    DWORD processorType;  /* GetSystemInfo's dwProcessorType */
    BOOL win95Family;
    BOOL eflagsId;        /* bit 21 of the flags register can be toggled */
    LONG maxLeaf;         /* -1 when CPUID is not there */
    DWORD features;       /* EDX of leaf 1 */
    BOOL trialSSE;
    BOOL trialSSE2;
};
DWORD Kernel_ComputeCpuWord(const KernelCpuFacts *facts);
/* Runs the trial instruction under a structured exception guard: 1 if it
   ran, 0 if it raised an illegal-instruction exception. kind: 0 xorps,
   1 xorpd, 2 ud2 (always illegal; proves the guard). */
BOOL Kernel_TrialInstruction(int kind);
/* Overrides the cached capability word (test seam for dispatch); 0 clears. */
void Kernel_ForceCpuWord(DWORD word);

/* The OS name table for one version record; returns what LxGetOS returns. */
BOOL Kernel_OsName(const OSVERSIONINFOA *vi, char *pszName, int cchName);

/* Attach and detach steps of the foundations (timers, cached answers,
   monitors, colours, cursors, languages). */
BOOL Kernel_AttachFoundations(void);
void Kernel_DetachFoundations(void);
void Kernel_RefreshColourAnswers(void);
void Kernel_ResetInterfaceColours(void);

#endif
