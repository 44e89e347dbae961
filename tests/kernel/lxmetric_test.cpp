// The metric store on the real registry: scopes and value names, the
// default and clamp rule of every getter, the default store's asymmetry,
// sub keys, the service family and deletion.
#include <gtest/gtest.h>

#include "fileio/smpte.h"
#include "kernel/lxmetric.h"
#include "testsupport.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

const DWORD kVersion = 0x060000DB;  // "6.0"
const char kServices[] = "SYSTEM\\CurrentControlSet\\Services\\";

std::string MetricsPath(const std::string &product, const char *version = "6.0",
                        const char *sub = nullptr, const char *root = "Software\\Velmora\\") {
    return root + product + "\\" + version + "\\Metrics" + (sub ? std::string("\\") + sub : "");
}

struct Raw {
    LONG rc = ERROR_FILE_NOT_FOUND;
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

Raw ReadRaw(HKEY root, const std::string &path, const char *name) {
    Raw raw;
    HKEY key;
    raw.rc = RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key);
    if (raw.rc != ERROR_SUCCESS) return raw;
    BYTE buffer[512];
    DWORD size = sizeof buffer;
    raw.rc = RegQueryValueExA(key, name, nullptr, &raw.type, buffer, &size);
    if (raw.rc == ERROR_SUCCESS) raw.data.assign(buffer, buffer + size);
    RegCloseKey(key);
    return raw;
}

bool HasValue(HKEY root, const std::string &path, const char *name) {
    return ReadRaw(root, path, name).rc == ERROR_SUCCESS;
}

// The DWORD value, or 0xBADBAD for a missing value or one of another type.
DWORD RawDWord(HKEY root, const std::string &path, const char *name) {
    Raw raw = ReadRaw(root, path, name);
    DWORD v = 0xBADBAD;
    if (raw.type == REG_DWORD && raw.data.size() == sizeof v) memcpy(&v, raw.data.data(), sizeof v);
    return v;
}

void WriteRaw(HKEY root, const std::string &path, const char *name, DWORD type, const void *data,
              DWORD size) {
    HKEY key;
    ASSERT_EQ(RegCreateKeyA(root, path.c_str(), &key), ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(key, name, 0, type, (const BYTE *)data, size), ERROR_SUCCESS);
    RegCloseKey(key);
}

