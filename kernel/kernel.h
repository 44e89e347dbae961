/*
 * The frame of MARLOK.DLL: version rule, host lifetime, the host's
 * preferences blob, the plug-in library list, and the operating-system and
 * processor questions.
 */
#ifndef KERNEL_H
#define KERNEL_H

#include "lxbase.h"
#include <unknwn.h>

/* The host's preferences, 24 bytes, held between host calls. */
#pragma pack(push, 1)
typedef struct MLOKRNPREFS {
    DWORD dwReserved;
    DWORD fAllowWide;
    WORD wTagA;
    WORD wBitsA;
    WORD wTagB;
    WORD wBitsB;
    BYTE reserved[8];
} MLOKRNPREFS;
#pragma pack(pop)

/* LxGetCPUSupport flags; the low bits hold the level (0 to 6). */
#define LXCPU_LEVELMASK 0x0000000Fu
#define LXCPU_MMX       0x00000010u
#define LXCPU_SSE       0x00000020u
#define LXCPU_SSE2      0x00000040u
#define LXCPU_CMOV      0x00000100u
#define LXCPU_CMOVFPU   0x00000200u
#define LXCPU_TSC       0x00000400u

LXEXPORT(DWORD) LxKernel_GetVersion(void);
LXEXPORT(DWORD) MloKrnVersion(void);
LXEXPORT(HRESULT) LxKernel_CheckVersion(HWND hwndOwner, const char *pszClient,
                                        DWORD dwClientVersion, int nInterfaceLevel,
                                        DWORD dwReserved);
LXEXPORT(LONG) LxKernelGetThreadCount(void);

LXEXPORT(BOOL) MloKrnInitialize(DWORD dwHostWord, const void *pPrefs, DWORD cbPrefs,
                                IUnknown *pHost, DWORD dwHostWord2, DWORD dwHostWord3);
LXEXPORT(void) MloKrnLateInitialize(void);
LXEXPORT(BOOL) MloKrnTerminate(DWORD dwReserved);
LXEXPORT(int) MloKrnGetPrefs(void *pOut, int cbOut);
LXEXPORT(void) MloKrnSetPrefs(const void *pIn, DWORD cbIn);
LXEXPORT(LRESULT) LxKernel_UserPrefChanges(HWND hwnd, UINT uMsg, WPARAM wParam, LPARAM lParam);
LXEXPORT(void) LxKernel_SetSplash(HWND hwnd);
LXEXPORT(void) LxKernel_ForceRefs(void);

LXEXPORT(HRESULT) Marlo_GetPluginLibNameStart(DWORD **ppCursor);
LXEXPORT(HRESULT) Marlo_GetPluginLibName(DWORD *pCursor, char *pszName, int cchName,
                                         DWORD *pfBuiltIn);
LXEXPORT(HRESULT) Marlo_GetPluginLibNameStop(DWORD *pCursor);

LXEXPORT(BOOL) LxIsWin95(void);
LXEXPORT(BOOL) LxGetOS(char *pszName, int cchName);
LXEXPORT(BOOL) LxOSVersionOK(int nKind);
LXEXPORT(DWORD) LxGetCPUSupport(DWORD dwMask);
LXEXPORT(BOOL) LxIsHighColor(void);
LXEXPORT(BOOL) LxIsAllMonitorsHighColor(void);
LXEXPORT(HRESULT) LxCLSIDFromString(const char *psz, CLSID *pclsid);
LXEXPORT(HRESULT) LxStringFromCLSID(char *psz, const CLSID *pclsid);

#endif
