#include "testwnd/mmi_touchadusting_LineWin.h"

#include <algorithm>
#include <cerrno>

#include "base/log_door.h"
#include "config/test_items.h"
#include "shell/main_menu.h"
#include "testwnd/mmi_testwnd_key.h"
#include "testwnd/mmi_testwnd_touch_circlegrid.h"
#include "testwnd/touch_lanes.h"
#include "testwnd/touch_pad.h"

int g_RectWidth = 0;

namespace {
constexpr int LANE_COLOR = 9, TOUCHED_COLOR = 10;

TouchLanes g_lanes{};

bool mmi_TouchAdjusting_LineWinProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void paint(HWND, HDC hdc);
void on_close(HWND);
void touched(HDC hdc, TouchPoint, TouchPoint to) { UpdateOneRect(hdc, to.x, to.y); }

TouchPad g_pad{.window = touch_pad_window(mmi_TouchAdjusting_LineWinProc, on_close, paint),
               .prepare = [] { return initCells() == 1; },
               .touched = touched};

void fill_cell(HDC hdc, int cell) {
    const RECT r = touch_cell_rect(g_lanes, cell);
    SetBrushColor(hdc, SysPixelIndex[TOUCHED_COLOR]);
    FillBox(hdc, r.left + 1, r.top + 1, RECTW(r) - 2, RECTH(r) - 2);
}

void paint(HWND, HDC hdc) {
    SetPenColor(hdc, SysPixelIndex[LANE_COLOR]);
    SetPenWidth(hdc, 1);
    // A lane's outer border may lie just off the screen; it is drawn along the edge then.
    for (const RECT &lane : g_lanes.lanes)
        Rectangle(hdc, lane.left, lane.top, std::min(lane.right, screen_width() - 1), std::min(lane.bottom, screen_height() - 1));
    for (int cell = 0; cell < g_pad.totalCount; ++cell)
        if (touch_pad_is_marked(g_pad, cell)) fill_cell(hdc, cell);
}

void on_close(HWND) { g_pad.marks.reset(); }

bool mmi_TouchAdjusting_LineWinProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result) {
    return touch_pad_message(g_pad, hwnd, message, wParam, lParam, result);
}

void read_settings() {
    ConfigPara paras[12] = {};
    const int count = test_item_parameters("TKI_TOUCH", paras, 12);
    std::string key, width;
    parameter_value(paras, count, "StopTestKey", "HOME", &key);
    g_StopTouchTestKeyVal = Get_Keytest_item_key_value(key.c_str());
    g_RectWidth = parameter_value(paras, count, "RectWidth", "0", &width);
    if (g_RectWidth >= 0 && g_RectWidth <= screen_width()) return;
    LOG_RAW(ANDROID_LOG_ERROR, TOUCH_TAG, "Fatal error::%s::RectWidth=%s,g_RectWidth=%d", __func__, width.c_str(), g_RectWidth);
    g_RectWidth = 0;
}

void open_for_operator(bool preview) {
    read_settings();
    if (g_bTPShape == 0) touch_pad_open(g_pad, preview);
    else mmi_testwnd_touch_circlegrid_Entry(preview);
}

int RectangleTouch_Start() {
    touch_pad_pc_open(g_pad);
    return 1;
}
} // namespace

int initCells() {
    g_lanes = touch_lanes(screen_width(), screen_height(), g_RectWidth);
    LOG_RAW(ANDROID_LOG_DEBUG, TOUCH_TAG, "%s::1111 cells->cellHeight=%d", __func__, g_lanes.cellHeight);
    if (g_RectWidth > screen_width() / 3)
        LOG_E(TOUCH_TAG, "RectWidth %d is over a third of the screen; set at most %d or 0", g_RectWidth, screen_width() / 3);
    if (touch_pad_allocate(g_pad, g_lanes.totalCount)) return 1;
    LOG_RAW(ANDROID_LOG_ERROR, TOUCH_TAG, "initCells: Fail to calloc memory ,errno(%d)", errno);
    return 0;
}

void UpdateOneRect(HDC hdc, int x, int y) {
    const int cell = touch_cell_at(g_lanes, x, y);
    if (touch_pad_mark(g_pad, cell)) fill_cell(hdc, cell);
}

void mmi_testwnd_touchTestEntry() { open_for_operator(false); }

void mmi_testwnd_Monomer_touchTestEntry() { open_for_operator(true); }

void mmi_testwnd_Monomer_touchscreenTest_Stop() { mmi_AutoTest_touchscreenTest_Stop_Entry(); }

int mmi_AutoTest_touchscreenTest_Entry() {
    on_gui_thread([] {
        read_settings();
        return g_bTPShape == 0 ? RectangleTouch_Start() : mmi_AutoTest_touch_circlegrid_Start();
    });
    return 1;
}

int mmi_AutoTest_touchscreenTest_Stop_Entry() {
    return g_bTPShape == 0 ? touch_pad_pc_close(g_pad) : mmi_AutoTest_touch_circlegrid_Stop();
}
