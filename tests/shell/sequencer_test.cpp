#include "shell_fixture.h"

#include <support/fake_flags.h>
#include <fstream>
#include <unistd.h>

#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "shell/device_list.h"
#include "shell/sequencer.h"

namespace {
constexpr char LATEST[] = "/data/pv_autotest_latest_pass";
constexpr char RESTORE[] = "/data/pv_autotest_restore_flag";
constexpr char AUX[] = "/data/pv_aux_lcd_test_flag";
using Names = std::vector<std::string>;

class SequencerTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        fake_flags::install();
        unlink(AUX);
    }
    void TearDown() override {
        if (g_device_test_wnd) SendMessage(g_device_test_wnd, MSG_CLOSE, 0, 0);
        ShellTest::TearDown();
    }
    // mmi: lines of the section MMI; items: lines per domain, all enabled. Written with the line ends of the product.
    static void settings(const std::string &mmi, const std::vector<std::pair<std::string, std::string>> &items) {
        std::string text = "[MMI]\n" + mmi;
        for (const auto &[domain, keys] : items) text += "[" + domain + "]\nenable=1\n" + keys;
        std::string crlf;
        for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
        config(crlf);
        for (TestItem &item : TestItemWinMenu_TOTAL) item.item_enable = 0;
    }
    // Passes the item opened last, as its window does.
    static void pass() { mmi_startNextItemTest(std::string(g_opened.back()).c_str()); }
};

TEST_F(SequencerTest, normal_run_takes_the_automatic_items_and_writes_its_verdict) {
    settings("", {{"TKI_LCD", ""}, {"TKI_ALLLIGHT", "auto=0\n"}, {"TKI_LOOPBACK", "mmi=1\n"}});
    mmi_AutoTestEntry();
    EXPECT_EQ(g_deviceIsAutoTest, 1);
    pass();
    EXPECT_EQ(g_opened, (Names{"TKI_LCD", "TKI_LOOPBACK"}));
    EXPECT_EQ(fake_flags::station(64), 0);
    pass();
    EXPECT_EQ(fake_flags::station(64), 1);
    EXPECT_EQ(fake_flags::station(66), 0);
    EXPECT_EQ(g_deviceIsAutoTest, 0);
    EXPECT_EQ(g_opened.size(), 2u);
}

TEST_F(SequencerTest, mmi_flag_skips_operator_items) {
    settings("mmi_flag=1\npretest_menu_enable=1\n",
             {{"TKI_LCD", "mmi=1\n"}, {"TKI_ALLLIGHT", ""}, {"TKI_LOOPBACK", "mmi=1\n"}, {"TKI_KEYS", ""}});
    mmi_AutoTestEntry();
    pass();
    EXPECT_EQ(g_opened, (Names{"TKI_ALLLIGHT", "TKI_KEYS"}));
    pass();
    EXPECT_EQ(fake_flags::station(66), 1); // the pretest menu is on: a normal run clears the pretest's verdict as well
}

// Only 0 and 1 filter the chain: with any other flag it takes whatever comes next. Kept.
TEST_F(SequencerTest, other_mmi_flags_chain_unfiltered) {
    settings("mmi_flag=2\n", {{"TKI_LCD", ""}, {"TKI_ALLLIGHT", "auto=0\n"}});
    mmi_AutoTestEntry();
    pass();
    EXPECT_EQ(g_opened, (Names{"TKI_LCD", "TKI_ALLLIGHT"}));
}

TEST_F(SequencerTest, pretest_one) {
    settings("", {{"TKI_LCD", "auto=0\n"}, {"TKI_ALLLIGHT", "auto=0\n"}, {"TKI_LOOPBACK", "pre=0\n"}, {"TKI_KEYS", ""}});
    mmi_AutoTestEntry_Ex();
    EXPECT_EQ(fake_flags::station(66), 2);
    pass();
    EXPECT_EQ(g_opened, (Names{"TKI_LCD", "TKI_KEYS"})); // the first item needs no auto flag, the others do
    pass();
    EXPECT_EQ(fake_flags::station(66), 1);
    EXPECT_EQ(fake_flags::station(64), 0);
    EXPECT_EQ(g_autotest_run_mode, 0);
}

TEST_F(SequencerTest, pretest_two_needs_pretest_one) {
    settings("", {{"TKI_LCD", ""}, {"TKI_ALLLIGHT", "pre=0\n"}, {"TKI_LOOPBACK", "pre=2\nauto=0\n"}, {"TKI_KEYS", "pre=2\n"}});
    mmi_AutoTestEntry_Ex2();
    EXPECT_EQ(g_deviceIsAutoTest, 0);
    EXPECT_TRUE(g_opened.empty());
    fake_flags::set(66, 1);
    mmi_AutoTestEntry_Ex2();
    pass();
    EXPECT_EQ(g_opened, (Names{"TKI_ALLLIGHT", "TKI_KEYS"}));
    pass();
    EXPECT_EQ(fake_flags::station(64), 1);
}

