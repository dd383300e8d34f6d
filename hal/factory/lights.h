// Lights of the LED class: the panel's backlight, the indicator, keys and flashes.
#pragma once

#include <string>
#include <tki_hardware.h>

namespace factory {
// True when the handset's light (TKI_LIGHT_...) can be read.
bool light_is_fitted(int light);
std::string light_brightness(int light); // its attribute
// Level 0 to 255, scaled to what the driver knows; false (logged) when the light is not fitted.
[[nodiscard]] bool light_set(int light, int level);
} // namespace factory
