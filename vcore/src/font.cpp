#include "font.h"

#include "dc.h"
#include "os_wait.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <ft2build.h>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tp_globals.h>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

namespace {

constexpr const char *font_folder = "/system/fonts/";
constexpr const char *default_family = "song";
constexpr int largest_size = 1024;
// The cache is emptied as a whole when it has grown past these.
constexpr size_t most_glyph_bytes = 24u << 20;
constexpr int most_glyphs = 12000;

constexpr FT_Int32 GLYPH_LOAD = FT_LOAD_TARGET_LIGHT | FT_LOAD_NO_BITMAP;

constexpr int pixels_up(FT_Pos value) { return static_cast<int>((value + 63) >> 6); }
constexpr int pixels_round(FT_Pos value) { return static_cast<int>((value + 32) >> 6); }

struct FontLibrary {
    FT_Library handle = nullptr;
    std::future<void> warmer; // works in the library; nobody else does until it is done
    FontLibrary() {
        if (FT_Init_FreeType(&handle) != 0) handle = nullptr;
    }
    FontLibrary(const FontLibrary &) = delete;
    FontLibrary &operator=(const FontLibrary &) = delete;
    void wait() {
        if (warmer.valid()) warmer.get();
    }
    ~FontLibrary() {
        wait();
        if (handle) FT_Done_FreeType(handle);
    }
};

// An open font file. Keeps the library alive, because fonts may outlive fonts_terminate.
class FontFace {
public:
    FontFace(std::shared_ptr<FontLibrary> library, const std::string &path) : library_(std::move(library)) {
        library_->wait();
        if (!library_->handle || FT_New_Face(library_->handle, path.c_str(), 0, &face_) != 0) face_ = nullptr;
        if (face_ && !FT_IS_SCALABLE(face_)) {
            FT_Done_Face(face_);
            face_ = nullptr;
        }
    }
    FontFace(const FontFace &) = delete;
    FontFace &operator=(const FontFace &) = delete;
    ~FontFace() {
        library_->wait();
        if (face_) FT_Done_Face(face_);
    }
    bool ok() const { return face_ != nullptr; }
    // The first glyph of a face takes milliseconds, because the hinter gets to know all its scripts. A thread does that
    // while the program starts.
    void warm_up() {
        library_->wait();
        const auto done = std::make_shared<std::promise<void>>();
        library_->warmer = done->get_future();
        std::thread thread = vcore::start_quiet_thread([face = face_, done] {
            FT_Set_Pixel_Sizes(face, 0, 16);
            for (const char32_t c : {U'g', U'\u56FD'}) FT_Load_Char(face, c, GLYPH_LOAD);
            done->set_value();
        });
        if (thread.joinable()) thread.detach(); // a program that ends at once waits for nobody
        size_ = 0;
    }
    // The face set to a size; null when the file refuses it.
    FT_Face at(int size) {
        library_->wait();
        if (size != size_ && FT_Set_Pixel_Sizes(face_, 0, static_cast<FT_UInt>(size)) != 0) return nullptr;
        size_ = size;
        return face_;
    }

private:
    std::shared_ptr<FontLibrary> library_;
    FT_Face face_ = nullptr;
    int size_ = 0;
};

// The drawn glyphs of all strikes. Handles are good for one generation.
class GlyphCache {
public:
    GlyphCache() { open(); }
    GlyphCache(const GlyphCache &) = delete;
    GlyphCache &operator=(const GlyphCache &) = delete;
    ~GlyphCache() { close(); }
    pixman_glyph_cache_t *get() { return cache_; }
    unsigned generation() const { return generation_; }
    const void *add(const void *strike, char32_t c, pixman_image_t *image, int left, int top) {
        bytes_ += static_cast<size_t>(pixman_image_get_stride(image)) *
                  static_cast<size_t>(pixman_image_get_height(image));
        ++count_;
        return pixman_glyph_cache_insert(cache_, const_cast<void *>(strike), key(c), -left, top, image);
    }
    void remove(const void *strike, char32_t c) {
        pixman_glyph_cache_remove(cache_, const_cast<void *>(strike), key(c));
    }
    // Called between batches only: handles of the batch in hand must stay good.
    void empty_when_full() {
        if (bytes_ > most_glyph_bytes || count_ > most_glyphs) empty();
    }
    void empty() {
        close();
        open();
    }

private:
    static void *key(char32_t c) { return reinterpret_cast<void *>(static_cast<uintptr_t>(c)); }
    void open() {
        cache_ = pixman_glyph_cache_create();
        pixman_glyph_cache_freeze(cache_);
        ++generation_;
        bytes_ = 0;
        count_ = 0;
    }
    void close() {
        pixman_glyph_cache_thaw(cache_);
        pixman_glyph_cache_destroy(cache_);
    }
    pixman_glyph_cache_t *cache_ = nullptr;
    unsigned generation_ = 0;
    size_t bytes_ = 0;
    int count_ = 0;
};

GlyphCache &glyph_cache() {
    static GlyphCache &cache = *new GlyphCache; // outlives every static owner of a font
    return cache;
}

struct Glyph {
    const void *image = nullptr; // null: nothing to draw
    unsigned generation = 0;     // of the cache; 0: never loaded
    int advance = 0;
};

} // namespace

