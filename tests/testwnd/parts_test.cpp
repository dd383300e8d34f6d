// Lights, headset key, hall sensor, radio, amplifier and the touch panel's self test: what they ask of the library, what passes.
#include "fixture.h"

#include <dlfcn.h>
#include <semaphore>
#include <support/files.h>
#include <tki_hardware.h>
#include <tp_globals.h>

#include "config/test_items.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/test_frame.h"
#include "testwnd/parts_pc.h"
#include "testwnd/test_entries.h"

namespace {
unsigned fitted, refusing;       // bits of the lights
int level[TKI_LIGHTS];
std::string steps;               // what was set, "light:level "
int headset, frequency, volume, impedance;
std::atomic<int> self_tests;
std::counting_semaphore<> self_test_may_end{0};
tki_event_callback hall_cb;

unsigned lit() {
    unsigned on = 0;
    for (int light = 0; light < TKI_LIGHTS; ++light) on |= (level[light] > 0 ? 1u : 0u) << light;
    return on;
}
} // namespace

extern "C" { // bound later, by name
int tki_api_Light_Fitted(int light) { return fitted >> light & 1; }
int tki_api_Light_Set(int light, int value) {
    if (refusing >> light & 1) return -1;
    level[light] = value;
    steps += std::to_string(light) + ":" + std::to_string(value) + " ";
    if (light == TKI_LIGHT_LCD) files::put("/data/backlight", ""); // an ordinary file only appends
    return 0;
}
int tki_api_HallSensor_Test_Start(tki_event_callback cb) { return hall_cb = cb, 0; }
int tki_api_HallSensor_Test_Stop() { return hall_cb = nullptr, 0; }
int tki_api_FM_Get_Rssi() { return -61; }
int tki_api_SmartPA_Read(int *milliohm, int *min, int *max) { return *milliohm = 0, *min = 6000, *max = 9000, impedance ? 0 : -1; }
int tki_api_SmartPA_Calibrate(int *milliohm) { return *milliohm = impedance, 0; }
int tki_api_TouchPanel_SelfTest() {
    ++self_tests;
    self_test_may_end.acquire();
    return 0;
}
}

namespace {
class PartsTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        open_menu();
        lib_vxo_factory = dlopen(nullptr, RTLD_NOW);
        snprintf(g_cSysBacklight, sizeof g_cSysBacklight, "/data/backlight");
        files::put("/data/backlight", "100\n");
        fitted = (1u << TKI_LIGHTS) - 1;
        refusing = 0;
        std::fill(std::begin(level), std::end(level), 0);
        steps = "";
        headset = TKI_HEADSET_WITH_MIC;
        volume = 14;
        impedance = 8000;
        self_tests = 0;
        tki_api_GetHeadsetState = [] { return headset; };
        tki_api_FM_Test_Start = [](int f) { return frequency = f, f >= 6400 && f <= 10800 ? 0 : -1; };
        tki_api_FM_Test_Stop = [] { return frequency = 0; };
        tki_api_FM_Get_Vol = [] { return volume; };
        tki_api_FM_Set_Vol = [](int v) { return volume = v, 0; };
    }
    void TearDown() override {
        WindowTest::TearDown();
        lib_vxo_factory = nullptr;
        tki_api_GetHeadsetState = nullptr;
        tki_api_FM_Test_Start = nullptr;
        tki_api_FM_Test_Stop = tki_api_FM_Get_Vol = nullptr;
        tki_api_FM_Set_Vol = nullptr;
    }
    static bool offered() { return pump_until([] { return softkeys().starts_with("Result_pass"); }); }
    static bool comes(const std::string &text) { return pump_until([&] { return shows(text); }); }
};

TEST_F(PartsTest, a_walk_passes_when_every_light_was_on) {
    fitted = 1 << TKI_LIGHT_RED | 1 << TKI_LIGHT_KEYS | 1 << TKI_LIGHT_LCD;
    run("[TKI_ALLLIGHT]\nenable=1\n");
    EXPECT_EQ(color_of("info_LightRed"), LINE_GOOD);
    for (const char *seen : {"0:255 ", "0:255 0:0 3:255 ", "0:255 0:0 3:255 3:0 7:255 ", "0:255 0:0 3:255 3:0 7:255 7:16 "}) {
        ASSERT_TRUE(pump_until([&] { return steps == seen; })) << steps;
        key(KEY_PASS);
        EXPECT_EQ(softkeys(), "||Result_fail");
    }
    EXPECT_EQ(color_of("info_LightLcd"), LINE_GOOD);
    EXPECT_EQ(color_of("info_LightRed"), LINE_NORMAL);
    ASSERT_TRUE(offered());
    EXPECT_EQ(files::get("/data/backlight"), "100");
    key(KEY_PASS);
    EXPECT_EQ(fake_flags::station(284), 1);
    EXPECT_EQ(lit() & ~(1u << TKI_LIGHT_LCD), 0U);
}

