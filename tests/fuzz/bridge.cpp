// A client of the debug bridge that says what it likes: whatever it sends and whenever services answer or end, it hears whole
// packets, each stream's bytes come in order and one packet at a time, and a closed stream is silent.
#include "bridge/connection.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>
#include <sys/socket.h>
#include <utility>

#include "fuzz.h"

namespace {
struct Stream {
    vh::Fd service;          // the far end
    uint32_t theirs = 0;     // the client's number
    std::string said, heard; // by the service: written and not read by the client yet; read
    std::string written;     // to it by the client
    bool waits = false;      // for the client's OKAY
    bool closed = false;     // told so by the bridge
};
// By the bridge's numbers, which begin with 1: services are opened in the order in which the OKAYs come.
std::vector<Stream> *g_streams;

std::pair<vh::Fd, vh::Fd> ends() {
    int fds[2];
    FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) == 0);
    return {vh::Fd(fds[0]), vh::Fd(fds[1])};
}
std::string received(const vh::Fd &fd) {
    std::string all;
    char bytes[4096];
    for (ssize_t n; fd && (n = recv(fd.get(), bytes, sizeof bytes, 0)) > 0;) all.append(bytes, static_cast<size_t>(n));
    return all;
}

class Client {
public:
    Client() {
        auto [mine, its] = ends();
        client_ = std::move(mine);
        connection_.emplace(std::move(its));
        g_streams = &streams_;
    }
    // Packets wait until the next step.
    void raw(const std::string &bytes) {
        wild_ = true; // from here on packets need not be where they seem to be
        pending_ += bytes;
    }
    void greet(uint32_t version, uint32_t largest) {
        step(pending_.size());
        first_ += static_cast<uint32_t>(streams_.size());
        streams_.clear();
        greeted_ = false;
        largest_ = std::max<size_t>(largest, 1);
        put({bridge::CNXN, version, largest, "host::"});
    }
    // The name tells our service the client's number.
    void open(uint32_t theirs, char kind) { put({bridge::OPEN, theirs, 0, kind + std::to_string(theirs)}); }
    void write(uint32_t number, const std::string &text) {
        if (Stream *s = stream(number)) s->written += text;
        put({bridge::WRTE, theirs(number), number, text});
    }
    void acknowledge(uint32_t number) {
        Stream *s = stream(number);
        if (!wild_ && s && !std::exchange(s->waits, false)) return;
        put({bridge::OKAY, theirs(number), number, {}});
    }
    void close(uint32_t number) {
        left_.insert(number);
        put({bridge::CLSE, theirs(number), number, {}});
    }
    void service_says(uint32_t number, const std::string &text) {
        Stream *s = stream(number);
        if (s && s->service && send(s->service.get(), text.data(), text.size(), MSG_NOSIGNAL) > 0) s->said += text;
    }
    void service_ends(uint32_t number) {
        if (Stream *s = stream(number)) s->service.reset();
    }
    size_t waiting() const { return pending_.size(); }
    bool alive() const { return alive_; }

    void step(size_t bytes) {
        alive_ = alive_ && (bytes == 0 || send(client_.get(), pending_.data(), bytes, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes));
        pending_.erase(0, bytes);
        alive_ = alive_ && connection_->step(0);
        heard_ += received(client_);
        bridge::Taken taken;
        for (bridge::Packet packet; (taken = bridge::take_packet(heard_, bridge::MAX_DATA, true, packet)) == bridge::Taken::packet;)
            if (!wild_) hear(packet);
        FUZZ_CHECK(taken == bridge::Taken::incomplete);
        for (Stream &s : streams_) {
            s.heard += received(s.service);
            FUZZ_CHECK(wild_ || s.written.starts_with(s.heard));
        }
    }

    // A client that acknowledges all it hears misses nothing.
    void expect_all_through() {
        constexpr int ENOUGH = 64, SMALL = 100; // an input of libFuzzer's usual 4096 bytes goes through in pieces of 100
        step(waiting());
        for (int i = 0; i < ENOUGH; ++i, step(waiting()))
            for (size_t n = 0; n < streams_.size(); ++n) acknowledge(first_ + static_cast<uint32_t>(n));
        for (size_t n = 0; n < streams_.size(); ++n) {
            const Stream &s = streams_[n];
            if (!alive_ || wild_ || left_.contains(first_ + static_cast<uint32_t>(n)) || largest_ < SMALL) continue;
            FUZZ_CHECK(s.closed || (s.service && s.said.empty() && s.heard == s.written));
        }
    }

private:
    void put(const bridge::Packet &packet) { pending_ += bridge::packet_bytes(packet); }
    Stream *stream(uint32_t number) {
        return number >= first_ && number - first_ < streams_.size() ? &streams_[number - first_] : nullptr;
    }
    uint32_t theirs(uint32_t number) { return stream(number) ? stream(number)->theirs : 0xFFFF; }
    void hear(const bridge::Packet &packet) {
        if (packet.command == bridge::CNXN) {
            greeted_ = true;
            return;
        }
        Stream *s = stream(packet.arg0);
        FUZZ_CHECK(s || packet.arg0 == 0 || !greeted_); // none is left of before
        if (!s) return;
        FUZZ_CHECK(packet.arg1 == s->theirs && !s->closed && packet.data.size() <= largest_);
        s->closed = packet.command == bridge::CLSE;
        if (packet.command != bridge::WRTE) return;
        FUZZ_CHECK(!s->waits && s->said.starts_with(packet.data) && !packet.data.empty());
        s->said.erase(0, packet.data.size());
        s->waits = true;
    }

    std::vector<Stream> streams_;
    uint32_t first_ = 1; // the bridge's number of the first of them
    std::set<uint32_t> left_; // the bridge's numbers that the client closed, perhaps before it heard of them
    std::optional<bridge::Connection> connection_;
    vh::Fd client_;
    std::string pending_, heard_;
    size_t largest_ = bridge::MAX_DATA;
    bool alive_ = true, wild_ = false, greeted_ = false;
};
} // namespace

bridge::Service bridge::open_service(std::string_view name) {
    if (name.empty() || name.starts_with('n')) return {};
    auto [near, far] = ends();
    const int little = 1; // so that it is full at times
    setsockopt(near.get(), SOL_SOCKET, SO_SNDBUF, &little, sizeof little);
    g_streams->push_back({.service = std::move(far), .theirs = static_cast<uint32_t>(atoi(name.data() + 1))});
    return {std::move(near), name.starts_with('k')};
}

FUZZ_TARGET(bridge) {
    Client client;
    while (!in.rest().empty() && client.alive()) {
        const uint8_t what = in.byte();
        const uint32_t number = in.byte() % 16;
        switch (what % 8) {
        case 0: client.greet(bridge::VERSION_WITH_SUMS + number % 2, in.byte() * 100u); break;
        case 1: client.open(number, "nks"[in.byte() % 3]); break;
        case 2: client.write(number, in.text(255)); break;
        case 3: client.acknowledge(number); break;
        case 4: client.close(number); break;
        case 5: client.service_says(number, in.text(255)); break;
        case 6: client.service_ends(number); break;
        default: client.raw(in.text(64)); break;
        }
        if (what & 0x80) continue; // together with what comes next
        client.step(what & 0x40 ? client.waiting() / 2 : client.waiting());
    }
    client.expect_all_through();
}
