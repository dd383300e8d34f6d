// The cards' lines and their verdict; the camera's picture, its delay, its snapshots, and what it does without a camera.
#include "fixture.h"

#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <thread>
#include <tki_hardware.h>
#include <tp_globals.h>

#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
tki_callback callback;
int start_result, stops;
std::atomic<int> captures; // the test waits for the library's thread to have taken one
std::string camera_started;

// As the library does: on a thread of its own.
void tell(int type, int result, const void *data) {
    tki_module_data module{type, result, data};
    std::thread([&module] { callback(&module); }).join();
    while (tp_gui_pump()) {}
}
tki_card_event sd_card(int present) {
    tki_card_event event{TKI_CARD_SD, 1, present, 32'000'000'000, {}};
    snprintf(event.text, sizeof event.text, "SU32G");
    return event;
}
void tell_card(int card, int fitted, int present) {
    tki_card_event event = card == TKI_CARD_SD ? sd_card(present) : tki_card_event{card, fitted, present, 0, "898600"};
    event.fitted = fitted;
    tell(TKI_MODULE_CARDS, 0, &event);
}
} // namespace

extern "C" int tki_api_Card_Read(int card, tki_card_event *out) { // bound later, by name
    if (card != TKI_CARD_SIM1 && card != TKI_CARD_SD) return -1;
    *out = card == TKI_CARD_SD ? sd_card(1) : tki_card_event{card, 1, 0, 0, {}};
    return 0;
}

namespace {
class CardCameraTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        open_menu();
        callback = nullptr;
        start_result = stops = captures = 0;
        camera_started.clear();
        lib_vxo_factory = dlopen(nullptr, RTLD_NOW);
        snprintf(g_chLogPath, sizeof g_chLogPath, "/data/");
        tki_api_AllCard_Test_Start = [](tki_callback cb) { return callback = cb, start_result; };
        tki_api_AllCard_Test_Stop = [] { return ++stops, 0; };
        tki_api_camera_test_start = [](int camera, tki_callback cb) {
            camera_started += std::to_string(camera);
            return callback = cb, start_result;
        };
        tki_api_camera_test_stop = [] { return ++stops, 0; };
        tki_api_camera_start_capture = [] { return ++captures, 0; };
    }
    void TearDown() override {
        WindowTest::TearDown();
        lib_vxo_factory = nullptr;
        tki_api_AllCard_Test_Start = nullptr;
        tki_api_AllCard_Test_Stop = tki_api_camera_test_stop = tki_api_camera_start_capture = nullptr;
        tki_api_camera_test_start = nullptr;
    }
    static bool offered() { return softkeys().starts_with("Result_pass"); }
    static bool offered_soon() { return pump_until(offered); }
    // A picture of one colour, wider than high, with some bytes behind each line.
    static void frame(uint32_t color, int snapshot = 0) {
        const std::vector<uint32_t> pixels(20 * 10, color);
        const tki_camera_frame picture{16, 10, 20 * 4, snapshot, pixels.data()};
        tell(TKI_MODULE_CAMERA, 0, &picture);
    }
    static bool shows_color(uint32_t color) {
        return pump_until([color] { return middle_pixel() == color; });
    }
};

