// What the menu does once while it starts, and the reduced window.
#include <cutils/properties.h>
#include <tp_clock.h>
#include <tp_globals.h>

#include "config/main_config.h"
#include "config/test_items.h"
#include "device/result_flags.h"
#include "shell/menu_internal.h"
#include "shell/shell_actions.h"
#include "shell_fixture.h"

namespace {

constexpr const char *LATEST = "/data/pv_autotest_latest_pass", *FLAG = "/data/pv_autotest_restore_flag";
constexpr const char *ITEMS = "[TKI_LCD]\nenable=1\nparameter=\n[TKI_KEYS]\nenable=1\nparameter=\n";

using StartTest = ShellTest;

TEST_F(StartTest, InterruptedRunIsResumed) {
    const struct {
        const char *name;
        std::string content; // of the file of the last pass; "-" none
        std::vector<std::string> opened;
        bool flag;
        std::string left;
    } rows[] = {
        {"no file", "-", {}, false, "FIRST"},
        {"first", "FIRST", {"TKI_LCD"}, false, "-"},
        {"behind an item", "TKI_LCD", {"TKI_KEYS"}, true, "-"},
        {"behind the last item", "TKI_KEYS", {}, false, "-"},
        {"not exactly FIRST", "FIRST\n", {}, false, "-"},
        {"rubbish", std::string(100, 'x'), {}, false, "-"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        start(720, 1280);
        config(ITEMS);
        g_bRestoreAutotest = 1;
        if (row.content != "-") write_text(LATEST, row.content);
        open_menu();
        EXPECT_EQ(g_opened, row.opened);
        EXPECT_EQ(exists(FLAG), row.flag);
        EXPECT_EQ(exists(LATEST) ? read_text(LATEST) : "-", row.left);
    }
}

TEST_F(StartTest, WithoutTheSettingNothingIsTouched) {
    config(ITEMS);
    write_text(LATEST, "FIRST");
    open_menu();
    EXPECT_TRUE(g_opened.empty());
    EXPECT_EQ(read_text(LATEST), "FIRST");
}

std::atomic<int> aging_starts{0};
bool all_on_gui_thread = true;

TEST_F(StartTest, BothAgingConditionsStartTwice) {
    aging_starts = 0;
    all_on_gui_thread = true;
    tp_clock_set_scale(100);
    g_shell_actions.check_auto_aging = g_shell_actions.check_aging_cfg_exist = [] { return true; };
    g_shell_actions.aging_start_entry = [] {
        all_on_gui_thread = all_on_gui_thread && tp_is_gui_thread();
        ++aging_starts;
    };
    open_menu();
    EXPECT_TRUE(pump_until([] { return aging_starts == 2; }));
    EXPECT_TRUE(all_on_gui_thread);
    EXPECT_EQ(g_dialogcouldshow, 0);
    EXPECT_EQ(g_deviceIsAgingTest, 1);
}

TEST_F(StartTest, ReducedWindowSpeaksTheProductsLanguage) {
    mmi_testwnd_InitLogFont();
    for (const char *locale : {"", "zh-CN-x"}) {
        property_set("ro.product.locale", locale);
        start(240, 320);
        kmt_CreateMainMenuWnd1();
        tp_gui_pump();
        EXPECT_TRUE(shows("title_ftm"));
        const bool chinese = *locale;
        EXPECT_EQ(shows("info_FTMPowerOffNote1") && shows("info_FTMPowerOffNote3") &&
                      shows("info_FTMPowerOffNote5"),
                  chinese);
        EXPECT_EQ(shows("info_FTMPowerOffNote") && shows("info_FTMPowerOffNote2") &&
                      shows("info_FTMPowerOffNote4"),
                  !chinese);
        EXPECT_EQ(color_of(chinese ? "info_FTMPowerOffNote5" : "info_FTMPowerOffNote"), 19);
    }
}

} // namespace
