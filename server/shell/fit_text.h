// Texts that must not be cut: drawn in the wished size where they fit, smaller where they do not. GUI thread.
#pragma once

#include <tp_gui.h>

// The song font of one weight (r, m, b) and size, created once and kept; null when there is no font file.
PLOGFONT shell_font(char weight, int size);
// Forgets the kept fonts; the fonts' users take new ones.
void shell_fonts_reset();
// The largest font of the weight, at most size, in which the text stays inside width x height with the format
// (DT_WORDBREAK or DT_SINGLELINE); the smallest one when none does.
PLOGFONT shell_font_fitting(HDC hdc, const char *text, int width, int height, UINT format, char weight,
                            int size);
// Draws with that font and gives the device context its own font back.
void draw_text_fitted(HDC hdc, const char *text, const RECT &rect, UINT format, char weight, int size);
