// Device contexts and the shapes that need no font.
#include "canvas.h"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

// Beyond any panel, and small enough that products of two distances fit 64 bits.
constexpr int far_away = 1 << 28;
constexpr RECT unlimited{-far_away, -far_away, far_away, far_away};
// Texts that no fill ever covers must not pile up.
constexpr size_t most_texts = 1024;

Solid g_solid;
std::unique_ptr<Canvas> g_spare; // the last one that was closed: a window that paints cell by cell opens one for each

void forget_solid(const RECT &rect) {
    if (!rect_empty(rect_common(rect, g_solid.rect))) g_solid = {};
}

void remember_solid(const Canvas &c, const RECT &rect, gal_pixel color) {
    if (!c.page || c.clip.boxes().size() != 1) return;
    const RECT part = rect_common(rect, c.clip.extents());
    const auto area = [](const RECT &r) { return int64_t{RECTW(r)} * RECTH(r); };
    if (!rect_empty(part) && area(part) >= area(g_solid.rect)) g_solid = {part, color, c.target.pixels};
}

// The two pages of the panel are drawn on again and again. Who draws on an image sets its clip first.
pixman_image_t *page_image(const DcTarget &t) {
    static struct {
        DcTarget target;
        pixman_image_t *image;
    } known[2];
    if (!t.pixels || t.width <= 0 || t.height <= 0) return nullptr;
    const auto same_page = [&t](const DcTarget &k) {
        return k.pixels == t.pixels && k.stride == t.stride && k.width == t.width && k.height == t.height;
    };
    for (const auto &k : known)
        if (k.image && same_page(k.target)) return pixman_image_ref(k.image);
    std::swap(known[0], known[1]);
    if (known[0].image) pixman_image_unref(known[0].image);
    known[0] = {t, pixman_image_create_bits_no_clear(PIXMAN_x8r8g8b8, t.width, t.height, t.pixels,
                                                     t.stride * static_cast<int>(sizeof(uint32_t)))};
    return known[0].image ? pixman_image_ref(known[0].image) : nullptr;
}

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

void straight_line(Canvas &c, Point a, Point b) {
    const int before = (c.pen_width - 1) / 2, after = c.pen_width - before;
    const int left = static_cast<int>(std::min(a.x, b.x)), right = static_cast<int>(std::max(a.x, b.x));
    const int top = static_cast<int>(std::min(a.y, b.y)), bottom = static_cast<int>(std::max(a.y, b.y));
    if (top == bottom) canvas_fill(c, {left, top - before, right + 1, top + after}, c.pen);
    else canvas_fill(c, {left - before, top, left + after, bottom + 1}, c.pen);
}

// Walks the longer axis u and draws runs of equal v across it, only as far as the clip reaches.
void slanted_line(Canvas &c, Point a, Point b) {
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
    const auto run_of = [&](int64_t from, int64_t to, int v, int v_end) {
        const int u0 = static_cast<int>(from), u1 = static_cast<int>(to);
        return steep ? RECT{v - before, u0, v_end - before + span, u1} : RECT{u0, v - before, u1, v_end - before + span};
    };
    if (first >= end) return;
    const auto [low, high] = std::minmax({v_at(first), v_at(end - 1)});
    canvas_begin(c, run_of(first, end, low, high), false);
    for (int64_t u = first; u < end;) {
        const int v = v_at(u);
        const int64_t start = u++;
        while (u < end && v_at(u) == v) ++u;
        canvas_fill_begun(c, run_of(start, u, v, v), c.pen);
    }
}

// ---- drawings ---------------------------------------------------------------------------------------------

// False: it has to be drawn now.
bool collect(Canvas &c, const Piece &piece) {
    constexpr size_t MOST = 16;
    if (!c.collects || c.drawing.pieces.size() == MOST) return false;
    if (vcore::contains(piece.rect, c.drawing.rect)) c.drawing.pieces.clear();
    c.drawing.pieces.push_back(piece);
    return true;
}

