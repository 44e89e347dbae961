// Languages through MARLOK.DLL as a host sees them: the kernel's own block
// exists from attach on, a block on a module with a translation beside it
// loads translated texts, dialogs and menus through the exports, and the
// formatter's start-up tokens were built at attach from the kernel's texts.
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

class LangDll : public ::testing::Test {
protected:
    void SetUp() override {
        module_ = LoadLibraryA((lxtest::ExeDir() + "langhost.dll").c_str());
        ASSERT_NE(nullptr, module_);
        ASSERT_EQ(S_OK, LxLang_Open(&lang_, module_, 0, 0));
    }
    void TearDown() override {
        LxLang_UpdateKernelLCID(lang_, 1033, 0);
        LxLang_Close(lang_);
        FreeLibrary(module_);
    }
    HMODULE module_ = nullptr;
    HLXLANG lang_ = nullptr;
};

TEST_F(LangDll, KernelBlockIsThereFromAttach) {
    // 1 only if both the given block and the kernel's exist.
    EXPECT_TRUE(LxLang_UpdateKernelLCID(lang_, 0x0407, 0));
    EXPECT_FALSE(LxLang_UpdateKernelLCID(nullptr, 0x0407, 0));
    EXPECT_TRUE(LxLang_ChangeLangInst(lang_, nullptr));
}

TEST_F(LangDll, TranslationThroughTheExports) {
    struct Row {
        LCID lcid;
        const char *text, *caption, *menu;
    } rows[] = {
        {0x0407, "Speichern", "Sprachdialog", "&Neu"},
        {1033, "Save", "Module dialog", "&New"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.lcid);
        ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        char buf[64];
        EXPECT_EQ((int)strlen(r.text), LxLoadString(lang_, IDS_SAVE, buf, sizeof buf));
        EXPECT_STREQ(r.text, buf);
        EXPECT_STREQ(r.text, LxGetString(lang_, IDS_SAVE));

        HWND w = LxCreateDialogParam(lang_, MAKEINTRESOURCEA(IDD_MAIN), nullptr, QuietProc, 0);
        ASSERT_NE(nullptr, w);
        char caption[64] = {0};
        GetWindowTextA(w, caption, sizeof caption);
        EXPECT_STREQ(r.caption, caption);
        DestroyWindow(w);

        HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_MAIN));
        ASSERT_NE(nullptr, m);
        char item[64] = {0};
        GetMenuStringA(m, CMD_NEW, item, sizeof item, MF_BYCOMMAND);
        EXPECT_STREQ(r.menu, item);
        DestroyMenu(m);
    }
}

TEST(LangDllTokens, StartupTokensExistAfterAttach) {
    struct Row {
        const char *format, *text;
    } rows[] = {
        {"$(SMPTE.Label.NonDrop)", "hr:mn:sc.fr"},
        {"$(SMPTE.Label.Drop.Full)", "hours:minutes:seconds,frames"},
        {"$(MusicTime.Label)", "ms.bt.tk"},
        {"$(MusicTime.Label.Full)", "measures.beats.ticks"},
        {"$(smpte.whole)$(b.t)", ":."},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.format);
        char out[128];
        EXPECT_EQ((int)strlen(r.text), LxPrintF(out, r.format));
        EXPECT_STREQ(r.text, out);
    }
}

}  // namespace
