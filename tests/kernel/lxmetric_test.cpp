// The metric store on the real registry: scopes and value names, the rules
// of every getter, the default store, sub keys, and deep deletion under it.
#include <gtest/gtest.h>

#include "kernel/lxmetric.h"
#include "testsupport.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

const DWORD kVersion = 0x060000DB;  // "6.0"
const DWORD kNoKey = 0xFFFFFFFF;

// The value's registry type and bytes; REG_NONE if it can't be read, kNoKey
// if the key can't be opened.
std::pair<DWORD, std::string> Raw(HKEY root, const std::string &path, const char *name = "") {
    char buffer[512];
    DWORD size = sizeof buffer, type = REG_NONE;
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key)) return {kNoKey, ""};
    if (RegQueryValueExA(key, name, nullptr, &type, (BYTE *)buffer, &size)) type = REG_NONE;
    RegCloseKey(key);
    return {type, type == REG_NONE ? "" : std::string(buffer, size)};
}

void WriteRaw(HKEY root, const std::string &path, const char *name, DWORD type, std::string data) {
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyA(root, path.c_str(), &key));
    RegSetValueExA(key, name, 0, type, (const BYTE *)data.data(), (DWORD)data.size());
    RegCloseKey(key);
}

class MetricStore : public testing::Test {
protected:
    void SetUp() override {
        product_ = lxtest::UniqueName("MetricT");
        ASSERT_EQ(S_OK, LxMetric_Open(&h_, product_.c_str(), kVersion, nullptr));
        path_ = "Software\\Velmora\\" + product_ + "\\6.0\\Metrics";
    }
    void TearDown() override {
        LxMetric_Close(h_);
        lxtest::DeleteProductKeys(product_);
    }
    std::string product_, path_;  // the same path in both hives
    HLXMETRIC h_ = nullptr;
};

TEST_F(MetricStore, IdSignTypeAndTheDefaultStore) {
    EXPECT_EQ(S_OK, LxSetMetric(h_, 0, 5));
    EXPECT_EQ(S_OK, LxSetMetricString(h_, 0, "text"));
    EXPECT_EQ(S_OK, LxSetMetricBinary(h_, -7, "\1\2\3", 3));
    EXPECT_EQ(S_OK, LxSetMetricMultiString(h_, -7, "a\0", 3));
    EXPECT_EQ(S_OK, LxSetMetric(h_, -7, 6));
    const struct {
        HKEY root;
        const char *name;
        DWORD type;
        std::string data;
    } rows[] = {
        {HKEY_CURRENT_USER, "0", REG_DWORD, std::string("\5\0\0\0", 4)},
        {HKEY_CURRENT_USER, "S0", REG_SZ, std::string("text", 5)},
        {HKEY_LOCAL_MACHINE, "B7", REG_BINARY, "\1\2\3"},
        {HKEY_LOCAL_MACHINE, "Z7", REG_MULTI_SZ, std::string("a\0", 3)},
        {HKEY_LOCAL_MACHINE, "7", REG_DWORD, std::string("\6\0\0\0", 4)},
        {HKEY_LOCAL_MACHINE, "0", REG_NONE, ""},  // id 0 is the user's
        {HKEY_CURRENT_USER, "7", REG_NONE, ""},   // -7 and 7 are two settings
    };
    for (const auto &row : rows)
        EXPECT_EQ(std::make_pair(row.type, row.data), Raw(row.root, path_, row.name)) << row.name;
    EXPECT_EQ(S_OK, LxDoesMetricExist(h_, 0, LXMETRIC_SZ));  // longer than the one-byte probe
    WriteRaw(HKEY_CURRENT_USER, path_, "S1", REG_EXPAND_SZ, "x");
    EXPECT_EQ(S_FALSE, LxDoesMetricExist(h_, 1, LXMETRIC_SZ));  // the exact type only
    EXPECT_EQ(S_OK, LxDeleteMetric(h_, -7, 99));                // any other type: multi-string
    EXPECT_EQ(E_FAIL, LxDeleteMetric(h_, -7, 0));
    // Only the DWORD setter may write through -1; everything reads through it.
    LxMetric_SetDefaultStore(h_);
    EXPECT_EQ(S_OK, LxSetMetric(LXMETRIC_DEFAULT, -5, 78));
    EXPECT_EQ(E_FAIL, LxSetMetricString(LXMETRIC_DEFAULT, 5, "text"));
    EXPECT_EQ(E_FAIL, LxSetMetricBinary(LXMETRIC_DEFAULT, 5, "ab", 2));
    EXPECT_EQ(E_FAIL, LxSetMetricMultiString(LXMETRIC_DEFAULT, 5, "a\0", 3));
    EXPECT_EQ(10u, LxGetMetricEx(LXMETRIC_DEFAULT, -5, 0, 10, 3));
    EXPECT_EQ(S_OK, LxMetric_Close(LXMETRIC_DEFAULT));  // the frame's store stays open
    EXPECT_EQ(S_OK, LxDeleteMetric(LXMETRIC_DEFAULT, -5, LXMETRIC_DWORD));
    LxMetric_SetDefaultStore(nullptr);
}

