// A flag that threads wait for, as a descriptor that also fits into a poll set.
#pragma once

#include <common/file.h>

namespace hal {

class Event {
public:
    Event();
    bool valid() const { return m_fd.valid(); }
    int fd() const { return m_fd.get(); }
    void set();
    void clear();
    // Waits until it is set, at most the given scaled time (negative: no limit). False when the time is over.
    bool wait(int64_t timeout_ns);

private:
    UniqueFd m_fd;
};

// Waits as Event::wait, for the end of a library thread's work that may itself wait for the caller: a callback that
// sends a message to a window of the calling thread. Only joining a thread keeps answering such messages, so the wait
// is done by a helper thread, and the helper is joined.
bool wait_answering(Event &event, int64_t timeout_ns);

} // namespace hal
