// The area of test results, two bits per production station.
#pragma once

#include <cstdint>

namespace factory {
// All 256 bytes. False leaves the area untouched; the reason is logged.
[[nodiscard]] bool flags_read(uint8_t *area);
} // namespace factory
