#include "kernel/hardware_sensors.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vh {

namespace {
constexpr long WORD = 32767, LONG = 1L << 30;
const SensorModel MODELS[] = {
    {"light", "als", "illuminance", false, "lux", 1, "0.05", 0, 0, LONG, true, {300}, {}, 0, 0, 200000},
    {"proximity", "ps", "proximity", false, "steps, higher is nearer", 1, nullptr, 0, 0, 65535, true, {0}, {}, 0, 0, 65535},
    {"accelerometer", "accel", "accel", true, "m/s^2", 1, "0.001197101", 0, -WORD - 1, WORD, true, {0, 0, 9.80665},
     {31, -22, 17}, 4, -39, 39},
    {"magnetometer", "magn", "magn", true, "microtesla", 0.01, "0.0015", 0, -WORD - 1, WORD, false, {20, -5, -43},
     {}, 0.3, -4900, 4900},
    {"gyroscope", "gyro", "anglvel", true, "rad/s", 1, "0.001064724", 0, -WORD - 1, WORD, true, {0, 0, 0},
     {25, -14, 9}, 3, -34, 34},
    {"pressure", "baro", "pressure", false, "hPa", 0.1, "0.0000244140625", 1048576, -LONG, LONG, false, {1013.25},
     {}, 20, 260, 1260},
    {"heartrate", "hrm", "heartrate", false, "beats per minute", 1, nullptr, 0, 0, 255, false, {72}, {}, 0.4, 0, 250},
};
} // namespace

std::span<const SensorModel> sensor_models() { return MODELS; }

std::string SensorModel::device(size_t number) const {
    return "/sys/bus/iio/devices/iio:device" + std::to_string(number) + "/";
}

std::string SensorModel::file(int axis, const char *what) const {
    return "in_" + std::string(channel) + "_" + (axes ? std::string(1, "xyz"[axis]) + "_" : "") + what;
}

Sensors::Sensors(Tree &tree) : tree_(tree) {
    for (size_t n = 0; n < std::size(MODELS); ++n) {
        const SensorModel &model = MODELS[n];
        const std::string device = model.device(n), shared = device + "in_" + model.channel + "_";
        felt_.push_back(model.at_rest);
        tree_.add(device + "name", text(), Access::read_only, model.chip);
        if (model.scale) tree_.add(shared + "scale", text(), Access::read_only, model.scale);
        if (model.offset) tree_.add(shared + "offset", text(), Access::read_only, std::to_string(model.offset));
        for (int axis = 0; axis < (model.axes ? 3 : 1); ++axis) {
            const std::string file = device + model.file(axis, "raw");
            const std::string bias = device + model.file(axis, "calibbias");
            if (model.calibbias) tree_.add(bias, integer(-WORD - 1, WORD), Access::read_write, "0");
            tree_.add(file, text(), Access::read_only, "");
            tree_.on_read(file, [this, n, axis](const std::string &) { return raw(n, axis); });
            tree_.on_change(file, [this, file](const std::string &value) {
                const std::scoped_lock lock(mutex_);
                held_[file] = value;
            });
        }
    }
}

std::string Sensors::raw(size_t sensor, int axis) {
    const SensorModel &model = MODELS[sensor];
    const std::string device = model.device(sensor);
    const long bias = model.calibbias ? atol(tree_.get(device + model.file(axis, "calibbias")).value_or("0").c_str()) : 0;
    const std::scoped_lock lock(mutex_);
    if (const auto held = held_.find(device + model.file(axis, "raw")); held != held_.end()) return held->second;
    const double value = felt_[sensor][static_cast<size_t>(axis)] * model.kernel_unit;
    const double steps = model.scale ? value / atof(model.scale) : value;
    // Who feels nothing is not noisy: no finger lies on a heart rate sensor that reads 0.
    const bool noisy = model.noise > 0 && (model.axes || value > 0);
    const double noise = noisy ? std::normal_distribution<double>(0, model.noise)(noise_) : 0;
    const long read = std::lround(steps + noise) - model.offset + model.error[static_cast<size_t>(axis)] + bias;
    return std::to_string(std::clamp(read, model.least, model.most));
}

std::vector<double> Sensors::values(size_t sensor) const {
    const std::scoped_lock lock(mutex_);
    return {felt_[sensor].begin(), felt_[sensor].begin() + (MODELS[sensor].axes ? 3 : 1)};
}

void Sensors::set(size_t sensor, const std::vector<double> &values) {
    const std::scoped_lock lock(mutex_);
    std::copy_n(values.begin(), std::min<size_t>(values.size(), 3), felt_[sensor].begin());
    const std::string device = MODELS[sensor].device(sensor);
    std::erase_if(held_, [&](const auto &entry) { return entry.first.starts_with(device); });
}

} // namespace vh
