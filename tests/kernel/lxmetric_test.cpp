// The metric store on the real registry: scopes and value names, the
// default and clamp rule of every getter, the default store's asymmetry,
// sub keys, the service family and deletion.
#include <gtest/gtest.h>

#include "fileio/smpte.h"
#include "kernel/lxmetric.h"
#include "testsupport.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

const DWORD kVersion = 0x060000DB; // "6.0"

std::string MetricsPath(const std::string &product, const char *version = "6.0",
                        const char *sub = nullptr) {
    std::string path = "Software\\Velmora\\" + product + "\\" + version + "\\Metrics";
    if (sub) path += std::string("\\") + sub;
    return path;
}

std::string ServicePath(const std::string &service, const char *version = "6.0",
                        const char *sub = nullptr) {
    std::string path = "SYSTEM\\CurrentControlSet\\Services\\" + service + "\\" + version + "\\Metrics";
    if (sub) path += std::string("\\") + sub;
    return path;
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

DWORD RawDWord(const Raw &raw) {
    DWORD v = 0;
    if (raw.data.size() == sizeof v) memcpy(&v, raw.data.data(), sizeof v);
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
    for (;;) {
        DWORD len = sizeof name;
        if (RegEnumKeyExA(key, 0, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        DeleteTree(key, name);
    }
    RegCloseKey(key);
    RegDeleteKeyA(root, path.c_str());
}

HLXMETRIC Default() { return LXMETRIC_DEFAULT; }

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
        user_ = MetricsPath(product_);
    }
    void TearDown() override {
        LxMetric_Close(h_);
        lxtest::DeleteProductKeys(product_);
    }
    HKEY RootOf(LONG id) const { return id < 0 ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }

    std::string product_;
    std::string user_; // the same path in both hives
    HLXMETRIC h_ = nullptr;
};

// ---- Scope and value names ---------------------------------------------

TEST_F(MetricStore, IdSignPicksHiveAndTypePicksName) {
    const BYTE bytes[3] = {1, 2, 3};
    const char multi[] = "a\0b\0";
    const struct {
        LONG id;
        DWORD type;
        const char *name;
        DWORD regType;
    } rows[] = {
        {0, LXMETRIC_DWORD, "0", REG_DWORD},        {0, LXMETRIC_SZ, "S0", REG_SZ},
        {0, LXMETRIC_BINARY, "B0", REG_BINARY},     {0, LXMETRIC_MULTI_SZ, "Z0", REG_MULTI_SZ},
        {7, LXMETRIC_DWORD, "7", REG_DWORD},        {-7, LXMETRIC_DWORD, "7", REG_DWORD},
        {-7, LXMETRIC_MULTI_SZ, "Z7", REG_MULTI_SZ}, {-123, LXMETRIC_DWORD, "123", REG_DWORD},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "id " << row.id << " name " << row.name);
        HRESULT hr = E_UNEXPECTED;
        switch (row.type) {
        case LXMETRIC_DWORD: hr = LxSetMetric(h_, row.id, 1000 + row.id); break;
        case LXMETRIC_SZ: hr = LxSetMetricString(h_, row.id, "text"); break;
        case LXMETRIC_BINARY: hr = LxSetMetricBinary(h_, row.id, bytes, sizeof bytes); break;
        default: hr = LxSetMetricMultiString(h_, row.id, multi, sizeof multi); break;
        }
        EXPECT_EQ(hr, S_OK);
        Raw raw = ReadRaw(RootOf(row.id), user_, row.name);
        EXPECT_EQ(raw.rc, ERROR_SUCCESS);
        EXPECT_EQ(raw.type, row.regType);
        if (row.type == LXMETRIC_DWORD) {
            EXPECT_EQ(RawDWord(raw), (DWORD)(1000 + row.id));
        }
    }
    // 7 and -7 are two settings: each hive holds its own.
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, user_, "7")), 1007u);
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, user_, "7")), (DWORD)(1000 - 7));
    EXPECT_EQ(LxGetMetric(h_, 7), 1007u);
    EXPECT_EQ(LxGetMetric(h_, -7), (DWORD)(1000 - 7));
    // Id 0 is a user setting only.
    EXPECT_NE(ReadRaw(HKEY_LOCAL_MACHINE, user_, "0").rc, ERROR_SUCCESS);
}

TEST_F(MetricStore, AnyOtherTypeIsAMultiString) {
    const char multi[] = "x\0";
    ASSERT_EQ(LxSetMetricMultiString(h_, 3, multi, sizeof multi), S_OK);
    EXPECT_EQ(LxDoesMetricExist(h_, 3, 2), S_OK);
    EXPECT_EQ(LxDoesMetricExist(h_, 3, 99), S_OK);
    EXPECT_EQ(LxDeleteMetric(h_, 3, 0), S_OK);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "Z3").rc, ERROR_SUCCESS);
}

