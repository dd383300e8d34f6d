// The table of windows, main windows, and the properties of both main windows and controls.
#include "window.h"

#include <algorithm>
#include <android/log.h>
#include <atomic>
#include <mutex>
#include <tp_clock.h>
#include <unordered_map>
#include <utility>

#include "queue.h"

namespace vcore {
namespace {
constexpr HWND FIRST_HANDLE = 0x1000;
constexpr HWND HANDLE_STEP = 4;
constexpr int64_t SLOW_CALL_NS = 50'000'000;

// Only the GUI thread changes the table, so only it reads without the lock.
struct Table {
    std::mutex mutex;
    std::unordered_map<HWND, WindowRef> windows;
    std::vector<Window *> mains;
    HWND next = FIRST_HANDLE;
};
Table &table() {
    static Table instance;
    return instance;
}

int g_depth = 0;
int64_t g_excluded_ns = 0, g_ended = 0;
bool g_just_ended = false;      // and nothing was handed out since
bool g_begins_at_end = false;   // of the procedure before: the clock need not be asked again
HWND g_found_handle = HWND_NULL; // most messages are for the window of the one before
const WindowRef *g_found = nullptr;
const WindowRef NONE;
} // namespace

const WindowRef &window_find(HWND handle) {
    if (g_found && handle == g_found_handle) return *g_found;
    const auto found = table().windows.find(handle);
    if (found == table().windows.end()) return NONE;
    g_found_handle = handle;
    g_found = &found->second;
    return found->second;
}

bool window_exists(HWND handle) {
    if (tp_is_gui_thread()) return window_find(handle) != nullptr;
    const std::lock_guard lock(table().mutex);
    return table().windows.contains(handle);
}

WindowRef window_add() {
    auto window = std::make_shared<Window>();
    const std::lock_guard lock(table().mutex);
    window->handle = table().next;
    table().next += HANDLE_STEP;
    table().windows.emplace(window->handle, window);
    return window;
}

void window_forget(const Window &window) {
    std::erase(table().mains, &window);
    timers_of_window_end(window.handle);
    input_window_ends(window.handle);
    g_found = nullptr;
    const std::lock_guard lock(table().mutex);
    table().windows.erase(window.handle);
}

std::vector<Window *> &main_windows() { return table().mains; }

Window *window_main_of(Window *window) {
    while (window->parent) window = window->parent;
    return window;
}

bool window_shown(const Window *window) {
    for (; window; window = window->parent)
        if (!window->visible) return false;
    return true;
}

void windows_destroy_all() {
    // A procedure may open another window while the last ones go: bounded, so that it cannot go on for ever.
    for (int rounds = 0; !main_windows().empty() && rounds < 1000; ++rounds) DestroyMainWindow(main_windows().back()->handle);
}

DispatchScope::DispatchScope() { ++g_depth; }
DispatchScope::~DispatchScope() { --g_depth; }
int dispatch_depth() { return g_depth; }
void exclude_from_procedure_time(int64_t ns) { g_excluded_ns += ns; }
int64_t procedure_ended() { return g_ended; }
bool procedure_just_ended() { return std::exchange(g_just_ended, false); }
void next_procedure_follows(bool at_once) { g_begins_at_end = at_once; }

LRESULT window_call(const WindowRef &window, UINT message, WPARAM wParam, LPARAM lParam) {
    const WindowRef alive = window; // the procedure may destroy it
    const int64_t excluded_before = g_excluded_ns;
    const int64_t start = std::exchange(g_begins_at_end, false) ? g_ended : tp_clock_mono_ns();
    LRESULT result = 0;
    {
        const DispatchScope scope;
        result = alive->proc(alive->handle, message, wParam, lParam);
    }
    g_ended = tp_clock_mono_ns();
    g_just_ended = true;
    const int64_t total = tp_clock_to_kernel_ns(g_ended - start);
    const int64_t own = total - (g_excluded_ns - excluded_before);
    g_excluded_ns = excluded_before + total;
    if (own > SLOW_CALL_NS)
        __android_log_print(ANDROID_LOG_WARN, "VCORE", "%s slow window procedure: %s \"%.64s\" message %u took %lld ms",
                            __func__, alive->class_name.c_str(), alive->caption.c_str(), message,
                            static_cast<long long>(own / 1'000'000));
    return result;
}

bool on_gui_thread_or_none() { return tp_is_gui_thread() || !gui_exists(); }
} // namespace vcore

using namespace vcore;

HWND CreateMainWindow(const MAINWINCREATE *info) {
    GUI_THREAD_ONLY();
    if (!info || !info->MainWindowProc || !tp_is_gui_thread()) return HWND_INVALID;
    const WindowRef w = window_add();
    w->is_main = true;
    w->proc = info->MainWindowProc;
    w->class_name = "mainwin";
    w->caption = info->spCaption ? info->spCaption : "";
    w->style = info->dwStyle;
    w->ex_style = info->dwExStyle;
    w->rect = {info->lx, info->ty, std::max(info->lx, info->rx), std::max(info->ty, info->by)};
    w->bk_color = info->iBkColor;
    w->add_data = info->dwAddData;
    if (const WindowRef host = window_find(info->hHosting)) w->host = window_main_of(host.get())->handle;
    main_windows().push_back(w.get());
    const LRESULT created = window_call(w, MSG_CREATE, 0, reinterpret_cast<LPARAM>(info));
    if (!window_exists(w->handle)) return HWND_INVALID;
    if (created != -1) return w->handle;
    w->refused = true;
    DestroyMainWindow(w->handle);
    return HWND_INVALID;
}

