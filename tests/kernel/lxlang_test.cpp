// Language blocks against a real language file: the lookup order, the
// language mark, the ring and its wrap rule, the string tables and their
// caches, conversions, dialogs, resources and images, the user's and the
// system's language, and the international record with its tokens.
#include "langfixture.h"
#include "kernel/kernelstrings.h"
#include "kernel/lxprintf.h"

#include <cstring>
#include <string>
#include <vector>

using langtest::Acp;
using langtest::kGerman;
using langtest::LangFixture;

namespace {

std::string LongText(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; i++) s += (char)('a' + i % 26);
    return s;
}

// ---- Opening and the ring -------------------------------------------------------

// Steps through the ring with empty pieces: the last offset handed out
// before the position starts over.
LONG LastOffsetBeforeWrap(HLXLANG h) {
    char *base = LxGetStringBuffer(h, 0);
    LONG last = 0;
    for (int i = 0; i < 5000; i++) {
        char *p = LxGetStringBuffer(h, 0);
        if (p == base) return last;
        last = (LONG)(p - base);
    }
    return -1;
}

TEST(LangRing, SizeRule) {
    struct Row {
        LONG asked;
        LONG lastOffset;  // ring size less the 1024 reserve, on a 4-byte step
    } rows[] = {
        {0, 8192 - 1024}, {100, 2048 - 1024}, {-1, 2048 - 1024},
        {2048, 2048 - 1024}, {3000, 3000 - 1024}, {4096, 4096 - 1024},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.asked);
        HLXLANG h = nullptr;
        ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, r.asked));
        EXPECT_EQ(r.lastOffset, LastOffsetBeforeWrap(h));
        LxLang_Close(h);
        // The reserve is there even at the last place.
        ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, r.asked));
        char *base = LxGetStringBuffer(h, r.lastOffset - 4);
        char *tail = LxGetStringBuffer(h, 1024);
        EXPECT_EQ(base + r.lastOffset, tail);
        memset(tail, 'x', 1024);
        LxLang_Close(h);
    }
}

TEST(LangRing, PositionRule) {
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 2048));
    struct Row {
        LONG bytes;
        LONG offset;
    } rows[] = {
        {100, 0},     // next: (0 + 100 + 4) & ~3 = 104
        {1, 104},     // next: 108
        {912, 108},   // next: 1024, exactly size less reserve
        {5, 1024},    // not above it: stays; next 1032
        {5, 0},       // above: starts over
        {3, 8},       // (0 + 5 + 4) & ~3
    };
    char *base = nullptr;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.bytes);
        char *p = LxGetStringBuffer(h, r.bytes);
        ASSERT_NE(nullptr, p);
        if (!base) base = p;
        EXPECT_EQ(r.offset, p - base);
    }
    LxLang_Close(h);
}

TEST(LangRing, BufferRefusalsAndRestart) {
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 2048));
    EXPECT_EQ(nullptr, LxGetStringBuffer(nullptr, 10));
    EXPECT_EQ(nullptr, LxGetStringBuffer(h, -1));
    EXPECT_EQ(nullptr, LxGetStringBuffer(h, 2049));
    char *base = LxGetStringBuffer(h, 1020);  // next at 1024
    EXPECT_EQ(base + 1024, LxGetStringBuffer(h, 1024));
    LxGetStringBuffer(h, 0);  // wraps to 0, next at 4
    LxGetStringBuffer(h, 1016); // next at 1024
    // 2000 bytes don't fit behind 1024: the piece starts the ring over.
    EXPECT_EQ(base, LxGetStringBuffer(h, 2000));
    EXPECT_EQ(base, LxGetStringBuffer(h, 0)) << "(0 + 2000 + 4) & ~3 = 2004 is above 1024";
    LxLang_Close(h);
}

TEST(LangOpen, RefusalsAndNulls) {
    EXPECT_EQ(E_INVALIDARG, LxLang_Open(nullptr, nullptr, 0, 0));
    EXPECT_EQ(S_OK, LxLang_Close(nullptr));
    EXPECT_EQ(nullptr, LxLang_InstFromLang(nullptr));
    EXPECT_EQ(0u, LxLang_GetLCID(nullptr));
    char abbrev[8] = "x";
    EXPECT_FALSE(LxLang_GetLangAbbrev(nullptr, abbrev, sizeof abbrev));
    EXPECT_STREQ("", LxGetString(nullptr, 100));
    EXPECT_STREQ(L"", LxGetWideFromPrintString(nullptr, "x"));
    EXPECT_STREQ("", LxGetPrintFromWideString(nullptr, L"x"));
    char buf[8] = "x";
    EXPECT_EQ(0, LxLoadString(nullptr, 100, buf, sizeof buf));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(nullptr, LxCreateDialogParam(nullptr, MAKEINTRESOURCEA(1), nullptr, nullptr, 0));
    EXPECT_EQ(-1, LxDialogBoxParam(nullptr, MAKEINTRESOURCEA(1), nullptr, nullptr, 0));
    EXPECT_EQ(nullptr, LxLoadAccelerators(nullptr, MAKEINTRESOURCEA(1)));
    EXPECT_EQ(nullptr, LxFindResource(nullptr, MAKEINTRESOURCEA(1), (LPCSTR)RT_DIALOG));
    EXPECT_EQ(nullptr, LxLoadResource(nullptr, nullptr));
    EXPECT_EQ(0u, LxSizeofResource(nullptr, nullptr));
    EXPECT_EQ(nullptr, LxLoadResourceCustom(nullptr, MAKEINTRESOURCEA(1), "X", nullptr));
    EXPECT_EQ(nullptr, LxFindResInstance(nullptr, MAKEINTRESOURCEA(1), (LPCSTR)RT_DIALOG));
    EXPECT_EQ(0, LxEnumResourceLanguages(nullptr, MAKEINTRESOURCEA(1), buf, sizeof buf));
}

