// Menus through the real USER calls: the language mark on loading, culling
// and cleaning, graying, token expansion and the search for a command.
#include "langfixture.h"
#include "kernel/lxprintf.h"

#include <string>

using langtest::LangFixture;

namespace {

// A menu as one line: items by "|", popups as title[items], separators as
// "-", then "~" for a grayed item and "!" for a checked one.
std::string Describe(HMENU menu) {
    std::string out;
    for (int i = 0, n = GetMenuItemCount(menu); i < n; i++) {
        if (i) out += "|";
        MENUITEMINFOA mii = {};
        mii.cbSize = sizeof mii;
        mii.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_SUBMENU;
        GetMenuItemInfoA(menu, (UINT)i, TRUE, &mii);
        if (!mii.hSubMenu && (mii.fType & MFT_SEPARATOR)) {
            out += "-";
            continue;
        }
        char text[260] = {0};
        GetMenuStringA(menu, (UINT)i, text, sizeof text, MF_BYPOSITION);
        out += text;
        if (mii.fState & MFS_GRAYED) out += "~";
        if (mii.fState & MFS_CHECKED) out += "!";
        if (mii.hSubMenu) out += "[" + Describe(mii.hSubMenu) + "]";
    }
    return out;
}

// A menu from a compact form: a letter is an item (its own command id), "-"
// a separator, "[...]" a popup titled "P".
HMENU Build(const char *&p, bool popup = false) {
    HMENU m = popup ? CreatePopupMenu() : CreateMenu();
    while (*p && *p != ']') {
        char c = *p++;
        if (c == '-') {
            AppendMenuA(m, MF_SEPARATOR, 0, nullptr);
        } else if (c == '[') {
            HMENU sub = Build(p, true);
            if (*p == ']') p++;
            AppendMenuA(m, MF_POPUP, (UINT_PTR)sub, "P");
        } else {
            char text[2] = {c, 0};
            AppendMenuA(m, MF_STRING, (UINT_PTR)c, text);
        }
    }
    return m;
}

TEST(MenuClean, SeparatorsAndEmptyPopups) {
    const char *const rows[][2] = {
        {"A-B-C", "A|-|B|-|C"}, {"-A-", "A"}, {"A---B", "A|-|B"}, {"--", ""}, {"A-[]-B", "A|-|B"},
        {"A-[-]", "A"}, {"A-[B-]-C", "A|-|P[B]|-|C"}, {"[[]]A", "A"}, {"-[A]-", "P[A]"},
        {"[]-[]-A", "A"}, {"A-B--[-C-]--D", "A|-|B|-|P[C]|-|D"},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r[0]);
        const char *layout = r[0];
        HMENU m = Build(layout);
        EXPECT_FALSE(LxCleanMenu(m, nullptr, -1)) << "a top menu has no parent to leave";
        EXPECT_EQ(r[1], Describe(m));
        DestroyMenu(m);
    }
    const char *layout = "A[-][B]";
    HMENU m = Build(layout);
    HMENU empty = GetSubMenu(m, 1), full = GetSubMenu(m, 2);
    EXPECT_FALSE(LxCleanMenu(empty, m, 2)) << "not at that position";
    EXPECT_FALSE(LxCleanMenu(full, m, 2));
    EXPECT_EQ("A|P[]|P[B]", Describe(m));
    EXPECT_TRUE(LxCleanMenu(empty, m, 1));
    EXPECT_EQ("A|P[B]", Describe(m));
    EXPECT_FALSE(IsMenu(empty)) << "a deleted popup is destroyed";
    EXPECT_FALSE(LxCleanMenu(nullptr, m, 0));
    DestroyMenu(m);
}

TEST_F(LangFixture, LoadMenuRemovesMarksBelowTheBar) {
    const std::string german = langtest::Acp(L"^*&Datei[&Neu|\u00D6&ffnen|-|Sch&lie\u00DFen~|"
                                              L"^*Zuletzt[Eins!|Zwei]|-|&Beenden]|^*&Hilfe");
    const std::string english = "&File[&New|&Open|-|&Close|Recent[One|Two]|-|E&xit]|&Help";
    for (LCID lcid : {(LCID)0, langtest::kGerman}) {  // 0: never set
        SCOPED_TRACE(lcid);
        Use(lcid);
        HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_MAIN));
        ASSERT_NE(nullptr, m);
        EXPECT_EQ(lcid ? german : english, Describe(m));
        // Rewritten items keep their commands and popups.
        HMENU file = GetSubMenu(m, 0), recent = GetSubMenu(file, 4);
        ASSERT_NE(nullptr, recent);
        EXPECT_EQ((UINT)CMD_NEW, GetMenuItemID(file, 0));
        EXPECT_EQ((UINT)CMD_CLOSE, GetMenuItemID(file, 3));
        EXPECT_EQ((UINT)CMD_RECENT1, GetMenuItemID(recent, 0));
        EXPECT_EQ((UINT)CMD_HELP, GetMenuItemID(m, 1));
        DestroyMenu(m);
    }
}

