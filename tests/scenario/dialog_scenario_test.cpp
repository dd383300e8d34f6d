// Questions to the operator: before a handset that passed is run again, and behind a long press of the power key.
#include "scenario/power.h"
#include "scenario/runs.h"

namespace {
constexpr char QUESTION[] = "Already passed. Run again?", POWER_QUESTION[] = "Switch off now?";

TEST(RepeatDialog, OneButtonClosesAndTwoKeysStart) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"TKI_VIBRATOR", "enable", "0"}, {"TKI_KEYS", "enable", "0"}}),
                     .before_boot = [](const vh::StatePaths &paths) {
                         runs::write_flags(paths, {{runs::OVERALL, Verdict::fail}, {65, Verdict::pass}}); // either will do
                     }});
    runs::open_list(handset);
    const vh::ScreenText below = *handset.screen().find("Single tests");
    const auto ask = [&] {
        handset.tap_text("Automatic run");
        handset.wait_for_text(QUESTION);
    };
    const auto expect_closed_without_a_run = [&](const char *how) {
        SCOPED_TRACE(how);
        runs::wait_for_list(handset);
        handset.tap_text("Single tests"); // which a run would refuse
        handset.wait_for_text("Display");
        handset.press("fail");
        runs::wait_for_list(handset);
    };
    ask();
    handset.tap(below.x(), below.y()); // only the dialog is listening
    EXPECT_TRUE(handset.screen().front_shows(QUESTION)) << handset.screen().summary();
    handset.press("pass");
    expect_closed_without_a_run("key 60");
    ask();
    handset.tap_text("No");
    expect_closed_without_a_run("touch");
    for (const char *key : {"back", "volumedown"}) {
        SCOPED_TRACE(key);
        ask();
        handset.press(key);
        runs::pass_lcd(handset);
        runs::wait_for_list(handset);
        EXPECT_EQ(handset.station(runs::LCD), Verdict::pass);
        handset.client().set_station(runs::LCD, 0);
    }
    ask(); // key 61 answers with the second button, also where there is one only
    handset.press("fail");
    runs::wait_for_colour(handset);
}

// Time is the wall's: 800 ms decide, and a short press must stay short on a busy workstation.
TEST(PowerKey, ShortPressSleepsAndWakesLongPressAsks) {
    Handset handset;
    const auto hold_until_asked = [&] {
        handset.key_down("power");
        handset.wait_for_text(POWER_QUESTION);
        handset.key_up("power");
    };
    handset.wait_for_text("Device tests");
    handset.press("power");
    power::wait_asleep(handset);
    handset.press("power");
    power::wait_awake(handset);
    EXPECT_TRUE(handset.screen().front_shows("Device tests")) << handset.screen().summary();

    hold_until_asked();
    handset.press("fail"); // no
    handset.wait_for_text("Device tests");
    power::wait_awake(handset); // the release was no short press
    hold_until_asked();
    handset.tap_text("No");
    handset.wait_for_text("Device tests");

    handset.press("power");
    power::wait_asleep(handset);
    hold_until_asked(); // the question wakes the handset
    power::wait_awake(handset);
    handset.tap_text("Yes");
    power::wait_off(handset);
}

TEST(PowerKey, InARunThereIsNoSleepAndNoStaysInTheTest) {
    Handset handset({.settings = {{"TKI_LCD", "enable", "0"}, {"TKI_KEYS", "enable", "0"}}});
    runs::begin_run(handset);
    runs::wait_for_vibrator(handset);
    handset.press("power");
    handset.key_down("power");
    handset.wait_for_text(POWER_QUESTION);
    handset.key_up("power");
    EXPECT_TRUE(power::is_awake(handset));
    handset.press("fail"); // the dialog's key, not the test's
    runs::wait_for_vibrator(handset);
    EXPECT_EQ(handset.station(runs::VIBRATOR), Verdict::untested);
    handset.press("pass");
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(runs::VIBRATOR), Verdict::pass);
}
} // namespace
