#include "bridge/connection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace bridge {

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds GREETING_LIMIT{10};
constexpr size_t MAX_STREAMS = 256;
constexpr size_t MAX_QUEUED = 1 << 20; // for a client that does not read; then nothing more is taken from anywhere
constexpr size_t CHUNK = 64 * 1024;
// Commands have an exit status; a file is sent into folders that are missing.
const std::string BANNER = "device::ro.product.name=handset;ro.product.model=handset;ro.product.device=handset;"
                           "features=shell_v2,fixed_push_mkdir";
} // namespace

Connection::Connection(vh::Fd client) : client_(std::move(client)) {
    fcntl(client_.get(), F_SETFL, O_NONBLOCK);
    client_interest_ = EPOLLIN;
    loop_.add(client_.get(), client_interest_, [this](uint32_t events) { client_ready(events); });
}

void Connection::run() {
    const auto limit = Clock::now() + GREETING_LIMIT;
    for (int wait = -1; alive_; step(wait)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        if (!greeted_ && left <= 0) return;
        wait = greeted_ ? -1 : static_cast<int>(left);
    }
}

bool Connection::step(int timeout_ms) {
    loop_.run_once(timeout_ms);
    settle();
    return alive_;
}

void Connection::client_ready(uint32_t events) {
    if (events & EPOLLOUT) flush();
    if (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) receive();
}

void Connection::receive() {
    char bytes[CHUNK];
    const ssize_t n = recv(client_.get(), bytes, sizeof bytes, 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) {
        alive_ = false;
        return;
    }
    in_.append(bytes, static_cast<size_t>(n));
    Packet packet;
    while (alive_) {
        const Taken taken = take_packet(in_, greeted_ ? MAX_DATA : MAX_FIRST_DATA, with_sums_, packet);
        if (taken == Taken::incomplete) return;
        if (taken == Taken::garbage) alive_ = false;
        else handle(packet);
    }
}

void Connection::flush() {
    while (!out_.empty()) {
        const ssize_t n = ::send(client_.get(), out_.data(), out_.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) return;
        if (n < 0) {
            alive_ = false;
            return;
        }
        out_.erase(0, static_cast<size_t>(n));
    }
}

void Connection::send(Packet packet) { out_ += packet_bytes(packet); }

void Connection::handle(Packet &packet) {
    if (packet.command == CNXN) return greet(packet);
    if (!greeted_) {
        alive_ = false;
        return;
    }
    if (packet.command == OPEN) return open(packet);
    const auto found = streams_.find(packet.arg1);
    if (found == streams_.end()) return; // closed meanwhile
    Stream &stream = found->second;
    if (stream.theirs != packet.arg0 && packet.command != CLSE) return;
    if (packet.command == OKAY) stream.may_send = true;
    else if (packet.command == WRTE) deliver(stream, found->first, std::move(packet.data));
    else if (packet.command == CLSE && stream.service.keeps_input && !stream.pending.empty()) stream.closing = true;
    else if (packet.command == CLSE) close(found, false);
}

// Anybody on this machine is welcome: no keys are asked for.
void Connection::greet(const Packet &packet) {
    while (!streams_.empty()) close(streams_.begin(), false);
    greeted_ = true;
    with_sums_ = packet.arg0 < VERSION_WITHOUT_SUMS;
    max_to_client_ = std::clamp<size_t>(packet.arg1, 1, CHUNK);
    send({CNXN, with_sums_ ? VERSION_WITH_SUMS : VERSION_WITHOUT_SUMS, MAX_DATA, BANNER});
}

void Connection::open(const Packet &packet) {
    const std::string name(packet.data.c_str()); // up to the zero byte that ends it
    Service service;
    if (streams_.size() < MAX_STREAMS && packet.arg0 != 0) service = open_service(name);
    if (!service.fd) return send({CLSE, 0, packet.arg0, {}});
    Stream &stream = streams_[++last_stream_];
    stream.theirs = packet.arg0;
    stream.service = std::move(service);
    send({OKAY, last_stream_, packet.arg0, {}});
}

void Connection::deliver(Stream &stream, uint32_t ours, std::string &&data) {
    if (!stream.pending.empty() || stream.closing) return close(streams_.find(ours), true); // it did not wait for our OKAY
    stream.pending = std::move(data);
    drain(ours, stream);
}

// Writes what is pending, and tells the client when all is through.
void Connection::drain(uint32_t ours, Stream &stream) {
    while (!stream.pending.empty()) {
        const ssize_t n = ::send(stream.service.fd.get(), stream.pending.data(), stream.pending.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == ENOTCONN)) return; // or not connected yet
        if (n < 0) stream.pending.clear(); // nobody reads it; its own end shows when it is read from
        else stream.pending.erase(0, static_cast<size_t>(n));
    }
    if (!stream.closing) send({OKAY, ours, stream.theirs, {}});
}

void Connection::stream_ready(uint32_t ours, uint32_t events) {
    const auto found = streams_.find(ours);
    if (found == streams_.end()) return;
    Stream &stream = found->second;
    if (!stream.pending.empty()) drain(ours, stream);
    if (stream.closing && stream.pending.empty()) return close(found, false);
    if (!stream.may_send || stream.closing || !(events & (EPOLLIN | EPOLLHUP | EPOLLERR))) return;
    std::string bytes(max_to_client_, '\0');
    const ssize_t n = recv(stream.service.fd.get(), bytes.data(), bytes.size(), 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) return close(found, true);
    bytes.resize(static_cast<size_t>(n));
    stream.may_send = false;
    send({WRTE, ours, stream.theirs, std::move(bytes)});
}

void Connection::close(Streams::iterator stream, bool tell) {
    if (tell) send({CLSE, stream->first, stream->second.theirs, {}});
    watch(stream->first, stream->second, 0);
    streams_.erase(stream);
}

// A descriptor that nothing is wanted of is not watched at all: its end would be told again and again.
void Connection::watch(uint32_t ours, Stream &stream, uint32_t interest) {
    if (interest == stream.interest) return;
    const int fd = stream.service.fd.get();
    if (interest == 0) loop_.remove(fd);
    else if (stream.interest == 0) loop_.add(fd, interest, [this, ours](uint32_t events) { stream_ready(ours, events); });
    else loop_.change(fd, interest);
    stream.interest = interest;
}

// What everybody waits for next. With a full queue only the client is waited for, to read.
void Connection::settle() {
    flush();
    const bool full = out_.size() >= MAX_QUEUED;
    const uint32_t interest = (full ? 0u : uint32_t{EPOLLIN}) | (out_.empty() ? 0u : uint32_t{EPOLLOUT});
    if (interest != client_interest_) loop_.change(client_.get(), client_interest_ = interest);
    for (auto &[ours, stream] : streams_)
        watch(ours, stream, (stream.may_send && !full && !stream.closing ? uint32_t{EPOLLIN} : 0u) |
                                (stream.pending.empty() ? 0u : uint32_t{EPOLLOUT}));
}

} // namespace bridge