class Strike {
public:
    Strike(std::shared_ptr<FontFace> face, int size, bool bold);
    Strike(const Strike &) = delete;
    Strike &operator=(const Strike &) = delete;
    ~Strike();
    int height() {
        const int above = ascent();
        return above + descent_;
    }
    int ascent() {
        if (!std::exchange(measured_, true)) measure_lines(); // many fonts are made that are seldom used
        return ascent_;
    }
    int size() const { return size_; }
    uint64_t id() const { return id_; }
    const Glyph &glyph(char32_t c);
    int advance(char32_t c) {
        Glyph &g = place(c);
        if (g.generation == 0) load(c, g);
        return g.advance;
    }

private:
    Glyph &place(char32_t c) { return c < ascii_.size() ? ascii_[c] : others_[c]; }
    void load(char32_t c, Glyph &g);
    FT_GlyphSlot load_outline(char32_t c);
    void keep_bitmap(char32_t c, Glyph &g, const FT_GlyphSlot slot);
    void draw_box(char32_t c, Glyph &g);
    void measure_lines();

    inline static uint64_t last_id = 0;
    const uint64_t id_ = ++last_id;
    std::shared_ptr<FontFace> face_; // null: every character is a box
    int size_;
    bool bold_;
    int ascent_ = 0, descent_ = 0;
    bool measured_ = false;
    std::array<Glyph, 128> ascii_{};
    std::unordered_map<char32_t, Glyph> others_;
};

Strike::Strike(std::shared_ptr<FontFace> face, int size, bool bold)
    : face_(std::move(face)), size_(size), bold_(bold) {
    ascent_ = size - size / 5;
    descent_ = std::max(1, size / 4);
}

Strike::~Strike() {
    const auto forget = [&](char32_t c, const Glyph &g) {
        if (g.image && g.generation == glyph_cache().generation()) glyph_cache().remove(this, c);
    };
    for (size_t c = 0; c < ascii_.size(); ++c) forget(static_cast<char32_t>(c), ascii_[c]);
    for (const auto &[c, g] : others_) forget(c, g);
}

// A file's own metrics may leave out accents or what hangs below; a few tall and deep characters settle it.
void Strike::measure_lines() {
    FT_Face face = face_ ? face_->at(size_) : nullptr;
    if (!face) return;
    ascent_ = pixels_up(face->size->metrics.ascender);
    descent_ = pixels_up(-face->size->metrics.descender);
    for (const char32_t c : U"\u00C5gjQ|\u56FD\u9B31\uFF08\uFF0C") {
        FT_GlyphSlot slot = c == 0 ? nullptr : load_outline(c);
        if (!slot) continue;
        FT_BBox box;
        FT_Outline_Get_CBox(&slot->outline, &box);
        ascent_ = std::max(ascent_, pixels_up(box.yMax));
        descent_ = std::max(descent_, pixels_up(-box.yMin));
    }
}

