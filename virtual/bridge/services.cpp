#include "bridge/services.h"

#include "common/state.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <sys/socket.h>

namespace bridge {

namespace {
constexpr const char *PC_SOCKET = "/dev/__vxo_pc"; // where the first process accepts PCs

std::optional<uint16_t> port_in(std::string_view digits) {
    uint16_t port = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), port);
    if (error != std::errc() || end != digits.end() || port == 0) return std::nullopt;
    return port;
}

uint16_t pc_port() {
    std::ifstream file("/dev/__vxo_props/persist.vxo.at.port");
    int port = 0;
    return file >> port && port > 0 && port < 65536 ? static_cast<uint16_t>(port) : uint16_t{3535};
}

// An attempt that is under way counts as open: whoever listens nowhere is closed soon.
vh::Fd connect_port(uint16_t port) {
    vh::Fd fd;
    if (port == pc_port()) {
        fd.reset(vh::connect_unix(PC_SOCKET));
        if (fd) fcntl(fd.get(), F_SETFL, O_NONBLOCK);
        return fd;
    }
    fd.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd.get(), IPPROTO_TCP, TCP_SYNCNT, &on, sizeof on); // 3 s, while the interface is down
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 && errno != EINPROGRESS) fd.reset();
    return fd;
}

// A process that holds nothing of this one's but its end of the stream.
vh::Fd start_process(const std::function<void(int socket)> &serve) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return {};
    vh::Fd mine(ends[0]), theirs(ends[1]);
    const pid_t pid = fork();
    if (pid < 0) return {};
    if (pid > 0) {
        fcntl(mine.get(), F_SETFL, O_NONBLOCK);
        return mine;
    }
    constexpr int SOCKET = 3;
    if (theirs.get() != SOCKET) dup3(theirs.release(), SOCKET, O_CLOEXEC);
    mine.release(); // closed with all the others, or become the socket
    close_range(SOCKET + 1, ~0U, 0);
    signal(SIGCHLD, SIG_DFL);
    serve(SOCKET);
    _exit(0);
}

bool is_terminal_name(std::string_view text) {
    return !text.empty() && text.size() < 64 &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-+._") == text.npos;
}

// "v2,TERM=xterm,raw" and the like.
void read_options(std::string_view options, ShellPlan &plan) {
    while (!options.empty()) {
        const std::string_view option = options.substr(0, options.find(','));
        options.remove_prefix(std::min(options.size(), option.size() + 1));
        if (option == "v2") plan.framed = true;
        else if (option == "raw") plan.pty = false;
        else if (option == "pty") plan.pty = true;
        else if (option.starts_with("TERM=") && is_terminal_name(option.substr(5))) plan.terminal = option.substr(5);
    }
}
} // namespace

bool send_all(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

Service open_service(std::string_view name) {
    const size_t colon = name.find(':');
    if (colon == name.npos) return {};
    const std::string_view kind = name.substr(0, colon), rest = name.substr(colon + 1);
    if (kind == "tcp") {
        const std::optional<uint16_t> port = port_in(rest);
        return {port ? connect_port(*port) : vh::Fd(), true};
    }
    if (kind == "sync") return {start_process(serve_files)};
    ShellPlan plan{std::string(rest), "", false, kind != "exec"};
    if (kind.starts_with("shell,")) read_options(kind.substr(6), plan);
    else if (kind != "shell" && kind != "exec") return {};
    return {start_process([&plan](int socket) { serve_shell(socket, plan); })};
}

} // namespace bridge
