#include "common/message.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/wait.h>

namespace vh {

namespace {
constexpr size_t MAX_MESSAGE = 128 * 1024;
constexpr size_t MAX_FDS = 8;

void read_control(msghdr &header, Message &message) {
    for (cmsghdr *c = CMSG_FIRSTHDR(&header); c; c = CMSG_NXTHDR(&header, c)) {
        if (c->cmsg_level != SOL_SOCKET) continue;
        if (c->cmsg_type == SCM_RIGHTS) {
            const size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (size_t i = 0; i < count; ++i) {
                int fd = -1;
                memcpy(&fd, CMSG_DATA(c) + i * sizeof fd, sizeof fd);
                message.fds.emplace_back(fd);
            }
        } else if (c->cmsg_type == SCM_CREDENTIALS) {
            ucred credentials{};
            memcpy(&credentials, CMSG_DATA(c), sizeof credentials);
            message.sender = credentials.pid;
        }
    }
}
} // namespace

bool send_message(int socket, const std::vector<std::string> &fields, const std::vector<int> &fds) {
    std::string text;
    for (const std::string &field : fields) {
        text += field;
        text += '\0';
    }
    if (text.size() > MAX_MESSAGE || fds.size() > MAX_FDS) {
        errno = EMSGSIZE;
        return false;
    }
    iovec part{text.data(), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(MAX_FDS * sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (!fds.empty()) {
        header.msg_control = control.data();
        header.msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
        cmsghdr *c = CMSG_FIRSTHDR(&header);
        c->cmsg_level = SOL_SOCKET;
        c->cmsg_type = SCM_RIGHTS;
        c->cmsg_len = CMSG_LEN(fds.size() * sizeof(int));
        memcpy(CMSG_DATA(c), fds.data(), fds.size() * sizeof(int));
    }
    ssize_t n;
    do {
        n = sendmsg(socket, &header, MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n == static_cast<ssize_t>(text.size());
}

std::optional<Message> receive_message(int socket) {
    std::string text(MAX_MESSAGE, '\0');
    iovec part{text.data(), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(MAX_FDS * sizeof(int)) + CMSG_SPACE(sizeof(ucred))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    ssize_t n;
    do {
        n = recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
    } while (n < 0 && errno == EINTR);
    if (n <= 0) return std::nullopt;
    Message message;
    read_control(header, message);
    text.resize(static_cast<size_t>(n));
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = text.find('\0', begin);
        if (end == std::string::npos) break;
        message.fields.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return message;
}

bool message_pair(Fd &a, Fd &b) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) return false;
    const int on = 1;
    for (int fd : pair) setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    a.reset(pair[0]);
    b.reset(pair[1]);
    return true;
}

int shell_status(int wait_status) {
    if (WIFEXITED(wait_status)) return WEXITSTATUS(wait_status);
    if (WIFSIGNALED(wait_status)) return 128 + WTERMSIG(wait_status);
    return 255;
}

} // namespace vh