bool KeyExists(HKEY root, const std::string &path) {
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

// Independent of the code under test, for cleaning up.
void DeleteTree(HKEY root, const std::string &path) {
    HKEY key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) return;
    char name[256];
    for (DWORD len = sizeof name;
         RegEnumKeyExA(key, 0, name, &len, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         len = sizeof name)
        DeleteTree(key, name);
    RegCloseKey(key);
    RegDeleteKeyA(root, path.c_str());
}

const HLXMETRIC kDefault = LXMETRIC_DEFAULT;

// Puts a store behind handle -1 for one test.
struct DefaultStore {
    explicit DefaultStore(HLXMETRIC h) { LxMetric_SetDefaultStore(h); }
    ~DefaultStore() { LxMetric_SetDefaultStore(nullptr); }
};

class MetricStore : public testing::Test {
protected:
    void SetUp() override {
        product_ = lxtest::UniqueName("MetricT");
        ASSERT_EQ(LxMetric_Open(&h_, product_.c_str(), kVersion, nullptr), S_OK);
        ASSERT_NE(h_, nullptr);
        path_ = MetricsPath(product_);
    }
    void TearDown() override {
        LxMetric_Close(h_);
        lxtest::DeleteProductKeys(product_);
    }
    std::string product_, path_;  // the same path in both hives
    HLXMETRIC h_ = nullptr;
};

TEST_F(MetricStore, IdSignPicksHiveAndTypePicksName) {
    const BYTE bytes[3] = {1, 2, 3};
    const char multi[] = "a\0b\0";
    const struct {
        LONG id;
        DWORD type;
        const char *name;
        DWORD regType;
    } rows[] = {
        {0, LXMETRIC_DWORD, "0", REG_DWORD},     {0, LXMETRIC_SZ, "S0", REG_SZ},
        {0, LXMETRIC_BINARY, "B0", REG_BINARY},  {0, LXMETRIC_MULTI_SZ, "Z0", REG_MULTI_SZ},
        {7, LXMETRIC_DWORD, "7", REG_DWORD},     {-7, LXMETRIC_DWORD, "7", REG_DWORD},
        {-7, LXMETRIC_MULTI_SZ, "Z7", REG_MULTI_SZ}, {-123, LXMETRIC_DWORD, "123", REG_DWORD},
        {3, 2, "Z3", REG_MULTI_SZ},               {4, 99, "Z4", REG_MULTI_SZ},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "id " << row.id << " name " << row.name);
        HKEY root = row.id < 0 ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
        HRESULT hr = row.type == LXMETRIC_DWORD    ? LxSetMetric(h_, row.id, 1000 + row.id)
                     : row.type == LXMETRIC_SZ     ? LxSetMetricString(h_, row.id, "text")
                     : row.type == LXMETRIC_BINARY ? LxSetMetricBinary(h_, row.id, bytes, 3)
                                                   : LxSetMetricMultiString(h_, row.id, multi, 5);
        EXPECT_EQ(hr, S_OK);
        Raw raw = ReadRaw(root, path_, row.name);
        EXPECT_EQ(raw.rc, ERROR_SUCCESS);
        EXPECT_EQ(raw.type, row.regType);
        DWORD want = row.type == LXMETRIC_DWORD ? 1000u + row.id : 0xBADBAD;  // else not a DWORD
        EXPECT_EQ(RawDWord(root, path_, row.name), want);
        EXPECT_EQ(LxDoesMetricExist(h_, row.id, row.type), S_OK);
    }
    // 7 and -7 are two settings: each hive holds its own.
    EXPECT_EQ(LxGetMetric(h_, 7), 1007u);
    EXPECT_EQ(LxGetMetric(h_, -7), 993u);
    EXPECT_FALSE(HasValue(HKEY_LOCAL_MACHINE, path_, "0"));  // id 0 is a user setting only
    EXPECT_EQ(LxDeleteMetric(h_, 3, 0), S_OK);                // any other type: multi-string
    EXPECT_FALSE(HasValue(HKEY_CURRENT_USER, path_, "Z3"));
}

// A null handle, and -1 while no default store is set, are a missing store.
TEST(MetricNoStore, GettersGiveDefaultsAndWritersFail) {
    for (HLXMETRIC h : {HLXMETRIC(nullptr), kDefault}) {
        SCOPED_TRACE(h ? "-1" : "null");
        EXPECT_EQ(LxGetMetric(h, 4), 0u);
        EXPECT_EQ(LxGetMetricEx(h, 4, 0, 10, 50), 50u);  // not clamped
        EXPECT_EQ(LxGetMetricBool(h, 4, 5), 5u);         // not made 1
        BYTE buffer[4] = {0xCC, 0xCC, 0xCC, 0xCC};
        EXPECT_EQ(LxGetMetricBinary(h, 1, buffer, 4), 0u);
        EXPECT_EQ(std::vector<BYTE>(buffer, buffer + 4), std::vector<BYTE>(4, 0));
        DWORD length = 7;
        EXPECT_EQ(LxGetMetricBinaryEx(h, 1, buffer, 4, &length), (HRESULT)0x8004E00A);
        EXPECT_EQ(length, 0u);
        char text[8];
        memset(text, 'A', sizeof text);
        EXPECT_EQ(LxGetMetricStringEx(h, 1, text, 8, "dflt", FALSE), 4);
        EXPECT_EQ(std::string(text, 8), std::string("dflt\0\0\0\0", 8));
        EXPECT_EQ(LxGetMetricMultiStringEx(h, -4, text, 8, "d", TRUE), 1);
        EXPECT_STREQ(text, "d");
        EXPECT_EQ(LxDoesMetricExist(h, 1, LXMETRIC_DWORD), S_FALSE);
        EXPECT_EQ(LxDeleteMetric(h, 1, LXMETRIC_DWORD), S_FALSE);
        EXPECT_EQ(LxSetMetric(h, 1, 1), E_FAIL);
        EXPECT_EQ(LxSetMetricString(h, 1, "x"), E_FAIL);
        EXPECT_EQ(LxSetMetricBinary(h, 1, buffer, 1), E_FAIL);
        EXPECT_EQ(LxSetMetricMultiString(h, 1, "x\0", 3), E_FAIL);
    }
}

