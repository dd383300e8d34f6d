// Controls: classes, creation, focus and notifications.
#include "window.h"

#include <algorithm>
#include <android/log.h>
#include <map>

namespace vcore {
namespace {
struct ControlClass {
    WNDPROC proc;
    gal_pixel bk_color;
};
std::map<std::string, ControlClass, std::less<>> g_classes;

Window *find_control(Window &parent, int id) {
    for (Window *child : parent.children) {
        if (child->id == id) return child;
        if (Window *inner = find_control(*child, id)) return inner;
    }
    return nullptr;
}
} // namespace

void controls_forget_classes() { g_classes.clear(); }

void destroy_controls_of(Window &parent) {
    // The topmost first; a control's procedure may destroy its neighbours.
    for (;;) {
        const auto next = std::find_if(parent.children.rbegin(), parent.children.rend(), [](const Window *c) { return !c->dying; });
        if (next == parent.children.rend()) return;
        const WindowRef control = window_find((*next)->handle);
        destroy_control(control);
    }
}

void destroy_control(const WindowRef &control) {
    if (!control || control->dying) return;
    control->dying = true;
    if (!control->refused) window_call(control, MSG_DESTROY, 0, 0);
    destroy_controls_of(*control);
    detach_controls_of(*control);
    window_forget(*control);
    // The procedure may have destroyed the parent too, which let go of this control.
    Window *const parent = control->parent;
    if (!parent) return;
    Window *main = window_main_of(parent);
    if (main->focus == control->handle) main->focus = HWND_NULL;
    std::erase(parent->children, control.get());
    control->parent = nullptr;
    if (control->visible) invalidate_tree(*parent, Region(control->rect), true);
}

void detach_controls_of(Window &parent) {
    for (Window *child : parent.children) child->parent = nullptr;
    parent.children.clear();
}
} // namespace vcore

using namespace vcore;

int RegisterWindowClass(const WNDCLASS *cls) {
    GUI_THREAD_ONLY();
    if (!cls || !cls->spClassName || !cls->WinProc) return -1;
    return g_classes.emplace(cls->spClassName, ControlClass{cls->WinProc, cls->iBkColor}).second ? 0 : -1;
}

HWND CreateWindowEx(const char *cls, const char *caption, DWORD style, DWORD ex_style, int id, int x, int y, int w,
                    int h, HWND parent, uintptr_t add_data) {
    GUI_THREAD_ONLY();
    const WindowRef above = window_find(parent);
    const auto found = g_classes.find(cls ? cls : "");
    if (!above || above->dying || found == g_classes.end()) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s class \"%s\", control %d: no such class or parent", __func__,
                            cls ? cls : "", id);
        return HWND_INVALID;
    }
    const WindowRef control = window_add();
    control->proc = found->second.proc;
    control->class_name = found->first;
    control->caption = caption ? caption : "";
    control->style = style | WS_CHILD;
    control->ex_style = ex_style;
    control->id = id;
    const int left = above->rect.left + x, top = above->rect.top + y;
    control->rect = {left, top, left + std::max(w, 0), top + std::max(h, 0)};
    control->bk_color = found->second.bk_color;
    control->add_data = add_data;
    control->parent = above.get();
    above->children.push_back(control.get());
    const LRESULT created = window_call(control, MSG_CREATE, 0, static_cast<LPARAM>(add_data));
    if (!window_exists(control->handle)) return HWND_INVALID;
    if (created == -1) {
        control->refused = true;
        destroy_control(control);
        return HWND_INVALID;
    }
    if (style & WS_VISIBLE) ShowWindow(control->handle, SW_SHOW);
    return control->handle;
}

int DestroyWindow(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef control = window_find(hwnd);
    if (!control || control->is_main || control->dying) return -1;
    destroy_control(control);
    return 0;
}

int DestroyAllControls(HWND parent) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(parent);
    if (!w) return -1;
    destroy_controls_of(*w);
    return 0;
}

int GetDlgCtrlID(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w ? w->id : -1;
}

HWND GetDlgItem(HWND parent, int id) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(parent);
    const Window *found = w ? find_control(*w, id) : nullptr;
    return found ? found->handle : HWND_NULL;
}

NOTIFPROC SetNotificationCallback(HWND hwnd, NOTIFPROC proc) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    return w ? std::exchange(w->notify, proc) : nullptr;
}

void NotifyParent(HWND control, int id, int nc) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(control);
    if (!w) return;
    if (w->notify) {
        w->notify(control, id, nc, w->add_data);
    } else if (w->parent) {
        SendMessage(w->parent->handle, MSG_COMMAND, static_cast<WPARAM>(MAKELONG(id, nc)), static_cast<LPARAM>(control));
    }
}

HWND SetFocus(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (!w || w->dying) return HWND_NULL;
    const WindowRef main = window_find(window_main_of(w.get())->handle);
    const HWND before = main->focus;
    const HWND next = w->is_main ? HWND_NULL : hwnd;
    if (before == next) return before;
    main->focus = next;
    SendMessage(before, MSG_KILLFOCUS, next, 0);
    if (main->focus == next) SendMessage(next, MSG_SETFOCUS, before, 0);
    return before;
}

HWND GetFocus(HWND main_window) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(main_window);
    return w ? window_main_of(w.get())->focus : HWND_NULL;
}

LRESULT DefaultControlProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_KEYDOWN || message == MSG_KEYUP) {
        const WindowRef w = window_find(hwnd);
        const WindowRef main = w && !w->is_main ? window_find(window_main_of(w.get())->handle) : nullptr;
        return main ? window_call(main, message, wParam, lParam) : 0;
    }
    return default_paint_proc(hwnd, message, wParam, lParam);
}
