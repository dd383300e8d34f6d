#include "kernel/battery_model.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace vh {

namespace {
const std::string SUPPLY = "/sys/class/power_supply/", BATTERY = SUPPLY + "battery/";
constexpr std::array CHARGERS = {"ac", "usb", "wireless"};
constexpr std::array STATUSES = {"Unknown", "Charging", "Discharging", "Not charging", "Full"};

constexpr double CAPACITY_MAH = 3000, RESISTANCE_OHM = 0.1;
// Percent per hour.
constexpr double AWAKE = 12, ASLEEP = 1, BY_CABLE = 50, WIRELESS = 25;
// Degrees above the surroundings at rest.
constexpr double HEAT_CHARGING = 4, HEAT_WIRELESS = 6, HEAT_AWAKE = 1.5;
constexpr double TIME_CONSTANT = 600; // handset seconds
constexpr double TEMPERATURE_AT_START = 28.5;
constexpr long WARM = 450, HOT = 600; // where the fuel gauge raises its alarm line, tenths of a degree
constexpr double LEAST_STEP = 3;      // handset seconds between two changes
constexpr std::chrono::milliseconds LEAST_STEP_REAL{20};
constexpr long MICRO_MAX = 100000000; // of voltage, current and charge
constexpr double JUST_BEYOND = 1e-6;

std::optional<long> number(const std::string &text, long min, long max) {
    long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < min || value > max) return std::nullopt;
    return value;
}

long tenths(double temperature) { return std::lround(temperature * 10); }

// Volts of the cell at rest, from empty to full.
double cell_voltage(double level) {
    constexpr std::array<std::pair<double, double>, 5> CURVE = {
        {{0, 3.40}, {10, 3.68}, {50, 3.82}, {80, 3.96}, {100, 4.30}}};
    for (size_t i = 1; i < CURVE.size(); ++i) {
        const auto &[x0, y0] = CURVE[i - 1];
        const auto &[x1, y1] = CURVE[i];
        if (level <= x1) return y0 + (y1 - y0) * (level - x0) / (x1 - x0);
    }
    return CURVE.back().second;
}
} // namespace

BatteryModel::BatteryModel(Tree &tree, double speed) : tree_(tree), speed_(speed) {
    add_attributes();
    surroundings_ = TEMPERATURE_AT_START - HEAT_CHARGING;
    settle_locked();
    watch_attributes();
    thread_ = std::thread([this] { loop(); });
}

BatteryModel::~BatteryModel() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void BatteryModel::add_attributes() {
    const std::pair<const char *, const char *> battery[] = {
        {"type", "Battery"}, {"status", "Charging"}, {"health", "Good"},     {"present", "1"},
        {"capacity", "80"},  {"voltage_now", ""},    {"temp", "285"},        {"current_now", ""},
        {"charge_counter", ""}, {"cycle_count", "3"}, {"technology", "Li-ion"}, {"constant_charge_current_max", "2000000"}};
    for (const auto &[name, value] : battery) tree_.add(BATTERY + name, text(), Access::read_only, value);
    tree_.add(BATTERY + "charging_enabled", integer(0, 1), Access::read_write, "1");
    const char *const types[] = {"Mains", "USB", "Wireless"};
    for (size_t i = 0; i < CHARGERS.size(); ++i) {
        const char *plugged = CHARGERS[i] == std::string("usb") ? "1" : "0"; // the line's fixture feeds a handset by USB
        tree_.add(SUPPLY + CHARGERS[i] + "/type", text(), Access::read_only, types[i]);
        tree_.add(SUPPLY + CHARGERS[i] + "/online", text(), Access::read_only, plugged);
        tree_.add(SUPPLY + CHARGERS[i] + "/present", text(), Access::read_only, plugged);
    }
}

void BatteryModel::watch_attributes() {
    for (const char *name : {"capacity", "temp", "status", "voltage_now", "current_now", "charge_counter", "present"})
        tree_.on_change(BATTERY + name, [this, name](const std::string &value) { outside_set(name, value); });
    for (const std::string charger : CHARGERS)
        tree_.on_change(SUPPLY + charger + "/online", [this, charger](const std::string &value) {
            tree_.publish(SUPPLY + charger + "/present", value);
            supply_changed();
        });
    tree_.on_change(BATTERY + "charging_enabled", [this](const std::string &) { supply_changed(); });
}

void BatteryModel::on_alert(std::function<void(const std::string &)> alert) {
    const std::scoped_lock lock(mutex_);
    alert_ = std::move(alert);
}