TEST(LangOpen, LcidKeptOrTheSystemsOwn) {
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0x040C, 0));
    EXPECT_EQ(0x040Cu, LxLang_GetLCID(h));
    LxLang_Close(h);
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 0));
    EXPECT_EQ(Lang_GetSystemLCID(), LxLang_GetLCID(h));
    LxLang_Close(h);
}

// ---- The lookup order of strings -------------------------------------------------

TEST_F(LangFixture, StringLookupOrder) {
    struct Row {
        const char *name;
        bool update;
        LCID lcid;
        UINT id;
        std::string text;
    } rows[] = {
        {"inactive until a language is set", false, 0, IDS_SAVE, "Save"},
        {"inactive: translation-only id is empty", false, 0, IDS_LANGONLY, ""},
        {"German: marked translation", true, kGerman, IDS_SAVE, "Speichern"},
        {"German: empty slot falls back", true, kGerman, IDS_MODULEONLY, "Only in module"},
        {"German: module's own mark goes too", true, kGerman, IDS_MODULEMARK, "Marked in module"},
        {"German: bundle missing in the file", true, kGerman, IDS_OTHERBUNDLE, "Other bundle"},
        {"German: only in the translation", true, kGerman, IDS_LANGONLY, "Nur Sprache"},
        {"German: nothing but the mark", true, kGerman, IDS_JUSTMARK, ""},
        {"German: in neither", true, kGerman, 107, ""},
        {"1033 ignores the file", true, 1033, IDS_SAVE, "Save"},
        {"1033: translation-only id is empty", true, 1033, IDS_LANGONLY, ""},
        {"British English ignores the file", true, 0x0809, IDS_SAVE, "Save"},
        {"0 means 1033", true, 0, IDS_SAVE, "Save"},
        {"module mark without the file", true, 1033, IDS_MODULEMARK, "Marked in module"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        if (r.update) {
            ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        }
        char buf[256];
        memset(buf, 0x55, sizeof buf);
        EXPECT_EQ((int)r.text.size(), LxLoadString(lang_, r.id, buf, sizeof buf));
        EXPECT_EQ(r.text, buf);
        EXPECT_EQ(r.text, LxGetString(lang_, r.id));
    }
}

TEST_F(LangFixture, LoadStringCutsThenRemovesTheMark) {
    German();
    struct Row {
        UINT id;
        int size;
        const char *text;
    } rows[] = {
        {IDS_SAVE, 5, "Sp"},       // "^*Sp" cut, then unmarked
        {IDS_SAVE, 3, ""},         // "^*"
        {IDS_SAVE, 12, "Speichern"},
        {IDS_OTHERBUNDLE, 6, "Other"},
        {IDS_SAVE, 1, ""},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(std::to_string(r.id) + "/" + std::to_string(r.size));
        char buf[32];
        memset(buf, 0x55, sizeof buf);
        EXPECT_EQ((int)strlen(r.text), LxLoadString(lang_, r.id, buf, r.size));
        EXPECT_STREQ(r.text, buf);
        EXPECT_EQ(0x55, (BYTE)buf[r.size]) << "wrote past the buffer";
    }
    char buf[4] = "abc";
    EXPECT_EQ(0, LxLoadString(lang_, IDS_SAVE, buf, 0));
    EXPECT_STREQ("abc", buf);
    EXPECT_EQ(0, LxLoadString(lang_, IDS_SAVE, nullptr, 10));
}

TEST_F(LangFixture, RingTextsFollowTheRule) {
    German();
    const char *save = LxGetString(lang_, IDS_SAVE);  // 9 letters: next at 12
    const char *open = LxGetString(lang_, IDS_OPEN);
    EXPECT_EQ(save + 12, open);
    EXPECT_STREQ("Speichern", save);
    EXPECT_EQ(Acp(L"\u00D6ffnen"), open);
    const char *none = LxGetString(lang_, 107);  // empty text: 4 bytes on
    EXPECT_EQ(open + 8, none);
    EXPECT_STREQ("", none);
    EXPECT_EQ(none + 4, LxGetStringBuffer(lang_, 0));
}

TEST_F(LangFixture, LongTextIsCutToTheRoomLeft) {
    German();
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, module_, kGerman, 2048));
    ASSERT_TRUE(LxLang_UpdateKernelLCID(h, kGerman, 0));
    const std::string full = LongText(IDS_LONG_LENGTH);
    const char *first = LxGetString(h, IDS_LONG);  // the whole ring is room
    EXPECT_EQ(full, first);
    // 1500 + 4 is above 1024: the next text starts over.
    EXPECT_EQ(first, LxGetStringBuffer(h, 1020));
    const char *cut = LxGetString(h, IDS_LONG);  // at 1024, 1024 bytes of room
    EXPECT_EQ(first + 1024, cut);
    EXPECT_EQ(full.substr(0, 1023), cut);
    EXPECT_EQ(first, LxGetString(h, IDS_SAVE)) << "(1024 + 1023 + 4) & ~3 = 2048";
    LxLang_Close(h);
}

// ---- Language settings ----------------------------------------------------------------