namespace {
void destroy_hosted(HWND host) {
    for (;;) {
        const auto &mains = main_windows();
        const auto hosted = std::find_if(mains.rbegin(), mains.rend(), [host](const Window *m) { return m->host == host && !m->dying; });
        if (hosted == mains.rend()) return;
        DestroyMainWindow((*hosted)->handle);
    }
}
} // namespace

int DestroyMainWindow(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (!w || !w->is_main || w->dying) return -1;
    w->dying = true;
    destroy_hosted(hwnd);
    if (GetActiveWindow() == hwnd) window_call(w, MSG_ACTIVE, 0, 0);
    if (!w->refused) window_call(w, MSG_DESTROY, 0, 0);
    destroy_hosted(hwnd); // what the procedure opened in its last moments
    destroy_controls_of(*w);
    detach_controls_of(*w);
    {
        const SeenChange change;
        window_forget(*w);
    }
    activate_topmost_if_lost();
    return 0;
}

int MainWindowCleanup(HWND) { return 0; }
int MainWindowThreadCleanup(HWND) { return 0; }

bool IsWindow(HWND hwnd) { return window_exists(hwnd); }

bool IsMainWindow(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w && w->is_main;
}

bool IsWindowVisible(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w && window_shown(w.get());
}

HWND GetParent(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w && w->parent ? w->parent->handle : HWND_NULL;
}

HWND GetHosting(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w && w->is_main ? w->host : HWND_NULL;
}

bool GetWindowRect(HWND hwnd, RECT *out) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (w && out) *out = w->rect;
    return w && out;
}

bool GetClientRect(HWND hwnd, RECT *out) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (w && out) *out = {0, 0, RECTW(w->rect), RECTH(w->rect)};
    return w && out;
}

namespace {
void shift_tree(Window &w, int dx, int dy) {
    w.rect = {w.rect.left + dx, w.rect.top + dy, w.rect.right + dx, w.rect.bottom + dy};
    w.invalid.clear();
    w.texts.clear();
    for (Window *child : w.children) shift_tree(*child, dx, dy);
}

void repaint(Window &w) { invalidate_tree(w, Region(w.rect), true); }
} // namespace

int MoveWindow(HWND hwnd, int x, int y, int w, int h) {
    GUI_THREAD_ONLY();
    const WindowRef window = window_find(hwnd);
    if (!window) return -1;
    const RECT before = window->rect;
    const RECT base = window->parent ? window->parent->rect : RECT{};
    {
        const SeenChange change;
        shift_tree(*window, base.left + x - before.left, base.top + y - before.top);
        window->rect.right = window->rect.left + std::max(w, 0);
        window->rect.bottom = window->rect.top + std::max(h, 0);
    }
    if (window->parent) invalidate_tree(*window->parent, Region(before), true);
    repaint(*window);
    return 0;
}

int SetWindowText(HWND hwnd, const char *text) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (!w) return -1;
    // A copy first: the text may be the window's own.
    w->caption = std::string(text ? text : "");
    if (w->is_main) return 0;
    window_call(w, MSG_SETTEXT, 0, reinterpret_cast<LPARAM>(w->caption.c_str()));
    repaint(*w);
    return 0;
}

std::string GetWindowText(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w ? w->caption : std::string();
}

namespace {
// Exchanges a property and repaints; the old value, or nothing for a dead window.
template <class T> T exchange(HWND hwnd, T Window::*property, T value, bool repaints) {
    const WindowRef w = window_find(hwnd);
    if (!w) return T{};
    const T old = (*w).*property;
    (*w).*property = value;
    if (repaints) repaint(*w);
    return old;
}

template <class T> T property_of(HWND hwnd, T Window::*property) {
    const WindowRef w = window_find(hwnd);
    return w ? (*w).*property : T{};
}
} // namespace

gal_pixel SetWindowBkColor(HWND hwnd, gal_pixel color) {
    GUI_THREAD_ONLY();
    return exchange(hwnd, &Window::bk_color, color, true);
}
gal_pixel GetWindowBkColor(HWND hwnd) {
    GUI_THREAD_ONLY();
    return property_of(hwnd, &Window::bk_color);
}
gal_pixel SetWindowTextColor(HWND hwnd, gal_pixel color) {
    GUI_THREAD_ONLY();
    return exchange(hwnd, &Window::text_color, color, true);
}
gal_pixel GetWindowTextColor(HWND hwnd) {
    GUI_THREAD_ONLY();
    return property_of(hwnd, &Window::text_color);
}
uintptr_t SetWindowAdditionalData(HWND hwnd, uintptr_t data) {
    GUI_THREAD_ONLY();
    return exchange(hwnd, &Window::add_data, data, false);
}
uintptr_t GetWindowAdditionalData(HWND hwnd) {
    GUI_THREAD_ONLY();
    return property_of(hwnd, &Window::add_data);
}
DWORD GetWindowStyle(HWND hwnd) {
    GUI_THREAD_ONLY();
    return property_of(hwnd, &Window::style);
}
PLOGFONT GetWindowFont(HWND hwnd) {
    GUI_THREAD_ONLY();
    return property_of(hwnd, &Window::font);
}

PLOGFONT SetWindowFont(HWND hwnd, PLOGFONT font) {
    GUI_THREAD_ONLY();
    const PLOGFONT old = exchange(hwnd, &Window::font, font, true);
    SendMessage(hwnd, MSG_FONTCHANGED, 0, 0);
    return old;
}

LRESULT DefaultMainWinProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    return default_paint_proc(hwnd, message, wParam, lParam);
}
