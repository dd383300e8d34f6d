// Sleep, wake-up, power-off and battery warnings of a whole handset. Its time is scaled; attributes are the hardware's side.
#include "scenario/handset.h"

namespace {
const std::string BACKLIGHT = "/sys/class/leds/lcd-backlight/brightness";
const std::string BLANK = "/sys/class/graphics/fb0/blank";
const std::string AUTOSLEEP = "/sys/power/autosleep";
const std::string BATTERY = "/sys/class/power_supply/battery/";
const std::string USB = "/sys/class/power_supply/usb/online";

bool sleeps(const Handset &handset) {
    return handset.attr(BACKLIGHT) == "0" && handset.attr(BLANK) == "4" && handset.attr(AUTOSLEEP) == "mem";
}
bool is_awake(const Handset &handset) {
    return handset.attr(BACKLIGHT) == "100" && handset.attr(BLANK) == "0" && handset.attr(AUTOSLEEP) == "off";
}
void wait_asleep(const Handset &handset) { handset.wait_until("sleep", [&] { return sleeps(handset); }, 20000); }
void wait_awake(const Handset &handset) { handset.wait_until("wake-up", [&] { return is_awake(handset); }, 20000); }
void wait_bar(const Handset &handset, const std::string &text) {
    handset.wait_for("\"" + text + "\" in a bar", [&](const vh::ScreenView &view) { return view.shows(text); });
}
void wait_off(const Handset &handset) {
    handset.wait_until("power-off", [&] { return handset.status().value("state", "") == "off"; }, 20000);
    EXPECT_EQ(handset.status().value("last", ""), "power-off");
}
// How often a line with this text stands in the log of this boot.
size_t log_count(const Handset &handset, const std::string &text) {
    const std::string out = handset.shell("grep -c '" + text + "' /dev/__vxo_log/main.log").output;
    return std::stoul(out);
}
size_t reports(const Handset &handset) { return log_count(handset, "batteryObserver"); }

// "batteryParameter" with some values changed.
Setting battery_setting(const std::string &idle, int sleep_s, int off_s) {
    return {"MMI", "batteryParameter",
            "lowvolt_threshold:30;powerofftemp:600;OSIdle:" + idle + ";OS_AutoSleepTime:" + std::to_string(sleep_s) +
                ";OS_AutoTurnOffTime:" + std::to_string(off_s) + ";sys_backlight:" + BACKLIGHT};
}
} // namespace

TEST(Power, SleepsWhenIdleAndWakesByTheCharger) {
    Handset handset({.speed = 100});
    wait_asleep(handset);
    handset.set_attr(USB, "0");
    wait_bar(handset, "Unplugged");
    EXPECT_TRUE(handset.log_contains("batteryObserver", "SetWakeupStatus end")) << "unplugging wakes";
    wait_asleep(handset);
    handset.set_attr(USB, "1");
    wait_bar(handset, "Charging");
    EXPECT_EQ(log_count(handset, "SetWakeupStatus end"), 2U) << "plugging wakes";
    EXPECT_EQ(handset.status().value("state", ""), "running");
}

TEST(Power, StandbyByThePc) {
    Handset handset;
    handset.wait_for_text("Device tests");
    wait_bar(handset, "80%"); // a battery has been reported; without one there is no sleep
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    wait_asleep(handset);
    handset.wait_for_text("Device tests"); // the channel and the GUI go on
    EXPECT_EQ(handset.at("standbyMoudle testItem close").status, 0);
    wait_awake(handset);

    handset.set_attr(BATTERY + "present", "0");
    handset.wait_until("a handset without battery", [&] {
        handset.at("standbyMoudle testItem open");
        return handset.log_contains("batteryObserver", "current cannot do idle,no battery id,present=0");
    });
    EXPECT_TRUE(handset.log_contains("batteryObserver", "SetSleepStatus end"));
    handset.at("standbyMoudle testItem close");
    wait_awake(handset);
    handset.at("standbyMoudle testItem open");
    EXPECT_TRUE(is_awake(handset)) << "on a bench supply it never sleeps";

    handset.set_attr(BATTERY + "present", "1");
    handset.fault(BACKLIGHT, "eio");
    handset.wait_until("the refused backlight", [&] {
        handset.at("standbyMoudle testItem open");
        return handset.log_contains("batteryObserver", "set brightness = 10 fail.");
    });
    EXPECT_EQ(handset.attr(AUTOSLEEP), "off") << "a handset whose light stays on is not put to sleep";
    handset.fault(BACKLIGHT, "none");
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    wait_asleep(handset);
}

TEST(Power, IdleWithoutChargerSwitchesOff) {
    Handset handset({.speed = 40, .settings = {battery_setting("1", 20, 40)}});
    handset.wait_for_text("Device tests");
    // With a charger nothing happens in twice the time.
    const size_t before = reports(handset);
    handset.wait_ms(90000); // what must not happen cannot be waited for
    ASSERT_EQ(handset.status().value("state", ""), "running");
    EXPECT_GT(reports(handset), before) << "the check has run";
    handset.set_attr(USB, "0");
    wait_off(handset);
    EXPECT_EQ(handset.attr("/sys/class/leds/vibrator/duration"), "1000") << "it says farewell";
}