TEST_F(LangFixture, UpdateKernelLcidSetsBothBlocks) {
    HMODULE file = LangFile();
    ASSERT_NE(nullptr, file);
    ASSERT_NE(module_, file);
    EXPECT_EQ(module_, LxLang_InstFromLang(lang_)) << "not active before a language is set";
    struct Row {
        LCID in, stored;
        bool active;
    } rows[] = {
        {kGerman, kGerman, true}, {0, 1033, false}, {0x040C, 0x040C, true},
        {0x0809, 0x0809, false},  {0x0409, 0x0409, false},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.in);
        EXPECT_TRUE(LxLang_UpdateKernelLCID(lang_, r.in, 0));
        EXPECT_EQ(r.stored, LxLang_GetLCID(lang_));
        EXPECT_EQ(r.stored, LxLang_GetLCID(g_hKernelLang));
        EXPECT_EQ(r.active ? file : module_, LxLang_InstFromLang(lang_));
        // The kernel's block has no file of its own: always its module.
        EXPECT_EQ(GetModuleHandleA(nullptr), LxLang_InstFromLang(g_hKernelLang));
    }
    EXPECT_FALSE(LxLang_UpdateKernelLCID(nullptr, kGerman, 0));
    HLXLANG kernel = g_hKernelLang;
    g_hKernelLang = nullptr;
    EXPECT_FALSE(LxLang_UpdateKernelLCID(lang_, 0x040C, 0));
    g_hKernelLang = kernel;
    EXPECT_EQ(0x040Cu, LxLang_GetLCID(lang_)) << "the given block is still set";
}

TEST(LangEnglish, PrimaryLanguageIsNine) {
    struct Row {
        LCID lcid;
        BOOL english;
    } rows[] = {
        {0x0409, TRUE},  {0x0809, TRUE},   {0x0009, TRUE},   {0x10409, TRUE},
        {0x0407, FALSE}, {0x0000, FALSE}, {0x0209, FALSE}, {0x0449, FALSE},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.lcid);
        EXPECT_EQ(r.english, LxLang_IsLCIDEnglish(r.lcid));
    }
}

TEST_F(LangFixture, LangAbbrevOfTheBlocksLanguage) {
    struct Row {
        LCID lcid;
        const char *abbrev;
    } rows[] = {{kGerman, "DEU"}, {0x0809, "ENG"}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.abbrev);
        ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        char out[16] = "?";
        EXPECT_TRUE(LxLang_GetLangAbbrev(lang_, out, sizeof out));
        EXPECT_STREQ(r.abbrev, out);
    }
}

TEST(LangId, KeepsThreeCharacters) {
    struct Row {
        const char *in;
        int length;
        const char *kept;
    } rows[] = {
        {"DEU", 3, "DEU"}, {"FRAX", 3, "FRA"}, {"D", 1, "D"}, {"", 3, "ENU"}, {nullptr, 3, "ENU"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.kept);
        EXPECT_EQ(r.length, LxSetLangID(r.in));
        EXPECT_STREQ(r.kept, Lang_GetLangID());
    }
}

class LangUserMetric : public ::testing::Test {
protected:
    void SetUp() override { product_ = lxtest::UniqueName("LangTest"); }
    void TearDown() override { lxtest::DeleteProductKeys(product_); }
    std::string KeyPath(const char *version) {
        return "Software\\Velmora\\" + product_ + "\\" + version + "\\Lang";
    }
    std::string product_;
};

TEST_F(LangUserMetric, SaveKeepsLow16BitsLoadGivesDefaultSublanguage) {
    struct Row {
        DWORD version;
        const char *path;
        LCID saved;
        DWORD stored;
        LCID loaded;
    } rows[] = {
        {0x060000DB, "6.0", 0x0807, 0x0807, 0x0407},
        {0x060000DB, "6.0", 0x12340409, 0x0409, 0x0409},
        {0x0A0B0001, "10.11", 0x0C0C, 0x0C0C, 0x040C},
        {0x060000DB, "6.0", 0xFFFF, 0xFFFF, 0x07FF},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.saved);
        ASSERT_EQ(S_OK, LxLang_SaveUserLCIDMetric(product_.c_str(), r.version, r.saved));
        HKEY key;
        ASSERT_EQ(ERROR_SUCCESS,
                  RegOpenKeyExA(HKEY_LOCAL_MACHINE, KeyPath(r.path).c_str(), 0, KEY_READ, &key));
        DWORD value = 0, type = 0, cb = sizeof value;
        EXPECT_EQ(ERROR_SUCCESS,
                  RegQueryValueExA(key, "ULangID", nullptr, &type, (BYTE *)&value, &cb));
        RegCloseKey(key);
        EXPECT_EQ((DWORD)REG_DWORD, type);
        EXPECT_EQ(r.stored, value);
        LCID lcid = 0;
        EXPECT_TRUE(LxLang_LoadUserLCIDMetric(product_.c_str(), r.version, &lcid));
        EXPECT_EQ(r.loaded, lcid);
    }
}

TEST_F(LangUserMetric, UnreadableValueGivesZero) {
    LCID lcid = 0x55;
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x060000DB, &lcid));
    EXPECT_EQ(0x55u, lcid);
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyA(HKEY_LOCAL_MACHINE, KeyPath("6.0").c_str(), &key));
    RegSetValueExA(key, "ULangID", 0, REG_SZ, (const BYTE *)"1031", 5);
    RegCloseKey(key);
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x060000DB, &lcid));
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(nullptr, 0x060000DB, &lcid));
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x060000DB, nullptr));
    EXPECT_EQ(E_INVALIDARG, LxLang_SaveUserLCIDMetric(nullptr, 0x060000DB, 1031));
}

// ---- Changing the language file ---------------------------------------------------------

