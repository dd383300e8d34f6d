// What an operator does in an automatic run, and what is left of it on the handset; for the scenarios of the shell.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "scenario/handset.h"

namespace runs {

constexpr double FAST = 10;
constexpr char COLOUR_NOTE[] = "Were all colours clean and even?";
constexpr char NO_FILE[] = "(no file)";
constexpr int ALL_STATIONS = 400, LCD = 280, KEYS = 312, VIBRATOR = 316, OVERALL = 64, OVERALL_PRETEST = 66;
using Stations = std::map<int, Verdict>;
inline const Stations ALL_PASSED{{LCD, Verdict::pass}, {KEYS, Verdict::pass}, {VIBRATOR, Verdict::pass}, {OVERALL, Verdict::pass}};

// One colour in the display test, and no falling asleep while time runs fast.
inline std::vector<Setting> settings(std::vector<Setting> more = {}) {
    more.push_back({"TKI_LCD", "parameter", "colornum:1"});
    more.push_back({"MMI", "batteryParameter",
                    "lowvolt_threshold:30;powerofftemp:600;OSIdle:0;OS_AutoSleepTime:90;OS_AutoTurnOffTime:1800;"
                    "sys_backlight:/sys/class/leds/lcd-backlight/brightness"});
    return more;
}

// For HandsetOptions::before_boot: a flag partition that earlier stations have written.
inline void write_flags(const vh::StatePaths &paths, const Stations &stations) {
    std::string area(4096, '\0');
    for (const auto &[station, verdict] : stations) {
        char &byte = area[static_cast<size_t>(station / 4)];
        byte = static_cast<char>(byte | static_cast<int>(verdict) << ((3 - station % 4) * 2));
    }
    std::ofstream(paths.part("vxoflag"), std::ios::binary) << area;
}

// Every station that is not untested, as the partition has it.
inline Stations stations(const Handset &handset) {
    Stations found;
    for (int i = 0; i < ALL_STATIONS; ++i)
        if (const Verdict verdict = handset.station(i); verdict != Verdict::untested) found[i] = verdict;
    return found;
}

inline std::string content(const std::string &path) {
    return std::filesystem::exists(path) ? content_of(path) : NO_FILE;
}

// A touch on the left, middle or right third of the bar at the bottom.
inline void tap_softkey(Handset &handset, int third) {
    const vh::ScreenView view = handset.screen();
    handset.tap(view.width() * (2 * third + 1) / 6, view.height() - view.height() / 40);
}

inline void wait_for_list(const Handset &handset) {
    handset.wait_for("the device list with its soft key", [](const vh::ScreenView &view) {
        return view.front_shows("Automatic run") && view.soft_keys()[2] == "Back";
    });
}
inline void open_list(Handset &handset) {
    handset.tap_text("Device tests");
    wait_for_list(handset);
}

inline void begin_run(Handset &handset) {
    open_list(handset);
    handset.tap_text("Automatic run");
}

inline void wait_for_colour(const Handset &handset) {
    handset.wait_for("a colour over the whole screen", [](const vh::ScreenView &view) {
        return view.front_covers_screen() && view.front().empty();
    });
}
// Touches through all colours to the question.
inline void see_colours(Handset &handset) {
    wait_for_colour(handset);
    handset.wait_for("the display's question", [&](const vh::ScreenView &view) {
        if (view.front_shows(COLOUR_NOTE)) return true;
        if (view.front_covers_screen()) handset.tap(view.width() / 2, view.height() / 2);
        return false;
    }, 30000);
}
inline void pass_lcd(Handset &handset) {
    see_colours(handset);
    handset.press("pass");
}

inline void wait_for_vibrator(const Handset &handset) {
    handset.wait_for("the vibrator test that may be passed", [](const vh::ScreenView &view) {
        return view.front_shows("Vibrator") && view.soft_keys()[0] == "Pass";
    });
}
inline void pass_vibrator(Handset &handset) {
    wait_for_vibrator(handset);
    handset.press("pass");
}

inline void wait_for_keys(const Handset &handset) { handset.wait_for_text("Volume up"); }
inline void pass_keys(Handset &handset) {
    wait_for_keys(handset);
    for (const char *key : {"volumeup", "volumedown", "power"}) handset.press(key);
}

} // namespace runs
