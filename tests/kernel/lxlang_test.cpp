// Language blocks against a real language file: lookup order, language mark,
// the ring, string tables, conversions, dialogs, resources and images, the
// user's language and the international record with its tokens.
#include "langfixture.h"
#include "kernel/kernelstrings.h"
#include "kernel/lxprintf.h"

#include <cstring>
#include <string>

using langtest::Acp;
using langtest::kGerman;
using langtest::LangFixture;
using langtest::Text;

namespace {

std::string LongText(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; i++) s += (char)('a' + i % 26);
    return s;
}

// A block on the test program, which has no language file beside it.
struct Bare {
    explicit Bare(LONG ring = 0, LCID lcid = 0) {
        EXPECT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), lcid, ring));
    }
    ~Bare() { LxLang_Close(h); }
    HLXLANG h = nullptr;
};

// Steps through the ring with empty pieces: the last offset handed out
// before the position starts over.
LONG LastOffsetBeforeWrap(HLXLANG h) {
    char *base = LxGetStringBuffer(h, 0);
    for (LONG last = 0, i = 0; i < 5000; i++) {
        char *p = LxGetStringBuffer(h, 0);
        if (p == base) return last;
        last = (LONG)(p - base);
    }
    return -1;
}

TEST(LangRing, SizeRule) {
    // The last offset is the ring size less the 1024 reserve.
    const LONG rows[][2] = {{0, 8192 - 1024}, {100, 2048 - 1024}, {-1, 2048 - 1024},
                            {3000, 3000 - 1024}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r[0]);
        EXPECT_EQ(r[1], LastOffsetBeforeWrap(Bare(r[0]).h));
        Bare b(r[0]);  // the reserve is there even at the last place
        char *base = LxGetStringBuffer(b.h, r[1] - 4);
        char *tail = LxGetStringBuffer(b.h, 1024);
        ASSERT_EQ(base + r[1], tail);
        memset(tail, 'x', 1024);
    }
}

TEST(LangRing, PositionRuleAndRefusals) {
    Bare b(2048);
    char *base = LxGetStringBuffer(b.h, 100);  // next: (0 + 100 + 4) & ~3 = 104
    const LONG rows[][2] = {
        {1, 104},    // next: 108
        {912, 108},  // next: 1024, exactly size less reserve
        {5, 1024},   // not above it: stays; next 1032
        {5, 0},      // above: starts over
        {3, 8},      // (0 + 5 + 4) & ~3
    };
    for (const auto &r : rows) EXPECT_EQ(base + r[1], LxGetStringBuffer(b.h, r[0])) << r[0];
    EXPECT_EQ(nullptr, LxGetStringBuffer(nullptr, 10));
    EXPECT_EQ(nullptr, LxGetStringBuffer(b.h, -1));
    EXPECT_EQ(nullptr, LxGetStringBuffer(b.h, 2049));
    LxGetStringBuffer(b.h, 1008);  // from 12 to 1024
    // 2000 bytes don't fit behind 1024: the piece starts the ring over.
    EXPECT_EQ(base, LxGetStringBuffer(b.h, 2000));
    EXPECT_EQ(base, LxGetStringBuffer(b.h, 0)) << "(0 + 2000 + 4) & ~3 = 2004 is above 1024";
}

TEST(LangOpen, RefusalsAndNulls) {
    EXPECT_EQ(E_INVALIDARG, LxLang_Open(nullptr, nullptr, 0, 0));
    EXPECT_EQ(S_OK, LxLang_Close(nullptr));
    EXPECT_EQ(nullptr, LxLang_InstFromLang(nullptr));
    EXPECT_EQ(0u, LxLang_GetLCID(nullptr));
    char buf[8] = "x";
    EXPECT_FALSE(LxLang_GetLangAbbrev(nullptr, buf, sizeof buf));
    EXPECT_STREQ("", LxGetString(nullptr, 100));
    EXPECT_STREQ(L"", LxGetWideFromPrintString(nullptr, "x"));
    EXPECT_STREQ("", LxGetPrintFromWideString(nullptr, L"x"));
    EXPECT_EQ(Text(buf, LxLoadString(nullptr, 100, buf, sizeof buf)), "");
    const LPCSTR one = MAKEINTRESOURCEA(1);
    EXPECT_EQ(nullptr, LxCreateDialogParam(nullptr, one, nullptr, nullptr, 0));
    EXPECT_EQ(-1, LxDialogBoxParam(nullptr, one, nullptr, nullptr, 0));
    EXPECT_EQ(nullptr, LxLoadAccelerators(nullptr, one));
    EXPECT_EQ(nullptr, LxFindResource(nullptr, one, (LPCSTR)RT_DIALOG));
    EXPECT_EQ(nullptr, LxLoadResource(nullptr, nullptr));
    EXPECT_EQ(0u, LxSizeofResource(nullptr, nullptr));
    EXPECT_EQ(nullptr, LxLoadResourceCustom(nullptr, one, "X", nullptr));
    EXPECT_EQ(nullptr, LxFindResInstance(nullptr, one, (LPCSTR)RT_DIALOG));
    EXPECT_EQ(0, LxEnumResourceLanguages(nullptr, one, buf, sizeof buf));
    EXPECT_EQ(0x040Cu, LxLang_GetLCID(Bare(0, 0x040C).h));
    EXPECT_EQ(Lang_GetSystemLCID(), LxLang_GetLCID(Bare().h)) << "0 is the system's language";
}

