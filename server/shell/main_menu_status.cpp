// What the menu shows of battery and WiFi, and the WiFi key.
#include "shell/menu_internal.h"

#include <cstdio>
#include <mutex>
#include <tp_globals.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "shell/bars.h"
#include "shell/shell_actions.h"

std::atomic<int> qrcode_refresh_flag{0};

namespace {

constexpr int CONNECTED = 2, DISCONNECTED = 1;
constexpr int THREAD_NONE = 3, THREAD_INVALID = 22; // results of a probe with signal 0
constexpr const char *PICTURE = "/data/mmi_ip.bmp";
constexpr int PICTURE_ID = 22;

// The picture stays from the change of state that brought it until the operator or the PC no longer wants it.
std::atomic<bool> picture_stays{false};
std::mutex title_lock; // one TitleInfoShow at a time

int probe(int (*thread_probe)(), const char *invalid, const char *none, const char *exists) {
    const int result = thread_probe ? thread_probe() : THREAD_NONE;
    const char *text = result == THREAD_INVALID ? invalid : result == THREAD_NONE ? none : exists;
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "%s", text);
    return result;
}

bool runs(int probed) { return probed != THREAD_INVALID && probed != THREAD_NONE; }

void show_softkey(const char *key, int color) {
    tp_skb_set_text_items("", key ? lang_text(key).text : "", "");
    if (color >= 0) tp_skb_set_text_col(color);
}

void connect() {
    show_softkey("softkeybar_connecting", 9);
    tp_skb_update();
    if (runs(probe(g_shell_actions.wifi_probe_connect, "Send siganl fail.", "WiFiConThread is not exist.",
                   "WiFiConThread exists. kill it first.")) &&
        g_shell_actions.wifi_close)
        g_shell_actions.wifi_close(0);
    g_wifi_connecting = 1; // before the thread, which clears it
    g_shell_actions.wifi_connect_start();
    if (runs(probe(g_shell_actions.wifi_probe_udp, "Info_M_PV:UDP connect Send siganl fail.",
                   "Info_M_PV:UDP connect is not exist.", "Info_M_PV:UDP connect . kill it first.")) &&
        g_shell_actions.wifi_udp_stop)
        g_shell_actions.wifi_udp_stop();
}

void disconnect() {
    show_softkey("softkeybar_disconnect", 7);
    tp_skb_update();
    if (g_shell_actions.wifi_close) g_shell_actions.wifi_close(0);
    g_wifi_connecting = 0;
}

// A control of its own above the rows, so that a repaint of the rows does not wipe the picture out.
LRESULT picture_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != MSG_PAINT) return DefaultControlProc(hwnd, message, wParam, lParam);
    RECT box{};
    GetClientRect(hwnd, &box);
    HDC hdc = BeginPaint(hwnd);
    BITMAP picture;
    if (LoadBitmapFromFile(hdc, &picture, PICTURE) == 0) {
        FillBoxWithBitmap(hdc, 0, 0, box.right, box.bottom, &picture);
        UnloadBitmap(&picture);
    }
    EndPaint(hwnd, hdc);
    return 0;
}

void hide_picture(HWND menu) {
    const HWND picture = GetDlgItem(menu, PICTURE_ID);
    if (picture != HWND_NULL) DestroyWindow(picture);
}

void show_picture(HWND menu) {
    const HWND shown = GetDlgItem(menu, PICTURE_ID);
    if (shown != HWND_NULL) { // the address may have changed
        InvalidateRect(shown, nullptr, true);
        return;
    }
    static const WNDCLASS cls{"menu_picture", picture_proc, SysPixelIndex[18]};
    RegisterWindowClass(&cls); // taken already at the second time
    const int side = screen_width() < 721 ? 174 : 348;
    CreateWindowEx(cls.spClassName, "", WS_VISIBLE, 0, PICTURE_ID, screen_width() / 2 - side / 2,
                   screen_height() / 2 + 20 - side, side, side, menu, 0);
}

void refresh_softkey() {
    const int state = g_wifi_state;
    if (state == DISCONNECTED || (state == 0 && g_main_wifi_init_flag))
        show_softkey("softkeybar_connect", 12);
    else if (state == CONNECTED)
        show_softkey("softkeybar_disconnect", 7);
    else
        show_softkey(nullptr, -1);
}

