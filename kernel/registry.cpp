/*
 * Registry helpers under the metric store: sub key counts, deep deletion,
 * the write test on the machine hive and COM server registration.
 */
#include "lxmetric.h"
#include "kernel.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

LXEXPORT(LONG) LxRegGetSubKeyCount(HKEY key, const char *subKey, DWORD *pMaxNameLength) {
    if (pMaxNameLength) *pMaxNameLength = 0;
    HKEY k;
    if (RegOpenKeyExA(key, subKey, 0, KEY_READ, &k) != ERROR_SUCCESS) return -1;
    DWORD count = 0, maxName = 0;
    LONG rc = RegQueryInfoKeyA(k, nullptr, nullptr, nullptr, &count, &maxName, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr);
    RegCloseKey(k);
    if (rc != ERROR_SUCCESS) return -1;
    if (pMaxNameLength) *pMaxNameLength = maxName + 1;
    return (LONG)count;
}

/* Windows NT refuses to delete a key that has sub keys, so the children go
   first. Deleting by index shifts the later keys down and a pass misses
   some; the outer loop repeats until the key is gone. A pass that deletes
   nothing ends the loop, so a key we may not delete can't hang the caller. */
LXEXPORT(LONG) LxRegDeleteKey(HKEY key, const char *subKey) {
    /* An empty name would mean the key itself, with all it holds. */
    if (!subKey || !subKey[0]) return ERROR_INVALID_PARAMETER;
    bool firstPass = true;
    LONG previous = 0;
    for (;;) {
        LONG count = LxRegGetSubKeyCount(key, subKey, nullptr);
        if (count != 0) {
            HKEY k;
            LONG rc = RegOpenKeyExA(key, subKey, 0, KEY_READ, &k);
            if (rc != ERROR_SUCCESS) return rc;
            for (LONG i = 0; i < count; i++) {
                char name[MAX_PATH];
                DWORD length = sizeof name;
                if (RegEnumKeyExA(k, (DWORD)i, name, &length, nullptr, nullptr, nullptr,
                                  nullptr) != ERROR_SUCCESS)
                    break;
                LxRegDeleteKey(k, name);
            }
            RegCloseKey(k);
        }
        LONG status = RegDeleteKeyA(key, subKey);
        HKEY k;
        if (RegOpenKeyExA(key, subKey, 0, KEY_READ, &k) != ERROR_SUCCESS) return status;
        RegCloseKey(k);
        if (status != ERROR_SUCCESS && !firstPass && count >= previous) return status;
        firstPass = false;
        previous = count;
    }
}

LXEXPORT(BOOL) LxIsPowerUser(void) {
    char path[MAX_PATH];
    snprintf(path, sizeof path, "SOFTWARE\\Microsoft\\%s\\CurrentVersion\\~LxTestLoginPrivilege",
             LxIsWin95() ? "Windows" : "Windows NT");
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &key) != ERROR_SUCCESS) return FALSE;
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
    RegCloseKey(key);
    return TRUE;
}

static LONG SetText(HKEY key, const char *name, const char *text) {
    return RegSetValueExA(key, name, 0, REG_SZ, (const BYTE *)text, (DWORD)lstrlenA(text) + 1);
}

LXEXPORT(HRESULT) LxRegisterServer(HMODULE module, REFCLSID clsid, const char *description,
                                   BOOL doRegister) {
    /* Callers in C pass a pointer; the barrier keeps the compiler from
       assuming that a reference is never null. */
    const CLSID *pclsid = &clsid;
    __asm__("" : "+r"(pclsid));
    if (!pclsid) return LX_E_FAIL;
    WCHAR wide[42];
    char text[42];
    if (!StringFromGUID2(*pclsid, wide, 42)) return LX_E_FAIL;
    if (!WideCharToMultiByte(CP_ACP, 0, wide, -1, text, sizeof text, nullptr, nullptr))
        return LX_E_FAIL;
    text[sizeof text - 1] = 0;
    if (lstrlenA(text) < 2) return LX_E_FAIL;
    HKEY classes;
    if (RegOpenKeyA(HKEY_CLASSES_ROOT, "CLSID", &classes) != ERROR_SUCCESS) return LX_E_FAIL;
    if (!doRegister) {
        LxRegDeleteKey(classes, text);
        RegCloseKey(classes);
        return LX_S_OK;
    }
    HKEY classKey;
    LONG rc = RegCreateKeyA(classes, text, &classKey);
    RegCloseKey(classes);
    if (rc != ERROR_SUCCESS) return LX_E_FAIL;
    char modulePath[MAX_PATH];
    DWORD cch = GetModuleFileNameA(module, modulePath, sizeof modulePath);
    if (!cch || cch >= sizeof modulePath) modulePath[0] = 0;
    rc = SetText(classKey, nullptr, description ? description : "");
    HKEY server;
    if (rc == ERROR_SUCCESS) rc = RegCreateKeyA(classKey, "InProcServer32", &server);
    if (rc == ERROR_SUCCESS) {
        rc = SetText(server, nullptr, modulePath);
        if (rc == ERROR_SUCCESS) rc = SetText(server, "ThreadingModel", "Both");
        RegCloseKey(server);
    }
    RegCloseKey(classKey);
    return rc == ERROR_SUCCESS ? LX_S_OK : LX_E_FAIL;
}

LXEXPORT(HRESULT) LxSelfRegister_IsSupported(const char *fileName) {
    if (!fileName) return LX_E_FAIL;
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeA(fileName, &handle);
    if (!size) return LX_E_FAIL;
    void *block = malloc(size);
    if (!block) return LX_E_NOTIMPL;
    HRESULT hr = LX_E_NOTIMPL;
    if (GetFileVersionInfoA(fileName, handle, size, block)) {
        WORD *translation = nullptr;
        UINT length = 0;
        if (VerQueryValueA(block, "\\VarFileInfo\\Translation", (void **)&translation, &length) &&
            translation && length >= 2 * sizeof(WORD)) {
            char query[64];
            snprintf(query, sizeof query, "\\StringFileInfo\\%04X%04X\\OLESelfRegister",
                     (unsigned)translation[0], (unsigned)translation[1]);
            void *value = nullptr;
            if (VerQueryValueA(block, query, &value, &length)) hr = LX_S_OK;
        }
    }
    free(block);
    return hr;
}

LXEXPORT(HRESULT) LxSelfRegister_Register(const char *fileName, BOOL unregister) {
    HRESULT hr = LxSelfRegister_IsSupported(fileName);
    if (hr != LX_S_OK) return hr;
    UINT oldMode = SetErrorMode(SEM_NOOPENFILEERRORBOX);
    HMODULE module = LoadLibraryExA(fileName, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    SetErrorMode(oldMode);
    if ((UINT_PTR)module < 32) return LX_E_FAIL;
    typedef HRESULT(STDAPICALLTYPE * EntryFn)(void);
    EntryFn entry = (EntryFn)(void (*)(void))GetProcAddress(
        module, unregister ? "DllUnregisterServer" : "DllRegisterServer");
    hr = entry ? entry() : LX_E_NOTIMPL;
    FreeLibrary(module);
    return hr;
}
