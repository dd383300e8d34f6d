#include "wifi/udp_echo.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/worker.h"
#include "wifi/settings.h"

namespace {
constexpr const char *NAME = "wificpt_udpserver_thread";
constexpr size_t BATCH = 32; // datagrams that one call takes or sends

Worker g_server;
std::mutex g_lock; // the two below
int g_socket = -1; // of the thread, while it serves
std::atomic<bool> g_ends{false}; // it shall end; also read without the lock

// Registered while it serves: the signal of a stop request may come just before a receive, which then would not end.
class ServedSocket {
public:
    ServedSocket() : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) { publish(fd_); }
    ~ServedSocket() {
        publish(-1);
        if (fd_ >= 0) close(fd_);
    }
    ServedSocket(const ServedSocket &) = delete;
    ServedSocket &operator=(const ServedSocket &) = delete;
    int fd() const { return fd_; }

private:
    static void publish(int fd) {
        const std::lock_guard guard(g_lock);
        g_socket = fd;
    }
    int fd_;
};

// As many datagrams as are there go round in one call each way; a PC that waits for each gets it as soon as from a plain loop.
class Batch {
public:
    Batch() {
        for (size_t i = 0; i < BATCH; ++i) {
            parts_[i] = {bytes_[i].data(), WIFI_DATAGRAM_MAX};
            received_[i].msg_hdr.msg_iov = &parts_[i];
            received_[i].msg_hdr.msg_iovlen = 1;
            received_[i].msg_hdr.msg_name = &peers_[i];
        }
    }
    // Waits for the first. How many came, or -1.
    int receive(int fd) {
        for (size_t i = 0; i < last_; ++i) {
            parts_[i].iov_len = WIFI_DATAGRAM_MAX;
            received_[i].msg_hdr.msg_namelen = sizeof peers_[i];
        }
        const int count = recvmmsg(fd, received_.data(), BATCH, MSG_WAITFORONE, nullptr);
        last_ = count > 0 ? static_cast<size_t>(count) : 0;
        return count;
    }
    // Sends them back, empty ones excepted. Only then are they told: whoever waits for an echo does not wait for the log.
    void send_back(int fd) {
        std::array<mmsghdr, BATCH> out;
        unsigned count = 0;
        for (size_t i = 0; i < last_; ++i) {
            parts_[i].iov_len = received_[i].msg_len;
            if (received_[i].msg_len > 0) out[count++] = received_[i];
        }
        for (unsigned sent = 0; sent < count;) {
            const int n = sendmmsg(fd, out.data() + sent, count - sent, 0);
            if (n < 0) out[sent].msg_len = 0; // this one cannot be sent
            sent += n > 0 ? static_cast<unsigned>(n) : 1;
        }
        if (log_reads(ANDROID_LOG_DEBUG, "")) tell(out, count);
    }

private:
    void tell(const std::array<mmsghdr, BATCH> &out, unsigned count) const {
        for (size_t i = 0, o = 0; i < last_; ++i) {
            LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "%s recvfrom len %u", NAME, received_[i].msg_len);
            if (received_[i].msg_len > 0 && o < count) LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "%s ret %u", NAME, out[o++].msg_len);
        }
    }

    std::array<std::array<uint8_t, WIFI_DATAGRAM_MAX>, BATCH> bytes_;
    std::array<iovec, BATCH> parts_{};
    std::array<sockaddr_in, BATCH> peers_{};
    std::array<mmsghdr, BATCH> received_{};
    size_t last_ = BATCH; // received last: only these need to be made ready again
};

void wificpt_udpserver_thread() {
    const ServedSocket socket;
    if (socket.fd() < 0) {
        LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "%s: socket() failed", NAME);
        return;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(WIFI_UDP_PORT);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(socket.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "%s: bind() failed", NAME);
        return;
    }
    Batch batch;
    while (!g_ends) {
        // An error of an earlier datagram's receiver is told here; it concerns nobody else.
        if (batch.receive(socket.fd()) > 0) batch.send_back(socket.fd());
    }
}
} // namespace

bool wifi_udp_start() {
    wifi_udp_stop();
    g_ends = false;
    if (g_server.start("wifiudp", wificpt_udpserver_thread)) return true;
    LOG_E(WIFI_TAG, "create thread failed");
    return false;
}

void wifi_udp_stop() {
    {
        const std::lock_guard guard(g_lock);
        g_ends = true;
        if (g_socket >= 0) shutdown(g_socket, SHUT_RDWR);
    }
    g_server.stop();
}

bool wifi_udp_runs() { return g_server.running(); }