TEST_F(LangFixture, ChangeLangInstSetsBothBlocks) {
    HMODULE exe = GetModuleHandleA(nullptr);
    HLXLANG bare = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&bare, exe, 0, 0));
    EXPECT_FALSE(LxLang_ChangeLangInst(nullptr, module_));
    EXPECT_TRUE(LxLang_ChangeLangInst(bare, nullptr));
    ASSERT_TRUE(LxLang_UpdateKernelLCID(bare, kGerman, 0));
    EXPECT_EQ(exe, LxLang_InstFromLang(bare)) << "no file beside the test program";
    char buf[64];
    EXPECT_EQ(0, LxLoadString(bare, IDS_SAVE, buf, sizeof buf));

    HMODULE file = LoadLibraryA(langtest::LangFilePath().c_str());
    ASSERT_NE(nullptr, file);
    EXPECT_TRUE(LxLang_ChangeLangInst(bare, file));
    EXPECT_EQ(file, LxLang_InstFromLang(bare));
    EXPECT_EQ(file, LxLang_InstFromLang(g_hKernelLang));
    EXPECT_EQ(9, LxLoadString(bare, IDS_SAVE, buf, sizeof buf));
    EXPECT_STREQ("Speichern", buf);
    LxLang_Close(bare);
    // The kernel's block holds a reference of its own.
    EXPECT_EQ(9, LxLoadString(g_hKernelLang, IDS_SAVE, buf, sizeof buf));
    FreeLibrary(file);
}

TEST(LangReferences, EachBlockFreesWhatItHolds) {
    const std::string path = langtest::LangFilePath();
    ASSERT_EQ(nullptr, GetModuleHandleA(path.c_str()));
    ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr)));
    HLXLANG bare = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&bare, GetModuleHandleA(nullptr), 0, 0));
    HMODULE file = LoadLibraryA(path.c_str());
    ASSERT_NE(nullptr, file);
    EXPECT_TRUE(LxLang_ChangeLangInst(bare, file));
    EXPECT_TRUE(LxLang_ChangeLangInst(bare, file)) << "the same file again takes nothing more";
    LxLang_Close(bare);
    Kernel_ProcessDetach();
    EXPECT_EQ(file, GetModuleHandleA(path.c_str())) << "our own reference still stands";
    FreeLibrary(file);
    EXPECT_EQ(nullptr, GetModuleHandleA(path.c_str())) << "a block kept a reference";
}

// ---- Resources ------------------------------------------------------------------------

TEST_F(LangFixture, ResourcesFollowTheLookupOrder) {
    struct Row {
        const char *name;
        LCID lcid;  // 0: never set
        LPCSTR id;
        LPCSTR type;
        const char *bytes;  // null: not compared
        bool fromFile;
    } rows[] = {
        {"data, inactive", 0, MAKEINTRESOURCEA(IDR_DATA), RT_LXDATA, "module", false},
        {"data, German", kGerman, MAKEINTRESOURCEA(IDR_DATA), RT_LXDATA, "sprache", true},
        {"data, 1033", 1033, MAKEINTRESOURCEA(IDR_DATA), RT_LXDATA, "module", false},
        {"dialog only in module", kGerman, MAKEINTRESOURCEA(IDD_MODULEONLY), (LPCSTR)RT_DIALOG,
         nullptr, false},
        {"dialog in both", kGerman, MAKEINTRESOURCEA(IDD_MAIN), (LPCSTR)RT_DIALOG, nullptr, true},
    };
    HMODULE file = LangFile();
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        if (r.lcid) {
            ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        }
        HMODULE expected = r.fromFile ? file : module_;
        EXPECT_EQ(expected, LxFindResInstance(lang_, r.id, r.type));
        HRSRC res = LxFindResource(lang_, r.id, r.type);
        ASSERT_NE(nullptr, res);
        HGLOBAL g = LxLoadResource(lang_, res);
        ASSERT_NE(nullptr, g);
        DWORD size = LxSizeofResource(lang_, res);
        EXPECT_EQ(SizeofResource(expected, res), size);
        DWORD customSize = 0;
        void *custom = LxLoadResourceCustom(lang_, r.id, r.type, &customSize);
        EXPECT_EQ(LockResource(g), custom);
        EXPECT_EQ(size, customSize);
        if (r.bytes) {
            EXPECT_EQ(strlen(r.bytes) + 1, size);
            EXPECT_STREQ(r.bytes, (const char *)custom);
        }
    }
    EXPECT_EQ(module_, LxFindResInstance(lang_, MAKEINTRESOURCEA(999), RT_LXDATA))
        << "the module, whether or not it has the resource";
    EXPECT_EQ(nullptr, LxFindResource(lang_, MAKEINTRESOURCEA(999), RT_LXDATA));
    DWORD size = 7;
    EXPECT_EQ(nullptr, LxLoadResourceCustom(lang_, MAKEINTRESOURCEA(999), RT_LXDATA, &size));
    EXPECT_EQ(0u, size);
}

TEST_F(LangFixture, ModuleResourceLoadsFromTheModuleWhileActive) {
    German();
    HRSRC res = FindResourceA(module_, MAKEINTRESOURCEA(IDR_DATA), RT_LXDATA);
    ASSERT_NE(nullptr, res);
    HGLOBAL g = LxLoadResource(lang_, res);
    ASSERT_NE(nullptr, g);
    EXPECT_STREQ("module", (const char *)LockResource(g));
    EXPECT_EQ(7u, LxSizeofResource(lang_, res));
}

