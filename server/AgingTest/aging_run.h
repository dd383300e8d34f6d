// What the runner, its phases and the aging screen share. Internal to this folder.
//
// The runner's thread owns all other threads of a run: it starts and joins them, so that the screen joins the runner alone
// (and the power-off thread, which outlives it). The screen never waits inside a message that the runner sends: who closes
// it does so by a posted message.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <tp_gui.h>

#include "base/worker.h"

inline constexpr char AGING_TAG[] = "AgingTest";

enum AgingItem { AGING_STOPPED = -1, AGING_NONE = 0, AGING_REBOOT = 2, AGING_SUSPEND, AGING_VIDEO, AGING_CAMERA, AGING_CPU };
enum AgingVerdict {
    AGING_OPEN = 0, AGING_FAIL_BATTERY, AGING_FAIL_REBOOT, AGING_FAIL_SUSPEND, AGING_FAIL_VIDEO, AGING_FAIL_CAMERA,
    AGING_FAIL_CPU, AGING_PASS
};
// What ShowTestInfo shows.
enum AgingState { SHOW_RUNNING = 1, SHOW_CHARGE, SHOW_PASS, SHOW_FAIL, SHOW_LCD, SHOW_INSERT_CHARGER };

extern std::atomic<HWND> g_AgingTestwin;       // HWND_NULL: no screen
extern std::atomic<int> g_bStopTest;           // 1: stop requested, or the run is over
extern std::atomic<int> g_nCurAgingTestItem;   // AgingItem
extern std::atomic<int> g_nAgingFailItem;      // AgingVerdict
extern std::atomic<int> g_bis_mannual_stop;    // the operator stopped the run
extern std::atomic<int> g_BatteryResult;       // 1 while the battery checks pass
extern std::atomic<int> g_aging_max_temperature; // tenths of a degree
extern std::atomic<int> g_aging_charge_wait;   // 2: the battery check asked for charging
extern std::atomic<bool> g_aging_rebooted;     // the reboot phase has run in this process
extern Worker g_aging_runner, g_aging_battery, g_aging_monitor, g_aging_power_off;

// Waits in steps of a second at most. False, at once or soon: the run is to stop. Any thread of the run.
bool aging_wait_ms(int64_t ms);
bool aging_stopped();
// The first failing verdict counts.
void aging_fail(int verdict);
const char *aging_phase_name();

// ---- the screen (aging_screen.cpp) --------------------------------------------------------------------------------
// Formats the progress with battery, temperature and item, and shows it. Any thread but one that the screen waits for inside
// a message.
void ShowTestInfo(HWND window, const char *text, int state);
void aging_show(int state, const char *format, ...) __attribute__((format(printf, 2, 3))); // the same on the aging screen
void aging_show_lcd(int color); // the number of a colour, over the whole screen
int aging_lcd_colors();
void aging_refresh_screen();    // the load of the cores has changed
void aging_keys_of_end();       // the run is over: its soft keys, the upload while something waits
void aging_close_screen();      // once the runner has ended. Any thread
void mmi_CreateAgingTestWnd();  // GUI thread

// ---- the runner's thread -------------------------------------------------------------------------------------------
void mmi_AgingTest_Thread();

// ---- phases, on the runner's thread ---------------------------------------------------------------------------------
// 0: over. -1: failed. A reboot does not return.
int Reboot_AgintTest(HWND window);
void aging_suspend_phase();
void aging_suspend_wake(); // at the program's start, behind a phase that was cut off
void aging_video_phase();
void aging_camera_phase();
void aging_cpu_phase();
// One camera opened, looked through and snapped: 0, or -1.
int Camera_Test_By_Id(int camera);

// ---- battery (aging_battery.cpp) -------------------------------------------------------------------------------------
int aging_capacity();            // percent, 0 while none is reported
void Battery_AgingTest();        // thread, for the whole run
int Battery_Test_AgintTest(FILE *log); // one check: 0 passed, -1
void CheckToCharge();            // the runner's thread
void CheckToPowerOff();          // thread
bool IsConnecting();             // a charger or a PC is plugged in
