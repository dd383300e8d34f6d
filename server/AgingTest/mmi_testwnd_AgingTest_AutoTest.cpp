#include "AgingTest/mmi_testwnd_AgingTest_AutoTest.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_os.h>

#include "AgingTest/aging_cpu.h"
#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_run.h"
#include "AgingTest/aging_settings.h"
#include "AgingTest/aging_spool.h"
#include "AgingTest/aging_trend.h"
#include "AgingTest/aging_upload.h"
#include "base/log_door.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/battery.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"
#include "device/power.h"
#include "device/result_flags.h"
#include "shell/main_menu.h"

std::atomic<int> g_bStopTest{0}, g_nCurAgingTestItem{AGING_NONE}, g_nAgingFailItem{AGING_OPEN}, g_bis_mannual_stop{0};
Worker g_aging_runner, g_aging_battery, g_aging_monitor, g_aging_power_off;

namespace {
constexpr int STATION_BURN_IN = 176, PASSED = 1, FAILED = 2;
constexpr int BACKLIGHT_PERCENT = 50;
constexpr int GATE_MIN = 40, END_MIN = 50, FULL = 100;
constexpr int TOO_HOT = 550; // tenths of a degree, in the verdict's text
constexpr int MONITOR_MS = 5000;
constexpr int64_t NS_PER_MS = 1000000;

tki_api_int_t tki_api_AlllightTest_Start, tki_api_AlllightTest_Stop, tki_api_WifiDevDetect, tki_api_BTDevDetect,
    tki_api_FMDevDetect;
tki_api_cameraID_test_t tki_api_cameraID_test;
std::atomic<long> g_process_start{0}; // of the run in this process, where its file is lost

template <class Function> bool bind(const char *name, Function *slot) {
    return *slot || bind_factory_function(AGING_TAG, name, slot);
}

bool Init_lib_AgingTest_Interface() {
    const bool bound =
        bind("tki_api_AlllightTest_Start", &tki_api_AlllightTest_Start) &&
        bind("tki_api_AlllightTest_Stop", &tki_api_AlllightTest_Stop) &&
        bind("tki_api_Audio_RingTest_Start", &tki_api_Audio_RingTest_Start) &&
        bind("tki_api_Audio_RingTest_Stop", &tki_api_Audio_RingTest_Stop) &&
        bind("tki_api_cameraID_test", &tki_api_cameraID_test) && bind("tki_api_WifiDevDetect", &tki_api_WifiDevDetect) &&
        bind("tki_api_BTDevDetect", &tki_api_BTDevDetect) && bind("tki_api_FMDevDetect", &tki_api_FMDevDetect);
    if (bound) return true;
    const char *error = dlerror();
    LOG_RAW(ANDROID_LOG_ERROR, AGING_TAG, "error = %s,%s\n", error ? error : "", __func__);
    return false;
}

void run_is_over() {
    g_deviceIsAgingTest = 0;
    g_dialogcouldshow = 1;
}

// Load of the cores for the screen, and the line of evidence.
void GetCpuUsage() {
    aging_cpu_measure();
    for (bool line_due = true; aging_wait_ms(MONITOR_MS); line_due = !line_due) {
        aging_cpu_measure();
        aging_refresh_screen();
        if (!line_due) continue;
        const BatteryState b = battery_state();
        AgingTrendPoint point{.time = tp_clock_time(),
                              .level = b.level,
                              .voltage = b.voltage,
                              .current = b.current,
                              .temperature = b.temperature,
                              .cpu = aging_cpu_usage()};
        snprintf(point.phase, sizeof point.phase, "%s", aging_phase_name());
        aging_trend_write(point);
    }
}

void Get_testinfo_callback(tki_module_data *module) {
    if (!module || module->type != TKI_MODULE_TESTINFO || module->result != 0 || !module->data) return;
    const auto *record = static_cast<const tki_testinfo_record *>(module->data);
    LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s psn=%s,version=%s", __func__, record->psn, record->software_version);
}

void set_item(int item) {
    g_nCurAgingTestItem = item;
    aging_account_phase(aging_phase_name());
}

// True: go on.
bool go_on() {
    if (!aging_stopped()) return true;
    aging_show(SHOW_RUNNING, "STOP");
    return false;
}

void remove_old_logs() {
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(g_chAgingLogPath, error)) {
        std::error_code ignored;
        std::filesystem::remove_all(entry.path(), ignored);
    }
}

std::string start_file() { return aging_log_path(AGING_START_FILE); }

