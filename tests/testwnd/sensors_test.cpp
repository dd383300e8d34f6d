// The sensor window and the parts that answer with events, with a library that tells what a test says.
#include "fixture.h"

#include <array>
#include <atomic>
#include <cmath>
#include <dlfcn.h>
#include <map>
#include <thread>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_globals.h>

#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/mmi_testwnd_parts.h"
#include "testwnd/sensor_rules.h"
#include "testwnd/test_entries.h"

namespace {
constexpr float G = 9.80665F;
using Values = std::array<float, 3>;

tki_sensor_event event_of(int sensor, const Values &v) {
    return {sensor, SENSOR_KINDS[sensor].values, {v[0], v[1], v[2]}, 0};
}

// ---- rules

struct Row {
    const char *what;
    int sensor;
    std::vector<Values> samples;
    bool passes;
};
std::vector<Values> rest(Values v) { return std::vector<Values>(SENSOR_STEADY, v); }
std::vector<Values> joined(std::vector<Values> a, const std::vector<Values> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const Row ROWS[] = {
    {"dark, then bright, the limits included", TKI_SENSOR_LIGHT, {{10}, {200}}, true},
    {"never dark", TKI_SENSOR_LIGHT, {{11}, {5000}}, false},
    {"near, then far", TKI_SENSOR_PROXIMITY, {{300}, {100}}, true},
    {"never near", TKI_SENSOR_PROXIMITY, {{0}, {299}}, false},
    {"rest and all sides", TKI_SENSOR_ACCELEROMETER, joined(rest({0, 0, G}), {{G, 0, 0}, {0, -G, 0}}), true},
    {"no rest", TKI_SENSOR_ACCELEROMETER, {{0, 0, G}, {G, 0, 0}, {0, -G, 0}}, false},
    {"an axis that tells 1 g for ever", TKI_SENSOR_ACCELEROMETER, joined(rest({0, 0, G}), {{G, 0, G}, {0, G, G}}), false},
    {"shaken, not turned", TKI_SENSOR_ACCELEROMETER, joined(rest({0, 0, G}), {{40, 0, 0}, {0, 40, 0}}), false},
    {"all around", TKI_SENSOR_MAGNETIC, {{0, 30, -40}, {-30, 0, -40}, {0, -30, -40}, {30, 0, -40}}, true},
    {"west is missing", TKI_SENSOR_MAGNETIC, {{0, 30, -40}, {-30, 0, -40}, {0, -30, -40}}, false},
    {"west beside a magnet", TKI_SENSOR_MAGNETIC, {{0, 30, -40}, {-30, 0, -40}, {0, -30, -40}, {300, 0, -40}}, false},
    {"still and turned", TKI_SENSOR_GYROSCOPE, {{0, 0, 0}, {1, 0, 0}, {0, -2, 0}, {0, 0, 1.5}}, true},
    {"turns for ever", TKI_SENSOR_GYROSCOPE, {{2, 2, 2}, {2, 2, 2}}, false},
    {"steady", TKI_SENSOR_PRESSURE, rest({1013}), true},
    {"a moment in limits", TKI_SENSOR_PRESSURE, joined({{1013}, {0}}, {{1013}, {1013}}), false},
    {"no finger", TKI_SENSOR_HEART_RATE, rest({0}), false},
    {"a heart", TKI_SENSOR_HEART_RATE, rest({72}), true},
};

TEST(SensorRulesTest, what_passes) {
    for (const Row &row : ROWS) {
        SensorRules rules;
        for (const Values &v : row.samples) rules.sample(event_of(row.sensor, v));
        EXPECT_EQ(rules.passed(row.sensor), row.passes) << SENSOR_KINDS[row.sensor].name << ": " << row.what;
        rules.sample(event_of(row.sensor, {NAN})); // no answer: all begins anew
        EXPECT_FALSE(rules.passed(row.sensor) || rules.answers(row.sensor)) << row.what;
    }
}

TEST(SensorRulesTest, headings) {
    const struct { Values field, up; double heading; } rows[] = {
        {{0, 30, -40}, {0, 0, G}, 0},     {{-30, 0, -40}, {0, 0, G}, 90},  {{0, -30, -40}, {0, 0, G}, 180},
        {{30, 0, -40}, {0, 0, G}, 270},   {{-21, 21, -40}, {0, 0, 1}, 45}, {{0, 0, -40}, {0, 0, G}, -1},
        {{0, 0, 0}, {0, 0, G}, -1},       {{0, 30, 0}, {0, -G, 0}, -1},
        {{-30, -40, 0}, {0, G / 1.4142F, G / 1.4142F}, 90 + 43.3}, // lifted by 45 degrees: the field's dip no longer misleads
    };
    for (const auto &row : rows) {
        const float m[3] = {row.field[0], row.field[1], row.field[2]}, a[3] = {row.up[0], row.up[1], row.up[2]};
        EXPECT_NEAR(sensor_heading(m, a), row.heading, 0.1) << row.field[0] << " " << row.field[1] << " " << row.field[2];
    }
}

TEST(SensorRulesTest, pairs) {
    for (const char *wrong : {"", "2", "-1", "1/", "1/5", "1/9/5", "1/5/5", "1/a/b", "1/5/9x", "1/nan/2", "on", "01"}) {
        bool tested = true;
        SensorLimits limits{1, 2};
        EXPECT_FALSE(sensor_parse_pair(wrong, &tested, &limits)) << wrong;
        EXPECT_TRUE(tested && limits.low == 1 && limits.high == 2) << wrong;
    }
    bool tested = false;
    SensorLimits limits{1, 2};
    EXPECT_TRUE(sensor_parse_pair("1/-0.5/7.5", &tested, &limits) && tested && limits.low == -0.5 && limits.high == 7.5);
    EXPECT_TRUE(sensor_parse_pair("0", &tested, &limits) && !tested && limits.high == 7.5);
}

// ---- the library

std::atomic<tki_callback> sensors_cb, part_cb;
std::string calls;
int fitted_mask, calibration_result;
std::vector<int> biases;
std::map<int, Values> told_at_start;

void sense(int sensor, const Values &v) {
    tki_sensor_event event = event_of(sensor, v);
    tki_module_data data{TKI_MODULE_SENSORS, 0, &event};
    if (const tki_callback cb = sensors_cb) cb(&data);
}
void lose(int sensor) {
    tki_sensor_event event = event_of(sensor, {});
    tki_module_data data{TKI_MODULE_SENSORS, -1, &event};
    if (const tki_callback cb = sensors_cb) cb(&data);
}
int start_sensors(tki_callback cb) {
    if (fitted_mask == 0) return -1;
    calls += "start ";
    sensors_cb = cb;
    for (int i = 0; i < TKI_SENSORS; ++i)
        if ((fitted_mask >> i & 1) == 0) lose(i);
    for (const auto &[sensor, v] : told_at_start) sense(sensor, v);
    return 0;
}
void feel(int type, int value, const char *text = "") {
    tki_part_event event{value, {}};
    snprintf(event.text, sizeof event.text, "%s", text);
    tki_module_data data{type, 0, &event};
    if (const tki_callback cb = part_cb) cb(&data);
}
std::string asked() { return std::exchange(calls, ""); }
} // namespace

extern "C" { // bound later, by name
int tki_api_Sensor_Fitted(int sensor) { return fitted_mask >> sensor & 1; }
int tki_api_HeartRate_SelfTest() { return calibration_result; }
#define PART(name)                                                                                                   \
    int tki_api_##name##_Test_Start(tki_event_callback cb) { return calls += #name " ", part_cb = cb, 0; }           \
    int tki_api_##name##_Test_Stop() { return calls += "stop ", part_cb = nullptr, 0; }
PART(NFC)
PART(Fingerprint)
PART(ForceTouch)
int tki_api_ForceTouch_Calibrate() { return calls += "calibrate ", calibration_result; }
int tki_api_ForceTouch_Read(int *out, int max) {
    for (size_t i = 0; i < biases.size() && i < static_cast<size_t>(max); ++i) out[i] = biases[i];
    return biases.empty() ? -1 : static_cast<int>(biases.size());
}
}

namespace {
class SensorTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        open_menu();
        calls = "";
        fitted_mask = (1 << TKI_SENSORS) - 1;
        calibration_result = 0;
        told_at_start.clear();
        sensors_cb = part_cb = nullptr;
        lib_vxo_factory = dlopen(nullptr, RTLD_NOW);
        tki_api_Sensors_Test_Start = start_sensors;
        tki_api_Sensors_Test_Stop = [] { return calls += "stop ", sensors_cb = nullptr, 0; };
        tki_api_Sensors_Calibration = [](int sensor) { return calls += std::to_string(sensor) + " ", calibration_result; };
    }
    void TearDown() override {
        WindowTest::TearDown();
        lib_vxo_factory = nullptr;
        tki_api_Sensors_Test_Start = nullptr;
        tki_api_Sensors_Test_Stop = nullptr;
        tki_api_Sensors_Calibration = nullptr;
    }
    static void all_pass(int except = -1) {
        for (const Row &row : ROWS) {
            if (!row.passes || row.sensor == except) continue;
            if (row.sensor == TKI_SENSOR_MAGNETIC) sense(TKI_SENSOR_ACCELEROMETER, {0, 0, G}); // turned lying flat
            for (const Values &v : row.samples) sense(row.sensor, v);
        }
    }
    static bool offered() {
        return pump_until([] { return softkeys().starts_with("Result_pass"); });
    }
};

