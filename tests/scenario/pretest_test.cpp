// The two pretests: what each runs, in which order they may be run, and what they leave on the partition.
#include "scenario/runs.h"

using runs::LCD, runs::KEYS, runs::VIBRATOR, runs::OVERALL, runs::OVERALL_PRETEST, runs::Stations;

namespace {
constexpr char REFUSED[] = "Autotest Pretest1 fails, can't run Pretest2.";

// Pretest 1 has the display (not automatic, but its first item) and the keys; pretest 2 the vibrator, likewise.
// Cards and sensors are left out: not automatic.
std::vector<Setting> split_items() {
    return runs::settings({{"MMI", "pretest_menu_enable", "1"},
                           {"TKI_LCD", "auto", "0"},
                           {"TKI_VIBRATOR", "auto", "0"},
                           {"TKI_VIBRATOR", "pre", "0"},
                           {"TKI_SENSOR", "enable", "1"},
                           {"TKI_SENSOR", "auto", "0"},
                           {"TKI_SENSOR", "pre", "2"},
                           {"TKI_SIMCARD", "enable", "1"},
                           {"TKI_SIMCARD", "auto", "0"}});
}

TEST(Pretest, FirstThenSecond) {
    Handset handset({.speed = runs::FAST, .settings = split_items()});
    runs::open_list(handset);
    handset.tap_text("Pretest 2");
    handset.wait_until("the refusal", [&] { return handset.log_count(REFUSED) == 1; });
    EXPECT_TRUE(handset.screen().front_shows("Pretest 1")) << handset.screen().summary();

    handset.tap_text("Pretest 1");
    runs::see_colours(handset);
    handset.press("fail");
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset),
              (Stations{{LCD, Verdict::fail}, {OVERALL, Verdict::fail}, {OVERALL_PRETEST, Verdict::fail}}));
    handset.tap_text("Pretest 2");
    handset.wait_until("the refusal", [&] { return handset.log_count(REFUSED) == 2; });
    handset.tap_text("Pretest 1");
    runs::wait_for_colour(handset);
    EXPECT_EQ(handset.station(OVERALL_PRETEST), Verdict::fail) << "until it is through";
    runs::pass_lcd(handset);
    runs::pass_keys(handset);
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(LCD), Verdict::pass);
    EXPECT_EQ(handset.station(OVERALL_PRETEST), Verdict::pass);

    handset.tap_text("Pretest 2");
    runs::pass_vibrator(handset);
    runs::wait_for_list(handset);
    runs::Stations passed = runs::ALL_PASSED;
    passed[OVERALL_PRETEST] = Verdict::pass;
    EXPECT_EQ(runs::stations(handset), passed);

    // Passed handsets are asked for; each question starts its own run.
    handset.tap_text("Pretest 2");
    handset.wait_for_text("Already passed. Run again?");
    handset.press("back");
    runs::wait_for_vibrator(handset);
    handset.press("fail");
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(OVERALL), Verdict::fail);
    EXPECT_EQ(handset.station(OVERALL_PRETEST), Verdict::fail);
    handset.client().set_station(OVERALL, 1);
    handset.kill_program();
    runs::open_list(handset);
    handset.tap_text("Pretest 1");
    handset.wait_for_text("Already passed. Run again?");
    EXPECT_TRUE(handset.screen().front_shows("Pretest 1")) << handset.screen().summary();
    handset.press("back");
    runs::wait_for_colour(handset);
}

TEST(Pretest, ANormalRunCountsAsTheFirst) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"MMI", "pretest_menu_enable", "1"},
                                                 {"TKI_LCD", "enable", "0"},
                                                 {"TKI_KEYS", "enable", "0"}})});
    runs::begin_run(handset);
    runs::pass_vibrator(handset);
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(OVERALL_PRETEST), Verdict::pass);
}
} // namespace
