// The reboot phase: its only job is to count reboots across boots.
#include <algorithm>
#include <cstdlib>
#include <tp_clock.h>
#include <unistd.h>

#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "base/log_door.h"
#include "base/power_switch.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"

std::atomic<bool> g_aging_rebooted{false};

namespace {
constexpr int CAPACITY_MIN = 21, CAPACITY_MAX = 100;
constexpr int SHOWN_MS = 2000, LAST_MS = 1000;
constexpr const char *NAME = "Reboot", *PHASE = "RebootAging";

void wait_for_capacity(FILE *log) {
    while (!aging_stopped()) {
        const int capacity = aging_capacity();
        if (capacity >= CAPACITY_MIN && capacity <= CAPACITY_MAX) {
            writetkilog(log, PHASE, "%s%s:%d%%", "", "Capacity", capacity);
            return;
        }
        writetkilog(log, PHASE, "%s%s:%d%% error.", "", "Capacity", capacity);
        writetkilog(log, PHASE, "please charging!");
        aging_show(SHOW_CHARGE, "RebootAging.\nBatteryLevel:%d%%\nplease charging!", capacity);
        if (!aging_wait_ms(1000)) return;
    }
}

// Reboots done, or -1: the counter file is there and cannot be read.
int reboots_done() {
    if (!Check_AgingCfg_Exist()) return 0;
    char text[AGING_FILE_MAX + 1] = {};
    if (AgingTest_Get_CfgValue(text, "1") != 0) return -1;
    return static_cast<int>(std::clamp(strtol(text, nullptr, 10), 0L, std::max(0L, long{g_iAgingTotalRebootNum})));
}

int end_phase(AgingLog &log, int done) {
    writetkilog(log.file(), PHASE, "%s Reboot Test end.", __func__);
    writetkilog(log.file(), PHASE, "Reboot Aging end");
    log.close();
    Delete_AgingRebootFile();
    writetkilog_NoTime(g_agingresult_log, NAME, "Result=success\nComment=%d times", g_iAgingTotalRebootNum);
    writetkilog(g_aging_log, NAME, "Reboot end:%u/%u success:%u,fail:%u.", done, g_iAgingTotalRebootNum, done, 0);
    return 0;
}

int fail_phase(AgingLog &log, int done, const char *line) {
    Delete_AgingRebootFile();
    writetkilog_NoTime(g_agingresult_log, NAME, "Result=Fail\nComment=%d times", done);
    writetkilog(g_aging_log, NAME, line, done, g_iAgingTotalRebootNum, done, 0);
    log.close();
    return 0;
}

int stop_phase(AgingLog &log, int done) { return fail_phase(log, done, "Reboot STOP:%u/%u success:%u,fail:%u."); }

// Returns only when the restart did not come.
int restart(AgingLog &log, int done) {
    g_bStopTest = 1;
    g_aging_battery.stop();
    g_aging_monitor.stop();
    log.close();
    if (tki_api_tki_mode_uninit) tki_api_tki_mode_uninit();
    if (!tp_clock_sleep_or_stop_ns(int64_t{LAST_MS} * 1000000) || g_bis_mannual_stop) {
        if (tki_api_tki_mode_init) tki_api_tki_mode_init(0);
        return stop_phase(log, done);
    }
    char reason[64];
    snprintf(reason, sizeof reason, "reboot %d of %d", done + 1, g_iAgingTotalRebootNum);
    const bool accounted = aging_expect_reset(reason); // else it would count as one that nobody asked for
    if (accounted) {
        sync();
        const int result = switch_restart();
        LOG_RAW(ANDROID_LOG_ERROR, AGING_TAG, "%s,L%d::reboot ret=%d.", "Reboot_AgintTest", __LINE__, result);
    }
    aging_reset_refused();
    if (tki_api_tki_mode_init) tki_api_tki_mode_init(0);
    fail_phase(log, done, accounted ? "Reboot refused:%u/%u success:%u,fail:%u." : "Reboot not accounted:%u/%u success:%u,fail:%u.");
    return -1;
}
} // namespace

int Reboot_AgintTest(HWND window) {
    g_aging_rebooted = true;
    AgingLog log("RebootAgingPrint.txt");
    writetkilog(log.file(), PHASE, "RebootAging begin");
    writetkilog(g_tki_log, AGING_TAG, "RebootAging begin");
    wait_for_capacity(log.file());
    const int done = reboots_done();
    if (done < 0) return -1;
    if (done >= g_iAgingTotalRebootNum || aging_stopped()) return end_phase(log, done);
    // Reboots that cannot be counted would never end.
    if (AgingTest_Set_CfgValue(done + 1) != 0) {
        fail_phase(log, done, "Reboot not counted:%u/%u success:%u,fail:%u.");
        return -1;
    }
    LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s :nCurrentTestNum=%d,g_iAgingTotalRebootNum=%d.", __func__, done + 1,
            g_iAgingTotalRebootNum);
    char text[128];
    snprintf(text, sizeof text, "RebootAging.\nReboot doing:%d/%d\nsuccess:%d,fail:%d.", done + 1, g_iAgingTotalRebootNum,
             done, 0);
    ShowTestInfo(window, text, SHOW_RUNNING);
    writetkilog(g_aging_log, NAME, "Reboot doing:%u/%u success:%u,fail:%u.", done + 1, g_iAgingTotalRebootNum, done, 0);
    if (!aging_wait_ms(SHOWN_MS)) return stop_phase(log, done);
    return restart(log, done);
}