TEST_F(SensorTest, a_run_passes_once_every_sensor_has) {
    run("[TKI_SENSOR]\nenable=1\nparameter=light:1/5/100;pressure:0;heartrate:1/300/400;\n");
    EXPECT_EQ(asked(), "start ");
    EXPECT_TRUE(shows("300 ~ 400"));
    EXPECT_FALSE(shows("info_SensorPressure"));
    all_pass();
    for (const Values &v : rest({350})) sense(TKI_SENSOR_HEART_RATE, v);
    ASSERT_TRUE(pump_until([] { return color_of("info_SensorGyroscope") == 10; }));
    EXPECT_EQ(color_of("info_SensorLight"), 19); // 10 lux are not dark here
    EXPECT_TRUE(shows("200 lux"));
    key(KEY_PASS);
    EXPECT_EQ(softkeys(), "||Result_fail");
    sense(TKI_SENSOR_LIGHT, {4});
    ASSERT_TRUE(offered());
    lose(TKI_SENSOR_GYROSCOPE);
    ASSERT_TRUE(pump_until([] { return color_of("info_SensorNoAnswer") == 12; }));
    EXPECT_EQ(softkeys(), "||Result_fail");
    all_pass();
    ASSERT_TRUE(offered());
    key(KEY_PASS);
    EXPECT_EQ(fake_flags::station(328), 1);
    EXPECT_EQ(asked(), "stop ");
}

