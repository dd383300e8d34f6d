// Device contexts and the shapes that need no font.
#include "canvas.h"

#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

// Beyond any panel, and small enough that products of two distances fit 64 bits.
constexpr int far_away = 1 << 28;
constexpr RECT unlimited{-far_away, -far_away, far_away, far_away};
// Texts that no fill ever covers must not pile up.
constexpr size_t most_texts = 1024;

RECT client_on_page(const DcTarget &t) {
    const RECT page{0, 0, t.width, t.height};
    if (t.client_width <= 0 || t.client_height <= 0) return page;
    return rect_common(page,
                       {t.origin_x, t.origin_y, t.origin_x + t.client_width, t.origin_y + t.client_height});
}

struct Point {
    int64_t x, y;
};

Point point_on_page(const Canvas &c, int x, int y) {
    return {page_coordinate(x, c.target.origin_x), page_coordinate(y, c.target.origin_y)};
}

RECT straight_line(Canvas &c, Point a, Point b) {
    const int before = (c.pen_width - 1) / 2, after = c.pen_width - before;
    const int left = static_cast<int>(std::min(a.x, b.x)), right = static_cast<int>(std::max(a.x, b.x));
    const int top = static_cast<int>(std::min(a.y, b.y)), bottom = static_cast<int>(std::max(a.y, b.y));
    if (top == bottom) return canvas_fill(c, {left, top - before, right + 1, top + after}, c.pen);
    return canvas_fill(c, {left - before, top, left + after, bottom + 1}, c.pen);
}

// Walks the longer axis u and draws runs of equal v across it, only as far as the clip reaches.
RECT slanted_line(Canvas &c, Point a, Point b) {
    const bool steep = std::llabs(b.y - a.y) > std::llabs(b.x - a.x);
    if (steep) {
        std::swap(a.x, a.y);
        std::swap(b.x, b.y);
    }
    if (a.x > b.x) std::swap(a, b);
    const int64_t du = b.x - a.x, dv = b.y - a.y;
    const double across = c.pen_width * std::hypot(static_cast<double>(du), static_cast<double>(dv));
    const auto span = static_cast<int>(std::lround(across / static_cast<double>(du)));
    const int before = (span - 1) / 2;
    const RECT reach = c.clip.extents();
    const int64_t first = std::max<int64_t>(a.x, steep ? reach.top : reach.left);
    const int64_t end = std::min<int64_t>(b.x + 1, steep ? reach.bottom : reach.right);
    const auto v_at = [&](int64_t u) { // rounded to the nearest, halves up
        const int64_t twice = 2 * dv * (u - a.x) + du;
        return static_cast<int>(a.y + (twice >= 0 ? twice / (2 * du) : -((2 * du - 1 - twice) / (2 * du))));
    };
    RECT drawn{};
    for (int64_t u = first; u < end;) {
        const int v = v_at(u);
        const int64_t start = u++;
        while (u < end && v_at(u) == v) ++u;
        const int u0 = static_cast<int>(start), u1 = static_cast<int>(u);
        const RECT run =
            steep ? RECT{v - before, u0, v - before + span, u1} : RECT{u0, v - before, u1, v - before + span};
        drawn = rect_around(drawn, canvas_fill(c, run, c.pen));
    }
    return drawn;
}

} // namespace

int page_coordinate(int64_t value, int origin) {
    return static_cast<int>(std::clamp<int64_t>(value + origin, -far_away, far_away));
}

RECT page_rect(const Canvas &c, int64_t left, int64_t top, int64_t right, int64_t bottom) {
    return {page_coordinate(left, c.target.origin_x), page_coordinate(top, c.target.origin_y),
            page_coordinate(right, c.target.origin_x), page_coordinate(bottom, c.target.origin_y)};
}

RECT canvas_fill(Canvas &c, const RECT &rect, gal_pixel color) {
    RECT filled{};
    if (!c.page) return filled;
    for (const pixman_box32_t &box : c.clip.boxes()) {
        const RECT part = rect_common(rect, {box.x1, box.y1, box.x2, box.y2});
        if (rect_empty(part)) continue;
        pixman_fill(c.target.pixels, c.target.stride, 32, part.left, part.top, RECTW(part), RECTH(part),
                    color);
        filled = rect_around(filled, part);
    }
    return filled;
}

void canvas_report(Canvas &c, const RECT &drawn) {
    if (c.page && c.target.damaged && !rect_empty(drawn)) c.target.damaged(c.target.context, drawn);
}

void canvas_record_text(Canvas &c, std::string utf8, const RECT &rect) {
    auto *texts = c.target.texts;
    const RECT kept = rect_common(rect, c.limit);
    if (!texts || rect_empty(rect_common(rect, c.client)) || rect_empty(kept)) return;
    const int color = color_index_of(c.text_color);
    std::erase_if(*texts,
                  [&](const PaintedText &old) { return vcore::same(old.rect, kept) && old.utf8 == utf8; });
    if (texts->size() >= most_texts) texts->erase(texts->begin());
    texts->push_back({std::move(utf8), kept, color});
}

void canvas_forget_texts(Canvas &c, const RECT &covered) {
    if (!c.target.texts || c.target.texts->empty()) return;
    RECT hidden = rect_common(covered, c.client);
    // A window that nothing shows of still keeps its record; there the clip says nothing.
    const RECT reach = c.clip.extents();
    if (!rect_empty(reach)) hidden = rect_common(hidden, reach);
    std::erase_if(*c.target.texts, [&](const PaintedText &text) {
        const RECT seen = rect_common(text.rect, c.client);
        return rect_empty(seen) || vcore::contains(hidden, seen);
    });
}

