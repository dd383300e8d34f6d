// Parts that examine themselves: the speaker's amplifier and the touch panel.
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <tki_hardware.h>
#include <tp_clock.h>

namespace {
constexpr int64_t LOOK_NS = 50000000, TOUCH_PANEL_LIMIT_NS = 5000000000, AMPLIFIER_LIMIT_NS = 2000000000;
constexpr const char *TOUCH_PANEL = "/proc/touchscreen/ts_self_test";
#define AMPLIFIER(name) "/sys/class/smartpa/spa0/" name

std::optional<int> number(const char *path) {
    const auto text = hal::read_attribute(path);
    const auto value = text ? hal::parse_int(*text) : std::nullopt;
    if (!value) HAL_LOG_E(FACTORY_TAG, "%s: %s", path, text ? "no number" : strerror(errno));
    return value;
}

// Starts it by the first attribute, and waits until the second tells a number above 0. Nothing when it cannot be read any
// more, 0 when the time is over.
std::optional<int> run(const char *begin, const char *result, int64_t limit_ns) {
    if (!hal::write_attribute(begin, "1")) {
        HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", begin, strerror(errno));
        return std::nullopt;
    }
    const int64_t end = tp_clock_mono_ns() + limit_ns;
    for (;;) {
        const auto value = number(result);
        if (!value || *value > 0 || tp_clock_mono_ns() >= end) return value;
        tp_clock_sleep_ns(LOOK_NS);
    }
}
} // namespace

TKI_API(int) tki_api_TouchPanel_SelfTest() noexcept {
    const auto result = run(TOUCH_PANEL, TOUCH_PANEL, TOUCH_PANEL_LIMIT_NS);
    if (result == 1) return 0;
    if (result) HAL_LOG_E(FACTORY_TAG, "%s tells %d", TOUCH_PANEL, *result);
    return -1;
}

TKI_API(int) tki_api_SmartPA_Read(int *milliohm, int *min, int *max) noexcept {
    const auto impedance = number(AMPLIFIER("impedance")), least = number(AMPLIFIER("min_impedance")),
               most = number(AMPLIFIER("max_impedance"));
    if (!impedance || !least || !most || !milliohm || !min || !max) return -1;
    *milliohm = *impedance;
    *min = *least;
    *max = *most;
    return 0;
}

TKI_API(int) tki_api_SmartPA_Calibrate(int *milliohm) noexcept {
    int min = 0, max = 0;
    if (!milliohm || !run(AMPLIFIER("calibrate"), AMPLIFIER("impedance"), AMPLIFIER_LIMIT_NS)) return -1;
    if (tki_api_SmartPA_Read(milliohm, &min, &max) != 0) return -1;
    if (*milliohm >= min && *milliohm <= max) return 0;
    HAL_LOG_E(FACTORY_TAG, "the speaker has %d milliohm, good are %d to %d", *milliohm, min, max);
    return -1;
}
