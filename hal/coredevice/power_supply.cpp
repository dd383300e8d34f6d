#include <algorithm>
#include <cerrno>
#include <climits>
#include <coredevice/api.h>
#include <coredevice/power_supply.h>
#include <cstring>
#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <tp_clock.h>

namespace coredevice {
namespace {
constexpr const char *TAG = "BATTERYSERVICE";

struct Word {
    std::string_view text;
    int value;
};

template <size_t N> std::optional<int> look_up(const Word (&words)[N], std::string_view text) {
    const auto *found = std::find_if(words, words + N, [&](const Word &word) { return word.text == text; });
    if (found == words + N) return std::nullopt;
    return found->value;
}

std::optional<int> parse_status(std::string_view text) {
    static constexpr Word WORDS[] = {{"Unknown", TKI_BATTERY_STATUS_UNKNOWN},
                                     {"Charging", TKI_BATTERY_STATUS_CHARGING},
                                     {"Discharging", TKI_BATTERY_STATUS_DISCHARGING},
                                     {"Not charging", TKI_BATTERY_STATUS_NOT_CHARGING},
                                     {"Full", TKI_BATTERY_STATUS_FULL}};
    return look_up(WORDS, text);
}

// Warm and cool are the charger's own bands inside the good range.
std::optional<int> parse_health(std::string_view text) {
    static constexpr Word WORDS[] = {
        {"Unknown", TKI_BATTERY_HEALTH_UNKNOWN},       {"Good", TKI_BATTERY_HEALTH_GOOD},
        {"Warm", TKI_BATTERY_HEALTH_GOOD},             {"Cool", TKI_BATTERY_HEALTH_GOOD},
        {"Overheat", TKI_BATTERY_HEALTH_OVERHEAT},     {"Hot", TKI_BATTERY_HEALTH_OVERHEAT},
        {"Dead", TKI_BATTERY_HEALTH_DEAD},             {"Over voltage", TKI_BATTERY_HEALTH_OVERVOLTAGE},
        {"Cold", TKI_BATTERY_HEALTH_COLD},             {"Unspecified failure", TKI_BATTERY_HEALTH_FAILURE},
        {"Over current", TKI_BATTERY_HEALTH_FAILURE},  {"Watchdog timer expire", TKI_BATTERY_HEALTH_FAILURE},
        {"Safety timer expire", TKI_BATTERY_HEALTH_FAILURE}};
    return look_up(WORDS, text);
}

std::optional<int> parse_percent(std::string_view text) {
    const auto value = hal::parse_int(text);
    return value && *value >= 0 && *value <= 100 ? value : std::nullopt;
}

std::optional<int> parse_switch(std::string_view text) {
    const auto value = hal::parse_int(text);
    if (!value || *value < 0) return std::nullopt;
    return *value != 0; // a charger may answer 2: online with a programmable voltage
}

// Micro to milli.
std::optional<int> parse_micro(std::string_view text) {
    const auto value = hal::parse_int64(text);
    if (!value || *value / 1000 > INT_MAX || *value / 1000 < INT_MIN) return std::nullopt;
    return static_cast<int>(*value / 1000);
}

std::optional<int> parse_touch_panel(std::string_view text) {
    const auto value = hal::parse_int(text);
    return value && *value >= 0 && *value <= 3 ? value : std::nullopt;
}

// Without it (a device's policy may forbid it) a silent driver's change is seen at the next period.
hal::UniqueFd device_events() {
    hal::UniqueFd events(socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (!events.valid() || bind(events.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        HAL_LOG_E(TAG, "no device events: %s", strerror(errno));
        events.reset();
    }
    return events;
}

// Their text does not matter: whatever happened, the attributes are read again. ENOBUFS says that some were lost.
void forget_events(int fd) {
    std::array<char, 64> head;
    ssize_t n = 0;
    do {
        n = recv(fd, head.data(), head.size(), MSG_DONTWAIT);
    } while (n >= 0 || errno == EINTR || errno == ENOBUFS);
}
} // namespace

int Attribute::fail(Failure failure, std::string_view detail) {
    if (!(m_logged & failure)) {
        m_logged |= failure;
        HAL_LOG_E(TAG, "%s: %.*s", m_path, static_cast<int>(detail.size()), detail.data());
    }
    return m_fallback;
}

int Attribute::read() {
    if (!m_fd.valid()) m_fd = hal::open_file(m_path, O_RDONLY | O_NONBLOCK);
    if (!m_fd.valid()) return fail(MISSING, strerror(errno));
    std::array<char, 128> text;
    const auto value = hal::read_attribute(m_fd.get(), text);
    if (!value) {
        m_fd.reset(); // a device that went away is found again by name
        return fail(UNREADABLE, strerror(errno));
    }
    if (value->empty()) return fail(EMPTY, "empty");
    const auto number = m_parse(*value);
    return number ? *number : fail(RUBBISH, std::string("not understood: ").append(value->substr(0, 32)));
}

#define SUPPLY "/sys/class/power_supply/"
PowerSupply::PowerSupply() : m_events(device_events()) {
    m_attributes.reserve(14);
    const auto add = [this](const char *path, Attribute::Parse parse, int fallback = 0) {
        m_attributes.emplace_back(path, parse, fallback);
    };
    add(SUPPLY "ac/online", parse_switch);
    add(SUPPLY "usb/online", parse_switch);
    add(SUPPLY "wireless/online", parse_switch);
    add(SUPPLY "battery/status", parse_status);
    add(SUPPLY "battery/health", parse_health);
    add(SUPPLY "battery/present", parse_switch);
    add(SUPPLY "battery/capacity", parse_percent);
    add(SUPPLY "battery/voltage_now", parse_micro);
    add(SUPPLY "battery/temp", hal::parse_int);
    add(SUPPLY "battery/current_now", parse_micro);
    add(SUPPLY "battery/charge_counter", parse_micro);
    add(SUPPLY "battery/cycle_count", hal::parse_int);
    add(SUPPLY "battery/constant_charge_current_max", parse_micro);
    add("/proc/touchscreen/ts_status", parse_touch_panel, TOUCH_PANEL_OK);
    m_idle_wakes.resize(m_attributes.size());
}
#undef SUPPLY

BatteryReport PowerSupply::read() {
    if (m_events.valid()) forget_events(m_events.get()); // before reading, so that none is lost
    const int64_t begin = tp_clock_mono_ns();
    BatteryReport r;
    auto next = m_attributes.begin();
    for (uint8_t &online : r.plugged) online = static_cast<uint8_t>((next++)->read());
    for (int *value : {&r.status, &r.health, &r.present, &r.level, &r.voltage, &r.temperature, &r.current, &r.charge_counter,
                       &r.cycle_count, &r.max_current, &r.touch_panel})
        *value = (next++)->read();
    judge_time(tp_clock_to_kernel_ns(tp_clock_mono_ns() - begin));
    return r;
}

void PowerSupply::judge_time(int64_t taken_ns) {
    const bool slow = taken_ns > SLOW_NS;
    if (slow && !m_slow) HAL_LOG_E(TAG, "the power supply answers slowly: %lld ms", static_cast<long long>(taken_ns / 1000000));
    m_slow = slow;
}

void PowerSupply::watch(std::vector<pollfd> &set) const {
    for (size_t i = 0; i < m_attributes.size(); ++i)
        set.push_back({m_idle_wakes[i] < IDLE_WAKES_MAX ? m_attributes[i].fd() : -1, POLLPRI, 0});
    set.push_back({m_events.get(), POLLIN, 0});
}

void PowerSupply::judge(std::span<const pollfd> entries, bool changed) {
    for (size_t i = 0; i < m_attributes.size(); ++i) {
        if (!entries[i].revents) continue;
        if (changed) m_idle_wakes[i] = 0;
        else if (++m_idle_wakes[i] == IDLE_WAKES_MAX) HAL_LOG_E(TAG, "attribute %zu wakes for nothing", i);
    }
}

void PowerSupply::relax() { std::fill(m_idle_wakes.begin(), m_idle_wakes.end(), 0); }

} // namespace coredevice
