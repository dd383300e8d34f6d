#include "fixture.h"

#include <cutils/properties.h>
#include <tp_clock.h>

#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
class KeyTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        for (KeyTestItem &item : Keytest_Item) item.test_enable = 0;
    }
    static void run_keys(const std::string &parameter) {
        run("[TKI_KEYS]\nenable=1\nparameter=" + parameter + "\n[TKI_SENSOR]\nenable=1\n");
    }
    static bool open() { return test_frame_current() && std::string(test_frame_current()->domain) == "TKI_KEYS"; }
};

TEST_F(KeyTest, passes_itself_with_the_last_release) {
    run_keys("VOLUME_UP:1;POWER:1;");
    EXPECT_EQ(softkeys(), "none") << "no menu, no bars";
    EXPECT_EQ(color_of("info_KeyItem0"), 12);
    key(KEY_PASS); // not before all are tested
    key(KEY_POWER_CODE);
    EXPECT_FALSE(shows("info_KeyItem5"));
    EXPECT_TRUE(shows("info_KeyItem0"));
    EXPECT_EQ(fake_flags::station(312), 0);
    press(KEY_VOLUP);
    EXPECT_TRUE(open());
    release(KEY_VOLUP);
    EXPECT_EQ(fake_flags::station(312), 1);
    EXPECT_TRUE(shows("info_NotFitted")); // the next item
}

TEST_F(KeyTest, one_key_at_a_time) {
    run_keys("VOLUME_UP:1;VOLUME_DOWN:1;");
    press(KEY_VOLUP);
    press(KEY_VOLDOWN);
    press(KEY_VOLUP); // a repeat
    release(KEY_VOLDOWN);
    release(KEY_VOLUP);
    EXPECT_FALSE(shows("info_KeyItem0"));
    EXPECT_TRUE(shows("info_KeyItem1"));
    release(KEY_VOLDOWN); // without a press
    key(KEY_CLOSE);       // not enabled
    EXPECT_TRUE(open());
    key(KEY_VOLUP); // counts once
    key(KEY_VOLDOWN);
    EXPECT_FALSE(open());
}

TEST_F(KeyTest, the_fail_key_as_a_key_to_test) {
    KeyTestItem &hook = Keytest_Item[8]; // no setting touches it
    const int code = std::exchange(hook.keycode, KEY_FAIL);
    hook.test_enable = 1;
    run_keys("VOLUME_UP:1;");
    key(KEY_VOLUP);
    key(KEY_FAIL); // its release completes nothing by itself. Kept.
    EXPECT_TRUE(hook.tested);
    EXPECT_TRUE(open());
    key(KEY_FAIL);
    EXPECT_EQ(fake_flags::station(312), 2);
    hook.keycode = code;
}

TEST_F(KeyTest, settings) {
    items("[TKI_KEYS]\nenable=1\nparameter=UI_KEYS:1;\n");
    property_set("ftmd.TPstatus", "0");
    mmi_teswnd_KeyTestEntry();
    EXPECT_FALSE(open()); // no key is enabled
    property_set("ftmd.TPstatus", "1");
    mmi_teswnd_KeyTestEntry();
    EXPECT_TRUE(open());
    EXPECT_EQ(Keytest_Item[2].test_enable + Keytest_Item[3].test_enable + Keytest_Item[9].test_enable, 3);
    EXPECT_EQ(Keytest_Item[0].test_enable, 0);
    property_set("ftmd.TPstatus", "0");

    setKeytest_Item_value("VOLUME_UP_LONG", 1); // the entry's name is the prefix
    EXPECT_EQ(Keytest_Item[0].test_enable, 1);
    setKeytest_Item_value("VOLUME", 1);
    EXPECT_EQ(Keytest_Item[1].test_enable, 0);
    EXPECT_EQ(Get_Keytest_item_key_value("POWER_KEY"), 1);
    EXPECT_EQ(Get_Keytest_item_key_value("NOTHING"), 102);
}

TEST_F(KeyTest, what_the_pc_reads_fits_its_buffer) {
    items("[TKI_KEYS]\nenable=1\nparameter=VOLUME_UP:1;VOLUME_DOWN:1;POWER:1;\n");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_KeyTestEntry(); }), 1);
    key(KEY_VOLUP);
    static char reply[6] = "xxxxx";
    for (const int size : {6, 1, 0}) {
        EXPECT_EQ(from_pc([size] { return mmi_AutoTest_KeyTest_Stop(size ? reply : nullptr, size); }), 1);
        EXPECT_STREQ(reply, size == 6 ? "115," : "");
    }
}

TEST_F(KeyTest, many_keys_stay_within_the_log) {
    run_keys("VOLUME_UP:1;");
    for (int i = 0; i < 200; ++i) key(KEY_VOLDOWN); // not enabled, but noted
    EXPECT_EQ(strlen(g_keys_buf), sizeof g_keys_buf - 1);
}

TEST_F(KeyTest, the_board_test_takes_its_own_keys) {
    items("[TKI_KEYS]\nenable=1\nparameter=HOME:1;\n");
    tp_clock_set_scale(100);
    std::thread operator_keys;
    const auto press_all = [](std::vector<int> codes) {
        return std::thread([codes] {
            tp_clock_sleep_ms(1000);
            for (int code : codes) tp_gui_inject_key(code, true), tp_gui_inject_key(code, false);
        });
    };
    operator_keys = press_all({KEY_VOLUP, KEY_VOLDOWN, KEY_POWER_CODE});
    EXPECT_EQ(from_pc([] { return PCBAKeyTestStart(); }), 1);
    operator_keys.join();
    EXPECT_FALSE(open());
    operator_keys = press_all({KEY_VOLUP});
    EXPECT_EQ(from_pc([] { return PCBAKeyTestStart(); }), 0); // the pass before does not count
    operator_keys.join();
    EXPECT_EQ(from_pc([] { return PCBAKeyTestStop(); }), 1);
    EXPECT_EQ(Keytest_Item[2].test_enable, 0);
}
} // namespace
