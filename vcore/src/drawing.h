// What a rectangle of a page shows, told by a few opaque pieces instead of pixels. The panel remembers which drawings its
// pages hold: what a page shows already is not drawn again, and what it lacks is drawn instead of copied. GUI thread.
#pragma once

#include <memory>
#include <pixman.h>
#include <span>
#include <tp_gui.h>
#include <vector>

using LinePixels = std::shared_ptr<const std::vector<uint32_t>>;

// A fill, or a line of text with its ground. Page coordinates.
struct Piece {
    RECT rect{};
    gal_pixel color = 0;
    LinePixels pixels; // of the rectangle line by line, instead of the colour
};

// Draws a part of the piece. stride: pixels per line.
void piece_paint(const Piece &piece, uint32_t *page, int stride, const RECT &part);

struct Drawing {
    RECT rect{};
    std::vector<Piece> pieces; // within the rectangle; the first one covers it, later ones lie above
};

bool drawing_same(const Drawing &a, const Drawing &b);
// Writes each pixel of the rectangle once, and not at all where the page is known to show it: `shown` are drawings that the
// page holds, one beside the other.
void drawing_paint(const Drawing &drawing, uint32_t *page, int stride, std::span<const Drawing *const> shown = {});
// Fills a rectangle of a page, which has to lie within the page.
void fill_rect(uint32_t *page, int stride, const RECT &rect, gal_pixel color);