TEST_F(SequencerTest, finds_the_item_by_prefix_and_survives_unknown_names) {
    mmi_startNextItemTest("TKI_LCD"); // no list
    settings("", {{"TKI_LCD", ""}, {"TKI_KEYS", ""}});
    mmi_AutoTestEntry();
    g_opened.clear();
    for (const char *name : {"", "TKI", "NOTHING", "TKI_KEY"}) mmi_startNextItemTest(name);
    mmi_startNextItemTest(nullptr);
    EXPECT_TRUE(g_opened.empty());
    EXPECT_EQ(fake_flags::station(64), 0);
    mmi_startNextItemTest("TKI_LCD_AND_MORE");
    EXPECT_EQ(g_opened, Names{"TKI_KEYS"});
}

TEST_F(SequencerTest, a_run_can_be_resumed) {
    settings("", {{"TKI_LCD", ""}, {"TKI_ALLLIGHT", ""}, {"TKI_KEYS", ""}});
    g_bRestoreAutotest = 1;
    mmi_AutoTestEntry();
    pass();
    EXPECT_EQ(read_text(LATEST), "TKI_LCD");
    // The menu consumed the name after a restart: the next pass takes the mark away and is not noted itself. Kept.
    unlink(LATEST);
    write_text(RESTORE, "");
    g_deviceIsAutoTest = 0;
    pass();
    EXPECT_FALSE(exists(LATEST));
    EXPECT_FALSE(exists(RESTORE));
    EXPECT_EQ(g_deviceIsAutoTest, 1);
    pass();
    EXPECT_FALSE(exists(LATEST));
    EXPECT_EQ(fake_flags::station(64), 1);
    EXPECT_NE(g_device_test_wnd, HWND_NULL); // a resumed run ends on the list though it was not started from it
    EXPECT_EQ(g_deviceIsAutoTest, 0);
}

TEST_F(SequencerTest, a_resume_file_is_no_shell_script) {
    settings("", {{"TKI_LCD", ""}, {"TKI_KEYS", ""}});
    g_bRestoreAutotest = 1;
    mmi_AutoTestEntry();
    for (const char *name : {"TKI_LCD;touch /data/owned", "TKI_LCD$(touch /data/owned)", "TKI_LCD\ntouch /data/owned"}) {
        mmi_startNextItemTest(name);
        EXPECT_FALSE(exists("/data/owned")) << name;
        EXPECT_FALSE(exists(LATEST)) << name;
    }
}

int lcd_off_in_child() {
    std::ofstream("/data/lcd_off") << fake_flags::station(64);
    return 0;
}

TEST_F(SequencerTest, the_run_is_repeated_on_the_auxiliary_panel) {
    settings("aux_lcd=1\n", {{"TKI_LCD", ""}, {"TKI_TOUCH", ""}});
    tki_api_LCD_Off = lcd_off_in_child;
    mmi_AutoTestEntry();
    pass();
    EXPECT_EXIT(pass(), testing::ExitedWithCode(0), "");
    EXPECT_TRUE(exists(AUX));
    EXPECT_EQ(read_text("/data/lcd_off"), "2"); // not passed before the other panel has
    g_opened.clear();
    mmi_AutoTestEntry();
    EXPECT_EQ(g_opened, Names{"AUX:TKI_TOUCH"});
    EXPECT_EXIT(
        {
            mmi_startNextItemTest("TKI_TOUCH");
            mmi_startNextItemTest("TKI_LCD");
        },
        testing::ExitedWithCode(0), "");
    EXPECT_FALSE(exists(AUX));
    EXPECT_EQ(read_text("/data/lcd_off"), "1");
}

TEST_F(SequencerTest, the_preview_list_has_its_own_chain) {
    settings("", {{"TKI_TPSELF", ""}, {"TKI_MONOMER_LCD", ""}});
    if (!g_monomer_list) Get_MonomerPreviewTestItem_Config();
    g_deviceIsAutoTest = 1;
    for (const char *name : {"TKI_TPSELF", "TKI_MONOMER_LCD", "NOTHING"}) mmi_startNextMonomerPreviewItemTest(name);
    EXPECT_EQ(g_opened, Names{"TKI_MONOMER_LCD"});
    EXPECT_EQ(fake_flags::station(64), 0);
}

TEST_F(SequencerTest, a_configuration_change_must_be_plain) {
    for (const char *text : {"", "MMI", "MMI,mmi_flag", ",a,b", "MMI,,0", "MMI,mmi_flag,", "MMI,mmi_flag,0,1",
                             "MMI,mmi_flag,0;touch /data/owned", "MMI,$(touch /data/owned),0", "MMI,a b,0"})
        EXPECT_EQ(mmi_AutoTest_Modify_ConfigFile(text), 0) << text;
    EXPECT_EQ(mmi_AutoTest_Modify_ConfigFile(nullptr), 0);
    EXPECT_FALSE(exists("/data/owned"));
}
} // namespace
