#include "testwnd/mmi_testwnd_sensors.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "base/log_door.h"
#include "base/worker.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/sensor_feed.h"
#include "testwnd/sensor_view.h"

namespace {
constexpr char TAG[] = "TKI_SENSOR";

enum class Calibration { offered, running, done, refused };

// GUI thread.
SensorScene g_scene;
bool g_judged_for_pc = false;
// Of the calibration, any thread.
std::atomic<Calibration> g_calibration{Calibration::offered};
Worker g_calibrator;

bool start();
int stop();
bool may_pass();
void show(HWND hwnd);
bool sensor_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void on_open(HWND hwnd);
TestWindow g_window{.domain = TAG, .title_key = "menu_AllSensorTest", .station = 328, .may_pass = may_pass, .start = start,
                    .stop = stop, .changed = show, .proc = sensor_proc, .on_open = on_open};

bool all_passed() {
    int tested = 0, passed = 0;
    for (int i = 0; i < TKI_SENSORS; ++i) {
        tested += g_scene.tested[i];
        passed += g_scene.tested[i] && g_scene.rules.passed(i);
    }
    return tested > 0 && passed == tested;
}
bool may_pass() { return all_passed(); }

// Tested is what the parameter list says, and what is fitted where it says nothing.
void read_parameters(SensorScene &scene) {
    ConfigPara paras[12] = {};
    const int count = test_item_parameters(TAG, paras, 12);
    tki_api_Sensor_Fitted_t fitted = nullptr;
    for (int i = 0; i < TKI_SENSORS; ++i) {
        char text[CFG_TEXT] = {};
        scene.limits[i] = SENSOR_KINDS[i].limits;
        const bool given = tki_config_get_para_value(paras, count, SENSOR_KINDS[i].name, text, sizeof text - 1, "") > 0;
        if (given && sensor_parse_pair(text, &scene.tested[i], &scene.limits[i])) continue;
        if (given) LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s:%s is not 0, 1 or 1/LOW/HIGH: as fitted", SENSOR_KINDS[i].name, text);
        if (!fitted) bind_factory_function(TAG, "tki_api_Sensor_Fitted", &fitted);
        scene.tested[i] = fitted && fitted(i) == 1;
    }
}

// ---- calibration

bool at_zero(int sensor, const SensorLimits &limits) {
    tki_sensor_event event{};
    if (sensor != TKI_SENSOR_LIGHT && sensor != TKI_SENSOR_PROXIMITY) return true;
    if (!sensor_feed_next(sensor, &event)) return false;
    return sensor == TKI_SENSOR_LIGHT ? event.values[0] <= limits.low : event.values[0] < limits.high;
}

bool calibrate(const SensorScene &scene) {
    bool any = false, good = true;
    for (int sensor : {TKI_SENSOR_ACCELEROMETER, TKI_SENSOR_GYROSCOPE, TKI_SENSOR_PROXIMITY, TKI_SENSOR_LIGHT}) {
        if (!scene.tested[sensor] || tp_os_thread_stop_requested() || !at_zero(sensor, scene.limits[sensor])) continue;
        any = true;
        const int result = tki_api_Sensors_Calibration ? tki_api_Sensors_Calibration(sensor) : -1;
        LOG_RAW(ANDROID_LOG_INFO, TAG, "calibration of %s: %d", SENSOR_KINDS[sensor].name, result);
        good = good && result == 0;
    }
    return any && good;
}

void tell_calibration(Calibration state) {
    g_calibration = state;
    test_frame_changed(g_window);
}

// One at a time, on whatever thread: false at once while another runs.
bool calibrate_once(const SensorScene &scene) {
    if (g_calibration.exchange(Calibration::running) == Calibration::running) return false;
    tell_calibration(Calibration::running);
    const bool good = calibrate(scene);
    tell_calibration(good ? Calibration::done : Calibration::refused);
    return good;
}

// ---- window

void set_note(SensorScene &scene) {
    switch (g_calibration) {
    case Calibration::offered: scene.note_key = "info_SensorCalibrateNote", scene.note_color = LINE_NORMAL; break;
    case Calibration::running: scene.note_key = "info_SensorCalibrating", scene.note_color = LINE_NORMAL; break;
    case Calibration::done: scene.note_key = "info_SensorCalibrated", scene.note_color = LINE_GOOD; break;
    case Calibration::refused: scene.note_key = "info_SensorNotCalibrated", scene.note_color = LINE_BAD; break;
    }
}

void show(HWND hwnd) {
    const bool passed_before = all_passed();
    g_scene.rules = sensor_feed_rules();
    set_note(g_scene);
    sensor_view_show(hwnd, g_scene);
    if (all_passed() != passed_before) test_frame_refresh_keys(g_window);
}

bool start() {
    g_judged_for_pc = false;
    if (!sensor_feed_open()) return false;
    g_judged_for_pc = g_window.pc_mode != 0;
    sensor_view_create(g_window.hwnd, g_scene);
    return true;
}

int stop() {
    const int result = g_window.started ? sensor_feed_close() : 0;
    g_scene.rules = sensor_feed_rules(); // with what came last
    return result;
}

void on_open(HWND) {
    Calibration ended = g_calibration;
    if (ended != Calibration::running) g_calibration.compare_exchange_strong(ended, Calibration::offered);
    read_parameters(g_scene);
    sensor_feed_begin(g_scene.limits, [] { test_frame_changed(g_window); });
    g_scene.rules = sensor_feed_rules();
    set_note(g_scene);
}

bool sensor_proc(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_KEYDOWN || (wParam != KEY_VOLUP && wParam != KEY_VOLDOWN)) return false;
    *result = 0;
    if (g_window.started && g_calibration != Calibration::running && !g_calibrator.running())
        g_calibrator.start("sensorcal", [scene = g_scene] { calibrate_once(scene); });
    return true;
}