TEST_F(PartsTest, a_light_that_stays_dark_and_none_at_all_can_only_fail) {
    fitted = 1 << TKI_LIGHT_BLUE | 1 << TKI_LIGHT_LCD;
    files::put("/data/backlight", ""); // a display that could not be put back is not dimmed
    refusing = 1 << TKI_LIGHT_BLUE;
    run("[TKI_ALLLIGHT]\nenable=1\n");
    ASSERT_TRUE(pump_until([] { return color_of("info_LightBlue") == LINE_BAD && color_of("info_LightLcd") == LINE_BAD; }));
    EXPECT_EQ(steps, "");
    EXPECT_EQ(softkeys(), "||Result_fail");
    key(KEY_FAIL);
    EXPECT_EQ(fake_flags::station(284), 2);
    fitted = 0;
    mmi_testwnd_AllLightTestEntry();
    settle();
    EXPECT_TRUE(shows("info_NotFitted"));
}

TEST_F(PartsTest, lights_of_the_pc) {
    const struct {
        int (*on)(), (*off)();
        unsigned lights;
    } rows[] = {
        {[] { return mmi_AutoTest_LEDTestEntry("red"); }, mmi_AutoTest_LEDTest_Stop, 1},
        {[] { return mmi_AutoTest_LEDTestEntry("green"); }, mmi_AutoTest_LEDTest_Stop, 2},
        {[] { return mmi_AutoTest_LEDTestEntry("orange"); }, mmi_AutoTest_LEDTest_Stop, 3},
        {mmi_AutoTest_KEYBacklightTestEntry, mmi_AutoTest_KEYBacklightTest_Stop, 8},
        {[] { return mmi_AutoTest_flashlightTestEntry("autotest"); }, mmi_AutoTest_flashlightTest_Stop, 16},
        {mmi_AutoTest_flashlight2TestEntry, mmi_AutoTest_flashlight2Test_Stop, 32},
        {[] { return mmi_AutoTest_flashlight_frontTestEntry(""); }, mmi_AutoTest_flashlight_frontTest_Stop, 64},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(from_pc(row.on), 1);
        EXPECT_EQ(lit(), row.lights); // those of the row before are out
    }
    EXPECT_EQ(from_pc(mmi_AutoTest_LEDTest_Stop), 1); // nothing of its own is on
    EXPECT_EQ(lit(), 64U);
    EXPECT_EQ(from_pc(mmi_AutoTest_LightControl_Open), 1);
    EXPECT_EQ(lit(), 255U);
    for (const auto &row : rows) EXPECT_EQ(from_pc(row.off), 1);
    EXPECT_EQ(lit(), 128U);
    EXPECT_EQ(from_pc(mmi_AutoTest_LightControl_Close), 1);
    EXPECT_EQ(test_frame_current(), nullptr);
    EXPECT_EQ(files::get("/data/backlight"), "100");
    for (auto [mode, lit_level] : {std::pair{"128", 128}, {"1", 1}, {"0", 0}, {"256", 0}, {"x", 0}, {"-1", 0}, {"1;reboot", 0}}) {
        EXPECT_EQ(from_pc([&, m = mode] { return mmi_AutoTest_flashlight_frontTestEntry(m); }), lit_level > 0) << mode;
        EXPECT_EQ(level[TKI_LIGHT_FLASH_FRONT], lit_level > 0 ? lit_level : level[TKI_LIGHT_FLASH_FRONT]);
    }
    fitted = 1; // no orange without green
    for (const auto &row : rows) EXPECT_EQ(from_pc(row.on), row.lights == 1) << row.lights;
    EXPECT_EQ(test_frame_current(), nullptr);
    EXPECT_EQ(from_pc(mmi_AutoTest_KEYBacklightTest_Stop), 0);
    EXPECT_EQ(from_pc(mmi_AutoTest_LightControl_Open), 1);
}

