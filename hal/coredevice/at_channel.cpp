#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <coredevice/api.h>
#include <coredevice/at_channel.h>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace coredevice {
namespace {
constexpr const char *TAG = "ATCHANNEL";
thread_local std::span<char> t_reply;

// "STATUS LENGTH\n" right before the reply; how many bytes it takes there.
size_t put_head(char *reply, int status, size_t length) {
    char text[AtChannel::HEAD_ROOM];
    char *end = std::to_chars(text, std::end(text), status).ptr;
    *end++ = ' ';
    end = std::to_chars(end, std::end(text), length).ptr;
    *end++ = '\n';
    const size_t size = static_cast<size_t>(end - text);
    memcpy(reply - size, text, size);
    return size;
}

hal::UniqueFd spare_descriptor() { return hal::open_file("/dev/null", O_RDONLY); }
} // namespace

std::span<char> current_reply() { return t_reply; }

std::shared_ptr<AtChannel> AtChannel::open(uint16_t port) {
    std::shared_ptr<AtChannel> channel(new AtChannel);
    channel->m_epoll.reset(epoll_create1(EPOLL_CLOEXEC));
    channel->m_spare = spare_descriptor();
    channel->m_port = port;
    channel->m_listener = listen_on(htonl(INADDR_LOOPBACK), port);
    if (channel->m_epoll.valid() && channel->m_close.valid() && channel->m_listener.valid() &&
        channel->watch(channel->m_close.fd()) && channel->watch(channel->m_listener.get()))
        return channel;
    HAL_LOG_E(TAG, "127.0.0.1:%u: %s", static_cast<unsigned>(port), strerror(errno));
    return nullptr;
}

// Without a descriptor, with errno, when that is not possible.
hal::UniqueFd AtChannel::listen_on(in_addr_t address, uint16_t port) {
    hal::UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.valid()) return listener;
    const int on = 1;
    setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = address;
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0 &&
        listen(listener.get(), static_cast<int>(CLIENTS_MAX)) == 0)
        return listener;
    const int why = errno;
    listener.reset();
    errno = why;
    return listener;
}

bool AtChannel::open_network(const Network &network) {
    close_network();
    m_network = network;
    m_remote_listener = listen_on(network.address, m_port);
    if (m_remote_listener.valid() && watch(m_remote_listener.get())) return true;
    m_remote_listener.reset();
    return false;
}

void AtChannel::close_network() {
    m_remote_listener.reset();
    for (size_t fd = 0; fd < m_clients.size(); ++fd)
        if (m_clients[fd] && m_clients[fd]->remote && static_cast<int>(fd) != m_served) drop(static_cast<int>(fd));
}

bool AtChannel::watch(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

void AtChannel::close() {
    m_close.set();
    // Frees the port now, although the loop may still be inside a command.
    shutdown(m_listener.get(), SHUT_RDWR);
}

void AtChannel::run(vxo_command_process process) {
    std::array<epoll_event, 16> events;
    while (!m_closing) {
        // Waits only when no client has a turn; otherwise just looks who else has come.
        const int n = epoll_wait(m_epoll.get(), events.data(), events.size(), m_turns.empty() ? -1 : 0);
        if (n < 0 && errno != EINTR) {
            HAL_LOG_E(TAG, "%s", strerror(errno));
            break;
        }
        for (int i = 0; i < n && !m_closing; ++i) handle(events[static_cast<size_t>(i)].data.fd, events[static_cast<size_t>(i)].events);
        // One line of each client that has one, then a look at the sockets again.
        for (size_t turns = m_turns.size(); turns > 0 && !m_closing; --turns) serve_next(process);
    }
    m_remote_listener.reset();
    m_clients.clear();
    m_client_count = 0;
    m_turns.clear();
}

void AtChannel::handle(int fd, uint32_t events) {
    if (fd == m_close.fd()) {
        m_closing = true;
    } else if (fd == m_listener.get()) {
        accept_clients();
    } else if (fd == m_remote_listener.get()) {
        accept_remote_clients();
    } else if (AtClient *client = client_of(fd)) {
        if ((events & (EPOLLERR | EPOLLHUP)) || ((events & EPOLLOUT) && !client->flush())) drop(fd);
        else if (events & EPOLLIN) receive(*client);
        else settle(*client);
    }
}

void AtChannel::accept_clients() {
    for (;;) {
        hal::UniqueFd socket(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket.valid()) admit(std::move(socket));
        else if (errno == EMFILE || errno == ENFILE) return refuse_one();
        else if (errno != EINTR && errno != ECONNABORTED) return;
    }
}

size_t AtChannel::remote_clients() const {
    const auto remote = [](const auto &client) { return client && client->remote; };
    return static_cast<size_t>(std::count_if(m_clients.begin(), m_clients.end(), remote));
}

void AtChannel::accept_remote_clients() {
    for (;;) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        hal::UniqueFd socket(accept4(m_remote_listener.get(), reinterpret_cast<sockaddr *>(&peer), &length,
                                     SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.valid()) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            if (errno == EMFILE || errno == ENFILE) close_network(); // it would ask for ever; the loopback's clients stay
            return;
        }
        if (peer.sin_family != AF_INET || !m_network.holds(peer.sin_addr.s_addr)) HAL_LOG_E(TAG, "a client of another network");
        else if (remote_clients() >= REMOTE_MAX) HAL_LOG_E(TAG, "more than %zu clients over the network", REMOTE_MAX);
        else admit(std::move(socket), true);
    }
}

