#include "launcher/bridge_server.h"

#include "common/loopback.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>

namespace vh {

namespace {
constexpr int MAX_CLIENTS = 16;
constexpr int BOOT_LIMIT_MS = 20000;
} // namespace

uint16_t BridgeServer::listen(uint16_t port) {
    const std::scoped_lock lock(mutex_);
    if (port_ != 0 && (port == 0 || port == port_)) return port_;
    Fd listener = listen_loopback(port);
    if (!listener)
        throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + strerror(errno) +
                                 "; without --port a free one is taken");
    if (listener_ >= 0) shutdown(listener_, SHUT_RDWR); // its thread ends
    listener_ = listener.get();
    port_ = port;
    // It ends with the process, which leaves by _exit.
    std::thread([this, fd = std::move(listener)]() mutable { accept_loop(std::move(fd)); }).detach();
    return port_;
}

void BridgeServer::accept_loop(Fd listener) {
    for (;;) {
        Fd client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!client && errno == EINVAL) return; // shut down
        if (!client && errno != EINTR && errno != ECONNABORTED) poll(nullptr, 0, 100); // out of descriptors
        if (!client) continue;
        if (++clients_ > MAX_CLIENTS) {
            --clients_;
            continue;
        }
        std::thread([this, fd = std::move(client)]() mutable { serve(std::move(fd)); }).detach();
    }
}

void BridgeServer::serve(Fd client) {
    for (int waited = 0; waited < BOOT_LIMIT_MS && host_.status().value("state", "") == "booting"; waited += 50)
        poll(nullptr, 0, 50);
    const Fd null(open("/dev/null", O_RDWR | O_CLOEXEC));
    try {
        host_.execute({"/app/vbridge"}, {client.get(), null.get(), null.get()}, -1);
    } catch (const std::exception &) {
        // The handset is off: the client sees its connection closed.
    }
    --clients_;
}

} // namespace vh