HDC dc_open(const DcTarget &target) {
    auto *c = new Canvas;
    c->target = target;
    c->client = client_on_page(target);
    c->limit = unlimited;
    c->full.add(c->client);
    if (target.clip) pixman_region32_intersect(c->full.get(), c->full.get(), target.clip);
    c->clip = c->full;
    if (target.pixels && target.width > 0 && target.height > 0)
        c->page =
            pixman_image_create_bits_no_clear(PIXMAN_x8r8g8b8, target.width, target.height, target.pixels,
                                              target.stride * static_cast<int>(sizeof(uint32_t)));
    c->brush = c->bk_color = SysPixelIndex[18];
    c->pen = c->text_color = SysPixelIndex[19];
    c->font = target.font;
    return reinterpret_cast<HDC>(c);
}

void dc_close(HDC hdc) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    if (c->page) pixman_image_unref(c->page);
    delete c;
}

RECT dc_clip_box(HDC hdc) {
    Canvas *c = canvas_of(hdc);
    if (!c) return {};
    RECT box = c->clip.extents();
    if (rect_empty(box)) box = rect_common(c->limit, c->client);
    const int dx = c->target.origin_x, dy = c->target.origin_y;
    return {box.left - dx, box.top - dy, box.right - dx, box.bottom - dy};
}

void dc_limit(HDC hdc, const RECT *rect) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    c->limit = rect ? page_rect(*c, rect->left, rect->top, rect->right, rect->bottom) : unlimited;
    c->clip = c->full;
    c->clip.intersect(c->limit);
}

gal_pixel SetBrushColor(HDC hdc, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->brush, color) : 0;
}
gal_pixel SetPenColor(HDC hdc, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->pen, color) : 0;
}
int SetPenWidth(HDC hdc, int width) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->pen_width, std::clamp(width, 1, 4096)) : 0;
}
gal_pixel SetTextColor(HDC hdc, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->text_color, color) : 0;
}
gal_pixel SetBkColor(HDC hdc, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->bk_color, color) : 0;
}
int SetBkMode(HDC hdc, int mode) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->bk_mode, mode) : 0;
}
PLOGFONT SelectFont(HDC hdc, PLOGFONT font) {
    Canvas *c = canvas_of(hdc);
    return c ? std::exchange(c->font, font) : nullptr;
}

void FillBox(HDC hdc, int x, int y, int w, int h) {
    Canvas *c = canvas_of(hdc);
    if (!c || w <= 0 || h <= 0) return;
    const RECT box = page_rect(*c, x, y, int64_t{x} + w, int64_t{y} + h);
    canvas_forget_texts(*c, box);
    canvas_report(*c, canvas_fill(*c, box, c->brush));
}

void MoveTo(HDC hdc, int x, int y) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    c->pen_x = x;
    c->pen_y = y;
}

void LineTo(HDC hdc, int x, int y) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    const Point from = point_on_page(*c, c->pen_x, c->pen_y), to = point_on_page(*c, x, y);
    MoveTo(hdc, x, y);
    const bool straight = from.x == to.x || from.y == to.y;
    canvas_report(*c, straight ? straight_line(*c, from, to) : slanted_line(*c, from, to));
}

void Rectangle(HDC hdc, int x0, int y0, int x1, int y1) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    const RECT r = page_rect(*c, std::min(x0, x1), std::min(y0, y1), int64_t{std::max(x0, x1)} + 1,
                             int64_t{std::max(y0, y1)} + 1);
    const int w = std::min({c->pen_width, RECTW(r), RECTH(r)});
    RECT drawn = canvas_fill(*c, {r.left, r.top, r.right, r.top + w}, c->pen);
    drawn = rect_around(drawn, canvas_fill(*c, {r.left, r.bottom - w, r.right, r.bottom}, c->pen));
    drawn = rect_around(drawn, canvas_fill(*c, {r.left, r.top + w, r.left + w, r.bottom - w}, c->pen));
    drawn = rect_around(drawn, canvas_fill(*c, {r.right - w, r.top + w, r.right, r.bottom - w}, c->pen));
    canvas_report(*c, drawn);
}

void FillCircle(HDC hdc, int cx, int cy, int r) {
    Canvas *c = canvas_of(hdc);
    if (!c || r < 0) return;
    const Point centre = point_on_page(*c, cx, cy);
    const int64_t radius = std::min(r, far_away);
    const RECT reach = c->clip.extents();
    const int64_t first = std::max<int64_t>(centre.y - radius, reach.top);
    const int64_t end = std::min<int64_t>(centre.y + radius + 1, reach.bottom);
    RECT drawn{};
    for (int64_t y = first; y < end; ++y) {
        const auto square = static_cast<double>(radius * radius - (y - centre.y) * (y - centre.y));
        const auto half = static_cast<int64_t>(std::sqrt(square));
        const RECT row{static_cast<int>(centre.x - half), static_cast<int>(y),
                       static_cast<int>(centre.x + half + 1), static_cast<int>(y + 1)};
        drawn = rect_around(drawn, canvas_fill(*c, row, c->brush));
    }
    canvas_report(*c, drawn);
}

void SetPixel(HDC hdc, int x, int y, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    canvas_report(*c, canvas_fill(*c, page_rect(*c, x, y, int64_t{x} + 1, int64_t{y} + 1), color));
}
