#include "wifi/supplicant.h"

#include <cerrno>
#include <sys/socket.h>
#include <tp_clock.h>
#include <tp_os.h>
#include <wpa_ctrl.h>

namespace {
constexpr int64_t ANSWER_LIMIT_NS = 10'000'000'000;

// Whose turn it is. A semaphore, because waiting for it ends with a stop request.
class Turn {
public:
    Turn() : mine_(tp_os_sema_get(turn(), -1) == 0) {}
    ~Turn() {
        if (mine_) tp_os_sema_put(turn());
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;
    explicit operator bool() const { return mine_; }

private:
    static tp_os_sema_t turn() {
        static const tp_os_sema_t sema = tp_os_sema_create(1); // lives as long as the process
        return sema;
    }
    bool mine_;
};

// Messages that nobody asked for begin with a priority or an interface's name.
bool is_answer(const std::string &bytes) { return !bytes.starts_with('<') && !bytes.starts_with("IFNAME="); }
bool is_refusal(const std::string &reply) { return reply.starts_with("FAIL") || reply.starts_with("UNKNOWN COMMAND"); }
} // namespace

bool Supplicant::open() {
    const Turn turn;
    if (!turn) return false;
    if (ctrl_) wpa_ctrl_close(ctrl_);
    ctrl_ = wpa_ctrl_open(SOCKET);
    return ctrl_ != nullptr;
}

void Supplicant::close() {
    const Turn turn;
    if (!turn || !ctrl_) return;
    wpa_ctrl_close(ctrl_);
    ctrl_ = nullptr;
}

bool Supplicant::is_open() {
    const Turn turn;
    return turn && ctrl_;
}

Supplicant::Result Supplicant::request(const std::string &command, std::string &reply) {
    reply.clear();
    const Turn turn;
    return turn && ctrl_ ? exchange(command, reply) : failed;
}

// What wpa_ctrl_request does, except that its wait goes on after a signal.
Supplicant::Result Supplicant::exchange(const std::string &command, std::string &reply) const {
    const int fd = wpa_ctrl_get_fd(ctrl_);
    std::string bytes(REPLY_MAX, '\0');
    while (recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT) >= 0) {} // an answer that an earlier request did not wait for
    if (send(fd, command.data(), command.size(), MSG_NOSIGNAL) < 0) return failed;
    const int64_t end = tp_clock_mono_ns() + ANSWER_LIMIT_NS;
    for (;;) {
        if (tp_os_thread_stop_requested()) return failed;
        const int64_t left = end - tp_clock_mono_ns();
        if (left <= 0) return no_answer;
        pollfd ready{fd, POLLIN, 0};
        if (tp_clock_poll(&ready, 1, left) <= 0) continue;
        bytes.resize(REPLY_MAX);
        const ssize_t n = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (n < 0) return failed;
        bytes.resize(static_cast<size_t>(n));
        if (!is_answer(bytes)) continue;
        reply = bytes;
        return is_refusal(reply) ? failed : ok;
    }
}

Supplicant &supplicant() {
    static Supplicant shared;
    return shared;
}