TEST(Power, NeverSleepsWhenForbidden) {
    Handset handset({.speed = 50, .settings = {battery_setting("0", 5, 10)}});
    handset.wait_for_text("Device tests");
    handset.set_attr(USB, "0");
    wait_bar(handset, "Unplugged");
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    handset.tap_text("Device tests");
    handset.tap_text("Automatic run"); // a test and its end allow sleep again elsewhere
    handset.wait_for("the colour test", [](const vh::ScreenView &view) { return view.front_covers_screen() && view.front().empty(); });
    EXPECT_EQ(handset.at("LCDMoudle testItem close").status, 0);
    handset.wait_ms(40000); // what must not happen cannot be waited for
    EXPECT_TRUE(is_awake(handset));
    EXPECT_EQ(handset.status().value("state", ""), "running");
}

TEST(Power, HeatSwitchesOffAtOnce) {
    Handset handset;
    wait_bar(handset, "80%");
    handset.set_attr(BATTERY + "temp", "455");
    wait_bar(handset, "Too hot");
    handset.set_attr(BATTERY + "temp", "460");
    handset.wait_until("the report of 460", [&] { return handset.at("batteryMoudle testItem temperature").text == "*46.0"; });
    EXPECT_EQ(log_count(handset, "battery Temperature Warning"), 1U) << "warned once";
    handset.set_attr(BATTERY + "temp", "599");
    handset.wait_until("the report of 599", [&] { return handset.at("batteryMoudle testItem temperature").text == "*59.9"; });
    EXPECT_EQ(handset.status().value("state", ""), "running");
    handset.set_attr(BATTERY + "temp", "600"); // although it charges
    wait_off(handset);
    EXPECT_TRUE(handset.log_contains("batteryObserver", "battery temperature error!,temperature=600,g_powerofftemp = 600"));
}

TEST(Power, LowBatteryIsToldOnce) {
    Handset handset;
    wait_bar(handset, "80%");
    handset.set_attr(BATTERY + "capacity", "31");
    wait_bar(handset, "31%");
    EXPECT_EQ(log_count(handset, "BATTERYMSG:Low"), 0U);
    handset.set_attr(BATTERY + "capacity", "30");
    wait_bar(handset, "Low: 30%");
    handset.set_attr(BATTERY + "capacity", "12");
    wait_bar(handset, "12%");
    handset.wait_until("the report of 12", [&] { return handset.at("batteryMoudle testItem power").text == "*12"; });
    EXPECT_EQ(log_count(handset, "BATTERYMSG:Low"), 1U);
    handset.set_attr(BATTERY + "health", "Dead");
    wait_bar(handset, "Bad cell");
    EXPECT_EQ(handset.at("batteryMoudle testItem health").status, 2);
}

TEST(Power, RubbishFromTheBatteryIsSurvived) {
    Handset handset;
    wait_bar(handset, "80%");
    for (const char *name : {"status", "health", "present", "capacity", "voltage_now", "temp", "current_now", "cycle_count"})
        for (const std::string rubbish : {"", "99999999999999999999", "-7", "5 5", "\x01\xff", "abc"})
            handset.set_attr(BATTERY + name, rubbish);
    handset.wait_until("the level to be unknown", [&] { return handset.at("batteryMoudle testItem power").status == 2; });
    for (const char *name : {"status", "health", "present", "capacity", "temp"}) handset.fault(BATTERY + name, "eio");
    handset.set_attr(USB, "0"); // a report with every read failing
    handset.set_attr(USB, "1");
    EXPECT_EQ(handset.at("batteryMoudle testItem health").status, 2);
    EXPECT_EQ(handset.at("batteryMoudle testItem charging").status, 2);
    EXPECT_EQ(handset.at("batteryMoudle testItem temperature").status, 2);
    for (const char *name : {"status", "health", "present", "capacity", "temp"}) handset.fault(BATTERY + name, "none");
    const std::pair<const char *, const char *> sane[] = {
        {"status", "Full"}, {"health", "Good"}, {"present", "1"}, {"temp", "301"}, {"capacity", "77"}};
    for (const auto &[name, value] : sane) handset.set_attr(BATTERY + name, value);
    handset.wait_until("sane values", [&] { return handset.at("batteryMoudle testItem power").text == "*77"; });
    handset.wait_until("the temperature", [&] { return handset.at("batteryMoudle testItem temperature").text == "*30.1"; });
    EXPECT_EQ(handset.at("batteryMoudle testItem charging").status, 0);
    EXPECT_EQ(handset.status().value("last", ""), "start") << "it never ended";
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
}
