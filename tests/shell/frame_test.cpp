#include "shell_fixture.h"

#include <support/fake_flags.h>
#include <tp_clock.h>

#include "config/test_items.h"
#include "device/power.h"
#include "shell/bars.h"
#include "shell/test_frame.h"

namespace {
int opened, closed;
bool pass_ok;
void count_open(HWND) { ++opened; }
void count_close(HWND) { ++closed; }
bool may_pass() { return pass_ok; }
void draw(HWND hwnd, HDC hdc) { test_frame_draw_text(hwnd, hdc, "note", 12); }

TestWindow lcd{.domain = "TKI_LCD", .title_key = "title_LCDTest", .station = 280, .may_pass = may_pass,
               .on_open = count_open, .on_close = count_close, .paint = draw};

class FrameTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        fake_flags::install();
        opened = closed = 0;
        pass_ok = true;
        config("[TKI_LCD]\r\nenable=1\r\n[TKI_KEYS]\r\nenable=1\r\n");
        Get_TestItem_Config(1);
        g_deviceIsAutoTest = 1;
        open_menu();
    }
    void TearDown() override {
        test_frame_close(lcd);
        EXPECT_EQ(opened, closed);
        EXPECT_EQ(test_frame_current(), nullptr);
        ShellTest::TearDown();
    }
    static void open(TestWindow &w) {
        ASSERT_TRUE(test_frame_open(w));
        tp_gui_pump();
    }
};

TEST_F(FrameTest, a_pass_closes_then_writes_then_opens_the_next_item) {
    open(lcd);
    EXPECT_TRUE(shows("title_LCDTest"));
    EXPECT_TRUE(shows("note"));
    EXPECT_EQ(softkeys(), "Result_pass||Result_fail");
    EXPECT_STREQ(g_current_test_domain, "TKI_LCD");
    EXPECT_STREQ(lcd.pc_result, "TKI_LCD");
    press(KEY_PASS);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(fake_flags::station(280), 1);
    EXPECT_EQ(g_opened, std::vector<std::string>{"TKI_KEYS"});
    EXPECT_STREQ(g_current_test_domain, "");
    EXPECT_STREQ(lcd.pc_result, "");
}

TEST_F(FrameTest, a_fail_ends_the_run) {
    for (bool by_message : {false, true}) {
        fake_flags::install();
        g_deviceIsAutoTest = 1;
        open(lcd);
        if (by_message) SendMessage(lcd.hwnd, MSG_QUIT_WITH_FAIL, 0, 0);
        else press(KEY_FAIL);
        EXPECT_EQ(fake_flags::station(280), 2);
        EXPECT_EQ(g_deviceIsAutoTest, 0);
        EXPECT_FALSE(lcd.created);
        EXPECT_TRUE(g_opened.empty());
    }
}

TEST_F(FrameTest, pass_waits_for_the_test_and_its_delay) {
    tp_clock_set_scale(10);
    pass_ok = false;
    lcd.pass_after_ms = 1000;
    open(lcd);
    EXPECT_EQ(softkeys(), "||Result_fail");
    key(KEY_PASS);
    pass_ok = true;
    test_frame_refresh_keys(lcd);
    key(KEY_PASS); // the second is not over
    EXPECT_TRUE(lcd.created);
    EXPECT_TRUE(pump_until([] { return lcd.pass_offered; }));
    lcd.pass_after_ms = 0;
    EXPECT_EQ(softkeys(), "Result_pass||Result_fail");
    key(KEY_PASS);
    EXPECT_FALSE(lcd.created);
}

TEST_F(FrameTest, sleep_is_forbidden_while_any_test_is_open) {
    static TestWindow second{.domain = "TKI_LCD", .station = 280, .full_screen = true};
    open(lcd);
    EXPECT_EQ(g_bOsIsCanIdle, 0);
    open(second);
    test_frame_close(lcd);
    EXPECT_EQ(g_bOsIsCanIdle, 0); // the other still runs
    test_frame_close(second);
    EXPECT_EQ(g_bOsIsCanIdle, 1);
}

TEST_F(FrameTest, the_pc_opens_and_closes_without_a_verdict) {
    EXPECT_EQ(from_pc([] { return test_frame_pc_open(lcd); }), 1);
    EXPECT_EQ(lcd.pc_mode, 1);
    EXPECT_TRUE(shows("note")); // painted before the answer goes out
    EXPECT_EQ(from_pc([] { return test_frame_pc_close(lcd); }), 1);
    EXPECT_EQ(from_pc([] { return test_frame_pc_close(lcd); }), 1);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(lcd.pc_mode, 0);
    EXPECT_EQ(g_bOsIsCanIdle, 0); // the PC keeps the handset awake between its commands
    EXPECT_EQ(fake_flags::station(280), 0);
    EXPECT_EQ(g_deviceIsAutoTest, 1); // what it closed in mid run neither passed nor failed
}

TEST_F(FrameTest, closing_the_menu_stops_the_test_once) {
    open(lcd);
    SendMessage(g_main_menu_wnd, MSG_CLOSE, 0, 0);
    tp_gui_pump();
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(lcd.created);
}

TEST_F(FrameTest, a_test_may_end_itself_while_it_opens) {
    static TestWindow hasty{.domain = "TKI_LCD", .station = 280};
    hasty.on_open = [](HWND) { test_frame_pass(hasty); };
    EXPECT_TRUE(test_frame_open(hasty));
    EXPECT_FALSE(hasty.created);
    EXPECT_EQ(fake_flags::station(280), 1);
}
} // namespace