// Not under the lock: who hears it may ask back.
void BatteryModel::alert(const char *cause) const {
    std::unique_lock lock(mutex_);
    const auto told = alert_;
    lock.unlock();
    if (told) told(cause);
}

void BatteryModel::set_asleep(bool asleep) {
    bool alarming = false;
    {
        const std::scoped_lock lock(mutex_);
        advance_locked();
        asleep_ = asleep;
        alarming = settle_locked();
    }
    changed_.notify_all();
    if (alarming) alert("battery");
}

void BatteryModel::outside_set(const std::string &name, const std::string &value) {
    bool alarming = false;
    {
        const std::scoped_lock lock(mutex_);
        advance_locked();
        rubbish_.erase(name);
        if (!take_over_locked(name, value)) {
            rubbish_.insert(name);
            if (tree_.get(BATTERY + name) != value) tree_.publish(BATTERY + name, value);
        }
        alarming = settle_locked();
    }
    changed_.notify_all();
    if (alarming) alert("battery");
}

// False: rubbish.
bool BatteryModel::take_over_locked(const std::string &name, const std::string &value) {
    if (name == "capacity") {
        const auto percent = number(value, 0, 100);
        if (percent) set_level_locked(static_cast<double>(*percent));
        return percent.has_value();
    }
    if (name == "temp") {
        const auto degrees = number(value, -500, 1500);
        if (!degrees) return false;
        const double rise = resting_locked() - surroundings_;
        temperature_ = static_cast<double>(*degrees) / 10;
        surroundings_ = temperature_ - rise;
        return true;
    }
    if (name == "status") {
        if (std::find(STATUSES.begin(), STATUSES.end(), value) == STATUSES.end()) return false;
        status_ = value;
        return true;
    }
    if (name == "present") return true; // the level of a battery that is not there does not change
    held_.insert(name);
    return number(value, name == "current_now" ? -MICRO_MAX : 0, MICRO_MAX).has_value();
}

void BatteryModel::set_level_locked(double level) {
    level_ = level;
    held_.erase("charge_counter");
    if (status_ == "Charging" || status_ == "Full") decide_status_locked();
}

// A plug or the charging switch may have changed: then the charger chip decides afresh.
void BatteryModel::supply_changed() {
    const std::string now = charger();
    const bool enabled = tree_.get(BATTERY + "charging_enabled") == "1";
    bool plug = false, alarming = false;
    {
        const std::scoped_lock lock(mutex_);
        plug = now != plugged_;
        if (!plug && enabled == enabled_) return;
        advance_locked();
        plugged_ = now;
        enabled_ = enabled;
        held_.clear();
        decide_status_locked();
        alarming = settle_locked();
    }
    changed_.notify_all();
    if (plug) alert("charger");
    else if (alarming) alert("battery");
}

void BatteryModel::decide_status_locked() {
    const bool full = std::lround(level_) >= 100;
    status_ = plugged_ == "none" ? "Discharging" : !enabled_ ? "Not charging" : full ? "Full" : "Charging";
}

std::string BatteryModel::charger() const {
    std::string names;
    for (const char *charger : CHARGERS)
        if (atoi(tree_.get(SUPPLY + charger + "/online").value_or("0").c_str()) > 0)
            names += (names.empty() ? "" : " ") + std::string(charger);
    return names.empty() ? "none" : names;
}

std::optional<double> BatteryModel::drain() const {
    const std::scoped_lock lock(mutex_);
    return drain_;
}

void BatteryModel::apply(const BatteryOrder &order) {
    bool alarming = false;
    {
        const std::scoped_lock lock(mutex_);
        advance_locked();
        if (order.drain) drain_ = *order.drain;
        if (order.level) {
            rubbish_.erase("capacity");
            set_level_locked(*order.level);
        }
        if (order.temperature) rubbish_.erase("temp");
    }
    if (order.present) tree_.set(BATTERY + "present", *order.present ? "1" : "0");
    if (order.health) tree_.set(BATTERY + "health", *order.health);
    if (order.charger) { // the new plug first: a change of chargers is no moment without one
        for (const bool on : {true, false})
            for (const char *charger : CHARGERS)
                if ((charger == *order.charger) == on && tree_.get(SUPPLY + charger + "/online") != (on ? "1" : "0"))
                    tree_.set(SUPPLY + charger + "/online", on ? "1" : "0");
    }
    {
        const std::scoped_lock lock(mutex_);
        if (order.temperature) { // last: it rests under the load that there is now
            surroundings_ += *order.temperature - resting_locked();
            temperature_ = *order.temperature;
        }
        alarming = settle_locked();
    }
    changed_.notify_all();
    if (alarming) alert("battery");
}

