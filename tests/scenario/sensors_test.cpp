// A hand that turns and covers the handset, as the sensor test wants it; tags, fingers and presses that the PC asks for.
#include "scenario/handset.h"

#include "scenario/runs.h"

namespace {
constexpr int SENSORS = 328, GREEN = 10;

void feel(const Handset &handset, std::vector<std::string> name_and_values) {
    name_and_values.insert(name_and_values.begin(), "sensor");
    const auto outcome = handset.tool(name_and_values);
    ASSERT_EQ(outcome.status, 0) << outcome.output;
}
} // namespace

TEST(Sensors, AHandTurnsTheHandsetUntilEverySensorIsGreen) {
    Handset handset({.settings = runs::settings({{"TKI_LCD", "enable", "0"},
                                                 {"TKI_VIBRATOR", "enable", "0"},
                                                 {"TKI_KEYS", "enable", "0"},
                                                 {"TKI_SENSOR", "enable", "1"},
                                                 {"TKI_SENSOR", "parameter", "light:1/10/200;proximity:1/100/300"}})});
    handset.tap_text("Device tests");
    handset.tap_text("Automatic run");
    handset.wait_for_text("Gyroscope");
    const auto green = [&](const char *line) {
        handset.wait_for(std::string(line) + " in green", [&](const vh::ScreenView &screen) {
            const auto text = screen.find(line);
            return text && text->color == GREEN;
        });
    };
    green("Pressure");
    green("Heart rate");
    handset.press("volumeup"); // flat, still and free, but not dark
    handset.wait_for_text("Calibrated");
    EXPECT_NE(handset.attr("/sys/bus/iio/devices/iio:device2/in_accel_x_calibbias"), "0");
    EXPECT_EQ(handset.attr("/sys/bus/iio/devices/iio:device0/in_illuminance_calibbias"), "0");
    feel(handset, {"light", "5"});
    green("Light");
    feel(handset, {"proximity", "900"});
    green("Proximity");
    for (const auto &[x, y] : {std::pair{"0", "45"}, {"-45", "0"}, {"0", "-45"}, {"45", "0"}})
        feel(handset, {"magnetometer", x, y, "-20"}), handset.wait_ms(150);
    green("Compass");
    for (const std::vector<std::string> &up : {std::vector<std::string>{"9.8", "0", "0"}, {"0", "9.8", "0"}})
        feel(handset, {"accelerometer", up[0], up[1], up[2]}), handset.wait_ms(150);
    green("Accelerometer");
    for (const std::vector<std::string> &turn : {std::vector<std::string>{"2", "0", "0"}, {"0", "-2", "0"}}) {
        feel(handset, {"gyroscope", turn[0], turn[1], turn[2]}), handset.wait_ms(150);
        handset.press("pass"); // one axis is missing
    }
    feel(handset, {"gyroscope", "0", "0", "2"});
    green("Gyroscope");
    handset.wait_for("the pass key", [](const vh::ScreenView &screen) { return screen.soft_keys()[0] == "Pass"; });
    handset.press("pass");
    handset.wait_until("the verdict", [&] { return handset.station(SENSORS) == Verdict::pass; });
}

TEST(Sensors, WhatThePcAsksAHandFor) {
    Handset handset;
    handset.wait_for_pc();
    const struct { const char *command, *part, *there, *gone, *shown; } rows[] = {
        {"nfcMoudle", "nfc", "04A1B2C3", "none", "04A1B2C3"},
        {"fingerprintMoudle", "fingerprint", "1", "0", "Finger felt"},
        {"forcetouchMoudle", "forcetouch", "300", "0", "298 g"},
        {"forcetouchcomprehensiveMoudle", "forcetouch", "300", "0", "300 g"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.command);
        const std::string command = std::string(row.command) + " testItem ";
        ASSERT_EQ(handset.at(command + "open").status, 0);
        feel(handset, {row.part, row.there});
        handset.wait_for(row.shown, [&](const vh::ScreenView &screen) { return screen.shows(row.shown); });
        feel(handset, {row.part, row.gone});
        handset.wait_for_text("Test passed");
        EXPECT_EQ(handset.at(command + "close").status, 0);
    }
    ASSERT_EQ(handset.tool({"unfit", "nfc", "gyroscope"}).status, 0);
    EXPECT_EQ(handset.at("nfcMoudle testItem open").status, 2);
    EXPECT_EQ(handset.at("sensorMoudle testItem readGyro").status, 2);
    EXPECT_EQ(handset.at("sensorMoudle testItem readAcc").status, 0);
}
