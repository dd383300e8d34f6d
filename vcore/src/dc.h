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

struct Drawing;

struct DcTarget {
    uint32_t *pixels = nullptr;        // the page drawn on; null: nothing is drawn, texts are recorded all the same
    int stride = 0;                    // pixels per line
    int width = 0, height = 0;         // of the page
    int origin_x = 0, origin_y = 0;    // the client area's top left corner on the page
    int client_width = 0, client_height = 0;
    pixman_region32_t *clip = nullptr; // page coordinates; copied
    PLOGFONT font = nullptr;           // initial font; null: the default font
    std::vector<PaintedText> *texts = nullptr; // the window's record: a text is added, one that a fill covers is removed
    // Told of every area, clipped, before it is drawn on; whole: every pixel of it will be overwritten.
    void (*about_to_draw)(const RECT &page_rect, bool whole) = nullptr;
    // Draws a finished drawing on the page that is drawn on. Null: it is drawn as anything else.
    void (*show)(Drawing &&drawing) = nullptr;
};
HDC dc_open(const DcTarget &target);
void dc_close(HDC hdc);
// Draws on other pixels from now on, of the same shape.
void dc_move(HDC hdc, uint32_t *pixels);
// The bounds of what can be drawn on, in client coordinates; the client area where nothing of the window shows, so
// that a painter that leaves out what lies outside still records its texts.
RECT dc_clip_box(HDC hdc);
// Draws only within a client rectangle until dc_end_drawing, on a ground of one colour; texts are recorded cut to it. A
// drawing of fills, upright lines and texts that were seen before is drawn at its end, and only where the page lacks it.
void dc_begin_drawing(HDC hdc, const RECT &rect, gal_pixel ground);
void dc_end_drawing(HDC hdc);
// Something else than a device context has changed pixels.
void dc_forget_solid();

// Registers "static" and "scrollview"; called by InitGUI before any window exists.
void register_builtin_controls();
// Opens the font files at their fixed paths and warms nothing else; called by InitGUI. 0 or -1 (no font: texts take
// room but draw boxes).
int fonts_init();
void fonts_terminate();
int color_index_of(gal_pixel pixel); // in SysPixelIndex, -1 when it is none of them
