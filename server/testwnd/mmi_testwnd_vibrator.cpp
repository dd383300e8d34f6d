#include "testwnd/mmi_testwnd_vibrator.h"

#include "base/log_door.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr int UNTIL_STOPPED = -1;
int g_duration = UNTIL_STOPPED;

bool start() {
    if (tki_api_Vibrator_Test_Start && tki_api_Vibrator_Test_Start(g_duration) == 0) return true;
    LOG_RAW(ANDROID_LOG_ERROR, "TKI_VIBRATOR", "%s the vibrator did not start", __func__);
    return false;
}
int stop() { return tki_api_Vibrator_Test_Stop ? tki_api_Vibrator_Test_Stop() : -1; }

TestWindow g_window{.domain = "TKI_VIBRATOR", .title_key = "menu_VibratorTest", .station = 316,
                    .pass_after_ms = FOOL_PROOF_MS, .start = start, .stop = stop, .note_key = "info_VibratorNote"};
} // namespace

void mmi_testwnd_VibratorTestEntry() {
    g_duration = UNTIL_STOPPED;
    test_frame_open(g_window);
}

void mmi_testwnd_VibratorTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_VibratorTestEntry(int duration_ms) {
    return test_frame_pc_start(g_window, [duration_ms] { g_duration = duration_ms; });
}

int mmi_AutoTest_VibratorTest_Stop() { return test_frame_pc_stop(g_window); }
