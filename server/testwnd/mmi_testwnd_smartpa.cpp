#include "testwnd/mmi_testwnd_smartpa.h"

#include <atomic>
#include <cstdio>
#include <tki_hardware.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "testwnd/measurement.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_SMARTPACAL";
enum class State { idle, at_work, good, bad };

std::atomic<int> g_milliohm{0}, g_min{0}, g_max{0};
State g_state = State::idle; // GUI thread

bool read_values() {
    int milliohm = 0, min = 0, max = 0;
    if (call_factory_function<tki_api_SmartPA_Read_t>(TAG, "tki_api_SmartPA_Read", &milliohm, &min, &max) != 0) return false;
    g_milliohm = milliohm;
    g_min = min;
    g_max = max;
    return true;
}

// 0: calibrated, and within the limits.
int calibrate() {
    int milliohm = 0;
    const int result = call_factory_function<tki_api_SmartPA_Calibrate_t>(TAG, "tki_api_SmartPA_Calibrate", &milliohm);
    const bool limits = read_values();
    g_milliohm = milliohm; // told also where the speaker is not good
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s %d, %d milliohm, limits %d to %d", __func__, result, milliohm, g_min.load(), g_max.load());
    return result == 0 && limits && milliohm >= g_min && milliohm <= g_max ? 0 : -1;
}
Measurement g_calibration(calibrate);

std::string text_of(const char *key, const char *format, auto... values) {
    char text[64];
    snprintf(text, sizeof text, format, values...);
    return lang_text(key).text + std::string(": ") + text;
}

std::vector<TestLine> lines() {
    const TestLine verdicts[] = {{"", LINE_NORMAL},
                                 {lang_text("info_Measuring").text, LINE_NORMAL},
                                 {lang_text("TestResultPass").text, LINE_GOOD},
                                 {lang_text("info_SmartPAFail").text, LINE_BAD}};
    return {{text_of("info_Impedance", "%.2f ohm", g_milliohm / 1000.0), LINE_NORMAL},
            {text_of("info_ImpedanceLimits", "%.2f - %.2f ohm", g_min / 1000.0, g_max / 1000.0), LINE_NORMAL},
            verdicts[static_cast<int>(g_state)]};
}

bool start();
int stop() { return 0; } // a calibration ends by itself
bool is_good() { return g_state == State::good; }
void told(int result);

TestWindow g_window{.domain = "TKI_SMARTPACAL", .title_key = "menu_ItemTest_SmartPACal", .station = 300, .may_pass = is_good,
                    .start = start, .stop = stop, .lines = lines, .told = told};

bool begin_calibration() {
    g_state = State::at_work;
    return g_calibration.begin(g_window);
}

bool start() {
    g_state = State::idle;
    return read_values() && (g_window.pc_mode || begin_calibration());
}

void told(int result) {
    g_state = result == 0 ? State::good : State::bad;
    if (is_good() && g_deviceIsAutoTest == 1 && !g_window.pc_mode) test_frame_pass(g_window);
}
} // namespace

void mmi_testwnd_SmartPACalEntry() { test_frame_open(g_window); }
void mmi_testwnd_SmartPACal_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_SmartPACalEntry() { return test_frame_pc_start(g_window); }

int mmi_AutoTest_SmartPACal_Calibrate() {
    const int begun = on_gui_thread([] {
        if (!g_window.created || !g_window.started || !begin_calibration()) return 0;
        test_frame_show(g_window);
        return 1;
    });
    if (begun != 1) LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s: open the calibration first", __func__);
    return begun == 1 && g_calibration.wait() == 0;
}

int mmi_AutoTest_SmartPACal_Stop() { return test_frame_pc_stop(g_window); }