// The face's slot with the outline; null for what the font lacks.
FT_GlyphSlot Strike::load_outline(char32_t c) {
    FT_Face face = face_ ? face_->at(size_) : nullptr;
    if (!face) return nullptr;
    const FT_UInt index = FT_Get_Char_Index(face, c);
    if (index == 0 || FT_Load_Glyph(face, index, GLYPH_LOAD) != 0) return nullptr;
    FT_GlyphSlot slot = face->glyph;
    if (slot->format != FT_GLYPH_FORMAT_OUTLINE) return nullptr;
    if (bold_) {
        const FT_Pos strength = std::max<FT_Pos>(32, static_cast<FT_Pos>(size_) * 64 / 24);
        FT_Outline_Embolden(&slot->outline, strength);
        slot->advance.x += strength;
    }
    return slot;
}

void Strike::load(char32_t c, Glyph &g) {
    g = {};
    g.generation = glyph_cache().generation();
    FT_GlyphSlot slot = c == replacement_character ? nullptr : load_outline(c);
    if (!slot) {
        draw_box(c, g);
        return;
    }
    g.advance = std::max(0, pixels_round(slot->advance.x));
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) == 0 && slot->bitmap.pixel_mode == FT_PIXEL_MODE_GRAY)
        keep_bitmap(c, g, slot);
}

void Strike::keep_bitmap(char32_t c, Glyph &g, const FT_GlyphSlot slot) {
    const auto width = static_cast<int>(slot->bitmap.width), rows = static_cast<int>(slot->bitmap.rows);
    if (width == 0 || rows == 0) return;
    pixman_image_t *image = pixman_image_create_bits(PIXMAN_a8, width, rows, nullptr, 0);
    if (!image) return;
    auto *to = reinterpret_cast<uint8_t *>(pixman_image_get_data(image));
    for (int y = 0; y < rows; ++y)
        std::memcpy(to + ptrdiff_t{y} * pixman_image_get_stride(image),
                    slot->bitmap.buffer + ptrdiff_t{y} * slot->bitmap.pitch, static_cast<size_t>(width));
    g.image = glyph_cache().add(this, c, image, slot->bitmap_left, slot->bitmap_top);
    pixman_image_unref(image);
}

// A hollow box half as wide as the size; nothing for blanks.
void Strike::draw_box(char32_t c, Glyph &g) {
    g.advance = std::max(1, c == U'\u3000' ? size_ : size_ / 2);
    if (c == U' ' || c == U'\u3000') return;
    const int gap = std::max(size_ / 16, 1), thick = std::max(size_ / 20, 1);
    const int width = std::max(1, g.advance - 2 * gap), rows = std::max(1, ascent() - ascent() / 6);
    pixman_image_t *image = pixman_image_create_bits(PIXMAN_a8, width, rows, nullptr, 0);
    if (!image) return;
    auto *to = reinterpret_cast<uint8_t *>(pixman_image_get_data(image));
    for (int y = 0; y < rows; ++y) {
        uint8_t *row = to + ptrdiff_t{y} * pixman_image_get_stride(image);
        const bool full = y < thick || y >= rows - thick;
        for (int x = 0; x < width; ++x) row[x] = full || x < thick || x >= width - thick ? 0xFF : 0;
    }
    g.image = glyph_cache().add(this, c, image, gap, rows);
    pixman_image_unref(image);
}

const Glyph &Strike::glyph(char32_t c) {
    Glyph &g = place(c);
    if (g.generation != glyph_cache().generation()) load(c, g);
    return g;
}

int strike_height(Strike &strike) { return strike.height(); }
uint64_t strike_id(const Strike &strike) { return strike.id(); }
int strike_advance(Strike &strike, char32_t c) { return strike.advance(c); }

