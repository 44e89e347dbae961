// The frame, white-box: the preferences blob, the version rule's messages,
// the OS name and version tables, the processor word and the per-thread
// scratch blocks.
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(KernelPrefs, Normalisation) {
    struct Row {
        const char *name;
        MLOKRNPREFS in, out;  // dwReserved, fAllowWide, tagA, bitsA, tagB, bitsB
    } rows[] = {
        {"defaults stand", {7, 1, 3, 32, 3, 64, {}}, {7, 1, 3, 32, 3, 64, {}}},
        {"tagA forced", {0, 1, 1, 32, 3, 64, {}}, {0, 1, 3, 32, 3, 64, {}}},
        {"64 with wide becomes 32", {0, 1, 3, 64, 3, 64, {}}, {0, 1, 3, 32, 3, 64, {}}},
        {"16 with wide becomes 64", {0, 1, 3, 16, 3, 64, {}}, {0, 1, 3, 64, 3, 64, {}}},
        {"16 without wide becomes 32", {0, 0, 3, 16, 3, 64, {}}, {0, 0, 3, 32, 3, 64, {}}},
        {"any wide word counts", {0, 0x100, 3, 24, 3, 64, {}}, {0, 0x100, 3, 64, 3, 64, {}}},
        {"tagB 2 becomes 3", {0, 1, 3, 32, 2, 64, {}}, {0, 1, 3, 32, 3, 64, {}}},
        {"tagB 1 stays", {0, 1, 3, 32, 1, 16, {}}, {0, 1, 3, 32, 1, 16, {}}},
        {"bitsB 16 with float tag stays", {0, 1, 3, 32, 3, 16, {}}, {0, 1, 3, 32, 3, 16, {}}},
        {"bitsB 1 becomes 32", {0, 1, 3, 32, 1, 1, {}}, {0, 1, 3, 32, 1, 32, {}}},
        {"bitsB 3 becomes 64", {0, 1, 3, 32, 1, 3, {}}, {0, 1, 3, 32, 1, 64, {}}},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.name);
        MLOKRNPREFS p = r.in;
        Kernel_NormalizePrefs(&p);
        EXPECT_EQ(0, memcmp(&r.out, &p, sizeof p))
            << p.fAllowWide << " " << p.wTagA << " " << p.wBitsA << " " << p.wTagB << " "
            << p.wBitsB;
    }
}

TEST(KernelPrefs, StoreAndFetch) {
    ASSERT_EQ(24u, sizeof(MLOKRNPREFS));
    const BYTE defaults[24] = {0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 32, 0, 3, 0, 64, 0};
    const MLOKRNPREFS changed = {7, 0, 3, 32, 1, 16, {}};
    BYTE out[32];
    MloKrnSetPrefs(&changed, sizeof changed);
    MloKrnSetPrefs(nullptr, 0);  // back to the defaults
    memset(out, 0x55, sizeof out);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 0));
    EXPECT_EQ(std::vector<BYTE>(out, out + 32), std::vector<BYTE>(32, 0x55));
    EXPECT_EQ(24, MloKrnGetPrefs(out, 32));
    EXPECT_EQ(0, memcmp(defaults, out, 24));
    EXPECT_EQ(std::vector<BYTE>(out + 24, out + 32), std::vector<BYTE>(8, 0));
    memset(out, 0x55, sizeof out);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 10));
    EXPECT_EQ(0, memcmp(defaults, out, 10));
    EXPECT_EQ(0x55, out[10]);
    EXPECT_EQ(24, MloKrnGetPrefs(nullptr, 24));

    MloKrnSetPrefs(&changed, 0);  // a size of zero resets too
    MloKrnGetPrefs(out, 24);
    EXPECT_EQ(0, memcmp(defaults, out, 24));
    DWORD word = 0xABCD;
    MloKrnSetPrefs(&word, 4);  // only the first field changes
    MloKrnGetPrefs(out, 24);
    EXPECT_EQ(0xABCDu, *(DWORD *)out);
    EXPECT_EQ(0, memcmp(defaults + 4, out + 4, 20));
    // A host handing back a larger block than the blob: the rest is ignored.
    BYTE big[64];
    memset(big, 0xEE, sizeof big);
    memcpy(big, &changed, sizeof changed);
    MloKrnSetPrefs(big, sizeof big);
    MloKrnGetPrefs(out, 24);
    EXPECT_EQ(0, memcmp(&changed, out, 24));
    MloKrnSetPrefs(nullptr, 0);
}

std::vector<std::string> g_boxes;  // title|text|icon of each message box

int WINAPI RecordingBox(HWND, LPCSTR text, LPCSTR title, UINT style) {
    g_boxes.push_back(std::string(title) + "|" + text + "|" + std::to_string(style & MB_ICONMASK));
    return IDOK;
}

