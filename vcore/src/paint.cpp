// Painting: whose turn it is, what is erased, and the device contexts' clips.
#include "window.h"

#include <algorithm>
#include <tp_clock.h>

#include "panel.h"

namespace vcore {
namespace {
constexpr int64_t SHOW_NS = 8'000'000;

struct OpenContext {
    HDC hdc;
    WindowRef window; // keeps the text record alive when the window ends first
};
std::vector<OpenContext> g_contexts;
uint64_t g_round = 1;
int64_t g_drawn_since = 0; // as far as the message loop saw; 0: nothing was

HDC open_context(const WindowRef &window, const Region &clip) {
    const PanelPage page = panel_hidden_page();
    const RECT screen = panel_rect();
    DcTarget target;
    target.pixels = page.pixels;
    target.stride = page.stride;
    target.width = RECTW(screen);
    target.height = RECTH(screen);
    target.origin_x = window->rect.left;
    target.origin_y = window->rect.top;
    target.client_width = RECTW(window->rect);
    target.client_height = RECTH(window->rect);
    target.clip = clip.get();
    target.font = window->font;
    target.texts = &window->texts;
    target.about_to_draw = panel_about_to_draw;
    target.show = panel_show;
    const HDC hdc = dc_open(target);
    if (hdc != HDC_INVALID) g_contexts.push_back({hdc, window});
    return hdc;
}

void close_context(HDC hdc) {
    const auto open = std::find_if(g_contexts.begin(), g_contexts.end(), [hdc](const OpenContext &c) { return c.hdc == hdc; });
    if (open == g_contexts.end()) return;
    dc_close(hdc);
    g_contexts.erase(open);
}

Region invalid_and_seen(const Window &window) {
    Region region = visible_region(window, true);
    region.intersect(window.invalid);
    return region;
}

RECT to_client(const Window &window, const RECT &r) {
    return {r.left - window.rect.left, r.top - window.rect.top, r.right - window.rect.left, r.bottom - window.rect.top};
}

// The background is erased once per invalidation, whoever comes first: the paint message or BeginPaint.
void erase_background(const WindowRef &window) {
    if (!window->erase) return;
    window->erase = false;
    const RECT bounds = to_client(*window, window->invalid.extents());
    const HDC hdc = open_context(window, invalid_and_seen(*window));
    window_call(window, MSG_ERASEBKGND, hdc, reinterpret_cast<LPARAM>(&bounds));
    close_context(hdc);
}

WindowRef next_in(Window &window) {
    if (!window.visible) return nullptr;
    if (!window.invalid.empty() && window.paint_round != g_round) return window_find(window.handle);
    for (Window *child : window.children)
        if (WindowRef found = next_in(*child)) return found;
    return nullptr;
}

bool wanted_in(const Window &window) {
    return window.visible && (!window.invalid.empty() || std::any_of(window.children.begin(), window.children.end(),
                                                                     [](const Window *c) { return wanted_in(*c); }));
}
} // namespace

WindowRef paint_next() {
    for (Window *main : main_windows())
        if (WindowRef found = next_in(*main)) return found;
    return nullptr;
}

bool paint_wanted() {
    const auto &mains = main_windows();
    return std::any_of(mains.begin(), mains.end(), [](const Window *m) { return wanted_in(*m); });
}

void paint_end_round() { ++g_round; }

void paint_show() {
    g_drawn_since = 0;
    if (!panel_flush()) return;
    for (const OpenContext &open : g_contexts) dc_move(open.hdc, panel_hidden_page().pixels);
}

void paint_show_if_late() {
    if (!panel_drawn()) return;
    const int64_t now = procedure_ended();
    if (g_drawn_since == 0) g_drawn_since = now;
    if (tp_clock_to_kernel_ns(now - g_drawn_since) >= SHOW_NS && !paint_wanted()) paint_show();
}

void paint_forget_contexts() {
    while (!g_contexts.empty()) close_context(g_contexts.back().hdc);
}

LRESULT paint_dispatch(const WindowRef &window) {
    window->paint_round = g_round;
    if (window->invalid.empty()) return 0;
    erase_background(window);
    window->paint_taken = false;
    const LRESULT result = window_call(window, MSG_PAINT, 0, 0);
    // A procedure that paints nothing must not be asked for ever.
    if (!window->paint_taken) window->invalid.clear();
    return result;
}

void paint_now(const WindowRef &window) {
    if (!window->invalid.empty()) paint_dispatch(window);
    std::vector<HWND> children;
    for (const Window *child : window->children) children.push_back(child->handle);
    for (const HWND handle : children)
        if (const WindowRef child = window_find(handle); child && window_shown(child.get())) paint_now(child);
}

LRESULT default_paint_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    const WindowRef window = window_find(hwnd);
    if (!window) return 0;
    if (message == MSG_PAINT) {
        EndPaint(hwnd, BeginPaint(hwnd));
    } else if (message == MSG_ERASEBKGND) {
        const RECT whole{0, 0, RECTW(window->rect), RECTH(window->rect)};
        const RECT r = lParam ? *reinterpret_cast<const RECT *>(lParam) : whole;
        const HDC hdc = wParam;
        const gal_pixel before = SetBrushColor(hdc, window->bk_color);
        FillBox(hdc, r.left, r.top, RECTW(r), RECTH(r));
        SetBrushColor(hdc, before);
    }
    return 0;
}
} // namespace vcore

using namespace vcore;

HDC GetClientDC(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef &window = window_find(hwnd);
    return window ? open_context(window, visible_region(*window, true)) : HDC_INVALID;
}

void ReleaseDC(HDC hdc) {
    GUI_THREAD_ONLY();
    close_context(hdc);
}

HDC BeginPaint(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef window = window_find(hwnd);
    if (!window) return HDC_INVALID;
    erase_background(window);
    window->paint_taken = true;
    // What the paint covers will be drawn again: its old texts go.
    const RECT bounds = window->invalid.extents();
    std::erase_if(window->texts, [&bounds](const PaintedText &t) { return contains(bounds, t.rect); });
    const Region clip = invalid_and_seen(*window);
    window->invalid.clear();
    return open_context(window, clip);
}

void EndPaint(HWND, HDC hdc) {
    GUI_THREAD_ONLY();
    close_context(hdc);
}
