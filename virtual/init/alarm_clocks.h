// Alarm clocks for the sandbox. The kernel grants timerfd_create(CLOCK_REALTIME_ALARM, CLOCK_BOOTTIME_ALARM) only to the
// machine's own root; here the call is answered with a timer of the plain clock, and the program needs no change.
#pragma once

#include "common/fd.h"

// In a child before it executes: from now on its alarm clock calls wait for an answer. The descriptor to answer on, or -1.
int alarm_clocks_install();
// Answers one call that waits on the descriptor.
void alarm_clocks_answer(int listener);
