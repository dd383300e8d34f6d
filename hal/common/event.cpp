#include <algorithm>
#include <cerrno>
#include <common/event.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <tp_clock.h>
#include <tp_os.h>
#include <unistd.h>

namespace hal {

Event::Event() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Event::set() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t n = write(m_fd.get(), &one, sizeof one); // fails only when it is set already
}

void Event::clear() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t n = read(m_fd.get(), &count, sizeof count); // fails only when it is clear already
}

bool Event::wait(int64_t timeout_ns) {
    const int64_t deadline = timeout_ns < 0 ? -1 : tp_clock_mono_ns() + timeout_ns;
    for (;;) {
        const int64_t left = deadline < 0 ? -1 : std::max<int64_t>(0, deadline - tp_clock_mono_ns());
        pollfd wanted{m_fd.get(), POLLIN, 0};
        const int result = tp_clock_poll(&wanted, 1, left);
        if (result > 0) return true;
        if (result == 0) return false;
        if (errno != EINTR) return false;
    }
}

bool wait_answering(Event &event, int64_t timeout_ns) {
    struct Wait {
        Event *event;
        int64_t timeout_ns;
        bool set;
    } wait{&event, timeout_ns, false};
    tp_os_thread_t helper = nullptr;
    const auto entry = [](void *arg) {
        Wait *w = static_cast<Wait *>(arg);
        w->set = w->event->wait(w->timeout_ns);
    };
    if (tp_os_thread_create("hal-wait", entry, &wait, &helper) != 0) return event.wait(timeout_ns);
    tp_os_thread_join(helper);
    return wait.set;
}

} // namespace hal