TEST_F(CardCameraTest, a_line_per_slot_and_pass_when_the_wanted_ones_hold_cards) {
    items("[TKI_SIMCARD]\nenable=1\nparameter=SIM1:1;SIM2:0;SDCARD:1\n");
    mmi_testwnd_SIMCardTestEntry();
    settle();
    EXPECT_FALSE(offered());
    tell_card(TKI_CARD_SIM0, 1, 0);
    tell_card(TKI_CARD_SIM1, 0, 0);
    tell_card(TKI_CARD_SD, 1, 1);
    EXPECT_EQ(color_of("info_CardSim1: info_CardNone"), LINE_BAD);
    EXPECT_EQ(color_of("info_CardSim2: info_NotFitted"), LINE_NORMAL) << "nobody wants it";
    EXPECT_EQ(color_of("info_CardSd: SU32G,32000MB"), LINE_GOOD);
    EXPECT_FALSE(offered());
    tell_card(TKI_CARD_SIM0, 1, 1);
    EXPECT_EQ(color_of("info_CardSim1: 898600"), LINE_GOOD);
    EXPECT_TRUE(offered());
    tell_card(TKI_CARD_SD, 1, 0);
    EXPECT_FALSE(offered()) << "pulled out again";
    key(KEY_PASS);
    ASSERT_NE(test_frame_current(), nullptr);
    key(KEY_FAIL);
    EXPECT_EQ(stops, 1);
}

TEST_F(CardCameraTest, in_a_run_cards_pass_by_themselves_and_only_when_any_is_wanted) {
    const std::string enabled = "[TKI_SIMCARD]\nenable=1\nauto=1\nparameter=";
    run(enabled + "SIM1:1;SIM2:1;SDCARD:0\n");
    tell_card(TKI_CARD_SIM0, 1, 1);
    tell_card(TKI_CARD_SIM1, 1, 1);
    EXPECT_NE(test_frame_current(), nullptr) << "the green lines are seen first";
    EXPECT_TRUE(pump_until([] { return fake_flags::station(324) == 1; }));
    EXPECT_EQ(test_frame_current(), nullptr);

    run(enabled + "SIM1:0;SIM2:0;SDCARD:0\n");
    for (int card : {TKI_CARD_SIM0, TKI_CARD_SIM1, TKI_CARD_SD}) tell_card(card, 1, 1);
    EXPECT_FALSE(offered());
    key(KEY_FAIL);
    EXPECT_EQ(fake_flags::station(324), 2);

    start_result = -1;
    mmi_testwnd_SIMCardTestEntry();
    settle();
    EXPECT_TRUE(shows("info_NotFitted"));
    EXPECT_FALSE(offered());
}

TEST_F(CardCameraTest, the_pc_reads_cards) {
    char reply[16] = "xxxxxxxxxxxxxxx";
    EXPECT_EQ(mmi_AutoTest_SDCard_Read(reply, 8), 1);
    EXPECT_STREQ(reply, "SU32G,32xxxxxxx") << "never longer than there is room";
    for (int slot : {-1, 0, 1, 2, 4}) EXPECT_EQ(mmi_AutoTest_sim_Read(slot, reply, 15), 0) << slot;
}

TEST_F(CardCameraTest, a_camera_passes_when_its_picture_was_shown_for_long_enough) {
    run("[TKI_CAMERA_BACK]\nenable=1\n");
    mmi_testwnd_CameraBackTestEntry();
    settle();
    EXPECT_FALSE(pump_until(offered, 400)) << "no picture yet"; // 8 s
    EXPECT_TRUE(shows("info_CameraFailed"));
    frame(0x800000);
    EXPECT_TRUE(pump_until([] { return shows("info_CameraNote"); }));
    EXPECT_FALSE(offered());
    for (uint32_t color : {0x8000u, 0x80u, 0xff80u}) frame(color);
    EXPECT_TRUE(shows_color(0xff80)) << "the newest";
    EXPECT_EQ(fake_panel::pixel(2, 130), 0xff80u) << "as wide as the screen";
    EXPECT_NE(fake_panel::pixel(120, 60), 0xff80u) << "and in its shape";
    EXPECT_TRUE(offered_soon());
    tell(TKI_MODULE_CAMERA, -1, nullptr);
    EXPECT_TRUE(pump_until([] { return color_of("info_CameraFailed") == LINE_BAD; }));
    EXPECT_FALSE(offered());
    key(KEY_FAIL);
    EXPECT_EQ(fake_flags::station(288), 2);
    EXPECT_EQ(stops, 1);
}

