// Texts: from GB18030 to characters, from characters to lines, from lines to pixels and to the record.
#include "canvas.h"
#include "font.h"

#include <array>
#include <cstring>
#include <iconv.h>
#include <list>
#include <string>
#include <vector>

namespace {

// ---- decoding ---------------------------------------------------------------------------------------------

// One conversion descriptor, opened at the first text that needs it.
class GbConverter {
public:
    GbConverter() : handle_(iconv_open("UTF-32LE", "GB18030")) {}
    GbConverter(const GbConverter &) = delete;
    GbConverter &operator=(const GbConverter &) = delete;
    ~GbConverter() {
        if (ok()) iconv_close(handle_);
    }
    bool ok() const { return handle_ != reinterpret_cast<iconv_t>(-1); }
    // Appends what can be converted; returns the number of bytes read.
    size_t convert(std::string_view bytes, std::u32string &out) {
        if (!ok()) return 0;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        char *in = const_cast<char *>(bytes.data());
        size_t in_left = bytes.size();
        bool room_was_short = true;
        while (in_left > 0 && room_was_short) {
            std::array<char32_t, 128> block;
            auto *to = reinterpret_cast<char *>(block.data());
            size_t room = sizeof block;
            room_was_short = iconv(handle_, &in, &in_left, &to, &room) == static_cast<size_t>(-1) &&
                             room < sizeof(char32_t);
            out.append(block.data(), (sizeof block - room) / sizeof(char32_t));
        }
        return bytes.size() - in_left;
    }

private:
    iconv_t handle_;
};

void append_gb(std::string_view bytes, std::u32string &out) {
    thread_local GbConverter converter;
    while (!bytes.empty()) {
        bytes.remove_prefix(converter.convert(bytes, out));
        if (bytes.empty()) return;
        out.push_back(replacement_character);
        bytes.remove_prefix(1);
    }
}

void append_decoded(std::string_view bytes, std::u32string &out) {
    size_t ascii = 0;
    while (ascii < bytes.size() && static_cast<unsigned char>(bytes[ascii]) < 0x80) ++ascii;
    out.reserve(out.size() + bytes.size());
    out.append(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(ascii));
    append_gb(bytes.substr(ascii), out);
}

// Line ends become '\n' (or a blank on a single line), tabs wide blanks, other control characters boxes.
void settle_controls(std::u32string &text, bool single_line) {
    std::erase(text, U'\r');
    for (char32_t &c : text) {
        if (c == U'\t')
            c = U'\u3000';
        else if (c == U'\n' && single_line)
            c = U' ';
        else if ((c < 0x20 && c != U'\n') || c == 0x7F)
            c = replacement_character;
    }
}

std::string utf8_of(std::u32string_view text) {
    std::string out;
    out.reserve(text.size() * 3);
    for (const char32_t c : text) {
        const auto tail = [&](int shift) { out.push_back(static_cast<char>(0x80 | ((c >> shift) & 0x3F))); };
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            tail(0);
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            tail(6), tail(0);
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            tail(12), tail(6), tail(0);
        }
    }
    return out;
}

// ---- lines ------------------------------------------------------------------------------------------------

struct Line {
    size_t begin, end; // characters
    int width;
};

// A line's pixels in an ink on a ground, cut to what differs from the ground.
struct Picture {
    gal_pixel ink = 0, ground = 0;
    bool seen = false, made = false; // made at the second sight: values that change all the time are not worth it
    RECT place{};      // from the line's top left corner
    LinePixels pixels;
};

struct Layout {
    // Of which text in which font and width this is the layout.
    std::string bytes;
    uint64_t strike = 0;
    bool single_line = false;
    int64_t most = 0;

    std::u32string text;
    std::vector<Line> lines;
    int width = 0;
    std::array<Picture, 2> pictures; // of a text of one line; two: a row that is current or not
};

bool is_chinese(char32_t c) {
    return (c >= 0x2E80 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7AF) || (c >= 0xF900 && c <= 0xFAFF) ||
           (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFFEF) || (c >= 0x20000 && c <= 0x3FFFF);
}
bool never_first(char32_t c) {
    constexpr std::u32string_view marks = U"，。、！？：；）》】〉」』”’…—％,.!?:;)]}%";
    return marks.find(c) != marks.npos;
}
bool never_last(char32_t c) {
    constexpr std::u32string_view marks = U"（《【〈「『“‘([{";
    return marks.find(c) != marks.npos;
}
bool may_break_between(char32_t before, char32_t after) {
    if (after == U' ') return false; // blanks stay at the end of their line
    if (before == U' ') return true;
    return (is_chinese(before) || is_chinese(after)) && !never_first(after) && !never_last(before);
}

