// The PC command channel: a socket on the loopback interface and the loop that serves it. While it is switched on, a second
// socket serves one more network: only clients whose address lies in it, and only after "AUTH KEY" when a key is set.
//
// A command is one line, ended by LF (a CR before it is dropped), of 1 to 1023 bytes without a zero byte. The answer is
// "STATUS LENGTH\n", LENGTH bytes of reply and "\n". Clients take turns, one line each; whoever sends several lines
// at once gets all answers in order.
#pragma once

#include <common/event.h>
#include <coredevice/at_client.h>
#include <deque>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <vector>
#include <vxo_vcoredevice.h>

namespace coredevice {

constexpr int STATUS_FAILED = 2;  // also what is no command at all
constexpr int STATUS_MISSING = 3; // nobody processes commands

// An interface's address and mask, in network order.
struct Network {
    in_addr_t address = 0, mask = 0;
    bool holds(in_addr_t other) const { return ((address ^ other) & mask) == 0; }
};

class AtChannel {
public:
    static constexpr size_t CLIENTS_MAX = 64;
    static constexpr size_t REMOTE_MAX = 8; // of them: strangers never take all the places
    static constexpr int AUTH_TRIES = 3;
    // The head and the end of an answer are written around the reply, so that it goes out in one piece.
    static constexpr size_t HEAD_ROOM = 32;

    // Listens on 127.0.0.1:port. Null, logged, when that is not possible.
    static std::shared_ptr<AtChannel> open(uint16_t port);
    // Serves until close(). One thread.
    void run(vxo_command_process process);
    // Ends the loop and gives the port back. Any thread, also from inside a command.
    void close();
    // Serves one more connected client, who is turned away beyond CLIENTS_MAX. Loop thread, or before it runs.
    void admit(hal::UniqueFd socket, bool remote = false);
    // Serves this network, too, instead of an earlier one. False with errno. From inside a command.
    bool open_network(const Network &network);
    // Ends that: its clients are let go, one whose command runs after its answer. From inside a command.
    void close_network();
    bool serves_network() const { return m_remote_listener.valid(); }
    uint16_t port() const { return m_port; }

private:
    AtChannel() = default;
    static hal::UniqueFd listen_on(in_addr_t address, uint16_t port);
    bool watch(int fd);
    void handle(int fd, uint32_t events);
    void accept_clients();
    void accept_remote_clients();
    size_t remote_clients() const;
    [[nodiscard]] bool answer_remote(AtClient &client, const LineCutter::Line &line, vxo_command_process process);
    void refuse_one();
    void receive(AtClient &client);
    void queue(AtClient &client);
    void serve_next(vxo_command_process process);
    [[nodiscard]] bool answer(AtClient &client, const LineCutter::Line &line, vxo_command_process process);
    void settle(AtClient &client);
    void drop(int fd);
    AtClient *client_of(int fd);

    hal::UniqueFd m_listener, m_epoll;
    hal::UniqueFd m_remote_listener; // loop thread only, as the network
    Network m_network;
    uint16_t m_port = 0;
    int m_served = -1; // descriptor of the client whose command runs
    hal::UniqueFd m_spare; // given up for a moment to turn a client away when descriptors run out
    hal::Event m_close;
    bool m_closing = false; // loop thread only
    std::vector<std::unique_ptr<AtClient>> m_clients; // by descriptor
    size_t m_client_count = 0;
    std::deque<int> m_turns; // descriptors of the clients with a whole line
    std::array<char, HEAD_ROOM + VXO_AT_REPLY_SIZE + 1> m_answer{};
};

// The channel that is open now, or null. Any thread.
std::shared_ptr<AtChannel> open_channel();
// The key that clients of another network have to know, from the property "persist.vxo.at.key"; empty: none.
std::string remote_key();
// Takes as long for a wrong key as for the right one.
bool same_key(std::string_view given, std::string_view wanted);
// The reply buffer of the command that runs on this thread; empty outside of commands.
std::span<char> current_reply();

} // namespace coredevice