TEST_F(LangFixture, CulledAndGrayedMenus) {
    const UINT all[] = {CMD_UNDO, CMD_CUT, CMD_COPY, CMD_PASTE, CMD_ONLY, CMD_ABOUT, CMD_DEEP};
    const UINT some[] = {CMD_CUT, CMD_COPY, CMD_ONLY, 0, CMD_UNDO};
    const UINT ends[] = {CMD_UNDO, CMD_PASTE};
    const std::string help =
        "|$(LangTest.App) &Help[About $(LangTest.App)...!|Deeper[$(LangTest.App) deep]]";
    const struct { const char *name; const UINT *ids; int count; BOOL clean; std::string menu; }
        rows[] = {
        {"up to the 0, cleaned", some, -1, TRUE, "&Edit[Undo|-|Paste~]" + help},
        {"up to the 0, not cleaned", some, -1, FALSE, "&Edit[Undo|-|-|Paste~]|&Tools[]" + help},
        {"count stops first", some, 2, TRUE, "&Edit[Undo|-|Paste~]|&Tools[Only]" + help},
        {"ends leave no separators", ends, 2, TRUE, "&Edit[Cut|Copy]|&Tools[Only]" + help},
        {"everything goes", all, 7, TRUE, ""},
        {"no ids", nullptr, 5, TRUE, "&Edit[Undo|-|Cut|Copy|-|Paste~]|&Tools[Only]" + help},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        HMENU m = LxLoadCulledMenu(lang_, MAKEINTRESOURCEA(IDM_CULL), r.ids, r.count, r.clean);
        ASSERT_NE(nullptr, m);
        EXPECT_EQ(r.menu, Describe(m));
        DestroyMenu(m);
    }
    EXPECT_EQ(nullptr, LxLoadCulledMenu(lang_, MAKEINTRESOURCEA(999), some, -1, TRUE));
    EXPECT_EQ(nullptr, LxLoadCulledMenu(nullptr, MAKEINTRESOURCEA(IDM_CULL), some, -1, TRUE));
    EXPECT_FALSE(LxCullMenu(nullptr, some, -1, TRUE));

    const UINT ids[] = {CMD_CUT, CMD_DEEP, 0, CMD_UNDO};
    const struct { int count; bool cut, deep; } grays[] = {
        {-1, true, true}, {1, true, false}, {0, false, false}, {4, true, true}};
    for (const auto &r : grays) {
        SCOPED_TRACE(r.count);
        HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_CULL));
        ASSERT_NE(nullptr, m);
        EXPECT_TRUE(LxGrayMenu(m, ids, r.count));
        EXPECT_EQ(r.cut, (GetMenuState(m, CMD_CUT, MF_BYCOMMAND) & MF_GRAYED) != 0);
        EXPECT_EQ(r.deep, (GetMenuState(m, CMD_DEEP, MF_BYCOMMAND) & MF_GRAYED) != 0);
        EXPECT_EQ(0u, GetMenuState(m, CMD_UNDO, MF_BYCOMMAND) & MF_GRAYED) << "behind the 0";
        DestroyMenu(m);
    }
    EXPECT_FALSE(LxGrayMenu(nullptr, ids, -1));
}

TEST_F(LangFixture, TokensInMenuTexts) {
    ASSERT_TRUE(LxPrintF_AddToken("LangTest.App", "Marlo Test"));
    HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_CULL));
    ASSERT_NE(nullptr, m);
    HMENU extra = GetSubMenu(m, 1);
    AppendMenuA(extra, MF_STRING, 3001, "100%");
    AppendMenuA(extra, MF_STRING, 3002, "$$5 $(nosuch)");
    AppendMenuA(extra, MF_SEPARATOR, 0, nullptr);
    EXPECT_TRUE(LxMenuReplaceTokens(m));
    EXPECT_EQ("&Edit[Undo|-|Cut|Copy|-|Paste~]|&Tools[Only|100%|$5 $(nosuch)|-]|"
              "Marlo Test &Help[About Marlo Test...!|Deeper[Marlo Test deep]]",
              Describe(m));
    EXPECT_EQ((UINT)CMD_ABOUT, GetMenuItemID(GetSubMenu(m, 2), 0));
    DestroyMenu(m);
    EXPECT_FALSE(LxMenuReplaceTokens(nullptr));
    LxPrintF_DeleteToken("LangTest.App");
}

TEST_F(LangFixture, SubmenuByIdAndItsPlace) {
    HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_MAIN));
    ASSERT_NE(nullptr, m);
    HMENU file = GetSubMenu(m, 0), recent = GetSubMenu(file, 4);
    const struct { const char *name; UINT id; HMENU holder; int position; } rows[] = {
        {"first command of File", CMD_NEW, file, 0},
        {"in Recent, fifth item of File", CMD_RECENT2, recent, 4},
        {"on the bar", CMD_HELP, m, -1}, {"nowhere", 9999, nullptr, -1},
        {"separators hold no command", 0, nullptr, -1},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        int pos = 77;
        EXPECT_EQ(r.holder, LxGetSubmenuByID(m, r.id, &pos));
        EXPECT_EQ(r.position, pos);
        EXPECT_EQ(r.holder, LxGetSubmenuByID(m, r.id, nullptr));
    }
    int pos = 77;
    EXPECT_EQ(nullptr, LxGetSubmenuByID(nullptr, CMD_NEW, &pos));
    EXPECT_EQ(-1, pos);
    DestroyMenu(m);
}

TEST_F(LangFixture, MenuLoadRefusals) {
    EXPECT_EQ(nullptr, LxLoadMenu(nullptr, MAKEINTRESOURCEA(IDM_MAIN)));
    EXPECT_EQ(nullptr, LxLoadMenu(lang_, MAKEINTRESOURCEA(999)));
    German();
    EXPECT_EQ(nullptr, LxLoadMenu(lang_, MAKEINTRESOURCEA(999)));
    HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_CULL));  // only in the module
    ASSERT_NE(nullptr, m);
    EXPECT_EQ(3, GetMenuItemCount(m));
    DestroyMenu(m);
}

}  // namespace