// A cycle that was cut off is taken up again by a fresh start: what failed in the ones before still counts.
void open_run() {
    const bool anew = !Check_AgingCfg_Exist();
    const int failed = !anew || aging_current_cycle() > 0 ? aging_account().failed_item : 0;
    if (anew) remove_old_logs();
    agingresult_initlog();
    aging_initlog();
    aging_account_begin(anew);
    if (failed) aging_fail(failed);
    g_process_start = tp_clock_time();
    if (!anew) return;
    writetkilog(g_aging_log, AGING_TAG, "Aging begin");
    writetkilog(g_aging_log, AGING_TAG, "fitted: wifi %d, bluetooth %d, radio %d, cameras %d", tki_api_WifiDevDetect() == 0,
                tki_api_BTDevDetect() == 0, tki_api_FMDevDetect() == 0,
                tki_api_cameraID_test(std::clamp(g_iCameraTotalNum, 1, 3), 3) == 0);
    WriteFile(start_file().c_str(), g_process_start);
    if (const AgingAccount account = aging_account(); account.unwanted_resets)
        writetkilog(g_aging_log, "Reset", "UNWANTED before this start: %d, the last in phase %s", account.unwanted_resets,
                    account.lost_phase.c_str());
}

void prepare() {
    g_bis_mannual_stop = 0;
    g_bStopTest = 0;
    g_nAgingFailItem = AGING_OPEN;
    g_nCurAgingTestItem = AGING_NONE;
    g_BatteryResult = 1;
    g_aging_charge_wait = 0;
    g_aging_max_temperature = 0;
    g_dialogcouldshow = 0;
    aging_show(SHOW_RUNNING, "Aging begin");
    aging_wait_ms(1000);
    Set_OsCanIdleAllowed(0);
    write_file(g_cSysBacklight, std::to_string(BACKLIGHT_PERCENT).c_str());
}

void battery_gate() {
    if (tki_api_Get_TestInfo) tki_api_Get_TestInfo(Get_testinfo_callback);
    while (!aging_stopped()) {
        const int capacity = aging_capacity();
        if (capacity >= GATE_MIN && capacity <= FULL) {
            LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s%s:%d%%", "", "Capacity", capacity);
            writetkilog(g_aging_log, "Capacity", "%d%%.", capacity);
            break;
        }
        LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s%s:%d%% error,Too low.", "", "Capacity", capacity);
        aging_show(SHOW_CHARGE, "Aging.\nCapacity:%d%%\nPlease charging!", capacity);
        aging_wait_ms(1000);
    }
    writetkilog(g_aging_log, AGING_TAG, "RebootAging begin");
}

bool reboot_phase() {
    CheckToCharge();
    if (!go_on()) return false;
    if (g_bAging_RebootTest == 1) {
        set_item(AGING_REBOOT);
        if (Reboot_AgintTest(g_AgingTestwin) != 0) aging_fail(AGING_FAIL_REBOOT);
    }
    writetkilog(g_aging_log, AGING_TAG, "RebootAging End");
    return go_on();
}

bool phase(int enabled, int item, void (*body)()) {
    if (enabled != 1) return true;
    set_item(item);
    body();
    return go_on();
}

bool run_cycle(int number, int total) {
    set_item(AGING_NONE);
    if (!Check_AgingCfg_Exist()) writetkilog(g_aging_log, "Cycle:", "%d / %d", number, total);
    if (!aging_wait_ms(1000)) return go_on();
    if (!g_aging_battery.running()) g_aging_battery.start("aging-battery", Battery_AgingTest);
    aging_wait_ms(1000);
    if (!Check_AgingCfg_Exist()) battery_gate();
    return go_on() && reboot_phase() && phase(g_bAging_SuspendTest, AGING_SUSPEND, aging_suspend_phase) &&
           phase(g_bAging_VedioTest, AGING_VIDEO, aging_video_phase) &&
           phase(g_bAging_CameraTest, AGING_CAMERA, aging_camera_phase) &&
           phase(g_bAging_CpuTest, AGING_CPU, aging_cpu_phase);
}

// False: stopped.
bool run_cycles() {
    const int total = g_cycles;
    LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s,L%d::totalagingnum=%d.", __func__, __LINE__, total);
    for (int done = aging_current_cycle();;) {
        aging_show(SHOW_RUNNING, "%s:%d\n%s:%d", lang_text("AgingCurNum").text, done + 1, lang_text("AgingTotalNum").text,
                   total);
        if (!g_aging_monitor.running()) g_aging_monitor.start("aging-cpu", GetCpuUsage);
        if (done >= total) return true;
        if (!run_cycle(done + 1, total)) return false;
        aging_set_current_cycle(++done);
        if (done >= total) return true;
    }
}

