#include "cli/demo_script.h"

#include "cli/demo_operator.h"
#include "client/audio.h"

#include <cmath>
#include <fstream>
#include <set>

namespace cli {

namespace {
using vh::ScreenView;
constexpr int GREEN = 10, DONE = 18; // system colours: a good line; the letters of a step that a sensor has done
constexpr int VOICE_HZ = 1000;

struct KeyText {
    const char *language_key, *key;
};
constexpr KeyText KEY_TEXTS[] = {
    {"info_KeyItem0", "volumeup"},       {"info_KeyItem1", "volumedown"}, {"info_KeyItem2", "home"},
    {"info_KeyItem3", "back"},           {"info_KeyItem4", "menu"},       {"info_KeyItem5", "power"},
    {"info_KeyItemCamera", "camera"},    {"info_KeyItemSearch", "search"}, {"info_KeyItemHook", "hook"},
    {"info_KeyItemRcentAPP", "appswitch"}, {"info_KeyItem6", "torch"},    {"info_keyItemTVText", "tv"},
};

struct Light {
    const char *language_key, *name;
};
constexpr Light LIGHTS[] = {{"info_LightRed", "red"},           {"info_LightGreen", "green"},
                            {"info_LightBlue", "blue"},         {"info_LightKeys", "button-backlight"},
                            {"info_LightFlash", "flashlight"},  {"info_LightFlash2", "flashlight2"},
                            {"info_LightFlashFront", "flashlight-front"}, {"info_LightLcd", "lcd-backlight"}};

// What a hand does to the handset until a sensor's line has done a step.
struct Feel {
    const char *part;
    std::vector<std::string> values;
    const char *line, *step;
};
const Feel FEELS[] = {
    {"light", {"5"}, "info_SensorLight", "info_SensorDark"},
    {"light", {"800"}, "info_SensorLight", "info_SensorBright"},
    {"proximity", {"900"}, "info_SensorProximity", "info_SensorNear"},
    {"proximity", {"0"}, "info_SensorProximity", "info_SensorFar"},
    {"magnetometer", {"0", "45", "-20"}, "info_SensorMagnetic", "N"},
    {"magnetometer", {"-45", "0", "-20"}, "info_SensorMagnetic", "E"},
    {"magnetometer", {"0", "-45", "-20"}, "info_SensorMagnetic", "S"},
    {"magnetometer", {"45", "0", "-20"}, "info_SensorMagnetic", "W"},
    {"gyroscope", {"2", "0", "0"}, "info_SensorGyroscope", "X"},
    {"gyroscope", {"0", "-2", "0"}, "info_SensorGyroscope", "Y"},
    {"gyroscope", {"0", "0", "2"}, "info_SensorGyroscope", "Z"},
    {"gyroscope", {"0", "0", "0"}, "info_SensorAccelerometer", "info_SensorStill"},
    {"accelerometer", {"9.8", "0", "0"}, "info_SensorAccelerometer", "X"},
    {"accelerometer", {"0", "9.8", "0"}, "info_SensorAccelerometer", "Y"},
    {"accelerometer", {"0", "0", "9.8"}, "info_SensorAccelerometer", "Z"},
};

struct Slot {
    const char *name, *card, *language_key;
};
constexpr Slot SLOTS[] = {{"sim0", "89860012345678901238", "info_CardSim1"}, {"sim1", "89860098765432109876", "info_CardSim2"}};

// ---- acts

void pass(Operator &o, const std::string &name) {
    o.wait_for("the pass key", [&](const ScreenView &screen) { return o.may_pass(screen); });
    o.picture(name, "press \"" + o.text("Result_pass") + "\"");
    o.press("pass");
}

void hear(Operator &o, const char *output, int hz) {
    o.wait_until(std::string("sound from the ") + output, [&] {
        const auto heard = vh::listen(o.handset, output);
        return heard && (hz == 0 || std::abs(heard->hz - hz) < 20);
    });
}

void judge_colours(Operator &o) {
    std::set<uint32_t> seen;
    o.wait_for("the question about the colours", [&](const ScreenView &screen) {
        if (!screen.front().empty()) return true;
        const int x = screen.width() / 2, y = screen.height() / 2;
        if (const uint32_t colour = o.handset.pixel(x, y); seen.insert(colour).second) {
            char hex[8];
            snprintf(hex, sizeof hex, "%06x", colour);
            o.picture("lcd-" + std::to_string(seen.size()), "colour #" + std::string(hex) + ": touch");
        }
        o.handset.tap(x, y); // does nothing within a second of a new colour
        return false;
    });
    pass(o, "lcd");
}

// A light that the screen names as being on has to shine, each at least once.
void watch_lights(Operator &o) {
    std::set<std::string> named, shining;
    o.wait_for("each light to come on", [&](const ScreenView &screen) {
        for (const Light &light : LIGHTS) {
            if (screen.front_shows(o.text(light.language_key))) named.insert(light.name);
            if (!o.sees(screen, light.language_key, GREEN)) continue;
            if (o.handset.attr(std::string("/sys/class/leds/") + light.name + "/brightness") != "0") shining.insert(light.name);
        }
        return o.may_pass(screen) && shining == named;
    });
    pass(o, "lights");
}

void speak_and_listen(Operator &o) {
    hear(o, "speaker", VOICE_HZ);
    pass(o, "audio-loop");
}

void hear_ring_tone(Operator &o) {
    hear(o, "speaker", 0);
    pass(o, "ring-tone");
}

// Each side has to be on for as long as it takes to judge it; who changed over too early comes back.
void call_on_both_sides(Operator &o) {
    constexpr int JUDGED_MS = 3500;
    o.wait_for("the pass key behind receiver and speaker", [&](const ScreenView &screen) {
        const bool speaker = screen.shows(o.text("info_CallSpeakerNote"));
        hear(o, speaker ? "speaker" : "receiver", VOICE_HZ);
        if (!speaker) o.picture("call-receiver", "listen to the receiver");
        const double end = o.seconds() + JUDGED_MS / 1000.0 / o.handset.speed();
        while (o.seconds() < end)
            if (o.may_pass(o.look())) return true;
            else o.handset.wait_ms(100);
        o.handset.tap(screen.width() / 2, screen.height() - screen.height() / 40);
        return false;
    });
    pass(o, "call-speaker");
}

void feel_vibrator(Operator &o) {
    o.wait_until("the vibrator to shake", [&] { return o.handset.attr("/sys/class/leds/vibrator/activate") == "1"; });
    pass(o, "vibrator");
}

void plug_charger_in(Operator &o) {
    o.wait_for("the line of the charger", [&](const ScreenView &screen) { return screen.shows(o.text("BatteryChargingType") + ":NULL"); });
    o.picture("battery-unplugged", "plug the charger in");
    o.handset.battery({{"charger", "ac"}});
    pass(o, "battery");
}

void press_keys(Operator &o) {
    o.wait_for("the last key to be pressed", [&](const ScreenView &screen) {
        for (const KeyText &key : KEY_TEXTS) {
            if (!screen.front_shows(o.text(key.language_key))) continue;
            o.picture("key-" + std::string(key.key), "press \"" + o.text(key.language_key) + "\"");
            o.press(key.key);
            o.wait_for("the line of the pressed key to go", [&](const ScreenView &next) {
                return !next.front_shows(o.text(key.language_key));
            });
            return false;
        }
        return true;
    });
}

// The four lanes lie along the edges, a third of the screen's width thick.
void draw_lanes(Operator &o) {
    constexpr int STROKE_MS = 600;
    const ScreenView screen = o.look();
    const int right = screen.width() - 2, bottom = screen.height() - 2, middle = screen.width() / 6;
    const struct { int x1, y1, x2, y2; } strokes[] = {{middle, 1, middle, bottom},
                                                      {1, bottom - middle, right, bottom - middle},
                                                      {1, middle, right, middle},
                                                      {right - middle, 1, right - middle, bottom}};
    int drawn = 0;
    o.picture("touch-empty", "draw along the lanes");
    for (const auto &[x1, y1, x2, y2] : strokes) {
        o.handset.swipe(x1, y1, x2, y2, STROKE_MS);
        if (++drawn == 3) o.look(), o.picture("touch-drawn", "and the last one"); // what is described is painted
    }
}

// Where circles take the lanes' place: the whole panel, in strokes closer to each other than a circle is high.
void wipe_panel(Operator &o) {
    constexpr int STROKE_MS = 200;
    const ScreenView screen = o.look();
    const int right = screen.width() - 2, step = std::min(screen.width(), screen.height()) / 28;
    o.picture("touch-empty", "wipe over all circles");
    for (int y = step / 2; y < screen.height(); y += step) {
        o.handset.swipe(1, y, right, y, STROKE_MS);
        if (y < screen.height() / 2 && y + step >= screen.height() / 2) o.look(), o.picture("touch-half", "and the other half");
    }
}

bool step_done(const ScreenView &screen, const std::string &line, const std::string &step) {
    bool here = false; // a line's texts follow each other: title, value, steps
    for (const vh::ScreenText &text : screen.front()) {
        if (text.text == line) here = true;
        else if (here && text.text == step) return text.color == DONE;
    }
    return false;
}

void turn_and_cover(Operator &o) {
    o.wait_for("a line of a sensor", [&](const ScreenView &screen) { return screen.shows(o.text("info_SensorCalibrateNote")); });
    o.picture("sensors", "press the volume key: calibrate");
    o.press("volumeup");
    o.wait_for("the calibration", [&](const ScreenView &screen) { return screen.shows(o.text("info_SensorCalibrated")); });
    for (const Feel &feel : FEELS) {
        const std::string line = o.text(feel.line), step = o.text(feel.step);
        if (!o.look().front_shows(line)) continue; // this configuration leaves it out
        o.feel(feel.part, feel.values);
        o.wait_for(line + ": " + step, [&](const ScreenView &screen) { return step_done(screen, line, step); });
    }
    pass(o, "sensors-passed");
}

void insert_cards(Operator &o) {
    o.wait_for("empty slots", [&](const ScreenView &screen) { return screen.shows(o.text("info_CardNone")); });
    o.picture("cards-none", "insert the cards");
    for (const Slot &slot : SLOTS) o.feel(slot.name, {slot.card});
}

const DemoItem ALL_ITEMS[] = { // in the order in which a run walks them
    {"TKI_LCD", "title_LCDTest", 280, judge_colours, true},
    {"TKI_ALLLIGHT", "menu_AllLightTest", 284, watch_lights},
    {"TKI_AUDIO_LOOPBACK", "title_LoopBackTest", 300, speak_and_listen},
    {"TKI_RINGTONE", "menu_RingTest", 296, hear_ring_tone},
    {"TKI_CALLTEST", "title_CallTest", 298, call_on_both_sides},
    {"TKI_VIBRATOR", "menu_VibratorTest", 316, feel_vibrator},
    {"TKI_BATTERY", "title_BatteryCheck", 344, plug_charger_in},
    {"TKI_KEYS", "title_KeyTest", 312, press_keys},
    {"TKI_TPSELF", "title_TPSelfTest", -1},
    {"TKI_TOUCH", "menu_TouchTest", 320, draw_lanes, true},
    {"TKI_SENSOR", "menu_AllSensorTest", 328, turn_and_cover},
    {"TKI_SIMCARD", "title_SimCardTest", 324, insert_cards},
    {"TKI_SMARTPACAL", "menu_ItemTest_SmartPACal", 300},
};

// ---- files

using Domain = std::map<std::string, std::string>;

std::map<std::string, Domain> read_domains(const std::string &path) {
    std::ifstream file(path);
    if (!file) throw vh::ClientError("cannot read " + path);
    std::map<std::string, Domain> domains;
    std::string line, current;
    while (std::getline(file, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const size_t equals = line.find('=');
        if (line.starts_with('[')) current = line.substr(1, line.find(']') - 1);
        else if (!line.starts_with('#') && equals != std::string::npos)
            domains[current].emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    return domains;
}

std::string value_of(const Domain &domain, const std::string &key, const std::string &otherwise) {
    const auto found = domain.find(key);
    return found == domain.end() || found->second.empty() ? otherwise : found->second;
}
} // namespace

void prepare_handset(Operator &o) {
    o.handset.battery({{"charger", "none"}});
    for (const Slot &slot : SLOTS) o.feel(slot.name, {"none"});
    vh::set_microphone(o.handset, "main", vh::samples_from("tone:" + std::to_string(VOICE_HZ) + ":-20"));
}

DemoScript::DemoScript(const std::string &config_file, const std::string &language_file) {
    std::map<std::string, Domain> config = read_domains(config_file);
    const bool rectangle = value_of(config["MMI"], "UEShape", "0") == "0";
    for (const DemoItem &item : ALL_ITEMS) {
        const Domain &domain = config[item.domain];
        if (value_of(domain, "enable", "0") == "1" && value_of(domain, "auto", "1") == "1") items_.push_back(item);
        else continue;
        if (item.act == draw_lanes && !rectangle) items_.back().act = wipe_panel;
    }
    texts_ = read_domains(language_file)[value_of(config["MMI"], "Language", "Chinese")];
}

std::string DemoScript::text(const std::string &language_key) const {
    const auto found = texts_.find(language_key);
    return found == texts_.end() ? language_key : found->second;
}

} // namespace cli
