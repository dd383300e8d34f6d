#include <common/file.h>
#include <cstring>
#include <cerrno>
#include <factory/api.h>
#include <factory/backlight.h>

namespace factory {
static constexpr const char *BRIGHTNESS = "/sys/class/leds/lcd-backlight/brightness";

bool backlight_is_fitted() { return hal::read_attribute(BRIGHTNESS).has_value(); }

bool backlight_set(int level) {
    if (hal::write_attribute(BRIGHTNESS, std::to_string(level))) return true;
    HAL_LOG_E(FACTORY_TAG, "%s: %s", BRIGHTNESS, strerror(errno));
    return false;
}
} // namespace factory
