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

namespace {
using Four = uint32_t __attribute__((vector_size(16), aligned(4), may_alias)); // pixels at once, wherever they begin

// Cells, marks, lines: the library's fill takes longer to begin than these take.
void fill_narrow(uint32_t *to, int stride, int width, int height, gal_pixel color) {
    const Four four = {color, color, color, color};
    for (; height > 0; --height, to += stride) {
        if (width < 4) {
            std::fill_n(to, width, color);
            continue;
        }
        uint32_t *const last = to + width - 4; // may lie over the one before
        for (uint32_t *at = to; at < last; at += 4) *reinterpret_cast<Four *>(at) = four;
        *reinterpret_cast<Four *>(last) = four;
    }
}
} // namespace

// Copying what was filled first is faster than filling on, because the processor need not read what it overwrites: as much at
// a time as lies in the nearest cache together, whole lines where there is no gap between them.
void fill_rect(uint32_t *page, int stride, const RECT &r, gal_pixel color) {
    constexpr int WIDE = 64, NEAR = 24 << 10; // pixels, below which it is not faster; bytes
    const int width = RECTW(r), height = RECTH(r), line = width * static_cast<int>(sizeof *page);
    uint32_t *const first = page + ptrdiff_t{r.top} * stride + r.left;
    if (width < WIDE) return fill_narrow(first, stride, width, height, color);
    const int filled = width == stride ? std::clamp(NEAR / line, 1, height) : 1;
    pixman_fill(page, stride, 32, r.left, r.top, width, filled, color);
    for (int y = filled; y < height; y += filled) {
        const size_t bytes = static_cast<size_t>(line) * static_cast<size_t>(std::min(filled, height - y));
        std::memcpy(first + ptrdiff_t{y} * stride, first, bytes);
    }
}

bool drawing_same(const Drawing &a, const Drawing &b) {
    return vcore::same(a.rect, b.rect) &&
           std::equal(a.pieces.begin(), a.pieces.end(), b.pieces.begin(), b.pieces.end(), same_piece);
}

namespace {
// What is seen of each piece, the topmost first.
template <class Each> void each_seen_part(const Drawing &drawing, Each each) {
    vcore::Region left(drawing.rect);
    for (auto piece = drawing.pieces.rbegin(); piece != drawing.pieces.rend() && !left.empty(); ++piece) {
        vcore::Region part = left;
        part.intersect(piece->rect);
        if (!part.empty()) each(*piece, std::move(part));
        left.subtract(piece->rect);
    }
}

// They put the same pixels at the same places.
bool same_pixels(const Piece &a, const Piece &b) {
    return a.pixels || b.pixels ? same_piece(a, b) : a.color == b.color;
}
} // namespace

void drawing_paint(const Drawing &drawing, uint32_t *page, int stride, std::span<const Drawing *const> shown) {
    std::vector<std::pair<const Piece *, vcore::Region>> there;
    for (const Drawing *old : shown)
        each_seen_part(*old, [&](const Piece &piece, vcore::Region part) { there.emplace_back(&piece, std::move(part)); });
    each_seen_part(drawing, [&](const Piece &piece, vcore::Region part) {
        for (const auto &[old, seen] : there)
            if (same_pixels(*old, piece)) part.subtract(seen);
        for (const pixman_box32_t &box : part.boxes()) piece_paint(piece, page, stride, {box.x1, box.y1, box.x2, box.y2});
    });
}
