// Lights and parts of a whole handset: what the program switches is what the hardware gets, what the hardware feels is the verdict.
#include "scenario/runs.h"

namespace {
constexpr int GREEN = 10;
const char LEDS[] = "/sys/class/leds/";
const std::pair<const char *, const char *> LIGHTS[] = {
    {"red", "Red light"},         {"green", "Green light"},           {"blue", "Blue light"},
    {"flashlight", "Flashlight"},   {"flashlight2", "Second flashlight"},
    {"flashlight-front", "Front flashlight"}, {"lcd-backlight", "Display light"}};

std::string brightness(const Handset &handset, const std::string &light) { return handset.attr(LEDS + light + "/brightness"); }

void feel(const Handset &handset, const char *part, const char *value) {
    handset.client().request({{"op", "sensor"}, {"name", part}, {"values", {value}}});
}
void fit(const Handset &handset, const char *part, bool fitted) {
    handset.client().request({{"op", "fit"}, {"parts", {part}}, {"fitted", fitted}});
}
} // namespace

TEST(Parts, ARunOfLightsTouchPanelAndAmplifier) {
    Handset handset({.settings = runs::settings({{"TKI_LCD", "enable", "0"}, {"TKI_VIBRATOR", "enable", "0"},
                                                 {"TKI_KEYS", "enable", "0"}, {"TKI_ALLLIGHT", "enable", "1"},
                                                 {"TKI_TPSELF", "enable", "1"}, {"TKI_SMARTPACAL", "enable", "1"}})});
    const std::string display = brightness(handset, "lcd-backlight");
    fit(handset, "keylight", false);
    runs::begin_run(handset);
    const auto at_rest = [&](const std::string &light) { return light == "lcd-backlight" ? display : "0"; };
    for (const auto &[light, name] : LIGHTS) {
        const std::string off = at_rest(light);
        handset.wait_until(std::string(light) + " on", [&, name = light] { return brightness(handset, name) != off; }, 20000);
        EXPECT_TRUE(handset.screen().front_shows(name)) << name;
    }
    handset.wait_for("the lights that may be passed", [](const vh::ScreenView &view) { return view.soft_keys()[0] == "Pass"; }, 20000);
    EXPECT_FALSE(handset.screen().front_shows("Key light"));
    feel(handset, "touchselftest", "hang");
    handset.press("pass");
    handset.wait_for_text("Measuring...");
    for (const auto &[light, name] : LIGHTS)
        EXPECT_EQ(brightness(handset, light), at_rest(light)) << light;
    handset.wait_for_text("Touch check failed"); // after the five seconds that it may take
    EXPECT_EQ(handset.screen().soft_keys()[0], "");
    handset.press("fail");
    EXPECT_EQ(runs::stations(handset), (runs::Stations{{284, Verdict::pass}}));

    feel(handset, "touchselftest", "pass");
    runs::wait_for_list(handset);
    handset.tap_text("Automatic run");
    handset.wait_for("the lights that may be passed", [](const vh::ScreenView &view) { return view.soft_keys()[0] == "Pass"; }, 20000);
    handset.press("pass"); // the others pass by themselves
    handset.wait_until("the run's verdict", [&] { return handset.station(64) == Verdict::pass; });
    EXPECT_EQ(runs::stations(handset), (runs::Stations{{284, Verdict::pass}, {300, Verdict::pass}, {64, Verdict::pass}}));
}

TEST(Parts, WhatThePcTests) {
    Handset handset;
    handset.wait_for_pc();
    const auto status = [&](const std::string &command) { return handset.at(command).status; };
    ASSERT_EQ(status("hallsensorMoudle testItem open"), 0);
    const auto green = [&](const char *line) {
        handset.wait_for(line, [line](const vh::ScreenView &view) {
            const auto text = view.find(line);
            return text && text->color == GREEN;
        });
    };
    green("Magnet away"); // what is not seen before it changes is never seen
    feel(handset, "hall", "1");
    green("Magnet near");
    EXPECT_EQ(status("hallsensorMoudle testItem close"), 0);

    ASSERT_EQ(status("headsethookMoudle testItem open"), 0);
    handset.wait_for_text("Insert a headset");
    handset.set_attr("/sys/class/switch/h2w/state", "1");
    handset.wait_for_text("Headset inserted");
    handset.press("hook");
    handset.press("hook");
    handset.screen(); // described when all that came before is handled
    const vh::PcLink::Reply keys = handset.at("headsethookMoudle testItem close");
    EXPECT_EQ(keys.text, "226,226,");

    for (const auto &[milliohm, good] : {std::pair{"7600", 0}, {"100", 2}, {"1000000", 2}}) {
        feel(handset, "smartpa", milliohm);
        ASSERT_EQ(status("SpeakerCalibrateMoudle testItem open"), 0);
        EXPECT_EQ(status("SpeakerCalibrateMoudle testItem calibrate"), good) << milliohm;
        handset.wait_for_text(good == 0 ? "Test passed" : "Not calibrated");
        EXPECT_EQ(status("SpeakerCalibrateMoudle testItem close"), 0);
    }

    ASSERT_EQ(status("LightControl testItem Open"), 0);
    handset.set_attr("/sys/class/leds/vibrator/activate", "1");
    handset.kill_program(); // a program that ends lights and shakes nothing for ever
    EXPECT_EQ(handset.attr("/sys/class/leds/vibrator/activate"), "0");
    for (const auto &[light, name] : LIGHTS)
        EXPECT_EQ(brightness(handset, light) == "0", std::string(light) != "lcd-backlight") << light;

    handset.wait_for_pc();
    for (const char *part : {"hall", "smartpa", "keylight", "headset"}) fit(handset, part, false);
    for (const char *command : {"hallsensorMoudle testItem open", "SpeakerCalibrateMoudle testItem open", "KEYbacklightMoudle testItem open",
                                "headsethookMoudle testItem open"})
        EXPECT_EQ(status(command), 2) << command;
    handset.wait_for_text("Device tests"); // no window is left
}
