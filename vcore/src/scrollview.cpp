// The "scrollview" control: rows of their own heights, one current, scrolled by finger and keys.
#include "controls.h"

#include "dc.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <tp_globals.h>
#include <unordered_map>
#include <utility>
#include <vector>

struct SvItem {
    int top = 0; // from the top of the content
    int height = 0;
    uintptr_t add_data = 0;
    std::string text; // GB18030
};

namespace {

constexpr int key_up = 103, key_down = 108;
constexpr int highest_row = 1 << 16, highest_content = 1 << 28;

struct Touch {
    bool down = false;
    bool dragging = false;
    int x = 0, y = 0; // where the finger came down
    int scroll = 0;   // the scroll of that moment
};

struct ScrollView {
    std::vector<std::unique_ptr<SvItem>> items;
    int content = 0; // height
    int scroll = 0;
    int current = -1;
    int choose_key = 60;
    SVITEM_DRAWFUNC draw = nullptr;
    Touch touch;
    bool has(int n) const { return n >= 0 && n < static_cast<int>(items.size()); }
};
using View = std::shared_ptr<ScrollView>; // held while the program's code runs, which may destroy the window

std::unordered_map<HWND, View> g_views;

View view_of(HWND hwnd) {
    const auto found = g_views.find(hwnd);
    return found == g_views.end() ? nullptr : found->second;
}

RECT client_of(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    return client;
}

int index_of(const ScrollView &view, HSVITEM item) {
    const auto found = std::find_if(view.items.begin(), view.items.end(),
                                    [&](const auto &own) { return own.get() == item; });
    return found == view.items.end() ? -1 : static_cast<int>(found - view.items.begin());
}

// The row at a distance from the content's top, or the row count behind the last.
int row_at(const ScrollView &view, int distance) {
    const auto found = std::upper_bound(view.items.begin(), view.items.end(), distance,
                                        [](int d, const auto &item) { return d < item->top + item->height; });
    return static_cast<int>(found - view.items.begin());
}

RECT row_rect(const ScrollView &view, int n, const RECT &client) {
    const SvItem &item = *view.items[static_cast<size_t>(n)];
    return {0, item.top - view.scroll, client.right, item.top - view.scroll + item.height};
}

void repaint_row(HWND hwnd, const ScrollView &view, int n) {
    if (!view.has(n)) return;
    const RECT client = client_of(hwnd), row = row_rect(view, n, client);
    if (row.bottom > 0 && row.top < client.bottom && row.bottom > row.top) InvalidateRect(hwnd, &row, false);
}

// ---- scrolling --------------------------------------------------------------------------------------------

int clamped_scroll(const ScrollView &view, const RECT &client, int wanted) {
    return std::clamp(wanted, 0, std::max(0, view.content - client.bottom));
}

bool scroll_to(HWND hwnd, ScrollView &view, int wanted) {
    const int scroll = clamped_scroll(view, client_of(hwnd), wanted);
    if (scroll == view.scroll) return false;
    view.scroll = scroll;
    InvalidateRect(hwnd, nullptr, false);
    return true;
}

bool scroll_row_into_view(HWND hwnd, ScrollView &view, int n) {
    const RECT client = client_of(hwnd), row = row_rect(view, n, client);
    // Of a row higher than the view the top counts.
    if (row.top < 0 || RECTH(row) > client.bottom) return scroll_to(hwnd, view, view.scroll + row.top);
    if (row.bottom > client.bottom) return scroll_to(hwnd, view, view.scroll + row.bottom - client.bottom);
    return false;
}

void make_current(HWND hwnd, ScrollView &view, int n, bool visible) {
    const int before = std::exchange(view.current, n);
    if (visible && scroll_row_into_view(hwnd, view, n)) return;
    if (before == n) return;
    repaint_row(hwnd, view, before);
    repaint_row(hwnd, view, n);
}

// The last thing a handler does: the program may destroy the window here.
void choose(HWND hwnd, ScrollView &view, int n) {
    make_current(hwnd, view, n, true);
    NotifyParent(hwnd, GetDlgCtrlID(hwnd), SVN_CLICKED);
}

// ---- painting ---------------------------------------------------------------------------------------------

void draw_row(HWND hwnd, HDC hdc, const SvItem &item, bool current, const RECT &row) {
    const RECT client = client_of(hwnd);
    const int separator = std::max(1, client.right / 360), margin = std::max(4, client.right / 30);
    if (current) {
        SetBrushColor(hdc, SysPixelIndex[17]);
        FillBox(hdc, row.left, row.top, RECTW(row), RECTH(row));
    }
    SetBrushColor(hdc, SysPixelIndex[20]);
    FillBox(hdc, row.left, row.bottom - separator, RECTW(row), separator);
    SetTextColor(hdc, GetWindowTextColor(hwnd));
    RECT box{row.left + margin, row.top, row.right - margin, row.bottom - separator};
    RECT need = box;
    const auto length = static_cast<int>(item.text.size());
    const int height = DrawText(hdc, item.text.c_str(), length, &need, DT_WORDBREAK | DT_CALCRECT);
    const UINT place =
        height <= GetLogFontHeight(GetWindowFont(hwnd)) ? DT_VCENTER | DT_SINGLELINE : DT_WORDBREAK;
    DrawText(hdc, item.text.c_str(), length, &box, DT_LEFT | place);
}

void draw_indicator(HDC hdc, const ScrollView &view, const RECT &client) {
    if (view.content <= client.bottom || client.bottom <= 0) return;
    const int width = std::max(3, client.right / 120);
    const auto share = [&](int part) {
        return static_cast<int>(int64_t{client.bottom} * part / view.content);
    };
    const int height = std::min(client.bottom, std::max(4 * width, share(client.bottom)));
    const int way = view.content - client.bottom;
    const auto top = static_cast<int>(int64_t{client.bottom - height} * view.scroll / way);
    SetBrushColor(hdc, SysPixelIndex[30]);
    FillBox(hdc, client.right - width, top, width, height);
}

void paint_row(HWND hwnd, HDC hdc, ScrollView &view, int n, const RECT &row) {
    SvItem *item = view.items[static_cast<size_t>(n)].get();
    SetBrushColor(hdc, GetWindowBkColor(hwnd));
    dc_begin_drawing(hdc, row, GetWindowBkColor(hwnd));
    SetBkMode(hdc, BM_TRANSPARENT);
    SelectFont(hdc, GetWindowFont(hwnd));
    RECT own = row; // the painter may use it up
    if (view.draw)
        view.draw(hwnd, item, hdc, &own);
    else
        draw_row(hwnd, hdc, *item, n == view.current, row);
    draw_indicator(hdc, view, client_of(hwnd)); // the row's part of it
    dc_end_drawing(hdc);
}

void paint(HWND hwnd, ScrollView &view) {
    const RECT client = client_of(hwnd);
    view.scroll = clamped_scroll(view, client, view.scroll); // the window may have grown
    const HDC hdc = BeginPaint(hwnd);
    const RECT dirty = dc_clip_box(hdc);
    int bottom = view.content - view.scroll;
    // Row by row with a fresh look: a painter may change the rows, or end the window.
    for (int n = row_at(view, dirty.top + view.scroll); view.has(n) && IsWindow(hwnd); ++n) {
        const RECT row = row_rect(view, n, client);
        if (row.top >= dirty.bottom) break;
        paint_row(hwnd, hdc, view, n, row);
        bottom = view.content - view.scroll;
    }
    SetBrushColor(hdc, GetWindowBkColor(hwnd));
    FillBox(hdc, 0, bottom, client.right, client.bottom - bottom);
    EndPaint(hwnd, hdc);
}

// ---- input ------------------------------------------------------------------------------------------------

int drag_threshold(HWND hwnd) {
    const int width = g_ptScreenInfo.width ? g_ptScreenInfo.width : client_of(hwnd).right;
    return std::max(4, width / 36);
}

void finger_down(HWND hwnd, ScrollView &view, int x, int y) {
    view.touch = {true, false, x, y, view.scroll};
    SetCapture(hwnd);
}

void finger_moved(HWND hwnd, ScrollView &view, int x, int y) {
    Touch &touch = view.touch;
    if (!touch.down) return;
    const int away = std::max(std::abs(x - touch.x), std::abs(y - touch.y));
    if (away > drag_threshold(hwnd)) touch.dragging = true;
    if (touch.dragging) scroll_to(hwnd, view, touch.scroll + touch.y - y);
}

void finger_up(HWND hwnd, ScrollView &view, int x, int y) {
    finger_moved(hwnd, view, x, y);
    const Touch touch = std::exchange(view.touch, {});
    if (GetCapture() == hwnd) ReleaseCapture();
    const RECT client = client_of(hwnd);
    const bool inside = x >= 0 && x < client.right && y >= 0 && y < client.bottom;
    const int row = row_at(view, y + view.scroll);
    if (touch.down && !touch.dragging && inside && view.has(row)) choose(hwnd, view, row);
}

// False: not ours.
bool key_pressed(HWND hwnd, ScrollView &view, int code) {
    const auto last = static_cast<int>(view.items.size()) - 1;
    if (last < 0) return false;
    if (code == key_up || code == key_down) {
        const int next = view.current + (code == key_up ? -1 : 1);
        make_current(hwnd, view, std::clamp(next, 0, last), true);
        return true;
    }
    if (code != view.choose_key || !view.has(view.current)) return false;
    choose(hwnd, view, view.current);
    return true;
}

LRESULT create(HWND hwnd) {
    g_views[hwnd] = std::make_shared<ScrollView>();
    SetWindowTextColor(hwnd, SysPixelIndex[19]);
    return 0;
}

} // namespace

