// Every screen at every size in both languages: no text is cut, none lies on another, none is a bare language key.
#include <algorithm>
#include <map>

#include "scenario/runs.h"

namespace {
using nlohmann::json;

struct Rect {
    int left = 0, top = 0, right = 0, bottom = 0;
    bool holds(const Rect &r) const { return r.left >= left && r.top >= top && r.right <= right && r.bottom <= bottom; }
    bool meets(const Rect &r) const { return r.left < right && left < r.right && r.top < bottom && top < r.bottom; }
    Rect common(const Rect &r) const {
        return {std::max(left, r.left), std::max(top, r.top), std::min(right, r.right), std::min(bottom, r.bottom)};
    }
};
Rect rect_of(const json &thing) {
    const auto r = thing.at("rect").get<std::vector<int>>();
    return {r.at(0), r.at(1), r.at(2), r.at(3)};
}
std::string place(const Rect &r) {
    return " " + json{r.left, r.top, r.right, r.bottom}.dump();
}

struct Shown {
    std::string text;
    Rect rect, room; // as drawn, and where it must stay
    Rect seen() const { return rect.common(room); }
};

using Texts = std::map<std::string, std::string>; // by language key

// The language's texts as the handset has them.
Texts read_texts(const std::string &language) {
    std::ifstream file(source_folder() + "/virtual/rootfs/tki_language.ini");
    Texts found;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('[')) inside = line == "[" + language + "]";
        const size_t equals = line.find('=');
        if (inside && equals != std::string::npos) found[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return found;
}

// Looks for faults on one screen.
class Inspector {
public:
    Inspector(const json &dump, const Texts &keys) : screen_{0, 0, dump.at("width"), dump.at("height")}, keys_(keys) {
        for (const json &window : dump.at("windows")) {
            shown_.clear();
            if (window.value("visible", false) && !screen_.holds(rect_of(window)))
                faults_ += "  the window" + place(rect_of(window)) + " leaves the screen\n";
            walk(window, window.value("caption", "") == "SoftKeyBar");
            for (const Shown &s : shown_) check(s);
            find_overlaps();
        }
    }
    const std::string &faults() const { return faults_; }
    int texts() const { return texts_; }

private:
    void find_overlaps() {
        for (size_t i = 0; i < shown_.size(); ++i)
            for (size_t j = 0; j < i; ++j)
                if (shown_[i].seen().meets(shown_[j].seen()))
                    fault(shown_[j], "lies on \"" + shown_[i].text + "\"", shown_[i].rect);
    }

    void walk(const json &window, bool softkeys) {
        if (!window.value("visible", false)) return;
        const Rect box = rect_of(window);
        const bool scrolls = window.value("class", "") == "scrollview";
        // What a later control covers is not seen.
        std::erase_if(shown_, [&](const Shown &s) { return box.holds(s.seen()); });
        for (const json &text : window.at("texts")) {
            const Rect rect = rect_of(text);
            if (scrolls && is_scrolled_out(rect, box)) continue;
            shown_.push_back({text.at("text"), rect, softkeys ? third_of(box, rect) : box});
            // A row's text is told cut to its row: one as wide as that has lost something.
            if (scrolls && rect.left <= box.left && rect.right >= box.right) fault(shown_.back(), "fills its row", box);
        }
        for (const json &child : window.at("children")) walk(child, softkeys);
    }

    static bool is_scrolled_out(const Rect &text, const Rect &box) {
        return text.bottom > box.bottom || text.top < box.top;
    }

    static Rect third_of(const Rect &bar, const Rect &text) {
        const int width = bar.right - bar.left;
        const int third = std::clamp((text.left + text.right) / 2 * 3 / width, 0, 2);
        return {width * third / 3, bar.top, width * (third + 1) / 3, bar.bottom};
    }

    void check(const Shown &s) {
        ++texts_;
        if (!s.room.holds(s.rect)) fault(s, "leaves its room", s.room);
        if (!screen_.holds(s.rect)) fault(s, "leaves the screen", screen_);
        if (s.rect.bottom - s.rect.top < 10) fault(s, "is too small to read", s.room);
        if (keys_.contains(s.text.substr(0, s.text.find_first_of(": ")))) fault(s, "is a language key", s.room);
    }

