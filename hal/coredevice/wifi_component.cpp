// The switch of the WiFi connection component: the command channel for PCs on the handset's wireless network.
#include <arpa/inet.h>
#include <cerrno>
#include <coredevice/api.h>
#include <coredevice/at_channel.h>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {
constexpr const char *TAG = "WIFICONCPT", *INTERFACE = "wlan0";

bool ask(int fd, unsigned long what, in_addr_t &out) {
    ifreq request{};
    strcpy(request.ifr_name, INTERFACE);
    if (ioctl(fd, static_cast<int>(what), &request) != 0) return false;
    sockaddr_in address;
    memcpy(&address, &request.ifr_addr, sizeof address);
    out = address.sin_addr.s_addr;
    return out != 0;
}

bool find_network(coredevice::Network &network) {
    const hal::UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return fd.valid() && ask(fd.get(), SIOCGIFADDR, network.address) && ask(fd.get(), SIOCGIFNETMASK, network.mask);
}

int say(char *out, int room, int result, const char *text) {
    if (result == 0) HAL_LOG_E(TAG, "%s", text);
    if (out && room > 0) snprintf(out, static_cast<size_t>(room), "%s", text);
    return result;
}
} // namespace

VXO_API(int) mmi_AutoTest_WiFiConCpt_Enable(const char *, int, char *out, int maxoutlen) noexcept {
    const auto channel = coredevice::open_channel();
    if (!channel || coredevice::current_reply().empty()) return say(out, maxoutlen, 0, "no command is being processed");
    coredevice::Network network;
    if (!find_network(network)) return say(out, maxoutlen, 0, "wlan0 has no address; connect first: WiFiMoudle testItem open");
    char text[INET_ADDRSTRLEN + 8] = {};
    inet_ntop(AF_INET, &network.address, text, INET_ADDRSTRLEN);
    if (!channel->open_network(network)) return say(out, maxoutlen, 0, strerror(errno));
    snprintf(text + strlen(text), 8, ":%u", static_cast<unsigned>(channel->port()));
    return say(out, maxoutlen, 1, text);
}

// The light control test calls this without meaningful arguments.
VXO_API(int) mmi_AutoTest_WiFiConCpt_Disable(const char *, int, char *, int) noexcept {
    const auto channel = coredevice::open_channel();
    if (!channel) return 1; // nothing is on, so it is off
    if (coredevice::current_reply().empty()) return say(nullptr, 0, 0, "no command is being processed");
    channel->close_network();
    return 1;
}
