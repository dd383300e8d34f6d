// The aging screen: the runner's progress and colours, the load of the cores, the operator's stop.
#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <tp_globals.h>

#include "AgingTest/aging_cpu.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "AgingTest/aging_upload.h"
#include "AgingTest/mmi_testwnd_AgingTest_AutoTest.h"
#include "base/log_door.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "device/power.h"
#include "shell/bars.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"

std::atomic<HWND> g_AgingTestwin{HWND_NULL};

namespace {
constexpr UINT MSG_STOP_AND_CLOSE = MSG_USER + 120; // posted: what waits for the runner must not be a message that it sends
constexpr int ACTIVE_REFRESH = 1, ACTIVE_RUN_OVER = 3;
constexpr int ITEMS = 6; // as shown; agreed
constexpr int BACKGROUND = 18, GOOD = 10, BAD = 12, ON_VERDICT = 16, ON_COLOR = 9, CHARGER_GROUND = 14, KEYS = 19;
constexpr std::array<gal_pixel, 8> COLORS = {0xff0000, 0x00ff00, 0x0000ff, 0xffffff, 0x000000, 0x808080, 0xffff00, 0x00ffff};
// The stop is both volume keys; the pair of power and back counts as well. A bit for each pair.
constexpr int PAIR_AGREED = 1, PAIR_VOLUME = 2;

struct Shown {
    std::mutex mutex; // guards what follows
    char text[256] = {};
    int state = 0, color = 0;
};
Shown g_shown;
// GUI thread.
int g_bKeyDownIsDown = 0, g_bKeyupIsDown = 0;
bool g_over = false; // the runner has told its end
bool g_closing = false;

struct Look {
    std::string text;
    int state, color;
};
Look look() {
    const std::lock_guard lock(g_shown.mutex);
    return {g_shown.text, g_shown.state, g_shown.color};
}

gal_pixel ground_of(const Look &l) {
    switch (l.state) {
    case SHOW_PASS:
        return SysPixelIndex[GOOD];
    case SHOW_FAIL:
        return SysPixelIndex[BAD];
    case SHOW_LCD:
        return COLORS[static_cast<size_t>(l.color)];
    case SHOW_INSERT_CHARGER:
        return SysPixelIndex[CHARGER_GROUND];
    default:
        return SysPixelIndex[BACKGROUND];
    }
}

int ink_of(int state) {
    switch (state) {
    case SHOW_RUNNING:
        return GOOD;
    case SHOW_PASS:
    case SHOW_FAIL:
        return ON_VERDICT;
    case SHOW_LCD:
        return ON_COLOR;
    default:
        return BAD;
    }
}

std::string cpu_text() {
    std::string text = "CPU Usage:\n";
    const std::vector<double> usage = aging_cpu_usage();
    for (size_t i = 0; i < usage.size(); ++i) {
        char line[48];
        snprintf(line, sizeof line, "CPU%d : %.1f%%\n", static_cast<int>(i), usage[i]);
        text += line;
    }
    return text;
}

void paint(HWND hwnd) {
    const Look l = look();
    RECT client{};
    GetClientRect(hwnd, &client);
    HDC hdc = BeginPaint(hwnd);
    SetBrushColor(hdc, ground_of(l));
    FillBox(hdc, 0, 0, client.right, client.bottom);
    if (l.state) {
        std::string text = l.text;
        if (g_bStopTest == 0) text += "\n\n\n\n" + cpu_text();
        SetBkMode(hdc, BM_TRANSPARENT);
        SetTextColor(hdc, SysPixelIndex[ink_of(l.state)]);
        const RECT area{screen_width() / 16, status_bar_height(), screen_width() - screen_width() / 16, client.bottom};
        draw_text_fitted(hdc, text.c_str(), area, DT_LEFT | DT_WORDBREAK, 'r', screen_width() / 15 / 4 * 4);
    }
    EndPaint(hwnd, hdc);
}

// The panel's colours cover all of it; everything else leaves the soft keys free.
void show_state(HWND hwnd, int state) {
    const int height = state == SHOW_LCD ? screen_height() : screen_height() - softkey_bar_height();
    RECT rect{};
    GetWindowRect(hwnd, &rect);
    if (RECTH(rect) != height) MoveWindow(hwnd, 0, 0, screen_width(), height);
    InvalidateRect(hwnd, nullptr, true);
}

void show_keys(const char *left, const char *middle) {
    tp_skb_set_text_col(KEYS);
    tp_skb_set_text_items(left, middle, "");
    tp_skb_update();
}

void on_active(HWND hwnd, WPARAM what) {
    if (what == ACTIVE_REFRESH) {
        tp_skb_set_text_col(KEYS);
        if (g_over) return show_state(hwnd, look().state);
        show_keys("", "");
        tp_batteryshow_set_text_items_byIndex(lang_text("title_AgingTest"), 1);
        tp_batteryshow_update();
    } else if (what == ACTIVE_RUN_OVER) {
        g_over = true;
        tp_skb_show(true);
        show_keys(aging_can_upload() && !aging_uploaded() ? lang_text("upload") : LangText{}, lang_text("info_Yes"));
    }
}

void create(HWND hwnd) {
    tp_skb_show(false);
    SetWindowFont(hwnd, g_font_text);
    g_bStopTest = g_bKeyDownIsDown = g_bKeyupIsDown = 0;
    g_over = g_closing = false;
    const std::lock_guard lock(g_shown.mutex);
    g_shown.text[0] = '\0';
    g_shown.state = g_shown.color = 0;
}

void stop_by_hand(HWND hwnd) {
    LOG_D(AGING_TAG, "the operator stops");
    g_nCurAgingTestItem = AGING_STOPPED;
    g_bis_mannual_stop = 1;
    g_bStopTest = 1;
    g_deviceIsAgingTest = 0;
    g_bKeyDownIsDown = g_bKeyupIsDown = 0;
    PostMessage(hwnd, MSG_STOP_AND_CLOSE, 0, 0);
}

void key_down(HWND hwnd, WPARAM code) {
    switch (code) {
    case KEY_POWER_CODE:
        g_bKeyDownIsDown |= PAIR_AGREED;
        break;
    case KEY_CLOSE:
        g_bKeyupIsDown |= PAIR_AGREED;
        break;
    case KEY_VOLDOWN:
        g_bKeyDownIsDown |= PAIR_VOLUME;
        break;
    case KEY_VOLUP:
        g_bKeyupIsDown |= PAIR_VOLUME;
        break;
    case KEY_PASS:
        show_keys("", "");
        if (g_over && aging_can_upload() && !aging_uploaded() && !aging_uploading()) SaveToDb(0);
        if (g_over) show_keys("", lang_text("info_Yes"));
        return;
    case KEY_FAIL:
        g_bStopTest = 1;
        PostMessage(hwnd, MSG_STOP_AND_CLOSE, 0, 0);
        return;
    case KEY_START:
        if (!g_over) return; // the key is not offered yet
        LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "Touch the button of confirm allready when aging test is over!");
        PostMessage(hwnd, MSG_STOP_AND_CLOSE, 0, 0);
        return;
    default:
        return;
    }
    if (g_bKeyDownIsDown & g_bKeyupIsDown) stop_by_hand(hwnd);
}