TEST_F(LangFixture, AcceleratorsStayTheModules) {
    // The translation's table is built with a count of 0, which the system
    // refuses, so the module's table is what comes back.
    German();
    HACCEL a = LxLoadAccelerators(lang_, MAKEINTRESOURCEA(IDA_MAIN));
    ASSERT_NE(nullptr, a);
    ACCEL entries[4];
    ASSERT_EQ(2, CopyAcceleratorTableA(a, entries, 4));
    EXPECT_EQ('N', entries[0].key);
    EXPECT_EQ(CMD_NEW, entries[0].cmd);
    EXPECT_EQ('O', entries[1].key);
    DestroyAcceleratorTable(a);
    EXPECT_EQ(nullptr, LxLoadAccelerators(lang_, MAKEINTRESOURCEA(999)));
}

typedef int(WINAPI *ImageCountFn)(HIMAGELIST);
typedef BOOL(WINAPI *ImageDestroyFn)(HIMAGELIST);

TEST_F(LangFixture, ImagesNeverComeFromTheLanguageFile) {
    German();
    struct Row {
        const char *name;
        HANDLE image;
    } rows[] = {
        {"bitmap", LxLoadBitmap(lang_, MAKEINTRESOURCEA(IDB_STRIP))},
        {"image", LxLoadImage(lang_, MAKEINTRESOURCEA(IDB_STRIP), IMAGE_BITMAP, 0, 0, 0)},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ASSERT_NE(nullptr, r.image);
        BITMAP bm;
        ASSERT_EQ((int)sizeof bm, GetObjectA(r.image, sizeof bm, &bm));
        EXPECT_EQ(4, bm.bmWidth);  // the translation's is 8 by 8
        EXPECT_EQ(2, bm.bmHeight);
        DeleteObject(r.image);
    }
    HMODULE cc = LoadLibraryA("COMCTL32.DLL");
    ASSERT_NE(nullptr, cc);
    auto count = (ImageCountFn)(void *)GetProcAddress(cc, "ImageList_GetImageCount");
    auto destroy = (ImageDestroyFn)(void *)GetProcAddress(cc, "ImageList_Destroy");
    HIMAGELIST list = LxImageList_LoadImage(lang_, MAKEINTRESOURCEA(IDB_STRIP), 2, 0, CLR_NONE,
                                            IMAGE_BITMAP, 0);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(2, count(list));  // 4 pixels wide in steps of 2
    destroy(list);

    // A null block means the system's resources.
    EXPECT_EQ(LoadIconA(nullptr, (LPCSTR)IDI_APPLICATION),
              LxLoadIcon(nullptr, (LPCSTR)IDI_APPLICATION));
    HBITMAP close = LxLoadBitmap(nullptr, MAKEINTRESOURCEA(32754)  /* OBM_CLOSE */);
    EXPECT_NE(nullptr, close);
    DeleteObject(close);
    EXPECT_EQ(nullptr, LxLoadBitmap(nullptr, MAKEINTRESOURCEA(IDB_STRIP)));
}

TEST_F(LangFixture, CursorsSystemRangeOrTheKernelsModule) {
    HMODULE kernel = g_hKernelModule;
    g_hKernelModule = module_;  // so that the kernel's module has a cursor
    struct Row {
        const char *name;
        HLXLANG h;
        UINT id;
        bool found;
        bool system;
    } rows[] = {
        {"null block, arrow", nullptr, 32512, true, true},
        {"null block, size-all", nullptr, 32646, true, true},
        {"null block, kernel's cursor", nullptr, IDR_DOT, true, false},
        {"null block, 0xFFFF", nullptr, 0xFFFF, false, true},
        {"null block, missing", nullptr, 801, false, false},
        {"block, its module's cursor", lang_, IDR_DOT, true, false},
        {"block, no system range", lang_, 32512, false, false},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        HCURSOR c = LxLoadCursor(r.h, MAKEINTRESOURCEA(r.id));
        EXPECT_EQ(r.found, c != nullptr);
        if (r.system) {
            EXPECT_EQ(LoadCursorA(nullptr, MAKEINTRESOURCEA(r.id)), c);
        }
    }
    g_hKernelModule = kernel;
}

TEST_F(LangFixture, VersionLanguagesOfTheFile) {
    struct Row {
        int size;
        const char *text;
    } rows[] = {{64, "DEU,FRA"}, {8, "DEU,FRA"}, {6, "DEU,F"}, {4, "DEU"}, {1, ""}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.size);
        char out[80];
        memset(out, 0x55, sizeof out);
        EXPECT_EQ((int)strlen(r.text),
                  LxEnumResourceLanguages(lang_, MAKEINTRESOURCEA(IDV_VERSION), out, r.size));
        EXPECT_STREQ(r.text, out);
        EXPECT_EQ(0x55, (BYTE)out[r.size]);
    }
    char out[16] = "x";
    EXPECT_EQ(0, LxEnumResourceLanguages(lang_, MAKEINTRESOURCEA(2), out, sizeof out));
    EXPECT_STREQ("", out);
    HLXLANG bare = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&bare, GetModuleHandleA(nullptr), 0, 0));
    EXPECT_EQ(0, LxEnumResourceLanguages(bare, MAKEINTRESOURCEA(1), out, sizeof out));
    LxLang_Close(bare);
}

// ---- Dialogs -----------------------------------------------------------------------

struct DialogSeen {
    char caption[64];
    char label[64];
    HINSTANCE instance;
    int initCount;
};

void Record(HWND w, LPARAM lp) {
    DialogSeen *s = (DialogSeen *)lp;
    GetWindowTextA(w, s->caption, sizeof s->caption);
    GetDlgItemTextA(w, IDC_LABEL, s->label, sizeof s->label);
    s->instance = (HINSTANCE)GetWindowLongPtrA(w, GWLP_HINSTANCE);
    s->initCount++;
}

INT_PTR CALLBACK RecordingProc(HWND w, UINT msg, WPARAM, LPARAM lp) {
    if (msg != WM_INITDIALOG) return FALSE;
    Record(w, lp);
    return TRUE;
}

