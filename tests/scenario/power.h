// Sleep and battery of a whole handset, for the scenarios of power and suspend.
#pragma once

#include "scenario/handset.h"

namespace power {

inline const std::string BACKLIGHT = "/sys/class/leds/lcd-backlight/brightness";
inline const std::string BLANK = "/sys/class/graphics/fb0/blank";
inline const std::string AUTOSLEEP = "/sys/power/autosleep";
inline const std::string BATTERY = "/sys/class/power_supply/battery/";
inline const std::string USB = "/sys/class/power_supply/usb/online";

// As the program has it: light and panel off, autosleep on.
inline bool sleeps(const Handset &handset) {
    return handset.attr(BACKLIGHT) == "0" && handset.attr(BLANK) == "4" && handset.attr(AUTOSLEEP) == "mem";
}
inline bool is_awake(const Handset &handset) {
    return handset.attr(BACKLIGHT) == "100" && handset.attr(BLANK) == "0" && handset.attr(AUTOSLEEP) == "off";
}
inline void wait_asleep(const Handset &handset) { handset.wait_until("sleep", [&] { return sleeps(handset); }, 20000); }
inline void wait_awake(const Handset &handset) { handset.wait_until("wake-up", [&] { return is_awake(handset); }, 20000); }
// As the kernel has it: the processes stand still.
inline void wait_suspended(const Handset &handset) {
    handset.wait_until("suspend", [&] { return handset.client().sleeps(); }, 20000);
}
inline void wait_bar(const Handset &handset, const std::string &text) {
    handset.wait_for("\"" + text + "\" in a bar", [&](const vh::ScreenView &view) { return view.shows(text); });
}
inline void wait_off(const Handset &handset) {
    handset.wait_until("power-off", [&] { return handset.state() == "off"; }, 20000);
    EXPECT_EQ(handset.last(), "power-off");
}
inline std::string reason(const Handset &handset) { return handset.attr("/sys/kernel/wakeup_reasons/last_resume_reason"); }
inline int suspends(const Handset &handset) { return std::stoi(handset.attr("/sys/power/suspend_stats/success")); }

// What the program has written into the attributes so named since the boot, e.g. "brightness 10".
inline std::vector<std::string> writes(const Handset &handset, const std::vector<std::string> &paths) {
    std::vector<std::string> found;
    const nlohmann::json answer = handset.client().request({{"op", "writes"}});
    for (const auto &write : answer.at("writes")) {
        const std::string path = write.at(0), value = write.at(1);
        if (std::find(paths.begin(), paths.end(), path) != paths.end())
            found.push_back(path.substr(path.rfind('/') + 1) + " " + value);
    }
    return found;
}

// "batteryParameter" with some values changed.
inline Setting idle_setting(const std::string &idle, int sleep_s, int off_s) {
    return {"MMI", "batteryParameter",
            "lowvolt_threshold:30;powerofftemp:600;OSIdle:" + idle + ";OS_AutoSleepTime:" + std::to_string(sleep_s) +
                ";OS_AutoTurnOffTime:" + std::to_string(off_s) + ";sys_backlight:" + BACKLIGHT};
}

} // namespace power
