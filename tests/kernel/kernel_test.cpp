// White-box tests of the frame: the preferences blob, the version rule's
// messages, the OS name and version tables, the processor word and the
// per-thread scratch blocks.
#include "kernel/kernel_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

MLOKRNPREFS MakePrefs(DWORD allowWide, WORD tagA, WORD bitsA, WORD tagB, WORD bitsB) {
    MLOKRNPREFS p;
    memset(&p, 0, sizeof p);
    p.fAllowWide = allowWide;
    p.wTagA = tagA;
    p.wBitsA = bitsA;
    p.wTagB = tagB;
    p.wBitsB = bitsB;
    return p;
}

TEST(KernelPrefs, BlobIs24Bytes) { EXPECT_EQ(24u, sizeof(MLOKRNPREFS)); }

TEST(KernelPrefs, Normalisation) {
    struct Row {
        const char *name;
        MLOKRNPREFS in;
        WORD tagA, bitsA, tagB, bitsB;
    } rows[] = {
        {"defaults stand", MakePrefs(1, 3, 32, 3, 64), 3, 32, 3, 64},
        {"tagA forced", MakePrefs(1, 1, 32, 3, 64), 3, 32, 3, 64},
        {"64 with wide becomes 32", MakePrefs(1, 3, 64, 3, 64), 3, 32, 3, 64},
        {"16 with wide becomes 64", MakePrefs(1, 3, 16, 3, 64), 3, 64, 3, 64},
        {"16 without wide becomes 32", MakePrefs(0, 3, 16, 3, 64), 3, 32, 3, 64},
        {"64 without wide becomes 32", MakePrefs(0, 3, 64, 3, 64), 3, 32, 3, 64},
        {"any wide word counts", MakePrefs(0x100, 3, 24, 3, 64), 3, 64, 3, 64},
        {"tagB 2 becomes 3", MakePrefs(1, 3, 32, 2, 64), 3, 32, 3, 64},
        {"tagB 1 stays", MakePrefs(1, 3, 32, 1, 16), 3, 32, 1, 16},
        {"bitsB 16 with float tag stays", MakePrefs(1, 3, 32, 3, 16), 3, 32, 3, 16},
        {"bitsB 1 becomes 32", MakePrefs(1, 3, 32, 1, 1), 3, 32, 1, 32},
        {"bitsB 3 becomes 64", MakePrefs(1, 3, 32, 1, 3), 3, 32, 1, 64},
        {"bitsB 0 stays", MakePrefs(1, 3, 32, 3, 0), 3, 32, 3, 0},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.name);
        MLOKRNPREFS p = r.in;
        Kernel_NormalizePrefs(&p);
        EXPECT_EQ(r.tagA, p.wTagA);
        EXPECT_EQ(r.bitsA, p.wBitsA);
        EXPECT_EQ(r.tagB, p.wTagB);
        EXPECT_EQ(r.bitsB, p.wBitsB);
        EXPECT_EQ(r.in.fAllowWide, p.fAllowWide);
    }
}

TEST(KernelPrefs, GetCopiesAndClears) {
    MloKrnSetPrefs(nullptr, 0);
    BYTE out[32];
    memset(out, 0x55, sizeof out);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 0));
    for (BYTE b : out) EXPECT_EQ(0x55, b);

    EXPECT_EQ(24, MloKrnGetPrefs(out, 32));
    const BYTE expected[24] = {0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 32, 0, 3, 0, 64, 0};
    EXPECT_EQ(0, memcmp(expected, out, 24));
    for (int i = 24; i < 32; i++) EXPECT_EQ(0, out[i]) << i;

    memset(out, 0x55, sizeof out);
    EXPECT_EQ(24, MloKrnGetPrefs(out, 10));
    EXPECT_EQ(0, memcmp(expected, out, 10));
    EXPECT_EQ(0x55, out[10]);
    EXPECT_EQ(24, MloKrnGetPrefs(nullptr, 24));
}

