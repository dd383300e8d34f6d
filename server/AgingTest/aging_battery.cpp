// The battery during a run: the gate at its start, the checks that go on beside the phases, charge requests, and the
// power-off when it is over.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <tp_clock.h>
#include <unistd.h>

#include "AgingTest/aging_files.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "AgingTest/aging_upload.h"
#include "base/log_door.h"
#include "base/power_switch.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"

std::atomic<int> g_BatteryResult{1}, g_aging_max_temperature{0}, g_aging_charge_wait{0};

namespace {
constexpr int CHECK_EVERY_MS = 30000, READING_WAIT_S = 46;
constexpr int LOW = 21, FULL = 100;
constexpr int TEMPERATURE_MIN = -300; // tenths of a degree
constexpr int CHARGE_ASKED = 2;
constexpr int UNPLUG_POLL_MS = 3000, UNPLUG_LOOKS = 2, COUNTDOWN = 3, FAREWELL_MS = 1000;
constexpr const char *USB_PRESENT = "/sys/class/power_supply/usb/present";

bool enough(int capacity) { return capacity >= LOW && capacity <= FULL; }

bool charging_or_full() {
    const int status = battery_state().status;
    return status == TKI_BATTERY_STATUS_CHARGING || status == TKI_BATTERY_STATUS_FULL;
}

void switch_charging(bool on) {
    if (on)
        mmi_AutoTest_battery_Charge_Enable();
    else
        mmi_AutoTest_battery_Charge_Disable();
}

// Not aging_wait_ms: when this is needed the run is over.
bool sleep_ms(int ms) { return tp_clock_sleep_or_stop_ns(int64_t{ms} * 1000000); }

bool wait_until_unplugged() {
    for (int looks = 0; looks < UNPLUG_LOOKS;) {
        looks = IsConnecting() ? 0 : looks + 1;
        if (looks < UNPLUG_LOOKS && !sleep_ms(UNPLUG_POLL_MS)) return false;
    }
    return true;
}

// A file of its own: the runner, which has the total log open, may still be at its end.
void write_power_off_line() {
    const AgingLog log(AGING_TOTAL_LOG);
    writetkilog(log.file(), "Auto-PowerOff", "Power off successful!");
}
} // namespace

int aging_capacity() { return battery_state().level; }

int Battery_Test_AgintTest(FILE *log) {
    const BatteryState battery = battery_state();
    char line[256];
    int used = 0;
    const auto add = [&](const char *format, auto... values) {
        const int room = static_cast<int>(sizeof line) - used;
        used += std::clamp(snprintf(line + used, static_cast<size_t>(room), format, values...), 0, room - 1);
    };
    if (enough(battery.level)) {
        add("Capacity:%d%%;", battery.level);
    } else {
        add("Capacity,Low power: %d%%;", battery.level);
        if (!charging_or_full()) {
            add("%s", "please charging.");
            g_aging_charge_wait = CHARGE_ASKED;
        }
    }
    add("Voltage:%dmV;", battery.voltage);
    const bool passed = battery.temperature >= TEMPERATURE_MIN && battery.temperature <= g_temp_up;
    add(passed ? "Temperature:%.1f;" : "ExcessTemperature:%.1f;", battery.temperature / 10.0);
    if (passed) switch_charging(battery.temperature <= g_temp_uncharge);
    g_aging_max_temperature = std::max(g_aging_max_temperature.load(), battery.temperature);
    writetkilog(log, "Battery", "%s", line);
    writetkilog(g_aging_log, "Battery", "%s", line);
    return passed ? 0 : -1;
}

void Battery_AgingTest() {
    const AgingLog log("battery.txt");
    do {
        const bool passed = Battery_Test_AgintTest(log.file()) == 0;
        g_BatteryResult = passed ? 1 : 0;
        if (!passed) LOG_D(AGING_TAG, "Battery_Test_AgintTest Fail.");
    } while (aging_wait_ms(CHECK_EVERY_MS));
    switch_charging(true);
    LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "Battery_AgingTest end");
}

void CheckToCharge() {
    if (g_aging_charge_wait != CHARGE_ASKED) return;
    for (int i = 0; i < READING_WAIT_S && aging_capacity() == 0; ++i)
        if (!aging_wait_ms(1000)) return;
    aging_show(SHOW_INSERT_CHARGER, "%s", lang_text("BatteryInsetAC").text);
    while (aging_capacity() < LOW && !charging_or_full())
        if (!aging_wait_ms(1000)) return;
    g_aging_charge_wait = 0;
}

bool IsConnecting() {
    char text[16] = {};
    if (file_readable(USB_PRESENT) && read_file(USB_PRESENT, text, sizeof text - 1) > 0 && atoi(text) > 0) return true;
    return battery_state().plugged[0] != 0;
}

void CheckToPowerOff() {
    if (!wait_until_unplugged()) return;
    while (aging_uploading())
        if (!sleep_ms(1000)) return;
    for (int left = COUNTDOWN; left > 0; --left) {
        aging_show(SHOW_PASS, "Power off in %d seconds...", left);
        if (!sleep_ms(1000)) return;
    }
    write_power_off_line();
    Delete_AgingRebootFile();
    if (tki_api_tki_mode_uninit) tki_api_tki_mode_uninit();
    if (tki_api_Vibrator_Test_Start) tki_api_Vibrator_Test_Start(FAREWELL_MS);
    tp_clock_sleep_ms(FAREWELL_MS);
    sync();
    switch_power_off();
    LOG_E(AGING_TAG, "the handset was not switched off");
}
