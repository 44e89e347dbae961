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

const HRESULT kRegistered = 0x0004E123;

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
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "<no key>";
    char buffer[MAX_PATH + 1] = {0};
    DWORD size = MAX_PATH, type = 0;
    LONG rc = RegQueryValueExA(key, name, nullptr, &type, (BYTE *)buffer, &size);
    RegCloseKey(key);
    if (rc != ERROR_SUCCESS) return "<no value>";
    if (type != REG_SZ) return "<not text>";
    return buffer;
}

// Independent of the code under test, for cleaning up.
void DeleteTree(HKEY root, const std::string &path) {
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

class RegistryHelpers : public testing::Test {
protected:
    void SetUp() override {
        product_ = lxtest::UniqueName("RegistryT");
        base_ = "Software\\Velmora\\" + product_;
    }
    void TearDown() override { lxtest::DeleteProductKeys(product_); }
    std::string product_, base_;
};

// ---- Sub key count -------------------------------------------------------

TEST_F(RegistryHelpers, SubKeyCountAndLongestName) {
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\a");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\bbbb\\deeper\\not counted");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Counted\\cc");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Empty");
    const struct {
        const char *name;
        std::string path;
        LONG count;
        DWORD longest;
    } rows[] = {
        {"three children", base_ + "\\Counted", 3, 5},
        {"no children", base_ + "\\Empty", 0, 1},
        {"missing", base_ + "\\Missing", -1, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        DWORD longest = 1234;
        EXPECT_EQ(LxRegGetSubKeyCount(HKEY_CURRENT_USER, row.path.c_str(), &longest), row.count);
        EXPECT_EQ(longest, row.longest);
        EXPECT_EQ(LxRegGetSubKeyCount(HKEY_CURRENT_USER, row.path.c_str(), nullptr), row.count);
    }
}

// ---- Deep deletion ---------------------------------------------------------

TEST_F(RegistryHelpers, DeepDeletionOfManySiblingsAndLevels) {
    const std::string root = base_ + "\\Tree";
    // Many siblings, so that one pass by index misses some, each with
    // nested children and values.
    HKEY key;
    for (int i = 0; i < 40; i++) {
        for (int j = 0; j < 4; j++) {
            char path[64];
            snprintf(path, sizeof path, "\\s%02d\\c%d\\g", i, j);
            ASSERT_EQ(RegCreateKeyA(HKEY_CURRENT_USER, (root + path).c_str(), &key), ERROR_SUCCESS);
            DWORD v = (DWORD)(i * 10 + j);
            RegSetValueExA(key, "v", 0, REG_DWORD, (const BYTE *)&v, sizeof v);
            RegCloseKey(key);
        }
    }
    // And one deep chain.
    std::string chain = root + "\\chain";
    for (int depth = 0; depth < 30; depth++) chain += "\\d";
    CreateKey(HKEY_CURRENT_USER, chain);
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Sibling");

    EXPECT_EQ(LxRegDeleteKey(HKEY_CURRENT_USER, root.c_str()), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, root));
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, base_ + "\\Sibling"));
}

TEST_F(RegistryHelpers, DeepDeletionRelativeToAnOpenKey) {
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Rel\\x\\y");
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Rel\\z");
    HKEY parent;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, base_.c_str(), 0, KEY_ALL_ACCESS, &parent),
              ERROR_SUCCESS);
    EXPECT_EQ(LxRegDeleteKey(parent, "Rel"), ERROR_SUCCESS);
    RegCloseKey(parent);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, base_ + "\\Rel"));
}

TEST_F(RegistryHelpers, DeepDeletionFailures) {
    CreateKey(HKEY_CURRENT_USER, base_ + "\\Kept\\child");
    EXPECT_EQ(LxRegDeleteKey(HKEY_CURRENT_USER, (base_ + "\\Missing").c_str()),
              ERROR_FILE_NOT_FOUND);
    // An empty name would stand for the key itself and everything in it.
    HKEY parent;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, (base_ + "\\Kept").c_str(), 0, KEY_ALL_ACCESS,
                            &parent),
              ERROR_SUCCESS);
    EXPECT_EQ(LxRegDeleteKey(parent, ""), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(LxRegDeleteKey(parent, nullptr), ERROR_INVALID_PARAMETER);
    RegCloseKey(parent);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, base_ + "\\Kept\\child"));
}

// Sets a key's access list for the life of one test and gives it back an
// open one at the end, so that the tree can be cleaned up.
class LockedKey {
public:
    LockedKey(HKEY root, const std::string &path, DWORD allowed) : root_(root), path_(path) {
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &everyone_);
        ACL *acl = (ACL *)acl_;
        InitializeAcl(acl, sizeof acl_, ACL_REVISION);
        AddAccessAllowedAce(acl, ACL_REVISION, allowed, everyone_);
        locked_ = Apply(acl);
    }
    ~LockedKey() {
        Apply(nullptr);
        if (everyone_) FreeSid(everyone_);
    }
    bool locked() const { return locked_; }

