// The backlight of the panel, 0 to 255.
#pragma once

namespace factory {
// True when the handset's backlight can be read.
bool backlight_is_fitted();
[[nodiscard]] bool backlight_set(int level);
} // namespace factory
