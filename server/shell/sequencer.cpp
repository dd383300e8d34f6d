#include "shell/sequencer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <mntent.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <tp_clock.h>
#include <tp_gui.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/device_list.h"

int g_autotest_run_mode = 0;
int g_mmi_flag = 0;

namespace {
constexpr char TAG[] = "TKI_AUTOTEST";
constexpr char LATEST_PASS[] = "/data/pv_autotest_latest_pass";
constexpr char RESTORE_FLAG[] = "/data/pv_autotest_restore_flag";
constexpr char AUX_LCD_FLAG[] = "/data/pv_aux_lcd_test_flag";
constexpr char MODIFY_SCRIPT[] = "/system/bin/modify_tki_config.sh";
constexpr char CONFIG_FILE[] = "/etc/tki_config.ini";
constexpr int MODE_NORMAL = 0, MODE_PRETEST1 = 1, MODE_PRETEST2 = 3;

using NodeRule = bool (*)(const TestItem &);

void start_first(NodeRule eligible) {
    for (TestItemNode *node = g_testitem_list; node; node = node->pNodeNext) {
        if (!eligible(node->testitem)) continue;
        if (node->testitem.item_entry) node->testitem.item_entry();
        return;
    }
}

// The node's name is a prefix of the given one.
bool names_item(const TestItem &item, const char *chdomain) {
    return strncmp(item.config_domain, chdomain, strlen(item.config_domain)) == 0;
}

// Keeps the name of the item passed last, for a run that a restart interrupts.
void remember_pass(const char *chdomain) {
    if (file_readable(RESTORE_FLAG)) {
        run_command("rm /data/pv_autotest_restore_flag");
        sync_file(RESTORE_FLAG);
        g_deviceIsAutoTest = 1;
        return;
    }
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "echo latest pass chdomain %s", chdomain);
    // The name may come from the resume file, which anybody may have written.
    if (!argument_is_plain(chdomain, "_", CFG_TEXT - 1)) return;
    run_command_f("echo -n %s > %s", chdomain, LATEST_PASS);
    sync_file(LATEST_PASS); // before the next window shows that this one is passed
}

TestItemNode *find_current(const char *chdomain) {
    for (TestItemNode *node = g_testitem_list; node; node = node->pNodeNext) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s current_testitem.config_domain=%s", "mmi_startNextItemTest",
                node->testitem.config_domain);
        if (names_item(node->testitem, chdomain)) return node;
    }
    return nullptr;
}

void log_skipped_auto(const TestItem &item) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "pTestItemTmp->pNodeNext->testitem.item_auto = %d", item.item_auto);
}
void log_skipped_mmi(const TestItem &item) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "pTestItemTmp->pNodeNext->testitem.item_mmi = %d", item.item_mmi);
}

// The node before the next eligible one; the last node of the list when there is none.
TestItemNode *skip(TestItemNode *position, NodeRule eligible, void (*log_skipped)(const TestItem &)) {
    while (position->pNodeNext && !eligible(position->pNodeNext->testitem)) {
        log_skipped(position->pNodeNext->testitem);
        position = position->pNodeNext;
    }
    return position;
}

// The filters run one after another, each from where the one before stopped: a pretest with the mmi flag set can so
// stop before an item that only the second filter wants. Agreed behaviour.
TestItemNode *advance(TestItemNode *position) {
    if (g_autotest_run_mode == MODE_PRETEST1)
        position = skip(position, [](const TestItem &t) { return t.item_pre != 0 && t.item_auto != 0; }, log_skipped_auto);
    if (g_autotest_run_mode == MODE_PRETEST2)
        position = skip(position, [](const TestItem &t) { return t.item_pre != 1 && t.item_auto != 0; }, log_skipped_auto);
    if (g_mmi_flag == 1)
        position = skip(position, [](const TestItem &t) { return t.item_mmi != 1 && t.item_auto != 0; }, log_skipped_mmi);
    if (g_mmi_flag == 0 && g_autotest_run_mode == MODE_NORMAL)
        position = skip(position, [](const TestItem &t) { return t.item_auto != 0; }, log_skipped_auto);
    return position;
}

