// The modem: /sys/class/modem/modem0 with `command` and `answer` (see docs/porting.md). It answers at once, or as ordered.
//
// Technologies are measured in mode 3 (factory test) only, and a level is read between a technology's start and its stop.
#pragma once

#include "kernel/tree.h"

#include <array>
#include <map>
#include <mutex>
#include <random>
#include <span>

namespace vh {

constexpr const char *TECHNOLOGIES[] = {"LTE", "CDMA", "WCDMA", "TDSCDMA", "GSM"};
// What a program may ask, without the "TKI_API_" of the modem library.
std::span<const char *const> modem_operations();

class Modem {
public:
    explicit Modem(Tree &tree);

    struct Receiver {
        double primary, secondary, spread; // dBm, dBm, dB up or down
    };
    // Each throws std::runtime_error for a wrong name or value, and then nothing has changed.
    void set_receiver(const std::string &technology, std::optional<double> primary, std::optional<double> secondary,
                      std::optional<double> spread);
    // The next `times` calls fail; ALWAYS: all of them; NEVER_ANSWERS: it is silent. 0: it works. "all": every operation.
    void order(const std::string &operation, int times);
    static constexpr int ALWAYS = -1, NEVER_ANSWERS = -2;
    void reset_orders();

    int mode() const;
    std::map<std::string, Receiver> receivers() const;
    std::map<std::string, int> orders() const;

private:
    void command(const std::string &text);
    std::optional<std::string> answer_locked(const std::string &operation, const std::vector<long> &arguments);
    std::string level_locked(size_t technology, bool secondary);
    void power_on();

    Tree &tree_;
    mutable std::mutex mutex_; // everything below
    std::array<Receiver, 5> receivers_;
    std::map<std::string, int> orders_;
    std::array<bool, 5> started_{};
    int mode_ = 4;
    std::mt19937 noise_{20260914};
};

} // namespace vh
