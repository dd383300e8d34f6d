#include "init/proxy.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace {
constexpr size_t BUFFER = 64 * 1024;

// Bytes on their way from one end to the other. A reader that does not read fills it, and then the writer waits.
struct Flow {
    int from = -1, to = -1;
    std::unique_ptr<char[]> bytes = std::make_unique_for_overwrite<char[]>(BUFFER);
    size_t begin = 0, end = 0;
    bool ended = false; // nothing more comes
    char last = 0;      // byte that came
    std::function<void()> on_bytes = [] {};
    bool closed = false; // and the other end was told

    bool empty() const { return begin == end; }
    bool wants_input() const { return !ended && end < BUFFER; }

    // False when the connection broke.
    bool fill() {
        while (wants_input()) {
            const ssize_t n = recv(from, bytes.get() + end, BUFFER - end, MSG_DONTWAIT);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) return errno == EAGAIN;
            if (n == 0) ended = true;
            end += static_cast<size_t>(n);
            if (n == 0) continue;
            last = bytes[end - 1];
            on_bytes();
        }
        return true;
    }
    bool drain() {
        while (!empty()) {
            const ssize_t n = send(to, bytes.get() + begin, end - begin, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) return errno == EAGAIN || errno == ENOTCONN; // not connected yet
            begin += static_cast<size_t>(n);
        }
        begin = end = 0;
        return true;
    }
};
} // namespace

class PcProxy::Link {
public:
    Link(Loop &loop, vh::Fd client, vh::Fd server, const std::function<void()> &on_bytes, std::function<void(Link *)> on_end)
        : loop_(loop), client_(std::move(client)), server_(std::move(server)), on_end_(std::move(on_end)) {
        up_.from = down_.to = client_.get();
        up_.to = down_.from = server_.get();
        up_.on_bytes = [this, on_bytes] {
            asked_ = up_.last == '\n';
            on_bytes();
        };
        down_.on_bytes = [this] { asked_ = false; };
        loop_.add(client_.get(), EPOLLIN, [this](uint32_t events) { ready(up_, down_, events); });
        loop_.add(server_.get(), EPOLLIN | EPOLLOUT, [this](uint32_t events) { ready(down_, up_, events); });
    }
    ~Link() {
        loop_.remove(client_.get());
        loop_.remove(server_.get());
    }
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;
    bool asked() const { return asked_; }

private:
    // An end is ready: `out` is the flow that comes from it, `in` the one that goes to it.
    void ready(Flow &out, Flow &in, uint32_t events) {
        bool whole = true;
        if (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) whole = out.fill();
        if (whole) whole = out.drain() && out.fill() && out.drain();
        if (whole && (events & EPOLLOUT)) whole = in.drain() && in.fill() && in.drain();
        if (!whole) return end();
        // The end has gone for good: what it sent is still delivered, what was meant for it is not.
        if ((events & (EPOLLHUP | EPOLLERR)) && out.ended) {
            in.ended = in.closed = true;
            in.begin = in.end = 0;
            loop_.remove(out.from);
        }
        finish(out);
        finish(in);
        if (out.closed && in.closed) return end();
        loop_.change(client_.get(), interest(up_, down_));
        loop_.change(server_.get(), interest(down_, up_));
    }
    void end() {
        const auto on_end = on_end_; // outlives this link
        on_end(this);
    }
    static void finish(Flow &flow) {
        if (!flow.ended || !flow.empty() || flow.closed) return;
        shutdown(flow.to, SHUT_WR);
        flow.closed = true;
    }
    static uint32_t interest(const Flow &out, const Flow &in) {
        return (out.wants_input() ? uint32_t{EPOLLIN} : 0u) | (in.empty() ? 0u : uint32_t{EPOLLOUT});
    }

    Loop &loop_;
    vh::Fd client_, server_;
    Flow up_, down_;
    bool asked_ = false;
    std::function<void(Link *)> on_end_;
};

int at_port() {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen("/dev/__vxo_props/persist.vxo.at.port", "re"), fclose);
    char text[16] = "";
    const int port = file && fgets(text, sizeof text, file.get()) ? atoi(text) : 0;
    return port > 0 && port < 65536 ? port : 3535;
}

PcProxy::PcProxy(Loop &loop, int listener, std::function<void()> on_bytes)
    : loop_(loop), listener_(listener), on_bytes_(std::move(on_bytes)) {
    fcntl(listener_, F_SETFL, O_NONBLOCK);
    loop_.add(listener_, EPOLLIN, [this](uint32_t) { accept_client(); });
}

PcProxy::~PcProxy() { loop_.remove(listener_); }

bool PcProxy::waits_for_answer() const {
    return std::any_of(links_.begin(), links_.end(), [](const auto &link) { return link->asked(); });
}

void PcProxy::accept_client() {
    vh::Fd client(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!client) return;
    vh::Fd server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    setsockopt(server.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // One repeated attempt (3 s): the interface is down until the program brings it up, and then nothing ever answers.
    setsockopt(server.get(), IPPROTO_TCP, TCP_SYNCNT, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(at_port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(server.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 && errno != EINPROGRESS)
        return; // nobody listens: the client sees its connection closed
    links_.push_back(std::make_unique<Link>(loop_, std::move(client), std::move(server), on_bytes_, [this](Link *ended) {
        std::erase_if(links_, [ended](const auto &link) { return link.get() == ended; });
    }));
}