// Takes one line from begin on; returns where the next one begins.
size_t take_line(Layout &layout, Strike &strike, size_t begin, int64_t most) {
    const std::u32string &text = layout.text;
    int64_t width = 0, width_at_break = 0, solid = 0; // solid: without the blanks at the end
    size_t last_break = begin, i = begin;
    for (; i < text.size() && text[i] != U'\n'; ++i) {
        if (i > begin && may_break_between(text[i - 1], text[i])) {
            last_break = i;
            width_at_break = solid;
        }
        width += strike_advance(strike, text[i]);
        if (text[i] == U' ') continue;
        if (width > most && i > begin) {
            const bool inside = last_break == begin;
            const size_t end = inside ? i : last_break;
            const int64_t kept = inside ? width - strike_advance(strike, text[i]) : width_at_break;
            layout.lines.push_back({begin, end, static_cast<int>(kept)});
            return end;
        }
        solid = width;
    }
    // An unbroken line keeps its blanks: they may be there to move the text.
    const int64_t kept = std::min(width, std::max(solid, most));
    layout.lines.push_back({begin, i, static_cast<int>(std::min<int64_t>(kept, 1 << 28))});
    return i < text.size() ? i + 1 : i;
}

void break_lines(Layout &layout, Strike &strike, int64_t most) {
    layout.lines.clear();
    layout.width = 0;
    const std::u32string &text = layout.text;
    for (size_t at = 0; at < text.size();) at = take_line(layout, strike, at, most);
    for (const Line &line : layout.lines) layout.width = std::max(layout.width, line.width);
}

// The texts drawn or measured lately, the last one first. The buffers stay for the next text.
constexpr size_t most_layouts = 64, longest_kept = 1024, least_picture_bytes = 8u << 20;
constexpr int64_t most_picture_pixels = 1 << 19; // while it is made

struct KnownLayouts {
    std::list<Layout> layouts;
    Layout longer; // the last text that was too long to keep
    size_t picture_bytes = 0;

    void drop(Picture &picture) {
        if (picture.pixels) picture_bytes -= picture.pixels->size() * sizeof(uint32_t);
        picture = {};
    }
    void drop_pictures(Layout &layout) {
        for (Picture &picture : layout.pictures) drop(picture);
    }
    // Makes room by forgetting the pictures of the texts that were not seen for longest.
    void keep(Picture &picture, std::vector<uint32_t> pixels, size_t most_bytes) {
        picture_bytes += pixels.size() * sizeof(uint32_t);
        for (auto old = layouts.rbegin(); picture_bytes > most_bytes && old != std::prev(layouts.rend()); ++old)
            drop_pictures(*old);
        picture.pixels = std::make_shared<const std::vector<uint32_t>>(std::move(pixels));
    }
    Layout &front_of(std::list<Layout>::iterator layout) {
        layouts.splice(layouts.begin(), layouts, layout);
        return layouts.front();
    }
    Layout &oldest() {
        if (layouts.size() < most_layouts) layouts.emplace_back();
        drop_pictures(layouts.back());
        return front_of(std::prev(layouts.end()));
    }
};
KnownLayouts &known_layouts() {
    thread_local KnownLayouts known;
    return known;
}

Layout &layout_text(Strike &strike, std::string_view bytes, UINT format, int64_t width) {
    KnownLayouts &known = known_layouts();
    const bool single_line = (format & DT_SINGLELINE) != 0;
    const int64_t most = (format & DT_WORDBREAK) != 0 && !single_line ? std::max<int64_t>(width, 1) : INT32_MAX;
    const uint64_t id = strike_id(strike);
    const auto found = std::find_if(known.layouts.begin(), known.layouts.end(), [&](const Layout &l) {
        return l.strike == id && l.most == most && l.single_line == single_line && l.bytes == bytes;
    });
    if (found != known.layouts.end()) return known.front_of(found);
    Layout &layout = bytes.size() > longest_kept ? known.longer : known.oldest();
    if (&layout != &known.longer) layout.bytes = bytes;
    layout.strike = id, layout.single_line = single_line, layout.most = most;
    layout.text.clear();
    append_decoded(bytes, layout.text);
    settle_controls(layout.text, single_line);
    break_lines(layout, strike, most);
    return layout;
}

std::string_view bytes_of(const char *text, int len) {
    if (!text) return {};
    return {text, len < 0 ? std::strlen(text) : strnlen(text, static_cast<size_t>(len))};
}

// ---- drawing ----------------------------------------------------------------------------------------------

