// Entering and leaving the test mode.
#include <atomic>
#include <factory/api.h>
#include <factory/backlight.h>

namespace {
constexpr int MODE_NONE = -1;
constexpr int TEST_BRIGHTNESS = 100;
std::atomic<int> g_mode{MODE_NONE};
} // namespace

TKI_API(int) tki_api_tki_mode_init(int mode) noexcept {
    if (mode < 0) {
        HAL_LOG_E(FACTORY_TAG, "no mode %d", mode);
        return -1;
    }
    g_mode = mode;
    HAL_LOG_D(FACTORY_TAG, "mode %d", mode);
    // The boot loader may leave the screen dark. A handset without this backlight lights its panel by itself.
    if (factory::backlight_is_fitted() && !factory::backlight_set(TEST_BRIGHTNESS)) return -1;
    return 0;
}

TKI_API(int) tki_api_tki_mode_uninit() noexcept {
    const int mode = g_mode.exchange(MODE_NONE);
    HAL_LOG_D(FACTORY_TAG, "mode %d left", mode);
    return mode == MODE_NONE ? -1 : 0;
}
