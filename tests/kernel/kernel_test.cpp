// The frame, white-box: the preferences blob, the version rule, the edges of
// the version test that no real system reaches and the plug-in library list.
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

TEST(KernelPrefs, NormalisationAndSizes) {
    const MLOKRNPREFS rows[][2] = {
        // dwReserved, fAllowWide, tagA, bitsA, tagB, bitsB: in, then out
        {{7, 1, 1, 64, 3, 64, {}}, {7, 1, 3, 32, 3, 64, {}}},  // 64 with wide becomes 32
        {{0, 1, 3, 16, 2, 16, {}}, {0, 1, 3, 64, 3, 16, {}}},  // only an odd width becomes 64
        {{0, 0, 3, 16, 1, 1, {}}, {0, 0, 3, 32, 1, 32, {}}},   // the width test looks at bitsB
        {{0, 1, 3, 32, 1, 3, {}}, {0, 1, 3, 32, 1, 64, {}}},
    };
    for (auto &r : rows) {
        MLOKRNPREFS p = r[0];
        Kernel_NormalizePrefs(&p);
        EXPECT_EQ(0, memcmp(&r[1], &p, sizeof p)) << p.wBitsA << " " << p.wTagB << " " << p.wBitsB;
    }
    const BYTE defaults[24] = {0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 32, 0, 3, 0, 64, 0};
    BYTE big[64], out[32];
    memset(big, 0xEE, sizeof big);
    memcpy(big, &rows[3][1], sizeof(MLOKRNPREFS));
    MloKrnSetPrefs(big, sizeof big);  // only the blob is taken
    memset(out, 0x55, sizeof out);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 0));
    EXPECT_EQ(0x55, out[0]);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 24));
    EXPECT_EQ(0, memcmp(&rows[3][1], out, 24));
    MloKrnSetPrefs(nullptr, 0);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 32));
    EXPECT_EQ(0, memcmp(defaults, out, 24));
    EXPECT_EQ(std::vector<BYTE>(8, 0), std::vector<BYTE>(out + 24, out + 32));
}

std::string g_box;  // title|text|icon of each message box

int WINAPI RecordingBox(HWND, LPCSTR text, LPCSTR title, UINT style) {
    g_box += std::string(title) + "|" + text + "|" + std::to_string(style & MB_ICONMASK);
    return IDOK;
}

OSVERSIONINFOA g_fake;
BOOL WINAPI FakeGetVersion(OSVERSIONINFOA *vi) {
    *vi = g_fake;
    return TRUE;
}

void SetFakeVersion(DWORD platform, DWORD major, DWORD minor, const char *csd) {
    g_fake = {sizeof g_fake, major, minor, 0, platform, {}};
    lstrcpynA(g_fake.szCSDVersion, csd, sizeof g_fake.szCSDVersion);
    Kernel_SetGetVersionSeam(FakeGetVersion);
}

TEST(KernelOs, VersionRuleAndVersionTest) {
    Kernel_SetMessageBoxSeam(RecordingBox);
    g_hKernelModule = GetModuleHandleA(nullptr);  // this program carries the strings
    const std::string head = "Velmora Kernel|The version of the Velmora Kernel is ", icon = "|64";
    struct Row {
        int major, level;
        const char *client;
        DWORD version;
        std::string box;  // empty: passes without a box
    } rows[] = {
        {6, 2, "My.dll", 0x060000DB, ""},
        {6, 2, "My.dll", 0x060000DC, head + "too old." + icon},
        {6, 3, "My.dll", 0x070000DB,
         head + "incompatible with the following client:\n\nMy.dll." + icon},
        {6, 0, nullptr, 0x060000DB, head + "incompatible with the following client:\n\n." + icon},
        {3, 1, "My.dll", 0x070000DB,
         "Velmora Kernel|This product requires Windows 95 or Windows NT 4.0 or later." + icon},
    };
    for (auto &r : rows) {
        g_box.clear();
        SetFakeVersion(VER_PLATFORM_WIN32_NT, r.major, 0, "");
        EXPECT_EQ(r.box.empty() ? S_OK : E_FAIL,
                  LxKernel_CheckVersion(nullptr, r.client, r.version, r.level, 0));
        EXPECT_EQ(r.box, g_box);
    }
    Kernel_SetMessageBoxSeam(nullptr);
    // The service pack decides on an equal version; no real system shows it.
    for (const char *csd : {"A", "Service Pack 1"}) {
        SetFakeVersion(1, 4, 1, csd);
        EXPECT_EQ(csd[1] == 'e', LxOSVersionOK(2) != 0) << csd;
    }
    SetFakeVersion(0, 3, 10, "");
    char name[16];
    EXPECT_FALSE(LxGetOS(name, sizeof name));
    EXPECT_STREQ("Unknown", name);
    Kernel_SetGetVersionSeam(nullptr);
}

// Without MARLO.INI the four built-in libraries, then the end past key 31.
TEST(KernelPlugInLibraries, BuiltInsThenTheEnd) {
    DeleteFileA("MARLO.INI");
    DWORD *cursor = nullptr, builtIn = 0;
    ASSERT_EQ(S_OK, Marlo_GetPluginLibNameStart(&cursor));
    std::string list;
    for (char name[MAX_PATH]; !Marlo_GetPluginLibName(cursor, name, MAX_PATH, &builtIn);)
        list += std::string(name) + (builtIn ? "* " : " ");
    EXPECT_EQ("MLOPLUGS.DLL* MLOQZ.DLL* MLOFFT.DLL* MLOSMP.DLL* ", list);
    EXPECT_EQ(36u, *cursor);
    EXPECT_EQ(S_OK, Marlo_GetPluginLibNameStop(cursor));
}

}  // namespace
