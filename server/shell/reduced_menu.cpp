// The reduced top window of the other boot mode: it says how to switch the handset off.
#include "shell/menu_internal.h"

#include <algorithm>
#include <cstring>
#include <cutils/properties.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "shell/bars.h"
#include "shell/fit_text.h"

namespace {

constexpr int ID_TITLE = 20, ID_NOTE = 30, NOTES = 3;

const char *const NOTES_CHINESE[NOTES] = {"info_FTMPowerOffNote1", "info_FTMPowerOffNote3",
                                          "info_FTMPowerOffNote5"};
const char *const NOTES_OTHER[NOTES] = {"info_FTMPowerOffNote", "info_FTMPowerOffNote2",
                                        "info_FTMPowerOffNote4"};

int title_height() { return screen_width() / 6; }

void build(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const int w = client.right, margin = w / 24, top = title_height() + margin;
    const int note_height = (client.bottom - top - margin) / NOTES;
    const HWND title =
        CreateWindowEx("static", lang_text("title_ftm"), WS_VISIBLE | SS_CENTER | SS_CENTERIMAGE, 0, ID_TITLE,
                       0, 3, w, title_height() - 3, hwnd, 0);
    SetWindowFont(title, g_font_menu);
    for (int i = 0; i < NOTES; ++i) {
        const HWND note = CreateWindowEx("static", "", WS_VISIBLE | SS_LEFT, 0, ID_NOTE + i, margin,
                                         top + i * note_height, w - 2 * margin, note_height, hwnd, 0);
        SetWindowTextColor(note, SysPixelIndex[19]);
    }
    const RECT battery{0, 0, screen_width(), status_bar_height()};
    svr_create_batteryshow(hwnd, &battery);
}

void show_note(HWND note, const char *key) {
    const LangText text = lang_text(key);
    if (GetWindowText(note) == text.text) return; // setting it again would paint for ever
    RECT box{};
    GetClientRect(note, &box);
    HDC hdc = GetClientDC(note);
    const int size = screen_width() < 1380 ? screen_width() / 15 / 4 * 4 : 90;
    SetWindowFont(note, shell_font_fitting(hdc, text, RECTW(box), RECTH(box), DT_WORDBREAK, 'r', size));
    ReleaseDC(hdc);
    SetWindowText(note, text);
}

// The language is looked up at every paint: it may be changed while the window is up.
void paint(HWND hwnd) {
    char locale[PROPERTY_VALUE_MAX] = {};
    property_get("ro.product.locale", locale, "en-US");
    const bool chinese = std::strncmp(locale, "zh-CN", 5) == 0;
    for (int i = 0; i < NOTES; ++i)
        show_note(GetDlgItem(hwnd, ID_NOTE + i), chinese ? NOTES_CHINESE[i] : NOTES_OTHER[i]);
    EndPaint(hwnd, BeginPaint(hwnd));
}

} // namespace

LRESULT mmi_ExampleWin_MenuWndProc1(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_CREATE:
        g_main_menu_wnd = hwnd;
        build(hwnd);
        break;
    case MSG_ACTIVE:
        if (wParam == 1) {
            menu_show_battery_level();
            tp_batteryshow_update();
        }
        break;
    case MSG_ERASEBKGND:
        LOG_D(MENU_TAG, "MSG_ERASEBKGND");
        break;
    case MSG_PAINT:
        paint(hwnd);
        return 0;
    case MSG_CLOSE:
        svr_destroy_batteryshow();
        PostQuitMessage(hwnd);
        g_main_menu_wnd = HWND_NULL;
        DestroyAllControls(hwnd);
        DestroyMainWindow(hwnd);
        return 0;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

void kmt_CreateMainMenuWnd1() {
    mmi_testwnd_InitLogFont();
    RECT rect = test_window_rect();
    rect.bottom = screen_height(); // there are no soft keys here
    const HWND hwnd = create_shell_window(mmi_ExampleWin_MenuWndProc1, HWND_DESKTOP, rect);
    if (hwnd == HWND_INVALID) {
        LOG_E(MENU_TAG, "no window");
        return;
    }
    ShowWindow(hwnd, SW_SHOWNORMAL);
    if (InitGUIIAL() != 0) return;
    run_message_loop(hwnd);
}