TEST_F(SensorTest, nothing_fitted_never_passes) {
    fitted_mask = 0;
    run("[TKI_SENSOR]\nenable=1\n");
    EXPECT_TRUE(shows("info_NotFitted"));
    key(KEY_PASS);
    ASSERT_NE(test_frame_current(), nullptr);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTestEntry(); }), 0);
    char text[64];
    EXPECT_EQ(mmi_AutoTest_SensorTest_Stop(text, sizeof text), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(mmi_AutoTest_Sensor_Read(TKI_SENSOR_LIGHT, text, sizeof text), 0);
    EXPECT_EQ(asked(), ""); // nothing runs that would have to be stopped
    fitted_mask = 1;
    items("[TKI_SENSOR]\nenable=1\nparameter=light:0;\n"); // fitted, but nothing is tested
    mmi_testwnd_SensorsTestEntry();
    sense(TKI_SENSOR_LIGHT, {10});
    settle();
    EXPECT_EQ(softkeys(), "||Result_fail");
}

TEST_F(SensorTest, the_pc_is_told_what_failed) {
    items("[TKI_SENSOR]\nenable=1\n");
    const auto stop = [] {
        char text[100] = {};
        const int passed = from_pc([&text] { return mmi_AutoTest_SensorTest_Stop(text, sizeof text); });
        return std::to_string(passed) + text;
    };
    for (int missing = -1; missing < TKI_SENSORS; ++missing) {
        EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTestEntry(); }), 1);
        all_pass(missing);
        static constexpr const char *ANSWERS[] = {"1", "0light", "0proximity", "0accelerometer", "0magnetic", "0gyroscope", "0", "0"};
        EXPECT_EQ(stop(), ANSWERS[missing + 1]);
        EXPECT_EQ(stop(), "0"); // told once
    }
    fitted_mask = 0b0101111;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTestEntry(); }), 1);
    EXPECT_EQ(stop(), "0light,proximity,accelerometer,magnetic");
    EXPECT_EQ(test_frame_current(), nullptr);
}

