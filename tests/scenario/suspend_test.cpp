// A handset whose processes stand still: what wakes it, how often, and what it does of itself.
#include "scenario/power.h"

using namespace power;

namespace {
const double FAST = patient(1) > 1 ? 20 : 60; // an alarm a second; a slowed program needs longer to be plugged between two
const Setting NEVER_IDLE = idle_setting("1", 30000, 60000);
const std::vector<std::string> TRANSITION = {BACKLIGHT, BLANK, AUTOSLEEP};
using Texts = std::vector<std::string>;
const Texts AT_START = {"brightness 100"};
const Texts TO_SLEEP = {"brightness 10", "brightness 0", "blank 4", "autosleep mem"};
const Texts TO_WAKE = {"autosleep off", "blank 0", "brightness 100"};

Texts operator+(Texts a, const Texts &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void suspend_by_pc(Handset &handset, const std::string &reported = "Charging") {
    wait_bar(handset, reported); // the first report is through
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    wait_suspended(handset);
}

char process_state(const Handset &handset) {
    const std::string status = content_of("/proc/" + std::to_string(handset.status().value("program_pid", 0)) + "/status");
    const size_t at = status.find("State:\t");
    return at == std::string::npos ? '?' : status[at + 7];
}
} // namespace

TEST(Suspend, EverythingStandsStillUntilAKey) {
    Handset handset({.settings = {NEVER_IDLE}});
    wait_bar(handset, "Charging"); // the first report is through
    ASSERT_EQ(handset.shell("echo bench > /sys/power/wake_lock").status, 0);
    handset.client().touch(360, 900); // a finger that lies there, and is lifted when nobody feels it
    handset.press("power");
    wait_asleep(handset);
    handset.wait_ms(1000); // what must not happen cannot be waited for
    EXPECT_EQ(suspends(handset), 0) << "a wake lock holds it off";
    ASSERT_EQ(handset.shell("echo bench > /sys/power/wake_unlock").status, 0);
    wait_suspended(handset);
    handset.client().release();
    handset.wait_until("the program to stand still", [&] { return process_state(handset) == 'T'; });
    EXPECT_EQ(handset.shell("echo $((6*7))").output, "42\n") << "the operator's own commands run";
    EXPECT_NE(handset.tool({"dump"}).output.find("is asleep; press a key"), std::string::npos);
    EXPECT_EQ(handset.tool({"tap", "360", "250"}).status, 1);
    handset.tap(360, 250); // is lost: "Device tests" does not open
    EXPECT_TRUE(handset.client().sleeps());
    handset.press("power");
    wait_awake(handset);
    EXPECT_NE(process_state(handset), 'T');
    EXPECT_TRUE(handset.screen().front_shows("Device tests")) << handset.screen().summary();
    EXPECT_EQ(writes(handset, TRANSITION), AT_START + TO_SLEEP + TO_WAKE) << "once each, autosleep last and first";
    EXPECT_EQ(reason(handset), "key");
    EXPECT_EQ(suspends(handset), 1);
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
}

TEST(Suspend, EachCauseWakesOnce) {
    Handset handset({.speed = FAST, .settings = {NEVER_IDLE}});
    suspend_by_pc(handset);
    EXPECT_EQ(handset.at("batteryMoudle testItem temperature").text, "*28.5");
    EXPECT_EQ(reason(handset), "pc");
    const int before = suspends(handset);
    handset.wait_until("an alarm and another suspend",
                       [&] { return suspends(handset) >= before + 2 && reason(handset) == "alarm"; });
    EXPECT_EQ(writes(handset, TRANSITION), AT_START + TO_SLEEP) << "none of these lights the screen";
    const int seen = suspends(handset); // the charger comes early in an alarm's period
    handset.wait_until("a suspend that has just begun", [&] { return suspends(handset) > seen; });
    wait_suspended(handset);
    handset.client().battery({{"charger", "none"}});
    EXPECT_EQ(reason(handset), "charger");
    wait_bar(handset, "Unplugged");
    EXPECT_TRUE(is_awake(handset));
    suspend_by_pc(handset, "Unplugged");
    handset.client().battery({{"charger", "wireless"}});
    wait_bar(handset, "Charging");
    EXPECT_EQ(writes(handset, TRANSITION), AT_START + TO_SLEEP + TO_WAKE + TO_SLEEP + TO_WAKE);
    EXPECT_EQ(handset.log_count("buf=Unplugged"), 1U);
    EXPECT_EQ(handset.log_count("buf=Charging"), 2U) << "at the start and now";
}

TEST(Suspend, IdlePowerOffAfterTheChargerIsGone) {
    Handset handset({.speed = 900, .settings = {idle_setting("1", 20, 1800)}});
    handset.wait_ms(2500000); // what must not happen cannot be waited for
    ASSERT_EQ(handset.state(), "running") << "each time it was to go off it was charging or full";
    const int before = suspends(handset);
    EXPECT_GE(before, 2);
    handset.client().battery({{"charger", "none"}});
    handset.wait_until("a suspend without charger", [&] { return suspends(handset) > before; });
    EXPECT_EQ(handset.state(), "running") << "unplugging began a new idle period";
    wait_off(handset);
    const std::string vibrator = "/sys/class/leds/vibrator/";
    EXPECT_EQ(writes(handset, {vibrator + "duration", vibrator + "activate"}), (Texts{"duration 1000", "activate 1"}));
    EXPECT_FALSE(handset.client().sleeps());
}

TEST(Suspend, HeatEndsItOnce) {
    Handset handset({.settings = {NEVER_IDLE}});
    suspend_by_pc(handset);
    handset.client().battery({{"temp", 60}});
    wait_off(handset);
    EXPECT_EQ(handset.log_count("battery temperature error!"), 1U);
    EXPECT_EQ(reason(handset), "battery");
}

// Both at once: the second of them waits for the first, and nothing happens twice.
TEST(Suspend, TransitionsThatMeet) {
    Handset handset({.speed = 20, .settings = {idle_setting("1", 20, 60000)}});
    wait_bar(handset, "Charging"); // the first report is through
    handset.fault(BACKLIGHT, "delay=600");
    handset.wait_until("the automatic sleep to begin", [&] { return handset.attr(BACKLIGHT) == "10"; });
    handset.press("power");
    wait_awake(handset);
    EXPECT_EQ(writes(handset, TRANSITION), AT_START + TO_SLEEP + TO_WAKE);
    handset.wait_until("the next sleep to begin", [&] { return handset.attr(BACKLIGHT) == "10"; });
    handset.client().battery({{"charger", "none"}});
    wait_awake(handset);
    EXPECT_EQ(writes(handset, TRANSITION), AT_START + TO_SLEEP + TO_WAKE + TO_SLEEP + TO_WAKE);
}

TEST(Suspend, WithoutAlarmClocks) {
    Handset handset({.speed = FAST, .settings = {NEVER_IDLE}});
    handset.set_attr("/sys/class/rtc/rtc0/power/wakeup", "disabled");
    handset.client().battery({{"drain", 0}});
    handset.kill_program();
    EXPECT_TRUE(handset.log_contains("BATTERYSERVICE", "no alarm clock, a suspended handset will not be looked after"));
    suspend_by_pc(handset);
    const int before = suspends(handset);
    handset.wait_ms(100000); // what must not happen cannot be waited for
    EXPECT_EQ(suspends(handset), before);
    EXPECT_TRUE(handset.client().sleeps());
    handset.press("power");
    wait_awake(handset);
    handset.set_attr(BATTERY + "capacity", "55");
    wait_bar(handset, "55%");
}

TEST(Suspend, RestartsAndEndsAreNotHeldUp) {
    Handset handset({.settings = {NEVER_IDLE}});
    suspend_by_pc(handset);
    handset.kill_program();
    EXPECT_EQ(reason(handset), "program");
    handset.reboot();
    suspend_by_pc(handset);
    EXPECT_EQ(handset.tool({"stop"}).status, 0);
    EXPECT_FALSE(handset.client().answers());
}
