// The message loop: start and end of the toolkit, the order of the kinds of message, and the one wait.
#include <algorithm>
#include <android/log.h>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_gui.h>
#include <utility>

#include "dc.h"
#include "describe.h"
#include "input.h"
#include "os_wait.h"
#include "panel.h"
#include "queue.h"
#include "window.h"

namespace vcore {
namespace {
constexpr int PATIENT_ROUNDS = 8; // paint rounds that a description waits for a window that always paints itself anew
constexpr int64_t LONG_AGO = -(INT64_C(1) << 62);
constexpr int64_t LOOK_NS = 1'000'000;  // input that comes while messages are worked through waits no longer than this
constexpr int PUMP_LIMIT = 4096; // messages per pump: a window that posts to itself must not hold it for ever

int g_handed_at = -1; // the dispatch depth at which the last message was handed out; -1: something else was done
int64_t g_looked = LONG_AGO; // when all descriptors had been looked at and read

// Looks at all descriptors; timeout in scaled nanoseconds, -1 without limit. True when one of them had something.
bool wait_for_descriptors(int64_t timeout) {
    static std::vector<pollfd> fds;
    fds.assign(1, {queue_wake_fd(), POLLIN, 0});
    input_add_descriptors(fds);
    const size_t inputs = fds.size() - 1;
    description_add_descriptors(fds);
    const int64_t start = timeout == 0 ? 0 : tp_clock_mono_ns();
    const int ready = tp_clock_poll(fds.data(), fds.size(), timeout);
    g_looked = tp_clock_mono_ns();
    if (timeout != 0) exclude_from_procedure_time(tp_clock_to_kernel_ns(g_looked - start));
    if (ready <= 0) return false;
    const std::span<const pollfd> all(fds);
    if (!input_read(all.subspan(1, inputs))) g_looked = LONG_AGO;
    description_serve(all.subspan(1 + inputs));
    return true;
}

bool take_input(MSG &out) {
    InputEvent event{};
    while (queue_take_input(event))
        if (input_route(event, out)) return true;
    return false;
}

enum class Next { message, quit, idle };

bool take_quit(HWND loop_window) {
    if (loop_window == HWND_DESKTOP) return false;
    const WindowRef window = window_find(loop_window);
    if (window && !window->quit_posted) return false;
    if (window) window->quit_posted = false;
    return true;
}

bool take_paint(MSG &out) {
    const WindowRef window = paint_next();
    if (window) out = {window->handle, MSG_PAINT, 0, 0};
    return window != nullptr;
}

// Everything that came is handled and painted: show it, and tell who asked.
void finish_round() {
    paint_end_round();
    paint_show();
    static int rounds_put_off = 0;
    rounds_put_off = paint_wanted() ? rounds_put_off + 1 : 0;
    if (rounds_put_off % PATIENT_ROUNDS == 0) description_answer();
}

// Before the timers what came before them; before a paint too, so that it shows all that has come.
bool look_wanted(bool block, int64_t now) {
    if (timer_due(now) || description_pending()) return true;
    return (!block || paint_wanted()) && std::max(now, procedure_ended()) - g_looked >= LOOK_NS;
}

void wait_for_more() {
    const int64_t next = timer_next();
    int64_t timeout = next < 0 ? -1 : std::max<int64_t>(next - tp_clock_mono_ns(), 0);
    if (paint_wanted()) timeout = 0;
    if (!queue_before_wait()) return;
    wait_for_descriptors(timeout);
    queue_after_wait();
}

// A message that directly follows the one before at the same depth: its procedure begins when that one's ended.
Next hand_out(bool straight) {
    g_handed_at = dispatch_depth();
    next_procedure_follows(straight);
    return Next::message;
}

// Timers fire when due at `timers_until` (pump: each once), or now.
Next next_message(MSG &out, HWND loop_window, bool block, int64_t timers_until, int &answered) {
    bool straight = std::exchange(g_handed_at, -1) == dispatch_depth();
    straight = procedure_just_ended() && straight;
    for (bool looked = false;;) {
        const int sent = queue_answer_sent();
        answered += sent;
        straight = straight && sent == 0;
        // Sent messages may have ended the loop's window.
        if (loop_window != HWND_DESKTOP && !window_find(loop_window)) return Next::quit;
        paint_show_if_late();
        if (queue_take(out)) return hand_out(straight);
        if (take_quit(loop_window)) return Next::quit;
        if (take_input(out)) return hand_out(straight);
        straight = false; // what follows takes its time
        queue_apply_invalidations();
        const int64_t now = timers_until >= 0 ? timers_until : tp_clock_mono_ns();
        if (!looked && look_wanted(block, now)) {
            looked = true;
            if (wait_for_descriptors(0)) continue;
        }
        if (take_paint(out)) return hand_out(false);
        // Before the timers: one that is always due must not keep the screen from being shown.
        finish_round();
        if (timer_take_due(now, out)) return hand_out(false);
        if (!block) return Next::idle;
        wait_for_more();
        looked = false;
    }
}
} // namespace

void before_wait() {
    if (tp_is_gui_thread()) paint_show();
}

void gui_answer_until(bool (*done)(void *), void *arg) {
    const bool accepted = queue_accepting();
    queue_accept(true);
    while (!done(arg)) {
        if (queue_answer_sent()) continue;
        paint_show();
        const int64_t start = tp_clock_mono_ns();
        queue_wait_for_sent();
        exclude_from_procedure_time(tp_clock_to_kernel_ns(tp_clock_mono_ns() - start));
    }
    if (!accepted) queue_accept(false);
}
} // namespace vcore

