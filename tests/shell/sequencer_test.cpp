#include "shell_fixture.h"

#include <support/fake_flags.h>

#include "config/test_items.h"
#include "shell/sequencer.h"

namespace {
constexpr char LATEST[] = "/data/pv_autotest_latest_pass";
using Names = std::vector<std::string>;

class SequencerTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        fake_flags::install();
    }
    // mmi: lines of the section MMI; items: lines per domain, all enabled.
    static void settings(const std::string &mmi, const std::vector<std::pair<std::string, std::string>> &items) {
        std::string text = "[MMI]\n" + mmi;
        for (const auto &[domain, keys] : items) text += "[" + domain + "]\nenable=1\n" + keys;
        config(text);
        for (TestItem &item : TestItemWinMenu_TOTAL) item.item_enable = 0;
    }
};

// Only 0 and 1 filter the chain: with any other flag it takes whatever comes next. Kept.
TEST_F(SequencerTest, other_mmi_flags_chain_unfiltered) {
    settings("mmi_flag=2\n", {{"TKI_LCD", ""}, {"TKI_ALLLIGHT", "auto=0\n"}});
    mmi_AutoTestEntry();
    mmi_startNextItemTest("TKI_LCD");
    EXPECT_EQ(g_opened, (Names{"TKI_LCD", "TKI_ALLLIGHT"}));
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

TEST_F(SequencerTest, the_preview_list_has_its_own_chain) {
    settings("", {{"TKI_TPSELF", ""}, {"TKI_MONOMER_LCD", ""}});
    if (!g_monomer_list) Get_MonomerPreviewTestItem_Config();
    g_deviceIsAutoTest = 1;
    for (const char *name : {"TKI_TPSELF", "TKI_MONOMER_LCD", "NOTHING"}) mmi_startNextMonomerPreviewItemTest(name);
    EXPECT_EQ(g_opened, Names{"TKI_MONOMER_LCD"});
    EXPECT_EQ(fake_flags::station(64), 0);
}
} // namespace
