#include "common/echo_peer.h"

#include "common/turns.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

namespace {
void answer_at_once(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void watch(int epoll, int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) != 0) _exit(1);
}

[[noreturn]] void serve(int listener, size_t request_bytes, const std::string &answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid(); // as the program has a session of its own: the scheduler groups by session, and changing groups costs
    const int epoll = epoll_create1(0);
    watch(epoll, listener);
    std::array<epoll_event, 16> events;
    char buffer[4096];
    for (;;) {
        const int n = epoll_wait(epoll, events.data(), events.size(), -1);
        for (int i = 0; i < n; ++i) {
            const int fd = events[static_cast<size_t>(i)].data.fd;
            if (fd == listener) {
                const int client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK);
                answer_at_once(client);
                watch(epoll, client);
                continue;
            }
            const ssize_t got = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
            if (got == static_cast<ssize_t>(request_bytes)) send(fd, answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            else if (got <= 0) close(fd);
        }
    }
}
} // namespace

Caller::Caller(uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = loopback(port);
    if (connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        give_up("nothing listens at 127.0.0.1:" + std::to_string(port));
    answer_at_once(socket_.get());
}

void Caller::ask(const std::string &request, std::string &answer) {
    if (send(socket_.get(), request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
        give_up("the connection broke");
    size_t got = 0;
    while (got < answer.size()) {
        const ssize_t n = recv(socket_.get(), answer.data() + got, answer.size() - got, 0);
        if (n <= 0) give_up("no answer came");
        got += static_cast<size_t>(n);
    }
}

std::string Caller::ask_channel(const std::string &request) {
    std::string head, byte(1, 0);
    ask(request, byte);
    for (; byte != "\n"; ask("", byte)) head += byte;
    unsigned status = 0, length = 0;
    if (sscanf(head.c_str(), "%u %u", &status, &length) != 2) give_up("no answer of the command channel: " + head);
    std::string rest(length + 1, 0);
    ask("", rest);
    return head + "\n" + rest;
}

EchoServer::EchoServer(size_t request_bytes, const std::string &answer) {
    vh::Fd listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(listener.get(), reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(listener.get(), 64) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr *>(&address), &size) != 0)
        give_up("no socket on the loopback interface");
    port_ = ntohs(address.sin_port);
    fflush(nullptr);
    pid_ = fork();
    if (pid_ == 0) serve(listener.get(), request_bytes, answer);
    if (pid_ < 0) give_up("cannot start a process");
}

EchoServer::~EchoServer() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

} // namespace bench
