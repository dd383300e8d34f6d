// The clock door. Scaled time is a straight line through an anchor; replacing the scale starts a new line where the
// old one stands.
#include <tp_clock.h>

#include <algorithm>
#include <android/log.h>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cutils/properties.h>
#include <limits>
#include <mutex>
#include <tp_os.h>

#include "os_wait.h"

namespace {
constexpr int64_t SECOND = 1'000'000'000;
constexpr double MAX_SCALE = 1e6;

struct Anchor {
    int64_t kernel_mono = 0, scaled_mono = 0;
    int64_t kernel_real = 0, scaled_real = 0;
};
std::mutex g_mutex;
Anchor g_anchor;
std::atomic<double> g_scale{1};
// Stays false in a handset that runs in real time: its clock reads take no lock. Once true it stays true.
std::atomic<bool> g_scaled{false};
std::once_flag g_once;
std::atomic<bool> g_started{false}; // saves the clock reads the cost of call_once

int64_t kernel_ns(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * SECOND + now.tv_nsec;
}

int64_t saturated(double ns) {
    constexpr double LIMIT = 9.2e18;
    return static_cast<int64_t>(std::clamp(ns, -LIMIT, LIMIT));
}

int64_t along(int64_t scaled_from, int64_t kernel_from, int64_t kernel_now) {
    return scaled_from + saturated(static_cast<double>(kernel_now - kernel_from) * g_scale);
}

void read_property() {
    char text[PROPERTY_VALUE_MAX];
    if (property_get("ro.vxo.clock", text, "") <= 0) return;
    double scale = 1;
    long long base = 0;
    if (sscanf(text, "%lf %lld", &scale, &base) != 2 || !std::isfinite(scale) || scale < 1) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s ro.vxo.clock \"%s\" ignored", __func__, text);
        return;
    }
    const int64_t mono = kernel_ns(CLOCK_MONOTONIC);
    const int64_t real = kernel_ns(CLOCK_REALTIME);
    g_scale = std::min(scale, MAX_SCALE);
    // Every process of the handset gets the same lines, whenever it started.
    g_anchor = {mono - (real - base), mono - (real - base), base, base};
    g_scaled = true;
}

void ensure_started() {
    if (g_started.load(std::memory_order_acquire)) return;
    std::call_once(g_once, read_property);
    g_started.store(true, std::memory_order_release);
}

int64_t scaled_now(clockid_t clock, int64_t Anchor::*scaled, int64_t Anchor::*kernel) {
    ensure_started();
    if (!g_scaled.load(std::memory_order_acquire)) return kernel_ns(clock);
    // The kernel's clock is read under the lock: a reading on the old line never comes after one on the new line.
    const std::lock_guard lock(g_mutex);
    return along(g_anchor.*scaled, g_anchor.*kernel, kernel_ns(clock));
}

timespec to_timespec(int64_t ns) {
    return {static_cast<time_t>(ns / SECOND), static_cast<decltype(timespec::tv_nsec)>(ns % SECOND)};
}

int64_t deadline_after(int64_t kernel_wait) {
    const int64_t now = kernel_ns(CLOCK_MONOTONIC);
    return kernel_wait > std::numeric_limits<int64_t>::max() - now ? std::numeric_limits<int64_t>::max() : now + kernel_wait;
}
} // namespace

int64_t tp_clock_mono_ns() { return scaled_now(CLOCK_MONOTONIC, &Anchor::scaled_mono, &Anchor::kernel_mono); }
int64_t tp_clock_real_ns() { return scaled_now(CLOCK_REALTIME, &Anchor::scaled_real, &Anchor::kernel_real); }
time_t tp_clock_time() { return static_cast<time_t>(tp_clock_real_ns() / SECOND); }
time_t tp_clock_tick_time() {
    ensure_started();
    return g_scaled.load(std::memory_order_acquire) ? tp_clock_time() : time(nullptr);
}

int64_t tp_clock_to_kernel_ns(int64_t scaled_ns) {
    ensure_started();
    const double scale = g_scale;
    // Rounded up: a wait is never shorter than asked for.
    return scale == 1 ? scaled_ns : saturated(std::ceil(static_cast<double>(scaled_ns) / scale));
}

int64_t tp_clock_from_kernel_ns(int64_t kernel) {
    ensure_started();
    const double scale = g_scale;
    return scale == 1 ? kernel : saturated(static_cast<double>(kernel) * scale);
}

void tp_clock_sleep_ns(int64_t ns) {
    if (ns <= 0) return;
    vcore::before_wait();
    const timespec until = to_timespec(deadline_after(tp_clock_to_kernel_ns(ns)));
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {}
}

bool tp_clock_sleep_or_stop_ns(int64_t ns) {
    vcore::before_wait();
    const int64_t until = deadline_after(std::max<int64_t>(tp_clock_to_kernel_ns(ns), 0));
    for (;;) {
        const timespec rest = to_timespec(std::max<int64_t>(until - kernel_ns(CLOCK_MONOTONIC), 0));
        if (vcore::ppoll_or_stop(nullptr, 0, &rest, vcore::StopEnds::every_wait) == 0) return true;
        if (tp_os_thread_stop_requested()) return false;
    }
}

int tp_clock_poll(pollfd *fds, nfds_t count, int64_t timeout_ns) {
    if (timeout_ns < 0) return vcore::ppoll_or_stop(fds, count, nullptr, vcore::StopEnds::first_wait);
    const timespec timeout = to_timespec(tp_clock_to_kernel_ns(timeout_ns));
    return vcore::ppoll_or_stop(fds, count, &timeout, vcore::StopEnds::first_wait);
}

void tp_clock_set_scale(double scale) {
    ensure_started();
    {
        const std::lock_guard lock(g_mutex);
        const int64_t mono = kernel_ns(CLOCK_MONOTONIC);
        const int64_t real = kernel_ns(CLOCK_REALTIME);
        if (g_scaled) {
            g_anchor = {mono, along(g_anchor.scaled_mono, g_anchor.kernel_mono, mono), real,
                        along(g_anchor.scaled_real, g_anchor.kernel_real, real)};
        } else {
            g_anchor = {mono, mono, real, real};
        }
        g_scale = std::isfinite(scale) ? std::clamp(scale, 1.0, MAX_SCALE) : 1.0;
        g_scaled.store(true, std::memory_order_release);
    }
    vcore::gui_wake();
}

double tp_clock_scale() {
    ensure_started();
    return g_scale;
}