    void fault(const Shown &s, const std::string &what, const Rect &other) {
        faults_ += "  \"" + s.text + "\"" + place(s.rect) + " " + what + place(other) + "\n";
    }

    const Rect screen_;
    const Texts &keys_;
    std::vector<Shown> shown_;
    std::string faults_;
    int texts_ = 0;
};

using Look = std::tuple<const char *, const char *>; // size (a square one is a round panel's), language

constexpr char NO_TEXT[] = ""; // the whole screen without a text

// Items of the list, in its order, and a text that is to be waited for.
struct Item {
    const char *row, *shown;
} ITEMS[] = {{"menu_LCDTest", NO_TEXT},
             {"menu_AllLightTest", "info_LightLcd"},
             {"menu_LoopBackTest", "info_LoopBackNote"},
             {"menu_RingTest", "info_RingNote"},
             {"title_CallTest", "info_CallReceiverNote"},
             {"menu_VibratorTest", "info_VibratorNote"},
             {"title_BatteryCheck", "BatteryHealth"},
             {"menu_KeyTest", "info_keyItemTVText"},
             {"title_TPSelfTest", "TestResultPass"},
             {"menu_TouchTest", NO_TEXT},
             {"menu_AllSensorTest", "info_SensorCalibrateNote"},
             {"title_SimCardTest", "info_CardNote"},
             {"menu_ItemTest_SmartPACal", "TestResultPass"}};

// What the PC opens and closes. Ahead: the part that is given something to feel. Shown: language key, or the text itself.
struct Remote {
    const char *open, *close;
    std::vector<const char *> feel;
    const char *shown;
} REMOTES[] = {{"backcameraMoudle testItem open", "backcameraMoudle testItem close", {}, "info_CameraNote"},
               {"frontcameraMoudle testItem open", nullptr, {}, "info_CameraNote"},
               {"frontcameraMoudle testItem snapshot", "frontcameraMoudle testItem close", {}, "info_SnapshotSaved"},
               {"auxbackcameraMoudle testItem open", "auxbackcameraMoudle testItem close", {}, "info_CameraNote"},
               {"FMMoudle testItem 10800", "FMMoudle testItem close", {}, "info_HeadSetNote"},
               {"hallsensorMoudle testItem open", "hallsensorMoudle testItem close", {}, "info_HallAway"},
               {"headsethookMoudle testItem open", "headsethookMoudle testItem close", {}, "info_KeyItemHook"},
               {"audioMoudle testItem HeadsetHeadset", "audioMoudle testItem close", {}, "info_PCTestNote"},
               {"nfcMoudle testItem open", "nfcMoudle testItem close", {"nfc", "04A1B2C3D4E5F6"}, "TestResultPass"},
               {"fingerprintMoudle testItem open", "fingerprintMoudle testItem close", {"fingerprint", "1"}, "info_FingerSeen"},
               {"forcetouchMoudle testItem open", "forcetouchMoudle testItem close", {"forcetouch", "300"}, "info_ForceTouchNote"},
               {"forcetouchcalibrationMoudle testItem open", "forcetouchcalibrationMoudle testItem close", {"forcetouch", "0"},
                "info_ForceCalibrated"},
               {"LightControl testItem Open", "LightControl testItem Close", {}, "info_LightLcd"},
               {"callTestMoudle testItem open speaker", "callTestMoudle testItem close", {}, "info_CallSpeakerNote"},
               {"SpeakerCalibrateMoudle testItem open", nullptr, {"smartpa", "100"}, "info_ImpedanceLimits"},
               {"SpeakerCalibrateMoudle testItem calibrate", "SpeakerCalibrateMoudle testItem close", {}, "info_SmartPAFail"},
               {"sensorMoudle testItem open", nullptr, {"accelerometer", "9.8", "0", "0"}, "info_SensorCalibrateNote"},
               {"sensorMoudle testItem calibrate", "sensorMoudle testItem close", {}, "info_SensorNotCalibrated"},
               {"MemoryPCBA testItem start", "MemoryPCBA testItem stop", {}, "PCBA Memory Testing..."}};

class Screens : public testing::TestWithParam<Look> {
protected:
    const std::string size = std::get<0>(GetParam()), language = std::get<1>(GetParam());
    const Texts texts = read_texts(language);
    const bool round = size.substr(0, size.find('x')) == size.substr(size.find('x') + 1);
    Handset *handset = nullptr;

