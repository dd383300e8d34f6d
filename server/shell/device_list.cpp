// The device test list: the ways of running the device tests.
#include "shell/device_list.h"

#include <cstdio>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/bars.h"
#include "shell/main_menu.h"
#include "shell/sequencer.h"

HWND g_device_test_wnd = HWND_NULL;

namespace {

constexpr const char *TAG = "TKI_MAIN";
constexpr int ROWS = 4, PRETEST_FROM = 2;
constexpr int ID_TITLE = 20;
enum { ROW_AUTO = 0, ROW_ITEMS = 1, ROW_PRETEST1 = 2, ROW_PRETEST2 = 3 };
constexpr int PASSED = 1;

struct Row {
    MainMenuRow row;
    const char *key;
};
Row rows[ROWS] = {
    {{0, "", mmi_AutoTestEntry}, "menu_AutoTest"},
    {{1, "", mmi_ItemTestEntry}, "menu_ItemTest"},
    {{2, "", mmi_AutoTestEntry_Ex}, "menu_AutoTest_EX"},
    {{3, "", mmi_AutoTestEntry_Ex2}, "menu_AutoTest_EX2"},
};

void ask(LPARAM kind) { SendMessage(g_main_menu_wnd, MSG_CREATEDIALG, g_device_test_wnd, kind); }

// A handset that has passed the preview is not run again by a slip of the finger.
bool asks_first(int row) {
    const bool passed = g_testinfo[STATION_CAC_PREVIEW].test_result == PASSED;
    const bool next_passed = g_testinfo[STATION_CAC_PREVIEW + 1].test_result == PASSED;
    switch (row) {
    case ROW_AUTO:
    case ROW_PRETEST1:
        return passed || next_passed;
    case ROW_PRETEST2:
        return passed;
    default:
        return false;
    }
}

void ScrollViewProc(HWND sv, int, int nc, uintptr_t add_data) {
    if (nc != SVN_CLICKED) return;
    if (g_deviceIsAutoTest == 1) {
        LOG_E(TAG, "device autotest running,please exit autotest.");
        return;
    }
    int n = scrollview_get_item_index(sv, reinterpret_cast<HSVITEM>(add_data));
    if (n < 0) n = scrollview_get_current(sv);
    if (n < 0 || n >= ROWS) return;
    constexpr LPARAM kind[ROWS] = {7, 0, 8, 9};
    if (asks_first(n))
        ask(kind[n]);
    else
        rows[n].row.entry();
}

void mmi_DeviceTestDrawItem(HWND sv, HSVITEM item, HDC hdc, RECT *rect) {
    if (scrollview_is_item_hilight(sv, item)) SetBkColor(hdc, SysPixelIndex[9]);
    menu_draw_row(sv, item, hdc, rect, 17, false, 19);
}

void read_results() {
    uint8_t area[TKI_FLAG_AREA] = {};
    if (tki_api_GetTestInfoFlag) tki_api_GetTestInfoFlag(area);
    GetTestItemsResult(area);
    run_command("killall spk_audio");
}

int build(HWND hwnd) {
    const HWND title = CreateWindowEx("static", lang_text("title_DeviceTest"), 0x8400101, 0, ID_TITLE, 0, 0,
                                      screen_width(), status_bar_height(), hwnd, 0);
    SetWindowFont(title, g_font_title);
    const RECT list{0, 0, screen_width(), screen_height() - softkey_bar_height()};
    const HWND sv = create_shell_list(hwnd, list, g_font_menu, mmi_DeviceTestDrawItem);
    scrollview_set_choose_key(sv, KEY_START); // key 60 closes this list
    bool ok = false;
    const int pretest = main_config_int("MMI", "pretest_menu_enable", "0", &ok);
    if (!ok) return -1;
    for (Row &row : rows) {
        if (row.row.index >= PRETEST_FROM && !pretest) continue;
        std::snprintf(row.row.text, sizeof row.row.text, "%s", lang_text(row.key).text);
        scrollview_add_item(sv, row_height(), row.row.index, row.row.text);
    }
    offer_shell_list(sv, ScrollViewProc);
    read_results();
    return 0;
}

// False while an automatic run owns bars and screen.
bool idle(const char *message) {
    if (g_deviceIsAutoTest != 1) return true;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_DeviceTestWndProc %s g_deviceIsAutoTest is true, break. ", message);
    return false;
}

void refresh(WPARAM wParam) {
    if (!idle("MSG_ACTIVE") || wParam != 1) return;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_DeviceTestWndProc wParam=TRUE");
    show_bar_texts(lang_text("title_DeviceTest"), "", "", lang_text("softkeybar_back"));
}

void paint(HWND hwnd) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_DeviceTestWndProc MSG_PAINT begin");
    const bool line = idle("MSG_PAINT");
    HDC hdc = BeginPaint(hwnd);
    if (line) draw_top_line(hdc);
    EndPaint(hwnd, hdc);
}

void close(HWND hwnd) {
    g_deviceIsAutoTest = 0;
    DestroyAllControls(hwnd);
    DestroyMainWindow(hwnd);
}

LRESULT mmi_DeviceTestWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        return build(hwnd);
    case MSG_ACTIVE:
        refresh(wParam);
        break;
    case MSG_PAINT:
        paint(hwnd);
        return 0;
    case MSG_KEYDOWN:
        if (wParam != KEY_PASS && wParam != KEY_FAIL) break;
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return 0;
    case MSG_CLOSE:
        close(hwnd);
        return 0;
    case MSG_DESTROY: // also when the menu takes its windows along
        g_device_test_wnd = HWND_NULL;
        break;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void mmi_CreateTestDeviceTestWnd() {
    const HWND hwnd = create_shell_window(mmi_DeviceTestWndProc, g_main_menu_wnd, test_window_rect());
    if (hwnd == HWND_INVALID) return;
    g_device_test_wnd = hwnd;
    ShowWindow(hwnd, SW_SHOWNORMAL);
}

} // namespace

void mmi_DeviceTestEntry() {
    if (g_device_test_wnd != HWND_NULL) {
        ShowWindow(g_device_test_wnd, SW_SHOWNORMAL);
        return;
    }
    mmi_CreateTestDeviceTestWnd();
}
