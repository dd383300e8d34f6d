#include "launcher/battery_request.h"

#include <cmath>
#include <stdexcept>

namespace vh {

using nlohmann::json;

namespace {
const std::string BATTERY = "/sys/class/power_supply/battery/";

// Of the command line, and the kernel's.
constexpr std::pair<const char *, const char *> HEALTH[] = {
    {"good", "Good"}, {"overheat", "Overheat"}, {"dead", "Dead"}, {"over-voltage", "Over voltage"}, {"cold", "Cold"},
    {"unspecified-failure", "Unspecified failure"}, {"unknown", "Unknown"}};
constexpr const char *CHARGERS[] = {"ac", "usb", "wireless", "none"};

[[noreturn]] void refuse(const std::string &what, const json &value, const std::string &allowed) {
    const std::string given = value.is_string() ? value.get<std::string>() : value.dump();
    throw std::runtime_error(what + " is " + allowed + ", not " + given);
}

double number_in(const json &value, const std::string &what, double min, double max, const std::string &allowed) {
    if (!value.is_number() || !(value.get<double>() >= min && value.get<double>() <= max)) refuse(what, value, allowed);
    return value;
}

std::string health_in(const json &value) {
    std::string allowed;
    for (const auto &[word, kernel_word] : HEALTH) {
        if (value == word) return kernel_word;
        allowed += (allowed.empty() ? "" : ", ") + std::string(word);
    }
    refuse("health", value, "one of: " + allowed);
}

std::string charger_in(const json &value) {
    for (const char *charger : CHARGERS)
        if (value == charger) return charger;
    refuse("charger", value, "one of: ac, usb, wireless, none");
}

BatteryOrder order_of(const json &request) {
    BatteryOrder order;
    for (const auto &[key, value] : request.items()) {
        if (key == "op") continue;
        if (key == "level") {
            const double level = number_in(value, "level", 0, 100, "a whole number of percent, 0 to 100");
            if (level != std::floor(level)) refuse("level", value, "a whole number of percent, 0 to 100");
            order.level = static_cast<int>(level);
        } else if (key == "temp") {
            order.temperature = number_in(value, "temp", -50, 150, "in degrees Celsius, -50 to 150");
        } else if (key == "charger") {
            order.charger = charger_in(value);
        } else if (key == "health") {
            order.health = health_in(value);
        } else if (key == "present") {
            order.present = number_in(value, "present", 0, 1, "0 or 1") != 0;
        } else if (key == "drain") {
            order.drain.emplace();
            if (value != "default")
                *order.drain = number_in(value, "drain", 0, 1e6, "in percent per hour (0 stops it), or 'default'");
        } else {
            throw std::runtime_error("unknown battery value '" + key + "'");
        }
    }
    return order;
}
} // namespace

json run_battery(BatteryModel &battery, const Tree &tree, const json &request) {
    battery.apply(order_of(request));
    json state = {{"charger", battery.charger()}};
    for (const char *name : {"capacity", "status", "temp", "health", "present", "voltage_now", "current_now"})
        state[name] = tree.get(BATTERY + name).value_or("");
    if (const auto drain = battery.drain()) state["drain"] = *drain;
    else state["drain"] = "default";
    return state;
}

} // namespace vh