TEST_F(MetricStore, DwordGettersDefaultAndClamp) {
    ASSERT_EQ(LxSetMetric(h_, 0, 0), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 1, 8), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 2, 1000), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 3, (DWORD)-3), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 4, 0xDEADBEEF), S_OK);
    const DWORD four = 0x01020304;
    WriteRaw(HKEY_CURRENT_USER, path_, "5", REG_BINARY, &four, sizeof four);
    WriteRaw(HKEY_CURRENT_USER, path_, "6", REG_SZ, "123", 4);
    const struct {
        const char *name;
        LONG id, minimum, maximum, def;
        DWORD get, getEx, getBool;  // LxGetMetricBool is given def
    } rows[] = {
        {"stored inside", 1, 0, 10, 5, 8, 8, 1},
        {"stored above", 2, 0, 10, 5, 1000, 10, 1},
        {"stored negative: signed compare", 3, -10, 10, 5, (DWORD)-3, (DWORD)-3, 1},
        {"stored negative below zero", 3, 0, 10, 5, (DWORD)-3, 0, 1},
        {"equal bounds are unbounded", 4, 7, 7, 0, 0xDEADBEEF, 0xDEADBEEF, 1},
        {"stored zero", 0, 1, 10, 5, 0, 1, 0},
        {"missing: default clamped high", 9, 0, 10, 50, 0, 10, 1},
        {"missing: default clamped low", 9, 0, 10, -5, 0, 0, 1},
        {"missing, default 0", 9, 0, 10, 0, 0, 0, 0},
        {"four bytes, but binary", 5, 0, 10, 50, 0, 10, 1},
        {"text under the name", 6, 0, 10, 50, 0, 10, 1},
        {"machine key doesn't have it", -4, 0, 10, 50, 0, 10, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LxGetMetric(h_, row.id), row.get);
        EXPECT_EQ(LxGetMetricEx(h_, row.id, row.minimum, row.maximum, row.def), row.getEx);
        EXPECT_EQ(LxGetMetricBool(h_, row.id, (DWORD)row.def), row.getBool);
    }
}

TEST_F(MetricStore, BinaryReadsClearBehindTheData) {
    const BYTE data[5] = {9, 8, 7, 6, 5};
    ASSERT_EQ(LxSetMetricBinary(h_, 1, data, sizeof data), S_OK);
    WriteRaw(HKEY_CURRENT_USER, path_, "B2", REG_SZ, "hello", 6);
    ASSERT_EQ(LxSetMetricBinary(h_, 3, data, 0), S_OK);  // empty value
    Raw raw = ReadRaw(HKEY_CURRENT_USER, path_, "B1");
    EXPECT_EQ(raw.type, (DWORD)REG_BINARY);
    EXPECT_EQ(raw.data, std::vector<BYTE>(data, data + 5));
    const struct {
        const char *name;
        LONG id;
        HRESULT status;
        DWORD length;
    } rows[] = {
        {"stored", 1, S_OK, 5},
        {"stored empty", 3, S_OK, 0},
        {"missing", 9, S_FALSE, 0},
        {"other type", 2, S_FALSE, 0},
        {"other scope", -1, S_FALSE, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<BYTE> want(8, 0);
        std::copy(data, data + row.length, want.begin());
        std::vector<BYTE> buffer(8, 0xCC);
        EXPECT_EQ(LxGetMetricBinary(h_, row.id, buffer.data(), 8), row.length);
        EXPECT_EQ(buffer, want);
        buffer.assign(8, 0xCC);
        DWORD length = 1234;
        EXPECT_EQ(LxGetMetricBinaryEx(h_, row.id, buffer.data(), 8, &length), row.status);
        EXPECT_EQ(length, row.length);
        EXPECT_EQ(buffer, want);
    }
    EXPECT_EQ(LxGetMetricBinary(h_, 1, nullptr, 8), 0u);
}

TEST_F(MetricStore, BinaryTooLargeForTheBuffer) {
    BYTE data[16];
    memset(data, 0x11, sizeof data);
    ASSERT_EQ(LxSetMetricBinary(h_, 5, data, sizeof data), S_OK);
    BYTE buffer[8];
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(LxGetMetricBinary(h_, 5, buffer, sizeof buffer), 0u);
    EXPECT_EQ(std::vector<BYTE>(buffer, buffer + 8), std::vector<BYTE>(8, 0));
    memset(buffer, 0xCC, sizeof buffer);
    DWORD length = 0;
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, buffer, 4, &length), (HRESULT)0x8004E03C);
    EXPECT_EQ(length, 16u);
    // The store doesn't clear the buffer here. What the registry itself
    // leaves in it is undefined on Windows, so only zeros are ruled out.
    for (DWORD i = 0; i < sizeof buffer; i++)
        EXPECT_TRUE(buffer[i] == 0xCC || (i < 4 && buffer[i] == 0x11)) << "byte " << i;
    length = 0;  // no buffer at all asks for the size
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, nullptr, 0, &length), (HRESULT)0x8004E03C);
    EXPECT_EQ(length, 16u);
    // Null length: refused before the buffer is touched, even with no store.
    memset(buffer, 0xCC, sizeof buffer);
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, buffer, sizeof buffer, nullptr), E_INVALIDARG);
    EXPECT_EQ(LxGetMetricBinaryEx(nullptr, 5, buffer, sizeof buffer, nullptr), E_INVALIDARG);
    EXPECT_EQ(std::vector<BYTE>(buffer, buffer + 8), std::vector<BYTE>(8, 0xCC));
    length = 7;
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, nullptr, 4, &length), E_INVALIDARG);
    EXPECT_EQ(length, 0u);
}