OSVERSIONINFOA g_fakeVersion;
BOOL WINAPI FakeGetVersion(OSVERSIONINFOA *vi) {
    DWORD size = vi->dwOSVersionInfoSize;
    *vi = g_fakeVersion;
    vi->dwOSVersionInfoSize = size;
    return TRUE;
}

void SetFakeVersion(DWORD platform, DWORD major, DWORD minor, const char *csd) {
    memset(&g_fakeVersion, 0, sizeof g_fakeVersion);
    g_fakeVersion.dwPlatformId = platform;
    g_fakeVersion.dwMajorVersion = major;
    g_fakeVersion.dwMinorVersion = minor;
    lstrcpynA(g_fakeVersion.szCSDVersion, csd, sizeof g_fakeVersion.szCSDVersion);
    Kernel_SetGetVersionSeam(FakeGetVersion);
}

TEST(KernelVersionRule, Outcomes) {
    Kernel_SetMessageBoxSeam(RecordingBox);
    g_hKernelModule = GetModuleHandleA(nullptr);  // this program carries the strings
    const std::string incompatible =
        "Velmora Kernel|The version of the Velmora Kernel is incompatible with the following "
        "client:\n\n";
    const std::string icon = "|" + std::to_string(MB_ICONINFORMATION);
    struct Row {
        const char *name;
        DWORD major;
        int level;
        const char *client;
        DWORD version;
        std::string box;  // empty: passes without a box
    } rows[] = {
        {"equal version passes", 6, 2, "MyClient.dll", 0x060000DB, ""},
        {"older client passes", 6, 2, "MyClient.dll", 0x01000000, ""},
        {"zero version passes on 4.0", 4, 2, "MyClient.dll", 0, ""},
        {"newer build refused", 6, 2, "MyClient.dll", 0x060000DC,
         "Velmora Kernel|The version of the Velmora Kernel is too old." + icon},
        {"level 3 refused before the version", 6, 3, "MyClient.dll", 0x070000DB,
         incompatible + "MyClient.dll." + icon},
        {"null client name", 6, 0, nullptr, 0x060000DB, incompatible + "." + icon},
        {"old system refused before all", 3, 1, "MyClient.dll", 0x070000DB,
         "Velmora Kernel|This product requires Windows 95 or Windows NT 4.0 or later." + icon},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.name);
        g_boxes.clear();
        SetFakeVersion(VER_PLATFORM_WIN32_NT, r.major, 0, "");
        EXPECT_EQ(r.box.empty() ? S_OK : E_FAIL,
                  LxKernel_CheckVersion(nullptr, r.client, r.version, r.level, 0));
        EXPECT_EQ(r.box.empty() ? 0u : 1u, g_boxes.size());
        EXPECT_EQ(r.box, g_boxes.empty() ? "" : g_boxes[0]);
    }
    EXPECT_EQ(0x060000DBu, MloKrnVersion());
    Kernel_SetMessageBoxSeam(nullptr);
    Kernel_SetGetVersionSeam(nullptr);
}

TEST(KernelOs, NameTable) {
    struct Row {
        DWORD platform, major, minor;
        const char *csd;
        BOOL result;
        const char *text;  // null: buffer untouched
    } rows[] = {
        // The systems of the OS-version runs are left to them.
        {1, 3, 95, "", TRUE, "Windows 95"},       {1, 4, 0, " A ", TRUE, "Windows 95"},
        {1, 5, 0, "", TRUE, nullptr},             {1, 4, 10, " B ", TRUE, "Windows 98"},
        {1, 4, 10, "A", TRUE, "Windows 98"},      {1, 4, 89, " A", TRUE, "Windows 98 SE"},
        {1, 5, 200, "", TRUE, "Windows Me"},      {2, 4, 90, "", TRUE, "Windows NT"},
        {2, 6, 0, "", TRUE, "Windows 2000"},      {2, 6, 1, "", TRUE, "Windows XP"},
        {0, 3, 10, "", FALSE, "Unknown"},         {3, 10, 0, "", FALSE, "Unknown"},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(testing::Message() << r.platform << " " << r.major << "." << r.minor << " '"
                                        << r.csd << "'");
        SetFakeVersion(r.platform, r.major, r.minor, r.csd);
        char buf[32];
        memset(buf, 'x', sizeof buf);
        EXPECT_EQ(r.result, LxGetOS(buf, sizeof buf));
        EXPECT_EQ(r.text ? std::string(r.text) : std::string(31, 'x'), std::string(buf));
    }
    // The name is cut, and even the nameless row terminates the buffer.
    SetFakeVersion(1, 4, 10, " A ");
    char buf[8];
    memset(buf, 'x', sizeof buf);
    EXPECT_TRUE(LxGetOS(buf, 8));
    EXPECT_STREQ("Windows", buf);
    memset(buf, 'x', sizeof buf);
    EXPECT_TRUE(LxGetOS(buf, 1));
    EXPECT_EQ(std::string("\0x", 2), std::string(buf, 2));
    EXPECT_TRUE(LxGetOS(nullptr, 0));
    SetFakeVersion(1, 5, 0, "");
    memset(buf, 'x', sizeof buf);
    EXPECT_TRUE(LxGetOS(buf, 8));
    EXPECT_EQ(std::string("xxxxxxx\0", 8), std::string(buf, 8));
    Kernel_SetGetVersionSeam(nullptr);
}

