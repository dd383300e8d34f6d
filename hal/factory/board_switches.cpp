// What only the board knows how to do: its driver offers an attribute for each. And devices on the USB host port.
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>

namespace {
#define BOARD "/sys/devices/platform/tki_factory/"
constexpr const char *IDLE = BOARD "idle", *LOW_COST_MODE = BOARD "low_cost_mode";
constexpr const char *USB_DEVICES = "/sys/bus/usb/devices";

int set(const char *path, const char *value) {
    if (hal::write_attribute(path, value) && hal::read_attribute(path) == value) return 0;
    HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", path, strerror(errno));
    return -1;
}

// "1-1" is a device, "usb1" a root hub and "1-1:1.0" a device's interface.
bool is_device(std::string_view name) { return !name.starts_with("usb") && name.find(':') == name.npos; }
} // namespace

TKI_API(int) tki_api_SetSystemIdleStatus(int idle) noexcept { return set(IDLE, idle ? "1" : "0"); }

TKI_API(int) tki_api_EnterLowCostMode() noexcept { return set(LOW_COST_MODE, "1"); }

TKI_API(int) tki_api_USB_OTG_Test_START() noexcept {
    const auto names = hal::folder_names(USB_DEVICES);
    if (names.empty()) HAL_LOG_E(FACTORY_TAG, "not fitted: no USB host in %s", USB_DEVICES);
    for (const std::string &name : names)
        if (is_device(name)) return 0;
    if (!names.empty()) HAL_LOG_E(FACTORY_TAG, "no device is plugged in");
    return -1;
}

TKI_API(int) tki_api_USB_OTG_Test_Stop() noexcept { return hal::folder_names(USB_DEVICES).empty() ? -1 : 0; }