TEST(MetricPaths, VersionAndSubKeyMakeThePath) {
    const std::string product = lxtest::UniqueName("MetricP");
    const struct {
        DWORD version;
        const char *sub;
        const char *versionText;
    } rows[] = {
        {0x060000DB, nullptr, "6.0"},
        {0x0A05FFFF, nullptr, "10.5"}, // the build doesn't enter the path
        {0xFF0F0000, "Deep", "255.15"},
        {0x00000000, "A\\B", "0.0"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.versionText);
        HLXMETRIC h = nullptr;
        ASSERT_EQ(LxMetric_Open(&h, product.c_str(), row.version, row.sub), S_OK);
        EXPECT_EQ(LxSetMetric(h, 1, 11), S_OK);
        EXPECT_EQ(LxSetMetric(h, -1, 22), S_OK);
        LxMetric_Close(h);
        std::string path = MetricsPath(product, row.versionText, row.sub);
        EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, path, "1")), 11u);
        EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, path, "1")), 22u);
    }
    lxtest::DeleteProductKeys(product);
}

// ---- DWORD getters ------------------------------------------------------

TEST_F(MetricStore, GetMetricOnlyReadsADword) {
    ASSERT_EQ(LxSetMetric(h_, 4, 0xDEADBEEF), S_OK);
    const DWORD four = 0x01020304;
    WriteRaw(HKEY_CURRENT_USER, user_, "5", REG_BINARY, &four, sizeof four);
    WriteRaw(HKEY_CURRENT_USER, user_, "6", REG_SZ, "123", 4);
    EXPECT_EQ(LxGetMetric(h_, 4), 0xDEADBEEFu);
    EXPECT_EQ(LxGetMetric(h_, -4), 0u);   // the machine key doesn't have it
    EXPECT_EQ(LxGetMetric(h_, 5), 0u);    // four bytes, but binary
    EXPECT_EQ(LxGetMetric(h_, 6), 0u);
    EXPECT_EQ(LxGetMetric(h_, 99), 0u);
    EXPECT_EQ(LxGetMetric(nullptr, 4), 0u);
    EXPECT_EQ(LxGetMetric(Default(), 4), 0u); // no default store here
}

TEST_F(MetricStore, GetMetricExDefaultAndClamp) {
    enum Setup { kNoStore, kMissing, kOtherType, kStored };
    const struct {
        const char *name;
        Setup setup;
        DWORD stored;
        LONG minimum, maximum, def;
        DWORD expect;
    } rows[] = {
        {"no store: default as passed", kNoStore, 0, 0, 10, 50, 50},
        {"no store: negative default", kNoStore, 0, 0, 10, -5, (DWORD)-5},
        {"missing: default clamped high", kMissing, 0, 0, 10, 50, 10},
        {"missing: default clamped low", kMissing, 0, 0, 10, -5, 0},
        {"missing: equal bounds are unbounded", kMissing, 0, 7, 7, 50, 50},
        {"other type: default clamped", kOtherType, 0, 0, 10, 50, 10},
        {"stored above", kStored, 1000, 0, 10, 5, 10},
        {"stored inside", kStored, 8, 0, 10, 5, 8},
        {"stored negative, signed compare", kStored, (DWORD)-3, -10, 10, 5, (DWORD)-3},
        {"stored negative below zero", kStored, (DWORD)-3, 0, 10, 5, 0},
        {"stored, equal bounds", kStored, 1000, 7, 7, 5, 1000},
        {"stored, bounds both zero", kStored, 0xFFFFFFFF, 0, 0, 5, 0xFFFFFFFF},
    };
    const DWORD binary = 3;
    for (LONG id : {12L, -12L}) {
        for (const auto &row : rows) {
            SCOPED_TRACE(testing::Message() << "id " << id << ": " << row.name);
            LxDeleteMetric(h_, id, LXMETRIC_DWORD);
            if (row.setup == kStored) {
                ASSERT_EQ(LxSetMetric(h_, id, row.stored), S_OK);
            }
            if (row.setup == kOtherType)
                WriteRaw(RootOf(id), user_, "12", REG_BINARY, &binary, sizeof binary);
            HLXMETRIC h = row.setup == kNoStore ? nullptr : h_;
            EXPECT_EQ(LxGetMetricEx(h, id, row.minimum, row.maximum, row.def), row.expect);
            if (row.setup == kNoStore) {
                EXPECT_EQ(LxGetMetricEx(Default(), id, row.minimum, row.maximum, row.def),
                          row.expect);
            }
        }
    }
}

