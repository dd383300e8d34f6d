#include "wifi/address.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tp_gui.h>
#include <unistd.h>
#include <vector>

#include "base/log_door.h"
#include "wifi/settings.h"

namespace {
constexpr const char *INTERFACE = "wlan0";
constexpr const char *PICTURE_PNG = "/data/mmi_ip.png", *PICTURE_BMP = "/data/mmi_ip.bmp";
constexpr int MODULE = 12; // pixels of the picture to a module; the menu scales it

std::mutex g_lock;
std::string g_address;

class Socket {
public:
    Socket() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (fd_ >= 0) ::close(fd_);
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    bool valid() const { return fd_ >= 0; }
    bool ask(unsigned long what, ifreq &request) const {
        request = {};
        strcpy(request.ifr_name, INTERFACE);
        return fd_ >= 0 && ioctl(fd_, static_cast<int>(what), &request) == 0;
    }

private:
    int fd_;
};

void put(std::vector<uint8_t> &to, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) to.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// An uncompressed bitmap of 24 bits, bottom row first.
std::vector<uint8_t> bmp_of(const BITMAP &picture) {
    constexpr uint32_t HEAD = 54;
    const auto width = static_cast<uint32_t>(picture.bmWidth), height = static_cast<uint32_t>(picture.bmHeight);
    const uint32_t row = (width * 3 + 3) / 4 * 4;
    std::vector<uint8_t> out{'B', 'M'};
    out.reserve(HEAD + row * height);
    for (const uint32_t word : {HEAD + row * height, 0u, HEAD, 40u, width, height}) put(out, word, 4);
    put(out, 1, 2);  // planes
    put(out, 24, 2); // bits
    for (const uint32_t word : {0u, row * height, 2835u, 2835u, 0u, 0u}) put(out, word, 4);
    for (uint32_t y = height; y-- > 0;) {
        for (uint32_t x = 0; x < width; ++x) put(out, picture.pixels[y * width + x], 3);
        out.resize(out.size() + (row - width * 3));
    }
    return out;
}

bool save_bmp(const BITMAP &picture) {
    const std::vector<uint8_t> bytes = bmp_of(picture);
    const std::string half = std::string(PICTURE_BMP) + ".new";
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(half.c_str(), "wbe"), fclose);
    const bool whole = file && fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() && fflush(file.get()) == 0;
    return whole && rename(half.c_str(), PICTURE_BMP) == 0;
}
} // namespace

int get_ipaddr(char *out) {
    ifreq request;
    if (!Socket().ask(SIOCGIFADDR, request)) {
        LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "ioctl error while getting ip address info on wlan0.");
        return -1;
    }
    sockaddr_in address;
    memcpy(&address, &request.ifr_addr, sizeof address);
    if (!inet_ntop(AF_INET, &address.sin_addr, out, WIFI_ADDRESS_MAX)) return -1;
    LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "ip address: %s", out);
    return 0;
}

bool wifi_make_picture(const char *address) {
    BITMAP picture;
    const bool made = MakeBitmapOfQrCode(&picture, address, MODULE) == 0;
    const bool saved = made && SaveBitmapToFile(&picture, PICTURE_PNG) == 0 && save_bmp(picture);
    if (!saved) LOG_E(WIFI_TAG, "no picture of %s: %s", address, made ? strerror(errno) : "no code");
    if (made) UnloadBitmap(&picture);
    return saved;
}

void wifi_store_address(const char *address) {
    const std::lock_guard guard(g_lock);
    g_address = address;
}

std::string wifi_stored_address() {
    const std::lock_guard guard(g_lock);
    return g_address;
}

int check_ipaddr() {
    char address[WIFI_ADDRESS_MAX] = {};
    if (get_ipaddr(address) != 0 || wifi_stored_address() == address) return -1;
    wifi_make_picture(address);
    wifi_store_address(address);
    return 0;
}

std::string get_wlan0_mac() {
    const Socket socket;
    ifreq request;
    if (!socket.valid()) {
        LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "get_wlan0_mac: open socket error");
        return {};
    }
    if (!socket.ask(SIOCGIFHWADDR, request)) {
        LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "get_wlan0_mac: ioctl SIOCGIFHWADDR error");
        return {};
    }
    uint8_t mac[6];
    memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
    char text[18];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}
