// Sensors of the industrial I/O class, found by the files of their channels.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <common/callback_thread.h>
#include <common/file.h>
#include <cstdlib>
#include <cstring>
#include <factory/api.h>
#include <fcntl.h>
#include <tki_hardware.h>
#include <tp_clock.h>

namespace {
constexpr const char *DEVICES = "/sys/bus/iio/devices";
constexpr int64_t SAMPLE_NS = 50000000;
constexpr int CALIBRATION_SAMPLES = 20;
constexpr double GRAVITY = 9.80665, ANY = HUGE_VAL;
constexpr size_t Z = 2;
constexpr const char *XYZ[] = {"_x", "_y", "_z"}, *SINGLE[] = {""};

struct Kind {
    const char *channel;
    bool axes;
    double unit;        // the kernel's unit in ours
    bool calibrates;
    double wrong_limit; // at rest no sound sensor is wrong by more; what is, was not at rest
};
constexpr Kind KINDS[TKI_SENSORS] = {
    {"in_illuminance", false, 1, true, ANY}, {"in_proximity", false, 1, true, ANY}, {"in_accel", true, 1, true, 2.5},
    {"in_magn", true, 100, false, ANY},      {"in_anglvel", true, 1, true, 0.5},    {"in_pressure", false, 10, false, ANY},
    {"in_heartrate", false, 1, false, ANY}};

bool is_sensor(int sensor) { return sensor >= 0 && sensor < TKI_SENSORS; }

std::optional<double> number(std::string_view text) {
    const std::string whole(text);
    char *end = nullptr;
    const double value = strtod(whole.c_str(), &end);
    return whole.empty() || *end || !std::isfinite(value) ? std::nullopt : std::optional(value);
}

// One axis, or the only value. Steps are the converter's; (steps + offset) * scale is in the kernel's unit.
struct Channel {
    std::string name; // whole path without the underscore and what follows it
    hal::UniqueFd fd;
    double offset = 0, scale = 1;

    std::optional<double> steps() const {
        std::array<char, 64> buffer;
        const auto text = hal::read_attribute(fd.get(), buffer);
        return text ? number(*text) : std::nullopt;
    }
};

Channel open_channel(const std::string &shared, const std::string &axis) {
    Channel channel{shared + axis, {}, 0, 1};
    channel.fd = hal::open_file((channel.name + "_raw").c_str(), O_RDONLY);
    if (!channel.fd.valid()) { // a driver may tell the unit's value itself
        channel.fd = hal::open_file((channel.name + "_input").c_str(), O_RDONLY);
        return channel;
    }
    const auto constant = [&](const char *what, double otherwise) {
        auto text = hal::read_attribute((channel.name + what).c_str());
        if (!text) text = hal::read_attribute((shared + what).c_str()); // one for all axes
        return text ? number(*text).value_or(otherwise) : otherwise;
    };
    channel.offset = constant("_offset", 0);
    channel.scale = constant("_scale", 1);
    if (channel.scale == 0) channel.scale = 1;
    return channel;
}

struct Sensor {
    int number = 0;
    std::string device;
    std::vector<Channel> channels; // none: not fitted
};

Sensor find(int sensor) {
    for (const std::string &name : hal::folder_names(DEVICES)) {
        if (!name.starts_with("iio:device")) continue;
        Sensor found{sensor, std::string(DEVICES) + "/" + name, {}};
        const std::string shared = found.device + "/" + KINDS[sensor].channel;
        const auto axes = KINDS[sensor].axes ? std::span<const char *const>(XYZ) : std::span<const char *const>(SINGLE);
        for (const char *axis : axes) found.channels.push_back(open_channel(shared, axis));
        const auto is_open = [](const Channel &channel) { return channel.fd.valid(); };
        if (std::all_of(found.channels.begin(), found.channels.end(), is_open)) return found;
    }
    return {sensor, {}, {}};
}

Sensor find_or_log(int sensor) {
    if (!is_sensor(sensor)) {
        HAL_LOG_E(FACTORY_TAG, "no sensor %d (0 to %d)", sensor, TKI_SENSORS - 1);
        return {};
    }
    Sensor found = find(sensor);
    if (found.channels.empty()) HAL_LOG_E(FACTORY_TAG, "not fitted: no device of %s has %s", DEVICES, KINDS[sensor].channel);
    return found;
}

bool read(const Sensor &sensor, tki_sensor_event &event) {
    event = {sensor.number, 0, {}, tp_clock_mono_ns()};
    for (const Channel &channel : sensor.channels) {
        const auto steps = channel.steps();
        if (!steps) return false;
        event.values[event.count++] = static_cast<float>((*steps + channel.offset) * channel.scale * KINDS[sensor.number].unit);
    }
    return event.count > 0;
}

void sample(hal::CallbackThread::Run &run, tki_callback cb, const std::array<Sensor, TKI_SENSORS> &sensors) {
    std::array<bool, TKI_SENSORS> failing{};
    do {
        for (size_t i = 0; i < sensors.size(); ++i) {
            tki_sensor_event event;
            const bool good = read(sensors[i], event);
            const bool told_before = !good && failing[i];
            failing[i] = !good;
            if (!told_before && !run.tell(cb, TKI_MODULE_SENSORS, good ? 0 : -1, &event)) return;
        }
    } while (!run.stop.wait(SAMPLE_NS));
}

hal::CallbackThread g_sampling;

// ---- calibration

using Axes = std::array<double, 3>;

std::optional<Axes> mean_steps(const Sensor &sensor) {
    Axes sum{};
    for (int i = 0; i < CALIBRATION_SAMPLES; ++i) {
        for (size_t axis = 0; axis < sensor.channels.size(); ++axis) {
            const auto steps = sensor.channels[axis].steps();
            if (!steps) {
                HAL_LOG_E(FACTORY_TAG, "%s tells no number", sensor.channels[axis].name.c_str());
                return std::nullopt;
            }
            sum[axis] += *steps;
        }
        tp_clock_sleep_ns(SAMPLE_NS);
    }
    for (double &axis : sum) axis /= CALIBRATION_SAMPLES;
    return sum;
}

// The chip adds its calibbias to what it tells, so what is too much there is taken away from it.
std::string corrected_bias(double bias, double wrong) { return std::to_string(std::lround(bias - wrong)); }

bool set_bias(const Channel &channel, const std::string &bias) {
    const std::string path = channel.name + "_calibbias";
    if (hal::write_attribute(path.c_str(), bias) && hal::read_attribute(path.c_str()) == bias) return true;
    HAL_LOG_E(FACTORY_TAG, "%s did not take %s", path.c_str(), bias.c_str());
    return false;
}

std::vector<double> read_biases(const Sensor &sensor) {
    std::vector<double> biases;
    for (const Channel &channel : sensor.channels) {
        const std::string path = channel.name + "_calibbias";
        const auto bias = number(hal::read_attribute(path.c_str()).value_or(""));
        if (!bias) {
            HAL_LOG_E(FACTORY_TAG, "cannot calibrate: %s: %s", path.c_str(), strerror(errno));
            return {};
        }
        biases.push_back(*bias);
    }
    return biases;
}

bool calibrate(const Sensor &sensor) {
    const std::vector<double> biases = read_biases(sensor);
    const auto mean = biases.empty() ? std::nullopt : mean_steps(sensor);
    if (!mean) return false;
    std::vector<std::string> before, after;
    for (size_t axis = 0; axis < biases.size(); ++axis) {
        const Channel &channel = sensor.channels[axis];
        const double told = ((*mean)[axis] + channel.offset) * channel.scale;
        const double meant = sensor.number == TKI_SENSOR_ACCELEROMETER && axis == Z ? std::copysign(GRAVITY, told) : 0;
        if (std::abs(told - meant) > KINDS[sensor.number].wrong_limit) {
            HAL_LOG_E(FACTORY_TAG, "%s is wrong by %.3f: lay the handset flat and still", channel.name.c_str(), told - meant);
            return false;
        }
        before.push_back(corrected_bias(biases[axis], 0));
        after.push_back(corrected_bias(biases[axis], (told - meant) / channel.scale));
    }
    for (size_t axis = 0; axis < after.size(); ++axis) {
        if (set_bias(sensor.channels[axis], after[axis])) continue;
        for (size_t back = 0; back <= axis; ++back) set_bias(sensor.channels[back], before[back]);
        return false;
    }
    return true;
}
} // namespace

