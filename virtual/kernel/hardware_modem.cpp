#include "kernel/hardware_modem.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace vh {

namespace {
const std::string FOLDER = "/sys/class/modem/modem0/";
constexpr int LOWEST_MODE = 3, FACTORY_TEST = 3, ONLINE = 4, HIGHEST_MODE = 5;
constexpr double LOWEST = -150, HIGHEST = 50, WIDEST = 50; // dBm, dBm, dB
constexpr const char *ALL = "all";

const char *const OPERATIONS[] = {
    "Command_init", "Command_uninit", "GetModemMode", "SetModemMode", "SignalCoupling_init", "SignalCoupling_uninit",
    "SignalCoupling_setModemMode", "LTE_NS_START", "LTE_NS_STOP", "LTE_NS_ACQ", "LTE_NS_START_DP", "LTE_NS_GET_DP_LEVEL",
    "CDMA_NS_START", "CDMA_NS_SECOND_CHAIN_TEST_CALL", "CDMA_NS_Pilot_ACQ", "CDMA_NS_DEMOD_SYNC", "CDMA_NS_RX_LEVEL_REQ",
    "CDMA_NS_Before_Stop", "CDMA_NS_Stop", "WCDMA_NS_CHAIN_TEST_CALL", "WCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ",
    "WCDMA_NS_BER_StartSession", "WCDMA_SetPhoneLoggingState", "WCDMA_NS_BER_AcquirePilot", "WCDMA_NS_BER_SetupRMC_DCH",
    "WCDMA_NS_BER_RX_LEVEL_REQ", "WCDMA_NS_BER_StopSession", "TDSCDMA_NS_BER_RMC_DCH_TFCS_CONFIG_REQ",
    "TDSCDMA_NS_BER_StartSession", "TDSCDMA_NS_BER_AcquirePilot", "TDSCDMA_NS_BER_SetupRMC_DCH", "TDSCDMA_NS_BER_RX_LEVEL_REQ",
    "TDSCDMA_NS_BER_StopSession", "GSM_NS_Get_log", "GSM_NS_BER_StartSession", "GSM_NS_Set_BCCH", "GSM_BER_update",
    "GSM_NS_Set_TCH", "GSM_NS_BER_RX_LEVEL_REQ", "GSM_NS_BER_ReleaseTCH", "GSM_NS_BER_StopSession"};
enum Technology : size_t { LTE, CDMA, WCDMA, TDSCDMA, GSM, NONE };

Technology technology_of(const std::string &operation) {
    for (const Technology t : {LTE, CDMA, WCDMA, TDSCDMA, GSM})
        if (operation.starts_with(std::string(TECHNOLOGIES[t]) + "_")) return t;
    return NONE;
}
bool is_known(const std::string &operation) {
    return std::find(std::begin(OPERATIONS), std::end(OPERATIONS), operation) != std::end(OPERATIONS);
}
bool begins(const std::string &operation) {
    return operation.ends_with("_START") || operation.ends_with("StartSession");
}
bool ends(const std::string &operation) {
    return operation.ends_with("_STOP") || operation.ends_with("_Stop") || operation.ends_with("StopSession");
}
bool reads(const std::string &operation) { return operation.ends_with("_LEVEL") || operation.ends_with("_LEVEL_REQ"); }

double checked(const char *what, std::optional<double> wanted, double now, double least, double most) {
    if (!wanted) return now;
    if (*wanted >= least && *wanted <= most) return *wanted;
    std::ostringstream text;
    text << what << " is " << least << " to " << most;
    throw std::runtime_error(text.str());
}
} // namespace

std::span<const char *const> modem_operations() { return OPERATIONS; }

Modem::Modem(Tree &tree) : tree_(tree) {
    receivers_.fill({-70, -72, 0.5});
    tree_.add(FOLDER + "command", text(), Access::write_only, "");
    tree_.add(FOLDER + "answer", text(), Access::read_only, "");
    tree_.on_change(FOLDER + "command", [this](const std::string &text) { command(text); });
}

