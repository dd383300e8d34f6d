// What the scenarios of aging runs share: their settings, their start, what is seen of them.
#pragma once

#include "scenario/power.h"
#include "scenario/runs.h"

namespace aging_runs {

inline constexpr int BURN_IN = 176, LONG_MS = 90000;
inline const double FAST = patient(1) > 1 ? 15 : 30; // what a phase waits for has to come in its time
inline constexpr char RESULTS[] = "/tki/aging/agingtotalresult.txt", TOTAL_LOG[] = "/tki/aging/agingtotallog.txt";
inline const std::string CHARGING = power::BATTERY + "charging_enabled";

// All phases left out but those that are given.
inline std::vector<Setting> phases(std::vector<std::pair<std::string, std::string>> given, const std::string &cycles = "1") {
    given.push_back({"Parameters", "Cycles:" + cycles + ";TempUpLimit:550;TempUncharge:450"});
    std::vector<Setting> settings{power::idle_setting("1", 30000, 60000)};
    for (const char *key : {"vediotest", "lighttest", "cameratest", "reboottest", "standbytest", "vibratortest", "cpufullload", "audioloop"}) {
        std::string value = "enable:0;time:0";
        for (const auto &[name, text] : given)
            if (name == key) value = "enable:1;" + text;
        settings.push_back({"TKI_AGING", key, value});
    }
    for (const auto &[name, text] : given)
        if (name == "Parameters" || name == "ExternBattery") settings.push_back({"TKI_AGING", name, text});
    return settings;
}

inline std::string file(const Handset &handset, const std::string &name) { return runs::content(handset.cache() + name); }
inline bool holds(const std::string &text, const std::string &part) { return text.find(part) != text.npos; }

inline void start(Handset &handset) {
    handset.tap_text("Aging");
    handset.tap_text("Start aging");
    handset.wait_for_text("Start the test?");
    handset.press("pass");
}
inline void see(Handset &handset, const std::string &text) {
    handset.wait_for("\"" + text + "\"", [&](const vh::ScreenView &view) { return view.shows(text); }, LONG_MS);
}
inline void confirm(Handset &handset) {
    handset.wait_for("the key that closes", [](const vh::ScreenView &view) { return view.soft_keys()[1] == "Yes"; });
    runs::tap_softkey(handset, 1);
}

} // namespace aging_runs
