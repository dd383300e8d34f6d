// The command channel's functions, as the program binds them.
#include <coredevice/api.h>
#include <coredevice/at_channel.h>
#include <cutils/properties.h>
#include <mutex>

namespace {
constexpr const char *TAG = "ATCHANNEL";
constexpr const char *PORT_PROPERTY = "persist.vxo.at.port";
constexpr const char *KEY_PROPERTY = "persist.vxo.at.key";
constexpr int PORT_DEFAULT = 3535;

std::mutex g_lock;
std::shared_ptr<coredevice::AtChannel> g_channel;
bool g_running = false; // a loop serves g_channel
vxo_command_process g_process = nullptr;

uint16_t configured_port() {
    char text[PROPERTY_VALUE_MAX];
    property_get(PORT_PROPERTY, text, std::to_string(PORT_DEFAULT).c_str());
    const auto port = hal::parse_int(text);
    if (port && *port > 0 && *port <= UINT16_MAX) return static_cast<uint16_t>(*port);
    HAL_LOG_E(TAG, "%s is no port: %s; using %d", PORT_PROPERTY, text, PORT_DEFAULT);
    return PORT_DEFAULT;
}
} // namespace

std::shared_ptr<coredevice::AtChannel> coredevice::open_channel() {
    const std::lock_guard guard(g_lock);
    return g_channel;
}

std::string coredevice::remote_key() {
    char text[PROPERTY_VALUE_MAX] = {};
    property_get(KEY_PROPERTY, text, "");
    return text;
}

bool coredevice::same_key(std::string_view given, std::string_view wanted) {
    volatile unsigned char differs = given.size() == wanted.size() ? 0 : 1;
    for (size_t i = 0; i < PROPERTY_VALUE_MAX; ++i) {
        const char a = i < given.size() ? given[i] : '\0', b = i < wanted.size() ? wanted[i] : '\0';
        differs = static_cast<unsigned char>(differs | (a ^ b));
    }
    return differs == 0;
}

VXO_API(int) registerAtSocket() noexcept {
    const std::lock_guard guard(g_lock);
    if (!g_channel) g_channel = coredevice::AtChannel::open(configured_port());
    return g_channel ? 0 : -1;
}

VXO_API(int) UnregisterAtSocket() noexcept {
    const std::lock_guard guard(g_lock);
    if (!g_channel) return -1;
    g_channel->close();
    g_channel = nullptr;
    g_running = false;
    return 0;
}

VXO_API(int) registerCommandProcess(vxo_command_process cb) noexcept {
    const std::lock_guard guard(g_lock);
    g_process = cb;
    return 0;
}

VXO_API(int) runSelectLoopMode() noexcept {
    std::shared_ptr<coredevice::AtChannel> channel;
    vxo_command_process process = nullptr;
    {
        const std::lock_guard guard(g_lock);
        if (!g_channel || g_running) {
            HAL_LOG_E(TAG, "%s", g_channel ? "a loop runs already" : "no socket");
            return -1;
        }
        g_running = true;
        channel = g_channel;
        process = g_process;
    }
    channel->run(process);
    const std::lock_guard guard(g_lock);
    if (g_channel == channel) { // the loop broke down by itself
        g_channel = nullptr;
        g_running = false;
    }
    return 0;
}
