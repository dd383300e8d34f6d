#include "testwnd/mmi_testwnd_battery.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/log_door.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/battery.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"
#include <vxo_vcoredevice.h>

namespace {
constexpr char TAG[] = "TKI_BATTERY";
constexpr char PERIOD_PATH[] = "/sys/module/qpnp_fg/parameters/sram_update_period_ms";
constexpr char CURRENT_LINE_PATH[] = "/sys/module/qpnp_linear_charger";
constexpr char PERIOD_LIVE[] = "1000", PERIOD_NORMAL[] = "30000"; // ms
constexpr int REFRESH_TIMER = 666;
constexpr unsigned REFRESH_PERIOD = 30; // 10 ms each
constexpr int FIRST_LABEL = 21;
constexpr int WARM = 450; // tenths of a degree: the title bar warns from here on
constexpr int GREEN = 10, RED = 12, NORMAL = 19;
constexpr int RESULT = BATTERY_LINES; // the label below the lines

struct Line {
    std::string text;
    int color = NORMAL;
    bool operator==(const Line &) const = default;
};

// GUI thread.
Line g_shown[BATTERY_LINES + 1];
bool g_good[BATTERY_LINES]; // kept once a line has been seen good
bool g_library_good = false;
BatteryLimits g_limits;

bool may_pass() {
    return g_library_good && std::all_of(std::begin(g_good), std::end(g_good), [](bool good) { return good; });
}

bool battery_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
void on_open(HWND hwnd);
void on_close(HWND hwnd);
TestWindow g_window{.domain = "TKI_BATTERY", .title_key = "title_BatteryCheck", .station = 344, .may_pass = may_pass,
                    .proc = battery_proc, .on_open = on_open, .on_close = on_close};

void read_limits() {
    static const char caller[] = "mmi_testwnd_BatteryTestEntry";
    ConfigPara paras[12] = {};
    const int count = test_item_parameters(g_window.domain, paras, 12);
    g_limits.current_threshold = parameter_value(paras, count, "thresholdval", "-300");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::g_currentThresholdVal=%d", caller, __LINE__, g_limits.current_threshold);
    g_limits.level = parameter_value(paras, count, "batterylevel", "80");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::g_batterylevel=%d", caller, __LINE__, g_limits.level);
    g_limits.linear_charger = file_readable(CURRENT_LINE_PATH);
    if (g_limits.linear_charger) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "CURRENT_LINE_PATH = %s\n", CURRENT_LINE_PATH);
}

// A library without a check of its own leaves the verdict to the lines.
bool library_check() {
    void *found = nullptr;
    if (bind_factory_symbol(TAG, "tki_api_Battery_Test", &found) != 0) return true;
    const int result = reinterpret_cast<int (*)()>(found)();
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "tki_api_Battery_Test result=%d", result);
    return result == 0;
}

template <class... Args> std::string text_of(const char *key, const char *format, Args... args) {
    char text[2 * CFG_TEXT];
    snprintf(text, sizeof text, format, lang_text(key).text, args...);
    return text;
}

Line state_line(const BatteryState &s) {
    const char *state = s.status == TKI_BATTERY_STATUS_CHARGING ? "BatteryCharging_Charging"
                        : s.status == TKI_BATTERY_STATUS_FULL   ? "BatteryCharging_Full"
                                                                : "BatteryCharging_Null";
    return {text_of("BatteryChargingState", "%s:%s", lang_text(state).text)};
}

Line type_line(const BatteryState &s) {
    if (s.plugged[0]) return {text_of("BatteryChargingType", "%s:AC"), GREEN};
    if (s.plugged[1]) return {text_of("BatteryChargingType", "%s:USB"), RED};
    if (s.plugged[2]) return {text_of("BatteryChargingType", "%s:Wireless"), RED};
    return {text_of("BatteryChargingType", "%s:NULL"), NORMAL};
}

Line line_of(BatteryLine line, const BatteryState &s) {
    switch (line) {
    case BATTERY_STATE: return state_line(s);
    case BATTERY_TYPE: return type_line(s);
    case BATTERY_CAPACITY:
        return {s.level > 100 ? text_of("BatteryCapacity", "%s:Error") : text_of("BatteryCapacity", "%s:%d%%", s.level)};
    case BATTERY_HEALTH:
        return {text_of("BatteryHealth", "%s:%s",
                        lang_text(s.health == TKI_BATTERY_HEALTH_GOOD ? "Result_pass" : "Result_fail").text)};
    case BATTERY_VOLTAGE: return {text_of("BatteryVoltage", "%s:%dmV", s.voltage)};
    case BATTERY_TEMPERATURE:
        return {text_of("BatteryTemperature", "%s:%.1f%s", s.temperature / 10.0, lang_text("temperaturesymbol").text)};
    default: return {text_of("BatteryCurrentNow", "%s:%dmA", s.current)};
    }
}

