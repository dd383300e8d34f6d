// The suspend phase: sleeps and is woken by the alarm clock.
#include <cstdio>
#include <string>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_os.h>

#include "AgingTest/aging_files.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "device/diag_log.h"
#include "device/power.h"

namespace {
constexpr const char *PHASE = "SuspendAging";
constexpr AlarmType WAKE = AlarmType::boottime_wakeup;
constexpr int SHOWN_AT_END_MS = 5000;
constexpr const char *KERNEL_COUNT = "/sys/power/suspend_stats/success";

struct Counts {
    unsigned index = 0;
    int success = 0, fail = 0;
    bool alarm = false;
};

bool one_readable(const char *a, const char *b) { return file_readable(a) || file_readable(b); }
bool is_mmi() { return one_readable("/system/bin/mmi", "/system/vendor/bin/mmi"); }
bool is_factory() { return one_readable("/system/bin/factory", "/system/vendor/bin/factory"); }

bool arm() {
    timespec when{};
    if (Alarm_get_time(WAKE, &when) != 0) return false;
    when.tv_sec += g_iAgingSuspendInterval;
    return Alarm_set(WAKE, &when) == 0;
}

// For the armed alarm, or as long as it would have taken.
void wait_interval(bool alarm) {
    if (!alarm || Alarm_waitForAlarm() < 0) aging_wait_ms(int64_t{g_iAgingSuspendInterval} * 1000);
}

std::string alarm_time() {
    timespec now{};
    char text[64] = {};
    if (Alarm_get_time(AlarmType::realtime_wakeup, &now) != 0) return "";
    Conver_time2ASC(now.tv_sec + g_iAgingSuspendInterval, now.tv_nsec, text, sizeof text);
    return text;
}

void screen_off_and_sleep() {
    run_command("echo 4 > /sys/class/graphics/fb0/blank");
    if (is_mmi()) {
        run_command("echo mmi > /sys/power/wake_unlock");
        run_command("echo mem > /sys/power/autosleep");
    } else if (is_factory()) {
        run_command("echo mem > /sys/power/state");
    }
}

void wake_and_screen_on() {
    if (is_mmi()) {
        run_command("echo off > /sys/power/autosleep");
        run_command("echo mmi > /sys/power/wake_lock");
    } else if (is_factory()) {
        run_command("echo on > /sys/power/state");
    }
    run_command("echo 0 > /sys/class/graphics/fb0/blank");
}

void show_awake(const Counts &c) {
    const std::string when = c.alarm ? alarm_time() : "";
    aging_show(SHOW_RUNNING, "%s\nSuspendAging.\nSuspend doing:%u/%u\nsuccess:%d,fail:%d.", when.c_str(), c.index,
               static_cast<unsigned>(g_iAgingSuspendTotalNum), c.success, c.fail);
}

// Awake for an interval, then asleep for one.
void suspend_once(FILE *log, Counts &c) {
    const auto total = static_cast<unsigned>(g_iAgingSuspendTotalNum);
    writetkilog(log, PHASE, "Suspend index=%d,wake up.", static_cast<int>(c.index));
    show_awake(c);
    wait_interval(c.alarm && arm());
    if (aging_stopped()) return;
    writetkilog(log, PHASE, "Suspend index=%d,Suspending.", static_cast<int>(c.index));
    aging_show(SHOW_RUNNING, "Suspend Aging.\nSuspend doing:%u/%u\nsuccess:%d,fail:%d.", c.index, total, c.success, c.fail);
    writetkilog(g_aging_log, "Suspend", "Suspend doing:%u/%u success:%d,fail:%d.", c.index, total, c.success, c.fail);
    const bool armed = c.alarm && arm();
    if (TKI_API_SetIdleStatus(1) != 0) {
        ++c.fail;
        writetkilog(log, PHASE, "Suspend CurrentStandbyNum=%d,nFailNum=%d,Standbying.", static_cast<int>(c.index), c.fail);
        return;
    }
    screen_off_and_sleep();
    wait_interval(armed);
    wake_and_screen_on();
    if (TKI_API_SetIdleStatus(0) != 0) {
        ++c.fail;
        writetkilog(log, PHASE, "Suspend CurrentStandbyNum=%d,nFailNum=%d,Suspending.", static_cast<int>(c.index), c.fail);
    } else {
        ++c.success;
        writetkilog(log, PHASE, "Suspend CurrentSuspendNum=%d,nSuccessNum=%d,Standbying.", static_cast<int>(c.index),
                    c.success);
    }
    CheckToCharge();
}

// How often the kernel was really down.
long kernel_suspends() { return file_readable(KERNEL_COUNT) ? aging_number_in(KERNEL_COUNT, "0", -1) : -1; }

void leave(const AgingLog &log, const Counts &c, long before) {
    if (c.alarm) Alarm_Release_driver();
    aging_suspend_wake();
    g_bCurrentSleepStatus = 0;
    const long after = kernel_suspends();
    if (before >= 0 && after >= before) writetkilog(log.file(), PHASE, "the kernel suspended %ld times", after - before);
    const auto total = static_cast<unsigned>(g_iAgingSuspendTotalNum);
    aging_show(SHOW_RUNNING, "\nSuspendAging.\nSuspend end:%u/%u\nsuccess:%d,fail:%d.", c.index, total, c.success, c.fail);
    aging_wait_ms(SHOWN_AT_END_MS);
    writetkilog_NoTime(g_agingresult_log, "Suspend", "Result=success\nComment=%d times", c.success);
    writetkilog(g_aging_log, "Suspend", "Suspend success %u/%u\nsuccess:%d,fail:%d", c.index, total, c.success, c.fail);
    for (FILE *file : {log.file(), g_tki_log, g_aging_log}) writetkilog(file, PHASE, "SuspendAging end");
}
} // namespace

void aging_suspend_wake() {
    TKI_API_SetIdleStatus(0);
    if (is_mmi()) run_command("echo mmi > /sys/power/wake_unlock"); // else the handset never sleeps again
}

void aging_suspend_phase() {
    const AgingLog log("SuspendAging.txt");
    for (FILE *file : {log.file(), g_tki_log, g_aging_log}) writetkilog(file, PHASE, "SuspendAging begin");
    aging_show(SHOW_RUNNING, "Suspend begin");
    writetkilog(log.file(), PHASE, "g_iAgingSuspendTotalNum=%d.", g_iAgingSuspendTotalNum);
    const int opened = Alarm_init_driver();
    writetkilog(log.file(), PHASE, "alarmret=%d.", opened);
    Counts counts{.alarm = opened == 0};
    const long before = kernel_suspends();
    for (int i = 1; i <= g_iAgingSuspendTotalNum && !aging_stopped(); ++i) {
        counts.index = static_cast<unsigned>(i);
        suspend_once(log.file(), counts);
    }
    leave(log, counts, before);
}
