// The aging list, from which the operator starts a run, and the list of results: what nobody asked for first, the curve of
// the run, then each phase's record.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_result.h"
#include "AgingTest/aging_trend.h"
#include "AgingTest/mmi_testwnd_AgingTest_AutoTest.h"
#include "base/log_door.h"
#include "config/main_config.h"
#include "shell/bars.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"

namespace {
constexpr int TITLE_ID = 20, LIST_ID = 21;
constexpr DWORD LIST_STYLE = 0x48400008, TITLE_STYLE = 0x8400101;
constexpr int NAME_COLOR = 15, TEXT_COLOR = 19, LINE_COLOR = 20, HOT = 12, CHARGE = 10;
constexpr int START_DIALOG = 6;
constexpr uintptr_t RESETS = 1, CURVE = 2; // additional data of the rows that are no record; a record's is its address

HWND g_list = HWND_NULL, g_results = HWND_NULL;
std::vector<AgingTrendPoint> g_trend; // while the results are shown

int line_height() { return GetLogFontHeight(g_font_small_text) * 5 / 4; }

HWND create_list(HWND hwnd, const char *title_key, SVITEM_DRAWFUNC draw) {
    const HWND title = CreateWindowEx("static", lang_text(title_key), TITLE_STYLE, 0, TITLE_ID, 0, 0, screen_width(),
                                      status_bar_height(), hwnd, 0);
    SetWindowFont(title, g_font_title);
    SetWindowBkColor(title, SysPixelIndex[18]);
    RECT client{};
    GetClientRect(hwnd, &client);
    const HWND list = CreateWindowEx("scrollview", "", LIST_STYLE, 0, LIST_ID, 0, status_bar_height(), client.right,
                                     client.bottom - status_bar_height(), hwnd, 0);
    SetWindowFont(list, g_font_menu);
    scrollview_set_itemdraw(list, draw);
    SetFocus(list);
    return list;
}

void show_keys(const char *title_key) {
    tp_skb_show(true);
    tp_skb_set_text_col(19);
    tp_skb_set_text_items("", "", lang_text("softkeybar_back"));
    tp_skb_update();
    tp_batteryshow_set_text_items_byIndex(lang_text(title_key), 1);
    tp_batteryshow_update();
}

HWND open_window(WNDPROC proc, const char *caption) {
    const HWND menu = g_main_menu_wnd;
    const HWND hwnd = create_shell_window(proc, IsWindow(menu) ? menu : HWND_DESKTOP, test_window_rect(), caption);
    if (hwnd != HWND_INVALID) ShowWindow(hwnd, SW_SHOWNORMAL);
    return hwnd;
}

bool is_back(UINT message, WPARAM code) { return message == MSG_KEYDOWN && (code == KEY_FAIL || code == KEY_CLOSE); }

void close(HWND hwnd) {
    DestroyAllControls(hwnd);
    DestroyMainWindow(hwnd);
}

// ---- the aging list ----------------------------------------------------------------------------------------------

void ask_to_start() { SendMessage(g_main_menu_wnd, MSG_CREATEDIALG, g_list, START_DIALOG); }

struct Row {
    const char *key;
    void (*entry)();
};
constexpr Row ROWS[] = {{"menu_AgingStart", ask_to_start}, {"menu_TestResult", mmi_AgingTotalResult_Entry}};

void draw_row(HWND list, HSVITEM item, HDC hdc, RECT *rect) { menu_draw_row(list, item, hdc, rect, 17, true, TEXT_COLOR); }

void clicked(HWND list, int, int code, uintptr_t) {
    const int row = code == SVN_CLICKED ? scrollview_get_current(list) : -1;
    if (row >= 0 && row < static_cast<int>(std::size(ROWS))) ROWS[row].entry();
}

LRESULT list_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_CREATE) {
        const HWND list = create_list(hwnd, "title_AgingTest", draw_row);
        for (const Row &row : ROWS) scrollview_add_item(list, row_height(), 0, lang_text(row.key));
        scrollview_set_current(list, 0, true);
        SetNotificationCallback(list, clicked);
        return 0;
    }
    if (message == MSG_ACTIVE && wParam == 1) show_keys("title_AgingTest");
    if (message != MSG_CLOSE && !is_back(message, wParam)) return DefaultMainWinProc(hwnd, message, wParam, lParam);
    close(hwnd);
    return 0;
}

// ---- the results ----------------------------------------------------------------------------------------------------

struct Range {
    int low, high;
    template <class Value> static Range of(const std::vector<AgingTrendPoint> &points, Value value) {
        const auto [low, high] = std::minmax_element(points.begin(), points.end(),
                                                     [&](const auto &a, const auto &b) { return value(a) < value(b); });
        return {value(*low), value(*high)};
    }
    int span() const { return std::max(1, high - low); }
};

int temperature_of(const AgingTrendPoint &p) { return p.temperature; }
int level_of(const AgingTrendPoint &p) { return p.level; }

// A line over the width of the box, value by value; at most one step per pixel.
template <class Value> void draw_curve(HDC hdc, const RECT &box, Range range, int color, Value value) {
    SetPenColor(hdc, SysPixelIndex[color]);
    SetPenWidth(hdc, std::max(2, screen_width() / 240));
    const auto last = static_cast<int64_t>(g_trend.size()) - 1;
    const int width = RECTW(box) - 1;
    for (int x = 0; x <= width; ++x) {
        const AgingTrendPoint &point = g_trend[static_cast<size_t>(last * x / std::max(1, width))];
        const int y = box.bottom - 1 - static_cast<int>(int64_t{value(point) - range.low} * (RECTH(box) - 1) / range.span());
        if (x == 0)
            MoveTo(hdc, box.left, y);
        else
            LineTo(hdc, box.left + x, y);
    }
}