    std::string text(const std::string &key) const {
        const auto found = texts.find(key);
        return found == texts.end() ? key : found->second;
    }
    // Many settings for one boot: every window of the program is to be opened.
    std::vector<Setting> settings() const {
        std::vector<Setting> all = runs::settings({{"MMI", "Language", language},
                                                   {"MMI", "UEShape", round ? "1" : "0"},
                                                   {"MMI", "pretest_menu_enable", "1"},
                                                   {"MAIN_UI", "coupleTest", "1"},
                                                   {"TKI_SENSOR", "parameter", "light:1;heartrate:1"},
                                                   {"TKI_KEYS", "parameter",
                                                    "VOLUME_UP:1;VOLUME_DOWN:1;HOME:1;BACK:1;MENU:1;POWER:1;CAMERA:1;SEARCH:1;"
                                                    "APP_SWITCH:1;TORCH:1;TV:1"}});
        for (const char *item : {"ALLLIGHT", "AUDIO_LOOPBACK", "RINGTONE", "CALLTEST", "BATTERY", "TPSELF", "TOUCH", "SENSOR",
                                 "SIMCARD", "SMARTPACAL"})
            all.push_back({std::string("TKI_") + item, "enable", "1"});
        for (const char *technology : {"LTE", "CDMA", "WCDMA", "TDSCDMA", "GSM"})
            all.push_back({std::string(technology) + "_NS_TEST", "enable", "1"});
        return all;
    }
    void inspect(const std::string &name) {
        const Inspector inspector(handset->dump(), texts);
        EXPECT_TRUE(inspector.faults().empty()) << name << " at " << size << ":\n" << inspector.faults();
        EXPECT_GT(inspector.texts(), 0) << name;
    }
    // Begins with: values may follow a text.
    void look_at(const std::string &key) {
        const std::string wanted = text(key);
        handset->wait_for("\"" + wanted + "\"", [&](const vh::ScreenView &view) {
            return std::ranges::any_of(view.front(), [&](const vh::ScreenText &t) { return t.text.starts_with(wanted); });
        }, 20000);
        inspect(key);
    }
    // Touches through the colours to the question.
    void see_colours() {
        const std::string note = text("info_LCDNote");
        handset->wait_for("the display's question", [&](const vh::ScreenView &view) {
            if (view.front_shows(note)) return true;
            if (view.front_covers_screen()) handset->tap(view.width() / 2, view.height() / 2);
            return false;
        }, 30000);
        inspect("display verdict");
    }
    void see_item(const Item &item) {
        if (item.shown != NO_TEXT) return look_at(item.shown);
        handset->wait_for("the whole screen", [](const vh::ScreenView &view) { return view.front_covers_screen(); });
        if (item.row == std::string("menu_LCDTest")) see_colours();
    }
    // From the list by its keys into each test, and out of it as failed.
    void see_items() {
        const auto list_is_back = [this] {
            handset->wait_for("the list", [&](const vh::ScreenView &view) {
                return view.soft_keys()[2] == text("softkeybar_back") && !view.front_covers_screen();
            });
        };
        for (const Item &item : ITEMS) {
            SCOPED_TRACE(item.row);
            list_is_back();
            if (&item != ITEMS) handset->press("volumedown");
            inspect(std::string("list at ") + item.row);
            handset->press("pass");
            see_item(item);
            if (item.row == std::string("title_CallTest")) {
                handset->wait_for("the other path", [&](const vh::ScreenView &view) {
                    return view.soft_keys()[1] == text("softkeybar_speaker");
                });
                handset->press("start");
                look_at("info_CallSpeakerNote");
            }
            handset->press("fail");
        }
        list_is_back();
    }
    void see_remotes() {
        handset->wait_for_pc();
        for (const Remote &remote : REMOTES) {
            SCOPED_TRACE(remote.open);
            std::vector<std::string> feel(remote.feel.begin(), remote.feel.end());
            feel.insert(feel.begin(), "sensor");
            if (feel.size() > 1) {
                ASSERT_EQ(handset->tool(feel).status, 0);
            }
            handset->at(remote.open);
            look_at(remote.shown);
            if (remote.close) handset->at(remote.close);
        }
    }
    void see_coupling() {
        handset->tap_text(text("menu_CoupleTest"));
        look_at("CoupleTestItem1");
        handset->tap_text(text("CoupleTestItem1"));
        look_at("singalCoupleNote2");
        handset->press("fail");
        handset->wait_for_text(text("CoupleTestItem2"));
        handset->tap_text(text("CoupleTestItem2"));
        handset->wait_for("the start key", [](const vh::ScreenView &view) { return view.soft_keys()[1] == "start"; });
        runs::tap_softkey(*handset, 1);
        handset->wait_for("all verdicts", [](const vh::ScreenView &view) {
            return std::ranges::count(view.front(), "Pass", &vh::ScreenText::text) == 9;
        }, 30000);
        inspect("measurement");
        handset->press("fail");
        handset->wait_for_text(text("CoupleTestItem2"));
        handset->press("fail");
    }
    void see_menus() {
        look_at("menu_CoupleTest");
        see_coupling();
        handset->tap_text(text("menu_ProduceInfo"));
        look_at("menu_SoftVer");
        for (int row = 0; row < 5; ++row) handset->press("volumedown");
        look_at("menu_FlashType");
        handset->press("fail");
        handset->tap_text(text("menu_DeviceTest"));
        look_at("menu_AutoTest_EX2");
        handset->tap_text(text("menu_AutoTest"));
        look_at("info_continuetest");
        handset->press("pass");
        handset->tap_text(text("menu_ItemTest"));
        look_at("menu_LCDTest");
    }
    void see_warnings() {
        handset->key_down("power");
        look_at("info_PowerOffNote");
        handset->key_up("power");
        handset->press("fail");
        ASSERT_EQ(handset->tool({"battery", "--level", "9", "--charger", "none"}).status, 0);
        const std::string warning = text("batteryLevelWaring");
        handset->wait_for("the low battery in the bar", [&](const vh::ScreenView &view) {
            return view.shows(warning.substr(0, warning.find('%')));
        });
        inspect("low battery");
    }
};

TEST_P(Screens, NoTextIsCutOrOverlaps) {
    Handset booted({.size = size, .speed = runs::FAST, .settings = settings(), .before_boot = [](const vh::StatePaths &paths) {
                        runs::write_flags(paths, {{runs::OVERALL, Verdict::pass}});
                    }});
    handset = &booted;
    see_menus();
    see_items();
    see_remotes();
    see_warnings();
}

TEST_P(Screens, NeitherInTheReducedWindow) {
    Handset booted({.size = size, .bootmode = "ffbm-99", .settings = {{"MMI", "Language", language}}});
    handset = &booted;
    look_at("title_ftm");
    look_at("info_FTMPowerOffNote4");
    if (language != "Chinese") return;
    booted.shell("printf zh-CN > /dev/__vxo_props/ro.product.locale");
    booted.kill_program();
    look_at("info_FTMPowerOffNote5");
}

INSTANTIATE_TEST_SUITE_P(AllSizes, Screens,
                         testing::Combine(testing::Values("240x320", "320x480", "480x480", "480x854", "720x1280", "1080x2340"),
                                          testing::Values("English", "Chinese")),
                         [](const auto &look) {
                             return std::string("at") + std::get<0>(look.param) + std::get<1>(look.param);
                         });
} // namespace