void Modem::command(const std::string &text) {
    if (text.empty()) return power_on();
    std::istringstream words(text);
    std::string number, operation;
    words >> number >> operation;
    std::vector<long> arguments;
    for (long argument; words >> argument;) arguments.push_back(argument);
    std::unique_lock lock(mutex_);
    const std::optional<std::string> answer = answer_locked(operation, arguments);
    lock.unlock();
    if (answer) tree_.publish(FOLDER + "answer", number + " " + *answer);
}

// A boot writes the empty text that the attribute begins with.
void Modem::power_on() {
    const std::scoped_lock lock(mutex_);
    mode_ = ONLINE;
    started_.fill(false);
}

// Nothing: it never answers.
std::optional<std::string> Modem::answer_locked(const std::string &operation, const std::vector<long> &arguments) {
    if (!is_known(operation)) return "-1";
    for (const std::string &ordered : {operation, std::string(ALL)}) {
        const auto order = orders_.find(ordered);
        if (order == orders_.end()) continue;
        if (order->second == NEVER_ANSWERS) return std::nullopt;
        if (order->second > 0 && --order->second == 0) orders_.erase(order);
        return "1";
    }
    if (operation == "GetModemMode") return "0 " + std::to_string(mode_);
    if (operation.ends_with("etModemMode")) {
        if (arguments.size() != 1 || arguments[0] < LOWEST_MODE || arguments[0] > HIGHEST_MODE) return "1";
        mode_ = static_cast<int>(arguments[0]);
        started_.fill(false);
        return "0";
    }
    const Technology technology = technology_of(operation);
    if (technology == NONE) return "0";
    if (mode_ != FACTORY_TEST) return "2";
    if (begins(operation) || ends(operation)) started_[technology] = begins(operation);
    if (!reads(operation)) return "0";
    if (!started_[technology]) return "3";
    return "0 " + level_locked(technology, !arguments.empty() && arguments[0] == 1);
}

std::string Modem::level_locked(size_t technology, bool secondary) {
    const Receiver &receiver = receivers_[technology];
    const double spread = std::uniform_real_distribution(-1.0, 1.0)(noise_) * receiver.spread;
    const double level = (secondary ? receiver.secondary : receiver.primary) + spread;
    char text[32];
    if (technology == CDMA) snprintf(text, sizeof text, "%ld 0", std::lround(level));
    else snprintf(text, sizeof text, "%.2f", level);
    return text;
}

void Modem::set_receiver(const std::string &technology, std::optional<double> primary, std::optional<double> secondary,
                         std::optional<double> spread) {
    const auto found = std::find(std::begin(TECHNOLOGIES), std::end(TECHNOLOGIES), technology);
    if (found == std::end(TECHNOLOGIES))
        throw std::runtime_error("no technology '" + technology + "'; one of: LTE, CDMA, WCDMA, TDSCDMA, GSM");
    const std::scoped_lock lock(mutex_);
    Receiver &receiver = receivers_[static_cast<size_t>(found - std::begin(TECHNOLOGIES))];
    receiver = {checked("a level in dBm", primary, receiver.primary, LOWEST, HIGHEST),
                checked("a level in dBm", secondary, receiver.secondary, LOWEST, HIGHEST),
                checked("a spread in dB", spread, receiver.spread, 0, WIDEST)};
}

void Modem::order(const std::string &operation, int times) {
    if (operation != ALL && !is_known(operation)) {
        std::string names = ALL;
        for (const char *name : OPERATIONS) names += std::string(", ") + name;
        throw std::runtime_error("no operation '" + operation + "'; one of: " + names);
    }
    if (times < NEVER_ANSWERS) throw std::runtime_error("an operation fails so many times, always or never answers");
    const std::scoped_lock lock(mutex_);
    if (times == 0) orders_.erase(operation);
    else orders_[operation] = times;
}

void Modem::reset_orders() {
    const std::scoped_lock lock(mutex_);
    orders_.clear();
}

int Modem::mode() const {
    const std::scoped_lock lock(mutex_);
    return mode_;
}

std::map<std::string, Modem::Receiver> Modem::receivers() const {
    const std::scoped_lock lock(mutex_);
    std::map<std::string, Receiver> all;
    for (size_t t = 0; t < receivers_.size(); ++t) all[TECHNOLOGIES[t]] = receivers_[t];
    return all;
}

std::map<std::string, int> Modem::orders() const {
    const std::scoped_lock lock(mutex_);
    return orders_;
}

} // namespace vh
