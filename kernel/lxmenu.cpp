/*
 * Menus after loading: the language mark comes off every command of every
 * popup; culling deletes commands, cleaning then takes away the separators
 * and popups that are left dangling; tokens such as "$(AppName)" are
 * expanded by the formatter.
 */
#include "lxmenu.h"
#include "lxprintf.h"

#include <cstring>

static const int kMarkTextChars = 260;
static const int kTokenTextChars = 100;
static const int kMaxIds = 10000;

static bool ItemInfo(HMENU menu, int pos, MENUITEMINFOA *mii) {
    memset(mii, 0, sizeof *mii);
    mii->cbSize = sizeof *mii;
    mii->fMask = MIIM_FTYPE | MIIM_STATE | MIIM_ID | MIIM_SUBMENU;
    return GetMenuItemInfoA(menu, (UINT)pos, TRUE, mii) != 0;
}

static bool IsSeparator(HMENU menu, int pos) {
    MENUITEMINFOA mii;
    return ItemInfo(menu, pos, &mii) && !mii.hSubMenu && (mii.fType & MFT_SEPARATOR);
}

/* Rewrites an item's text and keeps what ModifyMenuA would otherwise drop:
   state, break and check types, command or popup, default item. */
static bool SetItemText(HMENU menu, int pos, const char *text) {
    MENUITEMINFOA mii;
    if (!ItemInfo(menu, pos, &mii)) return false;
    UINT flags = MF_BYPOSITION | MF_STRING | (mii.fState & (MFS_GRAYED | MFS_CHECKED | MFS_HILITE)) |
                 (mii.fType & (MFT_MENUBARBREAK | MFT_MENUBREAK | MFT_RADIOCHECK |
                               MFT_RIGHTJUSTIFY | MFT_RIGHTORDER));
    UINT_PTR id = mii.wID;
    if (mii.hSubMenu) {
        flags |= MF_POPUP;
        id = (UINT_PTR)mii.hSubMenu;
    }
    if (!ModifyMenuA(menu, (UINT)pos, flags, id, text)) return false;
    if (mii.fState & MFS_DEFAULT) SetMenuDefaultItem(menu, (UINT)pos, TRUE);
    return true;
}

static void StripMarks(HMENU popup) {
    int n = GetMenuItemCount(popup);
    for (int i = 0; i < n; i++) {
        HMENU sub = GetSubMenu(popup, i);
        if (sub) {
            StripMarks(sub);
            continue;
        }
        char text[kMarkTextChars];
        int len = GetMenuStringA(popup, (UINT)i, text, sizeof text, MF_BYPOSITION);
        if (len >= 2 && Lang_StripMark(text, len) != len) SetItemText(popup, i, text);
    }
}

LXEXPORT(HMENU) LxLoadMenu(HLXLANG h, LPCSTR name) {
    if (!h) return nullptr;
    HMENU menu = nullptr;
    HMODULE owner = nullptr;
    HRSRC res = Lang_FindInLangFile(h, name, (LPCSTR)RT_MENU, &owner);
    HGLOBAL g = res ? LoadResource(owner, res) : nullptr;
    void *t = g ? LockResource(g) : nullptr;
    if (t) menu = LoadMenuIndirectA((const MENUTEMPLATEA *)t);
    if (!menu) menu = LoadMenuA(Lang_Module(h), name);
    if (!menu) return nullptr;
    /* The bar's own items and the popups' titles keep their text. */
    int n = GetMenuItemCount(menu);
    for (int i = 0; i < n; i++) {
        HMENU sub = GetSubMenu(menu, i);
        if (sub) StripMarks(sub);
    }
    return menu;
}

static int IdLimit(int count) { return count < 0 ? kMaxIds : count; }

LXEXPORT(BOOL) LxCullMenu(HMENU menu, const UINT *ids, int count, BOOL clean) {
    if (!menu) return FALSE;
    if (ids) {
        int limit = IdLimit(count);
        for (int i = 0; i < limit && ids[i]; i++) DeleteMenu(menu, ids[i], MF_BYCOMMAND);
    }
    if (clean) LxCleanMenu(menu, nullptr, -1);
    return TRUE;
}

