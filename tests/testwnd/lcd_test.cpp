#include "fixture.h"

#include "base/sysfs.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
class LcdTest : public WindowTest {
protected:
    static bool second_over() {
        return pump_until([] { return g_bFoolProof == 0; });
    }
    // The colours shown until the verdict is asked for.
    static std::vector<uint32_t> walk_through() {
        std::vector<uint32_t> colors;
        while (test_frame_current()->full_screen && colors.size() < 20) {
            colors.push_back(middle_pixel());
            EXPECT_TRUE(second_over());
            touch();
        }
        return colors;
    }
    static uint32_t sys(int index) { return SysPixelIndex[index]; }
};

TEST_F(LcdTest, colours_by_number) {
    const uint32_t white1 = sys(15) - 1;
    const std::vector<std::pair<std::string, std::vector<uint32_t>>> rows{
        {"", {white1, sys(12), sys(10), sys(9), sys(16)}},
        {"parameter=colornum:6;\n", {sys(15), sys(7), sys(12), sys(10), sys(9), sys(16)}},
        {"parameter=colornum:8;\n", {white1, sys(12), sys(10), sys(9), sys(16), 0x808080, 0x404040, 0x202020}},
        {"parameter=colornum:9;\n", {white1, sys(12), sys(10), sys(9), sys(16), 0, 0, 0, 0}},
        {"parameter=colornum:8;\nmmi=2\n", {white1}},
    };
    for (const auto &[keys, colors] : rows) {
        items("[TKI_LCD]\nenable=1\n" + keys);
        mmi_LCDColorTestEntry();
        tp_gui_pump();
        EXPECT_EQ(walk_through(), colors) << keys;
        EXPECT_TRUE(shows("title_LCDTest"));
        EXPECT_EQ(GetWindowText(GetActiveWindow()), "LCD Color Test");
        key(KEY_PASS);
        EXPECT_EQ(test_frame_current(), nullptr);
    }
}

TEST_F(LcdTest, touches_within_a_second_and_uncovering_paints_do_not_advance) {
    run("[TKI_LCD]\nenable=1\n");
    const uint32_t first = middle_pixel();
    touch();
    InvalidateRect(GetActiveWindow(), nullptr, true);
    tp_gui_pump();
    key(KEY_PASS); // keys mean nothing here
    key(KEY_FAIL);
    EXPECT_EQ(middle_pixel(), first);
    EXPECT_EQ(g_deviceIsAutoTest, 1);
    ASSERT_TRUE(second_over());
    touch();
    EXPECT_EQ(middle_pixel(), sys(12));
}

TEST_F(LcdTest, the_pc_takes_over_from_an_operators_run) {
    run("[TKI_LCD]\nenable=1\nparameter=colornum:1;\n");
    ASSERT_TRUE(second_over());
    touch(); // the verdict is asked for
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_LCDColorTestEntry(2); }), 1);
    EXPECT_EQ(middle_pixel(), sys(10));
    EXPECT_FALSE(shows("info_LCDNote"));
    EXPECT_EQ(fake_flags::station(280), 0);
    mmi_LCDColorTest_Stop_Entry();
}

TEST_F(LcdTest, grey_levels) {
    items("[TKI_LCD]\nenable=1\n");
    const auto set = [](const char *text) { return from_pc([text] { return mmi_AutoTest_GrayLevel_Set(text); }); };
    EXPECT_EQ(set("10,20,30"), 1);
    EXPECT_EQ(middle_pixel(), 10u + 20 * 256 + 30 * 65536);
    EXPECT_EQ(set("1,257,0"), 1);
    EXPECT_EQ(middle_pixel(), 1u + 256); // the second number keeps 16 bits of its place
    for (const char *bad : {"", ",", "a,b,c", "1,2", "1,2,3,4", "1,2,x", "1,,3", "-1,2,3", "9999999999,1,1", "close "})
        EXPECT_EQ(set(bad), 0) << bad;
    EXPECT_EQ(mmi_AutoTest_GrayLevel_Set(nullptr), 0);
    EXPECT_EQ(middle_pixel(), 257u);
    touch();
    EXPECT_EQ(middle_pixel(), 257u);
    EXPECT_EQ(set("close"), 1);
    EXPECT_EQ(test_frame_current(), nullptr);
    // A grey level left behind by a closed window must not take the next run's touches.
    EXPECT_EQ(set("10,20,30"), 1);
    mmi_LCDColorTest_Stop_Entry();
    run("[TKI_LCD]\nenable=1\n");
    EXPECT_EQ(middle_pixel(), sys(15) - 1);
}

TEST_F(LcdTest, the_preview_variant_falls_back_to_colours_and_writes_no_flag) {
    items("[TKI_LCD]\nenable=1\nparameter=colornum:1;\n");
    g_deviceIsAutoTest = 1;
    mmi_Monomer_LCDColorTestEntry();
    tp_gui_pump();
    EXPECT_EQ(walk_through(), std::vector<uint32_t>{sys(15) - 1});
    EXPECT_STREQ(test_frame_current()->domain, "TKI_MONOMER_LCD");
    key(KEY_PASS);
    EXPECT_EQ(test_frame_current(), nullptr);
    EXPECT_EQ(fake_flags::station(280), 0);
}

TEST_F(LcdTest, panel_files) {
    write_text("/data/type", "panel_a_fhd\nsecond line\n");
    char text[16];
    for (const auto &[size, expected] : {std::pair{6, "panel"}, {16, "panel_a_fhd"}}) {
        EXPECT_EQ(read_regvalue_from_file("/data/type", text, size), 0);
        EXPECT_STREQ(text, expected);
    }
    EXPECT_EQ(read_regvalue_from_file("/data/type", text, 0), -1);
    for (const bool marked : {true, false}) {
        EXPECT_EQ(mmi_AutoTest_DualLCD_Switch(), 1);
        EXPECT_EQ(exists("/data/pv_dual_lcd_flag"), marked);
    }
}
} // namespace