void text_line(HDC hdc, const RECT &row, int line, const std::string &text, int color) {
    const int margin = screen_width() / 32;
    const RECT box{row.left + margin, row.top + line * line_height(), row.right - margin,
                   row.top + (line + 1) * line_height()};
    SetTextColor(hdc, SysPixelIndex[color]);
    draw_text_fitted(hdc, text.c_str(), box, DT_LEFT | DT_VCENTER | DT_SINGLELINE, 'r', line_height() * 4 / 5);
}

int curve_height() { return 2 * line_height() + screen_width() / 2; }

void draw_curves(HDC hdc, const RECT &row) {
    if (g_trend.empty()) return;
    const Range heat = Range::of(g_trend, temperature_of), charge = Range::of(g_trend, level_of);
    char text[128];
    snprintf(text, sizeof text, "%s %.1f - %.1f%s", lang_text("info_AgingTemperature").text, heat.low / 10.0,
             heat.high / 10.0, lang_text("temperaturesymbol").text);
    text_line(hdc, row, 0, text, HOT);
    snprintf(text, sizeof text, "%s %d - %d%%", lang_text("info_AgingCapacity").text, charge.low, charge.high);
    text_line(hdc, row, 1, text, CHARGE);
    const int margin = screen_width() / 32;
    const RECT box{row.left + margin, row.top + 2 * line_height() + margin, row.right - margin, row.bottom - margin};
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[LINE_COLOR]);
    Rectangle(hdc, box.left, box.top, box.right - 1, box.bottom - 1);
    draw_curve(hdc, box, {0, 100}, CHARGE, level_of);
    // Never a whole height for a tenth of a degree.
    const int middle = (heat.low + heat.high) / 2, half = std::max(50, heat.span() / 2 + 1);
    draw_curve(hdc, box, {middle - half, middle + half}, HOT, temperature_of);
}

void draw_resets(HDC hdc, const RECT &row) {
    const AgingAccount account = aging_account();
    text_line(hdc, row, 0, lang_text("info_AgingResets").text, HOT);
    text_line(hdc, row, 1, std::to_string(account.unwanted_resets) + " (" + account.lost_phase + ")", TEXT_COLOR);
}

std::vector<std::string> lines_of(const char *text) {
    std::vector<std::string> lines;
    for (const std::string_view rest(text); const char c : rest) {
        if (lines.empty()) lines.emplace_back();
        if (c == '\n')
            lines.emplace_back();
        else if (c != '\r')
            lines.back() += c;
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

void draw_record(HDC hdc, const RECT &row, const AgingResultItem &item) {
    int line = 0;
    for (const std::string &name : lines_of(item.name))
        text_line(hdc, row, line++, std::to_string(item.index + 1) + ". " + name, NAME_COLOR);
    for (const std::string &text : lines_of(item.text)) text_line(hdc, row, line++, text, TEXT_COLOR);
}

void draw_result(HWND, HSVITEM item, HDC hdc, RECT *rect) {
    SetBrushColor(hdc, SysPixelIndex[18]);
    FillBox(hdc, rect->left, rect->top, RECTW(*rect), RECTH(*rect));
    SetBkMode(hdc, BM_TRANSPARENT);
    const uintptr_t data = scrollview_get_item_adddata(item);
    if (data == RESETS)
        draw_resets(hdc, *rect);
    else if (data == CURVE)
        draw_curves(hdc, *rect);
    else
        draw_record(hdc, *rect, *reinterpret_cast<const AgingResultItem *>(data));
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[LINE_COLOR]);
    MoveTo(hdc, rect->left, rect->bottom - 1);
    LineTo(hdc, rect->right, rect->bottom - 1);
}

void fill_results(HWND hwnd) {
    const HWND list = create_list(hwnd, "title_ItemTest", draw_result);
    if (aging_account().unwanted_resets) scrollview_add_item(list, 2 * line_height() + line_height() / 2, RESETS, "");
    if (!g_trend.empty()) scrollview_add_item(list, curve_height(), CURVE, "");
    for (const AgingResultItem *item = g_aging_results; item; item = item->next) {
        const auto lines = static_cast<int>(1 + lines_of(item->text).size());
        scrollview_add_item(list, lines * line_height() + line_height() / 2, reinterpret_cast<uintptr_t>(item), "");
    }
    scrollview_set_current(list, 0, true);
}

LRESULT result_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_CREATE) {
        fill_results(hwnd);
        return 0;
    }
    if (message == MSG_ACTIVE && wParam == 1) show_keys("menu_TestResult");
    if (message == MSG_DESTROY) {
        g_trend.clear();
        aging_results_forget();
    }
    if (message != MSG_CLOSE && !is_back(message, wParam)) return DefaultMainWinProc(hwnd, message, wParam, lParam);
    close(hwnd);
    return 0;
}
} // namespace

void mmi_AgingTestEntry() {
    if (IsWindow(g_list))
        ShowWindow(g_list, SW_SHOWNORMAL);
    else
        g_list = open_window(list_proc, "Aging");
}

void mmi_AgingTotalResult_Entry() {
    if (IsWindow(g_results)) SendMessage(g_results, MSG_CLOSE, 0, 0);
    const int records = aging_results_read(aging_log_path(AGING_RESULT_LOG).c_str());
    g_trend = aging_trend_read(aging_trend_path().c_str());
    if (records < 0 && g_trend.empty() && !aging_account().unwanted_resets) return;
    g_results = open_window(result_proc, "Aging");
}