// A null handle, and -1 while no default store is set, are a missing store;
// so is a store whose path is too long for the block's 260 characters.
TEST(MetricNoStore, GettersGiveDefaultsAndWritersFail) {
    HLXMETRIC longPath = nullptr;
    std::string product = lxtest::UniqueName("MetricLong") + std::string(230, 'x');
    ASSERT_EQ(S_OK, LxMetric_Open(&longPath, product.c_str(), kVersion, nullptr));
    for (HLXMETRIC h : {HLXMETRIC(nullptr), LXMETRIC_DEFAULT, longPath}) {
        EXPECT_EQ(50u, LxGetMetricEx(h, -4, 0, 10, 50));  // not clamped
        EXPECT_EQ(5u, LxGetMetricBool(h, 4, 5));          // not made 1
        BYTE buffer[4] = {0xCC, 0xCC, 0xCC, 0xCC};
        DWORD length = 7;
        EXPECT_EQ((HRESULT)0x8004E00A, LxGetMetricBinaryEx(h, 1, buffer, 4, &length));
        EXPECT_EQ(std::vector<BYTE>(4, 0), std::vector<BYTE>(buffer, buffer + 4));
        char text[8];
        memset(text, 'A', sizeof text);
        EXPECT_EQ(4, LxGetMetricStringEx(h, 1, text, 8, "dflt", FALSE));
        EXPECT_EQ(std::string("dflt\0\0\0\0", 8), std::string(text, 8));
        EXPECT_EQ(S_FALSE, LxDeleteMetric(h, 1, LXMETRIC_DWORD));
        EXPECT_EQ(E_FAIL, LxSetMetric(h, -1, 1));
    }
    EXPECT_EQ(S_OK, LxMetric_CloseAndDeleteKey(longPath));
    EXPECT_EQ(E_FAIL, LxMetric_CloseAndDeleteKey(nullptr));
}

TEST_F(MetricStore, DwordGettersDefaultAndClamp) {
    LxSetMetric(h_, 0, 0);
    LxSetMetric(h_, 3, (DWORD)-3);
    LxSetMetric(h_, 4, 0xDEADBEEF);
    WriteRaw(HKEY_CURRENT_USER, path_, "5", REG_BINARY, "\1\2\3\4");
    const struct {
        LONG id, minimum, maximum, def;
        DWORD get, getEx, getBool;  // LxGetMetricBool is given def
    } rows[] = {
        {3, -10, 10, 5, (DWORD)-3, (DWORD)-3, 1},  // compared as signed
        {4, 7, 7, 0, 0xDEADBEEF, 0xDEADBEEF, 1},  // equal bounds: unbounded
        {0, 1, 10, 5, 0, 1, 0},
        {9, 0, 10, 50, 0, 10, 1},  // missing: the default, clamped
        {5, 0, 10, -5, 0, 0, 1},   // four bytes, but binary
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.get, LxGetMetric(h_, row.id)) << row.id;
        EXPECT_EQ(row.getEx, LxGetMetricEx(h_, row.id, row.minimum, row.maximum, row.def));
        EXPECT_EQ(row.getBool, LxGetMetricBool(h_, row.id, (DWORD)row.def)) << row.id;
    }
}

TEST_F(MetricStore, BinaryReadsClearBehindTheData) {
    ASSERT_EQ(S_OK, LxSetMetricBinary(h_, 1, "\11\10\7\6\5", 5));
    WriteRaw(HKEY_CURRENT_USER, path_, "B2", REG_SZ, std::string("hello", 6));
    std::vector<BYTE> buffer(8, 0xCC);
    DWORD length = 0;
    EXPECT_EQ(S_OK, LxGetMetricBinaryEx(h_, 1, buffer.data(), 8, &length));
    EXPECT_EQ(5u, length);
    EXPECT_EQ(std::vector<BYTE>({9, 8, 7, 6, 5, 0, 0, 0}), buffer);
    EXPECT_EQ(S_FALSE, LxGetMetricBinaryEx(h_, 2, buffer.data(), 8, &length));
    EXPECT_EQ(std::vector<BYTE>(8, 0), buffer);  // another type is missing, leaving nothing
    EXPECT_EQ((HRESULT)0x8004E03C, LxGetMetricBinaryEx(h_, 1, buffer.data(), 4, &length));
    EXPECT_EQ(5u, length);
    buffer.assign(8, 0xCC);
    EXPECT_EQ(0u, LxGetMetricBinary(h_, 1, buffer.data(), 4));  // too large is missing
    EXPECT_EQ(std::vector<BYTE>({0, 0, 0, 0, 0xCC, 0xCC, 0xCC, 0xCC}), buffer);
    EXPECT_EQ(E_INVALIDARG, LxGetMetricBinaryEx(nullptr, 1, buffer.data(), 8, nullptr));
}