TKI_API(int) tki_api_Sensors_Test_Start(tki_callback cb) noexcept {
    g_sampling.stop();
    if (!cb) return -1;
    auto sensors = std::make_shared<std::array<Sensor, TKI_SENSORS>>();
    bool fitted = false;
    for (int i = 0; i < TKI_SENSORS; ++i) {
        Sensor &sensor = (*sensors)[static_cast<size_t>(i)] = find(i);
        fitted = fitted || !sensor.channels.empty();
    }
    if (!fitted) {
        HAL_LOG_E(FACTORY_TAG, "not fitted: no sensor in %s", DEVICES);
        return -1;
    }
    const auto body = [cb, sensors](hal::CallbackThread::Run &run) { sample(run, cb, *sensors); };
    return g_sampling.start(FACTORY_TAG, "sensors", body) ? 0 : -1;
}

TKI_API(int) tki_api_Sensors_Test_Stop() noexcept {
    g_sampling.stop();
    return 0;
}

TKI_API(int) tki_api_Sensor_Fitted(int sensor) noexcept { return is_sensor(sensor) && !find(sensor).channels.empty() ? 1 : 0; }

TKI_API(int) tki_api_Sensor_Read(int sensor, tki_sensor_event *out) noexcept {
    const Sensor found = find_or_log(sensor);
    tki_sensor_event event;
    if (found.channels.empty() || !out) return -1;
    if (!read(found, event)) {
        HAL_LOG_E(FACTORY_TAG, "%s tells no number", found.channels[static_cast<size_t>(event.count)].name.c_str());
        return -1;
    }
    *out = event;
    return 0;
}

TKI_API(int) tki_api_Sensors_Calibration(int sensor) noexcept {
    const Sensor found = find_or_log(sensor);
    if (found.channels.empty()) return -1;
    if (KINDS[sensor].calibrates) return calibrate(found) ? 0 : -1;
    HAL_LOG_E(FACTORY_TAG, "%s has no zero to set", KINDS[sensor].channel);
    return -1;
}

TKI_API(int) tki_api_HeartRate_SelfTest() noexcept {
    const Sensor found = find_or_log(TKI_SENSOR_HEART_RATE);
    if (found.channels.empty()) return -1;
    const auto answer = hal::read_attribute((found.device + "/self_test").c_str());
    if (answer == "1") return 0;
    HAL_LOG_E(FACTORY_TAG, "%s/self_test: %s", found.device.c_str(), answer ? answer->c_str() : strerror(errno));
    return -1;
}
