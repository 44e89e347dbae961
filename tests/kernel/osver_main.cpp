// The OS questions under every Windows version Wine can pretend to be. The
// build runs copies of this program as osver_<version>.exe; the prefix maps
// each name to that version, and the program takes its expectations from
// its own name. Plain osver.exe runs under the prefix's default version.
#include "kernel/kernel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Expect {
    const char *exe;
    DWORD platform, major, minor;
    const char *csd;
    BOOL getOs;
    const char *osName;
    const char *versionOk;  // kinds 0..6
    bool checkVersionPasses;
};

// What Wine reports for each version name, and what the Kernel makes of it.
const Expect kRows[] = {
    {"osver_win95.exe", 1, 4, 0, "", TRUE, "Windows 95", "1001000", true},
    {"osver_win98.exe", 1, 4, 10, " A ", TRUE, "Windows 98 SE", "1111000", true},
    {"osver_winme.exe", 1, 4, 90, " ", TRUE, "Windows Me", "1111000", true},
    {"osver_nt40.exe", 2, 4, 0, "Service Pack 6a", TRUE, "Windows NT", "0000100", true},
    {"osver_win2k.exe", 2, 5, 0, "Service Pack 4", TRUE, "Windows 2000", "0000110", true},
    {"osver_winxp.exe", 2, 5, 1, "Service Pack 3", TRUE, "Windows XP", "0000111", true},
    {"osver_nt351.exe", 2, 3, 51, "Service Pack 5", TRUE, "Windows NT", "0000000", false},
};

std::string OwnName() {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const char *slash = strrchr(path, '\\');
    std::string s = slash ? slash + 1 : path;
    for (char &c : s) c = (char)tolower((unsigned char)c);
    return s;
}

const Expect *Row() {
    std::string own = OwnName();
    for (const Expect &e : kRows)
        if (own == e.exe) return &e;
    return nullptr;
}

LRESULT CALLBACK CloseBoxes(int code, WPARAM w, LPARAM l) {
    if (code == HCBT_ACTIVATE) PostMessageA((HWND)w, WM_COMMAND, IDOK, 0);
    return CallNextHookEx(nullptr, code, w, l);
}

TEST(KernelOsVersion, AnswersMatchTheSystem) {
    OSVERSIONINFOA vi;
    memset(&vi, 0, sizeof vi);
    vi.dwOSVersionInfoSize = sizeof vi;
    ASSERT_TRUE(GetVersionExA(&vi));
    const Expect *e = Row();
    if (!e) {
        // The prefix's default: a later NT, named by the XP/2000 rows.
        ASSERT_EQ(2u, vi.dwPlatformId);
        ASSERT_GE(vi.dwMajorVersion, 6u);
        char name[32];
        EXPECT_TRUE(LxGetOS(name, sizeof name));
        EXPECT_STREQ(vi.dwMinorVersion ? "Windows XP" : "Windows 2000", name);
        EXPECT_FALSE(LxIsWin95());
        for (int k = 4; k <= 6; k++) EXPECT_TRUE(LxOSVersionOK(k)) << k;
        for (int k = 0; k <= 3; k++) EXPECT_FALSE(LxOSVersionOK(k)) << k;
        return;
    }
    SCOPED_TRACE(e->exe);
    // Pin what the system said first, so that a change in Wine shows as such.
    ASSERT_EQ(e->platform, vi.dwPlatformId);
    ASSERT_EQ(e->major, vi.dwMajorVersion);
    ASSERT_EQ(e->minor, vi.dwMinorVersion);
    ASSERT_STREQ(e->csd, vi.szCSDVersion);

    char name[32];
    memset(name, 0x55, sizeof name);
    EXPECT_EQ(e->getOs, LxGetOS(name, sizeof name));
    EXPECT_STREQ(e->osName, name);
    EXPECT_EQ(e->platform == 1, LxIsWin95() != 0);
    for (int k = 0; k <= 6; k++)
        EXPECT_EQ(e->versionOk[k] == '1', LxOSVersionOK(k) != 0) << "kind " << k;
    EXPECT_EQ(e->platform == 1, LxOSVersionOK(-1) != 0);
    EXPECT_EQ(e->platform == 1, LxOSVersionOK(7) != 0);

    // The processor word is the same whichever family asks for CPUID.
    EXPECT_EQ(6u, LxGetCPUSupport(LXCPU_LEVELMASK));
    EXPECT_EQ(LXCPU_SSE2 | LXCPU_SSE | LXCPU_MMX, LxGetCPUSupport(LXCPU_SSE2 | LXCPU_SSE | LXCPU_MMX));
}

TEST(KernelOsVersion, VersionRuleOnThisSystem) {
    const Expect *e = Row();
    bool passes = e ? e->checkVersionPasses : true;
    // A failing check shows a box; the hook below closes it unseen.
    HHOOK hook = SetWindowsHookExA(WH_CBT, CloseBoxes, nullptr, GetCurrentThreadId());
    EXPECT_EQ(passes ? S_OK : E_FAIL, LxKernel_CheckVersion(nullptr, "osver", LXKERNEL_VERSION, 2, 0));
    if (hook) UnhookWindowsHookEx(hook);
}

}  // namespace
