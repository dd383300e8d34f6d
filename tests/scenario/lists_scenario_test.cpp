// The list of single tests: rows, verdict colours, and tests opened one by one.
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

TEST(Lists, SingleTestsShowVerdictsAndWriteNone) {
    const runs::Stations before{{runs::LCD, Verdict::pass}, {runs::VIBRATOR, Verdict::fail}};
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"TKI_SIMCARD", "enable", "1"}}),
                     .before_boot = [&](const vh::StatePaths &paths) { runs::write_flags(paths, before); }});
    runs::open_list(handset);
    EXPECT_FALSE(handset.screen().front_shows("Pretest 1"));
    handset.tap_text("Single tests");
    handset.wait_for_text("Display");
    wait_for_colours(handset, {{"Display", PASSED}, {"Keys", UNTESTED}, {"Vibrator", FAILED}});
    EXPECT_EQ(rows(handset.screen()), (std::vector<std::string>{"Display", "Vibrator", "Keys", "SIM card"}));

    for (const char *verdict : {"fail", "pass"}) {
        handset.tap_text("Vibrator");
        runs::wait_for_vibrator(handset);
        handset.press(verdict);
        handset.wait_for_text("Display");
    }
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

} // namespace
