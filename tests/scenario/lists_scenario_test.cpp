// The device list and the list of single tests: rows, verdict colours, and tests opened one by one.
#include <algorithm>

#include "scenario/runs.h"

namespace {
constexpr int PASSED = 10, FAILED = 12, UNTESTED = 19;

std::vector<std::string> rows(const vh::ScreenView &view) {
    std::vector<vh::ScreenText> texts = view.front();
    std::sort(texts.begin(), texts.end(), [](const auto &a, const auto &b) { return a.top < b.top; });
    std::vector<std::string> found;
    for (const vh::ScreenText &text : texts) found.push_back(text.text);
    return found;
}

void open_items(Handset &handset) {
    runs::open_list(handset);
    handset.tap_text("Single tests");
    handset.wait_for_text("Display");
}

void wait_for_colours(const Handset &handset, const std::map<std::string, int> &wanted) {
    std::string what = "colours";
    for (const auto &[title, colour] : wanted) what += " " + title + "=" + std::to_string(colour);
    handset.wait_for(what, [&](const vh::ScreenView &view) {
        return std::all_of(wanted.begin(), wanted.end(), [&](const auto &row) {
            const std::optional<vh::ScreenText> text = view.find(row.first);
            return view.front_shows(row.first) && text->color == row.second;
        });
    });
}

TEST(Lists, RowsFollowTheConfiguration) {
    Handset two({.speed = runs::FAST, .settings = runs::settings({{"TKI_SIMCARD", "enable", "1"}})});
    open_items(two);
    two.wait_for_text("SIM card");
    EXPECT_EQ(rows(two.screen()), (std::vector<std::string>{"Display", "Vibrator", "Keys", "SIM card"}));
    EXPECT_TRUE(two.screen().shows("Single tests")) << two.screen().summary(); // the title
    two.press("fail");
    runs::wait_for_list(two);
    EXPECT_FALSE(two.screen().front_shows("Pretest 1"));
    EXPECT_FALSE(two.screen().front_shows("Pretest 2"));
    runs::tap_softkey(two, 2);
    two.wait_for_text("Device tests");

    Handset four({.speed = runs::FAST, .settings = runs::settings({{"MMI", "pretest_menu_enable", "1"}})});
    runs::open_list(four);
    four.wait_for_text("Pretest 2");
    EXPECT_TRUE(four.screen().front_shows("Pretest 1"));
}

TEST(Lists, SingleTestsShowVerdictsAndWriteNone) {
    const runs::Stations before{{runs::LCD, Verdict::pass}, {runs::VIBRATOR, Verdict::fail}};
    Handset handset({.speed = runs::FAST, .settings = runs::settings(), .before_boot = [&](const vh::StatePaths &paths) {
                         runs::write_flags(paths, before);
                     }});
    open_items(handset);
    wait_for_colours(handset, {{"Display", PASSED}, {"Keys", UNTESTED}, {"Vibrator", FAILED}});

    handset.tap_text("Vibrator");
    runs::wait_for_vibrator(handset);
    handset.press("pass");
    handset.wait_for_text("Display");
    handset.tap_text("Vibrator");
    runs::wait_for_vibrator(handset);
    handset.press("fail");
    handset.wait_for_text("Display");
    handset.tap_text("Display");
    runs::see_colours(handset);
    handset.press("fail");
    handset.wait_for("the list", [](const vh::ScreenView &view) { return view.front_shows("Keys"); });
    handset.tap_text("Keys");
    handset.wait_for_text("Volume up");
    handset.client().set_station(runs::KEYS, static_cast<int>(Verdict::pass)); // somebody else's verdict
    runs::pass_keys(handset);
    wait_for_colours(handset, {{"Display", PASSED}, {"Keys", PASSED}, {"Vibrator", FAILED}});
    runs::Stations after = before;
    after[runs::KEYS] = Verdict::pass;
    EXPECT_EQ(runs::stations(handset), after);
}

TEST(Lists, ALongListIsWalkedWithTheVolumeKeys) {
    std::vector<Setting> all;
    for (const char *item : {"TKI_ALLLIGHT", "TKI_AUDIO_LOOPBACK", "TKI_RINGTONE", "TKI_CALLTEST", "TKI_BATTERY", "TKI_TPSELF",
                             "TKI_TOUCH", "TKI_SENSOR", "TKI_SIMCARD", "TKI_SMARTPACAL"})
        all.push_back({item, "enable", "1"});
    Handset handset({.size = "240x320", .speed = runs::FAST, .settings = runs::settings(all)});
    open_items(handset);
    EXPECT_FALSE(handset.screen().front_shows("Amplifier")) << "the list has room for all: use a smaller screen";
    const auto press_until_seen = [&](const char *key, const char *title) {
        handset.wait_for(title, [&](const vh::ScreenView &view) {
            if (view.front_shows(title)) return true;
            handset.press(key);
            return false;
        });
    };
    press_until_seen("volumedown", "Amplifier");
    EXPECT_FALSE(handset.screen().front_shows("Display"));
    press_until_seen("volumeup", "Display");
    handset.tap_text("Display");
    runs::wait_for_colour(handset);
}
} // namespace