// ---- the end -------------------------------------------------------------------------------------------------

void wait_for_charge() {
    if (g_bAging_ExternalBattery == 1) return;
    if (g_nAgingFailItem != AGING_PASS) {
        LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s,L%d::AgingEnd,fail or Force Stop.", __func__, __LINE__);
        return;
    }
    for (int capacity = aging_capacity(); capacity < END_MIN || capacity > FULL; capacity = aging_capacity()) {
        LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "please charging!");
        aging_show(SHOW_CHARGE, "Aging.\nBatteryLevel:%d%%<50%%\nPlease charging!", capacity);
        if (!tp_clock_sleep_or_stop_ns(10000 * NS_PER_MS)) return;
    }
}

long seconds_of_run() {
    const long now = tp_clock_time(), started = aging_number_in(start_file().c_str(), nullptr, 0);
    return now - (started > 0 && started <= now ? started : std::min(now, g_process_start.load()));
}

// The highest of the whole run: a reboot forgets what this process has seen.
int max_temperature() {
    int highest = g_aging_max_temperature;
    for (const AgingTrendPoint &point : aging_trend_read(aging_trend_path().c_str()))
        highest = std::max(highest, point.temperature);
    return highest;
}

struct Ending {
    std::string text;
    int hours = 0, minutes = 0;
    std::string after(const char *what) const {
        char line[96];
        snprintf(line, sizeof line, "%sTotal time:%dH%dmin", what, hours, minutes);
        return line;
    }
};

// Before the verdict is durable: a power cut between the two must not leave a verdict that is never uploaded.
void note_upload(const char *verdict, const Ending &end, long seconds, int screen_state) {
    if (aging_can_upload() && !g_bis_mannual_stop) aging_upload_note(verdict, end.text, seconds, screen_state);
}

void pass(Ending &end, long seconds) {
    writetkilog_NoTime(g_agingresult_log, "TotalTime", "Result=success\nComment=%.1f minutes",
                       static_cast<double>(seconds) / 60);
    writetkilog_NoTime(g_agingresult_log, "Temperature", "Result=success\nComment=%d", max_temperature());
    writetkilog_NoTime(g_agingresult_log, "Cycles", "Result=success\nComment=%d times", g_cycles);
    end.text = end.after("Aging PASS!\n");
    note_upload("pass", end, seconds, SHOW_PASS);
    mmi_write_testinfo_single_byte(STATION_BURN_IN, PASSED);
    aging_account_end();
    aging_clear_auto_start();
    if (!aging_can_upload()) aging_show(SHOW_PASS, "%s", end.text.c_str());
    if (!g_aging_power_off.start("aging-off", CheckToPowerOff))
        writetkilog(g_aging_log, "PowerOff", "Create pthread of PowerOff error!");
}

void fail(Ending &end, long seconds) {
    switch (g_nAgingFailItem) {
    case AGING_FAIL_BATTERY:
        end.text = end.after("Aging FAIL!\nBattery Aging Fail!\n");
        break;
    case AGING_FAIL_REBOOT:
        end.text = end.after("Aging FAIL!\nReboot Aging Fail!\n");
        break;
    case AGING_FAIL_SUSPEND:
        end.text = end.after("Aging FAIL!\nSuspend Aging Fail!\n");
        break;
    case AGING_FAIL_VIDEO:
        end.text = end.after("Aging FAIL!\nVedio Aging Fail!\n");
        break;
    case AGING_FAIL_CAMERA:
        end.text = end.after("Aging FAIL!\nCamera Aging Fail!\n");
        break;
    default:
        end.text = end.after("Aging FAIL!\nAging Fail!\n");
        break;
    }
    if (g_nAgingFailItem == AGING_FAIL_BATTERY && battery_state().temperature > TOO_HOT)
        end.text += "\nBatteryTemperature too High";
    aging_show(SHOW_FAIL, "%s", end.text.c_str());
    note_upload("fail", end, seconds, SHOW_FAIL);
    mmi_write_testinfo_single_byte(STATION_BURN_IN, FAILED);
    aging_account_end();
}

void stopped(const Ending &end, long seconds) {
    note_upload("stopped", end, seconds, SHOW_RUNNING);
    aging_account_end();
}

