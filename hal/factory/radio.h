// The FM radio: /sys/class/radio/radio0.
#pragma once

#include <optional>

namespace factory {
constexpr int RADIO_MIN_KHZ = 64000, RADIO_MAX_KHZ = 108000;
// Switches it on and tunes; false after one log line.
bool radio_tune(int khz);
bool radio_off();
// dBm; nothing where there is no radio or no reading.
std::optional<int> radio_rssi();
} // namespace factory
