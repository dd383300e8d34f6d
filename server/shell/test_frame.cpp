#include "shell/test_frame.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "config/main_config.h"
#include "config/test_items.h"
#include "device/power.h"
#include "device/result_flags.h"
#include "shell/bars.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"
#include "shell/sequencer.h"

namespace {
constexpr int TITLE_ID = 20;
constexpr DWORD TITLE_STYLE = 0x8400101;
constexpr DWORD WINDOW_STYLE = 0x28000000;
constexpr int PASS_TIMER = 90; // above the numbers that tests use for themselves
constexpr WPARAM ACTIVE_REFRESH = 1, ACTIVE_OFFER_PASS = 5;

std::vector<TestWindow *> g_open; // the window opened last stands at the end. GUI thread.

LangText text_of(const char *key) { return *key ? lang_text(key) : LangText{}; }

bool pass_allowed(const TestWindow &w) {
    return w.pass_by_key && w.pass_offered && (!w.may_pass || w.may_pass());
}

void publish_current_domain() { set_current_test_domain(g_open.empty() ? nullptr : g_open.back()->domain); }

void show_status_texts(const TestWindow &w) {
    if (w.full_screen) {
        tp_skb_show(false);
        return;
    }
    // A pass label without the right to pass would invite the operator to press a dead key.
    const bool hide_pass = w.pass_by_key && !pass_allowed(w);
    const LangText left = hide_pass ? LangText{} : text_of(w.keys[0]);
    tp_skb_show(true);
    tp_skb_set_text_col(19);
    tp_skb_set_text_items(left, text_of(w.keys[1]), text_of(w.keys[2]));
    if (*w.title_key) tp_batteryshow_set_text_items_byIndex(text_of(w.title_key), 1);
    tp_skb_update();
    tp_batteryshow_update();
}

void create_title(const TestWindow &w, HWND hwnd) {
    SetWindowFont(hwnd, g_font_text);
    if (!*w.title_key) return;
    const LangText text = text_of(w.title_key);
    HWND title = CreateWindowEx("static", text, TITLE_STYLE, 0, TITLE_ID, 0, 0, screen_width(), status_bar_height(),
                                hwnd, 0);
    if (title == HWND_INVALID) return;
    SetWindowBkColor(title, SysPixelIndex[18]);
    SetWindowTextColor(title, SysPixelIndex[19]);
    // On screens wider than 600 pixels a line of the title font is higher than the bar, and a "y" lost its foot.
    const int size = screen_width() < 1092 ? screen_width() / 12 : 90;
    HDC hdc = GetClientDC(title);
    SetWindowFont(title, shell_font_fitting(hdc, text, screen_width(), status_bar_height(), DT_SINGLELINE, 'b', size));
    ReleaseDC(hdc);
}

void on_created(TestWindow &w, HWND hwnd) {
    memset(w.pc_result, 0, sizeof w.pc_result);
    snprintf(w.pc_result, sizeof w.pc_result, "%s", w.domain);
    create_title(w, hwnd);
    if (w.keep_awake) Set_OsCanIdleAllowed(0);
}

bool another_keeps_awake() {
    for (const TestWindow *w : g_open)
        if (w->keep_awake) return true;
    return false;
}

// Every way out ends here, once: keys, verdicts, the PC, and the menu taking its windows along.
void on_gone(TestWindow &w) {
    if (!w.created.exchange(0)) return;
    std::erase(g_open, &w);
    publish_current_domain();
    if (w.on_close) w.on_close(w.hwnd);
    if (w.keep_awake && !w.pc_mode && !another_keeps_awake()) Set_OsCanIdleAllowed(1);
    if (w.full_screen) tp_skb_show(true);
    memset(w.pc_result, 0, sizeof w.pc_result);
    w.pc_mode = 0;
    w.hwnd = HWND_NULL;
}

void on_key(TestWindow &w, WPARAM code) {
    if (code == KEY_FAIL) test_frame_fail(w);
    else if (code == KEY_PASS && pass_allowed(w)) test_frame_pass(w);
}

LRESULT on_active(TestWindow &w, HWND hwnd, WPARAM wParam) {
    if (wParam == ACTIVE_OFFER_PASS) {
        KillTimer(hwnd, PASS_TIMER);
        w.pass_offered = true;
        if (GetActiveWindow() == hwnd) show_status_texts(w);
    } else if (wParam == ACTIVE_REFRESH) {
        show_status_texts(w);
    }
    return 0;
}

void paint(const TestWindow &w, HWND hwnd) {
    HDC hdc = BeginPaint(hwnd);
    if (w.paint) w.paint(hwnd, hdc);
    EndPaint(hwnd, hdc);
}

LRESULT frame_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    const uintptr_t data = message == MSG_CREATE ? reinterpret_cast<const MAINWINCREATE *>(lParam)->dwAddData
                                                 : GetWindowAdditionalData(hwnd);
    auto *w = reinterpret_cast<TestWindow *>(data);
    if (!w) return DefaultMainWinProc(hwnd, message, wParam, lParam);
    LRESULT result = 0;
    if (w->proc && w->proc(hwnd, message, wParam, lParam, &result)) return result;
    switch (message) {
    case MSG_CREATE: on_created(*w, hwnd); return 0;
    case MSG_ACTIVE: return on_active(*w, hwnd, wParam);
    case MSG_PAINT: paint(*w, hwnd); return 0;
    case MSG_KEYDOWN: on_key(*w, wParam); return 0;
    case MSG_QUIT_WITH_FAIL: test_frame_fail(*w); return 0;
    case MSG_TIMER:
        if (wParam == PASS_TIMER) return on_active(*w, hwnd, ACTIVE_OFFER_PASS);
        break;
    case MSG_CLOSE:
        on_gone(*w);
        DestroyMainWindow(hwnd);
        MainWindowCleanup(hwnd);
        return 0;
    case MSG_DESTROY: on_gone(*w); break;
    default: break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

HWND create_window(TestWindow &w) {
    const RECT rect = w.full_screen ? RECT{0, 0, screen_width(), screen_height()} : test_window_rect();
    const HWND menu = g_main_menu_wnd;
    return create_shell_window(frame_proc, IsWindow(menu) ? menu : HWND_DESKTOP, rect, w.caption, WINDOW_STYLE,
                               reinterpret_cast<uintptr_t>(&w));
}
} // namespace

bool test_frame_open(TestWindow &w) {
    if (w.created) {
        ShowWindow(w.hwnd, SW_SHOWNORMAL);
        return true;
    }
    w.pass_offered = w.pass_after_ms == 0;
    HWND hwnd = create_window(w);
    if (hwnd == HWND_INVALID || hwnd == HWND_NULL) {
        memset(w.pc_result, 0, sizeof w.pc_result);
        return false;
    }
    w.hwnd = hwnd;
    w.created = 1;
    g_open.push_back(&w);
    publish_current_domain();
    if (w.on_open) w.on_open(hwnd);
    if (!w.created) return true; // the test ended itself while opening
    if (!w.pass_offered) SetTimer(hwnd, PASS_TIMER, static_cast<unsigned>((w.pass_after_ms + 9) / 10));
    ShowWindow(hwnd, SW_SHOWNORMAL);
    return true;
}

void test_frame_close(TestWindow &w) {
    if (w.created) SendMessage(w.hwnd, MSG_CLOSE, 0, 0);
}

void test_frame_pass(TestWindow &w) {
    test_frame_close(w);
    if (w.monomer) {
        mmi_startNextMonomerPreviewItemTest(w.domain);
        return;
    }
    if (g_deviceIsAutoTest != 1) return;
    if (w.station >= 0) mmi_write_testinfo_single_byte(w.station, 1);
    mmi_startNextItemTest(w.domain);
}

void test_frame_fail(TestWindow &w) {
    if (g_deviceIsAutoTest == 1 && !w.monomer && w.station >= 0) mmi_write_testinfo_single_byte(w.station, 2);
    g_deviceIsAutoTest = 0;
    test_frame_close(w);
}

void test_frame_refresh_keys(TestWindow &w) {
    if (w.created) show_status_texts(w);
}

TestWindow *test_frame_current() { return g_open.empty() ? nullptr : g_open.back(); }

void test_frame_draw_text(HWND hwnd, HDC hdc, const char *key, int color) {
    RECT area{};
    GetClientRect(hwnd, &area);
    RECT note{screen_width() / 8, status_bar_height(), area.right - screen_width() / 8, area.bottom};
    SetBkMode(hdc, BM_TRANSPARENT);
    SetTextColor(hdc, SysPixelIndex[color]);
    DrawText(hdc, text_of(key), -1, &note, DT_LEFT | DT_WORDBREAK);
}

int test_frame_pc_open(TestWindow &w) {
    const int opened = on_gui_thread([&w] {
        Check_AllTestWnd_Closed();
        // What the item table does not know stays open beneath otherwise, and would come back when this one closes.
        if (TestWindow *left = test_frame_current(); left && left->pc_mode && left != &w) test_frame_close(*left);
        w.pc_mode = 1;
        if (!test_frame_open(w)) {
            w.pc_mode = 0;
            return 0;
        }
        if (w.created) UpdateWindow(w.hwnd, true);
        return 1;
    });
    return opened == 1 ? 1 : 0;
}

int test_frame_pc_close(TestWindow &w) {
    return on_gui_thread([&w] {
               test_frame_close(w);
               return 1;
           }) == 1
               ? 1
               : 0;
}
