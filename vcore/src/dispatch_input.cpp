// Who gets a key or a touch: hooks, capture, focus, the window under the finger.
#include "window.h"

#include <tp_globals.h>

#include "queue.h"

namespace vcore {
namespace {
struct Hook {
    MSGHOOK proc = nullptr;
    void *context = nullptr;
};
struct InputState {
    Hook key, touch;
    HWND capture = HWND_NULL;
    HWND touched = HWND_NULL; // got the down and will get the up
    bool down = false;
};
InputState g_state;

bool swallowed(const Hook &hook, HWND target, UINT message, WPARAM wParam, LPARAM lParam) {
    if (!hook.proc) return false;
    const DispatchScope scope;
    return hook.proc(hook.context, target, message, wParam, lParam) == 1;
}

HWND key_target() {
    const WindowRef active = window_find(GetActiveWindow());
    if (!active) return HWND_NULL;
    const WindowRef focus = window_find(active->focus);
    return focus && window_shown(focus.get()) ? focus->handle : active->handle;
}

HWND touch_target(const InputEvent &event) {
    if (window_exists(g_state.capture)) return g_state.capture;
    if (event.kind == InputEvent::Kind::touch_up) return g_state.touched;
    const WindowRef &under = window_at(event.x, event.y);
    return under ? under->handle : HWND_NULL;
}

bool route_key(const InputEvent &event, MSG &out) {
    const UINT message = event.kind == InputEvent::Kind::key_down ? MSG_KEYDOWN : MSG_KEYUP;
    const auto code = static_cast<WPARAM>(event.code);
    if (swallowed(g_state.key, key_target(), message, code, 0)) return false;
    out = {key_target(), message, code, 0};
    return out.hwnd != HWND_NULL;
}

bool route_touch(const InputEvent &event, MSG &out) {
    using Kind = InputEvent::Kind;
    if (event.kind == Kind::touch_move && !g_state.down) return false;
    const UINT message = event.kind == Kind::touch_down ? MSG_LBUTTONDOWN
                         : event.kind == Kind::touch_up ? MSG_LBUTTONUP
                                                        : MSG_MOUSEMOVE;
    g_state.down = event.kind != Kind::touch_up;
    const bool taken =
        g_state.touch.proc && swallowed(g_state.touch, touch_target(event), message, 0, MAKELONG(event.x, event.y));
    // Asked again: the hook may have opened or closed a window.
    const WindowRef &target = window_find(taken ? HWND_NULL : touch_target(event));
    if (event.kind == Kind::touch_down) g_state.touched = target ? target->handle : HWND_NULL;
    if (event.kind == Kind::touch_up) g_state.touched = HWND_NULL;
    if (!target) return false;
    out = {target->handle, message, 0, MAKELONG(event.x - target->rect.left, event.y - target->rect.top)};
    return true;
}

MSGHOOK exchange_hook(Hook &hook, void *context, MSGHOOK proc) {
    const MSGHOOK before = hook.proc;
    hook = {proc, context};
    return before;
}
} // namespace

bool input_route(const InputEvent &event, MSG &out) {
    const bool key = event.kind == InputEvent::Kind::key_down || event.kind == InputEvent::Kind::key_up;
    return key ? route_key(event, out) : route_touch(event, out);
}

void input_window_ends(HWND window) {
    if (g_state.capture == window) g_state.capture = HWND_NULL;
    if (g_state.touched == window) g_state.touched = HWND_NULL;
}

void input_forget_state() { g_state = {}; }
} // namespace vcore

using namespace vcore;

MSGHOOK RegisterKeyMsgHook(void *context, MSGHOOK hook) {
    GUI_THREAD_ONLY();
    return exchange_hook(g_state.key, context, hook);
}

MSGHOOK RegisterMouseMsgHook(void *context, MSGHOOK hook) {
    GUI_THREAD_ONLY();
    return exchange_hook(g_state.touch, context, hook);
}

HWND SetCapture(HWND hwnd) {
    GUI_THREAD_ONLY();
    const HWND before = g_state.capture;
    if (window_exists(hwnd)) g_state.capture = hwnd;
    return before;
}

void ReleaseCapture() {
    GUI_THREAD_ONLY();
    g_state.capture = HWND_NULL;
}

HWND GetCapture() {
    GUI_THREAD_ONLY();
    return g_state.capture;
}

void tp_gui_inject_key(int code, bool down) {
    GetLastInputTime();
    queue_input({down ? InputEvent::Kind::key_down : InputEvent::Kind::key_up, code});
}