TEST_F(MetricStore, StringReadRules) {
    ASSERT_EQ(LxSetMetricString(h_, 1, "hello"), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 2, ""), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 3, "abcdefgh"), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 4, "abc"), S_OK);
    const DWORD dword = 0x41414141;
    WriteRaw(HKEY_CURRENT_USER, path_, "S5", REG_DWORD, &dword, sizeof dword);
    WriteRaw(HKEY_CURRENT_USER, path_, "S6", REG_EXPAND_SZ, "AAAA", 5);
    // The stored size is the length plus the terminator.
    EXPECT_EQ(ReadRaw(HKEY_CURRENT_USER, path_, "S1").data.size(), 6u);
    EXPECT_EQ(ReadRaw(HKEY_CURRENT_USER, path_, "S2").data.size(), 1u);
    const struct {
        const char *name;
        LONG id;
        DWORD size;
        const char *def;
        BOOL emptyIsValid;
        LONG result;
        const char *text;
    } rows[] = {
        {"stored", 1, 16, "dflt", FALSE, 5, "hello"},
        {"stored, exactly fits", 4, 4, "dflt", FALSE, 3, "abc"},
        {"stored empty, empty is valid", 2, 16, "dflt", TRUE, 0, ""},
        {"stored empty, default", 2, 16, "dflt", FALSE, 4, "dflt"},
        {"stored empty, no default", 2, 16, nullptr, FALSE, 0, ""},
        {"missing, empty is valid, default", 9, 16, "dflt", TRUE, 4, "dflt"},
        {"missing, default truncated", 9, 4, "abcdefghij", FALSE, 3, "abc"},
        {"too large counts as missing", 3, 4, "xy", FALSE, 2, "xy"},
        {"dword under the name", 5, 16, "x", FALSE, 1, "x"},
        {"expandable text isn't text", 6, 16, nullptr, FALSE, 0, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        char buffer[16];
        memset(buffer, 'A', sizeof buffer);
        EXPECT_EQ(LxGetMetricStringEx(h_, row.id, buffer, row.size, row.def, row.emptyIsValid),
                  row.result);
        // The text, zeros up to the size given, and nothing written behind it.
        std::string want(row.text);
        want.resize(row.size, '\0');
        want.resize(sizeof buffer, 'A');
        EXPECT_EQ(std::string(buffer, sizeof buffer), want);
    }
    char c = 'A';
    EXPECT_EQ(LxGetMetricStringEx(h_, 1, &c, 0, "dflt", FALSE), 0);
    EXPECT_EQ(c, 'A');
    EXPECT_EQ(LxGetMetricStringEx(h_, 1, nullptr, 16, "dflt", FALSE), 0);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, 1, nullptr, 16, "dflt", FALSE), 0);
}