TEST_F(MetricStore, GetMetricBoolDefaults) {
    const DWORD binary = 1;
    ASSERT_EQ(LxSetMetric(h_, 1, 0), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 2, 42), S_OK);
    WriteRaw(HKEY_CURRENT_USER, user_, "3", REG_BINARY, &binary, sizeof binary);
    const struct {
        const char *name;
        HLXMETRIC h;
        LONG id;
        DWORD def, expect;
    } rows[] = {
        {"no store keeps the default", nullptr, 9, 5, 5},
        {"no default store keeps the default", LXMETRIC_DEFAULT, 9, 5, 5},
        {"missing value: default as 1", h_, 9, 5, 1},
        {"missing value: default as 0", h_, 9, 0, 0},
        {"stored 0", h_, 1, 5, 0},
        {"stored 42", h_, 2, 0, 1},
        {"other type", h_, 3, 5, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LxGetMetricBool(row.h, row.id, row.def), row.expect);
    }
}

// ---- Binary ------------------------------------------------------------

TEST_F(MetricStore, BinaryReadClearsBehindTheData) {
    const BYTE data[5] = {9, 8, 7, 6, 5};
    ASSERT_EQ(LxSetMetricBinary(h_, 1, data, sizeof data), S_OK);
    WriteRaw(HKEY_CURRENT_USER, user_, "B2", REG_SZ, "hello", 6);
    ASSERT_EQ(LxSetMetricBinary(h_, 3, data, 0), S_OK); // empty value
    BYTE big[16];
    memset(big, 0x77, sizeof big);
    ASSERT_EQ(LxSetMetricBinary(h_, 4, big, sizeof big), S_OK);
    Raw raw = ReadRaw(HKEY_CURRENT_USER, user_, "B1");
    EXPECT_EQ(raw.type, (DWORD)REG_BINARY);
    EXPECT_EQ(raw.data, std::vector<BYTE>(data, data + 5));

    const struct {
        const char *name;
        HLXMETRIC h;
        LONG id;
        DWORD expect;
    } rows[] = {
        {"stored", h_, 1, 5},
        {"missing", h_, 9, 0},
        {"other type", h_, 2, 0},
        {"stored empty", h_, 3, 0},
        {"larger than the buffer", h_, 4, 0},
        {"no store", nullptr, 1, 0},
        {"no default store", LXMETRIC_DEFAULT, 1, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        BYTE buffer[8];
        memset(buffer, 0xCC, sizeof buffer);
        EXPECT_EQ(LxGetMetricBinary(row.h, row.id, buffer, sizeof buffer), row.expect);
        for (DWORD i = 0; i < sizeof buffer; i++) {
            BYTE want = i < row.expect ? data[i] : 0;
            EXPECT_EQ(buffer[i], want) << "byte " << i;
        }
    }
    EXPECT_EQ(LxGetMetricBinary(h_, 1, nullptr, 8), 0u);
}

TEST_F(MetricStore, BinaryExStatuses) {
    const BYTE data[5] = {9, 8, 7, 6, 5};
    ASSERT_EQ(LxSetMetricBinary(h_, -1, data, sizeof data), S_OK);
    WriteRaw(HKEY_LOCAL_MACHINE, user_, "B2", REG_DWORD, "\1\0\0\0", 4);
    ASSERT_EQ(LxSetMetricBinary(h_, -3, data, 0), S_OK);
    const struct {
        const char *name;
        HLXMETRIC h;
        LONG id;
        HRESULT status;
        DWORD length;
    } rows[] = {
        {"stored", h_, -1, S_OK, 5},
        {"stored empty", h_, -3, S_OK, 0},
        {"missing", h_, -9, S_FALSE, 0},
        {"other type", h_, -2, S_FALSE, 0},
        {"no store", nullptr, -1, (HRESULT)0x8004E00A, 0},
        {"no default store", LXMETRIC_DEFAULT, -1, (HRESULT)0x8004E00A, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        BYTE buffer[8];
        memset(buffer, 0xCC, sizeof buffer);
        DWORD length = 1234;
        EXPECT_EQ(LxGetMetricBinaryEx(row.h, row.id, buffer, sizeof buffer, &length), row.status);
        EXPECT_EQ(length, row.length);
        for (DWORD i = 0; i < sizeof buffer; i++) {
            BYTE want = i < row.length ? data[i] : 0;
            EXPECT_EQ(buffer[i], want) << "byte " << i;
        }
    }
}

TEST_F(MetricStore, BinaryExTooSmallGivesRealSizeAndKeepsBuffer) {
    BYTE data[16];
    memset(data, 0x11, sizeof data);
    ASSERT_EQ(LxSetMetricBinary(h_, 5, data, sizeof data), S_OK);
    BYTE buffer[8];
    memset(buffer, 0xCC, sizeof buffer);
    DWORD length = 0;
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, buffer, 4, &length), (HRESULT)0x8004E03C);
    EXPECT_EQ(length, 16u);
    // The store doesn't clear the buffer here. What the registry itself
    // leaves in it is undefined on Windows, so only zeros are ruled out.
    for (DWORD i = 0; i < sizeof buffer; i++) {
        SCOPED_TRACE(testing::Message() << "byte " << i);
        EXPECT_TRUE(buffer[i] == 0xCC || (i < 4 && buffer[i] == 0x11));
        if (i >= 4) {
            EXPECT_EQ(buffer[i], 0xCC);
        }
    }
    // No buffer at all asks for the size.
    length = 0;
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, nullptr, 0, &length), (HRESULT)0x8004E03C);
    EXPECT_EQ(length, 16u);
}

