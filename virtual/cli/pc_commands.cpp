// The test PC's side: single commands, scripts, and a TCP port for programs that speak the protocol themselves.
#include "cli/cli.h"

#include "common/loopback.h"

#include <cstring>
#include <iostream>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace cli {

namespace {
// Passes what has come on one side to the other; false when that side is done.
bool pass_on(int from, int to) {
    char buffer[16384];
    const ssize_t n = recv(from, buffer, sizeof buffer, 0);
    if (n <= 0) return false;
    for (ssize_t done = 0; done < n;) {
        const ssize_t w = send(to, buffer + done, static_cast<size_t>(n - done), MSG_NOSIGNAL);
        if (w <= 0) return false;
        done += w;
    }
    return true;
}

void proxy(vh::Fd tcp, const std::string &pc_socket) {
    vh::Fd handset(vh::connect_unix(pc_socket));
    if (!handset) {
        std::cerr << "the handset takes no PC commands now; a connection was closed\n";
        return;
    }
    pollfd sides[2] = {{tcp.get(), POLLIN, 0}, {handset.get(), POLLIN, 0}};
    while (poll(sides, 2, -1) > 0) {
        if (sides[0].revents && !pass_on(tcp.get(), handset.get())) {
            // The PC may close its sending side and still wait for answers.
            shutdown(handset.get(), SHUT_WR);
            sides[0].fd = -1;
        }
        if (sides[1].revents && !pass_on(handset.get(), tcp.get())) return;
    }
}

int forward(const vh::Client &handset, const std::string &spec) {
    const std::string digits = spec.starts_with("tcp:") ? spec.substr(4) : "";
    if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(digits) > 65535)
        throw vh::ClientError("'" + spec + "' is not of the form tcp:PORT, e.g. tcp:3535 (tcp:0 picks a free port)");
    handset.request({{"op", "status"}});
    auto port = static_cast<uint16_t>(std::stoi(digits));
    const vh::Fd listener = vh::listen_loopback(port);
    if (!listener) throw vh::ClientError("cannot listen on 127.0.0.1:" + digits + ": " + strerror(errno) + "; try tcp:0");
    std::cout << "127.0.0.1:" << port << " leads to handset '" << handset.name() << "'; Ctrl-C ends it"
              << std::endl;
    for (;;) {
        vh::Fd client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!client) continue;
        std::thread(proxy, std::move(client), handset.paths().pc_socket()).detach(); // ends with the process
    }
}

int show_bridge(const vh::Client &handset, int port) {
    const std::string address =
        "127.0.0.1:" + std::to_string(handset.request({{"op", "adb"}, {"port", port}}).value("port", 0));
    const std::string adb = "  adb -s " + address;
    std::cout << address << "\nThe debug bridge of handset '" << handset.name() << "' listens there until it stops. Type, with Debian's adb:\n"
              << "  adb connect " << address << "\n"
              << adb << " shell ls -l /data\n"
              << adb << " push FILE /data/FILE       (and: pull /data/FILE FILE)\n"
              << adb << " forward tcp:3535 tcp:" << handset.request({{"op", "status"}}).value("port", 0)
              << "    (PC commands on port 3535 of this machine)\n"
              << "  adb disconnect " << address << "\n";
    return 0;
}

void print_reply(std::ostream &out, const vh::PcLink::Reply &reply) {
    out << "STATUS " << reply.status << "\n";
    if (!reply.text.empty()) out << reply.text << "\n";
    out.flush();
}
} // namespace

void add_pc(CLI::App &app, int *status) {
    auto text = std::make_shared<std::string>();
    CLI::App *at = command(app, "at", "send a PC command and print its status and reply", status,
                           [text](const vh::Client &handset) {
                               handset.request({{"op", "status"}});
                               if (*text == "-") return run_pc_script(handset, std::cin, std::cout);
                               const vh::PcLink::Reply reply = vh::PcLink(handset).at(*text);
                               print_reply(std::cout, reply);
                               return reply.status;
                           });
    at->add_option("text", *text, "the command, or - for a script on standard input")->required();
    at->footer("The exit status is the command's: 0 done, 2 failed or unknown, 3 no handler (1: no handset).\n"
               "A script has one command per line; 'STATUS 2' and 'REPLY text' assert what the command before answered,\n"
               "'#' begins a comment, 'PATIENCE 8' bounds the wait for every answer that follows, in seconds.\n"
               "The exit status is 1 when an assertion failed. Or all in one line:\n"
               "  COMMAND | STATUS | PATTERN | CONDITION ...\n"
               "The whole reply matches the regular expression (none: empty); STATUS - takes any answer, or none. What must\n"
               "hold soon afterwards, separated by blanks: NODE=value, or - where there is none, of an attribute, or a file\n"
               "below /data or /cache; pixel=RRGGBB in the middle; windows=N without bars; boots=N; state=off.\n"
               "Examples:\n  ./handset at \"vibratorMoudle testItem open\"\n  ./handset at - < tests/pc/default/lcd.at");
    auto spec = std::make_shared<std::string>();
    CLI::App *sub = command(app, "forward", "lead a TCP port of this machine to the handset's PC channel", status,
                            [spec](const vh::Client &handset) { return forward(handset, *spec); });
    sub->add_option("port", *spec, "tcp:PORT on 127.0.0.1; tcp:0 picks a free one")->required();
    sub->footer("Example: ./handset forward tcp:3535");
    auto bridge_port = std::make_shared<int>(0);
    CLI::App *adb = command(app, "adb", "let Debian's adb connect, and say how", status,
                            [bridge_port](const vh::Client &handset) { return show_bridge(handset, *bridge_port); });
    adb->add_option("--port", *bridge_port, "of 127.0.0.1; without it a free one")->check(CLI::Range(1, 65535));
    adb->footer("The first line is the address. Whoever may use this machine can connect there, as far as the sandbox reaches.\n"
                "Example: adb connect $(./handset adb | head -1)");
}

} // namespace cli
