#include "testwnd/touch_pad.h"

#include <algorithm>
#include <tp_clock.h>
#include <utility>

#include "base/log_door.h"
#include "config/test_items.h"
#include "device/result_flags.h"
#include "shell/main_menu.h"
#include "shell/sequencer.h"

int g_StopTouchTestKeyVal = 102;

namespace {
constexpr int STOP_KEYS[] = {KEY_POWER_CODE, KEY_CLOSE, 102, KEY_VOLUP, KEY_VOLDOWN, 127};
constexpr int STOP_KEY_OTHERWISE = 127;
constexpr int JUMP = 50; // pixels either way; a finger that is reported farther off has not been followed
constexpr int LINE_WIDTH = 3, LINE_COLOR = 14;

bool all_touched(const TouchPad &pad) { return pad.totalCount > 0 && pad.drawCount >= pad.totalCount; }

TouchPoint point_of(LPARAM lParam) { return {LOSWORD(lParam), HISWORD(lParam)}; }

void draw_line(HDC hdc, TouchPoint from, TouchPoint to) {
    SetPenColor(hdc, SysPixelIndex[LINE_COLOR]);
    SetPenWidth(hdc, LINE_WIDTH);
    MoveTo(hdc, from.x, from.y);
    LineTo(hdc, to.x, to.y);
}

void on_pen_down(TouchPad &pad, HWND hwnd, TouchPoint at) {
    const HDC hdc = GetClientDC(hwnd);
    pad.touched(hdc, at, at);
    ReleaseDC(hdc);
    SetCapture(hwnd);
    pad.last = at;
    pad.last_valid = true;
}

void on_pen_move(TouchPad &pad, HWND hwnd, TouchPoint at) {
    if (pad.drawCount >= pad.totalCount) return;
    const bool followed = pad.last_valid && std::abs(at.x - pad.last.x) <= JUMP && std::abs(at.y - pad.last.y) <= JUMP;
    const HDC hdc = GetClientDC(hwnd);
    pad.touched(hdc, followed ? pad.last : at, at);
    if (followed) {
        draw_line(hdc, pad.last, at);
        pad.last = at; // only here: the line goes on from the point before a jump
    }
    ReleaseDC(hdc);
}

void on_pen_up(TouchPad &pad, HWND hwnd, TouchPoint at) {
    if (all_touched(pad) && !pad.window.pc_mode) {
        test_frame_pass(pad.window);
        return;
    }
    if (pad.last_valid) {
        const HDC hdc = GetClientDC(hwnd);
        draw_line(hdc, pad.last, at);
        ReleaseDC(hdc);
    }
    pad.last_valid = false;
    ReleaseCapture();
}

void finish_early(TouchPad &pad) {
    LOG_RAW(ANDROID_LOG_DEBUG, TOUCH_TAG, "%s::cells.drawCount=%d,cells.totalCount=%d", __func__, pad.drawCount, pad.totalCount);
    if (!all_touched(pad)) {
        test_frame_fail(pad.window);
        return;
    }
    // Also outside an automatic run, where lifting the finger records nothing. Agreed.
    if (!pad.window.monomer && g_deviceIsAutoTest != 1) test_frame_write_verdict(pad.window, 1);
    test_frame_pass(pad.window);
}

void on_key_up(TouchPad &pad, int code) {
    if (std::find(std::begin(STOP_KEYS), std::end(STOP_KEYS), g_StopTouchTestKeyVal) == std::end(STOP_KEYS))
        g_StopTouchTestKeyVal = STOP_KEY_OTHERWISE;
    const int pressed = std::exchange(pad.key_down, 0);
    if (code == g_StopTouchTestKeyVal && code == pressed) finish_early(pad);
    // No verdict. The key that chose the test in the list is released here, too.
    else if (pressed && (code == KEY_PASS || code == KEY_FAIL)) test_frame_close(pad.window);
}

// False: the test cannot open.
bool begin(TouchPad &pad, bool preview) {
    test_frame_close(pad.window);
    pad.totalCount = pad.drawCount = pad.key_down = 0;
    pad.last_valid = false;
    pad.window.monomer = preview;
    // The power key must not put the handset to sleep where it ends the test.
    pad.window.keep_awake = g_StopTouchTestKeyVal == KEY_POWER_CODE;
    return pad.prepare();
}
} // namespace

TestWindow touch_pad_window(bool (*proc)(HWND, UINT, WPARAM, LPARAM, LRESULT *), void (*on_close)(HWND),
                            void (*paint)(HWND, HDC)) {
    return {.domain = "TKI_TOUCH", .station = STATION_TOUCH, .full_screen = true, .keys = {"", "", ""}, .pass_by_key = false,
            .proc = proc, .on_close = on_close, .paint = paint};
}

bool touch_pad_message(TouchPad &pad, HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result) {
    *result = 0;
    switch (message) {
    case MSG_LBUTTONDOWN: on_pen_down(pad, hwnd, point_of(lParam)); return true;
    case MSG_MOUSEMOVE: on_pen_move(pad, hwnd, point_of(lParam)); return true;
    case MSG_LBUTTONUP: on_pen_up(pad, hwnd, point_of(lParam)); return true;
    case MSG_KEYDOWN: pad.key_down = static_cast<int>(wParam); return true;
    case MSG_KEYUP: on_key_up(pad, static_cast<int>(wParam)); return true;
    default: return false;
    }
}

bool touch_pad_allocate(TouchPad &pad, int cells) {
    pad.marks.reset(static_cast<uint8_t *>(calloc(static_cast<size_t>(cells), 1)));
    if (!pad.marks) return false;
    pad.totalCount = cells;
    pad.drawCount = 0;
    return true;
}

bool touch_pad_is_marked(const TouchPad &pad, int cell) { return pad.marks && pad.marks.get()[cell] != 0; }

bool touch_pad_mark(TouchPad &pad, int cell) {
    if (cell < 0 || cell >= pad.totalCount || !pad.marks || pad.marks.get()[cell]) return false;
    pad.marks.get()[cell] = 1;
    ++pad.drawCount;
    return true;
}

void touch_pad_open(TouchPad &pad, bool preview) {
    if (begin(pad, preview)) test_frame_open(pad.window);
}

void touch_pad_pc_open(TouchPad &pad) {
    on_gui_thread([&pad] {
        Check_AllTestWnd_Closed();
        return begin(pad, false) ? test_frame_pc_open(pad.window) : 0;
    });
}

int touch_pad_pc_close(TouchPad &pad) {
    const int touched = on_gui_thread([&pad] {
        pad.window.pc_mode = 0;
        const bool all = all_touched(pad);
        test_frame_close(pad.window);
        return all ? 1 : 0;
    });
    // Gives the window beneath time to come up before the PC's next command. The GUI thread itself needs no wait.
    if (!tp_is_gui_thread()) tp_clock_sleep_ms(100);
    return touched == 1 ? 1 : 0;
}
