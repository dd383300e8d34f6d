// Handlers of the program itself and of the handset as a whole: services of the channel library, configuration, power.
#include <tp_clock.h>
#include <unistd.h>

#include "adbd_connection/channel_library.h"
#include "adbd_connection/handlers.h"
#include "base/power_switch.h"
#include "base/worker.h"
#include "device/factory_slots.h"
#include "shell/dialog.h"
#include "shell/main_menu.h"
#include "shell/sequencer.h"
#include "shell/shell_actions.h"
#include "shell/test_frame.h"

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

int reboot_handset() {
    sync();
    switch_restart();
    return 1; // reached only when the restart was refused
}

// The part of the power-off window that must happen where that window is not built in.
void switch_off_without_window() {
    if (tki_api_tki_mode_uninit) tki_api_tki_mode_uninit();
    if (tki_api_Vibrator_Test_Start) tki_api_Vibrator_Test_Start(1000);
    tp_clock_sleep_ms(1000);
    switch_power_off();
}

int start_power_off() {
    static Worker worker; // outlives the command: the answer must reach the PC first
    const bool started = worker.start("poweroff", [] {
        if (!g_shell_actions.power_off_entry) switch_off_without_window();
        else
            on_gui_thread([] {
                g_shell_actions.power_off_entry();
                return 1;
            });
    });
    return started ? 1 : 0;
}
} // namespace

VXO_COMMAND(AutoTest_WiFiConCpt_Enable, call(g_channel_library.WiFiConCpt_Enable, bufIn, size, bufOut, maxoutlen))
VXO_COMMAND(AutoTest_WiFiConCpt_Disable, call(g_channel_library.WiFiConCpt_Disable, bufIn, size, bufOut, maxoutlen))
VXO_COMMAND(AutoTest_FileOpt_Read, always(call(g_channel_library.FileOpt_Read, bufIn, size)))
VXO_COMMAND(AutoTest_FileOpt_Write, always(call(g_channel_library.FileOpt_Write, bufIn, size)))
VXO_COMMAND(AutoTest_FileOpt_Remove, always(call(g_channel_library.FileOpt_Remove, bufIn, size, bufOut, maxoutlen)))

VXO_COMMAND(AutoTest_MMI_Enable, normalised(mmi_AutoTest_MMI_Enable()))
VXO_COMMAND(AutoTest_MMI_Disable, normalised(mmi_AutoTest_MMI_Disable()))
VXO_COMMAND_NOTED(AutoCloseDialog, normalised(CloseButton()))
VXO_COMMAND(AutoTest_Modify_ConfigFile, normalised(mmi_AutoTest_Modify_ConfigFile(bufIn)))

VXO_COMMAND(AutoTest_EnterLowCostMode, always(enter_low_cost_mode(__func__)))
VXO_COMMAND(AutoTest_Reboot, normalised(reboot_handset()))
VXO_COMMAND(AutoTest_PowerOff, normalised(start_power_off()))
