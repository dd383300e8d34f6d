// Waiting, beneath clock and semaphores.
#pragma once

#include <functional>
#include <poll.h>
#include <thread>

namespace vcore {

// Whether a stop request ends every later wait of the thread at once, or only the first one after it.
enum class StopEnds { every_wait, first_wait };

// ppoll that a stop request to the calling thread cannot slip past: also one that came just before the call ends it
// with EINTR.
int ppoll_or_stop(pollfd *fds, nfds_t count, const timespec *timeout, StopEnds ends);

// Called before the calling thread waits. On the GUI thread what was drawn so far is shown first.
void before_wait();

// A thread for work beside the start of the program. It gets no signals: they are for the other
// threads. Without a thread the work is done at once.
std::thread start_quiet_thread(std::function<void()> work);

// Makes a waiting GUI thread look at its queue, its timers and the threads it joins. Any thread.
void gui_wake();

// On the GUI thread: answers sent messages until done(arg) is true; gui_wake makes it look again.
void gui_answer_until(bool (*done)(void *), void *arg);

} // namespace vcore
