// What the menu does once while it starts.
#include <tp_clock.h>
#include <tp_globals.h>

#include "config/main_config.h"
#include "shell/shell_actions.h"
#include "shell_fixture.h"

namespace {

constexpr const char *LATEST = "/data/pv_autotest_latest_pass", *FLAG = "/data/pv_autotest_restore_flag";

using StartTest = ShellTest;

TEST_F(StartTest, InterruptedRunIsResumed) {
    const struct {
        const char *name;
        int restore;
        std::string content; // of the file of the last pass; "-" none
        std::vector<std::string> opened;
        bool flag;
        std::string left;
    } rows[] = {
        {"no file", 1, "-", {}, false, "FIRST"},
        {"first", 1, "FIRST", {"TKI_LCD"}, false, "-"},
        {"behind an item", 1, "TKI_LCD", {"TKI_KEYS"}, true, "-"},
        {"behind the last item", 1, "TKI_KEYS", {}, false, "-"},
        {"not exactly FIRST", 1, "FIRST\n", {}, false, "-"},
        {"rubbish", 1, std::string(100, 'x'), {}, false, "-"},
        {"without the setting", 0, "FIRST", {}, false, "FIRST"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        start(720, 1280);
        config("[TKI_LCD]\nenable=1\nparameter=\n[TKI_KEYS]\nenable=1\nparameter=\n");
        g_bRestoreAutotest = row.restore;
        if (row.content != "-") write_text(LATEST, row.content);
        open_menu();
        EXPECT_EQ(g_opened, row.opened);
        EXPECT_EQ(exists(FLAG), row.flag);
        EXPECT_EQ(exists(LATEST) ? read_text(LATEST) : "-", row.left);
    }
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

} // namespace