void strike_draw(Strike &strike, pixman_image_t *page, pixman_image_t *ink, const GlyphRun &run) {
    std::array<pixman_glyph_t, 256> batch;
    // Batches of large glyphs are short, so that the cache cannot outgrow its limit by much.
    const size_t most =
        std::clamp<size_t>((4u << 20) / static_cast<size_t>(strike.size() * strike.size()), 1, batch.size());
    const int slack = 2 * strike.size();
    size_t count = 0;
    const auto flush = [&] {
        if (count)
            pixman_composite_glyphs_no_mask(PIXMAN_OP_OVER, ink, page, 0, 0, 0, 0, glyph_cache().get(),
                                            static_cast<int>(count), batch.data());
        count = 0;
        glyph_cache().empty_when_full();
    };
    flush();
    int x = run.x;
    for (const char32_t c : run.characters) {
        if (x > run.right + slack) break;
        if (x >= run.left - slack) {
            const Glyph &g = strike.glyph(c);
            if (g.image) batch[count++] = {x, run.line_top + strike.ascent(), g.image};
            x += g.advance;
        } else {
            x += strike.advance(c);
        }
        if (count == most) flush();
    }
    flush();
}

struct LOGFONT {
    std::shared_ptr<Strike> strike;
};

namespace {

struct Registry {
    std::shared_ptr<FontLibrary> library;
    std::map<std::string, std::shared_ptr<FontFace>> faces; // by family; null: no such file
    std::map<std::tuple<FontFace *, int, bool>, std::weak_ptr<Strike>> strikes;
    std::unordered_set<PLOGFONT> fonts;
    std::shared_ptr<Strike> fallback; // the default font
};

Registry &registry() {
    static Registry &instance = *new Registry;
    return instance;
}

std::shared_ptr<FontFace> open_family(const std::string &family) {
    Registry &r = registry();
    if (auto known = r.faces.find(family); known != r.faces.end()) return known->second;
    if (!r.library) r.library = std::make_shared<FontLibrary>();
    for (const char *suffix : {".ttc", ".ttf", ".otf"}) {
        auto face = std::make_shared<FontFace>(r.library, font_folder + family + suffix);
        if (face->ok()) return r.faces[family] = std::move(face);
    }
    return r.faces[family] = nullptr;
}

std::shared_ptr<FontFace> family_or_default(const char *family) {
    const std::string_view name = family ? family : "";
    // Anything else could name a file outside the folder.
    const bool plain =
        !name.empty() && name.size() <= 64 &&
        std::all_of(name.begin(), name.end(), [](unsigned char c) { return c < 128 && std::isalnum(c); });
    if (plain)
        if (auto face = open_family(std::string(name))) return face;
    return open_family(default_family);
}

std::shared_ptr<Strike> open_strike(const std::shared_ptr<FontFace> &face, int size, bool bold) {
    auto &slot = registry().strikes[{face.get(), size, bold}];
    auto strike = slot.lock();
    if (!strike) slot = strike = std::make_shared<Strike>(face, size, bold);
    return strike;
}

} // namespace

std::shared_ptr<Strike> font_strike(PLOGFONT font) {
    Registry &r = registry();
    if (font && r.fonts.contains(font)) return font->strike;
    const int size = std::max(16, g_ptScreenInfo.width / 20);
    if (!r.fallback || r.fallback->size() != size)
        r.fallback = open_strike(open_family(default_family), size, false);
    return r.fallback;
}

int fonts_init() {
    // A file that was missing before may be there now.
    std::erase_if(registry().faces, [](const auto &entry) { return !entry.second; });
    registry().fallback.reset();
    const auto face = open_family(default_family);
    if (face) face->warm_up();
    return face ? 0 : -1;
}

void fonts_terminate() {
    Registry &r = registry();
    r.fallback.reset();
    r.strikes.clear();
    r.faces.clear();
    r.library.reset();
    glyph_cache().empty();
}

PLOGFONT CreateLogFont(const char *, const char *family, const char *, char weight, char, char, char, char,
                       char, int size, int) {
    auto face = family_or_default(family);
    if (!face) return nullptr;
    auto *font = new LOGFONT{open_strike(face, std::clamp(size, 1, largest_size), weight == 'b')};
    registry().fonts.insert(font);
    return font;
}

void DestroyLogFont(PLOGFONT font) {
    if (font && registry().fonts.erase(font) != 0) delete font;
}

int GetLogFontHeight(PLOGFONT font) { return font_strike(font)->height(); }
