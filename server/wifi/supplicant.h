// The connection to the supplicant's control socket, shared by the threads of this room.
#pragma once

#include <cstddef>
#include <string>

struct wpa_ctrl;

class Supplicant {
public:
    static constexpr const char *SOCKET = "/data/misc/wifi/sockets/wlan0";
    static constexpr size_t REPLY_MAX = 2047;
    enum Result { ok = 0, failed = -1, no_answer = -2 }; // failed: not open, not sent, refused, or the thread was asked to stop

    // Closes an earlier connection first.
    bool open();
    void close();
    bool is_open();
    // One command and its answer, at most REPLY_MAX bytes; requests of several threads take turns. Waits at most 10 s and
    // ends at once when the calling thread is asked to stop.
    Result request(const std::string &command, std::string &reply);

private:
    Result exchange(const std::string &command, std::string &reply) const;
    wpa_ctrl *ctrl_ = nullptr; // guarded by the turn
};

Supplicant &supplicant();