// Page coordinates of a line within the box; below or above where the block does not fit.
RECT line_rect(const Layout &layout, size_t n, const RECT &box, int line_height, UINT format) {
    const auto block = static_cast<int64_t>(layout.lines.size()) * line_height;
    int64_t top = box.top;
    // A block too high for its box begins at the top, where reading begins; a single line stays centred.
    const bool fits = block <= RECTH(box) || layout.lines.size() == 1;
    if ((format & DT_VCENTER) && fits) top = box.top + (RECTH(box) - block) / 2;
    if (format & DT_BOTTOM) top = box.bottom - block;
    top += static_cast<int64_t>(n) * line_height;
    const int width = layout.lines[n].width;
    int64_t left = box.left;
    if (format & DT_CENTER) left = box.left + (int64_t{RECTW(box)} - width) / 2;
    if (format & DT_RIGHT) left = int64_t{box.right} - width;
    return {page_coordinate(left, 0), page_coordinate(top, 0), page_coordinate(left + width, 0),
            page_coordinate(top + line_height, 0)};
}

pixman_image_t *make_ink(gal_pixel color) {
    const auto channel = [&](int shift) { return static_cast<uint16_t>(((color >> shift) & 0xFF) * 0x101); };
    const pixman_color_t ink{channel(16), channel(8), channel(0), 0xFFFF};
    return pixman_image_create_solid_fill(&ink);
}

bool shows_something(std::u32string_view text) { return text.find_first_not_of(U" \n\u3000") != text.npos; }

// Blends the text's only line on its ground beside the screen.
void make_picture(const Canvas &c, Picture &picture, Strike &strike, const Layout &layout) {
    const int beyond = strike_height(strike), width = layout.width + 2 * beyond, height = 3 * beyond;
    std::vector<uint32_t> canvas(static_cast<size_t>(width) * static_cast<size_t>(height), picture.ground);
    pixman_image_t *page = pixman_image_create_bits_no_clear(PIXMAN_x8r8g8b8, width, height, canvas.data(), width * 4);
    pixman_image_t *ink = make_ink(picture.ink);
    strike_draw(strike, page, ink, {beyond, beyond, 0, width, layout.text});
    pixman_image_unref(ink);
    pixman_image_unref(page);
    RECT r{width, height, 0, 0};
    for (int at = 0; at < width * height; ++at) {
        if (canvas[static_cast<size_t>(at)] == picture.ground) continue;
        const int x = at % width, y = at / width;
        r = {std::min(r.left, x), std::min(r.top, y), std::max(r.right, x + 1), std::max(r.bottom, y + 1)};
    }
    picture.made = true;
    if (rect_empty(r)) return;
    picture.place = {r.left - beyond, r.top - beyond, r.right - beyond, r.bottom - beyond};
    std::vector<uint32_t> pixels;
    for (int y = r.top; y < r.bottom; ++y) {
        const auto line = canvas.begin() + ptrdiff_t{y} * width;
        pixels.insert(pixels.end(), line + r.left, line + r.right);
    }
    // A screen full of rows, each current or not, has to fit.
    const size_t screen = static_cast<size_t>(c.target.width) * static_cast<size_t>(c.target.height) * sizeof(uint32_t);
    known_layouts().keep(picture, std::move(pixels), std::max(screen, least_picture_bytes));
}

// Null at the first sight.
const Picture *picture_of(const Canvas &c, Layout &layout, Strike &strike, gal_pixel ground) {
    const gal_pixel ink = c.text_color;
    const auto wanted = [&](const Picture &p) { return p.ink == ink && p.ground == ground; };
    auto &[last, other] = layout.pictures;
    if (!wanted(last)) std::swap(last, other);
    if (wanted(last) && (last.seen || last.made)) {
        if (!last.made) make_picture(c, last, strike, layout);
        return &last;
    }
    known_layouts().drop(last);
    last.ink = ink, last.ground = ground, last.seen = true;
    return nullptr;
}

// Where the ground of a text of one line has one colour, what it will look like is copied. False: it has to be blended.
bool copy_picture(Canvas &c, Strike &strike, Layout &layout, const RECT &line) {
    const int middle = line.top + RECTH(line) / 2;
    const Solid solid = canvas_solid(c, {line.left, middle, line.right, middle + 1});
    const bool plain = c.bk_mode == BM_TRANSPARENT && layout.lines.size() == 1 && !layout.bytes.empty();
    const int64_t height = strike_height(strike), pixels_made = (layout.width + 2 * height) * 3 * height;
    if (!plain || pixels_made > most_picture_pixels || c.clip.boxes().size() != 1) return false;
    if (rect_empty(solid.rect)) return false;
    const Picture *picture = picture_of(c, layout, strike, solid.color);
    if (!picture || !picture->pixels) return picture != nullptr;
    const RECT &p = picture->place;
    const RECT to{line.left + p.left, line.top + p.top, line.left + p.right, line.top + p.bottom};
    const Solid under = canvas_solid(c, to);
    if (!vcore::contains(under.rect, to) || under.color != solid.color || !vcore::contains(c.clip.extents(), to)) return false;
    canvas_copy(c, to, picture->pixels);
    return true;
}

