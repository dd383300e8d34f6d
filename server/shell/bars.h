// Status bar (battery bar) and soft key bar. Each is created on a parent window with a rectangle and destroyed with it.
// Both hold three texts (left, middle, right) and one text colour. GUI thread, except the battery bar's text functions,
// which TitleInfoShow serialises.
#pragma once

#include <tp_gui.h>

HWND svr_create_softkeybar(HWND parent, const RECT *screen_rect);
HWND svr_create_batteryshow(HWND parent, const RECT *screen_rect);
void svr_destroy_softkeybar();
void svr_destroy_batteryshow();

// Texts are copied, at most 255 bytes. Null leaves an item unchanged.
void tp_skb_set_text_items(const char *left, const char *middle, const char *right);
void tp_skb_set_text_items_byIndex(const char *text, int index);
void tp_skb_set_text_col(int color_index);
void tp_skb_update();
void tp_skb_show(bool visible);
void tp_batteryshow_set_text_items(const char *left, const char *middle, const char *right);
void tp_batteryshow_set_text_items_byIndex(const char *text, int index);
void tp_batteryshow_set_text_col(int color_index);
void tp_batteryshow_update();
// A window that came to the front: shows both bars with its title and soft keys, in the normal colour.
void show_bar_texts(const char *title, const char *left, const char *middle, const char *right);