void write_run_verdict() {
    if (g_autotest_run_mode == MODE_PRETEST1 || g_pretestMenuEnabled == 1)
        mmi_write_testinfo_single_byte(STATION_CAC_PREVIEW_TEMP, 1);
    if (g_autotest_run_mode == MODE_PRETEST2) mmi_write_testinfo_single_byte(STATION_CAC_PREVIEW, 1);
    if (g_deviceIsAutoTest == 1 && g_autotest_run_mode == MODE_NORMAL)
        mmi_write_testinfo_single_byte(STATION_CAC_PREVIEW, 1);
}

void return_to_device_list() {
    g_deviceIsAutoTest = 0;
    SendMessage(g_device_test_wnd, MSG_ACTIVE, 1, 0);
    g_autotest_run_mode = MODE_NORMAL;
}

// 1: touches come from the main panel, 0: from the auxiliary one.
void switch_touch_panel(int main) {
    if (run_command_f("echo %d > /proc/touchscreen/ts_main_ctrl", main) != 0) LOG_E(TAG, "the touch panel did not switch to %d", main);
}

// The service manager starts the program again, on the other panel. Other threads still run, so destructors of
// static objects must not: files and log are flushed by hand and the process ends at once.
[[noreturn]] void end_process_for_other_panel() {
    if (tki_api_LCD_Off) tki_api_LCD_Off();
    fflush(nullptr);
    sync();
    _exit(0);
}

[[noreturn]] void switch_panel() {
    if (!file_readable(AUX_LCD_FLAG)) {
        // Not passed before the auxiliary panel has passed as well.
        mmi_write_testinfo_single_byte(STATION_CAC_PREVIEW, 2);
        run_command_f("touch %s", AUX_LCD_FLAG);
    } else {
        run_command_f("rm %s", AUX_LCD_FLAG);
        run_command("rm /data/fb0_black_flag");
        switch_touch_panel(1);
    }
    end_process_for_other_panel();
}

void finish_run() {
    write_run_verdict();
    if (g_mmi_flag == 1) mmi_AutoTest_Modify_ConfigFile("MMI,mmi_flag,0");
    const int aux_lcd = main_config_int("MMI", "aux_lcd", "0");
    if (g_bRestoreAutotest) {
        run_command("rm /data/pv_autotest_restore_flag");
        run_command("rm /data/pv_autotest_latest_pass");
        sync_file(LATEST_PASS); // a finished run must not come back behind a power cut
        // A resumed run was never started from the list.
        if (aux_lcd == 0 && !g_device_test_wnd) mmi_DeviceTestEntry();
    }
    if (aux_lcd != 0) switch_panel();
    return_to_device_list();
}
} // namespace

void get_mmi_pre_flag() {
    LOG_D(TAG, "begin");
    bool read = false;
    g_mmi_flag = main_config_int("MMI", "mmi_flag", "0", &read);
    if (read) g_pretestMenuEnabled = main_config_int("MMI", "pretest_menu_enable", "0");
}

void mmi_AutoTestEntry() {
    LOG_D(TAG, "begin.");
    get_mmi_pre_flag();
    Get_TestItem_Config(1);
    if (file_readable(AUX_LCD_FLAG)) {
        switch_touch_panel(0);
        Get_AuxLCD_TestItem_Config(1);
    }
    g_deviceIsAutoTest = 1;
    g_autotest_run_mode = MODE_NORMAL;
    start_first([](const TestItem &t) { return t.item_auto != 0 && !(g_mmi_flag != 0 && t.item_mmi != 0); });
}

void mmi_AutoTestEntry_Ex() {
    LOG_D(TAG, "begin.");
    get_mmi_pre_flag();
    Get_TestItem_Config(1);
    g_deviceIsAutoTest = 1;
    g_autotest_run_mode = MODE_PRETEST1;
    mmi_write_testinfo_single_byte(STATION_CAC_PREVIEW_TEMP, 2);
    // The first item is taken whatever its auto flag says; only the following ones need both.
    start_first([](const TestItem &t) { return t.item_pre != 0; });
    LOG_D(TAG, "end.");
}

