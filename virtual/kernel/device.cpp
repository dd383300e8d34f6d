#include "kernel/device.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <ctime>

namespace vh {

namespace {
const std::string LEDS = "/sys/class/leds/";
const std::string SUPPLY = "/sys/class/power_supply/";
const std::string VIBRATOR = LEDS + "vibrator/";
const std::string BATTERY = SUPPLY + "battery/";
const char *const CHARGERS[] = {"ac", "usb", "wireless"};
} // namespace

Device::Device(const Panel &panel, double speed) : speed_(std::max(speed, 1.0)) {
    add_panel_and_lights(panel);
    add_power();
    add_other();
    connect_vibrator();
    connect_charging();
    vibrator_ = std::thread([this] { vibrator_loop(); });
}

Device::~Device() {
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

void Device::add_power() {
    const std::pair<const char *, const char *> battery[] = {
        {"type", "Battery"},        {"status", "Charging"},      {"health", "Good"},
        {"present", "1"},           {"capacity", "80"},          {"voltage_now", "4012000"},
        {"temp", "285"},            {"current_now", "512000"},   {"charge_counter", "2400000"},
        {"cycle_count", "3"},       {"technology", "Li-ion"},    {"constant_charge_current_max", "2000000"}};
    for (const auto &[name, value] : battery) tree_.add(BATTERY + name, text(), Access::read_only, value);
    tree_.add(BATTERY + "charging_enabled", integer(0, 1), Access::read_write, "1");
    const char *const types[] = {"Mains", "USB", "Wireless"};
    for (size_t i = 0; i < std::size(CHARGERS); ++i) {
        const bool plugged = CHARGERS[i] == std::string("usb"); // the line's fixture feeds a handset by USB
        tree_.add(SUPPLY + CHARGERS[i] + "/type", text(), Access::read_only, types[i]);
        tree_.add(SUPPLY + CHARGERS[i] + "/online", text(), Access::read_only, plugged ? "1" : "0");
        tree_.add(SUPPLY + CHARGERS[i] + "/present", text(), Access::read_only, plugged ? "1" : "0");
    }
    tree_.add("/sys/power/autosleep", choice({"off", "mem", "standby", "freeze"}), Access::read_write, "off");
    tree_.add("/sys/power/state", choice({"freeze", "standby", "mem", "on"}), Access::read_write, "on");
    tree_.add("/sys/power/wake_lock", text(), Access::read_write, "");
    tree_.add("/sys/power/wake_unlock", text(), Access::read_write, "");
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

void Device::connect_charging() {
    for (const char *charger : CHARGERS) {
        const std::string folder = SUPPLY + charger;
        tree_.on_change(folder + "/online", [this, folder](const std::string &value) {
            tree_.set(folder + "/present", value);
            update_charging();
        });
    }
    tree_.on_change(BATTERY + "charging_enabled", [this](const std::string &) { update_charging(); });
}

// A plug or the charging switch changed: the charger chip decides afresh.
void Device::update_charging() {
    const bool plugged = std::any_of(std::begin(CHARGERS), std::end(CHARGERS), [this](const char *charger) {
        return atoi(tree_.get(SUPPLY + charger + "/online").value_or("0").c_str()) > 0;
    });
    const bool enabled = tree_.get(BATTERY + "charging_enabled") == "1";
    const bool full = atoi(tree_.get(BATTERY + "capacity").value_or("0").c_str()) >= 100;
    const char *status = !plugged ? "Discharging" : !enabled ? "Not charging" : full ? "Full" : "Charging";
    tree_.set(BATTERY + "status", status);
    tree_.set(BATTERY + "current_now", !plugged ? "-230000" : !enabled || full ? "0" : "512000");
}

} // namespace vh