TEST(KernelPrefs, SetNullRestoresDefaults) {
    MLOKRNPREFS p = MakePrefs(0, 3, 32, 1, 16);
    p.dwReserved = 7;
    MloKrnSetPrefs(&p, sizeof p);
    MLOKRNPREFS got;
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(7u, got.dwReserved);
    EXPECT_EQ(16, got.wBitsB);
    MloKrnSetPrefs(nullptr, 0);
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(0u, got.dwReserved);
    EXPECT_EQ(1u, got.fAllowWide);
    EXPECT_EQ(3, got.wTagA);
    EXPECT_EQ(32, got.wBitsA);
    EXPECT_EQ(3, got.wTagB);
    EXPECT_EQ(64, got.wBitsB);
    MloKrnSetPrefs(&p, 0);  // a size of zero resets too
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(0u, got.dwReserved);
}

TEST(KernelPrefs, PartialAndOversizedStores) {
    MloKrnSetPrefs(nullptr, 0);
    DWORD word = 0xABCD;
    MloKrnSetPrefs(&word, 4);  // only the first field changes
    MLOKRNPREFS got;
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(0xABCDu, got.dwReserved);
    EXPECT_EQ(64, got.wBitsB);

    // A host handing back a larger block than the blob: the rest is ignored.
    BYTE big[64];
    memset(big, 0, sizeof big);
    MLOKRNPREFS src = MakePrefs(1, 3, 32, 1, 24);
    memcpy(big, &src, sizeof src);
    memset(big + 24, 0xEE, 40);
    MloKrnSetPrefs(big, sizeof big);
    MloKrnGetPrefs(&got, sizeof got);
    EXPECT_EQ(1, got.wTagB);
    EXPECT_EQ(24, got.wBitsB);
}

// ---- Version rule ---------------------------------------------------------

std::vector<std::string> g_boxTexts;
std::vector<std::string> g_boxTitles;
std::vector<UINT> g_boxStyles;

int WINAPI RecordingBox(HWND, LPCSTR text, LPCSTR title, UINT style) {
    g_boxTexts.push_back(text ? text : "");
    g_boxTitles.push_back(title ? title : "");
    g_boxStyles.push_back(style);
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
}

class KernelVersionRule : public ::testing::Test {
protected:
    void SetUp() override {
        g_boxTexts.clear();
        g_boxTitles.clear();
        g_boxStyles.clear();
        Kernel_SetMessageBoxSeam(RecordingBox);
        g_hKernelModule = GetModuleHandleA(nullptr);  // this program carries the strings
    }
    void TearDown() override {
        Kernel_SetMessageBoxSeam(nullptr);
        Kernel_SetGetVersionSeam(nullptr);
    }
};

TEST_F(KernelVersionRule, VersionNumber) {
    EXPECT_EQ(0x060000DBu, LxKernel_GetVersion());
    EXPECT_EQ(0x060000DBu, MloKrnVersion());
}

