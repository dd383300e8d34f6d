// The top window: rows, message loop, and the door for everything that other parts send to the menu.
#include "shell/menu_internal.h"

#include <cstdio>
#include <tp_globals.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "device/factory_slots.h"
#include "shell/bars.h"
#include "shell/device_list.h"
#include "shell/fit_text.h"
#include "shell/shell_actions.h"
#include "shell/test_info.h"

std::atomic<HWND> g_main_menu_wnd{HWND_NULL};
int g_bCoupleTest = 0, g_bAgingTest = 1;

// Texts are language keys until the menu is built, then translations.
MainMenuRow g_menu_rows[MENU_ROWS] = {
    {0, "menu_ProduceInfo", mmi_TestInfoEntry},
    {1, "menu_DeviceTest", mmi_DeviceTestEntry},
    {2, "", nullptr},
    {3, "", nullptr},
    {4, "", nullptr},
};

namespace {

int fixed_rows = 0; // rows of the table that were not added by the configuration

void mmi_CurrentWnd_ReadConfig() {
    bool ok = false;
    g_bCoupleTest = main_config_int("MAIN_UI", "coupleTest", "0", &ok);
    if (!ok) g_bCoupleTest = 0;
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "%s,L%d::g_bCoupleTest=%d.", __func__, __LINE__, g_bCoupleTest);
    g_bAgingTest = main_config_int("MAIN_UI", "aging", "1", &ok);
    if (!ok) g_bAgingTest = 1;
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "%s,L%d::g_bAgingTest=%d.", __func__, __LINE__, g_bAgingTest);
}

void coupling_row() {
    if (g_shell_actions.coupling_entry)
        g_shell_actions.coupling_entry();
    else
        LOG_D(MENU_TAG, "coupling is not built in");
}

void aging_row() {
    if (g_shell_actions.aging_list_entry)
        g_shell_actions.aging_list_entry();
    else
        LOG_D(MENU_TAG, "aging is not built in");
}

void mmi_SVDrawItem(HWND sv, HSVITEM item, HDC hdc, RECT *rect) {
    menu_draw_row(sv, item, hdc, rect, 17, true, 19);
}

void ScrollViewProc(HWND sv, int, int nc, uintptr_t add_data) {
    if (nc != SVN_CLICKED) return;
    int n = scrollview_get_item_index(sv, reinterpret_cast<HSVITEM>(add_data));
    if (n < 0) n = scrollview_get_current(sv); // the chosen row is the current one
    if (n >= 0 && n < MENU_ROWS && g_menu_rows[n].entry) g_menu_rows[n].entry();
}

void add_row(HWND sv, const MainMenuRow &row) { scrollview_add_item(sv, row_height(), row.index, row.text); }

// The next free slot; a full table counts the row all the same, so that the limit is noticed.
int add_configured_row(HWND sv, int count, const char *key, void (*entry)()) {
    if (count < MENU_ROWS) {
        MainMenuRow &row = g_menu_rows[count];
        row.index = static_cast<uint32_t>(count);
        std::snprintf(row.text, sizeof row.text, "%s", lang_text(key).text);
        row.entry = entry;
        add_row(sv, row);
    }
    return count + 1;
}

int add_rows(HWND sv) {
    int count = 0;
    while (count < MENU_ROWS && g_menu_rows[count].entry) {
        MainMenuRow &row = g_menu_rows[count];
        std::snprintf(row.text, sizeof row.text, "%s", lang_text(row.text).text);
        add_row(sv, row);
        ++count;
    }
    fixed_rows = count;
    if (g_bCoupleTest) count = add_configured_row(sv, count, "menu_CoupleTest", coupling_row);
    if (g_bAgingTest) count = add_configured_row(sv, count, "title_AgingTest", aging_row);
    return count;
}

void build(HWND hwnd) {
    g_main_menu_wnd = hwnd;
    if (g_shell_actions.wifi_read_config) g_shell_actions.wifi_read_config();
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "main_wifi_init_flag = %d", g_main_wifi_init_flag.load());
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "g_ptScreenInfo.width= %d", screen_width());
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "g_ptScreenInfo.height = %d", screen_height());
    const RECT battery{0, 0, screen_width(), status_bar_height()};
    const RECT softkeys{0, screen_height() - softkey_bar_height(), screen_width(), screen_height()};
    const RECT list{0, 0, screen_width(), static_cast<int>(row_height() * 5.5)};
    const HWND sv = create_shell_list(hwnd, list, g_font_menu, mmi_SVDrawItem);
    const int count = add_rows(sv);
    if (count > MENU_ROWS) {
        LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "item num:%d,max:%d.", count, MENU_ROWS);
        return;
    }
    offer_shell_list(sv, ScrollViewProc);
    svr_create_softkeybar(hwnd, &softkeys);
    svr_create_batteryshow(hwnd, &battery);
    battery_set_title_sink(TitleInfoShow);
}

