// Alarm clocks for the sandbox. The kernel grants timerfd_create(CLOCK_REALTIME_ALARM, CLOCK_BOOTTIME_ALARM) only to the
// machine's own root; here the call is answered with a timer of the plain clock, and the program needs no change. Such a
// timer carries a mark, O_APPEND, by which it is known later. Where the wall clock may not wake the handset
// (/sys/class/rtc/rtc0/power/wakeup is "disabled") the call is refused.
//
// The same notification shows sync(2) and syncfs(2) where the storage takes orders: no such call reaches its file system.
#pragma once

#include "common/fd.h"

#include <cstdint>
#include <optional>
#include <string>

// In a child before it executes: from now on its alarm clock calls wait for an answer, and its syncs when they are
// wanted. The descriptor to answer on, or -1.
int alarm_clocks_install(bool with_syncs);
// Answers one call that waits on the descriptor. A sync is left waiting: its id, for sync_answer.
std::optional<uint64_t> alarm_clocks_answer(int listener);
// All is durable. The machine that runs the handset is spared its own sync.
void sync_answer(int listener, uint64_t call);
// How often the alarm clock behind an entry of /proc/PID/fdinfo has fired unread; nothing when it is no alarm clock.
std::optional<unsigned long> alarm_clock_ticks(const std::string &fdinfo);