private:
    bool Apply(ACL *acl) {
        SECURITY_DESCRIPTOR sd;
        InitializeSecurityDescriptor(&sd, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&sd, TRUE, acl, FALSE);
        HKEY key;
        if (RegOpenKeyExA(root_, path_.c_str(), 0, WRITE_DAC, &key) != ERROR_SUCCESS) return false;
        LONG rc = RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, &sd);
        RegCloseKey(key);
        return rc == ERROR_SUCCESS;
    }
    HKEY root_;
    std::string path_;
    PSID everyone_ = nullptr;
    BYTE acl_[256];
    bool locked_ = false;
};

// A child that may not even be read stays, and so does its parent: the walk
// gives up with the registry's refusal instead of trying for ever.
TEST_F(RegistryHelpers, DeepDeletionGivesUpOnAChildItMayNotOpen) {
    const std::string path = base_ + "\\Locked";
    CreateKey(HKEY_CURRENT_USER, path + "\\child\\grandchild");
    CreateKey(HKEY_CURRENT_USER, path + "\\free");
    LockedKey lock(HKEY_CURRENT_USER, path + "\\child", WRITE_DAC);
    ASSERT_TRUE(lock.locked());
    HKEY probe;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, (path + "\\child").c_str(), 0, KEY_READ, &probe) ==
        ERROR_SUCCESS) {
        RegCloseKey(probe);
        GTEST_SKIP() << "this registry lets a key be read against its access list";
    }
    LONG rc = LxRegDeleteKey(HKEY_CURRENT_USER, path.c_str());
    EXPECT_NE(rc, ERROR_SUCCESS);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, path));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, path + "\\free"));
}

// ---- Write test on the machine hive ---------------------------------------

