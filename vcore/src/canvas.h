// What a device context points to, for the files that draw. GUI thread.
#pragma once

#include "dc.h"
#include "drawing.h"
#include "region.h"

#include <algorithm>
#include <pixman.h>

inline bool rect_empty(const RECT &r) { return r.right <= r.left || r.bottom <= r.top; }
inline RECT rect_common(const RECT &a, const RECT &b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}
// The smallest rectangle around both; an empty one adds nothing.
inline RECT rect_around(const RECT &a, const RECT &b) {
    if (rect_empty(a)) return b;
    if (rect_empty(b)) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
}
// The drawing state behind an HDC. All rectangles are page coordinates.
struct CanvasState {
    DcTarget target;
    pixman_image_t *page = nullptr; // null: texts are recorded, nothing is drawn
    RECT client{};                  // the client area's part of the page
    RECT limit{};                   // of the drawing that is begun, everything without one
    gal_pixel brush = 0, pen = 0, text_color = 0, bk_color = 0;
    int pen_width = 1;
    int bk_mode = BM_TRANSPARENT;
    int pen_x = 0, pen_y = 0; // client coordinates
    PLOGFONT font = nullptr;
    bool collects = false; // pieces, which are drawn when the drawing ends or something else is drawn
};
struct Canvas : CanvasState {
    vcore::Region full; // the clip as it was opened
    vcore::Region clip; // full within the limit
    Drawing drawing;
};

// Null for HDC_INVALID.
inline Canvas *canvas_of(HDC hdc) { return reinterpret_cast<Canvas *>(hdc); }

// Client to page coordinates, without overflow: far outside positions stay far outside.
int page_coordinate(int64_t value, int origin);
RECT page_rect(const Canvas &canvas, int64_t left, int64_t top, int64_t right, int64_t bottom);

// Comes before everything drawn: draws what was collected and tells the target of the page rectangle within the clip.
// whole: every pixel of it is about to be overwritten.
void canvas_begin(Canvas &canvas, const RECT &rect, bool whole);
// Draws a page rectangle within the clip from these pixels.
void canvas_copy(Canvas &canvas, const RECT &rect, const LinePixels &pixels);
// Fills a page rectangle within the clip, beginning with it or within what was begun.
void canvas_fill(Canvas &canvas, const RECT &rect, gal_pixel color);
void canvas_fill_begun(Canvas &canvas, const RECT &rect, gal_pixel color);
// A part of the page that was filled lately and that nothing has been drawn on since.
struct Solid {
    RECT rect{};
    gal_pixel color = 0;
    const uint32_t *page = nullptr;
};
// One that reaches into a page rectangle; empty when there is none.
Solid canvas_solid(const Canvas &canvas, const RECT &rect);
// Keeps the record of texts up to date: one more text, or what an opaque page rectangle hides.
void canvas_record_text(Canvas &canvas, std::string utf8, const RECT &rect);
void canvas_forget_texts(Canvas &canvas, const RECT &covered);