TEST(KernelOs, VersionOkTable) {
    struct Sys {
        DWORD platform, major, minor;
        const char *csd;
        const char *expect;  // one character per kind 0..6, then kinds -1 and 7
    } systems[] = {
        {1, 4, 10, "", "1111000" "11"},
        {1, 4, 1, "", "1101000" "11"},
        {1, 4, 1, "Service Pack 1", "1111000" "11"},
        {1, 4, 1, " A ", "1101000" "11"},
        {1, 3, 95, "", "0001000" "11"},
        {1, 5, 0, "", "1111000" "11"},
        {2, 5, 1, "", "0000111" "00"},
        {2, 6, 0, "", "0000111" "00"},
        {0, 3, 10, "Win32s 1.3", "0000000" "00"},
    };
    for (auto &s : systems) {
        SetFakeVersion(s.platform, s.major, s.minor, s.csd);
        std::string got;
        for (int kind : {0, 1, 2, 3, 4, 5, 6, -1, 7}) got += LxOSVersionOK(kind) ? '1' : '0';
        EXPECT_EQ(s.expect, got) << s.platform << " " << s.major << "." << s.minor << " " << s.csd;
    }
    Kernel_SetGetVersionSeam(nullptr);
}

TEST(KernelCpu, WordFromFacts) {
    const DWORD fpu = 1u << 0, tsc = 1u << 4, cmov = 1u << 15, mmx = 1u << 23, sse = 1u << 25,
                sse2 = 1u << 26, all = fpu | tsc | cmov | mmx | sse | sse2;
    struct Row {
        const char *name;
        KernelCpuFacts f;  // type, 95 family, ID flag, leaf, features, trial SSE, trial SSE2
        DWORD word;
    } rows[] = {
        {"486 on NT: no CPUID", {486, FALSE, TRUE, 1, all, TRUE, TRUE}, 1},
        {"486 on 95 with CPUID", {486, TRUE, TRUE, 1, fpu | tsc, TRUE, TRUE}, 0x400 | 1},
        {"586 on NT, leaf 0", {586, FALSE, FALSE, 0, all, TRUE, TRUE}, 2},
        {"586 on 95, no ID flag", {586, TRUE, FALSE, 1, all, TRUE, TRUE}, 2},
        {"cmov without fpu", {586, FALSE, FALSE, 1, cmov, TRUE, TRUE}, 0x100 | 2},
        {"cmov and fpu", {586, FALSE, FALSE, 1, cmov | fpu, TRUE, TRUE}, 0x300 | 3},
        {"mmx on level 2 stays 2", {586, FALSE, FALSE, 1, mmx, TRUE, TRUE}, 0x10 | 2},
        {"mmx on level 3 gives 4", {586, FALSE, FALSE, 1, cmov | fpu | mmx, TRUE, TRUE}, 0x310 | 4},
        {"all features", {586, FALSE, FALSE, 2, all, TRUE, TRUE}, 0x770 | 6},
        {"sse trial failed", {586, FALSE, FALSE, 1, all, FALSE, TRUE}, 0x750 | 6},
        {"both trials failed", {586, FALSE, FALSE, 1, all, FALSE, FALSE}, 0x710 | 4},
        {"sse2 trial failed", {586, FALSE, FALSE, 1, all, TRUE, FALSE}, 0x730 | 5},
        {"sse without cmov", {586, FALSE, FALSE, 1, sse, TRUE, TRUE}, 0x20 | 5},
        {"other processor type", {8664, FALSE, FALSE, 1, all, TRUE, TRUE}, 0},
        {"other type on 95 family", {8664, TRUE, TRUE, 1, all, TRUE, TRUE}, 0x770 | 6},
    };
    for (auto &r : rows) EXPECT_EQ(r.word, Kernel_ComputeCpuWord(&r.f)) << r.name;
}