TEST_F(MetricStore, BinaryExBadArguments) {
    const BYTE data[2] = {1, 2};
    ASSERT_EQ(LxSetMetricBinary(h_, 5, data, sizeof data), S_OK);
    BYTE buffer[4];
    memset(buffer, 0xCC, sizeof buffer);
    // Null length: refused before the buffer is touched, even with no store.
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, buffer, sizeof buffer, nullptr), E_INVALIDARG);
    EXPECT_EQ(LxGetMetricBinaryEx(nullptr, 5, buffer, sizeof buffer, nullptr), E_INVALIDARG);
    for (BYTE b : buffer) EXPECT_EQ(b, 0xCC);
    DWORD length = 7;
    EXPECT_EQ(LxGetMetricBinaryEx(h_, 5, nullptr, 4, &length), E_INVALIDARG);
    EXPECT_EQ(length, 0u);
}

// ---- Strings -----------------------------------------------------------

TEST_F(MetricStore, StringReadRules) {
    ASSERT_EQ(LxSetMetricString(h_, 1, "hello"), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 2, ""), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 3, "abcdefgh"), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 4, "abc"), S_OK);
    const DWORD dword = 0x41414141;
    WriteRaw(HKEY_CURRENT_USER, user_, "S5", REG_DWORD, &dword, sizeof dword);
    WriteRaw(HKEY_CURRENT_USER, user_, "S6", REG_EXPAND_SZ, "AAAA", 5);
    // The stored size is the length plus the terminator.
    Raw raw = ReadRaw(HKEY_CURRENT_USER, user_, "S1");
    EXPECT_EQ(raw.type, (DWORD)REG_SZ);
    EXPECT_EQ(raw.data.size(), 6u);
    EXPECT_EQ(ReadRaw(HKEY_CURRENT_USER, user_, "S2").data.size(), 1u);

    const struct {
        const char *name;
        HLXMETRIC h;
        LONG id;
        DWORD size;
        const char *def;
        BOOL emptyIsValid;
        LONG result;
        const char *text;
    } rows[] = {
        {"stored", h_, 1, 16, "dflt", FALSE, 5, "hello"},
        {"stored, exactly fits", h_, 4, 4, "dflt", FALSE, 3, "abc"},
        {"stored empty, empty is valid", h_, 2, 16, "dflt", TRUE, 0, ""},
        {"stored empty, default", h_, 2, 16, "dflt", FALSE, 4, "dflt"},
        {"stored empty, no default", h_, 2, 16, nullptr, FALSE, 0, ""},
        {"missing, empty is valid, default", h_, 9, 16, "dflt", TRUE, 4, "dflt"},
        {"missing, no default", h_, 9, 16, nullptr, FALSE, 0, ""},
        {"missing, default truncated", h_, 9, 4, "abcdefghij", FALSE, 3, "abc"},
        {"too large counts as missing", h_, 3, 4, "xy", FALSE, 2, "xy"},
        {"dword under the name", h_, 5, 16, "x", FALSE, 1, "x"},
        {"expandable text isn't text", h_, 6, 16, nullptr, FALSE, 0, ""},
        {"no store, default", nullptr, 1, 16, "dflt", FALSE, 4, "dflt"},
        {"no default store", LXMETRIC_DEFAULT, 1, 16, "dflt", FALSE, 4, "dflt"},
        {"machine key doesn't have it", h_, -1, 16, nullptr, FALSE, 0, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        char buffer[16];
        memset(buffer, 'A', sizeof buffer);
        EXPECT_EQ(LxGetMetricStringEx(row.h, row.id, buffer, row.size, row.def, row.emptyIsValid),
                  row.result);
        EXPECT_STREQ(buffer, row.text);
        // Everything behind the text, up to the size given, is zero.
        for (DWORD i = (DWORD)strlen(row.text); i < row.size; i++)
            EXPECT_EQ(buffer[i], 0) << "byte " << i;
        for (DWORD i = row.size; i < sizeof buffer; i++) EXPECT_EQ(buffer[i], 'A') << "byte " << i;
    }
}

TEST_F(MetricStore, StringReadWithoutRoom) {
    ASSERT_EQ(LxSetMetricString(h_, 1, "hello"), S_OK);
    char c = 'A';
    EXPECT_EQ(LxGetMetricStringEx(h_, 1, &c, 0, "dflt", FALSE), 0);
    EXPECT_EQ(c, 'A');
    EXPECT_EQ(LxGetMetricStringEx(h_, 1, nullptr, 16, "dflt", FALSE), 0);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, 1, nullptr, 16, "dflt", FALSE), 0);
}

