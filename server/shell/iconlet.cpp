#include "shell/iconlet.h"

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
    int pressed = -1; // item under the finger when it went down
};

IconLet *state_of(HWND control) { return reinterpret_cast<IconLet *>(GetWindowAdditionalData(control)); }
int count_of(const IconLet &list) { return static_cast<int>(list.items.size()); }
bool has_item(const IconLet &list, int item) { return item >= 0 && item < count_of(list); }

// Cells are square, three in a row.
RECT cell_rect(HWND control, int item) {
    RECT client{};
    GetClientRect(control, &client);
    const int side = RECTW(client) / COLUMNS;
    const int left = item % COLUMNS * side, top = item / COLUMNS * side;
    return {left, top, left + side, top + side};
}

int item_at(HWND control, const IconLet &list, int x, int y) {
    for (int i = 0; i < count_of(list); ++i) {
        const RECT r = cell_rect(control, i);
        if (x >= r.left && x < r.right && y >= r.top && y < r.bottom) return i;
    }
    return -1;
}

void paint_item(HWND control, HDC hdc, const IconLet &list, int number) {
    const Item &item = list.items[static_cast<size_t>(number)];
    RECT r = cell_rect(control, number);
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

void make_current(HWND control, IconLet &list, int item) {
    if (item == list.current || !has_item(list, item)) return;
    const int before = std::exchange(list.current, item);
    if (before >= 0) {
        const RECT old = cell_rect(control, before);
        InvalidateRect(control, &old, false);
    }
    const RECT fresh = cell_rect(control, item);
    InvalidateRect(control, &fresh, false);
}

void choose(HWND control) { NotifyParent(control, GetDlgCtrlID(control), ILN_CLICKED); }

void on_key(HWND control, IconLet &list, int key) {
    if (key == KEY_BACKWARD) make_current(control, list, list.current - 1);
    if (key == KEY_FORWARD) make_current(control, list, list.current + 1);
    if (key == KEY_CHOOSE && list.current >= 0) choose(control);
}

// A tap is a touch that ends on the item where it began.
void on_touch_end(HWND control, IconLet &list, LPARAM at) {
    const int item = item_at(control, list, LOSWORD(at), HISWORD(at));
    const bool tapped = item >= 0 && item == list.pressed;
    list.pressed = -1;
    if (!tapped) return;
    make_current(control, list, item);
    choose(control);
}

LRESULT handle(HWND control, IconLet &list, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_PAINT: paint(control, list); return 0;
    case MSG_KEYDOWN: on_key(control, list, static_cast<int>(wParam)); return 0;
    case MSG_LBUTTONDOWN: list.pressed = item_at(control, list, LOSWORD(lParam), HISWORD(lParam)); return 0;
    case MSG_LBUTTONUP: on_touch_end(control, list, lParam); return 0;
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
