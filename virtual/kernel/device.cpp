#include "kernel/device.h"

#include "kernel/sound.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <ctime>

namespace vh {

namespace {
const std::string LEDS = "/sys/class/leds/";
const std::string VIBRATOR = LEDS + "vibrator/";
} // namespace

Device::Device(const Panel &panel, double speed) : speed_(std::max(speed, 1.0)) {
    add_panel_and_lights(panel);
    add_other();
    suspend_.emplace(tree_, speed_);
    battery_.emplace(tree_, speed_);
    battery_->on_alert([this](const std::string &cause) { suspend_->wake(cause); });
    modem_.emplace(tree_);
    hardware_.emplace(tree_, speed_);
    connect_vibrator();
    vibrator_ = std::thread([this] { vibrator_loop(); });
}

Device::~Device() {
    suspend_->stop(); // before the battery that it tells
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    vibrator_.join();
}

void Device::add_panel_and_lights(const Panel &panel) {
    const std::string fb = "/sys/class/graphics/fb0/";
    const std::string w = std::to_string(panel.width), h = std::to_string(panel.height);
    const std::string mode = "U:" + w + "x" + h + "p-60";
    tree_.add(fb + "blank", integer(0, 4), Access::read_write, "0");
    tree_.add(fb + "virtual_size", text(), Access::read_only, w + "," + std::to_string(panel.height * 2));
    tree_.add(fb + "stride", text(), Access::read_only, std::to_string(panel.stride()));
    tree_.add(fb + "bits_per_pixel", text(), Access::read_only, "32");
    tree_.add(fb + "mode", text(), Access::read_only, mode);
    tree_.add(fb + "modes", text(), Access::read_only, mode);
    tree_.add("/sys/class/graphics/fb1/blank", integer(0, 4), Access::read_write, "0"); // the auxiliary panel's
    tree_.add(LEDS + "lcd-backlight/brightness", integer(0, 255), Access::read_write, "100");
    tree_.add(LEDS + "lcd-backlight/max_brightness", text(), Access::read_only, "255");
    for (const char *led : {"red", "green", "blue", "button-backlight", "flashlight", "flashlight2", "flashlight-front"}) {
        tree_.add(LEDS + led + "/brightness", integer(0, 255), Access::read_write, "0");
        tree_.add(LEDS + led + "/max_brightness", text(), Access::read_only, "255");
    }
    tree_.add(VIBRATOR + "duration", integer(-1, 15000), Access::read_write, "0");
    tree_.add(VIBRATOR + "activate", integer(0, 1), Access::read_write, "0");
    tree_.add(VIBRATOR + "state", integer(0, 1), Access::read_write, "0");
}

void Device::connect_freezer(std::function<void(bool)> freeze, std::function<Suspend::Clock::time_point()> last_key) {
    suspend_->connect({std::move(freeze), std::move(last_key), [this](bool asleep) { battery_->set_asleep(asleep); }});
}

void Device::power(bool on) {
    suspend_->power_on();
    battery_->set_asleep(!on);
}

void Device::add_other() {
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    char date[16], clock[16];
    strftime(date, sizeof date, "%Y-%m-%d", &parts);
    strftime(clock, sizeof clock, "%H:%M:%S", &parts);
    tree_.add("/sys/class/rtc/rtc0/hctosys", text(), Access::read_only, "1");
    tree_.add("/sys/class/rtc/rtc0/date", text(), Access::read_only, date);
    tree_.add("/sys/class/rtc/rtc0/time", text(), Access::read_only, clock);
    // Whether it may wake the handset: "disabled" makes the kernel refuse alarm clocks.
    tree_.add("/sys/class/rtc/rtc0/power/wakeup", choice({"enabled", "disabled"}), Access::read_write, "enabled");
    tree_.add("/sys/devices/system/cpu/online", text(), Access::read_only, "0-1");
    tree_.add("/sys/module/qpnp_fg/parameters/sram_update_period_ms", integer(0, INT_MAX), Access::read_write, "30000");
    tree_.add("/proc/touchscreen/ts_main_ctrl", integer(0, 1), Access::read_write, "1");
    tree_.add("/proc/touchscreen/ts_status", text(), Access::read_only, "2");
    tree_.add("/proc/panel_hue_main_switch", integer(0, 255), Access::read_write, "0");
    tree_.add("/proc/panel_hue_aux_switch", integer(0, 255), Access::read_write, "0");
    tree_.add("/proc/panel_cabc_level_switch", integer(0, 3), Access::read_write, "0");
    tree_.add("/proc/panel_type", text(), Access::read_only, "1");
    tree_.add("/proc/panel_reg", text(), Access::read_write, "");
    tree_.add("/dev/system", text(), Access::read_only, "");
    tree_.add("/sys/class/switch/h2w/name", text(), Access::read_only, "h2w");
    tree_.add("/sys/class/switch/h2w/state", text(), Access::read_only, "0"); // 1 headset with microphone, 2 without
    for (const char *name : MICROPHONES) tree_.add(std::string(SOUND_FOLDER) + name, text(), Access::read_only, "");
    for (const char *name : OUTPUTS) tree_.add(std::string(SOUND_FOLDER) + name, text(), Access::write_only, "");
}

void Device::connect_vibrator() {
    tree_.on_change(VIBRATOR + "activate", [this](const std::string &value) {
        const long ms = atol(tree_.get(VIBRATOR + "duration").value_or("0").c_str());
        {
            const std::scoped_lock lock(mutex_);
            vibration_end_.reset();
            const auto length = std::chrono::duration<double, std::milli>(static_cast<double>(ms) / speed_);
            if (value == "1" && ms >= 0)
                vibration_end_ = std::chrono::steady_clock::now() +
                                 std::chrono::duration_cast<std::chrono::steady_clock::duration>(length);
        }
        wake_.notify_all();
    });
}

void Device::vibrator_loop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (!vibration_end_) {
            wake_.wait(lock);
        } else if (std::chrono::steady_clock::now() < *vibration_end_) {
            const auto end = *vibration_end_;
            wake_.wait_until(lock, end);
        } else {
            vibration_end_.reset();
            lock.unlock();
            tree_.set(VIBRATOR + "activate", "0");
            lock.lock();
        }
    }
}

} // namespace vh