double BatteryModel::rate_locked() const {
    if (tree_.get(BATTERY + "present") == "0") return 0;
    if (drain_) return -*drain_;
    if (status_ == "Charging") return plugged_ == "wireless" ? WIRELESS : BY_CABLE;
    if (status_ == "Discharging") return asleep_ ? -ASLEEP : -AWAKE;
    return 0;
}

double BatteryModel::resting_locked() const {
    if (status_ == "Charging") return surroundings_ + (plugged_ == "wireless" ? HEAT_WIRELESS : HEAT_CHARGING);
    return surroundings_ + (asleep_ ? 0 : HEAT_AWAKE);
}

void BatteryModel::advance_locked() {
    const auto now = Clock::now();
    const double passed = std::chrono::duration<double>(now - last_).count() * speed_;
    last_ = now;
    const double resting = resting_locked();
    temperature_ = resting + (temperature_ - resting) * std::exp(-passed / TIME_CONSTANT);
    const double rate = rate_locked();
    level_ = std::clamp(level_ + rate * passed / 3600, 0.0, 100.0);
    if (rate > 0 && level_ >= 100) decide_status_locked();
    if (rate < 0 && status_ == "Full" && std::lround(level_) < 100) decide_status_locked();
}

// Tells what has changed. True when a fuel gauge would raise its alarm.
bool BatteryModel::settle_locked() {
    const std::string status_before = shown_["status"], temperature_before = shown_["temp"];
    const double ma = rate_locked() / 100 * CAPACITY_MAH;
    const double volts = cell_voltage(level_) + ma / 1000 * RESISTANCE_OHM;
    publish_locked("capacity", std::to_string(std::lround(level_)));
    publish_locked("temp", std::to_string(tenths(temperature_)));
    publish_locked("charge_counter", std::to_string(std::lround(std::lround(level_) * CAPACITY_MAH * 10)));
    publish_locked("voltage_now", std::to_string(std::lround(volts * 1000) * 1000));
    publish_locked("current_now", std::to_string(std::lround(ma * 1000)));
    publish_locked("status", status_);
    const long before = atol(temperature_before.c_str()), now = tenths(temperature_);
    const bool hotter = (before < WARM && now >= WARM) || (before < HOT && now >= HOT);
    return hotter || (!status_before.empty() && status_before != status_);
}

void BatteryModel::publish_locked(const std::string &name, const std::string &value) {
    shown_[name] = value;
    if (held_.contains(name) || rubbish_.contains(name) || tree_.get(BATTERY + name) == value) return;
    tree_.publish(BATTERY + name, value);
}

// Handset seconds until the next whole percent or tenth of a degree; nothing when all is at rest.
std::optional<double> BatteryModel::next_change_locked() const {
    std::optional<double> next;
    const auto consider = [&](double seconds) { next = std::min(next.value_or(seconds), seconds); };
    const double rate = rate_locked();
    if (rate > 0 && level_ < 100)
        consider((std::min(std::lround(level_) + 0.5 + JUST_BEYOND, 100.0) - level_) / rate * 3600);
    if (rate < 0 && std::lround(level_) > 0)
        consider((static_cast<double>(std::lround(level_)) - 0.5 - JUST_BEYOND - level_) / rate * 3600);
    const double resting = resting_locked(), sign = resting > temperature_ ? 1 : -1;
    const double edge = (static_cast<double>(tenths(temperature_)) + sign * (0.5 + JUST_BEYOND)) / 10;
    if ((resting - edge) * sign > 0) consider(TIME_CONSTANT * std::log((temperature_ - resting) / (edge - resting)));
    return next;
}

void BatteryModel::loop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const std::optional<double> next = next_change_locked();
        if (!next) {
            changed_.wait(lock);
            continue;
        }
        const std::chrono::duration<double> real(std::max(*next, LEAST_STEP) / speed_);
        const auto wait = std::max<Clock::duration>(std::chrono::duration_cast<Clock::duration>(real), LEAST_STEP_REAL);
        if (changed_.wait_for(lock, wait) == std::cv_status::no_timeout) continue;
        advance_locked();
        if (!settle_locked()) continue;
        lock.unlock();
        alert("battery");
        lock.lock();
    }
}

} // namespace vh