void AtChannel::refuse_one() {
    HAL_LOG_E(TAG, "no descriptor for another client");
    m_spare.reset();
    hal::UniqueFd(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)).reset();
    m_spare = spare_descriptor();
}

void AtChannel::admit(hal::UniqueFd socket, bool remote) {
    const int fd = socket.get();
    if (m_client_count >= CLIENTS_MAX) {
        HAL_LOG_E(TAG, "more than %zu clients", CLIENTS_MAX);
        return;
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!watch(fd)) {
        HAL_LOG_E(TAG, "%s", strerror(errno));
        return;
    }
    if (m_clients.size() <= static_cast<size_t>(fd)) m_clients.resize(static_cast<size_t>(fd) + 1);
    m_clients[static_cast<size_t>(fd)] = std::make_unique<AtClient>(std::move(socket));
    AtClient &client = *m_clients[static_cast<size_t>(fd)];
    client.interest = EPOLLIN;
    client.remote = remote;
    client.authorised = !remote || remote_key().empty();
    ++m_client_count;
}

AtClient *AtChannel::client_of(int fd) {
    return static_cast<size_t>(fd) < m_clients.size() ? m_clients[static_cast<size_t>(fd)].get() : nullptr;
}

void AtChannel::receive(AtClient &client) {
    if (client.has_line()) return; // its turn comes first; the bytes wait in the socket
    switch (client.read()) {
    case AtClient::Read::data: break;
    case AtClient::Read::nothing: return;
    case AtClient::Read::end: client.ended = true; return settle(client);
    case AtClient::Read::broken: return drop(client.fd());
    }
    if (client.has_line()) queue(client);
}

void AtChannel::queue(AtClient &client) {
    if (!std::exchange(client.queued, true)) m_turns.push_back(client.fd());
}

void AtChannel::serve_next(vxo_command_process process) {
    if (m_turns.empty()) return; // a command has let other clients go
    const int fd = m_turns.front();
    m_turns.pop_front();
    AtClient *client = client_of(fd);
    if (!client) return;
    client->queued = false;
    const LineCutter::Line line = client->take_line();
    m_served = fd;
    const bool stays = client->remote ? answer_remote(*client, line, process) : answer(*client, line, process);
    m_served = -1;
    if (!stays) {
        HAL_LOG_E(TAG, "client %d left, does not read or may not stay", fd);
        return drop(fd);
    }
    if (client->has_line()) queue(*client);
    settle(*client);
}

// False: it has to go, be it that the network was closed by its own command.
bool AtChannel::answer_remote(AtClient &client, const LineCutter::Line &line, vxo_command_process process) {
    constexpr std::string_view AUTH = "AUTH ";
    const std::string_view text = line.kind == LineCutter::Kind::command ? line.text : "";
    if (client.authorised && !text.starts_with(AUTH)) return answer(client, line, process) && serves_network();
    if (!client.authorised && text.starts_with(AUTH)) client.authorised = same_key(text.substr(AUTH.size()), remote_key());
    if (client.authorised) return client.send("0 0\n\n");
    static const std::string REFUSAL = "first: AUTH and the key";
    return client.send("2 " + std::to_string(REFUSAL.size()) + "\n" + REFUSAL + "\n") && ++client.tries < AUTH_TRIES;
}

bool AtChannel::answer(AtClient &client, const LineCutter::Line &line, vxo_command_process process) {
    char *const reply = m_answer.data() + HEAD_ROOM;
    int status = STATUS_FAILED;
    const char *refusal = nullptr;
    switch (line.kind) {
    case LineCutter::Kind::none: return true;
    case LineCutter::Kind::empty: refusal = "empty command"; break;
    case LineCutter::Kind::too_long: refusal = "line too long"; break;
    case LineCutter::Kind::malformed: refusal = "malformed"; break;
    case LineCutter::Kind::command: break;
    }
    memset(reply, 0, VXO_AT_REPLY_SIZE);
    if (refusal) {
        memcpy(reply, refusal, strlen(refusal));
    } else if (!process) {
        status = STATUS_MISSING;
    } else {
        t_reply = {reply, VXO_AT_REPLY_SIZE};
        status = process(line.text, reply, VXO_AT_REPLY_SIZE);
        t_reply = {};
    }
    const size_t length = strnlen(reply, VXO_AT_REPLY_SIZE);
    reply[length] = '\n';
    const size_t head = put_head(reply, status, length);
    return client.send({reply - head, head + length + 1});
}

// Asks the kernel for what the client still needs, and lets it go when that is nothing.
void AtChannel::settle(AtClient &client) {
    if (client.ended && !client.has_line() && !client.has_unsent()) return drop(client.fd());
    const uint32_t wanted = (client.ended ? 0u : uint32_t{EPOLLIN}) | (client.has_unsent() ? uint32_t{EPOLLOUT} : 0u);
    if (wanted == client.interest) return;
    epoll_event event{};
    event.events = wanted;
    event.data.fd = client.fd();
    if (epoll_ctl(m_epoll.get(), EPOLL_CTL_MOD, client.fd(), &event) != 0) return drop(client.fd());
    client.interest = wanted;
}

void AtChannel::drop(int fd) {
    std::erase(m_turns, fd);
    m_clients[static_cast<size_t>(fd)].reset();
    --m_client_count;
}

} // namespace coredevice