INT_PTR CALLBACK EndingProc(HWND w, UINT msg, WPARAM, LPARAM lp) {
    if (msg != WM_INITDIALOG) return FALSE;
    Record(w, lp);
    EndDialog(w, 42);
    return TRUE;
}

TEST_F(LangFixture, DialogsFromTheFileOrTheModule) {
    HMODULE file = LangFile();
    struct Row {
        const char *name;
        LCID lcid;  // 0: never set
        UINT id;
        const char *caption, *label;
        bool fromFile;
    } rows[] = {
        {"inactive", 0, IDD_MAIN, "Module dialog", "Module", false},
        {"German", kGerman, IDD_MAIN, "Sprachdialog", "Sprache", true},
        {"German, only in module", kGerman, IDD_MODULEONLY, "Module only", "Plain", false},
        {"1033", 1033, IDD_MAIN, "Module dialog", "Module", false},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        if (r.lcid) {
            ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        }
        DialogSeen seen = {};
        HWND w = LxCreateDialogParam(lang_, MAKEINTRESOURCEA(r.id), nullptr, RecordingProc,
                                     (LPARAM)&seen);
        ASSERT_NE(nullptr, w);
        EXPECT_EQ(1, seen.initCount);
        EXPECT_STREQ(r.caption, seen.caption);
        EXPECT_STREQ(r.label, seen.label);
        EXPECT_EQ(r.fromFile ? file : module_, seen.instance);
        DestroyWindow(w);

        DialogSeen modal = {};
        EXPECT_EQ(42, LxDialogBoxParam(lang_, MAKEINTRESOURCEA(r.id), nullptr, EndingProc,
                                       (LPARAM)&modal));
        EXPECT_EQ(1, modal.initCount);
        EXPECT_STREQ(r.caption, modal.caption);
    }
    EXPECT_EQ(nullptr, LxCreateDialogParam(lang_, MAKEINTRESOURCEA(999), nullptr, RecordingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxParam(lang_, MAKEINTRESOURCEA(999), nullptr, EndingProc, 0));
}

// An empty popup dialog template, DWORD aligned.
struct EmptyTemplate {
    DLGTEMPLATE head;
    WORD menu, cls, title;
    WORD pad;
};

TEST_F(LangFixture, IndirectDialogsAndTheirInstance) {
    alignas(4) EmptyTemplate t = {};
    t.head.style = WS_POPUP;
    t.head.cx = 50;
    t.head.cy = 20;
    HMODULE file = LangFile();
    struct Row {
        LCID lcid;
        HMODULE createdOn, modalOn;
    } rows[] = {{0, module_, module_}, {kGerman, file, module_}, {1033, module_, module_}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.lcid);
        if (r.lcid) {
            ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        }
        DialogSeen seen = {};
        HWND w = LxCreateDialogIndirectParam(lang_, &t.head, nullptr, RecordingProc, (LPARAM)&seen);
        ASSERT_NE(nullptr, w);
        EXPECT_EQ(r.createdOn, seen.instance);
        DestroyWindow(w);
        DialogSeen modal = {};
        EXPECT_EQ(42, LxDialogBoxIndirectParam(lang_, &t.head, nullptr, EndingProc, (LPARAM)&modal));
        EXPECT_EQ(r.modalOn, modal.instance) << "never the language file";
    }
    EXPECT_EQ(nullptr, LxCreateDialogIndirectParam(lang_, nullptr, nullptr, RecordingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxIndirectParam(lang_, nullptr, nullptr, EndingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxIndirectParam(nullptr, &t.head, nullptr, EndingProc, 0));
}

SIZE WindowSize(HWND w) {
    RECT r;
    GetWindowRect(w, &r);
    SIZE s = {r.right - r.left, r.bottom - r.top};
    return s;
}

TEST_F(LangFixture, DialogSizeOfTheDialogThatWouldShow) {
    DialogSeen seen = {};
    HWND plain = CreateDialogParamA(module_, MAKEINTRESOURCEA(IDD_MAIN), nullptr, RecordingProc,
                                    (LPARAM)&seen);
    ASSERT_NE(nullptr, plain);
    SIZE expectModule = WindowSize(plain);
    DestroyWindow(plain);
    SIZE got = {};
    seen = DialogSeen();
    EXPECT_TRUE(LxGetDialogSize(lang_, MAKEINTRESOURCEA(IDD_MAIN), RecordingProc, (LPARAM)&seen, &got));
    EXPECT_EQ(1, seen.initCount) << "the caller's procedure and parameter";
    EXPECT_EQ(expectModule.cx, got.cx);
    EXPECT_EQ(expectModule.cy, got.cy);

    German();
    HRSRC res = FindResourceExA(LangFile(), (LPCSTR)RT_DIALOG, MAKEINTRESOURCEA(IDD_MAIN), kGerman);
    ASSERT_NE(nullptr, res);
    HWND translated = CreateDialogIndirectParamA(
        LangFile(), (LPCDLGTEMPLATEA)LockResource(LoadResource(LangFile(), res)), nullptr,
        RecordingProc, (LPARAM)&seen);
    ASSERT_NE(nullptr, translated);
    SIZE expectFile = WindowSize(translated);
    DestroyWindow(translated);
    EXPECT_TRUE(LxGetDialogSize(lang_, MAKEINTRESOURCEA(IDD_MAIN), RecordingProc, (LPARAM)&seen, &got));
    EXPECT_EQ(expectFile.cx, got.cx);
    EXPECT_EQ(expectFile.cy, got.cy);
    EXPECT_GT(expectFile.cx, expectModule.cx);  // 200 against 100 dialog units

    EXPECT_EQ(nullptr, FindWindowA(nullptr, "Sprachdialog")) << "the measured dialog is gone";
    got.cx = got.cy = 7;
    EXPECT_FALSE(LxGetDialogSize(lang_, MAKEINTRESOURCEA(999), RecordingProc, 0, &got));
    EXPECT_EQ(7, got.cx);
    EXPECT_FALSE(LxGetDialogSize(lang_, MAKEINTRESOURCEA(IDD_MAIN), RecordingProc, 0, nullptr));
    EXPECT_FALSE(LxGetDialogSize(nullptr, MAKEINTRESOURCEA(IDD_MAIN), RecordingProc, 0, &got));
}

// ---- Conversions -------------------------------------------------------------------------

TEST_F(LangFixture, WideAndPrintThroughTheRing) {
    const std::string open = Acp(L"\u00D6ffnen");
    struct Row {
        const char *text;
        const wchar_t *wide;
    } rows[] = {{"Hello", L"Hello"}, {"", L""}, {open.c_str(), L"\u00D6ffnen"}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.text);
        char *next = LxGetStringBuffer(lang_, 0);
        WCHAR *w = LxGetWideFromPrintString(lang_, r.text);
        EXPECT_EQ((void *)(next + 4), (void *)w);
        EXPECT_STREQ(r.wide, w);
        char *a = LxGetPrintFromWideString(lang_, r.wide);
        // (position + 2 * length + 4) & ~3
        EXPECT_EQ((char *)w + ((2 * wcslen(r.wide) + 4) & ~(size_t)3), a);
        EXPECT_STREQ(r.text, a);
    }
    EXPECT_STREQ(L"", LxGetWideFromPrintString(lang_, nullptr));
    EXPECT_STREQ("", LxGetPrintFromWideString(lang_, nullptr));
    const char *text = "as it is";
    EXPECT_EQ(text, LxGetMultiByteFromPrintString(lang_, text));
    EXPECT_EQ(text, LxGetPrintFromMultiByteString(lang_, text));
    EXPECT_EQ(text, LxGetPrintFromMultiByteString(nullptr, text));
}

TEST(LangConversions, LongTextsAreCutToTheRoom) {
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 2048));
    const std::string text = LongText(1500);
    std::wstring wide(text.begin(), text.end());
    char *base = LxGetStringBuffer(h, 1020);  // next at 1024: 1024 bytes of room
    WCHAR *w = LxGetWideFromPrintString(h, text.c_str());
    EXPECT_EQ((void *)(base + 1024), (void *)w);
    EXPECT_EQ(wide.substr(0, 511), w);
    char *a = LxGetPrintFromWideString(h, wide.c_str());  // starts over: 2048 of room
    EXPECT_EQ(base, a);
    EXPECT_EQ(text, a);
    LxLang_Close(h);
}

