/*
 * The metric store. A store is two registry keys, machine and user; the
 * sign of a metric id picks the key and the value's type picks the prefix of
 * its name. Getters never fail: whatever is missing gives the default.
 */
#include "lxmetric.h"
#include "lxtext.h"
#include "../fileio/smpte.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

struct tLXMETRIC {
    char machinePath[MAX_PATH];
    HKEY machineKey;
    char userPath[MAX_PATH];
    HKEY userKey;
};

namespace {

const char kProductPath[] = "Software\\Velmora\\%s\\%d.%d\\Metrics";
const char kProductSubPath[] = "Software\\Velmora\\%s\\%d.%d\\Metrics\\%s";
const char kServicePath[] = "SYSTEM\\CurrentControlSet\\Services\\%s\\%d.%d\\Metrics";
const char kServiceSubPath[] = "SYSTEM\\CurrentControlSet\\Services\\%s\\%d.%d\\Metrics\\%s";

/* Set by the frame at attach and cleared at detach; read only in between. */
HLXMETRIC g_hDefaultStore;

HLXMETRIC Resolve(HLXMETRIC h) { return h == LXMETRIC_DEFAULT ? g_hDefaultStore : h; }

HKEY KeyFor(HLXMETRIC h, LONG id) {
    h = Resolve(h);
    if (!h) return nullptr;
    return id < 0 ? h->machineKey : h->userKey;
}

/* Value name of an id for a type; the registry type is returned. */
DWORD ValueName(char *name, size_t size, LONG id, DWORD type) {
    /* The magnitude in unsigned arithmetic, so that the lowest id has one. */
    unsigned long magnitude = id < 0 ? 0ul - (unsigned long)id : (unsigned long)id;
    const char *prefix;
    DWORD regType;
    switch (type) {
    case LXMETRIC_SZ: prefix = "S"; regType = REG_SZ; break;
    case LXMETRIC_BINARY: prefix = "B"; regType = REG_BINARY; break;
    case LXMETRIC_DWORD: prefix = ""; regType = REG_DWORD; break;
    default: prefix = "Z"; regType = REG_MULTI_SZ; break;
    }
    snprintf(name, size, "%s%lu", prefix, magnitude);
    return regType;
}

/* A path that doesn't fit is left empty: its key is never created, so the
   scope behaves as a missing store and is never deleted by accident. */
bool FormatPath(char *out, const char *plain, const char *withSub, const char *name,
                DWORD version, const char *subKey) {
    int major = (int)(version >> 24), minor = (int)((version >> 16) & 0xFF);
    int n = subKey ? snprintf(out, MAX_PATH, withSub, name, major, minor, subKey)
                   : snprintf(out, MAX_PATH, plain, name, major, minor);
    if (n < 0 || n >= MAX_PATH) {
        out[0] = 0;
        return false;
    }
    return true;
}

HKEY CreateKey(HKEY root, const char *path) {
    if (!path[0]) return nullptr;
    HKEY key = nullptr;
    if (RegCreateKeyA(root, path, &key) != ERROR_SUCCESS) key = nullptr;
    return key;
}

HRESULT OpenStore(HLXMETRIC *out, const char *name, DWORD version, const char *subKey,
                  bool service) {
    if (!out) return LX_E_INVALIDARG;
    *out = nullptr;
    if (!name) return LX_E_INVALIDARG;
    tLXMETRIC *block = (tLXMETRIC *)calloc(1, sizeof(tLXMETRIC));
    if (!block) return LX_E_OUTOFMEMORY;
    const char *plain = service ? kServicePath : kProductPath;
    const char *withSub = service ? kServiceSubPath : kProductSubPath;
    FormatPath(block->machinePath, plain, withSub, name, version, subKey);
    block->machineKey = CreateKey(HKEY_LOCAL_MACHINE, block->machinePath);
    FormatPath(block->userPath, plain, withSub, name, version, subKey);
    /* A service has no user scope: both handles lie on the machine key, so
       that either sign of an id reaches the same value. */
    block->userKey = CreateKey(service ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, block->userPath);
    *out = block;
    return LX_S_OK;
}

void DeletePath(HKEY root, const char *plain, const char *withSub, const char *name,
                DWORD version, const char *subKey) {
    if (!name) return;
    char path[MAX_PATH];
    if (FormatPath(path, plain, withSub, name, version, subKey)) LxRegDeleteKey(root, path);
}

/* Reads a value of exactly one registry type into buffer; the bytes read, or
   0 when it is missing, of another type or too large. */
DWORD QueryTyped(HKEY key, const char *name, DWORD regType, void *buffer, DWORD size) {
    DWORD type = 0, length = size;
    if (RegQueryValueExA(key, name, nullptr, &type, (BYTE *)buffer, &length) != ERROR_SUCCESS)
        return 0;
    if (type != regType || length > size) return 0;
    return length;
}

HRESULT SetValue(HLXMETRIC h, LONG id, DWORD type, const void *data, DWORD size) {
    HKEY key = KeyFor(h, id);
    if (!key) return LX_E_FAIL;
    if (!data && size) return LX_E_FAIL;
    static const BYTE empty = 0;
    char name[16];
    DWORD regType = ValueName(name, sizeof name, id, type);
    LONG rc = RegSetValueExA(key, name, 0, regType, data ? (const BYTE *)data : &empty, size);
    return rc == ERROR_SUCCESS ? LX_S_OK : LX_E_FAIL;
}

LONG GetText(HLXMETRIC h, LONG id, DWORD type, char *buffer, DWORD size, const char *def,
             BOOL emptyIsValid) {
    if (!buffer || !size) return 0;
    DWORD length = 0;
    HKEY key = KeyFor(h, id);
    if (key) {
        char name[16];
        DWORD regType = ValueName(name, sizeof name, id, type);
        length = QueryTyped(key, name, regType, buffer, size);
    }
    memset(buffer + length, 0, size - length);
    if (length > 1) return (LONG)(length - 1);
    if (length == 1 && emptyIsValid) return 0;
    if (!def) return 0;
    lstrcpynA(buffer, def, (int)size);
    buffer[size - 1] = 0;
    return lstrlenA(buffer);
}

}  // namespace