TEST_F(LangFixture, StringLookupOrder) {
    const struct { const char *name; LCID lcid; UINT id; const char *text; } rows[] = {
        {"inactive until a language is set", 0, IDS_SAVE, "Save"},
        {"inactive: translation-only id", 0, IDS_LANGONLY, ""},
        {"German: marked translation", kGerman, IDS_SAVE, "Speichern"},
        {"German: empty slot falls back", kGerman, IDS_MODULEONLY, "Only in module"},
        {"German: module's own mark goes too", kGerman, IDS_MODULEMARK, "Marked in module"},
        {"German: bundle missing in the file", kGerman, IDS_OTHERBUNDLE, "Other bundle"},
        {"German: only in the translation", kGerman, IDS_LANGONLY, "Nur Sprache"},
        {"German: nothing but the mark", kGerman, IDS_JUSTMARK, ""},
        {"German: in neither", kGerman, 107, ""},
        {"1033 ignores the file", 1033, IDS_SAVE, "Save"},
        {"British English ignores the file", 0x0809, IDS_SAVE, "Save"},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Use(r.lcid);
        char buf[256];
        memset(buf, 0x55, sizeof buf);
        EXPECT_EQ(Text(buf, LxLoadString(lang_, r.id, buf, sizeof buf)), r.text);
        EXPECT_STREQ(r.text, LxGetString(lang_, r.id));
    }
    // Cut to the buffer first, then the mark goes: "^*Sp" gives "Sp".
    const struct { UINT id; int size; const char *text; } cuts[] = {
        {IDS_SAVE, 5, "Sp"}, {IDS_SAVE, 3, ""}, {IDS_OTHERBUNDLE, 6, "Other"}, {IDS_SAVE, 1, ""}};
    German();
    for (const auto &r : cuts) {
        SCOPED_TRACE(testing::Message() << r.id << "/" << r.size);
        char buf[32];
        memset(buf, 0x55, sizeof buf);
        EXPECT_EQ(Text(buf, LxLoadString(lang_, r.id, buf, r.size)), r.text);
        EXPECT_EQ(0x55, (BYTE)buf[r.size]) << "wrote past the buffer";
    }
    char buf[4] = "abc";
    EXPECT_EQ(0, LxLoadString(lang_, IDS_SAVE, buf, 0));
    EXPECT_STREQ("abc", buf);
    EXPECT_EQ(0, LxLoadString(lang_, IDS_SAVE, nullptr, 10));
}

TEST_F(LangFixture, RingTextsFollowTheRuleAndAreCutToTheRoomLeft) {
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

    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, module_, kGerman, 2048));
    ASSERT_TRUE(LxLang_UpdateKernelLCID(h, kGerman, 0));
    const std::string full = LongText(IDS_LONG_LENGTH);
    const char *first = LxGetString(h, IDS_LONG);  // the whole ring is room
    EXPECT_EQ(full, first);
    EXPECT_EQ(first, LxGetStringBuffer(h, 1020)) << "1500 + 4 is above 1024: starts over";
    const char *cut = LxGetString(h, IDS_LONG);  // at 1024, 1024 bytes of room
    EXPECT_EQ(first + 1024, cut);
    EXPECT_EQ(full.substr(0, 1023), cut);
    EXPECT_EQ(first, LxGetString(h, IDS_SAVE)) << "(1024 + 1023 + 4) & ~3 = 2048";
    LxLang_Close(h);
}

