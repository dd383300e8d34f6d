#include "testwnd/mmi_testwnd_touch_circlegrid.h"

#include <cerrno>

#include "base/log_door.h"
#include "config/main_config.h"
#include "shell/main_menu.h"
#include "testwnd/touch_pad.h"

namespace {
constexpr int RIM_COLOR = 9, TOUCHED_COLOR = 10, GROUND_COLOR = 18;
constexpr int RIM = 2; // pixels

TouchCircles g_circles;

bool prepare();
void touched(HDC hdc, TouchPoint from, TouchPoint to);
bool circle_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void paint(HWND, HDC hdc);
void on_close(HWND);

TouchPad g_pad{.window = touch_pad_window(circle_proc, on_close, paint), .prepare = prepare, .touched = touched};

bool prepare() {
    g_circles = touch_circles(screen_width(), screen_height(), g_bTPShape);
    if (touch_pad_allocate(g_pad, static_cast<int>(g_circles.centres.size()))) return true;
    LOG_E(TOUCH_TAG, "no memory for the circles, errno(%d)", errno);
    return false;
}

void draw_circle(HDC hdc, int number) {
    const TouchPoint at = g_circles.centres[static_cast<size_t>(number)];
    SetBrushColor(hdc, SysPixelIndex[RIM_COLOR]);
    FillCircle(hdc, at.x, at.y, g_circles.radius);
    SetBrushColor(hdc, SysPixelIndex[touch_pad_is_marked(g_pad, number) ? TOUCHED_COLOR : GROUND_COLOR]);
    FillCircle(hdc, at.x, at.y, g_circles.radius - RIM);
}

void touched(HDC hdc, TouchPoint from, TouchPoint to) {
    for (int i = 0; i < g_pad.totalCount; ++i)
        if (touch_line_meets(g_circles, g_circles.centres[static_cast<size_t>(i)], from, to) && touch_pad_mark(g_pad, i))
            draw_circle(hdc, i);
}

void paint(HWND, HDC hdc) {
    for (int i = 0; i < g_pad.totalCount; ++i) draw_circle(hdc, i);
}

void on_close(HWND) { g_pad.marks.reset(); }

bool circle_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result) {
    return touch_pad_message(g_pad, hwnd, message, wParam, lParam, result);
}
} // namespace

void mmi_testwnd_touch_circlegrid_Entry(bool preview) { touch_pad_open(g_pad, preview); }

int mmi_AutoTest_touch_circlegrid_Start() {
    touch_pad_pc_open(g_pad);
    return 1;
}

int mmi_AutoTest_touch_circlegrid_Stop() { return touch_pad_pc_close(g_pad); }