TEST_F(MetricStore, MultiStringReadRules) {
    const char multi[] = "a\0bc\0";  // with the array's own terminator: 6 bytes
    ASSERT_EQ(LxSetMetricMultiString(h_, -4, multi, sizeof multi), S_OK);
    Raw raw = ReadRaw(HKEY_LOCAL_MACHINE, path_, "Z4");
    EXPECT_EQ(raw.type, (DWORD)REG_MULTI_SZ);
    EXPECT_EQ(raw.data, std::vector<BYTE>(multi, multi + sizeof multi));
    WriteRaw(HKEY_LOCAL_MACHINE, path_, "Z5", REG_SZ, "AAAA", 5);
    char buffer[16];
    memset(buffer, 'A', sizeof buffer);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, -4, buffer, sizeof buffer, "dflt", FALSE), 5);
    EXPECT_EQ(std::string(buffer, 16), std::string(multi, sizeof multi) + std::string(10, '\0'));
    // Another type is missing; the default is copied as one plain text.
    memset(buffer, 'A', sizeof buffer);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, -5, buffer, sizeof buffer, "one", FALSE), 3);
    EXPECT_EQ(std::string(buffer, 16), "one" + std::string(13, '\0'));
    // A plain string getter doesn't see the multi-string.
    EXPECT_EQ(LxGetMetricStringEx(h_, -4, buffer, sizeof buffer, nullptr, FALSE), 0);
}

TEST_F(MetricStore, DwordSetterAloneWritesTheDefaultStore) {
    // Bad data is a failed write, and writes nothing.
    EXPECT_EQ(LxSetMetricString(h_, 1, nullptr), E_FAIL);
    EXPECT_EQ(LxSetMetricBinary(h_, 1, nullptr, 4), E_FAIL);
    EXPECT_EQ(LxSetMetricMultiString(h_, 1, nullptr, 4), E_FAIL);
    for (auto name : {"S1", "B1", "Z1"}) EXPECT_FALSE(HasValue(HKEY_CURRENT_USER, path_, name));

    DefaultStore guard(h_);
    const BYTE data[2] = {1, 2};
    EXPECT_EQ(LxSetMetric(kDefault, 5, 77), S_OK);
    EXPECT_EQ(LxSetMetric(kDefault, -5, 78), S_OK);
    EXPECT_EQ(LxSetMetricString(kDefault, 5, "text"), E_FAIL);
    EXPECT_EQ(LxSetMetricBinary(kDefault, 5, data, sizeof data), E_FAIL);
    EXPECT_EQ(LxSetMetricMultiString(kDefault, 5, "a\0", 3), E_FAIL);
    EXPECT_EQ(RawDWord(HKEY_CURRENT_USER, path_, "5"), 77u);
    EXPECT_EQ(RawDWord(HKEY_LOCAL_MACHINE, path_, "5"), 78u);
    for (auto name : {"S5", "B5", "Z5"}) EXPECT_FALSE(HasValue(HKEY_CURRENT_USER, path_, name));
    // Everything else reads and deletes through -1.
    EXPECT_EQ(LxGetMetric(kDefault, 5), 77u);
    EXPECT_EQ(LxGetMetricEx(kDefault, -5, 0, 10, 3), 10u);
    EXPECT_EQ(LxGetMetricBool(kDefault, 5, 0), 1u);
    EXPECT_EQ(LxDoesMetricExist(kDefault, 5, LXMETRIC_DWORD), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 6, "via handle"), S_OK);
    char buffer[16];
    EXPECT_EQ(LxGetMetricStringEx(kDefault, 6, buffer, sizeof buffer, nullptr, FALSE), 10);
    EXPECT_STREQ(buffer, "via handle");
    EXPECT_EQ(LxDeleteMetric(kDefault, 5, LXMETRIC_DWORD), S_OK);
    EXPECT_FALSE(HasValue(HKEY_CURRENT_USER, path_, "5"));
    // A sub key of -1 lies under the default store's product.
    HLXMETRIC child = nullptr;
    ASSERT_EQ(LxMetric_OpenSubKey(&child, kDefault, "Other"), S_OK);
    EXPECT_EQ(LxSetMetric(child, 3, 4), S_OK);
    EXPECT_EQ(RawDWord(HKEY_CURRENT_USER, MetricsPath(product_, "6.0", "Other"), "3"), 4u);
    LxMetric_Close(child);
    // Closing -1 leaves the frame's store alone.
    EXPECT_EQ(LxMetric_Close(kDefault), S_OK);
    EXPECT_EQ(LxSetMetric(kDefault, 7, 1), S_OK);
}