TEST_F(CardCameraTest, pictures_that_are_none_fail_the_camera) {
    const uint32_t pixel = 0;
    const tki_camera_frame bad[] = {
        {1, 1, 4, 0, nullptr}, {0, 1, 4, 0, &pixel}, {5000, 1, 20000, 0, &pixel}, {2, 1, 4, 0, &pixel}, {1, 1, 6, 0, &pixel}};
    for (const tki_camera_frame &picture : bad) {
        EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTestEntry(TKI_CAMERA_AUX); }), 1);
        tell(TKI_MODULE_CAMERA, 0, &picture);
        EXPECT_TRUE(pump_until([] { return shows("info_CameraFailed"); })) << &picture - bad;
    }
}

TEST_F(CardCameraTest, snapshots_are_shown_and_kept) {
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_FRONT); }), 0) << "not open";
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTestEntry(TKI_CAMERA_FRONT); }), 1);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_BACK); }), 0);
    remove("/data/camera_front.png");
    EXPECT_EQ(from_pc([] {
        std::thread library([] {
            while (!captures) std::this_thread::yield();
            const uint32_t pixels[] = {0x123456, 0xfedcba};
            const tki_camera_frame picture{2, 1, 8, 1, pixels};
            tki_module_data module{TKI_MODULE_CAMERA, 0, &picture};
            callback(&module);
        });
        const int result = mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_FRONT);
        library.join();
        return result;
    }), 1);
    EXPECT_TRUE(pump_until([] { return shows("info_SnapshotSaved"); }));
    BITMAP file;
    ASSERT_EQ(LoadBitmapFromFile(HDC_INVALID, &file, "/data/camera_front.png"), 0);
    EXPECT_EQ(file.bmWidth * 10 + file.bmHeight, 21);
    EXPECT_EQ(file.pixels[0], 0x123456u);
    EXPECT_EQ(file.pixels[1], 0xfedcbau);
    UnloadBitmap(&file);
    frame(0xff00);
    EXPECT_FALSE(pump_until([] { return middle_pixel() == 0xff00u; }, 100)) << "the snapshot stays";
    touch();
    frame(0xff00);
    EXPECT_TRUE(shows_color(0xff00));
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_Camera_Snapshot(TKI_CAMERA_FRONT); }), 0) << "nothing comes";
}

TEST_F(CardCameraTest, cameras_take_turns_and_one_that_is_not_fitted_leaves_nothing) {
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTestEntry(TKI_CAMERA_FRONT); }), 1);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTestEntry(TKI_CAMERA_BACK); }), 1);
    EXPECT_EQ(camera_started + std::to_string(stops), "201");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTest_Stop(TKI_CAMERA_FRONT); }), 1);
    EXPECT_EQ(stops, 1) << "the other one runs on";
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTest_Stop(TKI_CAMERA_BACK); }), 1);
    EXPECT_EQ(test_frame_current(), nullptr);
    start_result = -1;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CameraTestEntry(TKI_CAMERA_BACK); }), 0);
    EXPECT_EQ(test_frame_current(), nullptr);
    mmi_testwnd_CameraBackTestEntry();
    settle();
    EXPECT_TRUE(shows("info_NotFitted"));
    EXPECT_EQ(softkeys(), "||Result_fail");
}

TEST_F(CardCameraTest, the_hardware_version_needs_one) {
    tki_api_GetHardVersion = [](char *out, int size) { return snprintf(out, static_cast<size_t>(size), "HW-A2"); };
    mmi_testwnd_Monomer_HardwareVersionEntry();
    EXPECT_TRUE(offered_soon());
    EXPECT_TRUE(shows("HW-A2"));
    key(KEY_PASS);
    tki_api_GetHardVersion = nullptr;
    mmi_testwnd_Monomer_HardwareVersionEntry();
    EXPECT_FALSE(pump_until(offered, 300));
    EXPECT_TRUE(shows("info_NotFitted"));
}
} // namespace
