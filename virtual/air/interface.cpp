#include "air/interface.h"

#include "common/fd.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace {
ifreq request_for(const char *name) {
    ifreq request{};
    strcpy(request.ifr_name, name);
    return request;
}
vh::Fd any_socket() { return vh::Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); }
} // namespace

void set_interface_up(const char *name, bool up) {
    const vh::Fd fd = any_socket();
    ifreq request = request_for(name);
    if (ioctl(fd.get(), SIOCGIFFLAGS, &request) != 0) return;
    request.ifr_flags = static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
    ioctl(fd.get(), SIOCSIFFLAGS, &request);
}

std::string interface_address(const char *name) {
    const vh::Fd fd = any_socket();
    ifreq request = request_for(name);
    if (ioctl(fd.get(), SIOCGIFADDR, &request) != 0) return "";
    sockaddr_in address;
    memcpy(&address, &request.ifr_addr, sizeof address);
    char text[INET_ADDRSTRLEN] = "";
    return inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) ? text : "";
}

bool interface_exists(const char *name) { return if_nametoindex(name) != 0; }

int run_quietly(const std::string &command) {
    const int status = system((command + " </dev/null >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
