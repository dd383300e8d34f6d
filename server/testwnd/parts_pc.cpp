#include "testwnd/parts_pc.h"

#include <cstdio>
#include <cstring>
#include <tki_hardware.h>

#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/audio_pc.h"
#include "testwnd/mmi_testwnd_key.h"

namespace {
constexpr int REFRESH_MS = 500;

int headset_state() { return tki_api_GetHeadsetState ? tki_api_GetHeadsetState() : -1; }

TestLine headset_line() {
    const int state = headset_state();
    return {lang_text(headset_text(state)).text, state == TKI_HEADSET_NONE ? LINE_BAD : LINE_NORMAL};
}

void nothing() {} // the tick only shows anew

// ---- headset key

constexpr int KEY_HOOK = 130;
bool g_hook_down = false, g_hook_seen = false;

void forget_keys(HWND) { memset(g_keys_buf, 0, sizeof g_keys_buf); }

bool hook_start() {
    g_hook_down = g_hook_seen = false;
    forget_keys(HWND_NULL);
    return headset_state() >= 0;
}
int hook_stop() { return 0; }

std::vector<TestLine> hook_lines() {
    return {headset_line(), {lang_text("info_KeyItemHook").text, g_hook_seen ? LINE_GOOD : LINE_BAD}};
}

bool hook_proc(HWND, UINT message, WPARAM code, LPARAM, LRESULT *result);

TestWindow g_hook{.domain = "TKI_HEADSETHOOK", .title_key = "title_HeadsetHook", .keys = {"", "", "Result_fail"},
                  .pass_by_key = false, .start = hook_start, .stop = hook_stop, .note_key = "info_PCTestNote",
                  .lines = hook_lines, .tick = nothing, .tick_ms = REFRESH_MS, .proc = hook_proc, .on_close = forget_keys};

bool hook_proc(HWND, UINT message, WPARAM code, LPARAM, LRESULT *result) {
    if ((message != MSG_KEYDOWN && message != MSG_KEYUP) || code != KEY_HOOK) return false;
    *result = 0;
    if (message == MSG_KEYUP && g_hook_down) {
        g_hook_seen = true;
        append_released_key(KEY_HOOK);
        test_frame_show(g_hook);
    }
    g_hook_down = message == MSG_KEYDOWN;
    return true;
}

// ---- hall sensor

constexpr char HALL_TAG[] = "TKI_HALLSENSOR";
unsigned g_hall_seen = 0; // bits: 0 away, 1 near
constexpr unsigned HALL_BOTH = 3;

void hall_callback(tki_module_data *event);

bool hall_start() {
    g_hall_seen = 0;
    tki_api_int_t end = nullptr;
    // Nothing is switched on that could not be switched off again.
    return bind_factory_function(HALL_TAG, "tki_api_HallSensor_Test_Stop", &end) &&
           call_factory_function<tki_api_event_start_t>(HALL_TAG, "tki_api_HallSensor_Test_Start", hall_callback) == 0;
}
int hall_stop() { return call_factory_function<tki_api_int_t>(HALL_TAG, "tki_api_HallSensor_Test_Stop"); }

std::vector<TestLine> hall_lines() {
    const auto color = [](int state) { return g_hall_seen & 1u << state ? LINE_GOOD : LINE_BAD; };
    return {{lang_text("info_HallNear").text, color(1)}, {lang_text("info_HallAway").text, color(0)}};
}

TestWindow g_hall{.domain = "TKI_HALLSENSOR", .title_key = "title_HallSensor", .keys = {"", "", "Result_fail"},
                  .pass_by_key = false, .start = hall_start, .stop = hall_stop, .note_key = "info_HallNote",
                  .lines = hall_lines, .told = [](int value) { g_hall_seen |= value ? 2u : 1u; }};

void hall_callback(tki_module_data *event) {
    if (!event || event->type != TKI_MODULE_HALL || event->result != 0 || !event->data) return;
    test_frame_tell(g_hall, static_cast<const tki_part_event *>(event->data)->value);
}

// ---- FM radio

constexpr char FM_TAG[] = "TKI_FM";
constexpr int FM_VOLUME_MAX = 15;
int g_frequency = 0;

bool fm_start() { return tki_api_FM_Test_Start && tki_api_FM_Test_Start(g_frequency) == 0; }
int fm_stop() { return tki_api_FM_Test_Stop ? tki_api_FM_Test_Stop() : -1; }

std::vector<TestLine> fm_lines() {
    const auto line = [](const char *key, const char *format, auto value) {
        char text[32];
        snprintf(text, sizeof text, format, value);
        return TestLine{lang_text(key).text + std::string(": ") + text, LINE_NORMAL};
    };
    return {line("info_FMFrequency", "%.2f MHz", g_frequency / 100.0),
            line("info_FMRssi", "%d dBm", call_factory_function<tki_api_int_t>(FM_TAG, "tki_api_FM_Get_Rssi")),
            line("info_FMVolume", "%d", tki_api_FM_Get_Vol ? tki_api_FM_Get_Vol() : 0), headset_line()}; // the aerial
}

bool fm_proc(HWND, UINT message, WPARAM code, LPARAM, LRESULT *result);

TestWindow g_fm{.domain = "TKI_FM", .title_key = "title_FMTest", .keys = {"", "", "Result_fail"}, .pass_by_key = false,
                .start = fm_start, .stop = fm_stop, .note_key = "info_PCTestNote", .lines = fm_lines, .tick = nothing,
                .tick_ms = REFRESH_MS, .proc = fm_proc};

bool fm_proc(HWND, UINT message, WPARAM code, LPARAM, LRESULT *result) {
    if (message != MSG_KEYDOWN || (code != KEY_VOLUP && code != KEY_VOLDOWN)) return false;
    *result = 0;
    if (!tki_api_FM_Get_Vol || !tki_api_FM_Set_Vol) return true;
    const int volume = tki_api_FM_Get_Vol() + (code == KEY_VOLUP ? 1 : -1);
    if (volume >= 0 && volume <= FM_VOLUME_MAX) tki_api_FM_Set_Vol(volume);
    test_frame_show(g_fm);
    return true;
}
} // namespace

int mmi_AutoTest_HeadsetHookTestEntry() { return test_frame_pc_start(g_hook); }
int mmi_AutoTest_HeadsetHookTest_Stop(char *out, int maxoutlen) {
    return on_gui_thread([out, maxoutlen] {
        if (g_hook.created) reply_released_keys(out, maxoutlen);
        return test_frame_pc_stop(g_hook);
    }) == 1;
}

int mmi_AutoTest_HallSensorTestEntry() { return test_frame_pc_start(g_hall); }
int mmi_AutoTest_HallSensorTest_Stop() {
    return on_gui_thread([] {
        const bool passed = g_hall.created && g_hall_seen == HALL_BOTH;
        return test_frame_pc_stop(g_hall) == 1 && passed ? 1 : 0;
    }) == 1;
}

int mmi_AutoTest_FMTestEntry(int frequency) {
    return test_frame_pc_start(g_fm, [frequency] { g_frequency = frequency; });
}
int mmi_AutoTest_FMTest_Stop() { return test_frame_pc_stop(g_fm); }