// Draws what was collected; what follows is drawn at once.
void draw_collected(Canvas &c) {
    if (!std::exchange(c.collects, false)) return;
    if (c.target.about_to_draw) c.target.about_to_draw(c.drawing.rect, true);
    drawing_paint(c.drawing, c.target.pixels, c.target.stride);
    for (const Piece &piece : c.drawing.pieces) {
        forget_solid(piece.rect);
        if (!piece.pixels) remember_solid(c, piece.rect, piece.color);
    }
}

void end_drawing(Canvas &c) {
    if (c.collects && c.target.show) {
        c.collects = false;
        forget_solid(c.drawing.rect);
        c.target.show(std::move(c.drawing));
    }
    draw_collected(c);
    c.limit = unlimited;
    c.clip = c.full;
}

} // namespace

int page_coordinate(int64_t value, int origin) {
    return static_cast<int>(std::clamp<int64_t>(value + origin, -far_away, far_away));
}

RECT page_rect(const Canvas &c, int64_t left, int64_t top, int64_t right, int64_t bottom) {
    return {page_coordinate(left, c.target.origin_x), page_coordinate(top, c.target.origin_y),
            page_coordinate(right, c.target.origin_x), page_coordinate(bottom, c.target.origin_y)};
}

void canvas_begin(Canvas &c, const RECT &rect, bool whole) {
    draw_collected(c);
    forget_solid(rect);
    if (!c.page || !c.target.about_to_draw) return;
    const auto tell = [&](const RECT &within) {
        const RECT part = rect_common(rect, within);
        if (!rect_empty(part)) c.target.about_to_draw(part, whole);
    };
    if (!whole) return tell(c.clip.extents());
    for (const pixman_box32_t &box : c.clip.boxes()) tell({box.x1, box.y1, box.x2, box.y2});
}

void canvas_fill(Canvas &c, const RECT &rect, gal_pixel color) {
    const RECT seen = rect_common(rect, c.clip.extents());
    if (rect_empty(seen) || collect(c, {seen, color, nullptr})) return;
    canvas_begin(c, rect, true);
    canvas_fill_begun(c, rect, color);
    remember_solid(c, rect, color);
}

void canvas_copy(Canvas &c, const RECT &rect, const LinePixels &pixels) {
    if (collect(c, {rect, 0, pixels})) return;
    canvas_begin(c, rect, true);
    piece_paint({rect, 0, pixels}, c.target.pixels, c.target.stride, rect);
}

Solid canvas_solid(const Canvas &c, const RECT &rect) {
    const auto reaches = [&](const RECT &r) { return !rect_empty(rect_common(r, rect)); };
    if (!c.collects) return g_solid.page == c.target.pixels && reaches(g_solid.rect) ? g_solid : Solid{};
    const auto &pieces = c.drawing.pieces;
    const auto top = std::find_if(pieces.rbegin(), pieces.rend(), [&](const Piece &p) { return reaches(p.rect); });
    return top == pieces.rend() || top->pixels ? Solid{} : Solid{top->rect, top->color, c.target.pixels};
}
void dc_forget_solid() { g_solid = {}; }

void canvas_fill_begun(Canvas &c, const RECT &rect, gal_pixel color) {
    if (!c.page) return;
    for (const pixman_box32_t &box : c.clip.boxes()) {
        const RECT part = rect_common(rect, {box.x1, box.y1, box.x2, box.y2});
        if (!rect_empty(part)) fill_rect(c.target.pixels, c.target.stride, part, color);
    }
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
    Canvas *c = g_spare ? g_spare.release() : new Canvas;
    static_cast<CanvasState &>(*c) = {};
    c->target = target;
    c->client = client_on_page(target);
    c->limit = unlimited;
    if (target.clip) {
        pixman_region32_copy(c->full.get(), target.clip);
        c->full.intersect(c->client);
    } else {
        c->full = vcore::Region(c->client);
    }
    c->clip = c->full;
    dc_move(reinterpret_cast<HDC>(c), target.pixels);
    c->brush = c->bk_color = SysPixelIndex[18];
    c->pen = c->text_color = SysPixelIndex[19];
    c->font = target.font;
    return reinterpret_cast<HDC>(c);
}

