/*
 * Languages and resources: an HLXLANG binds a module to an optional
 * language file beside it (same name, extension "LNG"), so that each
 * resource is looked up in the translation first and in the module after.
 * It also carries a ring of short-lived texts and built-in string tables
 * that work without any language file.
 */
#ifndef LXLANG_H
#define LXLANG_H

#include "lxbase.h"
#include <commctrl.h>

typedef struct tLXLANG *HLXLANG;

/* Lifetime and language. */
LXEXPORT(HRESULT) LxLang_Open(HLXLANG *out, HMODULE module, LCID lcid, LONG ringSize);
LXEXPORT(HRESULT) LxLang_Close(HLXLANG h);
LXEXPORT(HINSTANCE) LxLang_InstFromLang(HLXLANG h);
LXEXPORT(LCID) LxLang_GetLCID(HLXLANG h);
LXEXPORT(BOOL) LxLang_GetLangAbbrev(HLXLANG h, char *out, int size);
LXEXPORT(BOOL) LxLang_IsLCIDEnglish(LCID lcid);
LXEXPORT(BOOL) LxLang_UpdateKernelLCID(HLXLANG h, LCID lcid, DWORD reserved);
LXEXPORT(BOOL) LxLang_ChangeLangInst(HLXLANG h, HMODULE module);
LXEXPORT(BOOL) LxLang_LoadUserLCIDMetric(const char *product, DWORD version, LCID *pLcid);
LXEXPORT(HRESULT) LxLang_SaveUserLCIDMetric(const char *product, DWORD version, LCID lcid);
LXEXPORT(int) LxSetLangID(const char *abbreviation);
LXEXPORT(HRESULT) LxLang_GetInternationals(void *buffer, DWORD size);

/* Loaders: the language file first where it is active, then the module.
   LxLoadMenu and the menu tools are in lxmenu.h. */
LXEXPORT(HWND) LxCreateDialogParam(HLXLANG h, LPCSTR name, HWND parent, DLGPROC proc,
                                   LPARAM param);
LXEXPORT(HWND) LxCreateDialogIndirectParam(HLXLANG h, LPCDLGTEMPLATEA dlg, HWND parent,
                                           DLGPROC proc, LPARAM param);
LXEXPORT(INT_PTR) LxDialogBoxParam(HLXLANG h, LPCSTR name, HWND parent, DLGPROC proc,
                                   LPARAM param);
LXEXPORT(INT_PTR) LxDialogBoxIndirectParam(HLXLANG h, LPCDLGTEMPLATEA dlg, HWND parent,
                                           DLGPROC proc, LPARAM param);
LXEXPORT(HACCEL) LxLoadAccelerators(HLXLANG h, LPCSTR name);
LXEXPORT(void *) LxLoadResourceCustom(HLXLANG h, LPCSTR name, LPCSTR type, DWORD *pSize);
LXEXPORT(HRSRC) LxFindResource(HLXLANG h, LPCSTR name, LPCSTR type);
LXEXPORT(HGLOBAL) LxLoadResource(HLXLANG h, HRSRC res);
LXEXPORT(DWORD) LxSizeofResource(HLXLANG h, HRSRC res);
LXEXPORT(HINSTANCE) LxFindResInstance(HLXLANG h, LPCSTR name, LPCSTR type);
LXEXPORT(int) LxLoadString(HLXLANG h, UINT id, char *buffer, int size);

/* Images and cursors never come from the language file. */
LXEXPORT(HBITMAP) LxLoadBitmap(HLXLANG h, LPCSTR name);
LXEXPORT(HICON) LxLoadIcon(HLXLANG h, LPCSTR name);
LXEXPORT(HANDLE) LxLoadImage(HLXLANG h, LPCSTR name, UINT type, int cx, int cy, UINT flags);
LXEXPORT(HCURSOR) LxLoadCursor(HLXLANG h, LPCSTR name);
LXEXPORT(HIMAGELIST) LxImageList_LoadImage(HLXLANG h, LPCSTR name, int cx, int grow,
                                           COLORREF mask, UINT type, UINT flags);
LXEXPORT(BOOL) LxGetDialogSize(HLXLANG h, LPCSTR name, DLGPROC proc, LPARAM param, SIZE *pSize);
LXEXPORT(int) LxEnumResourceLanguages(HLXLANG h, LPCSTR id, char *out, int size);

/* Strings: the ring, conversions and built-in tables. */
LXEXPORT(const char *) LxGetString(HLXLANG h, UINT id);
LXEXPORT(char *) LxGetStringBuffer(HLXLANG h, LONG bytes);
LXEXPORT(WCHAR *) LxGetWideFromPrintString(HLXLANG h, const char *text);
LXEXPORT(char *) LxGetPrintFromWideString(HLXLANG h, const WCHAR *text);
LXEXPORT(const char *) LxGetMultiByteFromPrintString(HLXLANG h, const char *text);
LXEXPORT(const char *) LxGetPrintFromMultiByteString(HLXLANG h, const char *text);
LXEXPORT(HRESULT) LxLang_AddStringTable(HLXLANG h, const char *const *defaults, LONG count,
                                        UINT first);
LXEXPORT(HRESULT) LxLang_DestroyStringTables(HLXLANG h);
LXEXPORT(const char *) LxGetString2(HLXLANG h, UINT id);
LXEXPORT(int) LxLoadString2(HLXLANG h, UINT id, char *buffer, int size);

#ifdef __cplusplus
/* Kernel-internal. */

/* The resource in the active language file, or null; *pOwner is then the
   language file. Callers fall back to the module themselves. */
HRSRC Lang_FindInLangFile(HLXLANG h, LPCSTR name, LPCSTR type, HMODULE *pOwner);
/* The owning module of a block, or null for a null block. */
HMODULE Lang_Module(HLXLANG h);
/* The process-wide abbreviation kept by LxSetLangID ("ENU" until set). */
const char *Lang_GetLangID(void);
/* The system's installed language from the registry, or 0. */
LCID Lang_GetSystemLCID(void);
/* Removes a leading "^*" in place; the new length. */
int Lang_StripMark(char *text, int length);
#endif

#endif
