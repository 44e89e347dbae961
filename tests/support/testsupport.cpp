#include "testsupport.h"

#include <cstdio>

namespace lxtest {

std::string ExeDir() {
    char path[MAX_PATH] = {0};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string s(path);
    size_t slash = s.find_last_of("\\/");
    return slash == std::string::npos ? std::string(".\\") : s.substr(0, slash + 1);
}

std::string UniqueName(const char *prefix) {
    static LONG counter = 0;
    char buf[128];
    snprintf(buf, sizeof buf, "%s_%lu_%ld", prefix, GetCurrentProcessId(),
             InterlockedIncrement(&counter));
    return buf;
}

static void DeleteTree(HKEY root, const std::string &path) {
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) return;
    char name[256];
    for (;;) {
        DWORD len = sizeof name;
        if (RegEnumKeyExA(key, 0, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        DeleteTree(key, name);
    }
    RegCloseKey(key);
    RegDeleteKeyA(root, path.c_str());
}

void DeleteProductKeys(const std::string &product) {
    DeleteTree(HKEY_CURRENT_USER, "Software\\Velmora\\" + product);
    DeleteTree(HKEY_LOCAL_MACHINE, "Software\\Velmora\\" + product);
}

}  // namespace lxtest
