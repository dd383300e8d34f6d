// The one clock door: every wait and every clock read of the program and its libraries goes through here.
//
// Time may run faster than the wall clock. The property "ro.vxo.clock" ("SCALE BASE_NS": a factor of at
// least 1 and the CLOCK_REALTIME nanoseconds at which scaling began) is read at the first call; without it
// the scale is 1. A scaled wait of 10 s with scale 10 takes 1 s; clock reads advance ten times as fast.
// All functions may be called from any thread.
#pragma once

#include <cstdint>
#include <ctime>
#include <poll.h>

// Scaled CLOCK_MONOTONIC in nanoseconds. Never goes back.
int64_t tp_clock_mono_ns();
// Scaled CLOCK_REALTIME in nanoseconds since 1970.
int64_t tp_clock_real_ns();
// tp_clock_real_ns in whole seconds, for localtime_r and friends.
time_t tp_clock_time();
// The same as of the kernel's last tick, some milliseconds ago at most: for the stamps of log lines, where reading the clock
// would cost a tenth of the line.
time_t tp_clock_tick_time();

// Sleeps the given scaled time to its end, restarting after signals.
void tp_clock_sleep_ns(int64_t ns);
inline void tp_clock_sleep_us(int64_t us) { tp_clock_sleep_ns(us * 1000); }
inline void tp_clock_sleep_ms(int64_t ms) { tp_clock_sleep_ns(ms * 1000000); }
// The same, but returns false at once when the thread was asked to stop (tp_os_thread_interrupt) before or
// during the sleep; true when the time has passed.
[[nodiscard]] bool tp_clock_sleep_or_stop_ns(int64_t ns);

// ppoll with a scaled timeout (negative: no limit). Result and errno of ppoll; EINTR is returned.
int tp_clock_poll(pollfd *fds, nfds_t count, int64_t timeout_ns);

// Converts a scaled duration to the kernel's and back, for timerfd and the like.
int64_t tp_clock_to_kernel_ns(int64_t scaled_ns);
int64_t tp_clock_from_kernel_ns(int64_t kernel_ns);

// Replaces the scale from now on without a jump; for tests. At least 1.
void tp_clock_set_scale(double scale);
double tp_clock_scale();
