#include "testwnd/mmi_testwnd_poweroff.h"

#include <tp_clock.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/power_switch.h"
#include "base/worker.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/shell_actions.h"
#include "shell/test_frame.h"

namespace {
constexpr const char *TAG = "TKI_CPU";
constexpr int FAREWELL_MS = 1000;

// No key and no abort leads back.
bool proc(HWND, UINT message, WPARAM, LPARAM, LRESULT *result) {
    *result = 0;
    return message == MSG_KEYDOWN || message == MSG_QUIT_WITH_FAIL;
}

TestWindow g_window{.domain = "TKI_POWEROFF", .full_screen = true, .pass_by_key = false, .note_key = "title_PowerOff",
                    .caption = "PowerOff", .proc = proc};

void say_goodbye_and_switch_off() {
    if (tki_api_tki_mode_uninit) tki_api_tki_mode_uninit();
    if (tki_api_Vibrator_Test_Start) tki_api_Vibrator_Test_Start(FAREWELL_MS);
    tp_clock_sleep_ms(FAREWELL_MS);
    sync();
    switch_power_off();
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s the handset was not switched off", __func__);
    test_frame_pc_close(g_window); // reached only when it was refused
}
} // namespace

void mmi_CreatePowerOffWnd() {
    static Worker worker;
    if (worker.running()) return;
    test_frame_pc_open(g_window);
    worker.start("poweroff", say_goodbye_and_switch_off);
}

int mmi_AutoTest_PowerOff() {
    static Worker worker; // outlives the command: the answer must reach the PC first
    const bool started = worker.start("poweroff-pc", [] {
        on_gui_thread([] {
            if (g_shell_actions.power_off_entry) g_shell_actions.power_off_entry();
            return 1;
        });
    });
    return started ? 1 : 0;
}

int mmi_AutoTest_Reboot() {
    sync();
    switch_restart();
    return 1; // reached only when the restart was refused
}
