// The panel's two pages. Everything is drawn on the hidden one; flush shows it. GUI thread.
#pragma once

#include "region.h"

namespace vcore {

// Looks the panel up and maps it. The whole screen counts as drawn (black). 0, or -1: no panel, nothing is shown.
int panel_open();
void panel_close();

struct PanelPage {
    uint32_t *pixels = nullptr; // null without a panel
    int stride = 0;             // pixels per line
    int number = 0;
};
PanelPage panel_hidden_page();
// 0,0 to the panel's size; without a panel to the size that the program was told, or without limit.
RECT panel_rect();

// Tells that the rectangle of a page was drawn on.
void panel_damaged(int page, const RECT &rect);
void panel_fill_black(const Region &region);
// Shows what was drawn since the last flush, if anything, and makes the two pages equal again.
void panel_flush();

} // namespace vcore