TEST_F(MetricStore, ExistAndDeleteWantTheExactType) {
    const BYTE one = 1;
    ASSERT_EQ(LxSetMetric(h_, 1, 5), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 1, "a longer text than one byte"), S_OK);
    ASSERT_EQ(LxSetMetricBinary(h_, 1, &one, 0), S_OK);
    ASSERT_EQ(LxSetMetricMultiString(h_, 1, "ab\0", 4), S_OK);
    WriteRaw(HKEY_CURRENT_USER, path_, "S2", REG_EXPAND_SZ, "x", 2);
    WriteRaw(HKEY_CURRENT_USER, path_, "Z2", REG_SZ, "x", 2);
    WriteRaw(HKEY_CURRENT_USER, path_, "2", REG_BINARY, &one, 1);
    WriteRaw(HKEY_CURRENT_USER, path_, "B2", REG_DWORD, "\0\0\0\0", 4);
    const struct {
        const char *name;
        LONG id;
        DWORD type;
        HRESULT expect;
    } rows[] = {
        {"dword", 1, LXMETRIC_DWORD, S_OK},
        {"text larger than the probe", 1, LXMETRIC_SZ, S_OK},
        {"empty binary", 1, LXMETRIC_BINARY, S_OK},
        {"multi", 1, LXMETRIC_MULTI_SZ, S_OK},
        {"expandable isn't text", 2, LXMETRIC_SZ, S_FALSE},
        {"text isn't multi", 2, LXMETRIC_MULTI_SZ, S_FALSE},
        {"binary isn't dword", 2, LXMETRIC_DWORD, S_FALSE},
        {"dword isn't binary", 2, LXMETRIC_BINARY, S_FALSE},
        {"other scope", -1, LXMETRIC_DWORD, S_FALSE},
        {"missing", 3, LXMETRIC_DWORD, S_FALSE},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LxDoesMetricExist(h_, row.id, row.type), row.expect);
    }
    ASSERT_EQ(LxSetMetric(h_, -1, 2), S_OK);
    EXPECT_EQ(LxDeleteMetric(h_, -1, LXMETRIC_DWORD), S_OK);
    EXPECT_FALSE(HasValue(HKEY_LOCAL_MACHINE, path_, "1"));
    EXPECT_EQ(LxGetMetric(h_, 1), 5u);  // the user's is still there
    EXPECT_EQ(LxDeleteMetric(h_, -1, LXMETRIC_DWORD), E_FAIL);
    EXPECT_EQ(LxDeleteMetric(h_, 3, LXMETRIC_SZ), E_FAIL);
}

