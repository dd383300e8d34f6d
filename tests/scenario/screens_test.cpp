// Every screen at every size in both languages: no text is cut, none lies on another, none is a bare language key.
#include <algorithm>
#include <map>
#include <sstream>

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
    std::ostringstream out;
    out << " (" << r.left << "," << r.top << "," << r.right << "," << r.bottom << ")";
    return out.str();
}

struct Shown {
    std::string text;
    Rect rect, room; // as drawn, and where it must stay
    Rect seen() const { return rect.common(room); }
};

// Looks for faults on one screen.
class Inspector {
public:
    explicit Inspector(const json &dump) : screen_{0, 0, dump.at("width"), dump.at("height")} {
        for (const json &window : dump.at("windows")) {
            shown_.clear();
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
        for (const char *prefix : {"info_", "title_", "menu_", "softkeybar_", "Result_", "BatteryCharging_"})
            if (s.text.starts_with(prefix)) fault(s, "is a language key", s.room);
    }

    void fault(const Shown &s, const std::string &what, const Rect &other) {
        faults_ += "  \"" + s.text + "\"" + place(s.rect) + " " + what + place(other) + "\n";
    }

    Rect screen_;
    std::vector<Shown> shown_;
    std::string faults_;
    int texts_ = 0;
};

// The language's texts as the handset has them.
std::map<std::string, std::string> read_texts(const std::string &language) {
    const char *source = getenv("VXO_SOURCE");
    std::ifstream file((source ? std::string(source) : ".") + "/virtual/rootfs/tki_language.ini");
    std::map<std::string, std::string> found;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('[')) inside = line == "[" + language + "]";
        const size_t equals = line.find('=');
        if (inside && equals != std::string::npos) found[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return found;
}

using Look = std::tuple<const char *, const char *>; // size, language

class Screens : public testing::TestWithParam<Look> {
protected:
    std::string size = std::get<0>(GetParam()), language = std::get<1>(GetParam());
    std::map<std::string, std::string> texts = read_texts(language);

    std::string text(const std::string &key) const {
        const auto found = texts.find(key);
        if (found == texts.end()) throw std::runtime_error("the language file has no " + key);
        return found->second;
    }
    void inspect(const Handset &handset, const std::string &name) {
        const Inspector inspector(handset.dump());
        EXPECT_TRUE(inspector.faults().empty()) << name << " at " << size << ":\n" << inspector.faults();
        EXPECT_GT(inspector.texts(), 0) << name;
    }
    void look_at(const Handset &handset, const std::string &key) {
        handset.wait_for_text(text(key));
        inspect(handset, key);
    }
    // From the item list into one test, and out of it as failed.
    void look_into(Handset &handset, const std::string &row, const std::string &note, const std::string &next_row) {
        handset.tap_text(text(row));
        look_at(handset, note);
        handset.press("fail");
        handset.wait_for_text(text(next_row));
    }
    void look_at_menu_and_lists(Handset &handset);
    void look_at_tests(Handset &handset);
    void look_at_power_dialog(Handset &handset);
};

void Screens::look_at_menu_and_lists(Handset &handset) {
    look_at(handset, "menu_CoupleTest");
    handset.tap_text(text("menu_ProduceInfo"));
    handset.wait_for("the product information", [](const vh::ScreenView &view) { return view.front().size() >= 6; });
    inspect(handset, "product information");
    handset.press("fail");
    handset.tap_text(text("menu_DeviceTest"));
    look_at(handset, "menu_AutoTest_EX2");
    handset.tap_text(text("menu_AutoTest"));
    look_at(handset, "info_continuetest");
    handset.press("pass");
    handset.tap_text(text("menu_ItemTest"));
    look_at(handset, "menu_LCDTest");
}

void Screens::look_at_tests(Handset &handset) {
    look_into(handset, "menu_VibratorTest", "info_VibratorNote", "menu_LCDTest");
    look_into(handset, "menu_KeyTest", "info_KeyItem5", "menu_LCDTest");
    look_into(handset, "title_SimCardTest", "info_NotFitted", "menu_LCDTest");
    handset.tap_text(text("menu_LCDTest"));
    const std::string note = text("info_LCDNote");
    handset.wait_for("the display's question", [&](const vh::ScreenView &view) {
        if (view.front_shows(note)) return true;
        if (view.front_covers_screen()) handset.tap(view.width() / 2, view.height() / 2);
        return false;
    }, 30000);
    inspect(handset, "display verdict");
    handset.press("fail");
    handset.wait_for_text(text("menu_VibratorTest"));
}

void Screens::look_at_power_dialog(Handset &handset) {
    handset.key_down("power");
    look_at(handset, "info_PowerOffNote");
    handset.key_up("power");
    handset.press("fail");
    handset.wait_for_text(text("menu_VibratorTest"));
}

TEST_P(Screens, NoTextIsCutOrOverlaps) {
    Handset handset({.size = size,
                     .speed = runs::FAST,
                     .settings = runs::settings({{"MMI", "Language", language},
                                                 {"MMI", "pretest_menu_enable", "1"},
                                                 {"MAIN_UI", "coupleTest", "1"},
                                                 {"TKI_SIMCARD", "enable", "1"}}),
                     .before_boot = [](const vh::StatePaths &paths) {
                         runs::write_flags(paths, {{runs::OVERALL, Verdict::pass}});
                     }});
    look_at_menu_and_lists(handset);
    look_at_tests(handset);
    look_at_power_dialog(handset);
}

TEST_P(Screens, NeitherInTheReducedWindow) {
    Handset handset({.size = size, .bootmode = "ffbm-99", .settings = {{"MMI", "Language", language}}});
    look_at(handset, "title_ftm");
    look_at(handset, "info_FTMPowerOffNote4");
    if (language != "Chinese") return;
    handset.shell("printf zh-CN > /dev/__vxo_props/ro.product.locale");
    handset.kill_program();
    look_at(handset, "info_FTMPowerOffNote5");
}

INSTANTIATE_TEST_SUITE_P(AllSizes, Screens,
                         testing::Combine(testing::Values("240x320", "480x854", "720x1280", "1080x2340", "1440x3120"),
                                          testing::Values("English", "Chinese")),
                         [](const auto &look) {
                             return std::string("at") + std::get<0>(look.param) + std::get<1>(look.param);
                         });
} // namespace
