#include "device/power.h"

#include <cstdint>
#include <mutex>
#include <tp_clock.h>
#include <tp_globals.h>

#include "base/log_door.h"
#include "base/power_switch.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "device/battery.h"
#include "device/factory_slots.h"

namespace {
constexpr const char *TAG = "batteryObserver";
constexpr int FAREWELL_VIBRATION_MS = 1000;

std::mutex g_transition_mutex;
std::mutex g_check_mutex; // taken before the transition mutex, never inside it

void refresh_panel() {
    if (tki_api_LCD_Refresh) tki_api_LCD_Refresh(nullptr);
}

int set_status_locked(bool sleep) {
    const int result = sleep ? SetSleepStatus() : SetWakeupStatus();
    if (sleep) {
        if (result == 0) g_bCurrentSleepStatus = 1;
        return result;
    }
    refresh_panel();
    g_bCurrentSleepStatus = 0; // awake even if the backlight did not answer
    return result;
}

int go_to_sleep() {
    const int present = battery_state().present;
    if (present != 1) { // a handset on a bench supply without battery never sleeps
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "current cannot do idle,no battery id,present=%d", present);
        return -1;
    }
    const std::lock_guard lock(g_transition_mutex);
    if (g_bCurrentSleepStatus) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s current is sleep status", "SetIdleWakeupStatus");
        return -1;
    }
    return set_status_locked(true) == 0 ? 0 : -1;
}

int wake_up() {
    const std::lock_guard lock(g_transition_mutex);
    if (!g_bCurrentSleepStatus) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s current is wakeup status", "SetIdleWakeupStatus");
        return -1;
    }
    set_status_locked(false);
    return 0;
}

// Unsigned on purpose: an idle time that a clock set backwards made negative counts as endless, and a negative setting
// never comes.
uint32_t idle_seconds() { return static_cast<uint32_t>(tp_clock_time() - tp_last_input_time().tv_sec); }
bool reached(uint32_t idle, int setting) { return idle >= static_cast<uint32_t>(setting); }

void power_off_after_idling() {
    if (tki_api_tki_mode_uninit) tki_api_tki_mode_uninit();
    if (tki_api_Vibrator_Test_Start) {
        tki_api_Vibrator_Test_Start(FAREWELL_VIBRATION_MS);
        tp_clock_sleep_ms(1000);
    }
    if (switch_power_off() == 0) return;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s power off refused", "AutoSleepCheck");
    GetLastInputTime(); // the next try waits for a whole idle period
}
} // namespace

int SetSleepStatus() {
    LOG_D(TAG, "begin");
    const int before = g_bCurrentSleepStatus.exchange(1);
    if (write_file(g_cSysBacklight, "10") != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d,set brightness = 10 fail.", __func__, __LINE__);
        g_bCurrentSleepStatus = before;
        return -1;
    }
    tp_clock_sleep_us(100);
    if (write_file(g_cSysBacklight, "0") != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d,set brightness = 0 fail.", __func__, __LINE__);
        g_bCurrentSleepStatus = before;
        return -1;
    }
    GetLastInputTime();
    run_command("echo 4 > /sys/class/graphics/fb0/blank");
    run_command("echo mem > /sys/power/autosleep");
    LOG_D(TAG, "end");
    return 0;
}

int SetWakeupStatus() {
    LOG_D(TAG, "begin");
    run_command("echo off > /sys/power/autosleep");
    run_command("echo 0 > /sys/class/graphics/fb0/blank");
    tp_clock_sleep_us(100000);
    refresh_panel();
    GetLastInputTime();
    const int result = write_file(g_cSysBacklight, "100");
    refresh_panel();
    LOG_D(TAG, "end,ret=%d", result);
    return result;
}

int TKI_API_SetIdleStatus(int sleep) {
    if (sleep != 0 && sleep != 1) return -1;
    const std::lock_guard lock(g_transition_mutex);
    return set_status_locked(sleep == 1);
}

int SetIdleWakeupStatus(int sleep) {
    if (g_bOsIsCanIdle == 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "current cannot do idle,g_bOsIsCanIdle=%d", g_bOsIsCanIdle.load());
        return -1;
    }
    if (sleep == 1) return go_to_sleep();
    if (sleep == 0) return wake_up();
    return -1;
}

int SwitchSleepStatus() {
    if (g_bOsIsCanIdle != 1) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::cannot do idle,g_bOsIsCanIdle=%d", __func__, g_bOsIsCanIdle.load());
        return -1;
    }
    return SetIdleWakeupStatus(g_bCurrentSleepStatus ? 0 : 1);
}

int AutoSleepCheck() {
    if (g_bOsIsCanIdle != 1) return -1;
    const std::lock_guard lock(g_check_mutex);
    const uint32_t idle = idle_seconds(); // as it was on entry: going to sleep restarts the period
    if (reached(idle, g_autoSleepTime) && !g_bCurrentSleepStatus) SetIdleWakeupStatus(1);
    if (!reached(idle, g_autoTurnOffTime)) return 0;
    if (battery_is_charging(battery_state())) {
        GetLastInputTime();
    } else {
        power_off_after_idling();
    }
    return 0;
}

void Set_OsCanIdleAllowed(int allowed) {
    if (g_bCfgOsIsCanIdle == 0) {
        g_bOsIsCanIdle = 0;
        LOG_D(TAG, "current cannot idle");
        return;
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,line=%d,setstatus=%d", __func__, __LINE__, allowed);
    if (allowed == 1) GetLastInputTime();
    g_bOsIsCanIdle = allowed;
}

int mmi_AutoTest_Standby_Enable() {
    Set_OsCanIdleAllowed(1);
    SetIdleWakeupStatus(1);
    return 1;
}

int mmi_AutoTest_Standby_Disable() {
    SetIdleWakeupStatus(0);
    Set_OsCanIdleAllowed(0);
    return 1;
}