TEST_F(MetricStore, MultiStringReadRules) {
    const char multi[] = "a\0bc\0"; // with the array's own terminator: 6 bytes
    ASSERT_EQ(LxSetMetricMultiString(h_, -4, multi, sizeof multi), S_OK);
    Raw raw = ReadRaw(HKEY_LOCAL_MACHINE, user_, "Z4");
    EXPECT_EQ(raw.type, (DWORD)REG_MULTI_SZ);
    EXPECT_EQ(raw.data, std::vector<BYTE>(multi, multi + sizeof multi));
    WriteRaw(HKEY_LOCAL_MACHINE, user_, "Z5", REG_SZ, "AAAA", 5);

    char buffer[16];
    memset(buffer, 'A', sizeof buffer);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, -4, buffer, sizeof buffer, "dflt", FALSE), 5);
    EXPECT_EQ(memcmp(buffer, multi, sizeof multi), 0);
    for (size_t i = sizeof multi; i < sizeof buffer; i++) EXPECT_EQ(buffer[i], 0) << i;

    // Another type is missing; the default is copied as one plain text.
    memset(buffer, 'A', sizeof buffer);
    EXPECT_EQ(LxGetMetricMultiStringEx(h_, -5, buffer, sizeof buffer, "one", FALSE), 3);
    EXPECT_STREQ(buffer, "one");
    for (size_t i = 3; i < sizeof buffer; i++) EXPECT_EQ(buffer[i], 0) << i;
    // A plain string getter doesn't see the multi-string.
    EXPECT_EQ(LxGetMetricStringEx(h_, -4, buffer, sizeof buffer, nullptr, FALSE), 0);
    EXPECT_EQ(LxGetMetricMultiStringEx(nullptr, -4, buffer, sizeof buffer, "d", TRUE), 1);
    EXPECT_STREQ(buffer, "d");
}

// ---- Setters -----------------------------------------------------------

TEST_F(MetricStore, SettersWithoutStoreFail) {
    const BYTE data[1] = {1};
    EXPECT_EQ(LxSetMetric(nullptr, 1, 1), E_FAIL);
    EXPECT_EQ(LxSetMetricString(nullptr, 1, "x"), E_FAIL);
    EXPECT_EQ(LxSetMetricBinary(nullptr, 1, data, 1), E_FAIL);
    EXPECT_EQ(LxSetMetricMultiString(nullptr, 1, "x\0", 3), E_FAIL);
    EXPECT_EQ(LxSetMetric(Default(), 1, 1), E_FAIL); // no default store here
    // Bad data is a failed write, and writes nothing.
    EXPECT_EQ(LxSetMetricString(h_, 1, nullptr), E_FAIL);
    EXPECT_EQ(LxSetMetricBinary(h_, 1, nullptr, 4), E_FAIL);
    EXPECT_EQ(LxSetMetricMultiString(h_, 1, nullptr, 4), E_FAIL);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "S1").rc, ERROR_SUCCESS);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "B1").rc, ERROR_SUCCESS);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "Z1").rc, ERROR_SUCCESS);
}

TEST_F(MetricStore, OnlyTheDwordSetterWritesTheDefaultStore) {
    DefaultStore guard(h_);
    const BYTE data[2] = {1, 2};
    EXPECT_EQ(LxSetMetric(Default(), 5, 77), S_OK);
    EXPECT_EQ(LxSetMetric(Default(), -5, 78), S_OK);
    EXPECT_EQ(LxSetMetricString(Default(), 5, "text"), E_FAIL);
    EXPECT_EQ(LxSetMetricBinary(Default(), 5, data, sizeof data), E_FAIL);
    EXPECT_EQ(LxSetMetricMultiString(Default(), 5, "a\0", 3), E_FAIL);
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, user_, "5")), 77u);
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, user_, "5")), 78u);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "S5").rc, ERROR_SUCCESS);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "B5").rc, ERROR_SUCCESS);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "Z5").rc, ERROR_SUCCESS);
    // Everything else reads and deletes through -1.
    EXPECT_EQ(LxGetMetric(Default(), 5), 77u);
    EXPECT_EQ(LxGetMetricEx(Default(), -5, 0, 10, 3), 10u);
    EXPECT_EQ(LxGetMetricBool(Default(), 5, 0), 1u);
    EXPECT_EQ(LxDoesMetricExist(Default(), 5, LXMETRIC_DWORD), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 6, "via handle"), S_OK);
    char buffer[16];
    EXPECT_EQ(LxGetMetricStringEx(Default(), 6, buffer, sizeof buffer, nullptr, FALSE), 10);
    EXPECT_STREQ(buffer, "via handle");
    EXPECT_EQ(LxDeleteMetric(Default(), 5, LXMETRIC_DWORD), S_OK);
    EXPECT_NE(ReadRaw(HKEY_CURRENT_USER, user_, "5").rc, ERROR_SUCCESS);
    // Closing -1 leaves the frame's store alone.
    EXPECT_EQ(LxMetric_Close(Default()), S_OK);
    EXPECT_EQ(LxSetMetric(Default(), 7, 1), S_OK);
}

