// The kill switches of the radios.
#pragma once

#include <string_view>

namespace factory {
// A switch of the type ("nfc", "wlan", ...) blocks its radio, by the program or by the hardware.
bool rfkill_blocks(std::string_view type);
} // namespace factory
