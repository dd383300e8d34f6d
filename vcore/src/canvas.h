// What a device context points to, for the files that draw. GUI thread.
#pragma once

#include "dc.h"
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
struct Canvas {
    DcTarget target;
    pixman_image_t *page = nullptr; // null: texts are recorded, nothing is drawn
    vcore::Region full;             // the clip as it was opened
    vcore::Region clip;             // full within the limit
    RECT client{};                  // the client area's part of the page
    RECT limit{};                   // dc_limit's rectangle, everything without one
    gal_pixel brush = 0, pen = 0, text_color = 0, bk_color = 0;
    int pen_width = 1;
    int bk_mode = BM_TRANSPARENT;
    int pen_x = 0, pen_y = 0; // client coordinates
    PLOGFONT font = nullptr;
};

// Null for HDC_INVALID.
inline Canvas *canvas_of(HDC hdc) { return reinterpret_cast<Canvas *>(hdc); }

// Client to page coordinates, without overflow: far outside positions stay far outside.
int page_coordinate(int64_t value, int origin);
RECT page_rect(const Canvas &canvas, int64_t left, int64_t top, int64_t right, int64_t bottom);

// Fills a page rectangle within the clip; returns the bounds of what was filled and tells nobody.
RECT canvas_fill(Canvas &canvas, const RECT &rect, gal_pixel color);
// Tells the target that a page rectangle changed.
void canvas_report(Canvas &canvas, const RECT &drawn);
// Keeps the record of texts up to date: one more text, or what an opaque page rectangle hides.
void canvas_record_text(Canvas &canvas, std::string utf8, const RECT &rect);
void canvas_forget_texts(Canvas &canvas, const RECT &covered);