// ---- Existence and deletion --------------------------------------------

TEST_F(MetricStore, DoesMetricExistWantsTheExactType) {
    const BYTE one = 1;
    ASSERT_EQ(LxSetMetric(h_, 1, 5), S_OK);
    ASSERT_EQ(LxSetMetricString(h_, 1, "a longer text than one byte"), S_OK);
    ASSERT_EQ(LxSetMetricBinary(h_, 1, &one, 0), S_OK);
    ASSERT_EQ(LxSetMetricMultiString(h_, 1, "ab\0", 4), S_OK);
    WriteRaw(HKEY_CURRENT_USER, user_, "S2", REG_EXPAND_SZ, "x", 2);
    WriteRaw(HKEY_CURRENT_USER, user_, "Z2", REG_SZ, "x", 2);
    WriteRaw(HKEY_CURRENT_USER, user_, "2", REG_BINARY, &one, 1);
    WriteRaw(HKEY_CURRENT_USER, user_, "B2", REG_DWORD, "\0\0\0\0", 4);
    const struct {
        const char *name;
        HLXMETRIC h;
        LONG id;
        DWORD type;
        HRESULT expect;
    } rows[] = {
        {"dword", h_, 1, LXMETRIC_DWORD, S_OK},
        {"text larger than the probe", h_, 1, LXMETRIC_SZ, S_OK},
        {"empty binary", h_, 1, LXMETRIC_BINARY, S_OK},
        {"multi", h_, 1, LXMETRIC_MULTI_SZ, S_OK},
        {"expandable isn't text", h_, 2, LXMETRIC_SZ, S_FALSE},
        {"text isn't multi", h_, 2, LXMETRIC_MULTI_SZ, S_FALSE},
        {"binary isn't dword", h_, 2, LXMETRIC_DWORD, S_FALSE},
        {"dword isn't binary", h_, 2, LXMETRIC_BINARY, S_FALSE},
        {"other scope", h_, -1, LXMETRIC_DWORD, S_FALSE},
        {"missing", h_, 3, LXMETRIC_DWORD, S_FALSE},
        {"no store", nullptr, 1, LXMETRIC_DWORD, S_FALSE},
        {"no default store", LXMETRIC_DEFAULT, 1, LXMETRIC_DWORD, S_FALSE},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LxDoesMetricExist(row.h, row.id, row.type), row.expect);
    }
}

TEST_F(MetricStore, DeleteMetricStatuses) {
    ASSERT_EQ(LxSetMetric(h_, -8, 1), S_OK);
    ASSERT_EQ(LxSetMetric(h_, 8, 2), S_OK);
    EXPECT_EQ(LxDeleteMetric(h_, -8, LXMETRIC_DWORD), S_OK);
    EXPECT_NE(ReadRaw(HKEY_LOCAL_MACHINE, user_, "8").rc, ERROR_SUCCESS);
    EXPECT_EQ(LxGetMetric(h_, 8), 2u); // the user's is still there
    EXPECT_EQ(LxDeleteMetric(h_, -8, LXMETRIC_DWORD), E_FAIL);
    EXPECT_EQ(LxDeleteMetric(h_, 8, LXMETRIC_SZ), E_FAIL);
    EXPECT_EQ(LxDeleteMetric(nullptr, 8, LXMETRIC_DWORD), S_FALSE);
    EXPECT_EQ(LxDeleteMetric(Default(), 8, LXMETRIC_DWORD), S_FALSE);
}

// ---- SMPTE times ---------------------------------------------------------

