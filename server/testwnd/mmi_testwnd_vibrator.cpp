#include "testwnd/mmi_testwnd_vibrator.h"

#include "base/log_door.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_VIBRATOR";
constexpr int UNTIL_STOPPED = -1;

int g_duration = UNTIL_STOPPED;
bool g_vibrating = false;
int g_stop_result = 0;

void on_open(HWND) {
    g_vibrating = tki_api_Vibrator_Test_Start && tki_api_Vibrator_Test_Start(g_duration) == 0;
    if (!g_vibrating) LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s the vibrator did not start", __func__);
}

void on_close(HWND) {
    g_stop_result = tki_api_Vibrator_Test_Stop ? tki_api_Vibrator_Test_Stop() : -1;
    g_vibrating = false;
}

void paint(HWND hwnd, HDC hdc) {
    test_frame_draw_text(hwnd, hdc, g_vibrating ? "info_VibratorNote" : "info_NotFitted", g_vibrating ? 19 : 12);
}

bool may_pass() { return g_vibrating; }

TestWindow g_window{.domain = "TKI_VIBRATOR", .title_key = "menu_VibratorTest", .station = 316, .may_pass = may_pass,
                    .pass_after_ms = 1000, .on_open = on_open, .on_close = on_close, .paint = paint};
} // namespace

void mmi_testwnd_VibratorTestEntry() {
    g_duration = UNTIL_STOPPED;
    test_frame_open(g_window);
}

void mmi_testwnd_VibratorTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_VibratorTestEntry(int duration_ms) {
    return on_gui_thread([duration_ms] {
               test_frame_close(g_window); // a second start begins anew with its own duration
               g_duration = duration_ms;
               if (!test_frame_pc_open(g_window)) return 0;
               if (g_vibrating) return 1;
               test_frame_close(g_window);
               return 0;
           }) == 1
               ? 1
               : 0;
}

int mmi_AutoTest_VibratorTest_Stop() {
    return on_gui_thread([] {
               if (g_window.created) test_frame_close(g_window);
               else on_close(HWND_NULL); // stops what something else started
               return g_stop_result == 0 ? 1 : 0;
           }) == 1
               ? 1
               : 0;
}
