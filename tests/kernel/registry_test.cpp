// Registry helpers: sub key counts, deep deletion, the write test on the
// machine hive, in-process server registration and self-registration.
#include <gtest/gtest.h>

#include "kernel/kernel_internal.h"
#include "kernel/lxmetric.h"
#include "testsupport.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

// The test program offers a registration entry, and deliberately no
// unregistration entry, so that a copy of it can stand as a self-registering
// module. It is reached in a copy whose start-up code never ran, so it must
// not touch any data.
extern "C" __declspec(dllexport) HRESULT DllRegisterServer(void) { return 0x0004E123; }

namespace {

bool KeyExists(HKEY root, const std::string &path) {
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

void CreateKey(HKEY root, const std::string &path) {
    HKEY key;
    ASSERT_EQ(RegCreateKeyA(root, path.c_str(), &key), ERROR_SUCCESS) << path;
    RegCloseKey(key);
}

std::string TextValue(HKEY root, const std::string &path, const char *name) {
    char buffer[MAX_PATH + 1] = {0};
    DWORD size = MAX_PATH, type = 0;
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "<no key>";
    LONG rc = RegQueryValueExA(key, name, nullptr, &type, (BYTE *)buffer, &size);
    RegCloseKey(key);
    return rc != ERROR_SUCCESS ? "<no value>" : type != REG_SZ ? "<not text>" : buffer;
}

class RegistryHelpers : public testing::Test {
protected:
    void SetUp() override {
        product_ = lxtest::UniqueName("RegistryT");
        base_ = "Software\\Velmora\\" + product_;
    }
    void TearDown() override { lxtest::DeleteProductKeys(product_); }
    std::string product_, base_;
};

TEST_F(RegistryHelpers, SubKeyCountAndLongestName) {
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\a");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\bbbb\\deeper\\not counted");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\cc");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Empty");
    const struct {
        std::string path;
        LONG count;
        DWORD longest;
    } rows[] = {
        {base_ + "\\Counted", 3, 5}, {base_ + "\\Empty", 0, 1}, {base_ + "\\Missing", -1, 0}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.path);
        DWORD longest = 1234;
        EXPECT_EQ(LxRegGetSubKeyCount(HKEY_CURRENT_USER, row.path.c_str(), &longest), row.count);
        EXPECT_EQ(longest, row.longest);
        EXPECT_EQ(LxRegGetSubKeyCount(HKEY_CURRENT_USER, row.path.c_str(), nullptr), row.count);
    }
}

TEST_F(RegistryHelpers, DeepDeletion) {
    const std::string root = base_ + "\\Tree";
    // Many siblings, so that one pass by index misses some, each with nested
    // children and values; and one deep chain.
    for (int i = 0; i < 40; i++) {
        for (int j = 0; j < 4; j++) {
            char path[64];
            snprintf(path, sizeof path, "\\s%02d\\c%d\\g", i, j);
            HKEY key;
            ASSERT_EQ(RegCreateKeyA(HKEY_CURRENT_USER, (root + path).c_str(), &key), ERROR_SUCCESS);
            RegSetValueExA(key, "v", 0, REG_DWORD, (const BYTE *)&i, sizeof i);
            RegCloseKey(key);
        }
    }
    std::string chain = root + "\\chain";
    for (int depth = 0; depth < 30; depth++) chain += "\\d";
    CreateKey(HKEY_CURRENT_USER, chain);
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Sibling\\child");
    EXPECT_EQ(LxRegDeleteKey(HKEY_CURRENT_USER, root.c_str()), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, root));
    const std::string missing = base_ + "\\Missing";
    EXPECT_EQ(LxRegDeleteKey(HKEY_CURRENT_USER, missing.c_str()), ERROR_FILE_NOT_FOUND);

    // Relative to an open key; an empty name would stand for the key itself.
    HKEY parent;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, base_.c_str(), 0, KEY_ALL_ACCESS, &parent), 0);
    EXPECT_EQ(LxRegDeleteKey(parent, ""), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(LxRegDeleteKey(parent, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, base_ + "\\Sibling\\child"));
    EXPECT_EQ(LxRegDeleteKey(parent, "Sibling"), ERROR_SUCCESS);
    RegCloseKey(parent);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, base_ + "\\Sibling"));
}