TEST_F(MetricStore, SmpteTimeIsStoredAsThirtyFrameCount) {
    // A 25-frame second is stored as the count of 00:00:01:00 at 30 frames.
    const _smpteval pal = {3, 0, 0, 1, 0};
    EXPECT_EQ(LxSetMetricSmpteTime(h_, 1, &pal), S_OK);
    EXPECT_EQ(LxGetMetric(h_, 1), 30u);
    const _smpteval drop = {2, 0, 1, 0, 2};
    EXPECT_EQ(LxSetMetricSmpteTime(h_, -2, &drop), S_OK);
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, user_, "2")), 1802u);
    EXPECT_EQ(LxSetMetricSmpteTime(h_, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(LxSetMetricSmpteTime(nullptr, 1, &pal), E_FAIL);
}

TEST_F(MetricStore, SmpteTimeComesBackInTheCallersType) {
    const struct {
        const char *name;
        DWORD stored; // frame count at 30
        DWORD type;   // the caller's
        HRESULT status;
        _smpteval expect;
    } rows[] = {
        {"same type", 111694, 1, S_OK, {1, 1, 2, 3, 4}},
        {"drop frame reads ;00 as ;02", 1800, 2, S_OK, {2, 0, 1, 0, 2}},
        {"drop frame keeps ;02", 1802, 2, S_OK, {2, 0, 1, 0, 2}},
        {"drop frame minute 10 keeps ;00", 18000, 2, S_OK, {2, 0, 10, 0, 0}},
        {"25 frames normalises", 29, 3, S_OK, {3, 0, 0, 1, 4}},
        {"24 frames normalises", 29, 4, S_OK, {4, 0, 0, 1, 5}},
        {"missing value is zero", 0xFFFFFFFF, 3, S_OK, {3, 0, 0, 0, 0}},
        {"unknown type", 1802, 9, E_INVALIDARG, {9, 0, 0, 0, 0}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        LxDeleteMetric(h_, 4, LXMETRIC_DWORD);
        if (row.stored != 0xFFFFFFFF) {
            ASSERT_EQ(LxSetMetric(h_, 4, row.stored), S_OK);
        }
        _smpteval t = {row.type, 99, 99, 99, 99};
        EXPECT_EQ(LxGetMetricSmpteTime(h_, 4, &t), row.status);
        EXPECT_EQ(t.type, row.expect.type);
        EXPECT_EQ(t.hours, row.expect.hours);
        EXPECT_EQ(t.minutes, row.expect.minutes);
        EXPECT_EQ(t.seconds, row.expect.seconds);
        EXPECT_EQ(t.frames, row.expect.frames);
    }
    EXPECT_EQ(LxGetMetricSmpteTime(h_, 4, nullptr), E_INVALIDARG);
}

// ---- Opening -----------------------------------------------------------

TEST(MetricOpen, BadArguments) {
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
    EXPECT_EQ(LxMetric_OpenSubKey(&h, LXMETRIC_DEFAULT, "Sub"), E_FAIL); // none set
    EXPECT_EQ(LxMetric_OpenSubKey(nullptr, nullptr, "Sub"), E_INVALIDARG);
    EXPECT_EQ(LxMetric_Close(nullptr), S_OK);
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(nullptr), E_FAIL);
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(LXMETRIC_DEFAULT), E_FAIL);
}

// A path too long for the block's 260 characters is never created: the store
// opens and behaves as missing in both scopes.
TEST(MetricOpen, OverlongPathGivesAStoreWithoutKeys) {
    std::string product = lxtest::UniqueName("MetricLong") + std::string(230, 'x');
    HLXMETRIC h = nullptr;
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
        const char *parentSub;
        const char *versionText;
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
        EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, path, "1")), 5u);
        EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, path, "1")), 6u);
        if (row.parentSub) {
            EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER,
                                   MetricsPath(product, row.versionText, row.parentSub) + "\\Child"));
        }
        // The parent doesn't see the child's values.
        EXPECT_EQ(LxGetMetric(parent, 1), 0u);
        LxMetric_Close(child);
        // Without a sub key the child is the product's own Metrics key.
        ASSERT_EQ(LxMetric_OpenSubKey(&child, parent, nullptr), S_OK);
        EXPECT_EQ(LxSetMetric(child, 2, 9), S_OK);
        EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, MetricsPath(product, row.versionText), "2")),
                  9u);
        LxMetric_Close(child);
        LxMetric_Close(parent);
    }
    lxtest::DeleteProductKeys(product);
}

TEST(MetricOpen, SubKeyOfTheDefaultStore) {
    const std::string product = lxtest::UniqueName("MetricDefSub");
    HLXMETRIC store = nullptr, child = nullptr;
    ASSERT_EQ(LxMetric_Open(&store, product.c_str(), kVersion, "Kernel"), S_OK);
    {
        DefaultStore guard(store);
        ASSERT_EQ(LxMetric_OpenSubKey(&child, LXMETRIC_DEFAULT, "Other"), S_OK);
    }
    EXPECT_EQ(LxSetMetric(child, 3, 4), S_OK);
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_CURRENT_USER, MetricsPath(product, "6.0", "Other"), "3")), 4u);
    LxMetric_Close(child);
    LxMetric_Close(store);
    lxtest::DeleteProductKeys(product);
}

// ---- Service family ------------------------------------------------------