void close(HWND hwnd) {
    battery_set_title_sink(nullptr);
    menu_drop_dialog();
    menu_remove_key_hook();
    menu_stop_threads();
    svr_destroy_softkeybar();
    svr_destroy_batteryshow();
    PostQuitMessage(hwnd);
    g_main_menu_wnd = HWND_NULL;
    for (int n = fixed_rows; n < MENU_ROWS; ++n) g_menu_rows[n].entry = nullptr;
    DestroyAllControls(hwnd);
    DestroyMainWindow(hwnd);
}

HWND create_window() {
    return create_shell_window(mmi_ExampleWin_MenuWndProc, HWND_DESKTOP, test_window_rect());
}

void register_battery_observers() {
    if (!TKI_API_BatteryService_register_Observer) return;
    TKI_API_BatteryService_register_Observer(TKI_OBSERVER_TEMPERATURE,
                                             reinterpret_cast<tki_observer>(batteryTemperatureobserver_cb));
    TKI_API_BatteryService_register_Observer(TKI_OBSERVER_VOLT,
                                             reinterpret_cast<tki_observer>(batteryVoltobserver_cb));
}

} // namespace

void menu_draw_row(HWND sv, HSVITEM item, HDC hdc, RECT *rect, int highlight_color, bool fill_normal,
                   int text_color) {
    const bool highlighted = scrollview_is_item_hilight(sv, item);
    SetBkMode(hdc, BM_TRANSPARENT);
    if (highlighted || fill_normal) {
        SetBrushColor(hdc, SysPixelIndex[highlighted ? highlight_color : 18]);
        FillBox(hdc, rect->left + 1, rect->top + 1, RECTW(*rect) - 2, RECTH(*rect) - 2);
    }
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[20]);
    MoveTo(hdc, rect->left + 3, rect->top);
    LineTo(hdc, rect->right - 1, rect->top);
    SetTextColor(hdc, SysPixelIndex[text_color]);
    const int size = screen_width() < 1092 ? screen_width() / 12 : 90;
    draw_text_fitted(hdc, scrollview_get_item_text(item), *rect,
                     DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOCLIP, 'r', size);
    MoveTo(hdc, rect->left + 3, rect->bottom - 1);
    LineTo(hdc, rect->right - 1, rect->bottom - 1);
}

LRESULT mmi_ExampleWin_MenuWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        build(hwnd);
        break;
    case MSG_KEYDOWN:
        if (wParam == KEY_START && menu_wifi_key()) return 0;
        break;
    case MSG_ACTIVE:
        if (wParam == 1) menu_refresh(hwnd);
        if (g_main_menu_wnd != hwnd) return 0;
        break;
    case MSG_CALLBACK:
        menu_wifi_changed(hwnd);
        break;
    case MSG_PAINT:
        paint_top_line(hwnd);
        return 0;
    case MSG_CREATEDIALG:
        return menu_create_dialog(hwnd, wParam, static_cast<int>(lParam));
    case MSG_DIALOGBTN:
        menu_dialog_button(hwnd, static_cast<int>(wParam));
        return 0;
    case MSG_CLOSE:
        close(hwnd);
        return 0;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void kmt_CreateMainMenuWnd() {
    mmi_CurrentWnd_ReadConfig();
    mmi_testwnd_InitLogFont();
    const HWND menu = create_window();
    if (menu == HWND_INVALID) {
        LOG_E(MENU_TAG, "no window");
        return;
    }
    menu_install_key_hook();
    ShowWindow(menu, SW_SHOWNORMAL);
    register_battery_observers();
    menu_start_aging_if_due();
    if (g_bRestoreAutotest) mmi_Restore_Autotest();
    if (InitGUIIAL() != 0) return;
    menu_start_relink_if_asked();
    run_message_loop(menu);
}