// Gives a key an access list that allows only `allowed` to everyone; null
// restores an open one. True if it was set.
bool SetKeyAccess(HKEY root, const std::string &path, const DWORD *allowed) {
    BYTE aclBuffer[256];
    ACL *acl = (ACL *)aclBuffer;
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID everyone = nullptr;
    AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &everyone);
    InitializeAcl(acl, sizeof aclBuffer, ACL_REVISION);
    if (allowed) AddAccessAllowedAce(acl, ACL_REVISION, *allowed, everyone);
    SECURITY_DESCRIPTOR sd;
    InitializeSecurityDescriptor(&sd, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&sd, TRUE, allowed ? acl : nullptr, FALSE);
    HKEY key;
    LONG rc = RegOpenKeyExA(root, path.c_str(), 0, WRITE_DAC, &key);
    if (rc == ERROR_SUCCESS) {
        rc = RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, &sd);
        RegCloseKey(key);
    }
    FreeSid(everyone);
    return rc == ERROR_SUCCESS;
}

// A child that may not even be read stays, and so does its parent: the walk
// gives up with the registry's refusal instead of trying for ever.
TEST_F(RegistryHelpers, DeepDeletionGivesUpOnAChildItMayNotOpen) {
    const std::string path = base_ + "\\Locked";
    CreateKey(HKEY_CURRENT_USER, path + "\\child\\grandchild");
    CreateKey(HKEY_CURRENT_USER, path + "\\free");
    const DWORD onlyWriteDac = WRITE_DAC;
    ASSERT_TRUE(SetKeyAccess(HKEY_CURRENT_USER, path + "\\child", &onlyWriteDac));
    if (KeyExists(HKEY_CURRENT_USER, path + "\\child")) {
        SetKeyAccess(HKEY_CURRENT_USER, path + "\\child", nullptr);
        GTEST_SKIP() << "this registry lets a key be read against its access list";
    }
    EXPECT_NE(LxRegDeleteKey(HKEY_CURRENT_USER, path.c_str()), ERROR_SUCCESS);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, path));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, path + "\\free"));
    SetKeyAccess(HKEY_CURRENT_USER, path + "\\child", nullptr);
}

DWORD g_fakePlatform;
BOOL WINAPI FakeVersion(OSVERSIONINFOA *vi) {
    vi->dwPlatformId = g_fakePlatform;
    vi->dwMajorVersion = g_fakePlatform == VER_PLATFORM_WIN32_NT ? 5 : 4;
    vi->dwMinorVersion = g_fakePlatform == VER_PLATFORM_WIN32_NT ? 1 : 10;
    vi->szCSDVersion[0] = 0;
    return TRUE;
}

// The probe key is created and removed again under the family's own
// "Windows" or "Windows NT" key: one left there beforehand shows which.
TEST(RegistryPowerUser, ProbesUnderTheFamilysKeyAndLeavesNothing) {
    const std::string probe = "Software\\" + lxtest::UniqueName("RegistryProbe");
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, probe.c_str(), &key) != ERROR_SUCCESS)
        GTEST_SKIP() << "this account may not write to HKLM";
    RegCloseKey(key);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, probe.c_str());
    const char *nt = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\~LxTestLoginPrivilege";
    const char *w95 = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\~LxTestLoginPrivilege";
    const struct {
        DWORD platform;
        const char *probed, *other;
    } rows[] = {{VER_PLATFORM_WIN32_NT, nt, w95}, {VER_PLATFORM_WIN32_WINDOWS, w95, nt}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.platform);
        g_fakePlatform = row.platform;
        KernelGetVersionFn old = Kernel_SetGetVersionSeam(FakeVersion);
        Kernel_ResetCachedAnswers();
        CreateKey(HKEY_LOCAL_MACHINE, row.other);
        EXPECT_TRUE(LxIsPowerUser());
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, row.probed));
        EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, row.other));
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, row.other);
        Kernel_SetGetVersionSeam(old);
        Kernel_ResetCachedAnswers();
    }
}

