#include "device/battery.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <tp_clock.h>
#include <tp_globals.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/power_switch.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/power.h"

std::atomic<int> g_batteryVolt{-1};

namespace {
constexpr const char *TAG = "batteryObserver";
constexpr int TEMPERATURE_WARNING = 450; // tenths of a degree
constexpr int TITLE_CHARGING = 0, TITLE_WARNING = 1, TITLE_LEVEL = 2;
constexpr int NORMAL = 0, ABNORMAL = 1;

std::mutex g_battery_mutex;
BatteryState g_state;
std::atomic<TitleSink> g_title_sink{nullptr};
std::atomic<int> g_volt_calls{0};

// What the observer has shown so far; its thread only.
struct Shown {
    bool health_warning = false;
    bool temperature_warning = false;
    int level = -1;
    bool charging = false;
};
Shown g_shown;

bool is_good(const BatteryState &s) { return s.health == TKI_BATTERY_HEALTH_GOOD; }

// False when there is no title bar.
bool show(const char *text, int index, int abnormal) {
    const TitleSink sink = g_title_sink;
    if (sink) sink(text, index, abnormal);
    return sink != nullptr;
}

void store_state(const BatteryState &state) {
    const std::lock_guard lock(g_battery_mutex);
    g_state = state;
    g_batteryVolt = state.level;
}

void show_level(const BatteryState &s) {
    if (s.level == g_shown.level && s.level != -1) return;
    g_shown.level = s.level;
    char text[16];
    snprintf(text, sizeof text, "%d%%", s.level);
    const bool warning = s.temperature >= TEMPERATURE_WARNING || s.level <= g_batteryWarningVolt || !is_good(s);
    show(text, TITLE_LEVEL, warning ? ABNORMAL : NORMAL);
    tp_clock_sleep_ms(500);
}

void power_off_hot(const BatteryState &s) {
    LOG_RAW(ANDROID_LOG_ERROR, TAG,
            "SendMessage MSG_CREATEDIALG BATTERYMSG:%s,temperature=%d,g_powerofftemp = %d", "battery temperature error!",
            s.temperature, g_powerofftemp.load());
    switch_power_off();
}

void warn_health() {
    char text[CFG_TEXT] = {};
    Read_LangCfgFromList("batteryHealthWarning", text);
    if (text[0] && show(text, TITLE_WARNING, ABNORMAL)) g_shown.health_warning = true;
}

void warn_temperature(const BatteryState &s) {
    const LangText text = lang_text("batteryTemperatureWarning");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "battery Temperature Warning,current Temperature=%d", s.temperature);
    show(text, TITLE_WARNING, ABNORMAL);
    tp_clock_sleep_ms(500);
    g_shown.temperature_warning = true;
}

void follow_charging(const BatteryState &s) {
    const bool charging = battery_is_charging(s);
    if (charging == g_shown.charging) return;
    if (g_bCurrentSleepStatus) SetIdleWakeupStatus(0);
    g_shown.charging = charging;
    GetLastInputTime();
    show(lang_text(charging ? "BatteryCharging_Charging" : "BatteryCharging_Null"), TITLE_CHARGING, NORMAL);
}

// The language text is a format with one "%d"; a text from a file is no format, so only that mark is replaced.
std::string with_level(const char *format, int level) {
    std::string text(format);
    const size_t mark = text.find("%d");
    if (mark != std::string::npos) text.replace(mark, 2, std::to_string(level));
    for (size_t at = text.find("%%"); at != std::string::npos; at = text.find("%%", at + 1)) text.erase(at, 1);
    return text;
}

int set_charging(int on, const char *caller, const char *name) {
    if (!TKI_API_BatteryService_ChargingStatusSet) return 0;
    if (TKI_API_BatteryService_ChargingStatusSet(on) > 0) return 1;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s : Failed to %s USB Charge.", caller, name);
    return 0;
}
} // namespace

BatteryState battery_state() {
    const std::lock_guard lock(g_battery_mutex);
    return g_state;
}