TEST_F(MetricStore, StringReadRules) {
    LxSetMetricString(h_, 1, "hello");
    LxSetMetricString(h_, 2, "");
    LxSetMetricMultiString(h_, -4, "a\0bc\0", 6);
    WriteRaw(HKEY_CURRENT_USER, path_, "S5", REG_DWORD, "AAAA");
    const struct {
        LONG id, size;
        const char *def;
        BOOL emptyIsValid;
        LONG result;
        std::string text;
    } rows[] = {
        {1, 6, "dflt", FALSE, 5, "hello"},
        {1, 5, "dflt", FALSE, 4, "dflt"},  // too large counts as missing
        {2, 16, "dflt", TRUE, 0, ""},
        {2, 16, "dflt", FALSE, 4, "dflt"},
        {9, 4, "abcdefghij", TRUE, 3, "abc"},
        {5, 16, nullptr, FALSE, 0, ""},  // a DWORD under the name leaves nothing
        {-4, 16, nullptr, FALSE, 5, std::string("a\0bc", 4)},  // read as a multi-string
    };
    for (const auto &row : rows) {
        char buffer[16];
        memset(buffer, 'A', sizeof buffer);
        auto get = row.id < 0 ? LxGetMetricMultiStringEx : LxGetMetricStringEx;
        EXPECT_EQ(row.result, get(h_, row.id, buffer, row.size, row.def, row.emptyIsValid));
        // The text, zeros up to the size given, and nothing written behind it.
        std::string want = row.text;
        want.resize(row.size, '\0');
        want.resize(sizeof buffer, 'A');
        EXPECT_EQ(want, std::string(buffer, sizeof buffer)) << row.id << " size " << row.size;
    }
}

// A sub key lies directly under Metrics, not under the parent's own sub key.
TEST(MetricOpen, SubKeyAndDeletion) {
    const std::string product = lxtest::UniqueName("Metric.Sub Key");
    const std::string metrics = "Software\\Velmora\\" + product + "\\12.34\\Metrics\\";
    HLXMETRIC parent = nullptr, child = nullptr;
    ASSERT_EQ(S_OK, LxMetric_Open(&parent, product.c_str(), 0x0C22FFFF, "Parent\\Deeper"));
    ASSERT_EQ(S_OK, LxMetric_OpenSubKey(&child, parent, "Child"));
    EXPECT_EQ(S_OK, LxSetMetric(child, -1, 6));
    EXPECT_EQ(std::string("\6\0\0\0", 4), Raw(HKEY_LOCAL_MACHINE, metrics + "Child", "1").second);
    EXPECT_EQ(S_OK, LxMetric_CloseAndDeleteKey(child));
    EXPECT_EQ(kNoKey, Raw(HKEY_LOCAL_MACHINE, metrics + "Child").first);
    EXPECT_EQ(S_OK, LxMetric_DeleteKey(product.c_str(), 0x0C220000, "Parent"));
    EXPECT_EQ(kNoKey, Raw(HKEY_CURRENT_USER, metrics + "Parent").first);
    LxMetric_Close(parent);
    lxtest::DeleteProductKeys(product);
}

// Many siblings, so that one pass by index misses some, and a deep chain.
TEST(Registry, SubKeyCountAndDeepDeletion) {
    const std::string base = "Software\\Velmora\\" + lxtest::UniqueName("RegistryT");
    std::string chain = base + "\\chain";
    for (int depth = 0; depth < 30; depth++) chain += "\\d";
    WriteRaw(HKEY_CURRENT_USER, chain, "v", REG_SZ, "x");
    for (int i = 0; i < 40; i++)
        WriteRaw(HKEY_CURRENT_USER, base + "\\s" + std::to_string(i) + "\\c\\g", "v", REG_SZ, "x");
    DWORD longest = 1234;
    EXPECT_EQ(41, LxRegGetSubKeyCount(HKEY_CURRENT_USER, base.c_str(), &longest));
    EXPECT_EQ(6u, longest);  // "chain" and its terminator
    EXPECT_EQ(ERROR_SUCCESS, LxRegDeleteKey(HKEY_CURRENT_USER, base.c_str()));
    EXPECT_EQ(kNoKey, Raw(HKEY_CURRENT_USER, base).first);
    EXPECT_EQ(-1, LxRegGetSubKeyCount(HKEY_CURRENT_USER, base.c_str(), nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, LxRegDeleteKey(HKEY_CURRENT_USER, base.c_str()));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, LxRegDeleteKey(HKEY_CURRENT_USER, ""));
    EXPECT_EQ(E_FAIL, LxSelfRegister_IsSupported(nullptr));
}

}  // namespace