void LxMetric_SetDefaultStore(HLXMETRIC h) { g_hDefaultStore = h; }

/* ---- Opening and closing ---------------------------------------------- */

LXEXPORT(HRESULT) LxMetric_Open(HLXMETRIC *out, const char *product, DWORD version,
                                const char *subKey) {
    return OpenStore(out, product, version, subKey, false);
}

LXEXPORT(HRESULT) LxMetric_OpenService(HLXMETRIC *out, const char *service, DWORD version,
                                       const char *subKey) {
    return OpenStore(out, service, version, subKey, true);
}

/* Copies from p up to the stop character into out; the position of the stop
   character, or null if the text ends first or doesn't fit. */
static const char *CopyUpTo(const char *p, char stopChar, char *out, size_t size) {
    size_t n = 0;
    while (*p && *p != stopChar) {
        const char *next = CharNextA(p);
        size_t len = (size_t)(next - p);
        if (n + len >= size) return nullptr;
        memcpy(out + n, p, len);
        n += len;
        p = next;
    }
    out[n] = 0;
    return *p ? p : nullptr;
}

LXEXPORT(HRESULT) LxMetric_OpenSubKey(HLXMETRIC *out, HLXMETRIC parent, const char *subKey) {
    if (!out) return LX_E_INVALIDARG;
    *out = nullptr;
    parent = Resolve(parent);
    if (!parent) return LX_E_FAIL;
    /* The product name begins where the template's first insertion is. */
    size_t start = (size_t)(strchr(kProductPath, '%') - kProductPath);
    const char *p = parent->userPath;
    for (size_t i = 0; i < start; i++) {
        if (!*p) return LX_E_FAIL;
        p = CharNextA(p);
    }
    char product[MAX_PATH], number[MAX_PATH];
    p = CopyUpTo(p, '\\', product, sizeof product);
    if (!p) return LX_E_FAIL;
    p = CopyUpTo(CharNextA(p), '.', number, sizeof number);
    if (!p) return LX_E_FAIL;
    DWORD major = LxTextToDWordToken(number, nullptr);
    const char *end = CopyUpTo(CharNextA(p), '\\', number, sizeof number);
    if (!end && !number[0]) return LX_E_FAIL;
    DWORD minor = LxTextToDWordToken(number, nullptr);
    return LxMetric_Open(out, product, (minor | (major << 8)) << 16, subKey);
}

