// The battery and its chargers: level, temperature and what the fuel gauge derives from them, in the handset's time.
//
// The attributes below /sys/class/power_supply are the model's face. What is set there from outside is respected: a sane
// level, temperature or status becomes the model's own, rubbish stays as it is until it is set again, and a voltage,
// current or charge stays until the charger changes. Everything here may be called from any thread.
#pragma once

#include "kernel/tree.h"

#include <chrono>
#include <condition_variable>
#include <set>
#include <thread>

namespace vh {

// What somebody at the bench does to the battery; empty members stay as they are.
struct BatteryOrder {
    std::optional<int> level;                // 0..100
    std::optional<double> temperature;       // degrees Celsius; the surroundings become such that it rests there
    std::optional<std::string> charger;      // "ac" "usb" "wireless" "none"
    std::optional<std::string> health;       // as the kernel words it, e.g. "Over voltage"
    std::optional<bool> present;
    std::optional<std::optional<double>> drain; // percent per hour, also with a charger; no value: by the load
};

class BatteryModel {
public:
    BatteryModel(Tree &tree, double speed);
    ~BatteryModel();
    BatteryModel(const BatteryModel &) = delete;
    BatteryModel &operator=(const BatteryModel &) = delete;

    // Hears what a fuel gauge would wake a suspended handset for: "charger" or "battery".
    void on_alert(std::function<void(const std::string &cause)> alert);
    // A suspended handset draws next to nothing; nor does one that is off.
    void set_asleep(bool asleep);
    void apply(const BatteryOrder &order);
    std::optional<double> drain() const;
    std::string charger() const; // those that are plugged, e.g. "usb" or "ac usb"; "none"

private:
    using Clock = std::chrono::steady_clock;

    void add_attributes();
    void watch_attributes();
    void outside_set(const std::string &name, const std::string &value);
    bool take_over_locked(const std::string &name, const std::string &value);
    void supply_changed();
    void set_level_locked(double level);
    void advance_locked();
    bool settle_locked();
    void decide_status_locked();
    void publish_locked(const std::string &name, const std::string &value);
    double rate_locked() const;
    double resting_locked() const;
    std::optional<double> next_change_locked() const;
    void alert(const char *cause) const;
    void loop();

    Tree &tree_;
    const double speed_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void(const std::string &)> alert_;
    double level_ = 80, temperature_ = 28.5, surroundings_ = 0;
    std::string status_ = "Charging";
    std::string plugged_ = "usb";
    bool enabled_ = true, asleep_ = false, stopping_ = false;
    std::optional<double> drain_;
    Clock::time_point last_ = Clock::now();
    std::map<std::string, std::string> shown_; // what the model told last
    std::set<std::string> rubbish_, held_;     // attributes that somebody outside has set
    std::thread thread_;
};

} // namespace vh
