// Serving the description: clients never hold the GUI thread up, neither by coming nor by not reading.
#include "describe.h"

#include <algorithm>
#include <android/log.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <tp_gui.h>
#include <unistd.h>

namespace vcore {
namespace {
constexpr char SOCKET_PATH[] = "/dev/socket/vxo_gui";
constexpr size_t MOST_CLIENTS = 8;

struct Client {
    int fd;
    bool answered = false;
    std::shared_ptr<const std::string> document{};
    size_t sent = 0;

    explicit Client(int descriptor) : fd(descriptor) {}
    ~Client() { close(fd); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
};

int g_listener = -1;
std::vector<std::unique_ptr<Client>> g_clients;

// True when the client is done with: it has everything, or it is gone.
bool send_rest(Client &client) {
    while (client.sent < client.document->size()) {
        const ssize_t n = send(client.fd, client.document->data() + client.sent, client.document->size() - client.sent,
                               MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno != EAGAIN;
        client.sent += static_cast<size_t>(n);
    }
    return true;
}

void accept_clients() {
    for (;;) {
        const int fd = accept4(g_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0 && errno == EINTR) continue;
        if (fd < 0) return;
        // The one that has waited longest for its own reading makes room.
        if (g_clients.size() >= MOST_CLIENTS) g_clients.erase(g_clients.begin());
        g_clients.push_back(std::make_unique<Client>(fd));
    }
}
} // namespace

void description_open() {
    description_close();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, SOCKET_PATH, sizeof SOCKET_PATH);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return;
    unlink(SOCKET_PATH);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(fd, MOST_CLIENTS) != 0) {
        __android_log_print(ANDROID_LOG_INFO, "VCORE", "%s %s: %s", __func__, SOCKET_PATH, strerror(errno));
        close(fd);
        return;
    }
    g_listener = fd;
}

void description_close() {
    g_clients.clear();
    if (g_listener < 0) return;
    close(g_listener);
    unlink(SOCKET_PATH);
    g_listener = -1;
}

void description_add_descriptors(std::vector<pollfd> &fds) {
    if (g_listener >= 0) fds.push_back({g_listener, POLLIN, 0});
    for (const auto &client : g_clients)
        if (client->answered) fds.push_back({client->fd, POLLOUT, 0});
}

void description_serve(std::span<const pollfd> fds) {
    for (const pollfd &ready : fds) {
        if (!ready.revents) continue;
        if (ready.fd == g_listener) {
            accept_clients();
            continue;
        }
        std::erase_if(g_clients, [&ready](const auto &c) { return c->fd == ready.fd && c->answered && send_rest(*c); });
    }
}

bool description_pending() {
    return std::any_of(g_clients.begin(), g_clients.end(), [](const auto &c) { return !c->answered; });
}

void description_answer() {
    if (!description_pending()) return;
    const auto document = std::make_shared<const std::string>(tp_gui_dump());
    std::erase_if(g_clients, [&document](const auto &c) {
        if (c->answered) return false;
        c->answered = true;
        c->document = document;
        return send_rest(*c);
    });
}
} // namespace vcore
