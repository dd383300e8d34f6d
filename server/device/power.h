// Sleep, wake-up, power-off and the alarm service.
#pragma once

#include <atomic>
#include <ctime>

extern std::atomic<int> g_bOsIsCanIdle; // sleeping is allowed now

int SetSleepStatus();
int SetWakeupStatus();
int TKI_API_SetIdleStatus(int sleep);
int SetIdleWakeupStatus(int sleep);
int SwitchSleepStatus();
int AutoSleepCheck();
void Set_OsCanIdleAllowed(int allowed);
int mmi_AutoTest_Standby_Enable();
int mmi_AutoTest_Standby_Disable();

enum class AlarmType { realtime_wakeup = 0, boottime_wakeup = 1, boottime = 2 };
int Alarm_init_driver();
int Alarm_Release_driver();
int Alarm_get_time(AlarmType type, timespec *out);
int Alarm_set(AlarmType type, const timespec *when); // absolute, on the type's clock
// Blocks until an alarm fires: a bit mask (1 << type), or -1 (not initialised, stop request, error).
int Alarm_waitForAlarm();
