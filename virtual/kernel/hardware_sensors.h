// The sensors: devices of the industrial I/O class. A channel reads (value / scale - offset) in steps of the converter, with
// the chip's own error and noise, to which the chip adds its calibbias register.
#pragma once

#include "kernel/tree.h"

#include <array>
#include <map>
#include <mutex>
#include <random>
#include <span>

namespace vh {

struct SensorModel {
    const char *part;
    const char *chip, *channel;          // in_CHANNEL_raw, with axes in_CHANNEL_x_raw ...
    bool axes;
    const char *unit;                    // at the bench
    double kernel_unit;                  // one of the bench's units in the kernel's
    const char *scale;                   // attribute, kernel's unit per step; null: none, steps are told
    long offset, least, most;            // of the converter
    bool calibbias;
    std::array<double, 3> at_rest;
    std::array<long, 3> error;           // steps that the chip is wrong by
    double noise;                        // steps, standard deviation
    double lowest, highest;              // that the bench may set
    std::string device(size_t number) const; // folder with a slash
    std::string file(int axis, const char *what) const;
};
std::span<const SensorModel> sensor_models(); // the index is the device's number

class Sensors {
public:
    explicit Sensors(Tree &tree);
    std::vector<double> values(size_t sensor) const;
    // What it feels from now on: one value, or three.
    void set(size_t sensor, const std::vector<double> &values);

private:
    std::string raw(size_t sensor, int axis);

    Tree &tree_;
    mutable std::mutex mutex_;
    std::vector<std::array<double, 3>> felt_;
    std::map<std::string, std::string> held_; // raw attributes that somebody has set, until the sensor is set
    std::mt19937 noise_{20260601};
};

} // namespace vh
