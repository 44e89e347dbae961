// The OS questions under each Windows version Wine can pretend to be: the
// build runs copies of this program as osver_<version>.exe, the prefix maps
// each name to a version, and the program takes its row from its own name.
#include "kernel/kernel.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct Expect {
    const char *exe, *system, *osName;
    const char *versionOk;  // kinds 0..6, then -1 and 7
};

const Expect kRows[] = {
    {"osver_win95.exe", "1 4.0 ''", "Windows 95", "100100011"},
    {"osver_win98.exe", "1 4.10 ' A '", "Windows 98 SE", "111100011"},
    {"osver_winme.exe", "1 4.90 ' '", "Windows Me", "111100011"},
    {"osver_nt40.exe", "2 4.0 'Service Pack 6a'", "Windows NT", "000010000"},
    {"osver_win2k.exe", "2 5.0 'Service Pack 4'", "Windows 2000", "000011000"},
    {"osver_winxp.exe", "2 5.1 'Service Pack 3'", "Windows XP", "000011100"},
    {"osver_nt351.exe", "2 3.51 'Service Pack 5'", "Windows NT", "000000000"},
    {nullptr, nullptr, nullptr, "000011100"},  // plain osver.exe: the default, a later NT
};

TEST(KernelOsVersion, AnswersMatchTheSystem) {
    char path[MAX_PATH], system[200];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const Expect *e = kRows;
    while (e->exe && lstrcmpiA(strrchr(path, '\\') + 1, e->exe)) e++;
    OSVERSIONINFOA vi = {sizeof vi, 0, 0, 0, 0, {}};
    ASSERT_TRUE(GetVersionExA(&vi));
    snprintf(system, sizeof system, "%lu %lu.%lu '%s'", vi.dwPlatformId, vi.dwMajorVersion,
             vi.dwMinorVersion, vi.szCSDVersion);
    // What the system said, so that a change in Wine shows as such.
    if (e->exe) {
        ASSERT_STREQ(e->system, system);
    } else {
        ASSERT_TRUE(vi.dwPlatformId == 2 && vi.dwMajorVersion >= 6) << system;
    }
    char name[32];
    memset(name, 0x55, sizeof name);
    EXPECT_TRUE(LxGetOS(name, sizeof name));
    EXPECT_STREQ(e->osName ? e->osName : vi.dwMinorVersion ? "Windows XP" : "Windows 2000", name);
    EXPECT_EQ(vi.dwPlatformId == 1, LxIsWin95() != 0);
    std::string ok;
    for (int kind : {0, 1, 2, 3, 4, 5, 6, -1, 7}) ok += LxOSVersionOK(kind) ? '1' : '0';
    EXPECT_EQ(e->versionOk, ok);
    // The processor word is the same whichever family asks for CPUID.
    EXPECT_EQ(0x776u, LxGetCPUSupport(0x777));
}

}  // namespace