TEST_F(SensorTest, calibration_by_key_and_pc) {
    items("[TKI_SENSOR]\nenable=1\n");
    mmi_testwnd_SensorsTestEntry();
    told_at_start = {{TKI_SENSOR_LIGHT, {11}}, {TKI_SENSOR_PROXIMITY, {300}}};
    settle();
    EXPECT_TRUE(shows("info_SensorCalibrateNote"));
    lose(TKI_SENSOR_LIGHT);
    lose(TKI_SENSOR_PROXIMITY); // neither is at its zero
    asked();
    key(KEY_VOLUP);
    ASSERT_TRUE(pump_until([] { return shows("info_SensorCalibrated"); }));
    EXPECT_EQ(asked(), "2 4 ");
    calibration_result = -1;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTest_Calibrate(); }), 0);
    ASSERT_TRUE(pump_until([] { return color_of("info_SensorNotCalibrated") == 12; }));
    key(KEY_FAIL);
    asked();
    calibration_result = 0;
    told_at_start = {{TKI_SENSOR_LIGHT, {3}}, {TKI_SENSOR_PROXIMITY, {120}}};
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTest_Calibrate(); }), 1);
    EXPECT_EQ(asked(), "2 4 start stop 1 start stop 0 ");
    fitted_mask = 1 << TKI_SENSOR_PRESSURE; // has no zero
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_SensorTest_Calibrate(); }), 0);
}

TEST_F(SensorTest, readers) {
    const struct { int sensor; Values v; const char *text; } rows[] = {
        {TKI_SENSOR_ACCELEROMETER, {0.0371F, -0.5F, 9.8066F}, "+0.037,-0.500,+9.807"},
        {TKI_SENSOR_MAGNETIC, {20.15F, -5, -43}, "+20.150,-5.000,-43.000"},
        {TKI_SENSOR_GYROSCOPE, {}, "+0.000,+0.000,+0.000"},
        {TKI_SENSOR_PRESSURE, {1013.25F}, "+1013.250"},
        {TKI_SENSOR_HEART_RATE, {72}, "+72.000"},
        {TKI_SENSOR_PROXIMITY, {41.6F}, "PS=42"},
        {TKI_SENSOR_LIGHT, {299.95F}, "ALS=300"},
    };
    for (const auto &row : rows) {
        char text[64] = "";
        told_at_start = {{row.sensor, row.v}};
        EXPECT_EQ(mmi_AutoTest_Sensor_Read(row.sensor, text, sizeof text), 1);
        EXPECT_STREQ(text, row.text);
        char small[5] = "";
        EXPECT_EQ(mmi_AutoTest_Sensor_Read(row.sensor, small, sizeof small), 1);
        EXPECT_EQ(std::string(small), std::string(row.text).substr(0, 4));
        told_at_start.clear(); // silent
        EXPECT_EQ(mmi_AutoTest_Sensor_Read(row.sensor, text, sizeof text), 0);
    }
    EXPECT_EQ(mmi_AutoTest_HeartRate_SelfTest("", 0, nullptr, 0), 1);
    calibration_result = -1;
    EXPECT_EQ(mmi_AutoTest_HeartRate_SelfTest("", 0, nullptr, 0), 0);
}