LRESULT scrollview_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_CREATE) return create(hwnd);
    const View view = view_of(hwnd);
    if (!view) return DefaultControlProc(hwnd, message, wParam, lParam);
    switch (message) {
    case MSG_DESTROY:
        if (GetCapture() == hwnd) ReleaseCapture();
        g_views.erase(hwnd);
        break;
    case MSG_ERASEBKGND: // painting fills everything anyway
        return 1;
    case MSG_PAINT:
        paint(hwnd, *view);
        return 0;
    case MSG_LBUTTONDOWN:
        finger_down(hwnd, *view, LOSWORD(lParam), HISWORD(lParam));
        return 0;
    case MSG_MOUSEMOVE:
        finger_moved(hwnd, *view, LOSWORD(lParam), HISWORD(lParam));
        return 0;
    case MSG_LBUTTONUP:
        finger_up(hwnd, *view, LOSWORD(lParam), HISWORD(lParam));
        return 0;
    case MSG_KEYDOWN:
        if (key_pressed(hwnd, *view, static_cast<int>(wParam))) return 0;
        break;
    default:
        break;
    }
    return DefaultControlProc(hwnd, message, wParam, lParam);
}

void register_builtin_controls() {
    for (const WNDCLASS &cls : {WNDCLASS{"static", static_proc, SysPixelIndex[18]},
                                WNDCLASS{"scrollview", scrollview_proc, SysPixelIndex[18]}})
        RegisterWindowClass(&cls);
}

