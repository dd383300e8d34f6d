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

// Shows a text in the title bar (index 0 charging, 1 warnings, 2 level; abnormal 1 marks a warning). The shell installs
// its TitleInfoShow here. Null: there is no title bar. Any thread.
using TitleSink = int (*)(const char *text, int index, int abnormal);
void battery_set_title_sink(TitleSink sink);

// Observers; the battery service's thread. The first may power the handset off or put it to sleep and waits half a second
// after each text it shows. The second shows the low-level warning once and unregisters itself.
void batteryTemperatureobserver_cb(const uint8_t *plugged, int status, int health, int present, int level, int voltage,
                                   int temperature, int current, int charge_counter, int cycle_count, int max_current);
void batteryVoltobserver_cb(int status, int health, int present, int voltage, int level);

// PC: 1 success, 0 not known or failed. Any thread.
int mmi_AutoTest_battery_power_Read(char *out, int maxoutlen);       // "*LEVEL"
int mmi_AutoTest_battery_charging_Read();                            // 1: charging or full
int mmi_AutoTest_battery_temperature_Read(char *out, int maxoutlen); // "*DEGREES.TENTH"
int mmi_AutoTest_battery_health_Read();                              // 1: good
int mmi_AutoTest_battery_Charge_Enable();
int mmi_AutoTest_battery_Charge_Disable();
