// Sleep, wake-up, power-off and the alarm service. Any thread.
#pragma once

#include <atomic>
#include <ctime>

#include "config/main_config.h" // g_bOsIsCanIdle: sleeping is allowed now

// Backlight off in two steps, panel blanked, autosleep on. 0, or -1 when a backlight write failed (nothing changed).
int SetSleepStatus();
// The way back. The result of the backlight write.
int SetWakeupStatus();
// 0 wake, 1 sleep, without asking whether it is allowed. The transition's result; -1 for other values.
int TKI_API_SetIdleStatus(int sleep);
// The same where it is allowed, makes a difference and, for sleep, a battery is present: 0; otherwise -1.
int SetIdleWakeupStatus(int sleep);
// Toggles (the operator's key); -1 when sleeping is not allowed.
int SwitchSleepStatus();
// Sleeps or powers off after the configured idle times. 0, or -1 when sleeping is not allowed. Blocks for the farewell
// vibration when it powers off.
int AutoSleepCheck();
// 1 allows sleeping now and restarts the idle period, 0 forbids it. A handset whose configuration forbids it stays awake.
void Set_OsCanIdleAllowed(int allowed);
int mmi_AutoTest_Standby_Enable();  // 1
int mmi_AutoTest_Standby_Disable(); // 1

// Alarm clocks. A wake-up type wakes a suspended handset where kernel and rights allow it; elsewhere it runs on the
// ordinary clock of the same base.
enum class AlarmType { realtime_wakeup = 0, boottime_wakeup = 1, boottime = 2 };
// Opens the service once; a second call keeps what is there. 0 or -1.
int Alarm_init_driver();
// Closes it; a thread that waits gets -1. 0, or -1 when it was not open.
int Alarm_Release_driver();
// The type's clock (scaled, see tp_clock.h). 0 or -1.
int Alarm_get_time(AlarmType type, timespec *out);
int Alarm_set(AlarmType type, const timespec *when); // absolute, on the type's clock; zero disarms. 0 or -1
// Blocks until an alarm fires: a bit mask (1 << type), or -1 (not initialised, released, stop request, error).
int Alarm_waitForAlarm();