TEST_F(KernelVersionRule, Outcomes) {
    struct Row {
        const char *name;
        DWORD major;
        int level;
        DWORD client;
        HRESULT hr;
        const char *text;
    } rows[] = {
        {"equal version passes", 6, 2, 0x060000DB, 0, nullptr},
        {"older client passes", 6, 2, 0x01000000, 0, nullptr},
        {"zero version passes", 4, 2, 0, 0, nullptr},
        {"newer build refused", 6, 2, 0x060000DC, E_FAIL,
         "The version of the Velmora Kernel is too old."},
        {"newer major refused", 5, 2, 0x07000000, E_FAIL,
         "The version of the Velmora Kernel is too old."},
        {"level 1 refused", 6, 1, 0x060000DB, E_FAIL,
         "The version of the Velmora Kernel is incompatible with the following client:\n\n"
         "MyClient.dll."},
        {"level 3 refused first", 6, 3, 0x070000DB, E_FAIL,
         "The version of the Velmora Kernel is incompatible with the following client:\n\n"
         "MyClient.dll."},
        {"old system refused before all", 3, 1, 0x070000DB, E_FAIL,
         "This product requires Windows 95 or Windows NT 4.0 or later."},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.name);
        g_boxTexts.clear();
        SetFakeVersion(VER_PLATFORM_WIN32_NT, r.major, 0, "");
        Kernel_SetGetVersionSeam(FakeGetVersion);
        EXPECT_EQ(r.hr, LxKernel_CheckVersion(nullptr, "MyClient.dll", r.client, r.level, 0));
        if (r.text) {
            ASSERT_EQ(1u, g_boxTexts.size());
            EXPECT_EQ(r.text, g_boxTexts[0]);
            EXPECT_EQ("Velmora Kernel", g_boxTitles[0]);
            EXPECT_EQ((UINT)MB_ICONINFORMATION, g_boxStyles[0] & MB_ICONMASK);
        } else {
            EXPECT_TRUE(g_boxTexts.empty());
        }
    }
}

TEST_F(KernelVersionRule, NullClientName) {
    EXPECT_EQ(E_FAIL, LxKernel_CheckVersion(nullptr, nullptr, LXKERNEL_VERSION, 0, 0));
    ASSERT_EQ(1u, g_boxTexts.size());
    EXPECT_EQ("The version of the Velmora Kernel is incompatible with the following client:\n\n.",
              g_boxTexts[0]);
}

// ---- OS tables ------------------------------------------------------------

TEST(KernelOs, NameTable) {
    struct Row {
        DWORD platform, major, minor;
        const char *csd;
        BOOL result;
        const char *text;  // null: buffer untouched
    } rows[] = {
        {1, 3, 95, "", TRUE, "Windows 95"},
        {1, 4, 0, "", TRUE, "Windows 95"},
        {1, 4, 0, " A ", TRUE, "Windows 95"},
        {1, 5, 0, "", TRUE, nullptr},
        {1, 4, 10, "", TRUE, "Windows 98"},
        {1, 4, 10, " B ", TRUE, "Windows 98"},
        {1, 4, 10, " A ", TRUE, "Windows 98 SE"},
        {1, 4, 10, "A", TRUE, "Windows 98"},
        {1, 4, 89, " A", TRUE, "Windows 98 SE"},
        {1, 4, 90, " A ", TRUE, "Windows Me"},
        {1, 5, 200, "", TRUE, "Windows Me"},
        {2, 3, 51, "", TRUE, "Windows NT"},
        {2, 4, 0, "Service Pack 6", TRUE, "Windows NT"},
        {2, 4, 90, "", TRUE, "Windows NT"},
        {2, 5, 0, "", TRUE, "Windows 2000"},
        {2, 5, 1, "", TRUE, "Windows XP"},
        {2, 5, 2, "", TRUE, "Windows XP"},
        {2, 6, 0, "", TRUE, "Windows 2000"},
        {2, 6, 1, "", TRUE, "Windows XP"},
        {2, 10, 0, "", TRUE, "Windows 2000"},
        {0, 3, 10, "", FALSE, "Unknown"},
        {3, 10, 0, "", FALSE, "Unknown"},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(testing::Message() << r.platform << " " << r.major << "." << r.minor << " '"
                                        << r.csd << "'");
        SetFakeVersion(r.platform, r.major, r.minor, r.csd);
        char buf[32];
        memset(buf, 0x55, sizeof buf);
        buf[31] = 0;
        std::string before(buf);
        EXPECT_EQ(r.result, Kernel_OsName(&g_fakeVersion, buf, sizeof buf));
        EXPECT_EQ(r.text ? std::string(r.text) : before, std::string(buf));
    }
}