void show(HWND hwnd, int index, const Line &line) {
    if (g_shown[index] == line) return;
    g_shown[index] = line;
    const HWND label = GetDlgItem(hwnd, FIRST_LABEL + index);
    SetWindowTextColor(label, SysPixelIndex[line.color]);
    SetWindowText(label, line.text.c_str());
    InvalidateRect(label, nullptr, true);
}

void refresh(HWND hwnd) {
    const BatteryState s = battery_state();
    const bool passed_before = may_pass();
    for (int i = 0; i < BATTERY_LINES; ++i) {
        const auto index = static_cast<BatteryLine>(i);
        const bool good = battery_line_is_good(index, s, g_limits);
        g_good[i] |= good;
        Line line = line_of(index, s);
        if (index != BATTERY_TYPE) line.color = good ? GREEN : RED;
        show(hwnd, i, line);
    }
    const bool passed = may_pass();
    show(hwnd, RESULT, passed ? Line{lang_text("TestResultPass").text, GREEN} : Line{lang_text("BatteryInsetAC").text, NORMAL});
    if (passed != passed_before) test_frame_refresh_keys(g_window);
}

void create_labels(HWND hwnd) {
    RECT client{};
    GetClientRect(hwnd, &client);
    const int margin = screen_width() / 24, top = status_bar_height() + margin;
    const int height = std::min(3 * GetLogFontHeight(g_font_text) / 2, (client.bottom - top) / (BATTERY_LINES + 1));
    for (int i = 0; i <= BATTERY_LINES; ++i) {
        const HWND label = CreateWindowEx("static", "", WS_VISIBLE | SS_SIMPLE, 0, FIRST_LABEL + i, margin, top + i * height,
                                          client.right - 2 * margin, height, hwnd, 0);
        if (label == HWND_INVALID) continue;
        SetWindowBkColor(label, SysPixelIndex[18]);
        SetWindowFont(label, g_font_text);
    }
}

void on_open(HWND hwnd) {
    write_file(PERIOD_PATH, PERIOD_LIVE);
    read_limits();
    g_library_good = library_check();
    std::fill(std::begin(g_good), std::end(g_good), false);
    std::fill(std::begin(g_shown), std::end(g_shown), Line{});
    create_labels(hwnd);
    refresh(hwnd);
    SetTimer(hwnd, REFRESH_TIMER, REFRESH_PERIOD);
}

void on_close(HWND hwnd) {
    KillTimer(hwnd, REFRESH_TIMER);
    write_file(PERIOD_PATH, PERIOD_NORMAL);
}

bool battery_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_TIMER || wParam != REFRESH_TIMER) return false;
    refresh(hwnd);
    *result = 0;
    return true;
}
} // namespace

bool battery_line_is_good(BatteryLine line, const BatteryState &s, const BatteryLimits &limits) {
    switch (line) {
    case BATTERY_STATE: return s.status == TKI_BATTERY_STATUS_CHARGING;
    case BATTERY_TYPE: return s.plugged[0] != 0;
    case BATTERY_CAPACITY: return s.level > 0 && s.level <= 100;
    case BATTERY_HEALTH: return s.health == TKI_BATTERY_HEALTH_GOOD;
    case BATTERY_VOLTAGE: return s.voltage > 0;
    case BATTERY_TEMPERATURE: return s.temperature < WARM;
    default:
        return limits.linear_charger || limits.current_threshold >= 1 || s.level >= limits.level ||
               s.current >= -limits.current_threshold;
    }
}

void mmi_testwnd_BatteryTestEntry() { test_frame_open(g_window); }

void mmi_testwnd_BatteryTest_Stop_Entry() { test_frame_pc_close(g_window); }

void battery_test_recover() {
    char period[16] = {};
    if (!file_readable(PERIOD_PATH) || read_file(PERIOD_PATH, period, sizeof period - 1) <= 0) return;
    if (atoi(period) == atoi(PERIOD_LIVE)) write_file(PERIOD_PATH, PERIOD_NORMAL);
}