TEST(KernelCpu, TrialGuardAndThisMachine) {
    // An undefined opcode is caught by the guard and reported, not raised;
    // this machine runs SSE2 code, as the build requires.
    EXPECT_FALSE(Kernel_TrialInstruction(2));
    EXPECT_TRUE(Kernel_TrialInstruction(0));
    EXPECT_TRUE(Kernel_TrialInstruction(1));
    EXPECT_FALSE(Kernel_TrialInstruction(2));  // the guard leaves no trace behind
    Kernel_ResetCachedAnswers();
    DWORD word = LxGetCPUSupport(0);
    EXPECT_EQ(6u, word & LXCPU_LEVELMASK);
    EXPECT_EQ(0x770u, word & 0x770u);
    EXPECT_EQ(LXCPU_SSE2, LxGetCPUSupport(LXCPU_SSE2));
    Kernel_ForceCpuWord(0x310 | 4);
    EXPECT_EQ(0u, LxGetCPUSupport(LXCPU_SSE2));
    EXPECT_EQ(4u, LxGetCPUSupport(LXCPU_LEVELMASK));
    Kernel_ForceCpuWord(0);
    EXPECT_EQ(word, LxGetCPUSupport(0));
}

TEST(KernelClsid, RoundTripAndBadInput) {
    const CLSID id = {0xBFCCD726, 0x17B0, 0x11D0, {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
    char text[48];
    memset(text, 0x55, sizeof text);
    EXPECT_EQ(S_OK, LxStringFromCLSID(text, &id));
    const char *want = "{BFCCD726-17B0-11D0-8574-00A0C9053912}\0\0\x55";
    EXPECT_EQ(std::string(want, 41), std::string(text, 41));
    CLSID back;
    memset(&back, 0x55, sizeof back);
    EXPECT_EQ(S_OK, LxCLSIDFromString("{bfccd726-17b0-11d0-8574-00a0c9053912}", &back));
    EXPECT_TRUE(IsEqualCLSID(id, back));
    EXPECT_NE(S_OK, LxCLSIDFromString("not a clsid", &back));
    EXPECT_NE(S_OK, LxCLSIDFromString((std::string(want) + "{BFCCD726-17B0}").c_str(), &back));
    EXPECT_EQ(E_INVALIDARG, LxCLSIDFromString(nullptr, &back));
    EXPECT_EQ(E_INVALIDARG, LxCLSIDFromString("{}", nullptr));
    EXPECT_EQ(E_INVALIDARG, LxStringFromCLSID(text, nullptr));
    EXPECT_EQ(E_INVALIDARG, LxStringFromCLSID(nullptr, &id));
}

class KernelAttached : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr))); }
    void TearDown() override { Kernel_ProcessDetach(); }
};

TEST_F(KernelAttached, ScratchBlockPerThread) {
    DWORD size = 0;
    BYTE *mine = (BYTE *)Kernel_GetThreadScratch(&size);
    ASSERT_NE(nullptr, mine);
    EXPECT_EQ(0x20000u, size);
    EXPECT_EQ(0x20000u, GlobalSize(GlobalHandle(mine)));
    for (DWORD i = 0; i < size; i += 4093) EXPECT_EQ(0, mine[i]) << i;
    EXPECT_EQ(0, mine[size - 1]);
    mine[5] = 42;
    EXPECT_EQ(mine, Kernel_GetThreadScratch(nullptr));

    struct {
        BYTE *block, *again, *afterDetach;
    } ctx = {};
    std::thread other([&] {
        ctx.block = (BYTE *)Kernel_GetThreadScratch(nullptr);
        ctx.again = (BYTE *)Kernel_GetThreadScratch(nullptr);
        Kernel_ThreadDetach();  // what the loader does as a thread ends
        Kernel_ThreadAttach();
        ctx.afterDetach = (BYTE *)Kernel_GetThreadScratch(nullptr);
        if (ctx.afterDetach) ctx.afterDetach[0] = 1;
        Kernel_ThreadDetach();
        Kernel_ThreadAttach();
    });
    other.join();
    ASSERT_NE(nullptr, ctx.block);
    EXPECT_NE(mine, ctx.block);
    EXPECT_EQ(ctx.block, ctx.again);
    EXPECT_NE(nullptr, ctx.afterDetach);
    EXPECT_EQ(42, mine[5]);  // another thread's block is its own
}

TEST_F(KernelAttached, UserPrefChangesKeepsAnswers) {
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_SYSCOLORCHANGE, 0, 0));
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_DISPLAYCHANGE, 0, 0));
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_PAINT, 0, 0));
    // The virtual display of the test run has 24 bits per pixel.
    EXPECT_TRUE(LxIsHighColor());
    EXPECT_TRUE(LxIsAllMonitorsHighColor());
}

}  // namespace
