// The other side of the channel's rows: a bare TCP server that answers a request of known length with known bytes, and the
// client that both it and the program are asked through.
#pragma once

#include "common/fd.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <sys/types.h>

namespace bench {

sockaddr_in loopback(uint16_t port);

// One connection to 127.0.0.1 inside the sandbox; gives up when there is none.
class Caller {
public:
    explicit Caller(uint16_t port);
    // Sends the request and waits for an answer of as many bytes as `answer` has, which comes back in it.
    void ask(const std::string &request, std::string &answer);
    // The same for an answer of the command channel, whose length stands in its head.
    std::string ask_channel(const std::string &request);

private:
    vh::Fd socket_;
};

// A process of its own that serves any number of clients: epoll_wait, recv, send, nothing else. Ends with the object.
class EchoServer {
public:
    EchoServer(size_t request_bytes, const std::string &answer);
    ~EchoServer();
    EchoServer(const EchoServer &) = delete;
    EchoServer &operator=(const EchoServer &) = delete;
    uint16_t port() const { return port_; }
    pid_t pid() const { return pid_; }

private:
    uint16_t port_ = 0;
    pid_t pid_ = -1;
};

} // namespace bench
