// The test items: what the operator's list, the automatic run and the PC may start.
#include "config/test_items.h"
#include "testwnd/test_entries.h"

namespace {
// The PC's stop, which answers; an item's stop does not.
void stop_touch_test() { mmi_AutoTest_touchscreenTest_Stop_Entry(); }
} // namespace

TestItem TestItemWinMenu_TOTAL[TESTITEM_TOTAL] = {
    {0, "menu_LCDTest", mmi_LCDColorTestEntry, mmi_LCDColorTest_Stop_Entry, "TKI_LCD", 280, 0, 0, 0, 0, ""},
    {1, "menu_AllLightTest", mmi_testwnd_AllLightTestEntry, mmi_testwnd_AllLightTest_Stop_Entry, "TKI_ALLLIGHT", 284, 0,
     0, 0, 0, ""},
    // No stop entry, and the flag of row 12 as well: the loop-back items are one station to the line.
    {2, "menu_LoopBackTest", mmi_testwnd_AudioLoopBackTestEntry, nullptr, "TKI_AUDIO_LOOPBACK", 300, 0, 0, 0, 0, ""},
    {3, "menu_RingTest", mmi_testwnd_RingtoneTestEntry, mmi_test_RingtoneTest_Stop_Entry, "TKI_RINGTONE", 296, 0, 0, 0,
     0, ""},
    {4, "title_CallTest", mmi_testwnd_CallTestEntry, mmi_testwnd_CallTest_Stop_Entry, "TKI_CALLTEST", 298, 0, 0, 0, 0,
     ""},
    {5, "menu_VibratorTest", mmi_testwnd_VibratorTestEntry, mmi_testwnd_VibratorTest_Stop_Entry, "TKI_VIBRATOR", 316, 0,
     0, 0, 0, ""},
    {6, "title_BatteryCheck", mmi_testwnd_BatteryTestEntry, mmi_testwnd_BatteryTest_Stop_Entry, "TKI_BATTERY", 344, 0,
     0, 0, 0, ""},
    {7, "menu_KeyTest", mmi_teswnd_KeyTestEntry, mmi_teswnd_KeyTest_Stop_Entry, "TKI_KEYS", 312, 0, 0, 0, 0, ""},
    {8, "title_TPSelfTest", mmi_testwnd_TPSelfTest_Entry, mmi_testwnd_TPSelfTest_Stop, "TKI_TPSELF", -1, 0, 0, 0, 0, ""},
    {9, "menu_TouchTest", mmi_testwnd_touchTestEntry, stop_touch_test, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {10, "menu_AllSensorTest", mmi_testwnd_SensorsTestEntry, mmi_testwnd_SensorsTest_Stop_Entry, "TKI_SENSOR", 328, 0,
     0, 0, 0, ""},
    {11, "title_SimCardTest", mmi_testwnd_SIMCardTestEntry, mmi_testwnd_SIMCardTest_Stop_Entry, "TKI_SIMCARD", 324, 0,
     0, 0, 0, ""},
    {12, "menu_ItemTest_SmartPACal", mmi_testwnd_SmartPACalEntry, mmi_testwnd_SmartPACal_Stop_Entry, "TKI_SMARTPACAL",
     300, 0, 0, 0, 0, ""},
};
int g_testitemnum_total = TESTITEM_TOTAL;

TestItem AuxLCD_TestItemWinMenu_TOTAL[AUX_TESTITEM_TOTAL] = {
    {0, "menu_TouchTest", mmi_testwnd_touchTestEntry, stop_touch_test, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", mmi_LCDColorTestEntry, mmi_LCDColorTest_Stop_Entry, "TKI_LCD", 280, 0, 0, 0, 0, ""},
    {2, "menu_AllLightTest", mmi_testwnd_AllLightTestEntry, mmi_testwnd_AllLightTest_Stop_Entry, "TKI_ALLLIGHT", 284, 0,
     0, 0, 0, ""},
    {3, "title_TPSelfTest", mmi_testwnd_TPSelfTest_Entry, mmi_testwnd_TPSelfTest_Stop, "TKI_TPSELF", 320, 0, 0, 0, 0, ""},
    {4, "title_MainCameraTest", mmi_testwnd_CameraBackTestEntry, mmi_AutoTest_CameraBackTest_Stop_Entry,
     "TKI_CAMERA_BACK", 288, 0, 0, 0, 0, ""},
};

// The row numbers and the title of the hardware version stand as the line knows them; the list is numbered anew anyway.
TestItem MonomerPreview_TestItemWinMenu_TOTAL[MONOMER_TESTITEM_TOTAL] = {
    {0, "title_TPSelfTest", mmi_testwnd_Monomer_TPSelfTest_Entry, mmi_testwnd_Monomer_TPSelfTest_Stop, "TKI_TPSELF", -1,
     0, 0, 0, 0, ""},
    {0, "menu_NfcTest", mmi_testwnd_Monomer_HardwareVersionEntry, mmi_testwnd_Monomer_HardwareVersion_Stop,
     "TKI_MONOMER_HARDVERSION", -1, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", mmi_Monomer_LCDColorTestEntry, mmi_Monomer_LCDColorTest_Stop_Entry, "TKI_MONOMER_LCD", -1, 0, 0,
     0, 0, ""},
    {2, "menu_TouchTest", mmi_testwnd_Monomer_touchTestEntry, mmi_testwnd_Monomer_touchscreenTest_Stop, "TKI_TOUCH", -1,
     0, 0, 0, 0, ""},
};
