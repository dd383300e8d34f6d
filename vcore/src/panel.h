// The panel's two pages. Everything is drawn on the hidden one; flush shows it. What a flip leaves old on the page that it
// hides is brought up to date only where the next frame does not draw over it. GUI thread.
#pragma once

#include "drawing.h"
#include "region.h"

namespace vcore {

// Looks the panel up and maps it. The whole screen counts as drawn (black). 0, or -1: no panel, nothing is shown.
int panel_open();
void panel_close();

struct PanelPage {
    uint32_t *pixels = nullptr; // null without a panel
    int stride = 0;             // pixels per line
};
PanelPage panel_hidden_page();
// 0,0 to the panel's size; without a panel to the size that the program was told, or without limit.
RECT panel_rect();

// To be told before anything is drawn on the hidden page. whole: every pixel of the rectangle is about to be overwritten;
// otherwise what is there is made right first.
void panel_about_to_draw(const RECT &rect, bool whole);
// Draws on the hidden page, unless it shows the very drawing since an earlier frame.
void panel_show(Drawing &&drawing);
bool panel_drawn(); // something, since the last flush
void panel_fill_black(const Region &region);
// Shows what was drawn since the last flush. True when the other page is the hidden one now.
bool panel_flush();

// What the flips cost so far: pixels drawn, and pixels copied from one page to the other.
struct PanelCounts {
    uint64_t damaged = 0, copied = 0;
};
PanelCounts &panel_counts();

} // namespace vcore