void scrollview_set_choose_key(HWND sv, int code) {
    if (const View view = view_of(sv)) view->choose_key = code;
}

HSVITEM scrollview_add_item(HWND sv, int height, uintptr_t add_data, const char *text) {
    const View view = view_of(sv);
    if (!view) return nullptr;
    height = std::clamp(height, 1, highest_row);
    if (view->content > highest_content - height) return nullptr;
    try {
        view->items.push_back(
            std::make_unique<SvItem>(SvItem{view->content, height, add_data, text ? text : ""}));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    view->content += height;
    const RECT client = client_of(sv);
    // Only the indicator tells of a row out of sight.
    const RECT bar{client.right - std::max(3, client.right / 120), 0, client.right, client.bottom};
    if (view->content > client.bottom) InvalidateRect(sv, &bar, false);
    repaint_row(sv, *view, static_cast<int>(view->items.size()) - 1);
    return view->items.back().get();
}

void scrollview_reset_content(HWND sv) {
    const View view = view_of(sv);
    if (!view) return;
    view->items.clear();
    view->content = view->scroll = 0;
    view->current = -1;
    view->touch = {}; // a finger that is down now chooses nothing
    InvalidateRect(sv, nullptr, false);
}

void scrollview_set_itemdraw(HWND sv, SVITEM_DRAWFUNC draw) {
    const View view = view_of(sv);
    if (!view) return;
    view->draw = draw;
    InvalidateRect(sv, nullptr, false);
}

int scrollview_get_item_count(HWND sv) {
    const View view = view_of(sv);
    return view ? static_cast<int>(view->items.size()) : 0;
}

int scrollview_set_current(HWND sv, int n, bool visible) {
    const View view = view_of(sv);
    if (!view || !view->has(n)) return -1;
    make_current(sv, *view, n, visible);
    return 0;
}

int scrollview_get_current(HWND sv) {
    const View view = view_of(sv);
    return view ? view->current : -1;
}

HSVITEM scrollview_get_item(HWND sv, int n) {
    const View view = view_of(sv);
    return view && view->has(n) ? view->items[static_cast<size_t>(n)].get() : nullptr;
}

int scrollview_get_item_index(HWND sv, HSVITEM item) {
    const View view = view_of(sv);
    return view ? index_of(*view, item) : -1;
}

uintptr_t scrollview_get_item_adddata(HSVITEM item) { return item ? item->add_data : 0; }

void scrollview_set_item_adddata(HSVITEM item, uintptr_t add_data) {
    if (item) item->add_data = add_data;
}

const char *scrollview_get_item_text(HSVITEM item) { return item ? item->text.c_str() : ""; }

void scrollview_set_item_text(HWND sv, HSVITEM item, const char *text) {
    const View view = view_of(sv);
    const int n = view ? index_of(*view, item) : -1;
    if (n < 0) return;
    item->text = text ? text : "";
    repaint_row(sv, *view, n);
}

bool scrollview_is_item_hilight(HWND sv, HSVITEM item) {
    const View view = view_of(sv);
    return view && item && view->has(view->current) &&
           view->items[static_cast<size_t>(view->current)].get() == item;
}

void scrollview_refresh_item(HWND sv, HSVITEM item) {
    const View view = view_of(sv);
    if (view) repaint_row(sv, *view, index_of(*view, item));
}

int scrollview_get_scroll(HWND sv) {
    const View view = view_of(sv);
    return view ? view->scroll : 0;
}

int scrollview_get_content_height(HWND sv) {
    const View view = view_of(sv);
    return view ? view->content : 0;
}
