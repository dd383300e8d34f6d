// Entry and stop functions of all tests, as the item tables and the command table name them.
// Items: GUI thread (stops: any). PC entries: channel thread; 1 success, 0 failure.
#pragma once

#include "testwnd/mmi_testwnd_key.h"
#include "testwnd/mmi_testwnd_lcd.h"
#include "testwnd/mmi_testwnd_vibrator.h"

void mmi_testwnd_AllLightTestEntry();
void mmi_testwnd_AllLightTest_Stop_Entry();
void mmi_testwnd_AudioLoopBackTestEntry();
void mmi_testwnd_RingtoneTestEntry();
void mmi_test_RingtoneTest_Stop_Entry();
void mmi_testwnd_CallTestEntry();
void mmi_testwnd_CallTest_Stop_Entry();
void mmi_testwnd_BatteryTestEntry();
void mmi_testwnd_BatteryTest_Stop_Entry();
void mmi_testwnd_TPSelfTest_Entry();
void mmi_testwnd_TPSelfTest_Stop();
void mmi_testwnd_touchTestEntry();
void mmi_AutoTest_touchscreenTest_Stop_Entry();
void mmi_testwnd_SensorsTestEntry();
void mmi_testwnd_SensorsTest_Stop_Entry();
void mmi_testwnd_SIMCardTestEntry();
void mmi_testwnd_SIMCardTest_Stop_Entry();
void mmi_testwnd_SmartPACalEntry();
void mmi_testwnd_SmartPACal_Stop_Entry();
void mmi_testwnd_CameraBackTestEntry();
void mmi_AutoTest_CameraBackTest_Stop_Entry();
void mmi_testwnd_Monomer_TPSelfTest_Entry();
void mmi_testwnd_Monomer_TPSelfTest_Stop();
void mmi_testwnd_Monomer_HardwareVersionEntry();
void mmi_testwnd_Monomer_HardwareVersion_Stop();
void mmi_testwnd_Monomer_touchTestEntry();
void mmi_testwnd_Monomer_touchscreenTest_Stop();

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
