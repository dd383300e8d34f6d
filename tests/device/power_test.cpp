#include <gtest/gtest.h>

#include <string>
#include <tp_clock.h>
#include <tp_globals.h>
#include <vector>

#include "base/shell_command.h"
#include "base/worker.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "device/factory_slots.h"
#include "device/power.h"
#include "support/files.h"
#include "support/process.h"

namespace {
// An attribute that every kernel has stands for the backlight.
constexpr const char *BACKLIGHT = "/proc/self/oom_score_adj";
constexpr const char *BLANK = "/sys/class/graphics/fb0/blank";
constexpr const char *AUTOSLEEP = "/sys/power/autosleep";
constexpr const char *SEQUENCE = "/data/sequence";

struct Report {
    int status = 3, health = 2, present = 1, level = 80, temperature = 250;
    bool usb = false;
};
void report(const Report &r) {
    const uint8_t plugged[3] = {0, static_cast<uint8_t>(r.usb), 0};
    batteryTemperatureobserver_cb(plugged, r.status, r.health, r.present, r.level, 3900, r.temperature, -200, 1500, 10, 2000);
}

std::string first_word(const char *path) {
    const std::string text = files::get(path);
    return text.substr(0, text.find_first_of(" \n"));
}
void note(const std::string &text) { run_command_f("echo '%s' >> %s", text.c_str(), SEQUENCE); }

std::vector<std::string> g_title;
int keep_title(const char *text, int index, int abnormal) {
    g_title.push_back(std::to_string(index) + ":" + text + (abnormal ? "!" : ""));
    return 0;
}
std::vector<std::string> taken_title() { return std::exchange(g_title, {}); }
using Texts = std::vector<std::string>;

// A fresh program in a handset that can sleep.
void start() {
    tp_clock_set_scale(1000);
    snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "%s", BACKLIGHT);
    for (const char *path : {BLANK, AUTOSLEEP}) {
        if (access(path, F_OK) != 0) files::put(path, "");
    }
    run_command_f("echo 0 > %s; echo off > %s; rm -f %s", BLANK, AUTOSLEEP, SEQUENCE);
    battery_set_title_sink(keep_title);
    GetLastInputTime();
}
void in_handset(const std::function<void()> &body) {
    process::forked([&] {
        start();
        body();
    });
}
// The same as process 1 of a machine of its own; how it ended.
std::string machine(const std::function<void()> &body) {
    return process::outcome_in_own_namespace([&] {
        start();
        body();
    });
}
} // namespace

TEST(Power, SleepAndWakeUp) {
    in_handset([] {
        EXPECT_EQ(SetIdleWakeupStatus(1), -1) << "no battery reported";
        report({});
        EXPECT_EQ(SetIdleWakeupStatus(0), -1) << "awake already";
        Set_OsCanIdleAllowed(0);
        EXPECT_EQ(SetIdleWakeupStatus(1) + SwitchSleepStatus() + AutoSleepCheck(), -3);
        Set_OsCanIdleAllowed(1);
        EXPECT_EQ(SetIdleWakeupStatus(1), 0);
        EXPECT_EQ(g_bCurrentSleepStatus, 1);
        EXPECT_EQ(first_word(BACKLIGHT) + first_word(BLANK) + first_word(AUTOSLEEP), "04mem");
        EXPECT_EQ(SetIdleWakeupStatus(1), -1);
        // The panel is drawn before the light comes back, and again with it.
        tki_api_LCD_Refresh = [](const tki_lcd_rect *) {
            note(first_word(AUTOSLEEP) + first_word(BLANK) + "," + first_word(BACKLIGHT));
            return 0;
        };
        EXPECT_EQ(SwitchSleepStatus(), 0);
        EXPECT_EQ(g_bCurrentSleepStatus, 0);
        EXPECT_EQ(files::get(SEQUENCE), "off0,0\noff0,100\noff0,100\n");
        EXPECT_EQ(TKI_API_SetIdleStatus(2), -1);
        EXPECT_EQ(SetIdleWakeupStatus(2), -1);
    });
}

TEST(Power, SleepsAfterIdlingUnlessCharged) {
    in_handset([] {
        report({});
        for (const int idle : {85, 95}) {
            tp_age_last_input(idle);
            report({}); // each report runs the check
            EXPECT_EQ(g_bCurrentSleepStatus, idle > 90);
        }
        for (const Report &charging : {Report{.status = 2}, Report{.status = 5, .usb = true}}) {
            tp_age_last_input(1900);
            report(charging);
            EXPECT_LT(tp_clock_time() - tp_last_input_time().tv_sec, 1000) << "a charger restarts the idle time";
        }
    });
}

TEST(Power, WhatSwitchesOff) {
    if (machine([] {}) == "skipped") GTEST_SKIP() << "no PID namespace";
    const auto idle_off = [] {
        tki_api_tki_mode_uninit = [] { note("uninit"); return 0; };
        tki_api_Vibrator_Test_Start = [](int ms) { note(std::to_string(ms)); return 0; };
        report({.status = 5}); // full but unplugged
        tp_age_last_input(1900);
        AutoSleepCheck();
    };
    EXPECT_EQ(machine(idle_off), "off");
    EXPECT_EQ(files::get(SEQUENCE), "uninit\n1000\n");
}