TEST_F(SensorTest, a_reader_leaves_an_open_window_its_samples) {
    mmi_testwnd_SensorsTestEntry();
    char text[64];
    std::atomic<bool> read{false};
    EXPECT_EQ(from_pc([&] {
        std::thread library([&read] {
            while (!read) sense(TKI_SENSOR_LIGHT, {250}), tp_clock_sleep_ms(50);
        });
        const int result = mmi_AutoTest_Sensor_Read(TKI_SENSOR_LIGHT, text, sizeof text);
        read = true;
        library.join();
        return result;
    }), 1);
    EXPECT_STREQ(text, "ALS=250");
    EXPECT_EQ(asked(), "start ");
}

struct PartRow {
    int (*start)();
    int (*stop)();
    int type;
    const char *asks;
    std::vector<std::pair<int, const char *>> fails, passes; // what is felt
};
const PartRow PARTS[] = {
    {mmi_AutoTest_NFC_TestEntry, mmi_AutoTest_NFC_Test_Stop, TKI_MODULE_NFC, "NFC stop ", {{0, ""}}, {{0, "04A1B2C3"}}},
    {mmi_AutoTest_Fingerprint_TestEntry, mmi_AutoTest_Fingerprint_Test_Stop, TKI_MODULE_FINGERPRINT, "Fingerprint stop ",
     {{0, ""}, {1, ""}}, {{1, ""}, {0, ""}}},
    {mmi_AutoTest_ForceTouch_TestEntry, mmi_AutoTest_ForceTouch_Test_Stop, TKI_MODULE_FORCE, "ForceTouch stop ",
     {{199, ""}, {0, ""}, {300, ""}}, {{200, ""}, {50, ""}}},
    {mmi_AutoTest_ForceTouch_ComprehensiveEntry, mmi_AutoTest_ForceTouch_Comprehensive_Stop, TKI_MODULE_FORCE,
     "calibrate ForceTouch stop ", {{300, ""}}, {{300, ""}, {0, ""}}},
};

TEST_F(SensorTest, parts_pass_by_what_is_felt) {
    for (const PartRow &row : PARTS) {
        SCOPED_TRACE(row.asks);
        EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_CalibrationEntry(); }), 1); // makes room
        asked();
        for (const bool passes : {false, true}) {
            EXPECT_EQ(from_pc(row.start), 1);
            for (const auto &[value, text] : passes ? row.passes : row.fails) feel(row.type, value, text);
            feel(TKI_MODULE_HALL, 0); // another part's
            EXPECT_TRUE(pump_until([passes] { return shows("TestResultPass") == passes; }));
            EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_Calibration_Stop(); }), 0); // not the one that is open
            EXPECT_EQ(from_pc(row.stop), passes);
            EXPECT_EQ(from_pc(row.stop), 0);
            EXPECT_EQ(asked(), row.asks);
            EXPECT_EQ(test_frame_current(), nullptr);
        }
    }
}

TEST_F(SensorTest, force_calibration) {
    calibration_result = -1;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_CalibrationEntry(); }), 0);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_ComprehensiveEntry(); }), 0);
    EXPECT_EQ(asked(), "calibrate calibrate ");
    calibration_result = 0;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_CalibrationEntry(); }), 1);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_ForceTouch_Calibration_Stop(); }), 1);
    char text[29] = "";
    EXPECT_EQ(mmi_AutoTest_ForceTouch_Read(text, sizeof text), 0);
    biases = {3, -2, 15, 1};
    EXPECT_EQ(mmi_AutoTest_ForceTouch_Read(text, sizeof text), 1);
    EXPECT_STREQ(text, "3(0,0,0),-2(0,0,0),"); // no half entry
    biases.clear();
    lib_vxo_factory = dlopen("libm.so.6", RTLD_NOW);
    for (const PartRow &row : PARTS) EXPECT_EQ(from_pc(row.start), 0);
    EXPECT_EQ(test_frame_current(), nullptr);
}
} // namespace
