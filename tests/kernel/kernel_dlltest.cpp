// MARLOK.DLL as a host sees it: the export list and the binaries' imports.
#include "kernel/kernel.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

TEST(KernelExports, EveryDefNameResolvesAndNoOther) {
    HMODULE dll = GetModuleHandleA("MARLOK.DLL");
    auto *base = (const BYTE *)dll;
    ASSERT_NE(nullptr, base);
    std::ifstream in(lxtest::ExeDir() + "marlok.def");
    std::vector<std::string> names;
    bool exports = false;
    for (std::string line, first; std::getline(in, line);) {
        if (!(std::istringstream(line) >> first) || first[0] == ';') continue;
        if (exports) names.push_back(first);  // "export = internal" names the export first
        exports = exports || first == "EXPORTS";
    }
    ASSERT_GT(names.size(), 80u);
    for (const std::string &n : names) EXPECT_NE(nullptr, GetProcAddress(dll, n.c_str())) << n;
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
        std::vector<std::string> dlls = ImportedDlls(lxtest::ExeDir() + file);
        EXPECT_FALSE(dlls.empty()) << file;
        for (const std::string &d : dlls) {
            // Only this test program links against the library itself.
            bool own = d == "marlok.dll" && strcmp(file, "kernel_dlltests.exe") == 0;
            EXPECT_TRUE(own || system.count(d)) << file << " imports " << d;
        }
    }
}

}  // namespace
