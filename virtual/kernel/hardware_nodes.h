// The hardware beyond panel, lights, battery and sound: its nodes, what the bench does to it, what is fitted.
#pragma once

#include "kernel/hardware_parts.h"
#include "kernel/hardware_sensors.h"
#include "kernel/tree.h"

#include <chrono>
#include <set>

namespace vh {

// There while something is plugged in.
constexpr const char *SD_CARD = "/sys/class/mmc_host/mmc1/mmc1:0001", *USB_DEVICE = "/sys/bus/usb/devices/1-1";

class Hardware {
public:
    // The nodes of hardware_parts() that are there already, too, are fitted and unfitted here.
    Hardware(Tree &tree, double speed);

    void fit(const std::string &part, bool fitted); // throws for a wrong name
    bool fitted(const std::string &part) const;
    std::vector<std::string> unfitted() const;

    // What a part feels. Words and units: stimuli(). Throws std::runtime_error, and then nothing has changed.
    void stimulate(const std::string &name, const std::vector<std::string> &values);
    struct Stimulus {
        std::string name, values, unit;
        bool fitted;
    };
    std::vector<Stimulus> stimuli() const;

private:
    using Clock = std::chrono::steady_clock;
    struct Derived { // an attribute that shows what the bench set, as far as the part is switched on
        std::string path, shown;
        std::function<std::string()> value;
    };
    struct Input {
        std::string name, unit, value;
        std::function<std::string(const std::string &)> accept; // the value kept; empty: refused
    };

    void add_plain();
    void add_cards();
    void add_switched();
    void add_radios();
    void add_board();
    void add_touch_self_test();
    void add_rfkill(int number, const char *type);
    void add_inputs();
    void derive(const std::string &path, std::function<std::string()> value);
    void refreshes(const std::string &path);
    void refresh();
    void refresh_locked();
    void place_locked(const Part &part);
    bool plugged_locked(const std::string &node) const;
    bool on(const std::string &path) const { return tree_.get(path) == "1"; }
    bool blocked(int rfkill) const;
    const std::string &input_locked(const char *name) const;
    std::string cells_locked() const;
    std::string self_test_result(const std::string &value);

    Tree &tree_;
    const double speed_;
    Sensors sensors_;
    mutable std::mutex mutex_; // everything below
    std::vector<Input> inputs_;
    std::vector<Derived> derived_;
    std::set<std::string> unfitted_;
    std::optional<Clock::time_point> self_test_;
};

} // namespace vh
