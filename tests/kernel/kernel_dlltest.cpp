// MARLOK.DLL as a host sees it: the export list, the binaries' imports, the
// version resource, thread and host lifetime, the plug-in library list and
// the RunDLL32 role.
#include "kernel/kernel.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

HMODULE Kernel() { return GetModuleHandleA("MARLOK.DLL"); }

std::vector<std::string> DefExportNames() {
    std::ifstream in(lxtest::ExeDir() + "marlok.def");
    std::vector<std::string> names;
    bool exports = false;
    for (std::string line, first; std::getline(in, line);) {
        if (!(std::istringstream(line) >> first) || first[0] == ';') continue;
        if (exports) names.push_back(first);  // "export = internal" names the export first
        exports = exports || first == "EXPORTS";
    }
    return names;
}

TEST(KernelExports, EveryDefNameResolvesAndNoOther) {
    auto *base = (const BYTE *)Kernel();
    ASSERT_NE(nullptr, base);
    std::vector<std::string> names = DefExportNames();
    ASSERT_GT(names.size(), 80u);
    for (const std::string &n : names)
        EXPECT_NE(nullptr, GetProcAddress(Kernel(), n.c_str())) << n;
    auto *nt = (const IMAGE_NT_HEADERS32 *)(base + ((const IMAGE_DOS_HEADER *)base)->e_lfanew);
    DWORD rva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    auto *dir = (const IMAGE_EXPORT_DIRECTORY *)(base + rva);
    std::vector<std::string> table;
    for (DWORD i = 0; i < dir->NumberOfNames; i++)
        table.push_back((const char *)(base + ((const DWORD *)(base + dir->AddressOfNames))[i]));
    // The loader looks names up by bisection: the table must be sorted.
    EXPECT_TRUE(std::is_sorted(table.begin(), table.end()));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, table);
    EXPECT_NE(nullptr, GetProcAddress(Kernel(), "_LxPlugIn_Grovel@16"));  // decorated on purpose
    EXPECT_EQ(0x060000DBu, LxKernel_GetVersion());  // linked through the import library
}