void key_up(WPARAM code) {
    switch (code) {
    case KEY_POWER_CODE:
        g_bKeyDownIsDown &= ~PAIR_AGREED;
        break;
    case KEY_CLOSE:
        g_bKeyupIsDown &= ~PAIR_AGREED;
        break;
    case KEY_VOLDOWN:
        g_bKeyDownIsDown &= ~PAIR_VOLUME;
        break;
    case KEY_VOLUP:
        g_bKeyupIsDown &= ~PAIR_VOLUME;
        break;
    default:
        break;
    }
}

// Every way out, once. The runner's messages are answered while it is waited for.
void leave() {
    if (g_closing) return;
    g_closing = true;
    g_bStopTest = 1;
    g_aging_runner.stop();
    g_aging_power_off.stop();
    aging_upload_stop();
    aging_upload_in_background();
    Set_OsCanIdleAllowed(1);
    g_nCurAgingTestItem = AGING_NONE;
    g_nAgingFailItem = AGING_OPEN;
    g_deviceIsAgingTest = 0;
    g_dialogcouldshow = 1;
    g_AgingTestwin = HWND_NULL;
    tp_skb_show(true);
}

void close(HWND hwnd) {
    if (g_closing) return;
    leave();
    DestroyAllControls(hwnd);
    DestroyMainWindow(hwnd);
    if (g_aging_rebooted.exchange(false)) mmi_AgingTestEntry();
}