// Stored as the frame count at 30 frames, given back in the caller's type.
TEST_F(MetricStore, SmpteTimes) {
    const _smpteval pal = {3, 0, 0, 1, 0};  // a 25-frame second counts 30
    EXPECT_EQ(LxSetMetricSmpteTime(h_, 1, &pal), S_OK);
    EXPECT_EQ(LxGetMetric(h_, 1), 30u);
    const _smpteval drop = {2, 0, 1, 0, 2};
    EXPECT_EQ(LxSetMetricSmpteTime(h_, -2, &drop), S_OK);
    EXPECT_EQ(RawDWord(HKEY_LOCAL_MACHINE, path_, "2"), 1802u);
    EXPECT_EQ(LxSetMetricSmpteTime(h_, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(LxSetMetricSmpteTime(nullptr, 1, &pal), E_FAIL);
    EXPECT_EQ(LxGetMetricSmpteTime(h_, 4, nullptr), E_INVALIDARG);
    const struct {
        const char *name;
        DWORD stored;  // frame count at 30
        DWORD type;    // the caller's
        HRESULT status;
        _smpteval expect;
    } rows[] = {
        {"same type", 111694, 1, S_OK, {1, 1, 2, 3, 4}},
        {"drop frame reads ;00 as ;02", 1800, 2, S_OK, {2, 0, 1, 0, 2}},
        {"25 frames normalises", 29, 3, S_OK, {3, 0, 0, 1, 4}},
        {"missing value is zero", 0xFFFFFFFF, 3, S_OK, {3, 0, 0, 0, 0}},
        {"unknown type", 1802, 9, E_INVALIDARG, {9, 0, 0, 0, 0}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        LxDeleteMetric(h_, 4, LXMETRIC_DWORD);
        if (row.stored != 0xFFFFFFFF) { ASSERT_EQ(LxSetMetric(h_, 4, row.stored), S_OK); }
        _smpteval t = {row.type, 99, 99, 99, 99};
        EXPECT_EQ(LxGetMetricSmpteTime(h_, 4, &t), row.status);
        EXPECT_EQ(0, memcmp(&t, &row.expect, sizeof t))
            << t.type << " " << t.hours << ":" << t.minutes << ":" << t.seconds << ":" << t.frames;
    }
}

TEST(MetricOpen, BadArgumentsAndOverlongPath) {
    EXPECT_EQ(LxMetric_Open(nullptr, "P", kVersion, nullptr), E_INVALIDARG);
    HLXMETRIC h = (HLXMETRIC)1;
    EXPECT_EQ(LxMetric_Open(&h, nullptr, kVersion, nullptr), E_INVALIDARG);
    EXPECT_EQ(h, nullptr);
    h = (HLXMETRIC)1;
    EXPECT_EQ(LxMetric_OpenService(&h, nullptr, kVersion, nullptr), E_INVALIDARG);
    EXPECT_EQ(h, nullptr);
    h = (HLXMETRIC)1;
    EXPECT_EQ(LxMetric_OpenSubKey(&h, nullptr, "Sub"), E_FAIL);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(LxMetric_OpenSubKey(&h, kDefault, "Sub"), E_FAIL);  // none set
    EXPECT_EQ(LxMetric_OpenSubKey(nullptr, nullptr, "Sub"), E_INVALIDARG);
    EXPECT_EQ(LxMetric_Close(nullptr), S_OK);
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(nullptr), E_FAIL);
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(kDefault), E_FAIL);

    // A path too long for the block's 260 characters is never created: the
    // store opens and behaves as missing in both scopes.
    std::string product = lxtest::UniqueName("MetricLong") + std::string(230, 'x');
    ASSERT_EQ(LxMetric_Open(&h, product.c_str(), kVersion, nullptr), S_OK);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(LxSetMetric(h, 1, 1), E_FAIL);
    EXPECT_EQ(LxSetMetric(h, -1, 1), E_FAIL);
    EXPECT_EQ(LxGetMetricEx(h, 1, 0, 10, 50), 50u);
    EXPECT_EQ(LxGetMetricBool(h, -1, 7), 7u);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, "Software\\Velmora\\" + product));
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(h), S_OK);
}

TEST(MetricOpen, SubKeyLiesDirectlyUnderMetrics) {
    const std::string product = lxtest::UniqueName("Metric.Sub Key");
    const struct {
        DWORD version;
        const char *parentSub, *versionText;
    } rows[] = {
        {0x060000DB, nullptr, "6.0"},
        {0x0A05FFFF, "Parent", "10.5"},
        {0x0C220000, "Parent\\Deeper", "12.34"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.versionText);
        HLXMETRIC parent = nullptr, child = nullptr;
        ASSERT_EQ(LxMetric_Open(&parent, product.c_str(), row.version, row.parentSub), S_OK);
        ASSERT_EQ(LxMetric_OpenSubKey(&child, parent, "Child"), S_OK);
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(LxSetMetric(child, 1, 5), S_OK);
        EXPECT_EQ(LxSetMetric(child, -1, 6), S_OK);
        std::string path = MetricsPath(product, row.versionText, "Child");
        EXPECT_EQ(RawDWord(HKEY_CURRENT_USER, path, "1"), 5u);
        EXPECT_EQ(RawDWord(HKEY_LOCAL_MACHINE, path, "1"), 6u);
        std::string underParent = MetricsPath(product, row.versionText, row.parentSub) + "\\Child";
        if (row.parentSub) { EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, underParent)); }
        EXPECT_EQ(LxGetMetric(parent, 1), 0u);  // the parent doesn't see the child's values
        LxMetric_Close(child);
        // Without a sub key the child is the product's own Metrics key.
        ASSERT_EQ(LxMetric_OpenSubKey(&child, parent, nullptr), S_OK);
        EXPECT_EQ(LxSetMetric(child, 2, 9), S_OK);
        EXPECT_EQ(RawDWord(HKEY_CURRENT_USER, MetricsPath(product, row.versionText), "2"), 9u);
        LxMetric_Close(child);
        LxMetric_Close(parent);
    }
    lxtest::DeleteProductKeys(product);
}