TEST_F(LangFixture, UpdateKernelLcidSetsBothBlocks) {
    HMODULE file = LangFile();
    ASSERT_NE(nullptr, file);
    ASSERT_NE(module_, file);
    EXPECT_EQ(module_, LxLang_InstFromLang(lang_)) << "not active before a language is set";
    const struct { LCID in, stored; bool active; const char *abbrev; } rows[] = {
        {kGerman, kGerman, true, "DEU"}, {0, 1033, false, "ENU"}, {0x040C, 0x040C, true, "FRA"},
        {0x0809, 0x0809, false, "ENG"}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.in);
        EXPECT_TRUE(LxLang_UpdateKernelLCID(lang_, r.in, 0));
        EXPECT_EQ(r.stored, LxLang_GetLCID(lang_));
        EXPECT_EQ(r.stored, LxLang_GetLCID(g_hKernelLang));
        EXPECT_EQ(r.active ? file : module_, LxLang_InstFromLang(lang_));
        // The kernel's block has no file of its own: always its module.
        EXPECT_EQ(GetModuleHandleA(nullptr), LxLang_InstFromLang(g_hKernelLang));
        char abbrev[16] = "?";
        EXPECT_TRUE(LxLang_GetLangAbbrev(lang_, abbrev, sizeof abbrev));
        EXPECT_STREQ(r.abbrev, abbrev);
    }
    EXPECT_FALSE(LxLang_UpdateKernelLCID(nullptr, kGerman, 0));
    HLXLANG kernel = g_hKernelLang;
    g_hKernelLang = nullptr;
    EXPECT_FALSE(LxLang_UpdateKernelLCID(lang_, kGerman, 0));
    g_hKernelLang = kernel;
    EXPECT_EQ(kGerman, LxLang_GetLCID(lang_)) << "the given block is still set";
}

TEST(LangSettings, EnglishAndLangId) {
    // Primary language 9 in the low 10 bits.
    for (LCID lcid : {0x0409, 0x0809, 0x0009, 0x10409})
        EXPECT_TRUE(LxLang_IsLCIDEnglish(lcid)) << lcid;
    for (LCID lcid : {0x0407, 0x0000, 0x0209, 0x0449})
        EXPECT_FALSE(LxLang_IsLCIDEnglish(lcid)) << lcid;
    const struct { const char *in; int length; const char *kept; } rows[] = {
        {"DEU", 3, "DEU"}, {"FRAX", 3, "FRA"}, {"D", 1, "D"}, {"", 3, "ENU"}, {nullptr, 3, "ENU"}};
    for (const auto &r : rows) {
        EXPECT_EQ(r.length, LxSetLangID(r.in));
        EXPECT_STREQ(r.kept, Lang_GetLangID());
    }
}

class LangUserMetric : public ::testing::Test {
protected:
    void TearDown() override { lxtest::DeleteProductKeys(product_); }
    std::string KeyPath(const char *version) {
        return "Software\\Velmora\\" + product_ + "\\" + version + "\\Lang";
    }
    const std::string product_ = lxtest::UniqueName("LangTest");
};

TEST_F(LangUserMetric, SaveKeepsLow16BitsLoadGivesDefaultSublanguage) {
    const struct { DWORD version; const char *path; LCID saved, stored, loaded; } rows[] = {
        {0x060000DB, "6.0", 0x12340409, 0x0409, 0x0409},
        {0x0A0B0001, "10.11", 0x0C0C, 0x0C0C, 0x040C}, {0x060000DB, "6.0", 0xFFFF, 0xFFFF, 0x07FF}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.saved);
        ASSERT_EQ(S_OK, LxLang_SaveUserLCIDMetric(product_.c_str(), r.version, r.saved));
        DWORD value = 0, type = 0, cb = sizeof value;
        EXPECT_EQ(ERROR_SUCCESS, RegGetValueA(HKEY_LOCAL_MACHINE, KeyPath(r.path).c_str(),
                                              "ULangID", RRF_RT_ANY, &type, &value, &cb));
        EXPECT_EQ((DWORD)REG_DWORD, type);
        EXPECT_EQ(r.stored, value);
        LCID lcid = 0;
        EXPECT_TRUE(LxLang_LoadUserLCIDMetric(product_.c_str(), r.version, &lcid));
        EXPECT_EQ(r.loaded, lcid);
    }
    // A value that isn't a DWORD can't be read: 0, and the out value stays.
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyA(HKEY_LOCAL_MACHINE, KeyPath("7.0").c_str(), &key));
    RegSetValueExA(key, "ULangID", 0, REG_SZ, (const BYTE *)"1031", 5);
    RegCloseKey(key);
    LCID lcid = 0x55;
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x07000000, &lcid));
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x08000000, &lcid)) << "no key";
    EXPECT_EQ(0x55u, lcid);
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(nullptr, 0x060000DB, &lcid));
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(product_.c_str(), 0x060000DB, nullptr));
    EXPECT_EQ(E_INVALIDARG, LxLang_SaveUserLCIDMetric(nullptr, 0x060000DB, 1031));
}

