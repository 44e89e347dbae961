/*
 * Common ground of every public header of MARLOK.DLL: the calling
 * conventions of the exports, the Kernel's own status codes and its version.
 * Exports are plain C, __cdecl; callbacks the Kernel calls are __stdcall.
 */
#ifndef LXBASE_H
#define LXBASE_H

#include <windows.h>

#ifdef __cplusplus
#define LXEXTERN_C extern "C"
#else
#define LXEXTERN_C
#endif

#define LXAPI __cdecl
#define LXCALLBACK __stdcall
#define LXEXPORT(type) LXEXTERN_C type LXAPI

/* Kernel version: major in bits 24-31, minor 16-23, build 0-15 (6.0.219). */
#define LXKERNEL_VERSION 0x060000DBu
#define LXKERNEL_INTERFACE_LEVEL 2

/* Status words in HRESULT form; facility 4 from 0xE000 is the Kernel's own. */
#define LX_S_OK            ((HRESULT)0x00000000L)
#define LX_S_FALSE         ((HRESULT)0x00000001L)
#define LX_E_NOTIMPL       ((HRESULT)0x80004001L)
#define LX_E_FAIL          ((HRESULT)0x80004005L)
#define LX_E_OUTOFMEMORY   ((HRESULT)0x8007000EL)
#define LX_E_INVALIDARG    ((HRESULT)0x80070057L)
#define LX_E_NOSTORE       ((HRESULT)0x8004E00AL) /* settings store missing */
#define LX_E_CANCELLED     ((HRESULT)0x8004E00CL) /* user cancelled: never shown */
#define LX_E_MOREDATA      ((HRESULT)0x8004E03CL) /* buffer too small */

#endif
