// The UDP echo server of the WiFi test against a bare recvfrom and sendto loop, all inside one handset, over its loopback
// interface: what the wireless network adds is the same for both.
#include "common/bench_handset.h"
#include "common/echo_peer.h"

#include <array>
#include <csignal>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr uint16_t CHANNEL_PORT = 3535, ECHO_PORT = 3536;
constexpr size_t DATAGRAM = 256;

// A process of its own, in a session of its own as the program is; ends with the object.
class BareEcho {
public:
    BareEcho() {
        const vh::Fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = bench::loopback(0);
        socklen_t length = sizeof address;
        if (bind(socket.get(), reinterpret_cast<sockaddr *>(&address), length) != 0 ||
            getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &length) != 0)
            bench::give_up("no port for the bare server");
        port_ = ntohs(address.sin_port);
        pid_ = fork();
        if (pid_ == 0) serve(socket.get());
    }
    ~BareEcho() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    BareEcho(const BareEcho &) = delete;
    BareEcho &operator=(const BareEcho &) = delete;
    uint16_t port() const { return port_;}

private:
    [[noreturn]] static void serve(int fd) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setsid();
        std::array<char, DATAGRAM> bytes;
        for (;;) {
            sockaddr_in peer{};
            socklen_t length = sizeof peer;
            const ssize_t n = recvfrom(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&peer), &length);
            if (n > 0) sendto(fd, bytes.data(), static_cast<size_t>(n), 0, reinterpret_cast<sockaddr *>(&peer), length);
        }
    }
    uint16_t port_ = 0;
    pid_t pid_ = -1;
};

// Echoes per second with so many datagrams on their way at once.
bench::Side<1> rate(uint16_t port, size_t window) {
    auto socket = std::make_shared<vh::Fd>(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = bench::loopback(port);
    if (connect(socket->get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) bench::give_up("no UDP socket");
    return [socket, window](double seconds) -> std::array<double, 1> {
        std::array<char, DATAGRAM> bytes{};
        size_t echoes = 0;
        const double begin = bench::now();
        while (bench::now() - begin < seconds) {
            for (size_t i = 0; i < window; ++i)
                if (send(socket->get(), bytes.data(), bytes.size(), 0) < 0) bench::give_up(strerror(errno));
            for (size_t i = 0; i < window; ++i, ++echoes) {
                pollfd ready{socket->get(), POLLIN, 0};
                if (recv(socket->get(), bytes.data(), bytes.size(), MSG_DONTWAIT) >= 0) continue;
                if (poll(&ready, 1, 5000) != 1 || recv(socket->get(), bytes.data(), bytes.size(), 0) < 0)
                    bench::give_up("an echo was lost");
            }
        }
        return {static_cast<double>(echoes) / (bench::now() - begin)};
    };
}

void measure(const bench::Plan &plan) {
    bench::Caller caller(CHANNEL_PORT);
    if (!caller.ask_channel("WiFiUDPServ testItem open\n").starts_with("0 ")) bench::give_up("the echo server was refused");
    usleep(200000); // its thread binds the port
    const BareEcho bare;
    const struct {
        size_t window;
        const char *what;
    } rows[] = {{16, "UDP echoes per second, 16 datagrams of 256 bytes on their way, against a bare recvfrom and sendto loop"},
                {1, "the same, one datagram at a time"}};
    for (const auto &row : rows) {
        const auto [pairs] = bench::take_turns<1>(plan, rate(ECHO_PORT, row.window), rate(bare.port(), row.window));
        bench::print_ratio({row.what, bench::Goal::at_least(0.9), ""}, pairs, "k/s", 1e-3);
    }
}
} // namespace

int main(int argc, char **argv) {
    return bench::main_inside(argc, argv, "bench_udp", bench::Inside::booted_handset, measure);
}
