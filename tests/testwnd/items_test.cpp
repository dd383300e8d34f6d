// The item tables, the vibrator and the items whose test is not built in.
#include "fixture.h"

#include <tp_clock.h>

#include "config/test_items.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
int started_ms, stops, start_result;

class ItemsTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        started_ms = stops = start_result = 0;
        tki_api_Vibrator_Test_Start = [](int ms) {
            started_ms = ms;
            return start_result;
        };
        tki_api_Vibrator_Test_Stop = [] {
            ++stops;
            return 0;
        };
    }
    void TearDown() override {
        WindowTest::TearDown();
        tki_api_Vibrator_Test_Start = nullptr;
        tki_api_Vibrator_Test_Stop = nullptr;
    }
};

TEST_F(ItemsTest, two_rows_share_a_flag_and_loop_back_has_no_stop) {
    EXPECT_EQ(TestItemWinMenu_TOTAL[2].testinfo_index, 300);
    EXPECT_EQ(TestItemWinMenu_TOTAL[12].testinfo_index, 300);
    EXPECT_EQ(TestItemWinMenu_TOTAL[2].item_stop, nullptr);
    EXPECT_STREQ(MonomerPreview_TestItemWinMenu_TOTAL[1].name, "menu_NfcTest");
}

TEST_F(ItemsTest, every_item_opens_in_its_own_name_and_can_only_be_failed_until_it_is_built) {
    items("[TKI_KEYS]\nenable=1\nparameter=POWER:1;\n");
    const auto check = [](TestItem &item, bool writes) {
        SCOPED_TRACE(item.config_domain);
        fake_flags::install();
        g_deviceIsAutoTest = 1;
        item.item_entry();
        tp_gui_pump();
        ASSERT_NE(test_frame_current(), nullptr);
        EXPECT_STREQ(test_frame_current()->domain, item.config_domain);
        if (shows("info_NotFitted")) {
            key(KEY_PASS);
            ASSERT_NE(test_frame_current(), nullptr);
            key(KEY_FAIL);
            EXPECT_EQ(test_frame_current(), nullptr);
            if (writes && item.testinfo_index >= 0) {
                EXPECT_EQ(fake_flags::station(item.testinfo_index), 2);
            }
        } else if (item.item_stop) {
            item.item_stop();
            EXPECT_EQ(test_frame_current(), nullptr);
            EXPECT_EQ(fake_flags::station(item.testinfo_index < 0 ? 0 : item.testinfo_index), 0);
        }
    };
    for (TestItem &item : TestItemWinMenu_TOTAL) check(item, true);
    for (TestItem &item : MonomerPreview_TestItemWinMenu_TOTAL) check(item, false);
    check(AuxLCD_TestItemWinMenu_TOTAL[4], true);
}

TEST_F(ItemsTest, vibrator_in_a_run) {
    run("[TKI_VIBRATOR]\nenable=1\n[TKI_SENSOR]\nenable=1\n");
    EXPECT_EQ(started_ms, -1);
    EXPECT_TRUE(shows("info_VibratorNote"));
    key(KEY_PASS); // nobody felt it yet
    EXPECT_EQ(stops, 0);
    ASSERT_TRUE(pump_until([] { return test_frame_current()->pass_offered; }));
    key(KEY_PASS);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(fake_flags::station(316), 1);
    EXPECT_TRUE(shows("info_NotFitted"));
}

TEST_F(ItemsTest, vibrator_from_the_pc) {
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_VibratorTestEntry(15000); }), 1);
    EXPECT_EQ(started_ms, 15000);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_VibratorTestEntry(-1); }), 1); // anew
    EXPECT_EQ(started_ms, -1);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_VibratorTest_Stop(); }), 1);
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_VibratorTest_Stop(); }), 1);
    EXPECT_EQ(stops, 3);
    start_result = -1;
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_VibratorTestEntry(-1); }), 0);
    EXPECT_EQ(test_frame_current(), nullptr);
}
} // namespace
