// One client of the debug bridge and its streams.
#pragma once

#include "bridge/packet.h"
#include "bridge/services.h"
#include "init/loop.h"

#include <map>

namespace bridge {

class Connection {
public:
    explicit Connection(vh::Fd client);
    // Serves until the client leaves, sends what is no packet, or has not introduced itself after ten seconds.
    void run();
    // Serves what is ready, for which it waits at most so long (milliseconds, -1: without limit). False: the client is gone.
    bool step(int timeout_ms);

private:
    struct Stream {
        uint32_t theirs = 0;
        Service service;
        std::string pending;   // for the service
        bool may_send = true;  // the client has taken what was sent last
        bool closing = false;  // by the client: what is pending still goes out
        uint32_t interest = 0; // what the loop watches for
    };
    using Streams = std::map<uint32_t, Stream>;

    void client_ready(uint32_t events);
    void receive();
    void flush();
    void send(Packet packet);
    void handle(Packet &packet);
    void greet(const Packet &packet);
    void open(const Packet &packet);
    void deliver(Stream &stream, uint32_t ours, std::string &&data);
    void drain(uint32_t ours, Stream &stream);
    void stream_ready(uint32_t ours, uint32_t events);
    void close(Streams::iterator stream, bool tell);
    void watch(uint32_t ours, Stream &stream, uint32_t interest);
    void settle();

    Loop loop_;
    vh::Fd client_;
    bool alive_ = true, greeted_ = false, with_sums_ = true;
    size_t max_to_client_ = MAX_FIRST_DATA;
    std::string in_, out_;
    uint32_t client_interest_ = 0;
    Streams streams_; // by our number
    uint32_t last_stream_ = 0;
};

} // namespace bridge
