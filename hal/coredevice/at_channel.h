// The PC command channel: a socket on the loopback interface and the loop that serves it.
//
// A command is one line, ended by LF (a CR before it is dropped), of 1 to 1023 bytes without a zero byte. The answer is
// "STATUS LENGTH\n", LENGTH bytes of reply and "\n". Clients take turns, one line each; whoever sends several lines
// at once gets all answers in order.
#pragma once

#include <common/event.h>
#include <coredevice/at_client.h>
#include <deque>
#include <memory>
#include <vector>
#include <vxo_vcoredevice.h>

namespace coredevice {

constexpr int STATUS_FAILED = 2;  // also what is no command at all
constexpr int STATUS_MISSING = 3; // nobody processes commands

class AtChannel {
public:
    static constexpr size_t CLIENTS_MAX = 64;
    // The head and the end of an answer are written around the reply, so that it goes out in one piece.
    static constexpr size_t HEAD_ROOM = 32;

    // Listens on 127.0.0.1:port. Null, logged, when that is not possible.
    static std::shared_ptr<AtChannel> open(uint16_t port);
    // Serves until close(). One thread.
    void run(vxo_command_process process);
    // Ends the loop and gives the port back. Any thread, also from inside a command.
    void close();
    // Serves one more connected client, who is turned away beyond CLIENTS_MAX. Loop thread, or before it runs.
    void admit(hal::UniqueFd socket);

private:
    AtChannel() = default;
    bool listen_on(uint16_t port);
    bool watch(int fd);
    void handle(int fd, uint32_t events);
    void accept_clients();
    void refuse_one();
    void receive(AtClient &client);
    void queue(AtClient &client);
    void serve_next(vxo_command_process process);
    [[nodiscard]] bool answer(AtClient &client, const LineCutter::Line &line, vxo_command_process process);
    void settle(AtClient &client);
    void drop(int fd);
    AtClient *client_of(int fd);

    hal::UniqueFd m_listener, m_epoll;
    hal::UniqueFd m_spare; // given up for a moment to turn a client away when descriptors run out
    hal::Event m_close;
    bool m_closing = false; // loop thread only
    std::vector<std::unique_ptr<AtClient>> m_clients; // by descriptor
    size_t m_client_count = 0;
    std::deque<int> m_turns; // descriptors of the clients with a whole line
    std::array<char, HEAD_ROOM + VXO_AT_REPLY_SIZE + 1> m_answer{};
};

// The reply buffer of the command that runs on this thread; empty outside of commands.
std::span<char> current_reply();

} // namespace coredevice
