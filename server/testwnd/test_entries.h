// Entry and stop functions of all tests, as the item tables and the command table name them.
// Items: GUI thread (stops: any). PC entries: channel thread; 1 success, 0 failure.
#pragma once

#include "testwnd/lights.h"
#include "testwnd/mmi_testwnd_audioloopback.h"
#include "testwnd/mmi_testwnd_battery.h"
#include "testwnd/mmi_testwnd_call.h"
#include "testwnd/mmi_testwnd_camera.h"
#include "testwnd/mmi_testwnd_cards.h"
#include "testwnd/mmi_testwnd_hardware_version.h"
#include "testwnd/mmi_testwnd_key.h"
#include "testwnd/mmi_testwnd_lcd.h"
#include "testwnd/mmi_testwnd_ringtone.h"
#include "testwnd/mmi_testwnd_sensors.h"
#include "testwnd/mmi_testwnd_smartpa.h"
#include "testwnd/mmi_testwnd_tpself.h"
#include "testwnd/mmi_testwnd_vibrator.h"
#include "testwnd/mmi_touchadusting_LineWin.h"

// The panel (lcd_panel.cpp). Malformed texts give 0 and change nothing.
int mmi_AutoTest_AUX_LCDColorTestEntry(int index); // 0 where no auxiliary panel is fitted
int mmi_AutoTest_AUX_LCDColorTest_Stop();
int mmi_AutoTest_Hue_Set(const char *text);          // "name,value"
int mmi_AutoTest_Hue_Register_Set(const char *text); // "register,value", decimal or hexadecimal
int mmi_AutoTest_LCDType_Read(char *out, int maxoutlen);
int mmi_AutoTest_CABC_Set(int level);
int mmi_AutoTest_LCDBacklight(int level);            // 0..255
int mmi_AutoTest_LCD_Wakeup();
int mmi_AutoTest_LCD_Turnoff();
int mmi_AutoTest_DualLCD_Switch();                   // changes over to the other panel's marker
int read_regvalue_from_file(const char *path, char *out, int size); // first line, terminated; 0 or -1
int write_regvalue_to_file(const char *path, const char *text);     // 0 or -1
