#include "testwnd/sensor_rules.h"

#include <cmath>
#include <cstdio>
#include <numbers>

namespace {
constexpr double GRAVITY = 9.80665;
constexpr double SHAKEN = 2; // m/s^2 off 1 g: an axis that is shaken is not turned
constexpr int AXES = 3;
} // namespace

const SensorKind SENSOR_KINDS[TKI_SENSORS] = {
    {"light", "light,", "info_SensorLight", 1, "%.0f lux", {10, 200}, 2, {"info_SensorDark", "info_SensorBright"}},
    {"proximity", "proximity,", "info_SensorProximity", 1, "%.0f", {100, 300}, 2, {"info_SensorFar", "info_SensorNear"}},
    {"accelerometer", "accelerometer,", "info_SensorAccelerometer", 3, "%+.2f", {0.5, 7}, 4, {"info_SensorStill", "X", "Y", "Z"}},
    {"magnetic", "magnetic,", "info_SensorMagnetic", 3, "%+.1f", {20, 100}, 4, {"N", "E", "S", "W"}},
    {"gyroscope", "gyroscope,", "info_SensorGyroscope", 3, "%+.2f", {0.3, 1}, 3, {"X", "Y", "Z"}},
    {"pressure", nullptr, "info_SensorPressure", 1, "%.2f hPa", {500, 1100}, 1, {}},
    {"heartrate", nullptr, "info_SensorHeartRate", 1, "%.0f /min", {40, 180}, 1, {}},
};

bool sensor_parse_pair(const char *text, bool *tested, SensorLimits *limits) {
    int on = 0, end = 0;
    SensorLimits read{};
    const bool plain = sscanf(text, "%1d%n", &on, &end) == 1 && text[end] == '\0';
    if (!plain) {
        const bool whole = sscanf(text, "%1d/%lf/%lf%n", &on, &read.low, &read.high, &end) == 3 && text[end] == '\0';
        if (!whole || !std::isfinite(read.low) || !std::isfinite(read.high) || read.low >= read.high) return false;
    }
    if (on != 0 && on != 1) return false;
    *tested = on == 1;
    if (!plain) *limits = read;
    return true;
}

double sensor_length(const float (&v)[3]) { return std::hypot(v[0], v[1], v[2]); }

double sensor_heading(const float (&m)[3], const float (&a)[3]) {
    // East lies across field and vertical, north across the vertical and east; only the y axis, the handset's top, is needed.
    const double east[] = {double(m[1]) * a[2] - double(m[2]) * a[1], double(m[2]) * a[0] - double(m[0]) * a[2],
                           double(m[0]) * a[1] - double(m[1]) * a[0]};
    const double north_y = a[2] * east[0] - a[0] * east[2], up = sensor_length(a);
    if (std::hypot(east[0], east[1], east[2]) < 1e-3 || up < 1e-3) return -1;
    const double degrees = std::atan2(east[1] * up, north_y) * 180 / std::numbers::pi;
    return degrees < 0 ? degrees + 360 : degrees;
}

SensorRules::SensorRules() {
    for (int i = 0; i < TKI_SENSORS; ++i) of_[i].limits = SENSOR_KINDS[i].limits;
}

void SensorRules::begin(const SensorLimits (&limits)[TKI_SENSORS]) {
    for (int i = 0; i < TKI_SENSORS; ++i) {
        State &state = of_[i];
        state.limits = limits[i];
        state.done = state.still = state.moved = 0;
        state.steady = 0;
    }
}

void SensorRules::library_started() {
    for (State &state : of_) {
        state.lost = false;
        state.last = {};
    }
}

void SensorRules::lost(int sensor) {
    if (sensor < 0 || sensor >= TKI_SENSORS) return;
    State &state = of_[sensor];
    state.lost = true;
    state.done = state.still = state.moved = 0;
    state.steady = 0;
}

void SensorRules::sample(const tki_sensor_event &event) {
    if (event.sensor < 0 || event.sensor >= TKI_SENSORS || event.count < SENSOR_KINDS[event.sensor].values) return;
    for (int i = 0; i < SENSOR_KINDS[event.sensor].values; ++i)
        if (!std::isfinite(event.values[i])) return lost(event.sensor);
    State &state = of_[event.sensor];
    state.last = event;
    state.lost = false;
    ++state.samples;
    judge(event.sensor);
}

void SensorRules::judge(int sensor) {
    State &s = of_[sensor];
    const auto &[low, high] = s.limits;
    const double value = s.last.values[0], length = sensor_length(s.last.values);
    const auto seen = [&s](int step, bool held) { s.done |= static_cast<unsigned>(held) << step; };
    const auto steadily = [&s, &seen](bool good) {
        s.steady = good ? s.steady + 1 : 0;
        seen(0, s.steady >= SENSOR_STEADY);
    };
    switch (sensor) {
    case TKI_SENSOR_LIGHT:
    case TKI_SENSOR_PROXIMITY:
        seen(0, value <= low);
        seen(1, value >= high);
        break;
    case TKI_SENSOR_ACCELEROMETER:
        steadily(std::abs(length - GRAVITY) <= low);
        if (std::abs(length - GRAVITY) <= SHAKEN) judge_axes(s, high / 2, high, 1);
        break;
    case TKI_SENSOR_MAGNETIC:
        if (const double towards = heading(); towards >= 0 && length >= low && length <= high)
            seen(static_cast<int>((towards + 45) / 90) % 4, true);
        break;
    case TKI_SENSOR_GYROSCOPE: judge_axes(s, low, high, 0); break;
    default: steadily(value >= low && value <= high);
    }
}

// Both have to be seen, so that an axis that tells one and the same number for ever never passes.
void SensorRules::judge_axes(State &state, double still, double moved, int first_step) {
    for (int axis = 0; axis < AXES; ++axis) {
        const double amount = std::abs(state.last.values[axis]);
        if (amount <= still) state.still |= 1U << axis;
        if (amount >= moved) state.moved |= 1U << axis;
    }
    state.done |= (state.still & state.moved) << first_step;
}

bool SensorRules::passed(int sensor) const {
    const State &state = of_[sensor];
    return !state.lost && state.done == (1U << SENSOR_KINDS[sensor].steps) - 1;
}

double SensorRules::heading() const {
    constexpr float FLAT[3] = {0, 0, 1};
    const State &up = of_[TKI_SENSOR_ACCELEROMETER];
    const bool felt = !up.lost && sensor_length(up.last.values) > 0;
    return sensor_heading(of_[TKI_SENSOR_MAGNETIC].last.values, felt ? up.last.values : FLAT);
}
