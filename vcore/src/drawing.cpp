#include "drawing.h"

#include "canvas.h"

#include <cstring>

namespace {
bool same_piece(const Piece &a, const Piece &b) {
    return vcore::same(a.rect, b.rect) && a.color == b.color && a.pixels == b.pixels;
}
} // namespace

void piece_paint(const Piece &piece, uint32_t *page, int stride, const RECT &part) {
    if (!piece.pixels) return fill_rect(page, stride, part, piece.color);
    const ptrdiff_t width = RECTW(piece.rect);
    const uint32_t *from = piece.pixels->data() + (part.top - piece.rect.top) * width + part.left - piece.rect.left;
    uint32_t *to = page + ptrdiff_t{part.top} * stride + part.left;
    for (int y = part.top; y < part.bottom; ++y, from += width, to += stride)
        std::memcpy(to, from, static_cast<size_t>(RECTW(part)) * sizeof *to);
}

// Copying a line again and again is faster than filling line by line, because the processor need not read what it overwrites.
void fill_rect(uint32_t *page, int stride, const RECT &r, gal_pixel color) {
    constexpr int WIDE = 64; // pixels; below it is not
    pixman_fill(page, stride, 32, r.left, r.top, RECTW(r), RECTW(r) < WIDE ? RECTH(r) : 1, color);
    if (RECTW(r) < WIDE) return;
    const uint32_t *first = page + ptrdiff_t{r.top} * stride + r.left;
    for (int y = r.top + 1; y < r.bottom; ++y)
        std::memcpy(page + ptrdiff_t{y} * stride + r.left, first, static_cast<size_t>(RECTW(r)) * sizeof *first);
}

bool drawing_same(const Drawing &a, const Drawing &b) {
    return vcore::same(a.rect, b.rect) &&
           std::equal(a.pieces.begin(), a.pieces.end(), b.pieces.begin(), b.pieces.end(), same_piece);
}

void drawing_paint(const Drawing &drawing, uint32_t *page, int stride) {
    vcore::Region left(drawing.rect);
    for (auto piece = drawing.pieces.rbegin(); piece != drawing.pieces.rend() && !left.empty(); ++piece) {
        vcore::Region part = left;
        part.intersect(piece->rect);
        for (const pixman_box32_t &box : part.boxes()) piece_paint(*piece, page, stride, {box.x1, box.y1, box.x2, box.y2});
        left.subtract(piece->rect);
    }
}
