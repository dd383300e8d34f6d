#include "common/fd.h"
#include "launcher/launcher.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>

namespace vh {

using nlohmann::json;

namespace {
json exchange(const StatePaths &paths, const json &asked, const std::vector<int> &fds) {
    const Fd socket(connect_unix(paths.control_socket()));
    if (!socket) throw std::runtime_error("the handset is not running; `handset run` or `handset boot` starts it");
    std::string text = asked.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    iovec part{text.data(), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(3 * sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (fds.size() == 3) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr *c = CMSG_FIRSTHDR(&header);
        c->cmsg_level = SOL_SOCKET;
        c->cmsg_type = SCM_RIGHTS;
        c->cmsg_len = CMSG_LEN(3 * sizeof(int));
        memcpy(CMSG_DATA(c), fds.data(), 3 * sizeof(int));
    }
    for (ssize_t n; part.iov_len > 0;) {
        n = sendmsg(socket.get(), &header, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw std::runtime_error(std::string("control socket: ") + strerror(errno));
        part.iov_base = static_cast<char *>(part.iov_base) + n;
        part.iov_len -= static_cast<size_t>(n);
        header.msg_control = nullptr;
        header.msg_controllen = 0;
    }
    std::string reply;
    std::array<char, 65536> bytes;
    while (!reply.ends_with('\n')) {
        const ssize_t n = read(socket.get(), bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw std::runtime_error("the handset went down");
        reply.append(bytes.data(), static_cast<size_t>(n));
    }
    return json::parse(reply);
}
} // namespace

json request(const StatePaths &paths, const json &asked) { return exchange(paths, asked, {}); }

int exec_in_handset(const StatePaths &paths, const std::vector<std::string> &argv) {
    const json reply = exchange(paths, {{"op", "exec"}, {"argv", argv}}, {0, 1, 2});
    if (!reply.value("ok", false)) throw std::runtime_error(reply.value("error", "refused"));
    return reply.value("status", 255);
}

} // namespace vh