void dc_close(HDC hdc) {
    std::unique_ptr<Canvas> c(canvas_of(hdc));
    if (!c) return;
    end_drawing(*c);
    if (c->page) pixman_image_unref(c->page);
    g_spare = std::move(c);
}

void dc_move(HDC hdc, uint32_t *pixels) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    dc_forget_solid();
    DcTarget &t = c->target;
    if (c->page) pixman_image_unref(std::exchange(c->page, nullptr));
    t.pixels = pixels;
    c->page = page_image(t);
    c->collects = c->collects && c->page;
}

RECT dc_clip_box(HDC hdc) {
    Canvas *c = canvas_of(hdc);
    if (!c) return {};
    RECT box = c->clip.extents();
    if (rect_empty(box)) box = rect_common(c->limit, c->client);
    const int dx = c->target.origin_x, dy = c->target.origin_y;
    return {box.left - dx, box.top - dy, box.right - dx, box.bottom - dy};
}

void dc_begin_drawing(HDC hdc, const RECT &rect, gal_pixel ground) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    end_drawing(*c);
    c->limit = page_rect(*c, rect.left, rect.top, rect.right, rect.bottom);
    canvas_forget_texts(*c, c->limit);
    c->clip.intersect(c->limit);
    c->collects = c->page && c->clip.boxes().size() == 1;
    c->drawing = {c->clip.extents(), {}};
    canvas_fill(*c, c->limit, ground);
}

void dc_end_drawing(HDC hdc) {
    if (Canvas *c = canvas_of(hdc)) end_drawing(*c);
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
    canvas_fill(*c, box, c->brush);
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
    if (straight) straight_line(*c, from, to);
    else slanted_line(*c, from, to);
}

void Rectangle(HDC hdc, int x0, int y0, int x1, int y1) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    const RECT r = page_rect(*c, std::min(x0, x1), std::min(y0, y1), int64_t{std::max(x0, x1)} + 1,
                             int64_t{std::max(y0, y1)} + 1);
    const int w = std::min({c->pen_width, RECTW(r), RECTH(r)});
    canvas_fill(*c, {r.left, r.top, r.right, r.top + w}, c->pen);
    canvas_fill(*c, {r.left, r.bottom - w, r.right, r.bottom}, c->pen);
    canvas_fill(*c, {r.left, r.top + w, r.left + w, r.bottom - w}, c->pen);
    canvas_fill(*c, {r.right - w, r.top + w, r.right, r.bottom - w}, c->pen);
}

void FillCircle(HDC hdc, int cx, int cy, int r) {
    Canvas *c = canvas_of(hdc);
    if (!c || r < 0) return;
    const Point centre = point_on_page(*c, cx, cy);
    const int64_t radius = std::min(r, far_away);
    const RECT reach = c->clip.extents();
    const int64_t first = std::max<int64_t>(centre.y - radius, reach.top);
    const int64_t end = std::min<int64_t>(centre.y + radius + 1, reach.bottom);
    const auto at = [](int64_t value) { return static_cast<int>(value); };
    canvas_begin(*c, {at(centre.x - radius), at(first), at(centre.x + radius + 1), at(end)}, false);
    for (int64_t y = first; y < end; ++y) {
        const auto square = static_cast<double>(radius * radius - (y - centre.y) * (y - centre.y));
        const auto half = static_cast<int64_t>(std::sqrt(square));
        canvas_fill_begun(*c, {at(centre.x - half), at(y), at(centre.x + half + 1), at(y + 1)}, c->brush);
    }
}

void SetPixel(HDC hdc, int x, int y, gal_pixel color) {
    Canvas *c = canvas_of(hdc);
    if (!c) return;
    canvas_fill(*c, page_rect(*c, x, y, int64_t{x} + 1, int64_t{y} + 1), color);
}
