// What starts beside the menu: an aging run that is due, an interrupted automatic run, the link to the PC.
#include "shell/menu_internal.h"

#include <cstdio>
#include <cstring>
#include <tp_clock.h>
#include <tp_globals.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "base/worker.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/result_flags.h"
#include "shell/sequencer.h"
#include "shell/shell_actions.h"

namespace {

constexpr const char *LATEST_PASS = "/data/pv_autotest_latest_pass";
constexpr const char *TCP_RESTART = "/cache/Tcp_Restart.ini";

Worker aging_threads[2], relink_thread;

// The dialogs of the power key are off while an aging run is about to start.
void mmi_AgingTest_Wnd_Thread() {
    g_dialogcouldshow = 0;
    if (!tp_clock_sleep_or_stop_ns(3000000000LL)) return;
    if (!g_shell_actions.aging_start_entry) {
        LOG_D(MENU_TAG, "aging is not built in");
        return;
    }
    tp_gui_call(
        [](void *) {
            g_shell_actions.aging_start_entry();
            return 0;
        },
        nullptr);
}

void Tcp_Relink_PcServer_Thread() {
    if (tp_clock_sleep_or_stop_ns(1000000000LL)) PostMessage(g_main_menu_wnd, MSG_KEYDOWN, KEY_START, 0);
}

void start_aging(Worker &worker) {
    g_deviceIsAgingTest = 1;
    worker.start("agingstart", mmi_AgingTest_Wnd_Thread);
}

// The sequencer relies on a name that its list knows; a damaged file must not get there.
bool known_item(const char *name) {
    for (const TestItemNode *node = g_testitem_list; node; node = node->pNodeNext)
        if (std::strncmp(node->testitem.config_domain, name, std::strlen(node->testitem.config_domain)) == 0)
            return true;
    return false;
}

} // namespace

void menu_start_aging_if_due() {
    // Both conditions start a thread of their own when both hold: as agreed.
    if (g_shell_actions.check_auto_aging && g_shell_actions.check_auto_aging()) start_aging(aging_threads[0]);
    if (g_shell_actions.check_aging_cfg_exist && g_shell_actions.check_aging_cfg_exist())
        start_aging(aging_threads[1]);
}

void mmi_Restore_Autotest() {
    if (access(LATEST_PASS, F_OK) != 0) {
        run_command("echo -n FIRST > /data/pv_autotest_latest_pass");
        sync_file(LATEST_PASS);
        return;
    }
    Get_TestItem_Config(1);
    FILE *file = std::fopen(LATEST_PASS, "re");
    if (!file) {
        LOG_D(MENU_TAG, "open %s fail.", LATEST_PASS);
        return;
    }
    char domain[64 + 1] = {};
    const size_t length = std::fread(domain, 1, sizeof domain - 1, file);
    LOG_D(MENU_TAG, "fread chdomain %s len=%d", domain, static_cast<int>(length));
    std::fclose(file);
    run_command("touch /data/pv_autotest_restore_flag");
    run_command("rm /data/pv_autotest_latest_pass");
    sync_file(LATEST_PASS);
    if (std::strcmp(domain, "FIRST") == 0) {
        run_command("rm /data/pv_autotest_restore_flag");
        mmi_AutoTestEntry();
    } else if (known_item(domain)) {
        mmi_startNextItemTest(domain);
        // The call took the mark for its own; it stands until the next item passes, whose name is so not kept. A run
        // that is interrupted right behind that pass is lost. Agreed.
        if (g_deviceIsAutoTest == 1) run_command("touch /data/pv_autotest_restore_flag");
    } else {
        LOG_E(MENU_TAG, "no such item, nothing is resumed");
        run_command("rm /data/pv_autotest_restore_flag");
    }
}

void menu_start_relink_if_asked() {
    if (g_main_wifi_init_flag || file_readable(TCP_RESTART)) relink_thread.start("tcprelink", Tcp_Relink_PcServer_Thread);
}

void menu_stop_threads() {
    for (Worker &worker : aging_threads) worker.stop();
    relink_thread.stop();
}