using namespace vcore;

int InitGUI() {
    if (gui_exists()) return tp_is_gui_thread() ? 0 : -1;
    queue_open();
    GetLastInputTime();
    if (fonts_init() != 0) __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s no font: texts are drawn as boxes", __func__);
    register_builtin_controls();
    return panel_open();
}

int InitGUIIAL() {
    GUI_THREAD_ONLY();
    description_open();
    return input_open();
}

void TerminateGUI() {
    GUI_THREAD_ONLY();
    if (!tp_is_gui_thread()) return;
    windows_destroy_all();
    paint_forget_contexts();
    timers_clear();
    controls_forget_classes();
    input_forget_state();
    input_close();
    description_close();
    panel_close();
    fonts_terminate();
    queue_close();
}

int GetMessage(MSG *msg, HWND hwnd) {
    GUI_THREAD_ONLY();
    if (!msg || !tp_is_gui_thread()) return 0;
    queue_accept(true);
    int answered = 0;
    if (next_message(*msg, hwnd, true, -1, answered) == Next::message) return 1;
    // The outermost loop has ended: nobody will answer any more, so nobody may wait for an answer.
    if (dispatch_depth() == 0) queue_accept(false);
    return 0;
}

int TranslateMessage(const MSG *) { return 0; }

LRESULT DispatchMessage(const MSG *msg) {
    GUI_THREAD_ONLY();
    if (!msg) return 0;
    const WindowRef &window = window_find(msg->hwnd);
    if (!window) return 0;
    if (msg->message == MSG_PAINT) return paint_dispatch(WindowRef(window));
    return window_call(window, msg->message, msg->wParam, msg->lParam);
}

int PostQuitMessage(HWND hwnd) {
    GUI_THREAD_ONLY();
    const WindowRef window = window_find(hwnd);
    if (!window) return -1;
    window->quit_posted = true;
    return 0;
}

int tp_gui_pump() {
    GUI_THREAD_ONLY();
    if (!tp_is_gui_thread()) return 0;
    queue_accept(true);
    g_looked = LONG_AGO;
    const int64_t now = tp_clock_mono_ns();
    int handled = 0;
    for (int i = 0; i < PUMP_LIMIT; ++i) {
        MSG msg{};
        if (next_message(msg, HWND_DESKTOP, false, now, handled) != Next::message) break;
        DispatchMessage(&msg);
        ++handled;
    }
    return handled;
}

LRESULT SendMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (!tp_is_gui_thread()) return queue_send({hwnd, message, wParam, lParam});
    const WindowRef &window = window_find(hwnd);
    return window ? window_call(window, message, wParam, lParam) : 0;
}

int PostMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    return window_exists(hwnd) && queue_post({hwnd, message, wParam, lParam}) ? 0 : -1;
}

int SendNotifyMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    return window_exists(hwnd) && queue_notify({hwnd, message, wParam, lParam}) ? 0 : -1;
}

int tp_gui_call(int (*fn)(void *), void *arg) {
    if (!fn) return -1;
    return tp_is_gui_thread() ? fn(arg) : static_cast<int>(queue_call(fn, arg, -1));
}

int InvalidateRect(HWND hwnd, const RECT *rect, bool erase) {
    if (!window_exists(hwnd)) return -1;
    if (!tp_is_gui_thread()) {
        queue_invalidate(hwnd, rect, erase);
        return 0;
    }
    const WindowRef w = window_find(hwnd);
    if (!w) return -1;
    RECT screen = w->rect;
    if (rect)
        screen = {w->rect.left + rect->left, w->rect.top + rect->top, w->rect.left + rect->right, w->rect.top + rect->bottom};
    invalidate_tree(*w, Region(screen), erase);
    return 0;
}

namespace {
struct Update {
    HWND window;
    bool erase;
};

int update_now(void *raw) {
    const auto *update = static_cast<const Update *>(raw);
    const WindowRef w = window_find(update->window);
    if (!w) return -1;
    InvalidateRect(update->window, nullptr, update->erase);
    paint_now(w);
    return 0;
}
} // namespace

int UpdateWindow(HWND hwnd, bool erase) {
    Update update{hwnd, erase};
    return tp_gui_call(update_now, &update);
}
