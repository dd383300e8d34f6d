#include "shell/iconlet.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {
constexpr int COLUMNS = 3;
constexpr int TEXT_MAX = 255;
constexpr int KEY_CHOOSE = 60, KEY_BACKWARD = 103, KEY_FORWARD = 108;
constexpr int COLOR_TEXT = 19, COLOR_BACKGROUND = 18, COLOR_CURRENT = 22;

struct Picture {
    Picture() = default;
    ~Picture() { UnloadBitmap(&bitmap); }
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;
    BITMAP bitmap;
};

struct Item {
    std::string text;
    std::unique_ptr<Picture> picture; // null: none, or not readable
    uintptr_t add_data;
};

struct IconLet {
    std::vector<Item> items;
    int current = -1;
    int scroll = 0;       // pixels off the top
    bool down = false;    // a finger; where it came down, and the scroll of that moment
    bool dragging = false;
    int down_x = 0, down_y = 0, down_scroll = 0;
};

IconLet *state_of(HWND control) { return reinterpret_cast<IconLet *>(GetWindowAdditionalData(control)); }
int count_of(const IconLet &list) { return static_cast<int>(list.items.size()); }
bool has_item(const IconLet &list, int item) { return item >= 0 && item < count_of(list); }

RECT client_of(HWND control) {
    RECT client{};
    GetClientRect(control, &client);
    return client;
}

// Cells are square, three in a row.
int cell_side(HWND control) { return std::max(1, RECTW(client_of(control)) / COLUMNS); }

RECT cell_rect(HWND control, const IconLet &list, int item) {
    const int side = cell_side(control), left = item % COLUMNS * side, top = item / COLUMNS * side - list.scroll;
    return {left, top, left + side, top + side};
}

int item_at(HWND control, const IconLet &list, int x, int y) {
    const int side = cell_side(control);
    if (x < 0 || x >= COLUMNS * side || y < 0 || y >= client_of(control).bottom) return -1;
    const int item = (y + list.scroll) / side * COLUMNS + x / side;
    return has_item(list, item) ? item : -1;
}

bool scroll_to(HWND control, IconLet &list, int wanted) {
    const int content = (count_of(list) + COLUMNS - 1) / COLUMNS * cell_side(control);
    const int scroll = std::clamp(wanted, 0, std::max(0, content - client_of(control).bottom));
    if (std::exchange(list.scroll, scroll) == scroll) return false;
    InvalidateRect(control, nullptr, true);
    return true;
}

