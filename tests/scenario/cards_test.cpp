// Cards of a whole handset, put in and pulled out while their window is open.
#include "scenario/runs.h"

namespace {
constexpr int CARDS = 324;
}

TEST(Cards, A_run_goes_on_by_itself_when_the_wanted_slots_hold_cards) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"TKI_SIMCARD", "enable", "1"},
                                                 {"TKI_SIMCARD", "parameter", "SIM1:1;SIM2:0;SDCARD:1"},
                                                 {"TKI_LCD", "enable", "0"},
                                                 {"TKI_VIBRATOR", "enable", "0"},
                                                 {"TKI_KEYS", "enable", "0"}})});
    const auto put = [&](const std::string &slot, const std::string &card) {
        const auto outcome = handset.tool({"sensor", slot, card});
        ASSERT_EQ(outcome.status, 0) << outcome.output;
    };
    for (const char *slot : {"sim0", "sim1"}) put(slot, "none");
    runs::open_list(handset);
    handset.tap_text("Automatic run");
    handset.wait_for_text("SIM 1: no card");
    handset.press("pass");
    EXPECT_EQ(handset.at("simMoudle testItem").status, 2);
    EXPECT_EQ(handset.station(CARDS), Verdict::untested);
    put("sim0", "89860012345678901238");
    handset.wait_until("the verdict", [&] { return handset.station(CARDS) == Verdict::pass; });
    EXPECT_EQ(handset.at("simMoudle testItem").text, "89860012345678901238");
}
