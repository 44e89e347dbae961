// Languages through MARLOK.DLL as a host sees them: the kernel's block and
// the formatter's start-up tokens exist from attach on, and a block on a
// module with a translation beside it loads texts, dialogs and menus.
#include "kernel/kernel.h"
#include "kernel/lxmenu.h"
#include "kernel/lxprintf.h"
#include "testsupport.h"
#include "tools/fixtures/langfile/langids.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

INT_PTR CALLBACK QuietProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

TEST(LangDll, KernelBlockTokensAndTranslationThroughTheExports) {
    HMODULE module = LoadLibraryA((lxtest::ExeDir() + "langhost.dll").c_str());
    ASSERT_NE(nullptr, module);
    HLXLANG lang = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&lang, module, 0, 0));
    EXPECT_FALSE(LxLang_UpdateKernelLCID(nullptr, 0x0407, 0));
    EXPECT_TRUE(LxLang_ChangeLangInst(lang, nullptr));  // 1 only if the kernel's block exists
    char out[128];
    EXPECT_EQ(28, LxPrintF(out, "$(SMPTE.Label.Drop.Full)"));
    EXPECT_STREQ("hours:minutes:seconds,frames", out);
    EXPECT_EQ(10, LxPrintF(out, "$(smpte.whole)$(b.t)$(MusicTime.Label)"));
    EXPECT_STREQ(":.ms.bt.tk", out);
    const struct { LCID lcid; const char *text, *caption, *menu; } rows[] = {
        {0x0407, "Speichern", "Sprachdialog", "&Neu"}, {1033, "Save", "Module dialog", "&New"}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.lcid);
        ASSERT_TRUE(LxLang_UpdateKernelLCID(lang, r.lcid, 0));
        EXPECT_EQ((int)strlen(r.text), LxLoadString(lang, IDS_SAVE, out, sizeof out));
        EXPECT_STREQ(r.text, out);
        EXPECT_STREQ(r.text, LxGetString(lang, IDS_SAVE));
        HWND w = LxCreateDialogParam(lang, MAKEINTRESOURCEA(IDD_MAIN), nullptr, QuietProc, 0);
        ASSERT_NE(nullptr, w);
        GetWindowTextA(w, out, sizeof out);
        EXPECT_STREQ(r.caption, out);
        DestroyWindow(w);
        HMENU m = LxLoadMenu(lang, MAKEINTRESOURCEA(IDM_MAIN));
        ASSERT_NE(nullptr, m);
        GetMenuStringA(m, CMD_NEW, out, sizeof out, MF_BYCOMMAND);
        EXPECT_STREQ(r.menu, out);
        DestroyMenu(m);
    }
    LxLang_Close(lang);
    FreeLibrary(module);
}

}  // namespace
