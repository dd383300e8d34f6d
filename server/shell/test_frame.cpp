#include "shell/test_frame.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/log_door.h"
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
constexpr int PASS_TIMER = 90, TICK_TIMER = 91, CHANGE_TIMER = 92; // above the numbers that tests use for themselves
constexpr UINT MSG_CHANGED = 2152;
constexpr unsigned CHANGE_PERIOD = 5; // 10 ms each
constexpr WPARAM ACTIVE_REFRESH = 1, ACTIVE_OFFER_PASS = 5;

std::vector<TestWindow *> g_open; // the window opened last stands at the end. GUI thread.

LangText text_of(const char *key) { return *key ? lang_text(key) : LangText{}; }

bool pass_allowed(const TestWindow &w) {
    return w.pass_by_key && w.pass_offered && (!w.start || w.started) && (!w.may_pass || w.may_pass());
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
    const LangText middle = w.middle_offered && !w.middle_offered() ? LangText{} : text_of(w.keys[1]);
    show_bar_texts(*w.title_key ? text_of(w.title_key).text : nullptr, left, middle, text_of(w.keys[2]));
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
    if (w.stop) w.stop_result = w.stop();
    w.started = w.pass_offered = false;
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

RECT text_area(HWND hwnd) {
    RECT area{};
    GetClientRect(hwnd, &area);
    return {screen_width() / 8, status_bar_height(), area.right - screen_width() / 8, area.bottom};
}

void draw_lines(const TestWindow &w, HWND hwnd, HDC hdc) {
    RECT area = text_area(hwnd), note = area;
    if (*w.note_key) {
        DrawText(hdc, text_of(w.note_key), -1, &note, DT_LEFT | DT_WORDBREAK | DT_CALCRECT);
        area.top = note.bottom;
    }
    const std::vector<TestLine> lines = w.lines();
    const int font_height = GetLogFontHeight(g_font_text), room = area.bottom - area.top;
    const int height = std::min(3 * font_height / 2, room / std::max(1, static_cast<int>(lines.size())));
    const int size = screen_width() / 15 / 4 * 4;
    PLOGFONT font = nullptr; // one size for all: the smallest that a line needs
    for (const TestLine &line : lines) {
        PLOGFONT fitting = shell_font_fitting(hdc, line.text.c_str(), RECTW(area), height, DT_SINGLELINE, 'r', size);
        if (!font || (fitting && GetLogFontHeight(fitting) < GetLogFontHeight(font))) font = fitting;
    }
    PLOGFONT before = font ? SelectFont(hdc, font) : nullptr;
    SetBkMode(hdc, BM_TRANSPARENT);
    for (const TestLine &line : lines) {
        area.bottom = area.top + height;
        SetTextColor(hdc, SysPixelIndex[line.color]);
        RECT box = area;
        DrawText(hdc, line.text.c_str(), -1, &box, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
        area.top = area.bottom;
    }
    if (font) SelectFont(hdc, before);
}

void paint(const TestWindow &w, HWND hwnd) {
    HDC hdc = BeginPaint(hwnd);
    if (w.paint) w.paint(hwnd, hdc);
    if (w.start && !w.started) {
        test_frame_draw_text(hwnd, hdc, "info_NotFitted", LINE_BAD);
    } else {
        if (*w.note_key) test_frame_draw_text(hwnd, hdc, w.note_key, LINE_NORMAL);
        if (w.lines) draw_lines(w, hwnd, hdc);
    }
    EndPaint(hwnd, hdc);
}

void run_and_show(TestWindow &w, const auto &body) {
    body();
    test_frame_show(w); // unless the test closed itself
}

bool on_timer(TestWindow &w, HWND hwnd, WPARAM id) {
    if (id == PASS_TIMER) on_active(w, hwnd, ACTIVE_OFFER_PASS);
    else if (id == TICK_TIMER) run_and_show(w, [&w] { w.tick(); });
    else if (id == CHANGE_TIMER) {
        KillTimer(hwnd, CHANGE_TIMER);
        w.change_told = false; // before it looks: what comes from now on is told anew
        w.changed(hwnd);
    } else return false;
    return true;
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
        if (!on_timer(*w, hwnd, wParam)) break;
        return 0;
    case MSG_CHANGED: SetTimer(hwnd, CHANGE_TIMER, CHANGE_PERIOD); return 0;
    case MSG_CALLBACK:
        if (!w->told) break;
        run_and_show(*w, [&] { w->told(static_cast<int>(wParam)); });
        return 0;
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

void set_timer(TestWindow &w, int id, int ms) { SetTimer(w.hwnd, id, static_cast<unsigned>((ms + 9) / 10)); }

void start(TestWindow &w) {
    w.pass_offered = w.pass_after_ms == 0;
    if (w.start) w.started = w.start();
    if (!w.created) return; // the test ended itself while starting
    if (!w.pass_offered) test_frame_delay_pass(w);
    if (w.tick && (!w.start || w.started)) set_timer(w, TICK_TIMER, w.tick_ms);
}
} // namespace

bool test_frame_open(TestWindow &w) {
    if (w.created) {
        ShowWindow(w.hwnd, SW_SHOWNORMAL);
        return true;
    }
    HWND hwnd = create_window(w);
    if (hwnd == HWND_INVALID || hwnd == HWND_NULL) {
        memset(w.pc_result, 0, sizeof w.pc_result);
        return false;
    }
    w.change_told = false; // what a window before was told
    w.hwnd = hwnd;
    w.created = 1;
    g_open.push_back(&w);
    publish_current_domain();
    if (w.on_open) w.on_open(hwnd);
    if (w.created) start(w);
    if (!w.created) return true; // the test ended itself while opening
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
    test_frame_write_verdict(w, 1);
    mmi_startNextItemTest(w.domain);
}

void test_frame_write_verdict(const TestWindow &w, int verdict) {
    if (w.station < 0) return;
    LOG_RAW(ANDROID_LOG_INFO, "TKI_MAIN", "verdict of %s: station %d %d", w.domain, w.station, verdict);
    mmi_write_testinfo_single_byte(w.station, verdict);
}

void test_frame_fail(TestWindow &w) {
    if (g_deviceIsAutoTest == 1 && !w.monomer) test_frame_write_verdict(w, 2);
    g_deviceIsAutoTest = 0;
    test_frame_close(w);
}

void test_frame_refresh_keys(TestWindow &w) {
    if (w.created) show_status_texts(w);
}

void test_frame_delay_pass(TestWindow &w) {
    w.pass_offered = false;
    set_timer(w, PASS_TIMER, w.pass_after_ms);
}

void test_frame_restart(TestWindow &w) {
    if (!w.created) return;
    KillTimer(w.hwnd, PASS_TIMER);
    KillTimer(w.hwnd, TICK_TIMER);
    start(w);
    test_frame_show(w);
}

void test_frame_show(TestWindow &w) {
    if (!w.created) return;
    if (GetActiveWindow() == w.hwnd) test_frame_refresh_keys(w);
    InvalidateRect(w.hwnd, nullptr, true);
}

void test_frame_tell(TestWindow &w, int value) {
    if (const HWND hwnd = w.hwnd; hwnd != HWND_NULL) PostMessage(hwnd, MSG_CALLBACK, static_cast<WPARAM>(value), 0);
}

void test_frame_changed(TestWindow &w) {
    if (w.change_told.exchange(true)) return;
    if (const HWND hwnd = w.hwnd; hwnd == HWND_NULL || PostMessage(hwnd, MSG_CHANGED, 0, 0) != 0) w.change_told = false;
}

TestWindow *test_frame_current() { return g_open.empty() ? nullptr : g_open.back(); }

void test_frame_draw_text(HWND hwnd, HDC hdc, const char *key, int color) {
    RECT note = text_area(hwnd);
    SetBkMode(hdc, BM_TRANSPARENT);
    SetTextColor(hdc, SysPixelIndex[color]);
    DrawText(hdc, text_of(key), -1, &note, DT_LEFT | DT_WORDBREAK);
}

void test_frame_close_others(const TestWindow *except) {
    Check_AllTestWnd_Closed();
    // What the item table cannot stop stays open beneath otherwise, and would come back when the other closes: then with a
    // pass key for what the other took away.
    TestWindow *left = test_frame_current();
    if (left && left != except && (left->pc_mode || left->start)) test_frame_close(*left);
}

int test_frame_pc_open(TestWindow &w) {
    const int opened = on_gui_thread([&w] {
        test_frame_close_others(&w);
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

int test_frame_pc_start(TestWindow &w) {
    return on_gui_thread([&w] {
               test_frame_close(w);
               if (!test_frame_pc_open(w)) return 0;
               if (w.started) return 1;
               test_frame_close(w);
               return 0;
           }) == 1
               ? 1
               : 0;
}

int test_frame_pc_stop(TestWindow &w) {
    return on_gui_thread([&w] {
               if (w.created) test_frame_close(w);
               else w.stop_result = w.stop();
               return w.stop_result == 0 ? 1 : 0;
           }) == 1
               ? 1
               : 0;
}