// ---- String tables ------------------------------------------------------------------------

const char *const kDefaults[] = {
    "dSave", "dOpen", "dModuleOnly", "dModuleMark", "dLong", "dLangOnly", "dJustMark", "dNone",
    nullptr, "",
};
const LONG kDefaultCount = sizeof kDefaults / sizeof kDefaults[0];

TEST(LangTables, OverlapRefusals) {
    struct Row {
        const char *name;
        UINT first;
        LONG count;
        HRESULT hr;
    } rows[] = {
        {"same range", 100, 10, E_INVALIDARG},
        {"first inside", 105, 10, E_INVALIDARG},
        {"end inside", 95, 10, E_INVALIDARG},
        {"adjacent before: end id is the old first", 90, 10, E_INVALIDARG},
        {"adjacent after", 110, 5, S_OK},
        {"well before", 80, 10, S_OK},
        {"surrounding is not seen", 50, 100, S_OK},
        {"inside entirely", 102, 2, E_INVALIDARG},
        {"count 0", 200, 0, E_INVALIDARG},
        {"negative count", 200, -3, E_INVALIDARG},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        HLXLANG h = nullptr;
        ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 0));
        ASSERT_EQ(S_OK, LxLang_AddStringTable(h, kDefaults, 10, 100));
        EXPECT_EQ(r.hr, LxLang_AddStringTable(h, kDefaults, r.count, r.first));
        LxLang_Close(h);
    }
    EXPECT_EQ(E_INVALIDARG, LxLang_AddStringTable(nullptr, kDefaults, 10, 100));
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 0));
    EXPECT_EQ(E_INVALIDARG, LxLang_AddStringTable(h, nullptr, 10, 100));
    LxLang_Close(h);
}

TEST(LangTables, WithoutLanguageFileTheDefaultsThemselves) {
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 0));
    EXPECT_EQ(nullptr, LxGetString2(h, 100)) << "no tables yet";
    ASSERT_EQ(S_OK, LxLang_AddStringTable(h, kDefaults, kDefaultCount, 100));
    for (LONG i = 0; i < kDefaultCount; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(kDefaults[i], LxGetString2(h, 100 + (UINT)i));
    }
    EXPECT_STREQ("LxGetString2(uId=110, ERROR)", LxGetString2(h, 110));
    EXPECT_STREQ("LxGetString2(uId=99, ERROR)", LxGetString2(h, 99));
    EXPECT_STREQ("LxGetString2(uId=-1, ERROR)", LxGetString2(h, 0xFFFFFFFFu));
    char buf[8];
    EXPECT_EQ(8, LxLoadString2(h, 100, buf, sizeof buf));
    EXPECT_STREQ("dSave", buf);
    EXPECT_EQ(3, LxLoadString2(h, 101, buf, 3));
    EXPECT_STREQ("dO", buf);
    EXPECT_EQ(0, LxLoadString2(h, 108, buf, sizeof buf));  // null default
    EXPECT_STREQ("", buf);
    EXPECT_EQ(S_OK, LxLang_DestroyStringTables(h));
    EXPECT_EQ(nullptr, LxGetString2(h, 100));
    EXPECT_EQ(0, LxLoadString2(h, 100, buf, sizeof buf));
    EXPECT_EQ(nullptr, LxGetString2(nullptr, 100));
    EXPECT_EQ(E_INVALIDARG, LxLang_DestroyStringTables(nullptr));
    LxLang_Close(h);
}