TEST(KernelOs, NameIsCutAndTerminated) {
    SetFakeVersion(1, 4, 10, " A ");
    char buf[8];
    memset(buf, 0x55, sizeof buf);
    EXPECT_TRUE(Kernel_OsName(&g_fakeVersion, buf, 8));
    EXPECT_STREQ("Windows", buf);
    memset(buf, 0x55, sizeof buf);
    EXPECT_TRUE(Kernel_OsName(&g_fakeVersion, buf, 1));
    EXPECT_EQ(0, buf[0]);
    EXPECT_EQ(0x55, (BYTE)buf[1]);
    EXPECT_TRUE(Kernel_OsName(&g_fakeVersion, nullptr, 0));
    // The nameless row still terminates at the end of the buffer.
    SetFakeVersion(1, 5, 0, "");
    memset(buf, 'x', sizeof buf);
    EXPECT_TRUE(Kernel_OsName(&g_fakeVersion, buf, 8));
    EXPECT_EQ(0, buf[7]);
    EXPECT_EQ('x', buf[6]);
}

TEST(KernelOs, VersionOkTable) {
    struct Sys {
        DWORD platform, major, minor;
        const char *csd;
        const char *expect;  // one character per kind 0..6, then kinds -1 and 7
    } systems[] = {
        {1, 4, 0, "", "1001000" "11"},
        {1, 4, 10, "", "1111000" "11"},
        {1, 4, 10, "Service Pack 1", "1111000" "11"},
        {1, 4, 1, "", "1101000" "11"},
        {1, 4, 1, "Service Pack 1", "1111000" "11"},
        {1, 4, 1, "Service Pack 2", "1111000" "11"},
        {1, 4, 1, " A ", "1101000" "11"},
        {1, 4, 90, " ", "1111000" "11"},
        {1, 3, 95, "", "0001000" "11"},
        {1, 5, 0, "", "1111000" "11"},
        {2, 3, 51, "Service Pack 5", "0000000" "00"},
        {2, 4, 0, "Service Pack 6a", "0000100" "00"},
        {2, 5, 0, "Service Pack 4", "0000110" "00"},
        {2, 5, 1, "", "0000111" "00"},
        {2, 5, 1, "Service Pack 3", "0000111" "00"},
        {2, 6, 0, "", "0000111" "00"},
        {0, 3, 10, "Win32s 1.3", "0000000" "00"},
    };
    for (auto &s : systems) {
        SCOPED_TRACE(testing::Message() << s.platform << " " << s.major << "." << s.minor << " '"
                                        << s.csd << "'");
        SetFakeVersion(s.platform, s.major, s.minor, s.csd);
        Kernel_SetGetVersionSeam(FakeGetVersion);
        const int kinds[9] = {0, 1, 2, 3, 4, 5, 6, -1, 7};
        for (int i = 0; i < 9; i++)
            EXPECT_EQ(s.expect[i] == '1', LxOSVersionOK(kinds[i]) != 0) << "kind " << kinds[i];
        Kernel_SetGetVersionSeam(nullptr);
    }
}

// ---- Processor word ---------------------------------------------------------