std::vector<std::string> ImportedDlls(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    std::vector<char> img((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    if (img.size() < sizeof(IMAGE_DOS_HEADER)) return {"<unreadable>"};
    auto *nt = (IMAGE_NT_HEADERS32 *)(img.data() + ((IMAGE_DOS_HEADER *)img.data())->e_lfanew);
    auto *sec = IMAGE_FIRST_SECTION(nt);
    auto at = [&](DWORD rva) -> char * {
        for (int i = 0; i < nt->FileHeader.NumberOfSections; i++)
            if (rva - sec[i].VirtualAddress < sec[i].Misc.VirtualSize)
                return img.data() + rva - sec[i].VirtualAddress + sec[i].PointerToRawData;
        return img.data();
    };
    std::vector<std::string> out;
    DWORD rva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto *imp = (IMAGE_IMPORT_DESCRIPTOR *)at(rva); rva && imp->Name; imp++) {
        std::string name = at(imp->Name);
        for (char &c : name) c = (char)tolower((unsigned char)c);
        out.push_back(name);
    }
    return out;
}

TEST(KernelBinaries, ImportOnlySystemDlls) {
    const std::set<std::string> system = {
        "kernel32.dll", "user32.dll",  "gdi32.dll",   "advapi32.dll", "ole32.dll",
        "oleaut32.dll", "version.dll", "shell32.dll", "winmm.dll",    "msacm32.dll",
        "msvcrt.dll",   "comctl32.dll", "comdlg32.dll", "shlwapi.dll"};
    for (const char *file : {"MARLOK.DLL", "kernel_dlltests.exe", "kernel_tests.exe",
                             "marlok_demo.exe", "hostprobe.exe"}) {
        SCOPED_TRACE(file);
        std::vector<std::string> dlls = ImportedDlls(lxtest::ExeDir() + file);
        EXPECT_FALSE(dlls.empty());
        for (const std::string &d : dlls) {
            // Only this test program links against the library itself.
            bool own = d == "marlok.dll" && strcmp(file, "kernel_dlltests.exe") == 0;
            EXPECT_TRUE(own || system.count(d)) << d;
        }
    }
}

TEST(KernelResources, VersionBlock) {
    std::string dll = lxtest::ExeDir() + "MARLOK.DLL";
    DWORD handle = 0, size = GetFileVersionInfoSizeA(dll.c_str(), &handle);
    ASSERT_GT(size, 0u);
    std::vector<BYTE> block(size);
    ASSERT_TRUE(GetFileVersionInfoA(dll.c_str(), 0, size, block.data()));
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT len = 0;
    ASSERT_TRUE(VerQueryValueA(block.data(), "\\", (void **)&fixed, &len));
    EXPECT_EQ(0x00060000u, fixed->dwFileVersionMS);
    EXPECT_EQ(0x000000DBu, fixed->dwFileVersionLS);
    EXPECT_EQ(0x00060000u, fixed->dwProductVersionMS);
    EXPECT_EQ(0x000000DBu, fixed->dwProductVersionLS);
    const char *strings[][2] = {
        {"CompanyName", "Velmora"}, {"ProductName", "Marlo"}, {"FileVersion", "6.0.0.219"}};
    for (auto &kv : strings) {
        char *value = nullptr;
        std::string path = std::string("\\StringFileInfo\\040904b0\\") + kv[0];
        ASSERT_TRUE(VerQueryValueA(block.data(), path.c_str(), (void **)&value, &len)) << kv[0];
        EXPECT_STREQ(kv[1], value);
    }
}

DWORD WINAPI WaitForGo(LPVOID go) { return WaitForSingleObject(go, INFINITE); }

TEST(KernelLifetime, ThreadCountFollowsThreads) {
    LONG before = LxKernelGetThreadCount();
    EXPECT_GE(before, 1);
    HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE threads[3];
    for (HANDLE &t : threads) t = CreateThread(nullptr, 0, WaitForGo, go, 0, nullptr);
    // Thread attach runs in each new thread before its start routine.
    for (int i = 0; i < 200 && LxKernelGetThreadCount() != before + 3; i++) Sleep(5);
    EXPECT_EQ(before + 3, LxKernelGetThreadCount());
    SetEvent(go);
    WaitForMultipleObjects(3, threads, TRUE, INFINITE);
    for (HANDLE t : threads) CloseHandle(t);
    CloseHandle(go);
    EXPECT_EQ(before, LxKernelGetThreadCount());
}

// A host object that answers the first of the kernel's two interfaces only.
struct FakeHost : IUnknown {
    std::atomic<LONG> refs{1};
    int queries = 0;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void **out) override {
        const IID services = {0xBFCCD726, 0x17B0, 0x11D0,
                              {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
        queries++;
        *out = IsEqualIID(iid, services) ? this : nullptr;
        if (*out) AddRef();
        return *out ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
};

TEST(KernelLifetime, InitializeQueriesHostAndKeepsReferences) {
    FakeHost host;
    const MLOKRNPREFS prefs = {0, 1, 0, 64, 7, 3, {}};
    EXPECT_EQ(TRUE, MloKrnInitialize(1, &prefs, sizeof prefs, &host, 2, 3));
    EXPECT_EQ(2, host.queries);
    EXPECT_EQ(2, host.refs.load());  // one interface given, none released
    MLOKRNPREFS got;
    EXPECT_EQ(24, MloKrnGetPrefs(&got, sizeof got));
    const MLOKRNPREFS normalised = {0, 1, 3, 32, 3, 64, {}};
    EXPECT_EQ(0, memcmp(&normalised, &got, sizeof got));
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER,
                                           "Software\\Velmora\\Marlo\\6.0\\Metrics", 0,
                                           KEY_READ, &key));
    RegCloseKey(key);
    MloKrnLateInitialize();
    EXPECT_EQ(TRUE, MloKrnTerminate(0));
    EXPECT_EQ(2, host.refs.load());  // terminate leaves the host's interfaces alone
    EXPECT_EQ(TRUE, MloKrnInitialize(0, nullptr, 0, nullptr, 0, 0));
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(64, got.wBitsB);
    EXPECT_EQ(TRUE, MloKrnTerminate(0));
}

// The names in cursor order, then the final status and cursor.
std::string ListLibraries() {
    DWORD *cursor = nullptr;
    HRESULT hr = Marlo_GetPluginLibNameStart(&cursor);
    if (hr != S_OK || *cursor != 0) return "<start failed>";
    std::string list;
    for (int guard = 0; guard < 100 && hr == S_OK; guard++) {
        char name[MAX_PATH];
        DWORD builtIn = 0x55;
        hr = Marlo_GetPluginLibName(cursor, name, sizeof name, &builtIn);
        list += hr == S_OK ? std::string(name) + (builtIn == 1 ? "* " : builtIn ? "? " : " ") : "";
    }
    list += "-> " + std::to_string(hr) + " at " + std::to_string(*cursor);
    EXPECT_EQ(S_OK, Marlo_GetPluginLibNameStop(cursor));
    return list;
}

TEST(KernelPlugInLibraries, BuiltInsThenIniKeys) {
    const std::string ini = lxtest::ExeDir() + "MARLO.INI";
    const std::string builtIns = "MLOPLUGS.DLL* MLOQZ.DLL* MLOFFT.DLL* MLOSMP.DLL* ";
    DeleteFileA(ini.c_str());
    EXPECT_EQ(builtIns + "-> 1 at 36", ListLibraries());
    // Gaps in the numbering are allowed; an empty value is passed over;
    // keys past PlugIn31 are never read.
    const char *keys[][3] = {
        {"Plug-Ins 5.0", "PlugIn", "first.dll"},    {"Plug-Ins 5.0", "PlugIn2", ""},
        {"Plug-Ins 5.0", "PlugIn3", "third.dll"},   {"Plug-Ins 5.0", "PlugIn31", "last.dll"},
        {"Plug-Ins 5.0", "PlugIn32", "never.dll"},  {"Other", "PlugIn1", "other.dll"}};
    for (auto &k : keys) ASSERT_TRUE(WritePrivateProfileStringA(k[0], k[1], k[2], ini.c_str()));
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, ini.c_str());
    EXPECT_EQ(builtIns + "first.dll third.dll last.dll -> 1 at 36", ListLibraries());
    DWORD c = 0;  // names are cut to the buffer
    char name[16];
    EXPECT_EQ(S_OK, Marlo_GetPluginLibName(&c, name, 6, nullptr));
    EXPECT_STREQ("MLOPL", name);
    EXPECT_EQ(1u, c);
    EXPECT_EQ(E_INVALIDARG, Marlo_GetPluginLibName(nullptr, name, 6, nullptr));
    EXPECT_EQ(E_INVALIDARG, Marlo_GetPluginLibName(&c, name, 0, nullptr));
    EXPECT_EQ(S_OK, Marlo_GetPluginLibNameStop(nullptr));
    DeleteFileA(ini.c_str());
}

