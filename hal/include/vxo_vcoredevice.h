/* libvxo_vcoredevice.so: the contract of the core-device library. C and C++. */
#ifndef VXO_VCOREDEVICE_H
#define VXO_VCOREDEVICE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- battery service: one thread of the library reads /sys/class/power_supply and calls the observers on every
   change and at least every 10 s (scaled). */

/* kinds of observer */
#define TKI_OBSERVER_TEMPERATURE "BATTERYTEMPERATURE" /* tki_battery_temperature_cb */
#define TKI_OBSERVER_VOLT "BATTERYVOLT"               /* tki_battery_volt_cb */
#define TKI_OBSERVER_TP "TPHARDWARE"                  /* tki_tp_status_cb */

enum { TKI_BATTERY_STATUS_NONE = 0, TKI_BATTERY_STATUS_UNKNOWN = 1, TKI_BATTERY_STATUS_CHARGING = 2,
       TKI_BATTERY_STATUS_DISCHARGING = 3, TKI_BATTERY_STATUS_NOT_CHARGING = 4, TKI_BATTERY_STATUS_FULL = 5 };
enum { TKI_BATTERY_HEALTH_NONE = 0, TKI_BATTERY_HEALTH_UNKNOWN = 1, TKI_BATTERY_HEALTH_GOOD = 2,
       TKI_BATTERY_HEALTH_OVERHEAT = 3, TKI_BATTERY_HEALTH_DEAD = 4, TKI_BATTERY_HEALTH_OVERVOLTAGE = 5,
       TKI_BATTERY_HEALTH_FAILURE = 6, TKI_BATTERY_HEALTH_COLD = 7 };

/* plugged: three bytes AC, USB, wireless (non-zero = online); level percent; voltage mV; temperature tenths of a degree
   Celsius; current mA (negative: discharging); charge counter mAh; cycle count; maximum charging current mA. What an
   attribute does not tell, or tells as rubbish, is 0. */
typedef void (*tki_battery_temperature_cb)(const uint8_t *plugged, int status, int health, int present, int level,
                                           int voltage, int temperature, int current, int charge_counter,
                                           int cycle_count, int max_current);
/* status, health, present, voltage (mV), level (percent) */
typedef void (*tki_battery_volt_cb)(int status, int health, int present, int voltage, int level);
/* 3 failed, 1 unknown controller, 0 open; see "/proc/touchscreen/ts_status" */
typedef void (*tki_tp_status_cb)(int status);

typedef void (*tki_observer)(void); /* cast to the type of its kind */
/* One observer per kind and address. 0, or -1 (unknown kind, null, table full). A callback may unregister itself. */
typedef int (*TKI_API_BatteryService_register_Observer_t)(const char *kind, tki_observer cb);
/* 0, or -1 when it was not registered. No call of it begins after the return. One that runs on another thread is waited
   for, at most a second (scaled): a call that waits for the caller's own window cannot end sooner. */
typedef int (*TKI_API_BatteryService_unregister_Observer_t)(const char *kind, tki_observer cb);
/* 0, or an errno value. A second start does nothing and returns 0. */
typedef int (*TKI_API_BatteryService_StartService_t)(void);
/* Returns when the thread has ended; from inside an observer at once, and the thread ends after that call. */
typedef int (*TKI_API_BatteryService_StopService_t)(void);
/* 1 on, 0 off: writes /sys/class/power_supply/battery/charging_enabled. 1 success, 0 or less failure. */
typedef int (*TKI_API_BatteryService_ChargingStatusSet_t)(int on);

/* ---- PC command channel on TCP 127.0.0.1, port of the property "persist.vxo.at.port" (3535). One command per line (LF, a
   CR before it is dropped). The answer is "STATUS LENGTH\n", LENGTH bytes of reply, "\n"; STATUS 2 with a text for a line
   that is too long, empty or malformed (a zero byte), 3 when no command process is registered. 64 clients; one that
   leaves more than 64 KiB of answers unread is dropped.
   mmi_AutoTest_WiFiConCpt_Enable (from inside a command; 1, or 0 with the reason in out) makes it listen on the address that
   wlan0 has then, too, until mmi_AutoTest_WiFiConCpt_Disable (1; its arguments do not matter) or the next Enable. There it
   serves 8 clients, of wlan0's own subnet only. When the property "persist.vxo.at.key" is set such a client first has to
   send "AUTH KEY" (answer "0 0"); whatever else it sends is answered with status 2, and the third time ends the connection. */
/* Called on the thread that runs the loop, one command at a time: a NUL-terminated line without its end. Returns the
   status. The reply is what reply holds up to its first zero byte, or maxlen bytes. reply is zeroed before the call. */
typedef int (*vxo_command_process)(const char *command, char *reply, int maxlen);
typedef int (*registerAtSocket_t)(void);                       /* opens the socket; 0 or -1 */
typedef int (*UnregisterAtSocket_t)(void);                     /* closes it and makes the loop return */
typedef int (*registerCommandProcess_t)(vxo_command_process cb);
typedef int (*runSelectLoopMode_t)(void);                      /* serves until closed */

/* File service: regular files below /data and /cache only; symbolic links, "..", control characters and paths over 255
   bytes are refused. 1 success, 0 failure. Read "PATH": the content, cut at the reply's size, becomes the reply of the
   command being processed. Write "PATH,TEXT": replaces the file at once or not at all, durable. Remove "PATH": "ok" or the
   reason into out. */
typedef int (*mmi_AutoTest_FileOpt_t)(const char *in, int size);
typedef int (*mmi_AutoTest_FourArgs_t)(const char *in, int size, char *out, int maxoutlen);

#define VXO_AT_LINE_MAX 1023   /* bytes of a command line without its end */
#define VXO_AT_REPLY_SIZE 4096 /* capacity handed to the command process */

#ifdef __cplusplus
}
#endif
#endif