TEST(KernelCpu, WordFromFacts) {
    const DWORD fpu = 1u << 0, tsc = 1u << 4, cmov = 1u << 15, mmx = 1u << 23,
                sse = 1u << 25, sse2 = 1u << 26;
    const DWORD all = fpu | tsc | cmov | mmx | sse | sse2;
    struct Row {
        const char *name;
        KernelCpuFacts f;
        DWORD word;
    } rows[] = {
        {"386 without CPUID", {386, FALSE, FALSE, -1, 0, TRUE, TRUE}, 0},
        {"486 on NT: no CPUID", {486, FALSE, TRUE, 1, all, TRUE, TRUE}, 1},
        {"486 on 95 with CPUID", {486, TRUE, TRUE, 1, fpu | tsc, TRUE, TRUE}, 0x400 | 1},
        {"586 on NT, leaf 0", {586, FALSE, FALSE, 0, all, TRUE, TRUE}, 2},
        {"586 on 95, no ID flag", {586, TRUE, FALSE, 1, all, TRUE, TRUE}, 2},
        {"cmov without fpu", {586, FALSE, FALSE, 1, cmov, TRUE, TRUE}, 0x100 | 2},
        {"cmov and fpu", {586, FALSE, FALSE, 1, cmov | fpu, TRUE, TRUE}, 0x300 | 3},
        {"mmx on level 2 stays 2", {586, FALSE, FALSE, 1, mmx, TRUE, TRUE}, 0x10 | 2},
        {"mmx on level 3 gives 4", {586, FALSE, FALSE, 1, cmov | fpu | mmx, TRUE, TRUE},
         0x310 | 4},
        {"all features", {586, FALSE, FALSE, 2, all, TRUE, TRUE}, 0x770 | 6},
        {"sse trial failed", {586, FALSE, FALSE, 1, all, FALSE, TRUE}, 0x750 | 6},
        {"both trials failed", {586, FALSE, FALSE, 1, all, FALSE, FALSE}, 0x710 | 4},
        {"sse2 trial failed", {586, FALSE, FALSE, 1, all, TRUE, FALSE}, 0x730 | 5},
        {"sse without cmov", {586, FALSE, FALSE, 1, sse, TRUE, TRUE}, 0x20 | 5},
        {"other processor type", {8664, FALSE, FALSE, 1, all, TRUE, TRUE}, 0},
        {"other type on 95 family", {8664, TRUE, TRUE, 1, all, TRUE, TRUE}, 0x770 | 6},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.word, Kernel_ComputeCpuWord(&r.f));
    }
}

TEST(KernelCpu, TrialInstructionGuard) {
    // An undefined opcode is caught by the guard and reported, not raised.
    EXPECT_FALSE(Kernel_TrialInstruction(2));
    // This machine runs SSE2 code: the build requires it.
    EXPECT_TRUE(Kernel_TrialInstruction(0));
    EXPECT_TRUE(Kernel_TrialInstruction(1));
    EXPECT_FALSE(Kernel_TrialInstruction(2));  // the guard leaves no trace behind
}

TEST(KernelCpu, SupportWordOnThisMachine) {
    Kernel_ResetCachedAnswers();
    DWORD word = LxGetCPUSupport(0);
    EXPECT_EQ(6u, word & LXCPU_LEVELMASK);
    EXPECT_EQ(0x770u, word & 0x770u);
    EXPECT_EQ(LXCPU_SSE2, LxGetCPUSupport(LXCPU_SSE2));
    EXPECT_EQ(6u, LxGetCPUSupport(LXCPU_LEVELMASK));
    Kernel_ForceCpuWord(0x310 | 4);
    EXPECT_EQ(0u, LxGetCPUSupport(LXCPU_SSE2));
    EXPECT_EQ(4u, LxGetCPUSupport(LXCPU_LEVELMASK));
    Kernel_ForceCpuWord(0);
    EXPECT_EQ(word, LxGetCPUSupport(0));
}

// ---- CLSID text -------------------------------------------------------------

