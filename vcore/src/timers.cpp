// Timers of windows, on the scaled clock.
#include "window.h"

#include <algorithm>
#include <tp_clock.h>

namespace vcore {
namespace {
constexpr int64_t TICK_NS = 10'000'000;

struct Timer {
    HWND window;
    int id;
    int64_t period;
    int64_t next;
};
std::vector<Timer> g_timers;

auto earliest() {
    return std::min_element(g_timers.begin(), g_timers.end(), [](const Timer &a, const Timer &b) { return a.next < b.next; });
}
} // namespace

void timers_of_window_end(HWND window) {
    std::erase_if(g_timers, [window](const Timer &t) { return t.window == window; });
}

bool timer_due(int64_t now) { return !g_timers.empty() && earliest()->next <= now; }

bool timer_take_due(int64_t now, MSG &out) {
    if (!timer_due(now)) return false;
    Timer &timer = *earliest();
    timer.next += timer.period;
    // Ticks that a busy thread missed are not made up for.
    if (timer.next <= now) timer.next = now + timer.period;
    out = {timer.window, MSG_TIMER, static_cast<WPARAM>(timer.id), 0};
    return true;
}

int64_t timer_next() { return g_timers.empty() ? -1 : earliest()->next; }
void timers_clear() { g_timers.clear(); }
} // namespace vcore

using namespace vcore;

int SetTimer(HWND hwnd, int id, unsigned speed) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (!w || w->dying) return -1;
    KillTimer(hwnd, id);
    const int64_t period = std::max(1u, speed) * TICK_NS;
    g_timers.push_back({hwnd, id, period, tp_clock_mono_ns() + period});
    return 0;
}

int KillTimer(HWND hwnd, int id) {
    GUI_THREAD_ONLY();
    return std::erase_if(g_timers, [=](const Timer &t) { return t.window == hwnd && t.id == id; }) ? 0 : -1;
}