DWORD RunAndWait(const std::string &cmd, DWORD timeoutMs) {
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi;
    std::vector<char> line(cmd.begin(), cmd.end());
    line.push_back(0);
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si,
                        &pi))
        return 0xFFFFFFFF;
    DWORD code = 0xFFFFFFFE;
    if (WaitForSingleObject(pi.hProcess, timeoutMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(pi.hProcess, &code);
    else
        TerminateProcess(pi.hProcess, 1);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return code;
}

TEST(KernelRunDll, HostRuleAndGrovelEntry) {
    const std::string dir = lxtest::ExeDir(), dll = dir + "MARLOK.DLL";
    // Exit bits of the probe: 1 class registered, 2 default store open, 4 class
    // gone after unload, 8 unloaded. A host named RUNDLL32.EXE gets neither
    // the class nor the settings store, and still unloads cleanly.
    EXPECT_EQ(0x40u | 1 | 2 | 4 | 8,
              RunAndWait("\"" + dir + "hostprobe.exe\" \"" + dll + "\"", 30000));
    EXPECT_EQ(0x40u | 4 | 8,
              RunAndWait("\"" + dir + "rundllhost\\RUNDLL32.EXE\" \"" + dll + "\"", 30000));

    std::string event = lxtest::UniqueName("MarlokGrovelTest");
    HANDLE h = CreateEventA(nullptr, TRUE, FALSE, event.c_str());
    ASSERT_NE(nullptr, h);
    char shortPath[MAX_PATH];
    ASSERT_GT(GetShortPathNameA(dll.c_str(), shortPath, MAX_PATH), 0u);
    std::string cmd = "RunDLL32.exe " + std::string(shortPath) + ",_LxPlugIn_Grovel@16 0 0 ";
    cmd += event;
    EXPECT_EQ(0u, RunAndWait(cmd, 60000));
    // rundll32 exits 0 even when it finds nothing: the event is the proof.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(h, 0));
    CloseHandle(h);
}

}  // namespace