std::string failed_names() {
    std::string names;
    for (int i = 0; i < TKI_SENSORS; ++i)
        if (g_scene.tested[i] && !g_scene.rules.passed(i) && SENSOR_KINDS[i].listed) names += SENSOR_KINDS[i].listed;
    if (!names.empty()) names.pop_back(); // the last comma
    return names;
}
} // namespace

void mmi_testwnd_SensorsTestEntry() { test_frame_open(g_window); }

void mmi_testwnd_SensorsTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_SensorTestEntry() { return test_frame_pc_start(g_window); }

int mmi_AutoTest_SensorTest_Stop(char *out, int maxoutlen) {
    std::string names;
    const int passed = on_gui_thread([&names] {
        test_frame_close(g_window);
        if (!std::exchange(g_judged_for_pc, false)) return 0;
        names = failed_names();
        return all_passed() ? 1 : 0;
    });
    if (out && maxoutlen > 0) snprintf(out, static_cast<size_t>(maxoutlen), "%s", names.c_str());
    return passed == 1;
}

int mmi_AutoTest_SensorTest_Calibrate() {
    SensorScene scene;
    on_gui_thread([&scene] {
        if (g_window.created) scene = g_scene;
        else read_parameters(scene);
        return 0;
    });
    return calibrate_once(scene) ? 1 : 0;
}

int mmi_AutoTest_Sensor_Read(int sensor, char *out, int maxoutlen) {
    tki_sensor_event event{};
    if (!out || maxoutlen <= 0 || !sensor_feed_next(sensor, &event)) return 0;
    const auto size = static_cast<size_t>(maxoutlen);
    const double x = event.values[0], y = event.values[1], z = event.values[2];
    const int whole = static_cast<int>(std::lround(std::clamp(x, -1e9, 1e9)));
    if (sensor == TKI_SENSOR_PROXIMITY) snprintf(out, size, "PS=%d", whole);
    else if (sensor == TKI_SENSOR_LIGHT) snprintf(out, size, "ALS=%d", whole);
    else if (SENSOR_KINDS[sensor].values == 1) snprintf(out, size, "%+6.3f", x);
    else snprintf(out, size, "%+6.3f,%+6.3f,%+6.3f", x, y, z);
    return 1;
}

int mmi_AutoTest_HeartRate_SelfTest(const char *, int, char *, int) {
    tki_api_HeartRate_SelfTest_t check = nullptr;
    return bind_factory_function(TAG, "tki_api_HeartRate_SelfTest", &check) && check() == 0;
}