TEST_F(PartsTest, the_magnet_must_be_seen_near_and_away) {
    const std::pair<std::vector<int>, int> rows[] = {{{}, 0}, {{0}, 0}, {{1, 1}, 0}, {{0, 1}, 1}, {{1, 0, 1}, 1}};
    for (const auto &[states, result] : rows) {
        EXPECT_EQ(from_pc(mmi_AutoTest_HallSensorTestEntry), 1);
        EXPECT_EQ(color_of("info_HallNear"), LINE_BAD);
        for (const int state : states) {
            tki_part_event event{state, ""};
            tki_module_data data{TKI_MODULE_HALL, 0, &event}, other{TKI_MODULE_NFC, 0, &event};
            hall_cb(&other);
            hall_cb(&data);
            settle();
        }
        EXPECT_EQ(from_pc(mmi_AutoTest_HallSensorTest_Stop), result);
        EXPECT_EQ(hall_cb, nullptr);
    }
    EXPECT_EQ(from_pc(mmi_AutoTest_HallSensorTest_Stop), 0); // not open
}

TEST_F(PartsTest, the_radio_shows_what_it_receives_and_whether_its_aerial_is_missing) {
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_FMTestEntry(0); }), 0);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_FMTestEntry(9870); }), 1);
    for (const char *text : {"info_FMFrequency: 98.70 MHz", "info_FMRssi: -61 dBm", "info_FMVolume: 14"}) EXPECT_TRUE(shows(text));
    for (int wanted : {15, 15}) {
        key(KEY_VOLUP);
        EXPECT_EQ(volume, wanted);
    }
    EXPECT_TRUE(shows("info_FMVolume: 15"));
    volume = 0;
    key(KEY_VOLDOWN);
    EXPECT_EQ(volume, 0);
    headset = TKI_HEADSET_NONE;
    ASSERT_TRUE(comes("info_HeadSetNote"));
    EXPECT_EQ(color_of("info_HeadSetNote"), LINE_BAD);
    EXPECT_EQ(from_pc(mmi_AutoTest_FMTest_Stop), 1);
    EXPECT_EQ(frequency, 0);
    EXPECT_EQ(test_frame_current(), nullptr);
}

TEST_F(PartsTest, an_amplifier_passes_within_its_limits) {
    for (auto [milliohm, good] : {std::pair{5999, 0}, {6000, 1}, {9000, 1}, {9001, 0}}) {
        impedance = milliohm;
        run("[TKI_SMARTPACAL]\nenable=1\n");
        if (!good) {
            ASSERT_TRUE(comes("info_SmartPAFail"));
            key(KEY_PASS);
            key(KEY_FAIL);
        }
        ASSERT_TRUE(pump_until([] { return test_frame_current() == nullptr; }));
        EXPECT_EQ(fake_flags::station(300), good ? 1 : 2);
    }
}

TEST_F(PartsTest, the_panel_tests_itself_while_the_screen_lives) {
    run("[TKI_TPSELF]\nenable=1\n");
    EXPECT_TRUE(shows("info_Measuring"));
    ASSERT_TRUE(pump_until([] { return self_tests == 1; }));
    key(KEY_FAIL); // closes at once
    EXPECT_EQ(test_frame_current(), nullptr);
    config("[TKI_TPSELF]\nenable=1\n");
    Get_AuxLCD_TestItem_Config(1);
    g_deviceIsAutoTest = 1;
    mmi_testwnd_TPSelfTest_Entry();
    self_test_may_end.release(); // the first one's result is not the second's
    ASSERT_TRUE(pump_until([] { return self_tests == 2; }));
    EXPECT_TRUE(shows("info_Measuring"));
    self_test_may_end.release();
    ASSERT_TRUE(pump_until([] { return fake_flags::station(320) == 1; }));

    g_deviceIsAutoTest = 0;
    for (void (*entry)() : {mmi_testwnd_TPSelfTest_Entry, mmi_testwnd_Monomer_TPSelfTest_Entry}) { // the operator sees it
        entry();
        self_test_may_end.release();
        ASSERT_TRUE(comes("TestResultPass"));
        EXPECT_EQ(softkeys(), "Result_pass||Result_fail");
    }
    lib_vxo_factory = dlopen("libm.so.6", RTLD_NOW);
    mmi_testwnd_TPSelfTest_Entry();
    settle();
    EXPECT_TRUE(shows("info_NotFitted"));
}
} // namespace