class MetricService : public testing::Test {
protected:
    void SetUp() override { service_ = lxtest::UniqueName("MetricSvc"); }
    void TearDown() override {
        DeleteTree(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\" + service_);
        DeleteTree(HKEY_CURRENT_USER, "SYSTEM\\CurrentControlSet\\Services\\" + service_);
    }
    std::string service_;
};

TEST_F(MetricService, BothSignsReachTheSameMachineValue) {
    HLXMETRIC h = nullptr;
    ASSERT_EQ(LxMetric_OpenService(&h, service_.c_str(), kVersion, nullptr), S_OK);
    EXPECT_EQ(LxSetMetric(h, 5, 11), S_OK);
    EXPECT_EQ(LxGetMetric(h, -5), 11u);
    EXPECT_EQ(LxSetMetric(h, -5, 22), S_OK);
    EXPECT_EQ(LxGetMetric(h, 5), 22u);
    EXPECT_EQ(LxSetMetricString(h, 6, "svc"), S_OK);
    char buffer[8];
    EXPECT_EQ(LxGetMetricStringEx(h, -6, buffer, sizeof buffer, nullptr, FALSE), 3);
    EXPECT_STREQ(buffer, "svc");
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, ServicePath(service_), "5")), 22u);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, "SYSTEM\\CurrentControlSet\\Services\\" + service_));
    LxMetric_Close(h);
}

TEST_F(MetricService, DeleteKeyAndDeleteAll) {
    HLXMETRIC root = nullptr, sub = nullptr;
    ASSERT_EQ(LxMetric_OpenService(&root, service_.c_str(), kVersion, nullptr), S_OK);
    ASSERT_EQ(LxMetric_OpenService(&sub, service_.c_str(), kVersion, "Sub"), S_OK);
    EXPECT_EQ(LxSetMetric(root, 1, 1), S_OK);
    EXPECT_EQ(LxSetMetric(sub, 1, 2), S_OK);
    LxMetric_Close(sub);
    LxMetric_Close(root);
    EXPECT_EQ(LxMetric_DeleteKeyService(service_.c_str(), kVersion, "Sub"), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, ServicePath(service_, "6.0", "Sub")));
    EXPECT_EQ(RawDWord(ReadRaw(HKEY_LOCAL_MACHINE, ServicePath(service_), "1")), 1u);
    EXPECT_EQ(LxMetric_DeleteAllService(service_.c_str(), kVersion), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, ServicePath(service_)));
    EXPECT_EQ(LxMetric_DeleteAllService(service_.c_str(), kVersion), S_OK);
}

// ---- Deletion ------------------------------------------------------------

TEST(MetricDelete, DeleteAllTakesBothHivesOfOneVersion) {
    const std::string product = lxtest::UniqueName("MetricDel");
    HLXMETRIC a = nullptr, b = nullptr, c = nullptr;
    ASSERT_EQ(LxMetric_Open(&a, product.c_str(), kVersion, nullptr), S_OK);
    ASSERT_EQ(LxMetric_Open(&b, product.c_str(), kVersion, "Sub\\Deep"), S_OK);
    ASSERT_EQ(LxMetric_Open(&c, product.c_str(), 0x07000000, nullptr), S_OK);
    for (HLXMETRIC h : {a, b, c}) {
        EXPECT_EQ(LxSetMetric(h, 1, 1), S_OK);
        EXPECT_EQ(LxSetMetric(h, -1, 1), S_OK);
    }
    LxMetric_Close(a);
    LxMetric_Close(b);
    LxMetric_Close(c);

    EXPECT_EQ(LxMetric_DeleteKey(product.c_str(), kVersion, "Sub"), S_OK);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_FALSE(KeyExists(root, MetricsPath(product, "6.0", "Sub")));
        EXPECT_TRUE(KeyExists(root, MetricsPath(product)));
    }
    EXPECT_EQ(LxMetric_DeleteAll(product.c_str(), kVersion), S_OK);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_FALSE(KeyExists(root, MetricsPath(product)));
        EXPECT_TRUE(KeyExists(root, MetricsPath(product, "7.0")));
    }
    EXPECT_EQ(LxMetric_DeleteAll(product.c_str(), kVersion), S_OK); // nothing left
    EXPECT_EQ(LxMetric_DeleteAll(nullptr, kVersion), S_OK);
    lxtest::DeleteProductKeys(product);
}

TEST(MetricDelete, CloseAndDeleteKeyTakesBothPaths) {
    const std::string product = lxtest::UniqueName("MetricCdk");
    HLXMETRIC h = nullptr, sub = nullptr;
    ASSERT_EQ(LxMetric_Open(&h, product.c_str(), kVersion, "Mine"), S_OK);
    ASSERT_EQ(LxMetric_Open(&sub, product.c_str(), kVersion, "Mine\\Inner"), S_OK);
    EXPECT_EQ(LxSetMetric(h, 1, 1), S_OK);
    EXPECT_EQ(LxSetMetric(h, -1, 1), S_OK);
    EXPECT_EQ(LxSetMetric(sub, 1, 1), S_OK);
    EXPECT_EQ(LxSetMetric(sub, -1, 1), S_OK);
    LxMetric_Close(sub);
    EXPECT_EQ(LxMetric_CloseAndDeleteKey(h), S_OK);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_FALSE(KeyExists(root, MetricsPath(product, "6.0", "Mine")));
        EXPECT_TRUE(KeyExists(root, MetricsPath(product)));
    }
    lxtest::DeleteProductKeys(product);
}

}  // namespace