TEST(KernelClsid, RoundTrip) {
    const CLSID id = {0xBFCCD726, 0x17B0, 0x11D0, {0x85, 0x74, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
    char text[48];
    memset(text, 0x55, sizeof text);
    EXPECT_EQ(S_OK, LxStringFromCLSID(text, &id));
    EXPECT_STREQ("{BFCCD726-17B0-11D0-8574-00A0C9053912}", text);
    EXPECT_EQ(0, text[39]);
    EXPECT_EQ(0x55, (BYTE)text[40]);
    CLSID back;
    memset(&back, 0x55, sizeof back);
    EXPECT_EQ(S_OK, LxCLSIDFromString(text, &back));
    EXPECT_TRUE(IsEqualCLSID(id, back));
    EXPECT_EQ(S_OK, LxCLSIDFromString("{bfccd726-17b0-11d0-8574-00a0c9053912}", &back));
    EXPECT_TRUE(IsEqualCLSID(id, back));
}

TEST(KernelClsid, BadInput) {
    CLSID c;
    EXPECT_NE(S_OK, LxCLSIDFromString("not a clsid", &c));
    EXPECT_NE(S_OK, LxCLSIDFromString("{BFCCD726-17B0-11D0-8574-00A0C9053912}{BFCCD726-17B0}", &c));
    EXPECT_EQ(E_INVALIDARG, LxCLSIDFromString(nullptr, &c));
    EXPECT_EQ(E_INVALIDARG, LxCLSIDFromString("{}", nullptr));
    char text[40];
    EXPECT_EQ(E_INVALIDARG, LxStringFromCLSID(text, nullptr));
    EXPECT_EQ(E_INVALIDARG, LxStringFromCLSID(nullptr, &c));
}

// ---- Scratch blocks -----------------------------------------------------------

struct ScratchCtx {
    BYTE *block;
    BYTE *again;
    BYTE *afterDetach;
};

DWORD WINAPI ScratchThread(LPVOID p) {
    ScratchCtx *c = (ScratchCtx *)p;
    c->block = (BYTE *)Kernel_GetThreadScratch(nullptr);
    c->again = (BYTE *)Kernel_GetThreadScratch(nullptr);
    Kernel_ThreadDetach();  // what the loader does as the thread ends
    Kernel_ThreadAttach();
    c->afterDetach = (BYTE *)Kernel_GetThreadScratch(nullptr);
    if (c->afterDetach) c->afterDetach[0] = 1;
    Kernel_ThreadDetach();
    Kernel_ThreadAttach();
    return 0;
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
    for (DWORD i = 0; i < size; i += 4093) EXPECT_EQ(0, mine[i]);
    EXPECT_EQ(0, mine[size - 1]);
    mine[5] = 42;
    EXPECT_EQ(mine, Kernel_GetThreadScratch(nullptr));
    ASSERT_NE(nullptr, GlobalHandle(mine));
    EXPECT_EQ(0x20000u, GlobalSize(GlobalHandle(mine)));

    ScratchCtx ctx = {};
    HANDLE t = CreateThread(nullptr, 0, ScratchThread, &ctx, 0, nullptr);
    ASSERT_NE(nullptr, t);
    WaitForSingleObject(t, INFINITE);
    CloseHandle(t);
    ASSERT_NE(nullptr, ctx.block);
    EXPECT_NE(mine, ctx.block);
    EXPECT_EQ(ctx.block, ctx.again);
    EXPECT_EQ(42, mine[5]);  // another thread's block is its own
}

TEST_F(KernelAttached, ThreadCountFollowsNotifications) {
    LONG n = LxKernelGetThreadCount();
    Kernel_ThreadAttach();
    Kernel_ThreadAttach();
    EXPECT_EQ(n + 2, LxKernelGetThreadCount());
    Kernel_ThreadDetach();
    Kernel_ThreadDetach();
    EXPECT_EQ(n, LxKernelGetThreadCount());
}

TEST_F(KernelAttached, UserPrefChangesKeepsAnswers) {
    BOOL high = LxIsHighColor();
    BOOL all = LxIsAllMonitorsHighColor();
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_SYSCOLORCHANGE, 0, 0));
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_DISPLAYCHANGE, 0, 0));
    EXPECT_EQ(0, LxKernel_UserPrefChanges(nullptr, WM_PAINT, 0, 0));
    EXPECT_EQ(high, LxIsHighColor());
    EXPECT_EQ(all, LxIsAllMonitorsHighColor());
    // The virtual display of the test run has 24 bits per pixel.
    EXPECT_TRUE(high);
    EXPECT_TRUE(all);
}

}  // namespace
