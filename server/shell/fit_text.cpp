#include "shell/fit_text.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

struct KeptFont {
    char weight;
    int size;
    PLOGFONT font;
};
std::vector<KeptFont> kept_fonts;

constexpr int SMALLEST = 8; // pixels; below that nobody reads it

bool fits(HDC hdc, PLOGFONT font, const char *text, int width, int height, UINT format) {
    if (!(format & DT_WORDBREAK) && !std::strchr(text, '\n'))
        return GetTextWidth(font, text, -1) <= width && GetLogFontHeight(font) <= height;
    RECT need{0, 0, width, height};
    PLOGFONT before = SelectFont(hdc, font);
    DrawText(hdc, text, -1, &need, format | DT_CALCRECT);
    SelectFont(hdc, before);
    return RECTW(need) <= width && RECTH(need) <= height;
}

} // namespace

PLOGFONT shell_font(char weight, int size) {
    for (const KeptFont &kept : kept_fonts)
        if (kept.weight == weight && kept.size == size) return kept.font;
    PLOGFONT font = CreateLogFont("ttf", "song", "GB18030", weight, 'r', 'n', 'c', 'n', 'n', size, 0);
    if (font) kept_fonts.push_back({weight, size, font});
    return font;
}

void shell_fonts_reset() {
    for (const KeptFont &kept : kept_fonts) DestroyLogFont(kept.font);
    kept_fonts.clear();
}

PLOGFONT shell_font_fitting(HDC hdc, const char *text, int width, int height, UINT format, char weight,
                            int size) {
    PLOGFONT font = nullptr;
    // Steps of about an eighth keep the number of sizes, and with it the glyph cache, small.
    for (int s = size;; s = std::max(SMALLEST, s - std::max(1, s / 8))) {
        font = shell_font(weight, s);
        if (!font || s <= SMALLEST || fits(hdc, font, text, width, height, format)) return font;
    }
}

void draw_text_fitted(HDC hdc, const char *text, const RECT &rect, UINT format, char weight, int size) {
    if (!text || !*text) return;
    PLOGFONT font = shell_font_fitting(hdc, text, RECTW(rect), RECTH(rect), format, weight, size);
    PLOGFONT before = font ? SelectFont(hdc, font) : nullptr;
    RECT box = rect;
    DrawText(hdc, text, -1, &box, format);
    if (font) SelectFont(hdc, before);
}
