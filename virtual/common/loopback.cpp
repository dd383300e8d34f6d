#include "common/loopback.h"

#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>

namespace vh {

Fd listen_loopback(uint16_t &port) {
    Fd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listener.get(), 16) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        const int error = errno;
        listener.reset();
        errno = error;
        return listener;
    }
    port = ntohs(address.sin_port);
    return listener;
}

} // namespace vh
