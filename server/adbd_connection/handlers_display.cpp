// Handlers of the vibrator, the panel, the keys and the touch panel.
#include <cstdlib>
#include <cstring>

#include "adbd_connection/handlers.h"
#include "testwnd/test_entries.h"

namespace {
constexpr int VIBRATE_UNTIL_STOPPED = -1;
constexpr int VIBRATE_PCBA_MS = 15000;
constexpr int BACKLIGHT_DEFAULT = 102;
enum { WHITE, RED, GREEN, BLUE, BLACK };

} // namespace

bool decimal_argument(const char *text, int *value) {
    *value = 0;
    if (!text || !*text) return true;
    const char *digits = *text == '-' || *text == '+' ? text + 1 : text;
    const size_t count = strlen(digits);
    if (count == 0 || count > 9 || strspn(digits, "0123456789") != count) return false;
    *value = atoi(text);
    return true;
}

VXO_COMMAND(AutoTest_Vibrator_Start, mmi_AutoTest_VibratorTestEntry(VIBRATE_UNTIL_STOPPED))
VXO_COMMAND(AutoTest_Vibrator_Stop, mmi_AutoTest_VibratorTest_Stop())
VXO_COMMAND_NOTED(PCBAAutotestVibratorStart, mmi_AutoTest_VibratorTestEntry(VIBRATE_PCBA_MS))
VXO_COMMAND_NOTED(PCBAAutotestVibratorEnd, mmi_AutoTest_VibratorTest_Stop())

VXO_COMMAND(AutoTest_LCD_White_Start, normalised(mmi_AutoTest_LCDColorTestEntry(WHITE)))
VXO_COMMAND(AutoTest_LCD_Red_Start, normalised(mmi_AutoTest_LCDColorTestEntry(RED)))
VXO_COMMAND(AutoTest_LCD_Green_Start, normalised(mmi_AutoTest_LCDColorTestEntry(GREEN)))
VXO_COMMAND(AutoTest_LCD_Blue_Start, normalised(mmi_AutoTest_LCDColorTestEntry(BLUE)))
VXO_COMMAND(AutoTest_LCD_Black_Start, normalised(mmi_AutoTest_LCDColorTestEntry(BLACK)))
VXO_COMMAND(AutoTest_LCD_Stop, normalised(mmi_AutoTest_LCDColorTest_Stop()))
VXO_COMMAND(AutoTest_AUX_LCD_White_Start, normalised(mmi_AutoTest_AUX_LCDColorTestEntry(WHITE)))
VXO_COMMAND(AutoTest_AUX_LCD_Red_Start, normalised(mmi_AutoTest_AUX_LCDColorTestEntry(RED)))
VXO_COMMAND(AutoTest_AUX_LCD_Green_Start, normalised(mmi_AutoTest_AUX_LCDColorTestEntry(GREEN)))
VXO_COMMAND(AutoTest_AUX_LCD_Blue_Start, normalised(mmi_AutoTest_AUX_LCDColorTestEntry(BLUE)))
VXO_COMMAND(AutoTest_AUX_LCD_Black_Start, normalised(mmi_AutoTest_AUX_LCDColorTestEntry(BLACK)))
VXO_COMMAND(AutoTest_AUX_LCD_Stop, normalised(mmi_AutoTest_AUX_LCDColorTest_Stop()))

VXO_COMMAND(AutoTest_LCDBacklight_Start, normalised(by_number(bufIn, mmi_AutoTest_LCDBacklight)))
VXO_COMMAND(AutoTest_LCDBacklight_Stop, normalised(mmi_AutoTest_LCDBacklight(BACKLIGHT_DEFAULT)))
VXO_COMMAND(AutoTest_LCD_Wakeup, normalised(mmi_AutoTest_LCD_Wakeup()))
VXO_COMMAND(AutoTest_LCD_Turnoff, always(mmi_AutoTest_LCD_Turnoff()))

VXO_COMMAND(AutoTest_DualLCD_Hue_Set, normalised(mmi_AutoTest_Hue_Set(bufIn)))
VXO_COMMAND(AutoTest_DualLCD_Hue_Register_Set, normalised(mmi_AutoTest_Hue_Register_Set(bufIn)))
VXO_COMMAND(AutoTest_DualLCD_GrayLevel_Set, normalised(mmi_AutoTest_GrayLevel_Set(bufIn)))
VXO_COMMAND(AutoTest_DualLCD_Switch_Display, normalised(mmi_AutoTest_DualLCD_Switch()))
VXO_COMMAND(AutoTest_CABC_Open, always(mmi_AutoTest_CABC_Set(2)))
VXO_COMMAND(AutoTest_CABC_Close, always(mmi_AutoTest_CABC_Set(0)))
VXO_COMMAND(AutoTest_LCDType_Read, normalised(mmi_AutoTest_LCDType_Read(bufOut, maxoutlen)))
VXO_COMMAND(PixelWorks_Calibrate_ShowPicture, normalised(bufIn ? by_number(bufIn, mmi_AutoTest_PW_ShowPicture) : 0))
VXO_COMMAND(PixelWorks_Calibrate_ShowPicture_Close, normalised(mmi_AutoTest_PW_ShowPicture_Stop()))

VXO_COMMAND(AutoTest_keyboard_Start, normalised(mmi_AutoTest_KeyTestEntry()))
VXO_COMMAND(AutoTest_keyboard_Stop, normalised(mmi_AutoTest_KeyTest_Stop(bufOut, maxoutlen)))
VXO_COMMAND_NOTED(PCBAAutotestKeyStart, normalised(PCBAKeyTestStart()))
VXO_COMMAND_NOTED(PCBAAutotestKeyStop, normalised(PCBAKeyTestStop()))

VXO_COMMAND(AutoTest_touchscreen_Start, normalised(mmi_AutoTest_touchscreenTest_Entry()))
VXO_COMMAND(AutoTest_touchscreen_Stop, normalised(mmi_AutoTest_touchscreenTest_Stop_Entry()))
