// Font files, glyphs and their cache. GUI thread.
#pragma once

#include <cstdint>
#include <memory>
#include <pixman.h>
#include <span>
#include <string_view>
#include <tp_gui.h>

// What cannot be read or shown; drawn as a box.
constexpr char32_t replacement_character = 0xFFFD;

// A font file at one size and weight, with its glyphs. Shared by all fonts that ask for the same.
class Strike;

// The strike of a font; the default font's for null and for fonts already destroyed.
std::shared_ptr<Strike> font_strike(PLOGFONT font);
int strike_height(Strike &strike); // of a line: highest ascender to lowest descender
uint64_t strike_id(const Strike &strike); // never given twice
int strike_advance(Strike &strike, char32_t c);

// Draws one line of characters from x on, within the page's clip.. left and
// right bound what is visible, so that the rest of a long line costs nothing.
struct GlyphRun {
    int x = 0, line_top = 0;
    int left = 0, right = 0;
    std::span<const char32_t> characters;
};
void strike_draw(Strike &strike, pixman_image_t *page, pixman_image_t *ink, const GlyphRun &run);