LXEXPORT(HMENU) LxLoadCulledMenu(HLXLANG h, LPCSTR name, const UINT *ids, int count,
                                 BOOL clean) {
    HMENU menu = LxLoadMenu(h, name);
    if (menu) LxCullMenu(menu, ids, count, clean);
    return menu;
}

LXEXPORT(BOOL) LxGrayMenu(HMENU menu, const UINT *ids, int count) {
    if (!menu) return FALSE;
    if (ids) {
        int limit = IdLimit(count);
        for (int i = 0; i < limit && ids[i]; i++)
            EnableMenuItem(menu, ids[i], MF_BYCOMMAND | MF_GRAYED);
    }
    return TRUE;
}

LXEXPORT(BOOL) LxCleanMenu(HMENU menu, HMENU parent, int position) {
    if (!menu) return FALSE;
    /* Popups go first, so that separators are judged by what stays. */
    for (int i = 0; i < GetMenuItemCount(menu);) {
        HMENU sub = GetSubMenu(menu, i);
        if (sub && LxCleanMenu(sub, menu, i)) continue;
        i++;
    }
    for (int i = 0; i < GetMenuItemCount(menu);) {
        int last = GetMenuItemCount(menu) - 1;
        if (IsSeparator(menu, i) && (i == 0 || i == last || IsSeparator(menu, i - 1) ||
                                     IsSeparator(menu, i + 1))) {
            DeleteMenu(menu, (UINT)i, MF_BYPOSITION);
            continue;
        }
        i++;
    }
    if (GetMenuItemCount(menu) != 0 || !parent || position < 0) return FALSE;
    /* Only the popup we were told about is taken out of its parent. */
    if (GetSubMenu(parent, position) != menu) return FALSE;
    return DeleteMenu(parent, (UINT)position, MF_BYPOSITION) != 0;
}

LXEXPORT(BOOL) LxMenuReplaceTokens(HMENU menu) {
    if (!menu) return FALSE;
    int n = GetMenuItemCount(menu);
    for (int i = 0; i < n; i++) {
        MENUITEMINFOA mii;
        if (!ItemInfo(menu, i, &mii)) continue;
        if (!mii.hSubMenu && (mii.fType & MFT_SEPARATOR)) continue;
        if (!(mii.fType & (MFT_BITMAP | MFT_OWNERDRAW))) {
            char text[kTokenTextChars];
            if (GetMenuStringA(menu, (UINT)i, text, sizeof text, MF_BYPOSITION) > 0) {
                /* Zeros stand in for arguments that a stray "%" might ask for. */
                char out[4096];
                LxPrintF(out, text, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
                if (strcmp(out, text) != 0) SetItemText(menu, i, out);
            }
        }
        if (mii.hSubMenu) LxMenuReplaceTokens(mii.hSubMenu);
    }
    return TRUE;
}

/* The menu that holds id directly; *pPosition is set by the level that
   knows where that menu sits in its parent. */
static HMENU FindHolder(HMENU menu, UINT id, int *pPosition) {
    int n = GetMenuItemCount(menu);
    for (int i = 0; i < n; i++) {
        MENUITEMINFOA mii;
        if (!ItemInfo(menu, i, &mii)) continue;
        if (mii.hSubMenu) {
            HMENU found = FindHolder(mii.hSubMenu, id, pPosition);
            if (found) {
                if (found == mii.hSubMenu) *pPosition = i;
                return found;
            }
        } else if (!(mii.fType & MFT_SEPARATOR) && mii.wID == id) {
            *pPosition = -1;
            return menu;
        }
    }
    return nullptr;
}

LXEXPORT(HMENU) LxGetSubmenuByID(HMENU menu, UINT id, int *pPosition) {
    int position = -1;
    HMENU found = menu ? FindHolder(menu, id, &position) : nullptr;
    if (pPosition) *pPosition = found ? position : -1;
    return found;
}