TEST_F(LangFixture, ChangeLangInstSetsBothBlocks) {
    HMODULE exe = GetModuleHandleA(nullptr);
    Bare bare;
    EXPECT_FALSE(LxLang_ChangeLangInst(nullptr, module_));
    EXPECT_TRUE(LxLang_ChangeLangInst(bare.h, nullptr));
    ASSERT_TRUE(LxLang_UpdateKernelLCID(bare.h, kGerman, 0));
    EXPECT_EQ(exe, LxLang_InstFromLang(bare.h)) << "no file beside the test program";
    char buf[64];
    EXPECT_EQ(0, LxLoadString(bare.h, IDS_SAVE, buf, sizeof buf));
    HMODULE file = LoadLibraryA(langtest::LangFilePath().c_str());
    ASSERT_NE(nullptr, file);
    EXPECT_TRUE(LxLang_ChangeLangInst(bare.h, file));
    EXPECT_EQ(file, LxLang_InstFromLang(bare.h));
    EXPECT_EQ(file, LxLang_InstFromLang(g_hKernelLang));
    EXPECT_EQ(Text(buf, LxLoadString(bare.h, IDS_SAVE, buf, sizeof buf)), "Speichern");
    LxLang_Close(bare.h);
    bare.h = nullptr;
    // The kernel's block holds a reference of its own.
    EXPECT_EQ(9, LxLoadString(g_hKernelLang, IDS_SAVE, buf, sizeof buf));
    FreeLibrary(file);
}

TEST(LangReferences, EachBlockFreesWhatItHolds) {
    const std::string path = langtest::LangFilePath();
    ASSERT_EQ(nullptr, GetModuleHandleA(path.c_str()));
    ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr)));
    HMODULE file = LoadLibraryA(path.c_str());
    ASSERT_NE(nullptr, file);
    {
        Bare b;
        EXPECT_TRUE(LxLang_ChangeLangInst(b.h, file));
        EXPECT_TRUE(LxLang_ChangeLangInst(b.h, file)) << "the same file again takes nothing more";
    }
    Kernel_ProcessDetach();
    EXPECT_EQ(file, GetModuleHandleA(path.c_str())) << "our own reference still stands";
    FreeLibrary(file);
    EXPECT_EQ(nullptr, GetModuleHandleA(path.c_str())) << "a block kept a reference";
}

