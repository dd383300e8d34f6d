// The item tables as this test program needs them: entries that only note that they were called.
#include <string>
#include <vector>

#include "config/test_items.h"

std::vector<std::string> g_opened;

namespace {
template <int N> void open_item() { g_opened.emplace_back(TestItemWinMenu_TOTAL[N].config_domain); }
template <int N> void open_aux() {
    g_opened.emplace_back(std::string("AUX:") + AuxLCD_TestItemWinMenu_TOTAL[N].config_domain);
}
template <int N> void open_monomer() {
    g_opened.emplace_back(MonomerPreview_TestItemWinMenu_TOTAL[N].config_domain);
}
} // namespace

int g_testitemnum_total = TESTITEM_TOTAL;

TestItem TestItemWinMenu_TOTAL[TESTITEM_TOTAL] = {
    {0, "menu_LCDTest", open_item<0>, nullptr, "TKI_LCD", 280, 0, 0, 0, 0, ""},
    {1, "menu_AllLightTest", open_item<1>, nullptr, "TKI_ALLLIGHT", 284, 0, 0, 0, 0, ""},
    {2, "title_LoopBackTest", open_item<2>, nullptr, "TKI_LOOPBACK", 300, 0, 0, 0, 0, ""},
    {3, "title_MainCameraTest", open_item<3>, nullptr, "TKI_CAMERA_BACK", 288, 0, 0, 0, 0, ""},
    {4, "menu_VibratorTest", open_item<4>, nullptr, "TKI_VIBRATOR", 316, 0, 0, 0, 0, ""},
    {5, "menu_HeadsetTest", open_item<5>, nullptr, "TKI_HEADSET", 304, 0, 0, 0, 0, ""},
    {6, "menu_BatteryTest", open_item<6>, nullptr, "TKI_BATTERY", 344, 0, 0, 0, 0, ""},
    {7, "menu_KeyTest", open_item<7>, nullptr, "TKI_KEYS", 312, 0, 0, 0, 0, ""},
    {8, "title_TPSelfTest", open_item<8>, nullptr, "TKI_TPSELF", -1, 0, 0, 0, 0, ""},
    {9, "menu_TouchTest", open_item<9>, nullptr, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {10, "menu_AllSensorTest", open_item<10>, nullptr, "TKI_SENSOR", 328, 0, 0, 0, 0, ""},
    {11, "title_SimCardTest", open_item<11>, nullptr, "TKI_SIMCARD", 324, 0, 0, 0, 0, ""},
    {12, "menu_ItemTest_SmartPACal", open_item<12>, nullptr, "TKI_SMARTPACAL", 300, 0, 0, 0, 0, ""},
};

TestItem AuxLCD_TestItemWinMenu_TOTAL[AUX_TESTITEM_TOTAL] = {
    {0, "menu_TouchTest", open_aux<0>, nullptr, "TKI_TOUCH", 320, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", open_aux<1>, nullptr, "TKI_LCD", 280, 0, 0, 0, 0, ""},
    {2, "menu_AllLightTest", open_aux<2>, nullptr, "TKI_ALLLIGHT", 284, 0, 0, 0, 0, ""},
    {3, "title_TPSelfTest", open_aux<3>, nullptr, "TKI_TPSELF", 320, 0, 0, 0, 0, ""},
    {4, "title_MainCameraTest", open_aux<4>, nullptr, "TKI_CAMERA_BACK", 288, 0, 0, 0, 0, ""},
};

TestItem MonomerPreview_TestItemWinMenu_TOTAL[MONOMER_TESTITEM_TOTAL] = {
    {0, "title_TPSelfTest", open_monomer<0>, nullptr, "TKI_TPSELF", -1, 0, 0, 0, 0, ""},
    {0, "menu_NfcTest", open_monomer<1>, nullptr, "TKI_MONOMER_HARDVERSION", -1, 0, 0, 0, 0, ""},
    {1, "menu_LCDTest", open_monomer<2>, nullptr, "TKI_MONOMER_LCD", -1, 0, 0, 0, 0, ""},
    {2, "menu_TouchTest", open_monomer<3>, nullptr, "TKI_TOUCH", -1, 0, 0, 0, 0, ""},
};