// Both signs of an id reach the one machine value; deletion is machine only.
TEST(MetricService, OneScopeAndDeletion) {
    const std::string service = lxtest::UniqueName("MetricSvc");
    HLXMETRIC h = nullptr, sub = nullptr;
    ASSERT_EQ(LxMetric_OpenService(&h, service.c_str(), kVersion, nullptr), S_OK);
    ASSERT_EQ(LxMetric_OpenService(&sub, service.c_str(), kVersion, "Sub"), S_OK);
    EXPECT_EQ(LxSetMetric(h, 5, 11), S_OK);
    EXPECT_EQ(LxGetMetric(h, -5), 11u);
    EXPECT_EQ(LxSetMetric(h, -5, 22), S_OK);
    EXPECT_EQ(LxGetMetric(h, 5), 22u);
    EXPECT_EQ(LxSetMetricString(h, 6, "svc"), S_OK);
    char buffer[8];
    EXPECT_EQ(LxGetMetricStringEx(h, -6, buffer, sizeof buffer, nullptr, FALSE), 3);
    EXPECT_STREQ(buffer, "svc");
    EXPECT_EQ(LxSetMetric(sub, 1, 2), S_OK);
    LxMetric_Close(sub);
    LxMetric_Close(h);
    const std::string path = MetricsPath(service, "6.0", nullptr, kServices);
    EXPECT_EQ(RawDWord(HKEY_LOCAL_MACHINE, path, "5"), 22u);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kServices + service));

    EXPECT_EQ(LxMetric_DeleteKeyService(service.c_str(), kVersion, "Sub"), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, MetricsPath(service, "6.0", "Sub", kServices)));
    EXPECT_EQ(RawDWord(HKEY_LOCAL_MACHINE, path, "5"), 22u);
    EXPECT_EQ(LxMetric_DeleteAllService(service.c_str(), kVersion), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, MetricsPath(service, "6.0", nullptr, kServices)));
    EXPECT_EQ(LxMetric_DeleteAllService(service.c_str(), kVersion), S_OK);
    DeleteTree(HKEY_LOCAL_MACHINE, kServices + service);
    DeleteTree(HKEY_CURRENT_USER, kServices + service);
}

TEST(MetricDelete, DeleteKeyDeleteAllAndCloseAndDeleteKey) {
    const std::string product = lxtest::UniqueName("MetricDel");
    const char *subs[] = {nullptr, "Sub\\Deep", "Mine\\Inner", nullptr, "Mine"};
    HLXMETRIC h[5] = {};
    for (int i = 0; i < 5; i++) {
        DWORD version = i == 3 ? 0x07000000 : kVersion;
        ASSERT_EQ(LxMetric_Open(&h[i], product.c_str(), version, subs[i]), S_OK);
        EXPECT_EQ(LxSetMetric(h[i], 1, 1), S_OK);
        EXPECT_EQ(LxSetMetric(h[i], -1, 1), S_OK);
        if (i < 4) LxMetric_Close(h[i]);
    }
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(h[4]), S_OK);
    EXPECT_EQ(LxMetric_DeleteKey(product.c_str(), kVersion, "Sub"), S_OK);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_FALSE(KeyExists(root, MetricsPath(product, "6.0", "Mine")));
        EXPECT_FALSE(KeyExists(root, MetricsPath(product, "6.0", "Sub")));
        EXPECT_TRUE(KeyExists(root, MetricsPath(product)));
    }
    EXPECT_EQ(LxMetric_DeleteAll(product.c_str(), kVersion), S_OK);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_FALSE(KeyExists(root, MetricsPath(product)));
        EXPECT_TRUE(KeyExists(root, MetricsPath(product, "7.0")));
    }
    EXPECT_EQ(LxMetric_DeleteAll(product.c_str(), kVersion), S_OK);  // nothing left
    EXPECT_EQ(LxMetric_DeleteAll(nullptr, kVersion), S_OK);
    lxtest::DeleteProductKeys(product);
}

}  // namespace
