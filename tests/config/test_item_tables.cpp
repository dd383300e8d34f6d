// The item tables as these tests need them: the program's domains, entries that only count.
#include "config/test_items.h"
#include "config/test_item_calls.h"

namespace {
void enter() {}
void stop_lcd() { test_item_calls::lcd_stopped++; }
void stop_other() { test_item_calls::other_stopped++; }
} // namespace

int g_testitemnum_total = TESTITEM_TOTAL;
TestItem TestItemWinMenu_TOTAL[TESTITEM_TOTAL] = {
    {0, "menu_LCDTest", enter, stop_lcd, "TKI_LCD", 280, 0, 0, 0, 0, ""},
    {1, "menu_AllLightTest", enter, stop_other, "TKI_ALLLIGHT", 284, 0, 0, 0, 0, ""},
    {2, "menu_LoopBackTest", enter, nullptr, "TKI_AUDIO_LOOPBACK", 300, 0, 0, 0, 0, ""},
    {3, "menu_RingTest", enter, stop_other, "TKI_RINGTONE", 296, 0, 0, 0, 0, ""},
    {4, "title_CallTest", enter, stop_other, "TKI_CALLTEST", 298, 0, 0, 0, 0, ""},
    {5, "menu_VibratorTest", enter, stop_other, "TKI_VIBRATOR", 316, 0, 0, 0, 0, ""},
    {6, "title_BatteryCheck", enter, stop_other, "TKI_BATTERY", 344, 0, 0, 0, 0, ""},
    {7, "menu_KeyTest", enter, stop_other, "TKI_KEYS", 312, 0, 0, 0, 0, ""},
    {8, "title_TPSelfTest", enter, stop_other, "TKI_TPSELF", -1, 0, 0, 0, 0, ""},
    {9, "menu_TouchTest", enter, stop_other, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {10, "menu_AllSensorTest", enter, stop_other, "TKI_SENSOR", 328, 0, 0, 0, 0, ""},
    {11, "title_SimCardTest", enter, stop_other, "TKI_SIMCARD", 324, 0, 0, 0, 0, ""},
    {12, "menu_ItemTest_SmartPACal", enter, stop_other, "TKI_SMARTPACAL", 300, 0, 0, 0, 0, ""},
};
TestItem AuxLCD_TestItemWinMenu_TOTAL[AUX_TESTITEM_TOTAL] = {
    {0, "menu_TouchTest", enter, stop_other, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", enter, stop_lcd, "TKI_LCD", 280, 0, 0, 0, 0, ""},
};
TestItem MonomerPreview_TestItemWinMenu_TOTAL[MONOMER_TESTITEM_TOTAL] = {
    {0, "title_TPSelfTest", enter, stop_other, "TKI_TPSELF", -1, 0, 0, 0, 0, ""},
    {0, "menu_NfcTest", enter, stop_other, "TKI_MONOMER_HARDVERSION", -1, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", enter, stop_other, "TKI_MONOMER_LCD", -1, 0, 0, 0, 0, ""},
    {2, "menu_TouchTest", enter, stop_other, "TKI_TOUCH", -1, 0, 0, 0, 0, ""},
};
