// Each bar is a main window of its own, hosted by the menu: it stays where it is while test windows come and
// go between the bars, and a full-screen window, raised above the menu, covers it.
#include "shell/bars.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "shell/fit_text.h"
#include "shell/main_menu.h"

namespace {

struct Texts {
    char item[3][256] = {};
    int color = 19;
};

struct Bar {
    std::atomic<HWND> hwnd{HWND_NULL};
    HWND parent = HWND_NULL;
    std::mutex lock; // guards texts; never held while a window is touched
    Texts texts;

    Texts copy() {
        std::lock_guard guard(lock);
        return texts;
    }
    void set(int index, const char *text) {
        if (!text || index < 0 || index > 2) return;
        std::lock_guard guard(lock);
        std::snprintf(texts.item[index], sizeof texts.item[index], "%s", text);
    }
    void set_color(int index) {
        if (index < 0 || index >= SYS_COLOR_COUNT) return;
        std::lock_guard guard(lock);
        texts.color = index;
    }
    // A long window procedure must show its new texts at once; any other thread must not wait for the GUI
    // thread.
    void update() {
        const HWND bar = hwnd;
        if (bar == HWND_NULL) return;
        if (tp_is_gui_thread())
            UpdateWindow(bar, true);
        else
            InvalidateRect(bar, nullptr, true);
    }
};

Bar softkeys, battery;
int pressed_part = -1;

constexpr int PART_KEY[3] = {KEY_PASS, KEY_START, KEY_FAIL};

int font_size() { return std::max(12, screen_width() < 1380 ? screen_width() / 15 / 4 * 4 : 90); }

bool blank(const char *text) { return text[std::strspn(text, " ")] == '\0'; }

RECT part_rect(HWND hwnd, int part) {
    RECT client{};
    GetClientRect(hwnd, &client);
    return {client.right * part / 3, 0, client.right * (part + 1) / 3, client.bottom};
}

void describe(HWND hwnd, const Texts &texts) {
    tp_gui_describe_softkeys(hwnd, texts.item[0], texts.item[1], texts.item[2]);
}

void line(HDC hdc, int x0, int y0, int x1, int y1) {
    MoveTo(hdc, x0, y0);
    LineTo(hdc, x1, y1);
}

void paint_softkeys(HWND hwnd) {
    const Texts texts = softkeys.copy();
    describe(hwnd, texts);
    HDC hdc = BeginPaint(hwnd);
    SetBkMode(hdc, BM_TRANSPARENT);
    for (int part = 0; part < 3; ++part) {
        const RECT box = part_rect(hwnd, part);
        SetBrushColor(hdc, SysPixelIndex[part == pressed_part ? 22 : 18]);
        FillBox(hdc, box.left, 0, RECTW(box), box.bottom);
        SetTextColor(hdc, SysPixelIndex[texts.color]);
        draw_text_fitted(hdc, texts.item[part], {box.left + 4, 2, box.right - 4, box.bottom},
                         DT_CENTER | DT_VCENTER | DT_SINGLELINE, 'r', font_size());
    }
    const RECT middle = part_rect(hwnd, 1);
    SetPenWidth(hdc, 1);
    SetPenColor(hdc, SysPixelIndex[20]);
    line(hdc, 0, 0, screen_width() - 1, 0);
    line(hdc, middle.left, middle.bottom / 4, middle.left, middle.bottom * 3 / 4);
    line(hdc, middle.right, middle.bottom / 4, middle.right, middle.bottom * 3 / 4);
    EndPaint(hwnd, hdc);
}

// The title keeps the middle; when a side text is wider than its share the title moves into what is left.
void paint_battery(HWND hwnd) {
    const Texts texts = battery.copy();
    RECT client{};
    GetClientRect(hwnd, &client);
    HDC hdc = BeginPaint(hwnd);
    SetBkMode(hdc, BM_TRANSPARENT);
    SetTextColor(hdc, SysPixelIndex[texts.color]);
    const int margin = std::max(4, screen_width() / 90), side = client.right * 3 / 10, size = font_size();
    int used[2] = {0, 0};
    for (int end = 0; end < 2; ++end) {
        const char *text = texts.item[end * 2];
        if (!*text) continue;
        const int left = end == 0 ? margin : client.right - side;
        const RECT box{left, 0, left + side - margin, client.bottom};
        const UINT format = (end == 0 ? DT_LEFT : DT_RIGHT) | DT_VCENTER | DT_SINGLELINE;
        PLOGFONT font = shell_font_fitting(hdc, text, RECTW(box), RECTH(box), format, 'r', size);
        used[end] = font ? std::min(GetTextWidth(font, text, -1), RECTW(box)) + 2 * margin : side;
        draw_text_fitted(hdc, text, box, format, 'r', size);
    }
    RECT box{margin, 0, client.right - margin, client.bottom};
    const int wider = std::max(used[0], used[1]);
    const PLOGFONT font = shell_font('r', size);
    const int need = font ? GetTextWidth(font, texts.item[1], -1) : 0;
    if (need <= client.right - 2 * wider)
        box = {wider, 0, client.right - wider, client.bottom};
    else
        box = {std::max(used[0], margin), 0, client.right - std::max(used[1], margin), client.bottom};
    draw_text_fitted(hdc, texts.item[1], box, DT_CENTER | DT_VCENTER | DT_SINGLELINE, 'r', size);
    EndPaint(hwnd, hdc);
}

// A part without a text offers no key: a test that hides its pass key until it may be pressed relies on it.
void press(HWND hwnd, int x) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const int part = client.right > 0 ? std::clamp(x * 3 / client.right, 0, 2) : 0;
    if (pressed_part >= 0 || blank(softkeys.copy().item[part])) return;
    pressed_part = part;
    SetCapture(hwnd);
    UpdateWindow(hwnd, false);
    tp_gui_inject_key(PART_KEY[part], true);
}