TEST(RegistryServer, RegisterAndUnregisterUnderClsid) {
    GUID clsid;
    ASSERT_EQ(CoCreateGuid(&clsid), S_OK);
    char text[48];
    ASSERT_EQ(LxStringFromCLSID(text, &clsid), S_OK);
    const std::string key = std::string("CLSID\\") + text;
    char module[MAX_PATH];
    ASSERT_GT(GetModuleFileNameA(nullptr, module, MAX_PATH), 0u);
    EXPECT_EQ(LxRegisterServer(GetModuleHandleA(nullptr), clsid, "Test class", TRUE), S_OK);
    EXPECT_EQ(TextValue(HKEY_CLASSES_ROOT, key, nullptr), "Test class");
    EXPECT_EQ(TextValue(HKEY_CLASSES_ROOT, key + "\\InProcServer32", nullptr), module);
    EXPECT_EQ(TextValue(HKEY_CLASSES_ROOT, key + "\\InProcServer32", "ThreadingModel"), "Both");
    // Registering again rewrites in place.
    EXPECT_EQ(LxRegisterServer(GetModuleHandleA(nullptr), clsid, "Renamed", TRUE), S_OK);
    EXPECT_EQ(TextValue(HKEY_CLASSES_ROOT, key, nullptr), "Renamed");
    CreateKey(HKEY_CLASSES_ROOT, key + "\\Extra\\Deeper");
    EXPECT_EQ(LxRegisterServer(GetModuleHandleA(nullptr), clsid, nullptr, FALSE), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, key));
    // Removing what isn't there is no failure.
    EXPECT_EQ(LxRegisterServer(GetModuleHandleA(nullptr), clsid, nullptr, FALSE), S_OK);
    // C callers pass the class id by pointer, and may pass null.
    typedef HRESULT(__cdecl * ByPointer)(HMODULE, const CLSID *, const char *, BOOL);
    ByPointer byPointer = (ByPointer)(void (*)(void))LxRegisterServer;
    EXPECT_EQ(byPointer(GetModuleHandleA(nullptr), nullptr, "x", TRUE), E_FAIL);
}

// A version block in its 32-bit form: nodes of length, value length, type
// and key, each aligned to four bytes.
struct VersionNode {
    std::wstring key;
    WORD type;         // 1 text, 0 binary
    WORD valueLength;  // characters for text, bytes for binary
    std::vector<BYTE> value;
    std::vector<VersionNode> children;
};

void Serialize(const VersionNode &node, std::vector<BYTE> &out) {
    auto align = [&out] { out.resize((out.size() + 3) & ~(size_t)3); };
    size_t start = out.size();
    out.resize(start + 6);
    const BYTE *key = (const BYTE *)node.key.c_str();
    out.insert(out.end(), key, key + (node.key.size() + 1) * sizeof(wchar_t));
    align();
    out.insert(out.end(), node.value.begin(), node.value.end());
    align();
    for (const VersionNode &child : node.children) Serialize(child, out);
    WORD head[3] = {(WORD)(out.size() - start), node.valueLength, node.type};
    memcpy(&out[start], head, sizeof head);
}

std::vector<BYTE> Bytes(const void *p, size_t n) {
    return std::vector<BYTE>((const BYTE *)p, (const BYTE *)p + n);
}