TEST(Battery, WarningsOnceAndChargingText) {
    in_handset([] {
        const struct { Report report; Texts title; } rows[] = {
            {{.level = 80}, {"2:80%"}},
            {{.level = 80}, {}}, // nothing new
            {{.level = 30}, {"2:30%!"}},
            {{.level = 30, .temperature = 455}, {"1:batteryTemperatureWarning!"}},
            {{.status = 2, .level = 30, .temperature = 455}, {"0:BatteryCharging_Charging"}}, // the warning is not repeated
            {{.level = 30}, {"0:BatteryCharging_Null"}},
        };
        for (const auto &row : rows) {
            report(row.report);
            EXPECT_EQ(taken_title(), row.title);
        }
        SetIdleWakeupStatus(1);
        report({.status = 2, .level = 30});
        EXPECT_EQ(g_bCurrentSleepStatus, 0) << "plugging in wakes";
    });
    in_handset([] {
        files::put("/data/language.ini", "[English]\r\nbatteryHealthWarning=BAD\r\nbatteryLevelWaring=only %d%% left%n\r\n");
        ASSERT_EQ(Get_CfgValueList("/data/language.ini", "English"), 0);
        report({.health = 3});
        EXPECT_EQ(taken_title(), (Texts{"2:80%!", "1:BAD!"}));
        report({.health = 3});
        EXPECT_EQ(taken_title(), Texts{});
        static int unregistered = 0;
        TKI_API_BatteryService_unregister_Observer = [](const char *kind, tki_observer cb) {
            unregistered += std::string(kind) == TKI_OBSERVER_VOLT && cb == reinterpret_cast<tki_observer>(&batteryVoltobserver_cb);
            return 0;
        };
        batteryVoltobserver_cb(3, 2, 1, 3900, 31);
        batteryVoltobserver_cb(3, 2, 1, 3900, -1);
        EXPECT_EQ(taken_title(), Texts{});
        battery_set_title_sink(nullptr);
        batteryVoltobserver_cb(3, 2, 1, 3900, 30);
        EXPECT_EQ(unregistered, 0) << "nobody has seen it";
        battery_set_title_sink(keep_title);
        batteryVoltobserver_cb(3, 2, 1, 3900, 30);
        EXPECT_EQ(taken_title(), (Texts{"1:only 30% left%n!"})) << "a text from a file is no format";
        EXPECT_EQ(unregistered, 1);
    });
}

TEST(Battery, WhatThePcReads) {
    in_handset([] {
        char out[8] = {};
        EXPECT_EQ(mmi_AutoTest_battery_power_Read(out, sizeof out) + mmi_AutoTest_battery_temperature_Read(out, sizeof out), 0);
        report({.status = 5, .level = 77, .temperature = 253});
        EXPECT_EQ(mmi_AutoTest_battery_power_Read(out, sizeof out), 1);
        EXPECT_STREQ(out, "*77");
        EXPECT_EQ(mmi_AutoTest_battery_temperature_Read(out, sizeof out), 1);
        EXPECT_STREQ(out, "*25.3");
        for (const int status : {0, 1, 2, 3, 4, 5, 6, -1}) {
            report({.status = status, .health = status == 5 ? 2 : 3});
            EXPECT_EQ(mmi_AutoTest_battery_charging_Read(), status == 2 || status == 5) << status;
            EXPECT_EQ(mmi_AutoTest_battery_health_Read(), status == 5);
        }
        EXPECT_EQ(mmi_AutoTest_battery_Charge_Enable(), 0) << "not bound";
        TKI_API_BatteryService_ChargingStatusSet = [](int on) { return on ? 1 : 0; };
        EXPECT_EQ(mmi_AutoTest_battery_Charge_Enable(), 1);
        EXPECT_EQ(mmi_AutoTest_battery_Charge_Disable(), 0);
    });
}

TEST(Alarm, FiresReleasesAndStops) {
    timespec now{};
    EXPECT_EQ(Alarm_waitForAlarm(), -1);
    EXPECT_EQ(Alarm_get_time(AlarmType::boottime, &now), -1);
    EXPECT_EQ(Alarm_Release_driver(), -1);
    ASSERT_EQ(Alarm_init_driver(), 0);
    EXPECT_EQ(Alarm_init_driver(), 0);
    for (const AlarmType type : {AlarmType::realtime_wakeup, AlarmType::boottime_wakeup, AlarmType::boottime}) {
        ASSERT_EQ(Alarm_get_time(type, &now), 0);
        now.tv_nsec += 20000000;
        if (now.tv_nsec >= 1000000000) { ++now.tv_sec; now.tv_nsec -= 1000000000; }
        const int64_t before = tp_clock_mono_ns();
        ASSERT_EQ(Alarm_set(type, &now), 0);
        EXPECT_EQ(Alarm_waitForAlarm(), 1 << static_cast<int>(type));
        EXPECT_GE(tp_clock_mono_ns() - before, 15000000);
    }
    const timespec past{1, 0};
    EXPECT_EQ(Alarm_set(AlarmType::realtime_wakeup, &past), 0);
    EXPECT_EQ(Alarm_waitForAlarm(), 1) << "a moment long past fires at once";
    const timespec wrong{1, 2000000000};
    EXPECT_EQ(Alarm_set(AlarmType::boottime, nullptr), -1);
    EXPECT_EQ(Alarm_set(AlarmType::boottime, &wrong), -1);
    Worker waiter;
    std::atomic<int> answer{0};
    const auto wait = [&] { answer = Alarm_waitForAlarm(); };
    ASSERT_TRUE(waiter.start("alarm", wait));
    waiter.stop();
    EXPECT_EQ(answer.exchange(0), -1);
    ASSERT_TRUE(waiter.start("alarm", wait));
    tp_clock_sleep_ms(20);
    EXPECT_EQ(Alarm_Release_driver(), 0);
    waiter.join();
    EXPECT_EQ(answer, -1);
}
