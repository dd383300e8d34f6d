// The hardware of the virtual handset: which attributes it has and how they act on one another.
#pragma once

#include "kernel/battery_model.h"
#include "kernel/hardware_modem.h"
#include "kernel/hardware_nodes.h"
#include "kernel/suspend.h"
#include "kernel/tree.h"

#include <condition_variable>
#include <cstdint>
#include <thread>

namespace vh {

struct Panel {
    int width = 720, height = 1280;
    // A line is padded to 64 bytes, as scan-out engines want it.
    int stride() const { return (width * 4 + 63) / 64 * 64; }
    int64_t pixels_size() const { return int64_t{2} * stride() * height; }
    // Pixels up to a whole page, and the tail page behind them.
    int64_t file_size() const { return (pixels_size() + 4095) / 4096 * 4096 + 4096; }
};

class Device {
public:
    // Durations of the hardware (a vibration, a percent of charge) take 1/speed of their time.
    Device(const Panel &panel, double speed);
    ~Device();
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    Tree &tree() { return tree_; }
    Suspend &suspend() { return *suspend_; }
    BatteryModel &battery() { return *battery_; }
    Modem &modem() { return *modem_; }
    Hardware &hardware() { return *hardware_; }
    // Lets the handset be suspended (see Suspend::Machine).
    void connect_freezer(std::function<void(bool)> freeze, std::function<Suspend::Clock::time_point()> last_key);
    // The handset boots, or is off. No longer suspended.
    void power(bool on);

private:
    void add_panel_and_lights(const Panel &panel);
    void add_other();
    void connect_vibrator();
    void vibrator_loop();

    Tree tree_;
    const double speed_;
    std::optional<Suspend> suspend_;
    std::optional<BatteryModel> battery_;
    std::optional<Modem> modem_;
    std::optional<Hardware> hardware_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::optional<std::chrono::steady_clock::time_point> vibration_end_;
    std::thread vibrator_;
};

} // namespace vh