void paint_item(HWND control, HDC hdc, const IconLet &list, int number) {
    const Item &item = list.items[static_cast<size_t>(number)];
    RECT r = cell_rect(control, list, number);
    if (r.bottom <= 0 || r.top >= client_of(control).bottom) return;
    SetBrushColor(hdc, SysPixelIndex[number == list.current ? COLOR_CURRENT : COLOR_BACKGROUND]);
    FillBox(hdc, r.left, r.top, RECTW(r), RECTH(r));
    const int side = RECTH(r) / 2; // the picture takes the cell's upper part
    if (item.picture) {
        FillBoxWithBitmap(hdc, r.left + (RECTW(r) - side) / 2, r.top + side / 4, side, side, &item.picture->bitmap);
        r.top += side + side / 4;
    }
    SetTextColor(hdc, SysPixelIndex[COLOR_TEXT]);
    SetBkMode(hdc, BM_TRANSPARENT);
    DrawText(hdc, item.text.c_str(), -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
}

void paint(HWND control, const IconLet &list) {
    const HDC hdc = BeginPaint(control);
    for (int i = 0; i < count_of(list); ++i) paint_item(control, hdc, list, i);
    EndPaint(control, hdc);
}

void repaint(HWND control, const IconLet &list, int item) {
    const RECT cell = cell_rect(control, list, item);
    InvalidateRect(control, &cell, false);
}

void make_current(HWND control, IconLet &list, int item) {
    if (!has_item(list, item)) return;
    const int before = std::exchange(list.current, item);
    const RECT cell = cell_rect(control, list, item);
    const int below = cell.bottom - client_of(control).bottom;
    const int out_of_view = cell.top < 0 ? cell.top : std::max(0, below);
    if (scroll_to(control, list, list.scroll + out_of_view) || before == item) return;
    if (before >= 0) repaint(control, list, before);
    repaint(control, list, item);
}

void choose(HWND control) { NotifyParent(control, GetDlgCtrlID(control), ILN_CLICKED); }

void on_key(HWND control, IconLet &list, int key) {
    if (key == KEY_BACKWARD) make_current(control, list, list.current - 1);
    if (key == KEY_FORWARD) make_current(control, list, list.current + 1);
    if (key == KEY_CHOOSE && list.current >= 0) choose(control);
}

void on_touch(HWND control, IconLet &list, int x, int y) {
    list.down = true;
    list.dragging = false;
    list.down_x = x;
    list.down_y = y;
    list.down_scroll = list.scroll;
    SetCapture(control);
}

void on_touch_moved(HWND control, IconLet &list, int y) {
    if (!list.down) return;
    const bool away = list.dragging || std::abs(y - list.down_y) > cell_side(control) / 12;
    if (away && scroll_to(control, list, list.down_scroll + list.down_y - y)) list.dragging = true;
}

// A tap is a touch that ends on the item where it began.
void on_touch_end(HWND control, IconLet &list, int x, int y) {
    on_touch_moved(control, list, y);
    if (GetCapture() == control) ReleaseCapture();
    const int item = item_at(control, list, x, y);
    const bool tapped = std::exchange(list.down, false) && !list.dragging && item >= 0 &&
                        item == item_at(control, list, list.down_x, list.down_y);
    if (!tapped) return;
    make_current(control, list, item);
    choose(control);
}

LRESULT handle(HWND control, IconLet &list, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_PAINT: paint(control, list); return 0;
    case MSG_KEYDOWN: on_key(control, list, static_cast<int>(wParam)); return 0;
    case MSG_LBUTTONDOWN: on_touch(control, list, LOSWORD(lParam), HISWORD(lParam)); return 0;
    case MSG_MOUSEMOVE: on_touch_moved(control, list, HISWORD(lParam)); return 0;
    case MSG_LBUTTONUP: on_touch_end(control, list, LOSWORD(lParam), HISWORD(lParam)); return 0;
    default: return DefaultControlProc(control, message, wParam, lParam);
    }
}

LRESULT IconLetWndProc(HWND control, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_CREATE) {
        auto *list = new (std::nothrow) IconLet;
        if (!list) return -1;
        SetWindowAdditionalData(control, reinterpret_cast<uintptr_t>(list));
        return 0;
    }
    IconLet *list = state_of(control);
    if (!list) return DefaultControlProc(control, message, wParam, lParam);
    if (message == MSG_DESTROY) {
        if (GetCapture() == control) ReleaseCapture();
        SetWindowAdditionalData(control, 0);
        delete list;
        return DefaultControlProc(control, message, wParam, lParam);
    }
    return handle(control, *list, message, wParam, lParam);
}
} // namespace

int RegisterIconLetCtrl() {
    const WNDCLASS cls{ICONLET_CLASS, IconLetWndProc, SysPixelIndex[COLOR_BACKGROUND]};
    return RegisterWindowClass(&cls);
}

int iconlet_add_item(HWND control, const char *text, const char *picture, uintptr_t add_data) {
    IconLet *list = state_of(control);
    if (!list || !text) return -1;
    Item item{std::string(text, strnlen(text, TEXT_MAX)), nullptr, add_data};
    if (picture) {
        item.picture = std::make_unique<Picture>();
        if (LoadBitmapFromFile(HDC_INVALID, &item.picture->bitmap, picture) != 0) item.picture.reset();
    }
    list->items.push_back(std::move(item));
    if (list->current < 0) list->current = 0;
    InvalidateRect(control, nullptr, false);
    return count_of(*list) - 1;
}

void iconlet_reset_content(HWND control) {
    IconLet *list = state_of(control);
    if (!list) return;
    *list = IconLet{};
    InvalidateRect(control, nullptr, true);
}

int iconlet_get_item_count(HWND control) {
    const IconLet *list = state_of(control);
    return list ? count_of(*list) : 0;
}

int iconlet_get_current(HWND control) {
    const IconLet *list = state_of(control);
    return list ? list->current : -1;
}

int iconlet_set_current(HWND control, int item) {
    IconLet *list = state_of(control);
    if (!list || !has_item(*list, item)) return -1;
    make_current(control, *list, item);
    return 0;
}

uintptr_t iconlet_get_item_adddata(HWND control, int item) {
    const IconLet *list = state_of(control);
    return list && has_item(*list, item) ? list->items[static_cast<size_t>(item)].add_data : 0;
}
