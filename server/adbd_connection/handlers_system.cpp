// Handlers of the program itself and of the handset as a whole: services of the channel library, configuration, power.
#include "adbd_connection/channel_library.h"
#include "AgingTest/aging_resets.h"
#include "adbd_connection/handlers.h"
#include "device/factory_slots.h"
#include "shell/dialog.h"
#include "shell/main_menu.h"
#include "shell/sequencer.h"
#include "testwnd/mmi_testwnd_poweroff.h"
#include "wifi/wifi_pc.h"

namespace {
int call(mmi_AutoTest_FourArgs_t service, const char *in, int size, char *out, int maxoutlen) {
    return service ? service(in, size, out, maxoutlen) : 0;
}
int call(mmi_AutoTest_FileOpt_t service, const char *in, int size) { return service ? service(in, size) : 0; }

int enter_low_cost_mode(const char *caller) {
    if (tki_api_EnterLowCostMode) return tki_api_EnterLowCostMode();
    // The message spells the function's name as the line's log filters expect it.
    LOG_RAW(ANDROID_LOG_DEBUG, AT_TAG, "%s::tki_api_EnterLostCostMode is NULL.", caller);
    return 0;
}

int reboot() {
    aging_expect_reset("PC");
    const int result = mmi_AutoTest_Reboot();
    aging_reset_refused();
    return result;
}
} // namespace

VXO_COMMAND(AutoTest_WiFiConCpt_Enable, call(g_channel_library.WiFiConCpt_Enable, bufIn, size, bufOut, maxoutlen))
VXO_COMMAND(AutoTest_WiFiConCpt_Disable, call(g_channel_library.WiFiConCpt_Disable, bufIn, size, bufOut, maxoutlen))
VXO_COMMAND(AutoTest_WiFi_Enable, normalised(mmi_AutoTest_WiFi_Enable()))
VXO_COMMAND(AutoTest_WiFi_Disable, normalised(mmi_AutoTest_WiFi_Disable()))
VXO_COMMAND_NOTED(AutoTest_SwitchSSID, normalised(mmi_AutoTest_SwitchSSID(bufIn)))
VXO_COMMAND(AutoTest_GetWiFiRSSI, normalised(mmi_AutoTest_GetWiFiRSSI(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_GetAPInfo, normalised(mmi_AutoTest_GetAPInfo(bufOut, maxoutlen)))
VXO_COMMAND(WiFiUDPServ_Enable, normalised(mmi_Autotest_WiFiUDPServ_Enable()))
VXO_COMMAND(WiFiUDPServ_Disable, normalised(mmi_Autotest_WiFiUDPServ_Disable()))
VXO_COMMAND(WiFiDataRate_set, always(mmi_AutoTest_WiFiDataRate_Set(bufIn)))
VXO_COMMAND(AutoTest_FileOpt_Read, always(call(g_channel_library.FileOpt_Read, bufIn, size)))
VXO_COMMAND(AutoTest_FileOpt_Write, always(call(g_channel_library.FileOpt_Write, bufIn, size)))
VXO_COMMAND(AutoTest_FileOpt_Remove, always(call(g_channel_library.FileOpt_Remove, bufIn, size, bufOut, maxoutlen)))

VXO_COMMAND(AutoTest_MMI_Enable, normalised(mmi_AutoTest_MMI_Enable()))
VXO_COMMAND(AutoTest_MMI_Disable, normalised(mmi_AutoTest_MMI_Disable()))
VXO_COMMAND_NOTED(AutoCloseDialog, normalised(CloseButton()))
VXO_COMMAND(AutoTest_Modify_ConfigFile, normalised(mmi_AutoTest_Modify_ConfigFile(bufIn)))

VXO_COMMAND(AutoTest_EnterLowCostMode, always(enter_low_cost_mode(__func__)))
VXO_COMMAND(AutoTest_Reboot, normalised(reboot()))
VXO_COMMAND(AutoTest_PowerOff, normalised(mmi_AutoTest_PowerOff()))
