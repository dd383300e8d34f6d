// The PC's socket: any bytes in any pieces give exactly the answers that the lines deserve, in order.
#include <algorithm>
#include <coredevice/at_channel.h>
#include <cstring>
#include <sys/socket.h>

#include "fuzz.h"

namespace {
constexpr std::string_view PUMP = "pump";

struct Session {
    std::shared_ptr<coredevice::AtChannel> channel;
    hal::UniqueFd pc, pump;  // our ends
    std::string_view unsent; // of the input
    size_t piece = 1;
    std::string received;
    bool over = false;
} * g_session;

std::string reply_to(std::string_view command) {
    if (command.starts_with("big")) return std::string(VXO_AT_REPLY_SIZE, 'x');
    return std::string(command.substr(0, VXO_AT_REPLY_SIZE));
}
std::string answer(int status, const std::string &reply) {
    return std::to_string(status) + " " + std::to_string(reply.size()) + "\n" + reply + "\n";
}

void send_piece(Session &s) {
    const size_t length = std::min(s.piece, s.unsent.size());
    const ssize_t sent = send(s.pc.get(), s.unsent.data(), length, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) s.unsent.remove_prefix(static_cast<size_t>(sent));
    if (s.unsent.empty()) shutdown(s.pc.get(), SHUT_WR);
}

void receive_some(Session &s) {
    char bytes[4096];
    ssize_t n = 0;
    while ((n = recv(s.pc.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0)
        s.received.append(bytes, static_cast<size_t>(n));
    if (n == 0) s.over = true; // the channel let the client go
}

// Runs once per turn of the second client, until the first one has all its answers.
void pump(Session &s) {
    if (!s.unsent.empty()) send_piece(s);
    receive_some(s);
    char ignored[64];
    while (recv(s.pump.get(), ignored, sizeof ignored, MSG_DONTWAIT) > 0) {
    }
    if (s.over) return s.channel->close();
    FUZZ_CHECK(send(s.pump.get(), "pump\n", 5, MSG_NOSIGNAL) == 5);
}

int process(const char *command, char *reply, int room) {
    FUZZ_CHECK(room == VXO_AT_REPLY_SIZE && *command && strlen(command) <= VXO_AT_LINE_MAX);
    FUZZ_CHECK(coredevice::current_reply().data() == reply);
    if (command == PUMP) return pump(*g_session), 0;
    const std::string text = reply_to(command);
    memcpy(reply, text.data(), text.size());
    return static_cast<unsigned char>(*command) % 4;
}

std::string expected_answers(std::string_view input) {
    std::string all;
    for (size_t end; (end = input.find('\n')) != std::string_view::npos; input.remove_prefix(end + 1)) {
        std::string_view line = input.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.size() > VXO_AT_LINE_MAX) all += answer(2, "line too long");
        else if (line.empty()) all += answer(2, "empty command");
        else if (line.find('\0') != std::string_view::npos) all += answer(2, "malformed");
        else all += answer(static_cast<unsigned char>(line[0]) % 4, reply_to(line));
    }
    return all;
}

// Connects a client; ours is returned.
hal::UniqueFd connect_to(coredevice::AtChannel &channel) {
    int ends[2];
    FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0);
    channel.admit(hal::UniqueFd(ends[0]));
    return hal::UniqueFd(ends[1]);
}
} // namespace

FUZZ_TARGET(pc_socket) {
    const size_t wanted = 1 + in.byte() * 8u;
    const std::string_view input = in.rest();
    const size_t piece = std::max(wanted, input.size() / 16); // many small pieces would only take long
    if (("\n" + std::string(input)).find("\npump") != std::string::npos) return; // ours
    Session session{coredevice::AtChannel::open(0), {}, {}, input, piece, {}, false};
    FUZZ_CHECK(session.channel);
    g_session = &session;
    session.pc = connect_to(*session.channel);
    session.pump = connect_to(*session.channel);
    if (input.empty()) shutdown(session.pc.get(), SHUT_WR);
    FUZZ_CHECK(send(session.pump.get(), "pump\n", 5, MSG_NOSIGNAL) == 5);
    session.channel->run(process);
    FUZZ_CHECK(session.received == expected_answers(input));
}
