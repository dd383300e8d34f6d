// The battery as last reported, its warnings and what the PC may read of it.
#pragma once

#include <atomic>
#include <cstdint>

struct BatteryState {
    uint8_t plugged[3] = {}; // AC, USB, wireless: non-zero = online
    int status = 0;          // TKI_BATTERY_STATUS_...
    int health = 0;          // TKI_BATTERY_HEALTH_...
    int present = 0;
    int level = 0;           // percent
    int voltage = 0;         // mV
    int temperature = 0;     // tenths of a degree Celsius
    int current = 0;         // mA, negative: discharging
    int charge_counter = 0;  // mAh
    int cycle_count = 0;
    int max_current = 0;     // mA
};
BatteryState battery_state();           // a copy. Any thread.
bool battery_is_charging(const BatteryState &s); // status 2, or 5 with any charger online
extern std::atomic<int> g_batteryVolt;  // last reported level, -1 unknown

// Shows a text in the title bar; the shell installs its TitleInfoShow here. Null: there is no title bar.
using TitleSink = int (*)(const char *text, int index, int abnormal);
void battery_set_title_sink(TitleSink sink);

void batteryTemperatureobserver_cb(const uint8_t *plugged, int status, int health, int present, int level, int voltage,
                                   int temperature, int current, int charge_counter, int cycle_count, int max_current);
void batteryVoltobserver_cb(int status, int health, int present, int voltage, int level);
int mmi_AutoTest_battery_power_Read(char *out, int maxoutlen);
int mmi_AutoTest_battery_charging_Read();
int mmi_AutoTest_battery_temperature_Read(char *out, int maxoutlen);
int mmi_AutoTest_battery_health_Read();
int mmi_AutoTest_battery_Charge_Enable();
int mmi_AutoTest_battery_Charge_Disable();