TEST_F(LangFixture, WithLanguageFileLoadedCopiesAreCached) {
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    German();
    struct Row {
        UINT id;
        const char *text;  // null: no text at all
        bool isDefault;
    } rows[] = {
        {IDS_SAVE, "Speichern", false},
        {IDS_MODULEONLY, "Only in module", false},
        {IDS_MODULEMARK, "Marked in module", false},
        {IDS_LANGONLY, "Nur Sprache", false},
        {IDS_JUSTMARK, "dJustMark", true},  // the mark leaves nothing: the default
        {107, "dNone", true},
        {108, nullptr, false},
        {109, "", true},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.id);
        const char *s = LxGetString2(lang_, r.id);
        if (!r.text) {
            EXPECT_EQ(nullptr, s);
            continue;
        }
        ASSERT_NE(nullptr, s);
        EXPECT_STREQ(r.text, s);
        EXPECT_NE(kDefaults[r.id - 100], s) << "a copy, never the default itself";
        EXPECT_EQ(s, LxGetString2(lang_, r.id)) << "the cached copy again";
    }
    // The cache lasts as long as the table, whatever the language does.
    English();
    EXPECT_STREQ("Speichern", LxGetString2(lang_, IDS_SAVE));
    const std::string full = LongText(IDS_LONG_LENGTH);
    EXPECT_EQ("Long", std::string(LxGetString2(lang_, IDS_LONG)));
    EXPECT_EQ(S_OK, LxLang_DestroyStringTables(lang_));
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    EXPECT_STREQ("Save", LxGetString2(lang_, IDS_SAVE)) << "a new table loads afresh";
    German();
    EXPECT_EQ(full.substr(0, 1024), LxGetString2(lang_, IDS_LONG)) << "1024 characters at most";
}

TEST_F(LangFixture, InactiveFileStillMakesACache) {
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    const char *s = LxGetString2(lang_, IDS_SAVE);
    EXPECT_STREQ("Save", s);
    EXPECT_NE(kDefaults[0], s);
    EXPECT_STREQ("dLangOnly", LxGetString2(lang_, IDS_LANGONLY));
}

// ---- The kernel's own block and the international record ---------------------------------------

TEST_F(LangFixture, KernelBlockHoldsTheKernelTable) {
    ASSERT_NE(nullptr, g_hKernelLang);
    // No language file beside the test program: the defaults themselves.
    for (UINT id : {4000u, 4305u, 4308u, 4433u}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(g_KernelStringDefaults[id - LXKERNEL_STRINGS_FIRST], LxGetString2(g_hKernelLang, id));
    }
    EXPECT_STREQ("LxGetString2(uId=4434, ERROR)", LxGetString2(g_hKernelLang, 4434));
    EXPECT_STREQ("LxGetString2(uId=3999, ERROR)", LxGetString2(g_hKernelLang, 3999));
}

TEST_F(LangFixture, StartupTokensFromTheKernelTexts) {
    struct Row {
        const char *format, *text;
    } rows[] = {
        {"$(SMPTE.Whole)", ":"},
        {"$(SMPTE.NonDrop)", "."},
        {"$(SMPTE.Drop)", ","},
        {"$(SMPTE.Label.NonDrop)", "hr:mn:sc.fr"},
        {"$(SMPTE.Label.Drop)", "hr:mn:sc,fr"},
        {"$(SMPTE.Label.NonDrop.Full)", "hours:minutes:seconds.frames"},
        {"$(SMPTE.Label.Drop.Full)", "hours:minutes:seconds,frames"},
        {"$(m.b)", "."},
        {"$(b.t)", "."},
        {"$(MusicTime.Label)", "ms.bt.tk"},
        {"$(MusicTime.Label.Full)", "measures.beats.ticks"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.format);
        char out[128];
        EXPECT_EQ((int)strlen(r.text), LxPrintF(out, r.format));
        EXPECT_STREQ(r.text, out);
    }
}

TEST_F(LangFixture, InternationalsCopyTheRecord) {
    BYTE buf[1024];
    memset(buf, 0xCC, sizeof buf);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(buf, sizeof buf));
    DWORD size = 0, lcid = 0;
    memcpy(&size, buf, 4);
    memcpy(&lcid, buf + 4, 4);
    EXPECT_EQ(448u, size);
    EXPECT_EQ(GetSystemDefaultLCID(), lcid);
    for (size_t i = 448; i < sizeof buf; i++) ASSERT_EQ(0, buf[i]) << i;

    BYTE small[12];
    memset(small, 0xCC, sizeof small);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(small, 6));
    memcpy(&size, small, 4);
    EXPECT_EQ(6u, size);
    EXPECT_EQ(0, memcmp(small + 4, buf + 4, 2));
    EXPECT_EQ(0xCC, small[6]);

    memset(small, 0xCC, sizeof small);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(small, 2));
    EXPECT_EQ(2, small[0]);
    EXPECT_EQ(0, small[1]);
    EXPECT_EQ(0xCC, small[2]);
}


}  // namespace
