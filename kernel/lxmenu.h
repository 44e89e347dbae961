/*
 * Menus: loading through a language block, and the tools the editor uses to
 * adapt a loaded menu (cull, gray, clean up separators and empty popups,
 * expand formatter tokens, find the popup that holds a command).
 */
#ifndef LXMENU_H
#define LXMENU_H

#include "lxlang.h"

LXEXPORT(HMENU) LxLoadMenu(HLXLANG h, LPCSTR name);
LXEXPORT(HMENU) LxLoadCulledMenu(HLXLANG h, LPCSTR name, const UINT *ids, int count,
                                 BOOL clean);
LXEXPORT(BOOL) LxCullMenu(HMENU menu, const UINT *ids, int count, BOOL clean);
LXEXPORT(BOOL) LxGrayMenu(HMENU menu, const UINT *ids, int count);
LXEXPORT(BOOL) LxCleanMenu(HMENU menu, HMENU parent, int position);
LXEXPORT(BOOL) LxMenuReplaceTokens(HMENU menu);
LXEXPORT(HMENU) LxGetSubmenuByID(HMENU menu, UINT id, int *pPosition);

#endif
