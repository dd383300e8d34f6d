// A hand that knows nothing and a PC in a hurry, over all windows: seeded, so that the same hand comes again.
#include <array>
#include <atomic>
#include <random>
#include <regex>
#include <thread>

#include "scenario/runs.h"

namespace {
constexpr int ACTIONS = 200;
const std::array COMMANDS{
    "LCDMoudle testItem FF0000", "LCDMoudle testItem close", "vibratorMoudle testItem open", "vibratorMoudle testItem close",
    "keyboardMoudle testItem open", "keyboardMoudle testItem close", "touchMoudle testItem open", "touchMoudle testItem close",
    "audioMoudle testItem HeadsetSpeaker", "audioMoudle testItem Speaker", "audioMoudle testItem close",
    "audioMoudle testItem AuxiliaryMicroHeadset2", "callTestMoudle testItem open speaker", "callTestMoudle testItem close",
    "audioRingMoudle testItem open", "audioRingMoudle testItem close", "audioMoudle testItem HiFi", "hifiaudioMoudle testItem close",
    "IMEIMoudle testItem read", "softwareMoudle testItem internal", "batteryMoudle testItem power", "mmiMoudle testItem close",
    "mmiMoudle testItem open", "CloseDialog testItem start", "testinfoMoudle testItem 300,read"};
const std::array CLOSES{"LCDMoudle testItem close", "vibratorMoudle testItem close", "keyboardMoudle testItem close",
                        "touchMoudle testItem close", "audioMoudle testItem close", "callTestMoudle testItem close"};

struct RandomOperator : testing::TestWithParam<unsigned> {
    static std::vector<Setting> all_items() {
        std::vector<Setting> all{{"TKI_BATTERY", "parameter", "thresholdval:1"}};
        for (const char *item : {"TKI_ALLLIGHT", "TKI_AUDIO_LOOPBACK", "TKI_RINGTONE", "TKI_CALLTEST", "TKI_BATTERY",
                                 "TKI_TPSELF", "TKI_TOUCH", "TKI_SENSOR", "TKI_SIMCARD", "TKI_SMARTPACAL"})
            all.push_back({item, "enable", "1"});
        return runs::settings(all);
    }
    Handset handset{{.speed = runs::FAST, .settings = all_items()}};
    std::mt19937 chance{GetParam()};

    int pick(int below) { return static_cast<int>(chance() % static_cast<unsigned>(below)); }
    // What the screen offers is chosen more often than by chance, so that the hand gets about.
    void touch_a_text() {
        const std::vector<vh::ScreenText> texts = handset.screen().front();
        if (texts.empty()) return;
        const vh::ScreenText &text = texts[static_cast<size_t>(pick(static_cast<int>(texts.size())))];
        handset.client().tap(text.x(), text.y(), 5);
    }
    void act() {
        static constexpr std::array keys{"volumeup", "volumedown", "pass", "fail", "camera", "home", "back"};
        switch (pick(6)) {
        case 0: return handset.client().tap(pick(720), pick(1280), 5);
        case 1: return handset.client().swipe(pick(720), pick(1280), pick(720), pick(1280), 40);
        case 2:
        case 3: return touch_a_text();
        default: return handset.press(keys[static_cast<size_t>(pick(static_cast<int>(keys.size())))], 5);
        }
    }
    // Verdicts are given in automatic runs, which chance alone seldom begins.
    void start_run() {
        for (const char *text : {"Device tests", "Automatic run"})
            if (const auto seen = handset.screen().find(text)) handset.client().tap(seen->x(), seen->y(), 5);
    }
    // The verdicts that were given, as the program's log has them: the last of each station.
    runs::Stations verdicts() const {
        static const std::regex line("verdict of [A-Z_]+: station ([0-9]+) ([12])");
        const std::string log = content_of(handset.client().paths().log());
        runs::Stations found;
        for (std::sregex_iterator it(log.begin(), log.end(), line), end; it != end; ++it)
            found[std::stoi((*it)[1])] = static_cast<Verdict>(std::stoi((*it)[2]));
        return found;
    }
    void leave_all() {
        for (const char *command : CLOSES) handset.at(command);
        handset.at("CloseDialog testItem start");
        handset.wait_for("the menu behind whatever the hand had opened", [&](const vh::ScreenView &view) {
            if (view.front_shows("Device tests")) return true;
            handset.press("fail");
            return false;
        }, 20000);
    }
};

TEST_P(RandomOperator, LeavesNoWindowNoDialogAndNoVerdictOfItsOwn) {
    const size_t windows = handset.dump().at("windows").size();
    runs::open_list(handset);
    handset.tap_text("Automatic run");
    runs::pass_lcd(handset);
    std::atomic<bool> stop{false};
    std::atomic<int> commands{0};
    std::thread pc([&, seed = GetParam()] {
        std::mt19937 order(seed);
        vh::PcLink link(handset.client());
        while (!stop) {
            commands += link.at(COMMANDS[order() % COMMANDS.size()]).status != 3;
            handset.wait_ms(300);
        }
    });
    for (int i = 0; i < ACTIONS; ++i) {
        if (i % 50 == 0) start_run();
        act();
    }
    stop = true;
    pc.join();
    EXPECT_GT(commands, 0);
    leave_all();
    runs::Stations written = runs::stations(handset);
    for (const int overall : {runs::OVERALL, runs::OVERALL_PRETEST}) written.erase(overall);
    EXPECT_EQ(written, verdicts());
    EXPECT_EQ(written.count(runs::LCD), 1u);
    EXPECT_EQ(handset.dump().at("windows").size(), windows) << handset.dump().dump(1);
    handset.press("power", 2000);
    handset.wait_for_text("Power off"); // a dialog that was lost would keep this one away
    handset.tap_text("No");
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.status().value("last", ""), "start") << "it never ended";
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomOperator, testing::Values(7u, 1234u));
} // namespace
