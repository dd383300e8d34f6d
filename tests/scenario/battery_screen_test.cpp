// The battery screen, from its first look at the battery to the fuel gauge's period behind it.
#include "scenario/runs.h"

namespace {
constexpr char PERIOD[] = "/sys/module/qpnp_fg/parameters/sram_update_period_ms";
constexpr int BATTERY = 344;

struct BatteryScreen : testing::Test {
    Handset handset{{.speed = runs::FAST, .settings = runs::settings({{"TKI_BATTERY", "enable", "1"},
                                                                      {"TKI_LCD", "enable", "0"},
                                                                      {"TKI_VIBRATOR", "enable", "0"},
                                                                      {"TKI_KEYS", "enable", "0"}})}};
    void SetUp() override { battery({"--charger", "none", "--level", "50"}); }
    void battery(std::vector<std::string> args) {
        args.insert(args.begin(), "battery");
        const auto outcome = handset.tool(args);
        ASSERT_EQ(outcome.status, 0) << outcome.output;
    }
    void start_run() {
        runs::open_list(handset);
        handset.tap_text("Automatic run");
        handset.wait_for_text("Charger:NULL");
    }
};

TEST_F(BatteryScreen, passes_only_when_every_line_has_been_good_and_leaves_the_fuel_gauge_as_it_was) {
    battery({"--temp", "48"});
    handset.wait_for("the warning", [](const vh::ScreenView &view) { return view.shows("Too hot"); });
    start_run();
    EXPECT_EQ(handset.attr(PERIOD), "1000");
    handset.press("pass"); // no line is good yet
    battery({"--charger", "usb"});
    handset.wait_for_text("Charger:USB");
    EXPECT_EQ(handset.screen().soft_keys()[0], "");
    battery({"--charger", "ac"});
    handset.wait_for_text("Charger:AC");
    EXPECT_EQ(handset.screen().soft_keys()[0], "") << "too warm";
    battery({"--temp", "25"});
    handset.wait_for("the right to pass", [](const vh::ScreenView &view) { return view.soft_keys()[0] == "Pass"; });
    battery({"--charger", "none"}); // what was good stays good
    handset.wait_for_text("Charger:NULL");
    handset.press("pass");
    handset.wait_until("the verdict", [&] { return handset.station(BATTERY) == Verdict::pass; });
    EXPECT_EQ(handset.attr(PERIOD), "30000");
}

TEST_F(BatteryScreen, a_killed_program_puts_the_period_back_at_its_next_start) {
    start_run();
    handset.kill_program();
    handset.wait_until("the old period", [&] { return handset.attr(PERIOD) == "30000"; });
    EXPECT_EQ(handset.station(BATTERY), Verdict::untested);
}

TEST_F(BatteryScreen, failed_by_its_key) {
    start_run();
    handset.press("fail");
    handset.wait_until("the verdict", [&] { return handset.station(BATTERY) == Verdict::fail; });
    handset.wait_until("the old period", [&] { return handset.attr(PERIOD) == "30000"; });
}
} // namespace
