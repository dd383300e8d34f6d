// The battery and its chargers as the kernel describes them, kept open and watched.
#pragma once

#include <array>
#include <common/file.h>
#include <cstdint>
#include <poll.h>
#include <span>
#include <vector>

namespace coredevice {

struct BatteryReport {
    std::array<uint8_t, 3> plugged{}; // AC, USB, wireless
    int status = 0, health = 0, present = 0, level = 0, voltage = 0, temperature = 0;
    int current = 0, charge_counter = 0, cycle_count = 0, max_current = 0;
    int touch_panel = 2; // TOUCH_PANEL_OK
    bool operator==(const BatteryReport &) const = default;
};
constexpr int TOUCH_PANEL_OK = 2;

// One kernel attribute. What it does not tell, or tells as rubbish, is the fallback, and each way to fail is logged once.
class Attribute {
public:
    using Parse = std::optional<int> (*)(std::string_view);
    Attribute(const char *path, Parse parse, int fallback) : m_path(path), m_parse(parse), m_fallback(fallback) {}
    // Opens when needed, so that a charger may appear later and a removed one come back.
    int read();
    int fd() const { return m_fd.get(); }

private:
    enum Failure : unsigned { MISSING = 1, UNREADABLE = 2, EMPTY = 4, RUBBISH = 8 };
    int fail(Failure failure, std::string_view detail);

    const char *m_path;
    Parse m_parse;
    int m_fallback;
    hal::UniqueFd m_fd;
    unsigned m_logged = 0;
};

class PowerSupply {
public:
    PowerSupply();
    BatteryReport read();
    // Appends what tells of changes to a poll set: the attributes, which the kernel marks with POLLPRI and POLLERR (a
    // file that cannot tell never wakes), and the kernel's device events, which is all that many charger drivers send.
    void watch(std::vector<pollfd> &set) const;
    // To be told whether a wake-up by the given entries of the set brought anything new. An attribute that wakes again
    // and again for nothing is left out until relax(): a driver's fault must not keep the handset busy.
    void judge(std::span<const pollfd> entries, bool changed);
    void relax();

private:
    static constexpr int IDLE_WAKES_MAX = 8;
    static constexpr int64_t SLOW_NS = 2000000000;
    void judge_time(int64_t taken_ns); // logs once when a charger chip begins to hang
    std::vector<Attribute> m_attributes; // in the order of the report's members
    std::vector<int> m_idle_wakes;
    hal::UniqueFd m_events;
    bool m_slow = false;
};

} // namespace coredevice
