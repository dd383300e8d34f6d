// What the files of the main menu share among themselves.
#pragma once

#include <cstdint>
#include <tp_gui.h>

#include "shell/main_menu.h"

constexpr const char *MENU_TAG = "TKI_MAIN";
constexpr int MENU_ROWS = 5;
extern MainMenuRow g_menu_rows[MENU_ROWS]; // a null entry ends the list

// main_menu_status.cpp: soft keys, battery bar, address picture, WiFi key.
bool menu_wifi_key();              // false: a connection is in progress, the key is not handled
void menu_refresh(HWND hwnd);      // MSG_ACTIVE with wParam 1; may close the menu
void menu_wifi_changed(HWND hwnd); // MSG_CALLBACK
void menu_show_battery_level();    // level text and its colour, without the update

// main_menu_start.cpp: threads and the interrupted run.
void menu_start_aging_if_due();
void mmi_Restore_Autotest();
void menu_start_relink_if_asked();
void menu_stop_threads();

// menu_keys.cpp: power key and touch lock.
void menu_install_key_hook();
void menu_remove_key_hook(); // ends a power-key watcher too
void menu_reset_unlock_counter();
bool menu_unlocked_by_gesture();
void menu_lock_touch();                     // counter 0 and locked
bool power_press_is_short(int64_t held_ns); // under 800 ms: toggles sleep
constexpr int UNLOCK_WINDOW_MS = 7000;
bool unlock_in_time(int64_t first_ns, int64_t fourth_ns);

// menu_dialogs.cpp
LRESULT menu_create_dialog(HWND menu, WPARAM wParam, int kind);
void menu_dialog_button(HWND menu, int button);
void menu_drop_dialog();   // without an answer
bool menu_dialog_lock();   // false when the calling thread was asked to stop
void menu_dialog_unlock(); // does nothing when it is not held
