// Conformance tests of MARLOK.DLL as a host sees it: the export list, the
// binaries' imports, the version resource, attach and detach, host
// lifetime, the plug-in library list, the version rule's real message box
// and the RunDLL32 role.
#include "kernel/kernel.h"
#include "kernel/lxmetric.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string Lower(std::string s) {
    for (char &c : s) c = (char)tolower((unsigned char)c);
    return s;
}

HMODULE Kernel() { return GetModuleHandleA("MARLOK.DLL"); }

// ---- Exports ----------------------------------------------------------------

std::vector<std::string> DefExportNames() {
    std::ifstream in(lxtest::ExeDir() + "marlok.def");
    std::vector<std::string> names;
    std::string line;
    bool exports = false;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string first;
        if (!(words >> first) || first[0] == ';') continue;
        if (first == "EXPORTS") {
            exports = true;
            continue;
        }
        if (!exports) continue;
        names.push_back(first);  // "export = internal" names the export first
    }
    return names;
}

// The names of the loaded module's export table, in table order.
std::vector<std::string> ExportTable(HMODULE m) {
    auto *base = (const BYTE *)m;
    auto *nt = (const IMAGE_NT_HEADERS32 *)(base + ((const IMAGE_DOS_HEADER *)base)->e_lfanew);
    DWORD rva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    auto *dir = (const IMAGE_EXPORT_DIRECTORY *)(base + rva);
    auto *names = (const DWORD *)(base + dir->AddressOfNames);
    std::vector<std::string> out;
    for (DWORD i = 0; i < dir->NumberOfNames; i++) out.push_back((const char *)(base + names[i]));
    return out;
}

TEST(KernelExports, EveryDefNameResolvesAndNoOther) {
    HMODULE k = Kernel();
    ASSERT_NE(nullptr, k);
    std::vector<std::string> names = DefExportNames();
    ASSERT_GT(names.size(), 80u);
    for (const std::string &n : names)
        EXPECT_NE(nullptr, GetProcAddress(k, n.c_str())) << n;
    std::vector<std::string> table = ExportTable(k);
    // The loader looks names up by bisection: the table must be sorted.
    EXPECT_TRUE(std::is_sorted(table.begin(), table.end()));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, table);
}

TEST(KernelExports, RunDllEntryKeepsItsDecoratedName) {
    EXPECT_NE(nullptr, GetProcAddress(Kernel(), "_LxPlugIn_Grovel@16"));
    EXPECT_EQ(0x060000DBu, LxKernel_GetVersion());  // linked through the import library
}

// ---- Imports: nothing but the system's own DLLs ----------------------------------