LRESULT mmi_WndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        create(hwnd);
        return 0;
    case MSG_KEYDOWN:
        key_down(hwnd, wParam);
        return 0;
    case MSG_KEYUP:
        key_up(wParam);
        return 0;
    case MSG_ACTIVE:
        on_active(hwnd, wParam);
        return 0;
    case MSG_PAINT: // with a state: the runner has something new; without: the toolkit paints
        if (wParam)
            show_state(hwnd, static_cast<int>(wParam));
        else
            paint(hwnd);
        return 0;
    case MSG_ERASEBKGND:
        return 0; // paint fills all
    case MSG_STOP_AND_CLOSE:
        g_aging_runner.stop();
        SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return 0;
    case MSG_CLOSE:
        close(hwnd);
        return 0;
    case MSG_DESTROY:
        leave();
        break;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void store(const char *text, int state, int color) {
    char status[128] = {};
    constexpr const char *STATUS = "/sys/class/power_supply/battery/status";
    if (!file_readable(STATUS) || read_file(STATUS, status, sizeof status - 1) <= 0)
        snprintf(status, sizeof status, "unknow");
    const std::lock_guard lock(g_shown.mutex);
    snprintf(g_shown.text, sizeof g_shown.text, "%s\n\nBatteryStatus:%sTemperature:%.1f%s\nTotalProgress:%d/%d", text,
             status, battery_state().temperature / 10.0, lang_text("temperaturesymbol").text, g_nCurAgingTestItem.load(),
             ITEMS);
    g_shown.state = state;
    g_shown.color = color;
}
} // namespace

void ShowTestInfo(HWND window, const char *text, int state) {
    store(text, state, 0);
    SendMessage(window, MSG_PAINT, static_cast<WPARAM>(state), 0);
}

int aging_lcd_colors() { return static_cast<int>(COLORS.size()); }

void aging_show_lcd(int color) {
    store("VedioAging.", SHOW_LCD, color);
    SendMessage(g_AgingTestwin, MSG_PAINT, SHOW_LCD, 0);
}

void aging_refresh_screen() {
    if (look().state == SHOW_RUNNING) InvalidateRect(g_AgingTestwin, nullptr, true);
}

void aging_keys_of_end() { SendMessage(g_AgingTestwin, MSG_ACTIVE, ACTIVE_RUN_OVER, 0); }

void aging_close_screen() { PostMessage(g_AgingTestwin, MSG_STOP_AND_CLOSE, 0, 0); }

void mmi_CreateAgingTestWnd() {
    const HWND menu = g_main_menu_wnd;
    g_AgingTestwin = create_shell_window(mmi_WndProc, IsWindow(menu) ? menu : HWND_DESKTOP,
                                         {0, 0, screen_width(), screen_height() - softkey_bar_height()}, "AgingTest");
    if (g_AgingTestwin != HWND_INVALID) ShowWindow(g_AgingTestwin, SW_SHOWNORMAL);
}
