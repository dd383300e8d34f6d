// The icon-list control: rows of three items with a text and a picture, one of them current. Scrolls by dragging and follows
// the current item, which keys 103 and 108 move. GUI thread.
#pragma once

#include <tp_gui.h>

// Class name for CreateWindowEx. The control's additional data is its own.
constexpr const char *ICONLET_CLASS = "iconlet";
// Notified when an item is chosen by a tap or by key 60; the item is the current one then.
constexpr int ILN_CLICKED = 6;

// Registers the class; once, after InitGUI. 0 or -1.
int RegisterIconLetCtrl();

// Adds an item behind the last; text is copied (at most 255 bytes), picture is a PNG's path or null. Its number, or -1.
int iconlet_add_item(HWND control, const char *text, const char *picture, uintptr_t add_data);
void iconlet_reset_content(HWND control);
int iconlet_get_item_count(HWND control);
int iconlet_get_current(HWND control); // -1 when empty
int iconlet_set_current(HWND control, int item);
uintptr_t iconlet_get_item_adddata(HWND control, int item); // 0 when there is no such item