void mmi_AutoTestEntry_Ex2() {
    LOG_D(TAG, "begin.");
    get_mmi_pre_flag();
    Get_TestItem_Config(1);
    uint8_t area[TKI_FLAG_AREA] = {};
    if (tki_api_GetTestInfoFlag) tki_api_GetTestInfoFlag(area);
    if (GetSign(area, STATION_CAC_PREVIEW_TEMP) != 1) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_AutoTestEntry_Ex2: Autotest Pretest1 fails, can't run Pretest2.");
        return;
    }
    g_autotest_run_mode = MODE_PRETEST2;
    g_deviceIsAutoTest = 1;
    start_first([](const TestItem &t) { return t.item_pre != 1; });
    LOG_D(TAG, "end.");
}

void mmi_startNextItemTest(const char *chdomain) {
    if (!chdomain) return;
    LOG_D(TAG, "begin.chdomain = %s", chdomain);
    if (g_bRestoreAutotest) remember_pass(chdomain);
    tp_clock_sleep_ms(5);
    if (!g_testitem_list) {
        LOG_D(TAG, "error: pTestItemTmp is NULL");
        return;
    }
    TestItemNode *position = find_current(chdomain);
    if (!position) {
        LOG_E(TAG, "no item is named %s", chdomain);
        return;
    }
    position = advance(position);
    if (!position->pNodeNext) {
        finish_run();
    } else if (position->pNodeNext->testitem.item_entry) {
        position->pNodeNext->testitem.item_entry();
    }
}

void mmi_startNextMonomerPreviewItemTest(const char *chdomain) {
    if (!chdomain) return;
    LOG_D(TAG, "chdomain=%s", chdomain);
    for (TestItemNode *node = g_monomer_list; node; node = node->pNodeNext) {
        LOG_D(TAG, "config_domain=%s", node->testitem.config_domain);
        if (!names_item(node->testitem, chdomain)) continue;
        if (node->pNodeNext && node->pNodeNext->testitem.item_entry) node->pNodeNext->testitem.item_entry();
        return;
    }
}

int mmi_AutoTest_Modify_ConfigFile(const char *triple) {
    LOG_D(TAG, "begin");
    const std::string_view text = triple ? triple : "";
    const size_t first = text.find(',');
    const size_t second = first == text.npos ? text.npos : text.find(',', first + 1);
    if (text.size() >= CFG_TEXT || second == text.npos) return 0;
    const std::string field(text.substr(0, first));
    const std::string param(text.substr(first + 1, second - first - 1));
    const std::string value(text.substr(second + 1));
    // Names, numbers with sign or fraction, and paths; nothing that a shell would read.
    for (const std::string &part : {field, param, value})
        if (!argument_is_plain(part, "_-./:", CFG_TEXT - 1)) return 0;
    if (!remount_system_partition()) return 0;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "cFiled %s", field.c_str());
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "cParam %s", param.c_str());
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "cValue %s", value.c_str());
    char command[CFG_TEXT];
    const int length = snprintf(command, sizeof command, "%s %s %s %s %s", MODIFY_SCRIPT, field.c_str(), param.c_str(),
                                value.c_str(), CONFIG_FILE);
    if (length >= static_cast<int>(sizeof command)) return 0; // a cut command would write a wrong value
    run_command(command);
    LOG_D(TAG, "end");
    return 1;
}

namespace {
// Device of the mount point "/system"; empty when there is none.
std::string system_device(const char *caller) {
    FILE *mounts = setmntent("/proc/mounts", "re");
    if (!mounts) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s setmntent fail", caller);
        return {};
    }
    std::string device;
    char buffer[4096];
    mntent entry{};
    while (getmntent_r(mounts, &entry, buffer, sizeof buffer)) {
        if (strcmp(entry.mnt_dir, "/system") != 0) continue;
        device = entry.mnt_fsname;
        break;
    }
    endmntent(mounts);
    return device;
}
} // namespace

int remount_system_partition() {
    const std::string device = system_device(__func__);
    if (device.empty()) return 0;
    const int fd = open(device.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        LOG_D(TAG, "open me->mnt_fsname fail");
        return 0;
    }
    int read_only = 0;
    const int cleared = ioctl(fd, BLKROSET, &read_only);
    close(fd);
    if (cleared != 0) {
        LOG_D(TAG, "ioctl fail");
        return 0;
    }
    if (mount(device.c_str(), "/system", "none", MS_REMOUNT, nullptr) != 0) {
        LOG_D(TAG, "remount fail");
        return 0;
    }
    LOG_D(TAG, "remount system partition success");
    return 1;
}