// While the PC has switched the operator's side off, the menu only shows the address, or ends with the link.
void refresh_disabled(HWND hwnd) {
    if (g_wifi_state == CONNECTED) {
        show_picture(hwnd);
        if (!menu_unlocked_by_gesture()) menu_lock_touch();
    } else if (g_wifi_state == DISCONNECTED) {
        g_wifi_connecting = 0;
        g_bWiFiConnectStatus = 0;
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
    }
}

} // namespace

bool menu_wifi_key() {
    menu_reset_unlock_counter();
    tp_skb_set_text_items("", "", "");
    if (!g_shell_actions.wifi_connect_start) { // nothing would ever unlock the menu again
        tp_skb_update();
        return true;
    }
    g_bWiFiConnectStatus = 1;
    if (g_wifi_state < CONNECTED) {
        if (g_wifi_connecting) return false;
        connect();
    }
    if (g_wifi_state == CONNECTED) disconnect();
    return true;
}

void menu_show_battery_level() {
    const int level = g_batteryVolt;
    tp_batteryshow_set_text_col(level == -1 || level > g_batteryWarningVolt ? 19 : 12);
    char text[16] = "";
    if (level != -1) std::snprintf(text, sizeof text, "%d%%", level);
    tp_batteryshow_set_text_items_byIndex(text, 2);
}

void menu_refresh(HWND hwnd) {
    if (g_wifi_quiet) return;
    refresh_softkey();
    menu_show_battery_level();
    if (qrcode_refresh_flag) {
        refresh_disabled(hwnd);
        if (g_main_menu_wnd != hwnd) return; // the link was lost and the menu closed itself
    }
    if (g_wifi_state == DISCONNECTED && !g_wifi_connecting) g_bWiFiConnectStatus = 0;
    const bool wanted = qrcode_refresh_flag || (picture_stays && g_bWiFiConnectStatus == 1);
    if (g_wifi_state != CONNECTED || !wanted) hide_picture(hwnd);
    const bool charging = battery_is_charging(battery_state());
    tp_batteryshow_set_text_items(lang_text(charging ? "BatteryCharging_Charging" : "BatteryCharging_Null"),
                                  lang_text("title_factory"), nullptr);
    tp_batteryshow_update();
    tp_skb_show(true); // a full-screen window that ended badly may have left it hidden
    tp_skb_update();
}

void menu_wifi_changed(HWND hwnd) {
    LOG_RAW(ANDROID_LOG_DEBUG, MENU_TAG, "%s MSG_CALLBACK  begin.", "mmi_ExampleWin_MenuWndProc");
    if (g_wifi_quiet) return;
    if (g_wifi_state == CONNECTED) {
        const int probed = probe(g_shell_actions.wifi_probe_monitor, "Send siganl fail.",
                                 "wifi_status_monitor_thread_start not exist.",
                                 "wifi_status_monitor_thread_start exists.do nothing.");
        if (probed == THREAD_NONE && g_shell_actions.wifi_monitor_start) g_shell_actions.wifi_monitor_start();
        picture_stays = true;
        show_picture(hwnd);
        show_softkey("softkeybar_disconnect", 7);
        menu_lock_touch();
    } else if (g_wifi_state == DISCONNECTED) {
        hide_picture(hwnd);
        g_wifi_connecting = 0;
        show_softkey("softkeybar_connect", 12);
        g_bWiFiConnectStatus = 0;
    }
    tp_skb_update();
}

int TitleInfoShow(const char *text, int index, int abnormal_state) {
    if (index == 1 && g_deviceIsAgingTest == 1) return 0; // the aging run owns the title
    LOG_D(MENU_TAG, "begin,buf=%s,index=%d,abnomal_state=%d ", text ? text : "", index, abnormal_state);
    std::lock_guard guard(title_lock);
    if (abnormal_state == 0)
        tp_batteryshow_set_text_col(19);
    else if (abnormal_state == 1)
        tp_batteryshow_set_text_col(12);
    tp_batteryshow_set_text_items_byIndex(text, index);
    tp_batteryshow_update();
    return 0;
}

int mmi_AutoTest_MMI_Enable() {
    qrcode_refresh_flag = 0;
    picture_stays = false;
    return 1;
}

int mmi_AutoTest_MMI_Disable() {
    qrcode_refresh_flag = 1;
    SendMessage(g_main_menu_wnd, MSG_ACTIVE, 1, 0);
    return 1;
}
