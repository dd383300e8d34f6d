#include "init/loop.h"

#include <sys/epoll.h>

Loop::Loop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

void Loop::add(int fd, uint32_t events, Handler handler) {
    handlers_[fd] = std::make_shared<Handler>(std::move(handler));
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event);
}

void Loop::change(int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event);
}

void Loop::remove(int fd) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
    handlers_.erase(fd);
}

void Loop::run_once(int timeout_ms) {
    epoll_event events[32];
    const int count = epoll_wait(epoll_.get(), events, 32, timeout_ms);
    for (int i = 0; i < count; ++i) {
        // A handler may remove another descriptor of the same batch, or itself while it runs.
        const auto found = handlers_.find(events[i].data.fd);
        if (found == handlers_.end()) continue;
        const std::shared_ptr<Handler> handler = found->second;
        (*handler)(events[i].events);
    }
}