TEST_F(LangFixture, ResourcesFollowTheLookupOrder) {
    const LPCSTR data = MAKEINTRESOURCEA(IDR_DATA), dialog = (LPCSTR)RT_DIALOG;
    // Null bytes: not compared.
    const struct { LCID lcid; LPCSTR id, type; const char *bytes; bool fromFile; } rows[] = {
        {0, data, RT_LXDATA, "module", false}, {kGerman, data, RT_LXDATA, "sprache", true},
        {kGerman, MAKEINTRESOURCEA(IDD_MODULEONLY), dialog, nullptr, false},
        {kGerman, MAKEINTRESOURCEA(IDD_MAIN), dialog, nullptr, true},
    };
    for (size_t i = 0; i < sizeof rows / sizeof *rows; i++) {
        SCOPED_TRACE(i);
        const auto &r = rows[i];
        Use(r.lcid);
        HMODULE expected = r.fromFile ? LangFile() : module_;
        EXPECT_EQ(expected, LxFindResInstance(lang_, r.id, r.type));
        HRSRC res = LxFindResource(lang_, r.id, r.type);
        ASSERT_NE(nullptr, res);
        HGLOBAL g = LxLoadResource(lang_, res);
        DWORD size = LxSizeofResource(lang_, res), customSize = 0;
        EXPECT_EQ(SizeofResource(expected, res), size);
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
    // A handle found in the module loads from the module while German is active.
    HRSRC res = FindResourceA(module_, data, RT_LXDATA);
    ASSERT_NE(nullptr, res);
    EXPECT_STREQ("module", (const char *)LockResource(LxLoadResource(lang_, res)));
    EXPECT_EQ(7u, LxSizeofResource(lang_, res));
}

TEST_F(LangFixture, AcceleratorsAndImagesStayTheModules) {
    // The translation's accelerator table is built with a count of 0, which
    // the system refuses, so the module's table is what comes back.
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
    const LPCSTR strip = MAKEINTRESOURCEA(IDB_STRIP);
    for (HANDLE image : {(HANDLE)LxLoadBitmap(lang_, strip),
                         LxLoadImage(lang_, strip, IMAGE_BITMAP, 0, 0, 0)}) {
        BITMAP bm;
        ASSERT_EQ((int)sizeof bm, GetObjectA(image, sizeof bm, &bm));
        EXPECT_EQ(4, bm.bmWidth);  // the translation's is 8 by 8
        EXPECT_EQ(2, bm.bmHeight);
        DeleteObject(image);
    }
    HMODULE cc = LoadLibraryA("COMCTL32.DLL");
    ASSERT_NE(nullptr, cc);
    auto count = (int(WINAPI *)(HIMAGELIST))(void *)GetProcAddress(cc, "ImageList_GetImageCount");
    auto destroy = (BOOL(WINAPI *)(HIMAGELIST))(void *)GetProcAddress(cc, "ImageList_Destroy");
    HIMAGELIST list = LxImageList_LoadImage(lang_, strip, 2, 0, CLR_NONE, IMAGE_BITMAP, 0);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(2, count(list));  // 4 pixels wide in steps of 2
    destroy(list);
    // A null block means the system's resources.
    EXPECT_EQ(LoadIconA(nullptr, (LPCSTR)IDI_APPLICATION),
              LxLoadIcon(nullptr, (LPCSTR)IDI_APPLICATION));
    HBITMAP close = LxLoadBitmap(nullptr, MAKEINTRESOURCEA(32754) /* OBM_CLOSE */);
    EXPECT_NE(nullptr, close);
    DeleteObject(close);
    EXPECT_EQ(nullptr, LxLoadBitmap(nullptr, strip));
}

TEST_F(LangFixture, CursorsSystemRangeOrTheKernelsModule) {
    HMODULE kernel = g_hKernelModule;
    g_hKernelModule = module_;  // so that the kernel's module has a cursor
    const struct { const char *name; HLXLANG h; UINT id; bool found, system; } rows[] = {
        {"null block, size-all", nullptr, 32646, true, true},
        {"null block, kernel's cursor", nullptr, IDR_DOT, true, false},
        {"null block, 0xFFFF", nullptr, 0xFFFF, false, true},
        {"null block, missing", nullptr, 801, false, false},
        {"block, its module's cursor", lang_, IDR_DOT, true, false},
        {"block, no system range", lang_, 32512, false, false},
    };
    for (const auto &r : rows) {
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
    const struct { int size; const char *text; } rows[] = {
        {8, "DEU,FRA"}, {6, "DEU,F"}, {4, "DEU"}, {1, ""}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.size);
        char out[80];
        memset(out, 0x55, sizeof out);
        EXPECT_EQ(Text(out, LxEnumResourceLanguages(lang_, MAKEINTRESOURCEA(IDV_VERSION), out,
                                                    r.size)),
                  r.text);
        EXPECT_EQ(0x55, (BYTE)out[r.size]);
    }
    char out[16] = "x";
    EXPECT_EQ(Text(out, LxEnumResourceLanguages(lang_, MAKEINTRESOURCEA(2), out, 16)), "");
    EXPECT_EQ(0, LxEnumResourceLanguages(Bare().h, MAKEINTRESOURCEA(1), out, sizeof out));
}

struct DialogSeen {
    explicit DialogSeen(bool endAt42 = false) : modal(endAt42) {}
    bool modal;
    char caption[64] = {}, label[64] = {};
    HINSTANCE instance = nullptr;
    int initCount = 0;
};

// Records what WM_INITDIALOG finds into the DialogSeen it is given.
INT_PTR CALLBACK RecordingProc(HWND w, UINT msg, WPARAM, LPARAM lp) {
    DialogSeen *s = (DialogSeen *)lp;
    if (msg != WM_INITDIALOG || !s) return msg == WM_INITDIALOG;
    GetWindowTextA(w, s->caption, sizeof s->caption);
    GetDlgItemTextA(w, IDC_LABEL, s->label, sizeof s->label);
    s->instance = (HINSTANCE)GetWindowLongPtrA(w, GWLP_HINSTANCE);
    s->initCount++;
    if (s->modal) EndDialog(w, 42);
    return TRUE;
}

// LxGetDialogSize measures the dialog LxCreateDialogParam would make.
TEST_F(LangFixture, DialogsAndTheirSizeFromTheFileOrTheModule) {
    const struct { LCID lcid; UINT id; const char *caption, *label; bool fromFile; } rows[] = {
        {0, IDD_MAIN, "Module dialog", "Module", false},  // inactive: never set
        {kGerman, IDD_MAIN, "Sprachdialog", "Sprache", true},
        {kGerman, IDD_MODULEONLY, "Module only", "Plain", false},
    };
    LONG widths[3] = {};
    for (size_t i = 0; i < 3; i++) {
        const auto &r = rows[i];
        SCOPED_TRACE(r.caption);
        Use(r.lcid);
        DialogSeen seen, modal(true), measured;
        HWND w = LxCreateDialogParam(lang_, MAKEINTRESOURCEA(r.id), nullptr, RecordingProc,
                                     (LPARAM)&seen);
        ASSERT_NE(nullptr, w);
        EXPECT_EQ(1, seen.initCount);
        EXPECT_STREQ(r.caption, seen.caption);
        EXPECT_STREQ(r.label, seen.label);
        EXPECT_EQ(r.fromFile ? LangFile() : module_, seen.instance);
        RECT rect = {};
        GetWindowRect(w, &rect);
        DestroyWindow(w);
        SIZE size = {};
        EXPECT_TRUE(LxGetDialogSize(lang_, MAKEINTRESOURCEA(r.id), RecordingProc,
                                    (LPARAM)&measured, &size));
        EXPECT_EQ(rect.right - rect.left, size.cx);
        EXPECT_EQ(rect.bottom - rect.top, size.cy);
        EXPECT_STREQ(r.caption, measured.caption) << "the caller's procedure and parameter";
        widths[i] = size.cx;
        EXPECT_EQ(42, LxDialogBoxParam(lang_, MAKEINTRESOURCEA(r.id), nullptr, RecordingProc,
                                       (LPARAM)&modal));
        EXPECT_EQ(1, modal.initCount);
        EXPECT_STREQ(r.caption, modal.caption);
    }
    EXPECT_GT(widths[1], widths[0]);  // 200 against 100 dialog units
    EXPECT_EQ(nullptr, FindWindowA(nullptr, "Sprachdialog")) << "the measured dialog is gone";
    const LPCSTR missing = MAKEINTRESOURCEA(999), main = MAKEINTRESOURCEA(IDD_MAIN);
    EXPECT_EQ(nullptr, LxCreateDialogParam(lang_, missing, nullptr, RecordingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxParam(lang_, missing, nullptr, RecordingProc, 0));
    SIZE got = {7, 7};
    EXPECT_FALSE(LxGetDialogSize(lang_, missing, RecordingProc, 0, &got));
    EXPECT_EQ(7, got.cx);
    EXPECT_FALSE(LxGetDialogSize(lang_, main, RecordingProc, 0, nullptr));
    EXPECT_FALSE(LxGetDialogSize(nullptr, main, RecordingProc, 0, &got));

    // An empty popup template: created on the file while it's active, but
    // never shown modally from it.
    alignas(4) struct { DLGTEMPLATE head; WORD menu, cls, title, pad; } t = {};
    t.head = {WS_POPUP, 0, 0, 0, 0, 50, 20};
    for (LCID lcid : {(LCID)1033, kGerman}) {
        SCOPED_TRACE(lcid);
        Use(lcid);
        DialogSeen seen, modal(true);
        HWND w = LxCreateDialogIndirectParam(lang_, &t.head, nullptr, RecordingProc, (LPARAM)&seen);
        ASSERT_NE(nullptr, w);
        EXPECT_EQ(lcid == kGerman ? LangFile() : module_, seen.instance);
        DestroyWindow(w);
        EXPECT_EQ(42, LxDialogBoxIndirectParam(lang_, &t.head, nullptr, RecordingProc,
                                               (LPARAM)&modal));
        EXPECT_EQ(module_, modal.instance);
    }
    EXPECT_EQ(nullptr, LxCreateDialogIndirectParam(lang_, nullptr, nullptr, RecordingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxIndirectParam(lang_, nullptr, nullptr, RecordingProc, 0));
    EXPECT_EQ(-1, LxDialogBoxIndirectParam(nullptr, &t.head, nullptr, RecordingProc, 0));
}

TEST_F(LangFixture, WideAndPrintThroughTheRing) {
    const std::string open = Acp(L"\u00D6ffnen");
    const struct { const char *text; const wchar_t *wide; } rows[] = {
        {"Hello", L"Hello"}, {"", L""}, {open.c_str(), L"\u00D6ffnen"}};
    for (const auto &r : rows) {
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
    EXPECT_EQ(text, LxGetPrintFromMultiByteString(nullptr, text));
    // Long texts are cut to the room left.
    Bare b(2048);
    const std::string longText = LongText(1500);
    const std::wstring wide(longText.begin(), longText.end());
    char *base = LxGetStringBuffer(b.h, 1020);  // next at 1024: 1024 bytes of room
    WCHAR *w = LxGetWideFromPrintString(b.h, longText.c_str());
    EXPECT_EQ((void *)(base + 1024), (void *)w);
    EXPECT_EQ(wide.substr(0, 511), w);
    char *a = LxGetPrintFromWideString(b.h, wide.c_str());  // starts over: 2048 of room
    EXPECT_EQ(base, a);
    EXPECT_EQ(longText, a);
}

const char *const kDefaults[] = {"dSave", "dOpen", "dModuleOnly", "dModuleMark", "dLong",
                                 "dLangOnly", "dJustMark", "dNone", nullptr, ""};
const LONG kDefaultCount = sizeof kDefaults / sizeof kDefaults[0];

TEST(LangTables, OverlapRefusals) {
    const struct { const char *name; UINT first; LONG count; HRESULT hr; } rows[] = {
        {"same range", 100, 10, E_INVALIDARG}, {"first inside", 105, 10, E_INVALIDARG},
        {"end inside", 95, 10, E_INVALIDARG}, {"adjacent after", 110, 5, S_OK},
        {"adjacent before: end id is the old first", 90, 10, E_INVALIDARG},
        {"surrounding is not seen", 50, 100, S_OK},
        {"count 0", 200, 0, E_INVALIDARG}, {"negative count", 200, -3, E_INVALIDARG},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Bare b;
        ASSERT_EQ(S_OK, LxLang_AddStringTable(b.h, kDefaults, 10, 100));
        EXPECT_EQ(r.hr, LxLang_AddStringTable(b.h, kDefaults, r.count, r.first));
    }
    EXPECT_EQ(E_INVALIDARG, LxLang_AddStringTable(nullptr, kDefaults, 10, 100));
    EXPECT_EQ(E_INVALIDARG, LxLang_AddStringTable(Bare().h, nullptr, 10, 100));
}

TEST(LangTables, WithoutLanguageFileTheDefaultsThemselves) {
    Bare b;
    EXPECT_EQ(nullptr, LxGetString2(b.h, 100)) << "no tables yet";
    ASSERT_EQ(S_OK, LxLang_AddStringTable(b.h, kDefaults, kDefaultCount, 100));
    for (LONG i = 0; i < kDefaultCount; i++)
        EXPECT_EQ(kDefaults[i], LxGetString2(b.h, 100 + (UINT)i)) << i;
    EXPECT_STREQ("LxGetString2(uId=110, ERROR)", LxGetString2(b.h, 110));
    EXPECT_STREQ("LxGetString2(uId=99, ERROR)", LxGetString2(b.h, 99));
    EXPECT_STREQ("LxGetString2(uId=-1, ERROR)", LxGetString2(b.h, 0xFFFFFFFFu));
    char buf[8];
    EXPECT_EQ(8, LxLoadString2(b.h, 100, buf, sizeof buf));
    EXPECT_STREQ("dSave", buf);
    EXPECT_EQ(3, LxLoadString2(b.h, 101, buf, 3));
    EXPECT_STREQ("dO", buf);
    EXPECT_EQ(0, LxLoadString2(b.h, 108, buf, sizeof buf));  // null default
    EXPECT_STREQ("", buf);
    EXPECT_EQ(S_OK, LxLang_DestroyStringTables(b.h));
    EXPECT_EQ(nullptr, LxGetString2(b.h, 100));
    EXPECT_EQ(0, LxLoadString2(b.h, 100, buf, sizeof buf));
    EXPECT_EQ(nullptr, LxGetString2(nullptr, 100));
    EXPECT_EQ(E_INVALIDARG, LxLang_DestroyStringTables(nullptr));
}

TEST_F(LangFixture, WithLanguageFileLoadedCopiesAreCached) {
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    // Inactive, the file still makes a cache.
    const char *save = LxGetString2(lang_, IDS_SAVE);
    EXPECT_STREQ("Save", save);
    EXPECT_NE(kDefaults[0], save);
    EXPECT_STREQ("dLangOnly", LxGetString2(lang_, IDS_LANGONLY));
    ASSERT_EQ(S_OK, LxLang_DestroyStringTables(lang_));
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    German();
    const struct { UINT id; const char *text; } rows[] = {{IDS_SAVE, "Speichern"},
        {IDS_MODULEONLY, "Only in module"}, {IDS_MODULEMARK, "Marked in module"},
        {IDS_LANGONLY, "Nur Sprache"}, {IDS_JUSTMARK, "dJustMark"},  // the mark leaves nothing
        {107, "dNone"}, {109, ""}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.id);
        const char *s = LxGetString2(lang_, r.id);
        ASSERT_NE(nullptr, s);
        EXPECT_STREQ(r.text, s);
        EXPECT_NE(kDefaults[r.id - 100], s) << "a copy, never the default itself";
        EXPECT_EQ(s, LxGetString2(lang_, r.id)) << "the cached copy again";
    }
    EXPECT_EQ(nullptr, LxGetString2(lang_, 108)) << "no text at all";
    // The cache lasts as long as the table, whatever the language does.
    English();
    EXPECT_STREQ("Speichern", LxGetString2(lang_, IDS_SAVE));
    EXPECT_STREQ("Long", LxGetString2(lang_, IDS_LONG));
    EXPECT_EQ(S_OK, LxLang_DestroyStringTables(lang_));
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, kDefaultCount, 100));
    EXPECT_STREQ("Save", LxGetString2(lang_, IDS_SAVE)) << "a new table loads afresh";
    German();
    EXPECT_EQ(LongText(IDS_LONG_LENGTH).substr(0, 1024), LxGetString2(lang_, IDS_LONG))
        << "1024 characters at most";
}

TEST_F(LangFixture, KernelBlockTableAndStartupTokens) {
    ASSERT_NE(nullptr, g_hKernelLang);
    // No language file beside the test program: the defaults themselves.
    for (UINT id : {4000u, 4305u, 4308u, 4433u}) {
        EXPECT_EQ(g_KernelStringDefaults[id - LXKERNEL_STRINGS_FIRST],
                  LxGetString2(g_hKernelLang, id)) << id;
    }
    const char *const rows[][2] = {
        {"$(SMPTE.Whole)", ":"}, {"$(SMPTE.NonDrop)", "."}, {"$(SMPTE.Drop)", ","},
        {"$(SMPTE.Label.NonDrop)", "hr:mn:sc.fr"}, {"$(SMPTE.Label.Drop)", "hr:mn:sc,fr"},
        {"$(SMPTE.Label.NonDrop.Full)", "hours:minutes:seconds.frames"},
        {"$(SMPTE.Label.Drop.Full)", "hours:minutes:seconds,frames"},
        {"$(m.b)", "."}, {"$(b.t)", "."}, {"$(MusicTime.Label)", "ms.bt.tk"},
        {"$(MusicTime.Label.Full)", "measures.beats.ticks"},
    };
    for (const auto &r : rows) {
        char out[128];
        EXPECT_EQ(Text(out, LxPrintF(out, r[0])), r[1]) << r[0];
    }
}

TEST_F(LangFixture, InternationalsCopyTheRecord) {
    BYTE buf[1024];
    memset(buf, 0xCC, sizeof buf);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(buf, sizeof buf));
    DWORD head[2] = {};
    memcpy(head, buf, sizeof head);
    EXPECT_EQ(448u, head[0]);
    EXPECT_EQ(GetSystemDefaultLCID(), head[1]);
    for (size_t i = 448; i < sizeof buf; i++) ASSERT_EQ(0, buf[i]) << i;
    BYTE small[12];
    memset(small, 0xCC, sizeof small);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(small, 6));
    EXPECT_EQ(0, memcmp(small, "\x06\0\0\0", 4));
    EXPECT_EQ(0, memcmp(small + 4, buf + 4, 2));
    EXPECT_EQ(0xCC, small[6]);
    memset(small, 0xCC, sizeof small);
    EXPECT_EQ(S_OK, LxLang_GetInternationals(small, 2));
    EXPECT_EQ(0, memcmp(small, "\x02\0\xCC", 3));
}

}  // namespace
