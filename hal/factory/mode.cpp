// Entering and leaving the test mode.
#include <atomic>
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/lights.h>

namespace {
constexpr int MODE_NONE = -1;
constexpr int TEST_BRIGHTNESS = 100;
constexpr const char *VIBRATORS[] = {"/sys/class/leds/vibrator/activate", "/sys/class/timed_output/vibrator/enable"};
std::atomic<int> g_mode{MODE_NONE};

void put_out(const char *path) {
    const auto left = hal::read_attribute(path);
    if (!left || *left == "0") return;
    HAL_LOG_D(FACTORY_TAG, "%s was left at %s", path, left->c_str());
    if (!hal::write_attribute(path, "0")) HAL_LOG_E(FACTORY_TAG, "%s: %s", path, strerror(errno));
}

// What a program that was killed may have left on.
void put_to_rest() {
    for (int light = 0; light < TKI_LIGHT_LCD; ++light) put_out(factory::light_brightness(light).c_str());
    for (const char *vibrator : VIBRATORS) put_out(vibrator);
}
} // namespace

TKI_API(int) tki_api_tki_mode_init(int mode) noexcept {
    if (mode < 0) {
        HAL_LOG_E(FACTORY_TAG, "no mode %d", mode);
        return -1;
    }
    g_mode = mode;
    HAL_LOG_D(FACTORY_TAG, "mode %d", mode);
    put_to_rest();
    // The boot loader may leave the screen dark. A handset without this backlight lights its panel by itself.
    if (factory::light_is_fitted(TKI_LIGHT_LCD) && !factory::light_set(TKI_LIGHT_LCD, TEST_BRIGHTNESS)) return -1;
    return 0;
}

TKI_API(int) tki_api_tki_mode_uninit() noexcept {
    const int mode = g_mode.exchange(MODE_NONE);
    HAL_LOG_D(FACTORY_TAG, "mode %d left", mode);
    return mode == MODE_NONE ? -1 : 0;
}
