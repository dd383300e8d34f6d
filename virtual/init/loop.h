// The one wait of the first process: descriptors and what to do when they are ready.
#pragma once

#include "common/fd.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

class Loop {
public:
    using Handler = std::function<void(uint32_t events)>;

    Loop();
    // The descriptor stays the caller's, who removes it before closing it. EPOLLERR and EPOLLHUP are always told.
    void add(int fd, uint32_t events, Handler handler);
    void change(int fd, uint32_t events);
    void remove(int fd);
    // Waits (milliseconds, -1: without limit) and serves what is ready.
    void run_once(int timeout_ms);

private:
    vh::Fd epoll_;
    std::unordered_map<int, std::shared_ptr<Handler>> handlers_;
};