LXEXPORT(HRESULT) LxMetric_Close(HLXMETRIC h) {
    /* The default store belongs to the frame, which closes it itself. */
    if (!h || h == LXMETRIC_DEFAULT) return LX_S_OK;
    if (h->machineKey) RegCloseKey(h->machineKey);
    if (h->userKey) RegCloseKey(h->userKey);
    free(h);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxMetric_CloseAndDeleteKey(HLXMETRIC h) {
    if (!h || h == LXMETRIC_DEFAULT) return LX_E_FAIL;
    if (h->machineKey) RegCloseKey(h->machineKey);
    if (h->userKey) RegCloseKey(h->userKey);
    if (h->userPath[0]) LxRegDeleteKey(HKEY_CURRENT_USER, h->userPath);
    if (h->machinePath[0]) LxRegDeleteKey(HKEY_LOCAL_MACHINE, h->machinePath);
    free(h);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxMetric_DeleteAll(const char *product, DWORD version) {
    return LxMetric_DeleteKey(product, version, nullptr);
}

LXEXPORT(HRESULT) LxMetric_DeleteKey(const char *product, DWORD version, const char *subKey) {
    DeletePath(HKEY_LOCAL_MACHINE, kProductPath, kProductSubPath, product, version, subKey);
    DeletePath(HKEY_CURRENT_USER, kProductPath, kProductSubPath, product, version, subKey);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxMetric_DeleteAllService(const char *service, DWORD version) {
    return LxMetric_DeleteKeyService(service, version, nullptr);
}

LXEXPORT(HRESULT) LxMetric_DeleteKeyService(const char *service, DWORD version,
                                            const char *subKey) {
    DeletePath(HKEY_LOCAL_MACHINE, kServicePath, kServiceSubPath, service, version, subKey);
    return LX_S_OK;
}

/* ---- Reading ---------------------------------------------------------- */

/* The DWORD of an id: true if it is there. */
static bool ReadDWord(HKEY key, LONG id, DWORD *value) {
    char name[16];
    ValueName(name, sizeof name, id, LXMETRIC_DWORD);
    DWORD v = 0;
    if (QueryTyped(key, name, REG_DWORD, &v, sizeof v) != sizeof v) return false;
    *value = v;
    return true;
}

LXEXPORT(DWORD) LxGetMetric(HLXMETRIC h, LONG id) {
    HKEY key = KeyFor(h, id);
    DWORD value = 0;
    if (key && ReadDWord(key, id, &value)) return value;
    return 0;
}

LXEXPORT(DWORD) LxGetMetricEx(HLXMETRIC h, LONG id, LONG minimum, LONG maximum, LONG def) {
    HKEY key = KeyFor(h, id);
    if (!key) return (DWORD)def;
    DWORD stored;
    LONG value = ReadDWord(key, id, &stored) ? (LONG)stored : def;
    /* Equal bounds ask for an unbounded value. */
    if (minimum != maximum) {
        if (value < minimum)
            value = minimum;
        else if (value > maximum)
            value = maximum;
    }
    return (DWORD)value;
}

LXEXPORT(DWORD) LxGetMetricBool(HLXMETRIC h, LONG id, DWORD def) {
    HKEY key = KeyFor(h, id);
    if (!key) return def;
    DWORD value;
    if (ReadDWord(key, id, &value)) return value != 0;
    return def != 0;
}

LXEXPORT(DWORD) LxGetMetricBinary(HLXMETRIC h, LONG id, void *buffer, DWORD size) {
    if (!buffer) return 0;
    DWORD length = 0;
    HKEY key = KeyFor(h, id);
    if (key) {
        char name[16];
        ValueName(name, sizeof name, id, LXMETRIC_BINARY);
        length = QueryTyped(key, name, REG_BINARY, buffer, size);
    }
    memset((BYTE *)buffer + length, 0, size - length);
    return length;
}

LXEXPORT(HRESULT) LxGetMetricBinaryEx(HLXMETRIC h, LONG id, void *buffer, DWORD size,
                                      DWORD *pLength) {
    if (!pLength) return LX_E_INVALIDARG;
    *pLength = 0;
    if (!buffer && size) return LX_E_INVALIDARG;
    /* With no buffer at all the query still tells the size through
       ERROR_MORE_DATA: it must not be read as a successful empty read. */
    BYTE scratch;
    BYTE *data = buffer ? (BYTE *)buffer : &scratch;
    HKEY key = KeyFor(h, id);
    if (!key) {
        memset(data, 0, size);
        return LX_E_NOSTORE;
    }
    char name[16];
    ValueName(name, sizeof name, id, LXMETRIC_BINARY);
    DWORD type = 0, length = size;
    LONG rc = RegQueryValueExA(key, name, nullptr, &type, data, &length);
    if (rc == ERROR_MORE_DATA && type == REG_BINARY) {
        *pLength = length;
        return LX_E_MOREDATA;
    }
    if (rc != ERROR_SUCCESS || type != REG_BINARY || length > size) {
        memset(data, 0, size);
        return LX_S_FALSE;
    }
    memset(data + length, 0, size - length);
    *pLength = length;
    return LX_S_OK;
}

LXEXPORT(LONG) LxGetMetricStringEx(HLXMETRIC h, LONG id, char *buffer, DWORD size,
                                   const char *def, BOOL emptyIsValid) {
    return GetText(h, id, LXMETRIC_SZ, buffer, size, def, emptyIsValid);
}

LXEXPORT(LONG) LxGetMetricMultiStringEx(HLXMETRIC h, LONG id, char *buffer, DWORD size,
                                        const char *def, BOOL emptyIsValid) {
    return GetText(h, id, LXMETRIC_MULTI_SZ, buffer, size, def, emptyIsValid);
}

/* ---- Writing ---------------------------------------------------------- */

LXEXPORT(HRESULT) LxSetMetric(HLXMETRIC h, LONG id, DWORD value) {
    return SetValue(h, id, LXMETRIC_DWORD, &value, sizeof value);
}

/* Only the DWORD setter may write to the default store. */
LXEXPORT(HRESULT) LxSetMetricBinary(HLXMETRIC h, LONG id, const void *data, DWORD size) {
    if (h == LXMETRIC_DEFAULT) return LX_E_FAIL;
    return SetValue(h, id, LXMETRIC_BINARY, data, size);
}

LXEXPORT(HRESULT) LxSetMetricMultiString(HLXMETRIC h, LONG id, const char *data, DWORD size) {
    if (h == LXMETRIC_DEFAULT) return LX_E_FAIL;
    return SetValue(h, id, LXMETRIC_MULTI_SZ, data, size);
}

LXEXPORT(HRESULT) LxSetMetricString(HLXMETRIC h, LONG id, const char *text) {
    if (h == LXMETRIC_DEFAULT || !text) return LX_E_FAIL;
    return SetValue(h, id, LXMETRIC_SZ, text, (DWORD)lstrlenA(text) + 1);
}

LXEXPORT(HRESULT) LxDoesMetricExist(HLXMETRIC h, LONG id, DWORD type) {
    HKEY key = KeyFor(h, id);
    if (!key) return LX_S_FALSE;
    char name[16];
    DWORD regType = ValueName(name, sizeof name, id, type);
    BYTE probe[1];
    DWORD found = 0, length = sizeof probe;
    LONG rc = RegQueryValueExA(key, name, nullptr, &found, probe, &length);
    if (rc != ERROR_SUCCESS && rc != ERROR_MORE_DATA) return LX_S_FALSE;
    return found == regType ? LX_S_OK : LX_S_FALSE;
}

LXEXPORT(HRESULT) LxDeleteMetric(HLXMETRIC h, LONG id, DWORD type) {
    HKEY key = KeyFor(h, id);
    if (!key) return LX_S_FALSE;
    char name[16];
    ValueName(name, sizeof name, id, type);
    return RegDeleteValueA(key, name) == ERROR_SUCCESS ? LX_S_OK : LX_E_FAIL;
}

/* ---- SMPTE times ------------------------------------------------------ */

/* Stored as the frame count of the time read at 30 frames, whatever the
   caller's type, and given back normalised in the caller's type. */
LXEXPORT(HRESULT) LxGetMetricSmpteTime(HLXMETRIC h, LONG id, struct _smpteval *time) {
    if (!time) return LX_E_INVALIDARG;
    _smpteval value = {};
    value.type = 1;
    FrameCountToSMPTE(&value, (LONGLONG)LxGetMetric(h, id));
    value.type = time->type;
    HRESULT hr = FrameCountToSMPTE(&value, SMPTEToFrameCount(&value));
    *time = value;
    return hr;
}

LXEXPORT(HRESULT) LxSetMetricSmpteTime(HLXMETRIC h, LONG id, const struct _smpteval *time) {
    if (!time) return LX_E_INVALIDARG;
    _smpteval value = *time;
    value.type = 1;
    return LxSetMetric(h, id, (DWORD)SMPTEToFrameCount(&value));
}