// A block whose one string table holds "OLESelfRegister".
std::vector<BYTE> VersionBlock(const wchar_t *table, std::vector<DWORD> translations) {
    VS_FIXEDFILEINFO fixed = {};
    fixed.dwSignature = 0xFEEF04BD;
    fixed.dwStrucVersion = 0x00010000;
    fixed.dwFileType = VFT_APP;
    VersionNode entry = {L"OLESelfRegister", 1, 1, Bytes(L"", 2), {}};
    VersionNode var = {L"Translation", 0, (WORD)(translations.size() * 4),
                       Bytes(translations.data(), translations.size() * 4), {}};
    VersionNode root = {L"VS_VERSION_INFO", 0, (WORD)sizeof fixed, Bytes(&fixed, sizeof fixed),
                        {{L"StringFileInfo", 1, 0, {}, {{table, 1, 0, {}, {entry}}}},
                         {L"VarFileInfo", 1, 0, {}, {var}}}};
    std::vector<BYTE> out;
    Serialize(root, out);
    return out;
}

class RegistrySelfRegister : public testing::Test {
protected:
    void SetUp() override {
        char dir[MAX_PATH];
        ASSERT_GT(GetTempPathA(MAX_PATH, dir), 0u);
        base_ = std::string(dir) + lxtest::UniqueName("selfreg");
        GetModuleFileNameA(nullptr, self_, MAX_PATH);
        plain_ = base_ + "_plain.txt";
        files_.push_back(plain_);
        HANDLE f = CreateFileA(plain_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, 0);
        DWORD written;
        WriteFile(f, "no version here", 15, &written, nullptr);
        CloseHandle(f);
    }
    void TearDown() override {
        for (const std::string &f : files_) DeleteFileA(f.c_str());
    }
    // A copy of the test program with the given version block.
    std::string CopyWithVersion(const std::vector<BYTE> &block) {
        std::string path = base_ + "_" + std::to_string(files_.size()) + ".exe";
        files_.push_back(path);
        EXPECT_TRUE(CopyFileA(self_, path.c_str(), FALSE));
        HANDLE update = BeginUpdateResourceA(path.c_str(), FALSE);
        EXPECT_NE(update, nullptr);
        EXPECT_TRUE(UpdateResourceA(update, RT_VERSION, MAKEINTRESOURCEA(VS_VERSION_INFO),
                                    MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                                    (void *)block.data(), (DWORD)block.size()));
        EXPECT_TRUE(EndUpdateResourceA(update, FALSE));
        return path;
    }
    std::string base_, plain_;
    char self_[MAX_PATH] = {0};
    std::vector<std::string> files_;
};

TEST_F(RegistrySelfRegister, IsSupportedByVersionBlockAndRegister) {
    const std::string module = CopyWithVersion(VersionBlock(L"040904B0", {0x04B00409}));
    const struct {
        const char *name;
        std::string file;
        HRESULT expect;
    } rows[] = {
        {"no version block", plain_, E_FAIL},
        {"no such file", base_ + "_missing.dll", E_FAIL},
        {"version block without the entry", self_, E_NOTIMPL},
        {"entry in the translated table", module, S_OK},
        {"translation names another table",
         CopyWithVersion(VersionBlock(L"040904B0", {0x04E40409})), E_NOTIMPL},
        {"only the first translation counts",
         CopyWithVersion(VersionBlock(L"040904B0", {0x04E40407, 0x04B00409})), E_NOTIMPL},
    };
    for (const auto &row : rows)
        EXPECT_EQ(LxSelfRegister_IsSupported(row.file.c_str()), row.expect) << row.name;
    EXPECT_EQ(LxSelfRegister_IsSupported(nullptr), E_FAIL);

    EXPECT_EQ(LxSelfRegister_Register(module.c_str(), FALSE), 0x0004E123);
    // The copy has no unregistration entry, and it was freed again.
    EXPECT_EQ(LxSelfRegister_Register(module.c_str(), TRUE), E_NOTIMPL);
    EXPECT_EQ(GetModuleHandleA(module.c_str()), nullptr);
    // Without the version entry nothing is loaded.
    EXPECT_EQ(LxSelfRegister_Register(self_, FALSE), E_NOTIMPL);
    EXPECT_EQ(LxSelfRegister_Register(plain_.c_str(), FALSE), E_FAIL);
    EXPECT_EQ(LxSelfRegister_Register(nullptr, FALSE), E_FAIL);
}

}  // namespace
