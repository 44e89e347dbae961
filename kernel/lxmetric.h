/*
 * The metric store: user and machine settings in the registry, addressed by
 * product, version, optional sub key and a signed id whose sign picks the
 * scope. Beside it, the registry helpers it rests on.
 */
#ifndef LXMETRIC_H
#define LXMETRIC_H

#include "lxbase.h"

typedef struct tLXMETRIC *HLXMETRIC;

/* The Kernel's default store ("Marlo", 6.0, sub key "Kernel"). */
#define LXMETRIC_DEFAULT ((HLXMETRIC)(LONG_PTR)-1)

/* Value types as passed to the typed calls. */
#define LXMETRIC_SZ       1
#define LXMETRIC_BINARY   3
#define LXMETRIC_DWORD    4
#define LXMETRIC_MULTI_SZ 7

struct _smpteval;

LXEXPORT(HRESULT) LxMetric_Open(HLXMETRIC *out, const char *product, DWORD version,
                                const char *subKey);
LXEXPORT(HRESULT) LxMetric_OpenService(HLXMETRIC *out, const char *service, DWORD version,
                                       const char *subKey);
LXEXPORT(HRESULT) LxMetric_OpenSubKey(HLXMETRIC *out, HLXMETRIC parent, const char *subKey);
LXEXPORT(HRESULT) LxMetric_Close(HLXMETRIC h);
LXEXPORT(HRESULT) LxMetric_CloseAndDeleteKey(HLXMETRIC h);
LXEXPORT(HRESULT) LxMetric_DeleteAll(const char *product, DWORD version);
LXEXPORT(HRESULT) LxMetric_DeleteKey(const char *product, DWORD version, const char *subKey);
LXEXPORT(HRESULT) LxMetric_DeleteAllService(const char *service, DWORD version);
LXEXPORT(HRESULT) LxMetric_DeleteKeyService(const char *service, DWORD version,
                                            const char *subKey);

LXEXPORT(DWORD) LxGetMetric(HLXMETRIC h, LONG id);
LXEXPORT(DWORD) LxGetMetricEx(HLXMETRIC h, LONG id, LONG minimum, LONG maximum, LONG def);
LXEXPORT(DWORD) LxGetMetricBool(HLXMETRIC h, LONG id, DWORD def);
LXEXPORT(DWORD) LxGetMetricBinary(HLXMETRIC h, LONG id, void *buffer, DWORD size);
LXEXPORT(HRESULT) LxGetMetricBinaryEx(HLXMETRIC h, LONG id, void *buffer, DWORD size,
                                      DWORD *pLength);
LXEXPORT(LONG) LxGetMetricStringEx(HLXMETRIC h, LONG id, char *buffer, DWORD size,
                                   const char *def, BOOL emptyIsValid);
LXEXPORT(LONG) LxGetMetricMultiStringEx(HLXMETRIC h, LONG id, char *buffer, DWORD size,
                                        const char *def, BOOL emptyIsValid);
LXEXPORT(HRESULT) LxSetMetric(HLXMETRIC h, LONG id, DWORD value);
LXEXPORT(HRESULT) LxSetMetricBinary(HLXMETRIC h, LONG id, const void *data, DWORD size);
LXEXPORT(HRESULT) LxSetMetricMultiString(HLXMETRIC h, LONG id, const char *data, DWORD size);
LXEXPORT(HRESULT) LxSetMetricString(HLXMETRIC h, LONG id, const char *text);
LXEXPORT(HRESULT) LxDoesMetricExist(HLXMETRIC h, LONG id, DWORD type);
LXEXPORT(HRESULT) LxDeleteMetric(HLXMETRIC h, LONG id, DWORD type);
LXEXPORT(HRESULT) LxGetMetricSmpteTime(HLXMETRIC h, LONG id, struct _smpteval *time);
LXEXPORT(HRESULT) LxSetMetricSmpteTime(HLXMETRIC h, LONG id, const struct _smpteval *time);

LXEXPORT(LONG) LxRegGetSubKeyCount(HKEY key, const char *subKey, DWORD *pMaxNameLength);
LXEXPORT(LONG) LxRegDeleteKey(HKEY key, const char *subKey);
LXEXPORT(BOOL) LxIsPowerUser(void);
LXEXPORT(HRESULT) LxRegisterServer(HMODULE module, REFCLSID clsid, const char *description,
                                   BOOL doRegister);
LXEXPORT(HRESULT) LxSelfRegister_IsSupported(const char *fileName);
LXEXPORT(HRESULT) LxSelfRegister_Register(const char *fileName, BOOL unregister);

/* Kernel-internal: the store behind LXMETRIC_DEFAULT, set by the frame. */
#ifdef __cplusplus
void LxMetric_SetDefaultStore(HLXMETRIC h);
#endif

#endif