void release(HWND hwnd) {
    if (pressed_part < 0) return;
    const int part = pressed_part;
    pressed_part = -1;
    if (GetCapture() == hwnd) ReleaseCapture();
    InvalidateRect(hwnd, nullptr, false);
    tp_gui_inject_key(PART_KEY[part], false);
}

LRESULT bar_proc(Bar &bar, HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_ACTIVE:
        // Keys never belong to a bar: when a window above closed and left the bar on top, the menu takes
        // over.
        if (wParam == 1 && IsWindow(bar.parent) && IsWindowVisible(bar.parent)) SetActiveWindow(bar.parent);
        return 0;
    case MSG_DESTROY:
        bar.hwnd = HWND_NULL;
        break;
    default:
        break;
    }
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

LRESULT softkey_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case MSG_PAINT:
        paint_softkeys(hwnd);
        return 0;
    case MSG_LBUTTONDOWN:
        press(hwnd, LOSWORD(lParam));
        return 0;
    case MSG_LBUTTONUP:
        release(hwnd);
        return 0;
    case MSG_DESTROY:
        pressed_part = -1;
        break;
    default:
        break;
    }
    return bar_proc(softkeys, hwnd, message, wParam, lParam);
}

LRESULT battery_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_PAINT) {
        paint_battery(hwnd);
        return 0;
    }
    return bar_proc(battery, hwnd, message, wParam, lParam);
}

HWND create_bar(Bar &bar, HWND parent, const RECT *rect, WNDPROC proc, const char *caption) {
    if (bar.hwnd != HWND_NULL) return bar.hwnd;
    MAINWINCREATE info;
    info.spCaption = caption;
    info.MainWindowProc = proc;
    info.lx = rect->left;
    info.ty = rect->top;
    info.rx = rect->right;
    info.by = rect->bottom;
    info.iBkColor = SysPixelIndex[18];
    info.hHosting = parent;
    {
        std::lock_guard guard(bar.lock);
        bar.texts = Texts();
    }
    bar.parent = parent;
    const HWND hwnd = CreateMainWindow(&info);
    if (hwnd == HWND_INVALID) return HWND_INVALID;
    bar.hwnd = hwnd;
    ShowWindow(hwnd, SW_SHOW);
    return hwnd;
}

void destroy_bar(Bar &bar) {
    const HWND hwnd = bar.hwnd.exchange(HWND_NULL);
    if (hwnd != HWND_NULL) DestroyMainWindow(hwnd);
}

} // namespace

HWND svr_create_softkeybar(HWND parent, const RECT *screen_rect) {
    const HWND bar = create_bar(softkeys, parent, screen_rect, softkey_proc, "SoftKeyBar");
    if (bar != HWND_INVALID) describe(bar, softkeys.copy());
    return bar;
}

HWND svr_create_batteryshow(HWND parent, const RECT *screen_rect) {
    return create_bar(battery, parent, screen_rect, battery_proc, "BatteryBar");
}

void svr_destroy_softkeybar() { destroy_bar(softkeys); }
void svr_destroy_batteryshow() { destroy_bar(battery); }

void tp_skb_set_text_items(const char *left, const char *middle, const char *right) {
    softkeys.set(0, left);
    softkeys.set(1, middle);
    softkeys.set(2, right);
}

void tp_skb_set_text_items_byIndex(const char *text, int index) { softkeys.set(index, text); }
void tp_skb_set_text_col(int color_index) { softkeys.set_color(color_index); }

void tp_skb_update() {
    if (softkeys.hwnd != HWND_NULL && tp_is_gui_thread()) describe(softkeys.hwnd, softkeys.copy());
    softkeys.update();
}

void tp_skb_show(bool visible) {
    if (softkeys.hwnd != HWND_NULL) ShowWindow(softkeys.hwnd, visible ? SW_SHOW : SW_HIDE);
}

void tp_batteryshow_set_text_items(const char *left, const char *middle, const char *right) {
    battery.set(0, left);
    battery.set(1, middle);
    battery.set(2, right);
}

void tp_batteryshow_set_text_items_byIndex(const char *text, int index) { battery.set(index, text); }
void tp_batteryshow_set_text_col(int color_index) { battery.set_color(color_index); }
void tp_batteryshow_update() { battery.update(); }

void show_bar_texts(const char *title, const char *left, const char *middle, const char *right) {
    tp_skb_show(true);
    tp_skb_set_text_items(left, middle, right);
    tp_skb_set_text_col(19);
    tp_skb_update();
    tp_batteryshow_set_text_items_byIndex(title, 1);
    tp_batteryshow_update();
}