bool battery_is_charging(const BatteryState &s) {
    const bool online = std::any_of(std::begin(s.plugged), std::end(s.plugged), [](uint8_t flag) { return flag != 0; });
    return s.status == TKI_BATTERY_STATUS_CHARGING || (s.status == TKI_BATTERY_STATUS_FULL && online);
}

void battery_set_title_sink(TitleSink sink) { g_title_sink = sink; }

void batteryTemperatureobserver_cb(const uint8_t *plugged, int status, int health, int present, int level, int voltage,
                                   int temperature, int current, int charge_counter, int cycle_count, int max_current) {
    BatteryState s{{},          status,  health,         present,     level,      voltage,
                   temperature, current, charge_counter, cycle_count, max_current};
    if (plugged) memcpy(s.plugged, plugged, sizeof s.plugged);
    store_state(s);
    show_level(s);
    if (temperature >= g_powerofftemp) {
        power_off_hot(s);
        return;
    }
    if (!is_good(s) && !g_shown.health_warning) {
        warn_health();
        return;
    }
    if (temperature >= TEMPERATURE_WARNING && !g_shown.temperature_warning) {
        warn_temperature(s);
        return;
    }
    follow_charging(s);
    AutoSleepCheck();
}

void batteryVoltobserver_cb(int, int, int, int, int level) {
    ++g_volt_calls;
    if (level < 0 || level > g_batteryWarningVolt) return;
    const std::string text = with_level(lang_text("batteryLevelWaring"), level);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "SendMessage MSG_CREATEDIALG BATTERYMSG:%s", text.c_str());
    if (!show(text.c_str(), TITLE_WARNING, ABNORMAL)) return;
    LOG_D(TAG, "unregister begin,calls=%d", g_volt_calls.load());
    if (TKI_API_BatteryService_unregister_Observer) {
        TKI_API_BatteryService_unregister_Observer(TKI_OBSERVER_VOLT,
                                                   reinterpret_cast<tki_observer>(&batteryVoltobserver_cb));
    }
    LOG_D(TAG, "unregister end");
}

int mmi_AutoTest_battery_power_Read(char *out, int maxoutlen) {
    const int level = battery_state().level;
    if (level == 0 || !out || maxoutlen <= 0) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::not get BatteryLevel", __func__);
        return 0;
    }
    char text[16] = "*"; // stations ask this all the time: no format to be read
    const size_t length = static_cast<size_t>(std::to_chars(text + 1, std::end(text), level).ptr - text);
    const size_t fits = std::min(length, static_cast<size_t>(maxoutlen) - 1);
    memcpy(out, text, fits);
    out[fits] = '\0';
    return 1;
}

int mmi_AutoTest_battery_charging_Read() {
    static constexpr const char *REASONS[] = {"not get charging status", "charging status :unknown", nullptr,
                                              "charging status :discharging", "charging status :not charging", nullptr};
    const int status = battery_state().status;
    if (status == TKI_BATTERY_STATUS_CHARGING || status == TKI_BATTERY_STATUS_FULL) return 1;
    const bool known = status >= 0 && status <= TKI_BATTERY_STATUS_FULL;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::%s", __func__, REASONS[known ? status : 0]);
    return 0;
}

int mmi_AutoTest_battery_temperature_Read(char *out, int maxoutlen) {
    const int temperature = battery_state().temperature;
    if (temperature == 0 || !out || maxoutlen <= 0) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::not get mBatteryTemperature", __func__);
        return 0;
    }
    snprintf(out, static_cast<size_t>(maxoutlen), "*%.1f", temperature / 10.0);
    return 1;
}

int mmi_AutoTest_battery_health_Read() {
    const int health = battery_state().health;
    if (health == TKI_BATTERY_HEALTH_NONE) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::not get mBatteryHealth", __func__);
    return health == TKI_BATTERY_HEALTH_GOOD ? 1 : 0;
}

int mmi_AutoTest_battery_Charge_Enable() { return set_charging(1, __func__, "Enable"); }
int mmi_AutoTest_battery_Charge_Disable() { return set_charging(0, __func__, "Disable"); }