// Draws the lines within the canvas's clip.
void draw_lines(Canvas &c, Strike &strike, Layout &layout, const RECT &box, UINT format) {
    const int height = strike_height(strike);
    const RECT reach = c.clip.extents();
    if (!c.page || rect_empty(reach)) return;
    if (layout.lines.empty()) return;
    if (copy_picture(c, strike, layout, line_rect(layout, 0, box, height, format))) return;
    RECT lines{};
    for (size_t n = 0; n < layout.lines.size(); ++n) lines = rect_around(lines, line_rect(layout, n, box, height, format));
    // Strokes may reach a little beyond their line.
    const int beyond = height / 4;
    const RECT strokes{lines.left - beyond, lines.top - beyond, lines.right + beyond, lines.bottom + beyond};
    if (rect_empty(rect_common(strokes, reach))) return;
    canvas_begin(c, strokes, false);
    pixman_image_set_clip_region32(c.page, c.clip.get());
    pixman_image_t *ink = make_ink(c.text_color);
    for (size_t n = 0; n < layout.lines.size(); ++n) {
        const RECT r = line_rect(layout, n, box, height, format);
        if (r.top >= reach.bottom) break;
        if (r.bottom <= reach.top) continue;
        if (c.bk_mode == BM_OPAQUE) canvas_fill_begun(c, r, c.bk_color);
        const Line &line = layout.lines[n];
        const auto characters = std::span(layout.text).subspan(line.begin, line.end - line.begin);
        strike_draw(strike, c.page, ink, {r.left, r.top, reach.left, reach.right, characters});
    }
    pixman_image_unref(ink);
}

void draw_block(Canvas &c, Strike &strike, Layout &layout, const RECT &box, UINT format) {
    RECT covered{};
    for (size_t n = 0; n < layout.lines.size(); ++n) {
        const RECT r = line_rect(layout, n, box, strike_height(strike), format);
        covered = rect_around(covered, r);
        if (c.bk_mode == BM_OPAQUE) canvas_forget_texts(c, r);
    }
    if (shows_something(layout.text)) canvas_record_text(c, utf8_of(layout.text), covered);
    draw_lines(c, strike, layout, box, format);
}

} // namespace

int DrawText(HDC hdc, const char *text, int len, RECT *rect, UINT format) {
    Canvas *c = canvas_of(hdc);
    if (!c || !rect) return 0;
    const auto strike = font_strike(c->font);
    Layout &layout =
        layout_text(*strike, bytes_of(text, len), format, int64_t{rect->right} - rect->left);
    const auto used = static_cast<int64_t>(layout.lines.size()) * strike_height(*strike);
    const auto height = static_cast<int>(std::min<int64_t>(used, 1 << 28));
    if (format & DT_CALCRECT) {
        rect->right = static_cast<int>(std::min<int64_t>(int64_t{rect->left} + layout.width, INT32_MAX));
        rect->bottom = static_cast<int>(std::min<int64_t>(int64_t{rect->top} + height, INT32_MAX));
        return height;
    }
    const RECT box = page_rect(*c, rect->left, rect->top, rect->right, rect->bottom);
    if (format & DT_NOCLIP) {
        draw_block(*c, *strike, layout, box, format);
        return height;
    }
    if (rect_empty(box)) return height;
    vcore::Region before = c->clip;
    c->clip.intersect(box);
    draw_block(*c, *strike, layout, box, format);
    c->clip = std::move(before);
    return height;
}

int TextOut(HDC hdc, int x, int y, const char *text) {
    Canvas *c = canvas_of(hdc);
    if (!c) return 0;
    const auto strike = font_strike(c->font);
    Layout &layout = layout_text(*strike, bytes_of(text, -1), DT_SINGLELINE, 0);
    draw_block(*c, *strike, layout, page_rect(*c, x, y, x, y), DT_NOCLIP);
    return layout.width;
}

int GetTextWidth(PLOGFONT font, const char *text, int len) {
    const auto strike = font_strike(font);
    return layout_text(*strike, bytes_of(text, len), DT_SINGLELINE, 0).width;
}
