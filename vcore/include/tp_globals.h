// State that the runtime library owns and the program shares. Defined in vcore/src/globals.cpp.
#pragma once

#include <atomic>
#include <cstdint>
#include <sys/time.h>

extern std::atomic<int> g_bCurrentSleepStatus; // 1: the program has put the handset to sleep
extern std::atomic<int> g_bWiFiConnectStatus;  // 1: touch locked while the address picture is shown
extern std::atomic<int> g_deviceIsAgingTest;   // 1: an aging run owns the screen
extern std::atomic<int> g_iCreateDialog;       // 1: a dialog is shown
extern void *lib_vxo_factory;                  // dlopen handle of the factory library; written once by start-up

// The moment of the last user input (scaled wall clock). Any thread.
struct timeval tp_last_input_time();
// Sets the last-input time to now; called by the input layer for every record and by whoever restarts the
// idle period. Any thread.
void GetLastInputTime();
// For tests: moves the last-input time the given number of seconds into the past.
void tp_age_last_input(int64_t seconds);

// Geometry of the panel, filled by tp_man_lcd_get_info_only.
struct TpScreenInfo {
    uint16_t width = 0;  // pixels
    uint16_t height = 0; // pixels
};
extern TpScreenInfo g_ptScreenInfo;

// Reads the panel's geometry through the program's tki_api_LCD_Get_Info into g_ptScreenInfo.
// 0, or -1 when the slot is missing, unbound or fails. Main thread.
int tp_man_lcd_get_info_only();

// Text by key from the source installed with tp_i18n_set_source; the key itself where there is none.
// The pointer stays valid until the calling thread's next call. Any thread.
const char *tp_i18n_get_text(const char *key);
// source(key, out): writes at most 255 bytes and a terminator, returns 0 when found. Null removes it.
void tp_i18n_set_source(int (*source)(const char *key, char *out));