std::vector<std::string> ImportedDlls(const std::string &path) {
    std::vector<std::string> out;
    std::ifstream f(path, std::ios::binary);
    std::vector<char> img((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    if (img.size() < sizeof(IMAGE_DOS_HEADER)) return {"<unreadable>"};
    auto *dos = (IMAGE_DOS_HEADER *)img.data();
    auto *nt = (IMAGE_NT_HEADERS32 *)(img.data() + dos->e_lfanew);
    auto *sec = IMAGE_FIRST_SECTION(nt);
    auto toOffset = [&](DWORD rva) -> DWORD {
        for (int i = 0; i < nt->FileHeader.NumberOfSections; i++)
            if (rva >= sec[i].VirtualAddress && rva < sec[i].VirtualAddress + sec[i].Misc.VirtualSize)
                return rva - sec[i].VirtualAddress + sec[i].PointerToRawData;
        return 0;
    };
    DWORD rva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    if (!rva) return out;
    auto *imp = (IMAGE_IMPORT_DESCRIPTOR *)(img.data() + toOffset(rva));
    for (; imp->Name; imp++) out.push_back(Lower(img.data() + toOffset(imp->Name)));
    return out;
}

TEST(KernelBinaries, ImportOnlySystemDlls) {
    const std::set<std::string> system = {
        "kernel32.dll", "user32.dll", "gdi32.dll",   "advapi32.dll", "ole32.dll",
        "oleaut32.dll", "version.dll", "shell32.dll", "winmm.dll",   "msacm32.dll",
        "msvcrt.dll",   "comctl32.dll", "comdlg32.dll", "shlwapi.dll"};
    struct Row {
        const char *file;
        bool mayImportKernel;
    } rows[] = {
        {"MARLOK.DLL", false},
        {"kernel_dlltests.exe", true},
        {"kernel_tests.exe", false},
        {"marlok_demo.exe", false},
        {"hostprobe.exe", false},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.file);
        std::vector<std::string> dlls = ImportedDlls(lxtest::ExeDir() + r.file);
        EXPECT_FALSE(dlls.empty());
        for (const std::string &d : dlls) {
            if (r.mayImportKernel && d == "marlok.dll") continue;
            EXPECT_TRUE(system.count(d)) << d;
        }
    }
}

// ---- Version resource --------------------------------------------------------

std::string VersionString(const std::vector<BYTE> &block, const char *name) {
    char path[128];
    snprintf(path, sizeof path, "\\StringFileInfo\\040904b0\\%s", name);
    char *value = nullptr;
    UINT len = 0;
    if (!VerQueryValueA(block.data(), path, (void **)&value, &len) || !value) return "<none>";
    return value;
}

TEST(KernelResources, VersionBlock) {
    std::string dll = lxtest::ExeDir() + "MARLOK.DLL";
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeA(dll.c_str(), &handle);
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
    EXPECT_EQ("Velmora", VersionString(block, "CompanyName"));
    EXPECT_EQ("Marlo", VersionString(block, "ProductName"));
    EXPECT_EQ("6.0.0.219", VersionString(block, "FileVersion"));
}

// ---- Threads -------------------------------------------------------------------

DWORD WINAPI WaitForGo(LPVOID p) {
    WaitForSingleObject(*(HANDLE *)p, INFINITE);
    return 0;
}

TEST(KernelLifetime, ThreadCountFollowsThreads) {
    LONG before = LxKernelGetThreadCount();
    EXPECT_GE(before, 1);
    struct Ctx {
        HANDLE go;
        LONG inside;
    } ctx = {CreateEventA(nullptr, TRUE, FALSE, nullptr), 0};
    HANDLE threads[3];
    for (HANDLE &t : threads)
        t = CreateThread(nullptr, 0, WaitForGo, &ctx.go, 0, nullptr);
    // Thread attach runs in each new thread before its start routine.
    for (int i = 0; i < 200 && LxKernelGetThreadCount() != before + 3; i++) Sleep(5);
    EXPECT_EQ(before + 3, LxKernelGetThreadCount());
    SetEvent(ctx.go);
    WaitForMultipleObjects(3, threads, TRUE, INFINITE);
    for (HANDLE t : threads) CloseHandle(t);
    EXPECT_EQ(before, LxKernelGetThreadCount());
    CloseHandle(ctx.go);
}

// ---- Host lifetime -----------------------------------------------------------------

const IID kHostServices = {0xBFCCD726, 0x17B0, 0x11D0, {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
const IID kHostDocServices = {0xBFCCD751, 0x17B0, 0x11D0, {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};

// A host object that answers the first of the two interfaces only.
struct FakeHost : IUnknown {
    std::atomic<LONG> refs{1};
    int queries = 0;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void **out) override {
        queries++;
        if (IsEqualIID(iid, kHostServices) || IsEqualIID(iid, IID_IUnknown)) {
            *out = this;
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
};

TEST(KernelLifetime, InitializeQueriesHostAndKeepsReferences) {
    FakeHost host;
    MLOKRNPREFS prefs;
    memset(&prefs, 0, sizeof prefs);
    prefs.fAllowWide = 1;
    prefs.wBitsA = 64;
    prefs.wTagB = 7;
    prefs.wBitsB = 3;
    EXPECT_EQ(TRUE, MloKrnInitialize(1, &prefs, sizeof prefs, &host, 2, 3));
    EXPECT_EQ(2, host.queries);
    EXPECT_EQ(2, host.refs.load());  // one interface given, none released

    MLOKRNPREFS got;
    EXPECT_EQ(24, MloKrnGetPrefs(&got, sizeof got));
    EXPECT_EQ(3, got.wTagA);
    EXPECT_EQ(32, got.wBitsA);
    EXPECT_EQ(3, got.wTagB);
    EXPECT_EQ(64, got.wBitsB);

    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Velmora\\Marlo\\6.0\\Metrics",
                                           0, KEY_READ, &key));
    RegCloseKey(key);
    MloKrnLateInitialize();
    EXPECT_EQ(TRUE, MloKrnTerminate(0));
    EXPECT_EQ(2, host.refs.load());  // terminate leaves the host's interfaces alone
    EXPECT_EQ(TRUE, MloKrnInitialize(0, nullptr, 0, nullptr, 0, 0));
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(64, got.wBitsB);
    EXPECT_EQ(TRUE, MloKrnTerminate(0));
}

// ---- Plug-in libraries -------------------------------------------------------------

struct LibName {
    std::string name;
    DWORD builtIn;
};

HRESULT ListLibraries(std::vector<LibName> *out, DWORD *finalCursor) {
    DWORD *cursor = nullptr;
    HRESULT hr = Marlo_GetPluginLibNameStart(&cursor);
    if (hr != S_OK) return hr;
    EXPECT_EQ(0u, *cursor);
    for (int guard = 0; guard < 100; guard++) {
        char name[MAX_PATH];
        DWORD builtIn = 0x55;
        hr = Marlo_GetPluginLibName(cursor, name, sizeof name, &builtIn);
        if (hr != S_OK) break;
        out->push_back({name, builtIn});
    }
    *finalCursor = *cursor;
    EXPECT_EQ(S_OK, Marlo_GetPluginLibNameStop(cursor));
    return hr;
}

TEST(KernelPlugInLibraries, BuiltInsThenIniKeys) {
    std::string ini = lxtest::ExeDir() + "MARLO.INI";
    DeleteFileA(ini.c_str());

    std::vector<LibName> libs;
    DWORD cursor = 0;
    EXPECT_EQ(S_FALSE, ListLibraries(&libs, &cursor));
    EXPECT_EQ(36u, cursor);
    const char *builtIns[] = {"MLOPLUGS.DLL", "MLOQZ.DLL", "MLOFFT.DLL", "MLOSMP.DLL"};
    ASSERT_EQ(4u, libs.size());
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(builtIns[i], libs[i].name);
        EXPECT_EQ(1u, libs[i].builtIn);
    }

    // Gaps in the numbering are allowed; an empty value is passed over;
    // keys past PlugIn31 are never read.
    ASSERT_TRUE(WritePrivateProfileStringA("Plug-Ins 5.0", "PlugIn", "first.dll", ini.c_str()));
    WritePrivateProfileStringA("Plug-Ins 5.0", "PlugIn2", "", ini.c_str());
    WritePrivateProfileStringA("Plug-Ins 5.0", "PlugIn3", "third.dll", ini.c_str());
    WritePrivateProfileStringA("Plug-Ins 5.0", "PlugIn31", "last.dll", ini.c_str());
    WritePrivateProfileStringA("Plug-Ins 5.0", "PlugIn32", "never.dll", ini.c_str());
    WritePrivateProfileStringA("Other", "PlugIn1", "other.dll", ini.c_str());
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, ini.c_str());

    libs.clear();
    EXPECT_EQ(S_FALSE, ListLibraries(&libs, &cursor));
    EXPECT_EQ(36u, cursor);
    ASSERT_EQ(7u, libs.size());
    EXPECT_EQ("first.dll", libs[4].name);
    EXPECT_EQ("third.dll", libs[5].name);
    EXPECT_EQ("last.dll", libs[6].name);
    for (int i = 4; i < 7; i++) EXPECT_EQ(0u, libs[i].builtIn);

    // The cursor resumes one past the key that gave the last name.
    DWORD c = 8;  // PlugIn4 onwards
    char name[16];
    DWORD builtIn = 0x55;
    EXPECT_EQ(S_OK, Marlo_GetPluginLibName(&c, name, sizeof name, &builtIn));
    EXPECT_STREQ("last.dll", name);
    EXPECT_EQ(0u, builtIn);
    EXPECT_EQ(36u, c);
    // Names are cut to the buffer.
    c = 0;
    EXPECT_EQ(S_OK, Marlo_GetPluginLibName(&c, name, 6, nullptr));
    EXPECT_STREQ("MLOPL", name);
    EXPECT_EQ(1u, c);
    EXPECT_EQ(E_INVALIDARG, Marlo_GetPluginLibName(nullptr, name, 6, nullptr));
    EXPECT_EQ(E_INVALIDARG, Marlo_GetPluginLibName(&c, name, 0, nullptr));
    EXPECT_EQ(S_OK, Marlo_GetPluginLibNameStop(nullptr));
    DeleteFileA(ini.c_str());
}

// ---- The version rule's message box, for real -------------------------------------

struct SeenBox {
    std::string title, text;
    int count = 0;
} g_seen;

BOOL CALLBACK FindText(HWND child, LPARAM) {
    char cls[32], text[512];
    GetClassNameA(child, cls, sizeof cls);
    if (lstrcmpiA(cls, "Static") == 0 && GetWindowTextA(child, text, sizeof text) > 0)
        g_seen.text = text;
    return TRUE;
}

// Each box is read once its dialog procedure has set the texts, then closed.
LRESULT CALLBACK AfterDialogInit(int code, WPARAM wParam, LPARAM lParam) {
    auto *msg = (const CWPRETSTRUCT *)lParam;
    char cls[32] = "";
    if (code == HC_ACTION && msg->message == WM_INITDIALOG) GetClassNameA(msg->hwnd, cls, sizeof cls);
    if (lstrcmpA(cls, "#32770") == 0) {
        char title[128];
        GetWindowTextA(msg->hwnd, title, sizeof title);
        g_seen.title = title;
        g_seen.count++;
        EnumChildWindows(msg->hwnd, FindText, 0);
        PostMessageA(msg->hwnd, WM_COMMAND, IDOK, 0);
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

TEST(KernelVersionRule, RealMessageBoxCarriesTheReason) {
    HHOOK hook = SetWindowsHookExA(WH_CALLWNDPROCRET, AfterDialogInit, nullptr, GetCurrentThreadId());
    ASSERT_NE(nullptr, hook);
    g_seen = SeenBox();
    EXPECT_EQ(S_OK, LxKernel_CheckVersion(nullptr, "Client.dll", 0x060000DB, 2, 0));
    EXPECT_EQ(0, g_seen.count);
    EXPECT_EQ(E_FAIL, LxKernel_CheckVersion(nullptr, "Client.dll", 0x060000DC, 2, 0));
    EXPECT_EQ(1, g_seen.count);
    EXPECT_EQ("Velmora Kernel", g_seen.title);
    EXPECT_EQ("The version of the Velmora Kernel is too old.", g_seen.text);
    EXPECT_EQ(E_FAIL, LxKernel_CheckVersion(nullptr, "Client.dll", 0x060000DB, 1, 0));
    EXPECT_EQ(2, g_seen.count);
    EXPECT_EQ("The version of the Velmora Kernel is incompatible with the following client:\n\n"
              "Client.dll.",
              g_seen.text);
    UnhookWindowsHookEx(hook);
}

// ---- The RunDLL32 role ------------------------------------------------------------------

DWORD RunAndWait(const std::string &cmd, DWORD timeoutMs) {
    STARTUPINFOA si;
    memset(&si, 0, sizeof si);
    si.cb = sizeof si;
    PROCESS_INFORMATION pi;
    std::vector<char> line(cmd.begin(), cmd.end());
    line.push_back(0);
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
        return 0xFFFFFFFF;
    DWORD code = 0xFFFFFFFE;
    if (WaitForSingleObject(pi.hProcess, timeoutMs) == WAIT_OBJECT_0) GetExitCodeProcess(pi.hProcess, &code);
    else TerminateProcess(pi.hProcess, 1);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return code;
}

TEST(KernelRunDll, HostRuleSkipsTheUserInterface) {
    std::string dll = lxtest::ExeDir() + "MARLOK.DLL";
    // An ordinary host: class registered, default store open, class gone after unload.
    EXPECT_EQ(0x40u | 1 | 2 | 4 | 8,
              RunAndWait("\"" + lxtest::ExeDir() + "hostprobe.exe\" \"" + dll + "\"", 30000));
    // A host named RUNDLL32.EXE: no class, no settings store, and a clean unload.
    EXPECT_EQ(0x40u | 4 | 8,
              RunAndWait("\"" + lxtest::ExeDir() + "rundllhost\\RUNDLL32.EXE\" \"" + dll + "\"", 30000));
}

TEST(KernelRunDll, GrovelEntryIsFoundByRunDll32) {
    std::string event = lxtest::UniqueName("MarlokGrovelTest");
    HANDLE h = CreateEventA(nullptr, TRUE, FALSE, event.c_str());
    ASSERT_NE(nullptr, h);
    char shortPath[MAX_PATH];
    std::string dll = lxtest::ExeDir() + "MARLOK.DLL";
    ASSERT_GT(GetShortPathNameA(dll.c_str(), shortPath, MAX_PATH), 0u);
    char cmd[1024];
    snprintf(cmd, sizeof cmd, "RunDLL32.exe %s,_LxPlugIn_Grovel@16 %d %d %s", shortPath, 0, 0,
             event.c_str());
    DWORD code = RunAndWait(cmd, 60000);
    EXPECT_EQ(0u, code);
    // rundll32 exits 0 even when it finds nothing: the event is the proof.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(h, 0));
    CloseHandle(h);
}

// ---- Colour answers ----------------------------------------------------------------------

TEST(KernelDisplay, VirtualDisplayIsHighColour) {
    EXPECT_TRUE(LxIsHighColor());
    EXPECT_TRUE(LxIsAllMonitorsHighColor());
}

}  // namespace
