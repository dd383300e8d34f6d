// Device contexts: drawing on a page of the panel within a clip, with a record of the texts. GUI thread.
#pragma once

#include <pixman.h>
#include <string>
#include <tp_gui.h>
#include <vector>

// One text of a window's last paint, for the description of the screen.
struct PaintedText {
    std::string utf8;
    RECT rect; // screen coordinates, what the glyphs' lines cover, not clipped
    int color; // index in SysPixelIndex, -1 for other pixels
};

struct DcTarget {
    uint32_t *pixels = nullptr;        // the page drawn on; null: nothing is drawn, texts are recorded all the same
    int stride = 0;                    // pixels per line
    int width = 0, height = 0;         // of the page
    int origin_x = 0, origin_y = 0;    // the client area's top left corner on the page
    int client_width = 0, client_height = 0;
    pixman_region32_t *clip = nullptr; // page coordinates; owned by the caller until dc_close
    PLOGFONT font = nullptr;           // initial font; null: the default font
    std::vector<PaintedText> *texts = nullptr; // the window's record: a text is added, one that a fill covers is removed
    // Told of every area, clipped, before it is drawn on; whole: every pixel of it will be overwritten.
    void (*about_to_draw)(const RECT &page_rect, bool whole) = nullptr;
};
HDC dc_open(const DcTarget &target);
void dc_close(HDC hdc);
// Draws on other pixels from now on, of the same shape.
void dc_move(HDC hdc, uint32_t *pixels);
// The bounds of what can be drawn on, in client coordinates; the client area where nothing of the window shows, so
// that a painter that leaves out what lies outside still records its texts.
RECT dc_clip_box(HDC hdc);
// Draws only within a client rectangle from now on; texts are recorded cut to it. Null: as opened.
void dc_limit(HDC hdc, const RECT *rect);
// Gives a client rectangle a ground for what is drawn next. Where a FillBox follows at once, only what it leaves is filled.
void dc_ground(HDC hdc, const RECT &rect, gal_pixel color);

// Registers "static" and "scrollview"; called by InitGUI before any window exists.
void register_builtin_controls();
// Opens the font files at their fixed paths and warms nothing else; called by InitGUI. 0 or -1 (no font: texts take
// room but draw boxes).
int fonts_init();
void fonts_terminate();
int color_index_of(gal_pixel pixel); // in SysPixelIndex, -1 when it is none of them
