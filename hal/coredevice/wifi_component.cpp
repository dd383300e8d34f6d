// The switch of the WiFi connection component. This handset's library drives none.
#include <coredevice/api.h>
#include <cstdio>

VXO_API(int) mmi_AutoTest_WiFiConCpt_Enable(const char *, int, char *out, int maxoutlen) noexcept {
    HAL_LOG_E("WIFICONCPT", "not fitted");
    if (out && maxoutlen > 0) snprintf(out, static_cast<size_t>(maxoutlen), "not fitted");
    return 0;
}

// Nothing is on, so it is off. The light control test calls this without meaningful arguments.
VXO_API(int) mmi_AutoTest_WiFiConCpt_Disable(const char *, int, char *, int) noexcept { return 1; }
