#include <factory/lights.h>

#include <algorithm>
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>

namespace {
constexpr int LEVEL_MAX = 255;
constexpr const char *NAMES[TKI_LIGHTS] = {"red",        "green",       "blue",             "button-backlight",
                                           "flashlight", "flashlight2", "flashlight-front", "lcd-backlight"};
constexpr int FLASHES[] = {TKI_LIGHT_FLASH_BACK, TKI_LIGHT_FLASH_BACK2, TKI_LIGHT_FLASH_FRONT};

bool is_light(int light) { return light >= 0 && light < TKI_LIGHTS; }

std::string attribute(int light, const char *name) { return std::string("/sys/class/leds/") + NAMES[light] + "/" + name; }

// What is on at all stays on with a driver of few levels.
int scaled(int level, int most) { return level == 0 ? 0 : std::max(1, (level * most + LEVEL_MAX / 2) / LEVEL_MAX); }
} // namespace

namespace factory {

std::string light_brightness(int light) { return attribute(light, "brightness"); }

bool light_is_fitted(int light) {
    return is_light(light) && hal::read_attribute(light_brightness(light).c_str()).has_value();
}

bool light_set(int light, int level) {
    if (!is_light(light) || level < 0 || level > LEVEL_MAX) {
        HAL_LOG_E(FACTORY_TAG, "no light %d (0 to %d) or no level %d (0 to %d)", light, TKI_LIGHTS - 1, level, LEVEL_MAX);
        return false;
    }
    const auto most = hal::parse_int(hal::read_attribute(attribute(light, "max_brightness").c_str()).value_or(""));
    const int usable = most && *most > 0 && *most <= 0xffff ? *most : LEVEL_MAX;
    const std::string brightness = light_brightness(light);
    if (hal::write_attribute(brightness.c_str(), std::to_string(scaled(level, usable)))) return true;
    HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", brightness.c_str(), strerror(errno));
    return false;
}

} // namespace factory

TKI_API(int) tki_api_Light_Set(int light, int level) noexcept { return factory::light_set(light, level) ? 0 : -1; }

TKI_API(int) tki_api_Light_Fitted(int light) noexcept { return factory::light_is_fitted(light) ? 1 : 0; }

TKI_API(int) tki_api_FlashlightTest_Start(int light) noexcept {
    if (light >= 0 && light < static_cast<int>(std::size(FLASHES))) return factory::light_set(FLASHES[light], LEVEL_MAX) ? 0 : -1;
    HAL_LOG_E(FACTORY_TAG, "no flashlight %d (0 to 2)", light);
    return -1;
}

TKI_API(int) tki_api_FlashlightTest_Stop() noexcept {
    int fitted = 0, out = 0;
    for (const int flash : FLASHES) {
        if (!factory::light_is_fitted(flash)) continue;
        ++fitted;
        if (factory::light_set(flash, 0)) ++out;
    }
    if (!fitted) HAL_LOG_E(FACTORY_TAG, "not fitted");
    return fitted && out == fitted ? 0 : -1;
}

TKI_API(int) tki_api_AlllightTest_Start() noexcept {
    int fitted = 0, on = 0;
    for (int light = 0; light < TKI_LIGHT_LCD; ++light) {
        if (!factory::light_is_fitted(light)) continue;
        ++fitted;
        if (factory::light_set(light, LEVEL_MAX)) ++on;
    }
    if (!fitted) HAL_LOG_E(FACTORY_TAG, "not fitted");
    return fitted && on == fitted ? 0 : -1;
}

TKI_API(int) tki_api_AlllightTest_Stop() noexcept {
    bool out = true;
    for (int light = 0; light < TKI_LIGHT_LCD; ++light)
        if (factory::light_is_fitted(light)) out &= factory::light_set(light, 0);
    return out ? 0 : -1;
}