const char kProbeNT[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\~LxTestLoginPrivilege";
const char kProbe95[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\~LxTestLoginPrivilege";

BOOL WINAPI Win95Version(OSVERSIONINFOA *vi) {
    vi->dwMajorVersion = 4;
    vi->dwMinorVersion = 10;
    vi->dwBuildNumber = 2222;
    vi->dwPlatformId = VER_PLATFORM_WIN32_WINDOWS;
    vi->szCSDVersion[0] = 0;
    return TRUE;
}

BOOL WINAPI NtVersion(OSVERSIONINFOA *vi) {
    vi->dwMajorVersion = 5;
    vi->dwMinorVersion = 1;
    vi->dwBuildNumber = 2600;
    vi->dwPlatformId = VER_PLATFORM_WIN32_NT;
    vi->szCSDVersion[0] = 0;
    return TRUE;
}

// Whether this process may write to the machine hive, asked without the
// code under test.
bool MachineHiveWritable() {
    std::string path = "Software\\" + lxtest::UniqueName("RegistryProbe");
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
    return true;
}

// The probe key is created and removed again under the family's own
// "Windows" or "Windows NT" key: one left there beforehand shows which.
TEST(RegistryPowerUser, ProbesUnderTheFamilysKeyAndLeavesNothing) {
    if (!MachineHiveWritable()) GTEST_SKIP() << "this account may not write to HKLM";
    const struct {
        const char *name;
        KernelGetVersionFn version;
        const char *probed;
        const char *other;
    } rows[] = {
        {"NT family", NtVersion, kProbeNT, kProbe95},
        {"95 family", Win95Version, kProbe95, kProbeNT},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        KernelGetVersionFn old = Kernel_SetGetVersionSeam(row.version);
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

// ---- In-process server registration --------------------------------------

std::string GuidText(const GUID &g) {
    char text[64];
    snprintf(text, sizeof text, "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1,
             g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
             g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

TEST(RegistryServer, RegisterAndUnregisterUnderClsid) {
    GUID clsid;
    ASSERT_EQ(CoCreateGuid(&clsid), S_OK);
    const std::string key = "CLSID\\" + GuidText(clsid);
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
    DeleteTree(HKEY_CLASSES_ROOT, key);
}

TEST(RegistryServer, NullClassIdFails) {
    // C callers pass the class id by pointer.
    typedef HRESULT(__cdecl * ByPointer)(HMODULE, const CLSID *, const char *, BOOL);
    ByPointer fn = (ByPointer)(void (*)(void))LxRegisterServer;
    EXPECT_EQ(fn(GetModuleHandleA(nullptr), nullptr, "x", TRUE), E_FAIL);
}

// ---- Self-registration -----------------------------------------------------

// A version block in its 32-bit form: nodes of length, value length, type
// and key, each aligned to four bytes.
struct VersionNode {
    std::wstring key;
    WORD type;              // 1 text, 0 binary
    WORD valueLength;       // characters for text, bytes for binary
    std::vector<BYTE> value;
    std::vector<VersionNode> children;
};

void Align(std::vector<BYTE> &out) {
    while (out.size() % 4) out.push_back(0);
}

void Serialize(const VersionNode &node, std::vector<BYTE> &out) {
    size_t start = out.size();
    out.resize(start + 6);
    WORD head[3] = {0, node.valueLength, node.type};
    const BYTE *key = (const BYTE *)node.key.c_str();
    out.insert(out.end(), key, key + (node.key.size() + 1) * sizeof(wchar_t));
    Align(out);
    out.insert(out.end(), node.value.begin(), node.value.end());
    Align(out);
    for (const VersionNode &child : node.children) Serialize(child, out);
    head[0] = (WORD)(out.size() - start);
    memcpy(&out[start], head, sizeof head);
}

VersionNode Text(const wchar_t *key, const wchar_t *value) {
    size_t n = wcslen(value) + 1;
    const BYTE *p = (const BYTE *)value;
    return {key, 1, (WORD)n, std::vector<BYTE>(p, p + n * sizeof(wchar_t)), {}};
}

std::vector<BYTE> VersionBlock(const wchar_t *table, std::vector<DWORD> translations) {
    VS_FIXEDFILEINFO fixed = {};
    fixed.dwSignature = 0xFEEF04BD;
    fixed.dwStrucVersion = 0x00010000;
    fixed.dwFileType = VFT_APP;
    const BYTE *f = (const BYTE *)&fixed;
    VersionNode strings = {table, 1, 0, {},
                           {Text(L"FileDescription", L"copy"), Text(L"OLESelfRegister", L"")}};
    const BYTE *t = (const BYTE *)translations.data();
    VersionNode var = {L"Translation", 0, (WORD)(translations.size() * 4),
                       std::vector<BYTE>(t, t + translations.size() * 4), {}};
    VersionNode root = {L"VS_VERSION_INFO", 0, (WORD)sizeof fixed,
                        std::vector<BYTE>(f, f + sizeof fixed),
                        {{L"StringFileInfo", 1, 0, {}, {strings}},
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
        if (!update) return path;
        EXPECT_TRUE(UpdateResourceA(update, RT_VERSION, MAKEINTRESOURCEA(VS_VERSION_INFO),
                                    MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                                    (void *)block.data(), (DWORD)block.size()));
        EXPECT_TRUE(EndUpdateResourceA(update, FALSE));
        return path;
    }
    std::string TextFile() {
        std::string path = base_ + "_plain.txt";
        files_.push_back(path);
        HANDLE f = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written;
        WriteFile(f, "no version here", 15, &written, nullptr);
        CloseHandle(f);
        return path;
    }
    std::string base_;
    char self_[MAX_PATH] = {0};
    std::vector<std::string> files_;
};

TEST_F(RegistrySelfRegister, IsSupportedByVersionBlock) {
    const std::string plain = TextFile();
    const struct {
        const char *name;
        std::string file;
        HRESULT expect;
    } rows[] = {
        {"no version block", plain, E_FAIL},
        {"no such file", base_ + "_missing.dll", E_FAIL},
        {"version block without the entry", self_, E_NOTIMPL},
        {"entry in the translated table",
         CopyWithVersion(VersionBlock(L"040904B0", {0x04B00409})), S_OK},
        {"translation names another table",
         CopyWithVersion(VersionBlock(L"040904B0", {0x04E40409})), E_NOTIMPL},
        {"only the first translation counts",
         CopyWithVersion(VersionBlock(L"040904B0", {0x04E40407, 0x04B00409})), E_NOTIMPL},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LxSelfRegister_IsSupported(row.file.c_str()), row.expect);
    }
    EXPECT_EQ(LxSelfRegister_IsSupported(nullptr), E_FAIL);
}

TEST_F(RegistrySelfRegister, RegisterCallsTheModulesEntry) {
    const std::string plain = TextFile();
    const std::string module = CopyWithVersion(VersionBlock(L"040904B0", {0x04B00409}));
    ASSERT_EQ(LxSelfRegister_IsSupported(module.c_str()), S_OK);
    EXPECT_EQ(LxSelfRegister_Register(module.c_str(), FALSE), kRegistered);
    // The copy has no unregistration entry.
    EXPECT_EQ(LxSelfRegister_Register(module.c_str(), TRUE), E_NOTIMPL);
    // The module was freed again.
    EXPECT_EQ(GetModuleHandleA(module.c_str()), nullptr);
    // Without the version entry nothing is loaded.
    EXPECT_EQ(LxSelfRegister_Register(self_, FALSE), E_NOTIMPL);
    EXPECT_EQ(LxSelfRegister_Register(plain.c_str(), FALSE), E_FAIL);
    EXPECT_EQ(LxSelfRegister_Register(nullptr, FALSE), E_FAIL);
}

}  // namespace