void tell_verdict() {
    const long seconds = seconds_of_run();
    Ending end{.text = "STOP"};
    aging_duration(seconds, &end.hours, &end.minutes);
    LOG_RAW(ANDROID_LOG_DEBUG, AGING_TAG, "%s,L%d::agingtime=%ld,hour=%d,minutes=%d.", __func__, __LINE__, seconds,
            end.hours, end.minutes);
    if (g_nAgingFailItem == AGING_PASS)
        pass(end, seconds);
    else if (g_nAgingFailItem != AGING_OPEN)
        fail(end, seconds);
    else
        stopped(end, seconds);
    writetkilog(g_aging_log, "Aging", "%s", end.text.c_str());
    if (aging_can_upload() && !g_bis_mannual_stop) SaveToDb(1);
}

void finish() {
    Delete_AgingRebootFile();
    g_bStopTest = 1;
    aging_set_current_cycle(0);
    wait_for_charge();
    g_aging_battery.stop();
    g_aging_monitor.stop();
    if (tki_api_Get_TestInfo_Stop) tki_api_Get_TestInfo_Stop();
    tell_verdict();
    aging_keys_of_end();
    // A stop in the video phase, whose colours hide the keys' answer: the screen closes as by the volume keys.
    if (g_nCurAgingTestItem == AGING_VIDEO && g_nAgingFailItem == AGING_OPEN) aging_close_screen();
    g_nCurAgingTestItem = AGING_NONE;
    aging_uninitlog();
    agingresult_uninitlog();
    run_is_over();
}
} // namespace

bool aging_stopped() { return g_bStopTest != 0 || tp_os_thread_stop_requested(); }

bool aging_wait_ms(int64_t ms) {
    for (; ms > 0 && !aging_stopped(); ms -= 1000)
        if (!tp_clock_sleep_or_stop_ns(std::min<int64_t>(ms, 1000) * NS_PER_MS)) return false;
    return !aging_stopped();
}

void aging_fail(int verdict) {
    int open = AGING_OPEN;
    if (g_nAgingFailItem.compare_exchange_strong(open, verdict)) aging_account_failure(verdict);
}

const char *aging_phase_name() {
    constexpr const char *NAMES[] = {"begin", "begin", "reboot", "suspend", "video", "camera", "cpu"};
    const int item = g_nCurAgingTestItem;
    return item < 0 ? "stopped" : NAMES[std::min<size_t>(static_cast<size_t>(item), std::size(NAMES) - 1)];
}

void aging_show(int state, const char *format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    ShowTestInfo(g_AgingTestwin, text, state);
}

bool aging_can_upload() { return g_bAging_SaveDb != 0; }

void SaveToDb(int at_end) {
    if (at_end)
        aging_upload_now();
    else
        aging_upload_by_key();
}

void mmi_AgingTest_Thread() {
    LOG_D(AGING_TAG, "begin");
    writetkilog(g_tki_log, AGING_TAG, "%s begin", __func__);
    aging_wait_ms(200);
    if (g_AgingTestwin == HWND_NULL || g_AgingTestwin == HWND_INVALID) {
        LOG_D(AGING_TAG, "g_AgingTestwin is NULL.");
        run_is_over();
        return;
    }
    prepare();
    open_run();
    if (run_cycles() && g_nAgingFailItem == AGING_OPEN) g_nAgingFailItem = g_BatteryResult ? AGING_PASS : AGING_FAIL_BATTERY;
    finish();
    LOG_D(AGING_TAG, "end");
    writetkilog(g_tki_log, AGING_TAG, "%s end", __func__);
}

void aging_at_start() {
    const bool cut_off = aging_account_boot();
    if (cut_off && !aging_spool_pending().empty()) aging_spool_set_pending(""); // its verdict was not given
    if (!Check_AgingCfg_Exist()) aging_upload_in_background();
    if (!cut_off) return;
    mmi_AutoTest_battery_Charge_Enable();
    if (aging_account().lost_phase == "suspend") aging_suspend_wake();
}

void mmi_AgingTest_Start_Entry() {
    if (IsWindow(g_AgingTestwin)) return;
    aging_upload_stop();
    mmi_AgingTest_ReadConfig();
    if (!Init_lib_AgingTest_Interface()) {
        run_is_over();
        return;
    }
    g_deviceIsAgingTest = 1;
    Set_OsCanIdleAllowed(0);
    mmi_CreateAgingTestWnd();
    g_aging_runner.start("aging", mmi_AgingTest_Thread);
}
