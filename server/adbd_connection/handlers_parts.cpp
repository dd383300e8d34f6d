// Handlers of the lights, the headset's key, the hall sensor, the FM radio and the smart amplifier.
#include "adbd_connection/channel_library.h"
#include "adbd_connection/handlers.h"
#include "testwnd/lights.h"
#include "testwnd/mmi_testwnd_smartpa.h"
#include "testwnd/parts_pc.h"

namespace {
// What the WiFi component replies is not the light control's reply.
int open_light_control(const char *in, int size) {
    char ignored[256] = {};
    if (g_channel_library.WiFiConCpt_Disable) g_channel_library.WiFiConCpt_Disable(in, size, ignored, sizeof ignored);
    return mmi_AutoTest_LightControl_Open();
}
} // namespace

VXO_COMMAND(AutoTest_LED_Red_Start, normalised(mmi_AutoTest_LEDTestEntry("red")))
VXO_COMMAND(AutoTest_LED_Green_Start, normalised(mmi_AutoTest_LEDTestEntry("green")))
VXO_COMMAND(AutoTest_LED_Orange_Start, normalised(mmi_AutoTest_LEDTestEntry("orange")))
VXO_COMMAND(AutoTest_LED_Stop, normalised(mmi_AutoTest_LEDTest_Stop()))
VXO_COMMAND(AutoTest_KEYBacklight_Start, normalised(mmi_AutoTest_KEYBacklightTestEntry()))
VXO_COMMAND(AutoTest_KEYBacklight_Stop, normalised(mmi_AutoTest_KEYBacklightTest_Stop()))
VXO_COMMAND(AutoTest_flashlight_Start, normalised(mmi_AutoTest_flashlightTestEntry("autotest")))
VXO_COMMAND(AutoTest_flashlight_Stop, normalised(mmi_AutoTest_flashlightTest_Stop()))
VXO_COMMAND(AutoTest_flashlight2_Start, normalised(mmi_AutoTest_flashlight2TestEntry()))
VXO_COMMAND(AutoTest_flashlight2_Stop, normalised(mmi_AutoTest_flashlight2Test_Stop()))
VXO_COMMAND(AutoTest_flashlight_front_Start, normalised(mmi_AutoTest_flashlight_frontTestEntry(bufIn)))
VXO_COMMAND(AutoTest_flashlight_front_Stop, normalised(mmi_AutoTest_flashlight_frontTest_Stop()))
VXO_COMMAND(AutoTest_LightControl_Open, open_light_control(bufIn, size))
VXO_COMMAND(AutoTest_LightControl_Close, mmi_AutoTest_LightControl_Close())

VXO_COMMAND(AutoTest_headsethook_Start, normalised(mmi_AutoTest_HeadsetHookTestEntry()))
VXO_COMMAND(AutoTest_headsethook_Stop, normalised(mmi_AutoTest_HeadsetHookTest_Stop(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_hallsensor_Start, normalised(mmi_AutoTest_HallSensorTestEntry()))
VXO_COMMAND(AutoTest_hallsensor_Stop, normalised(mmi_AutoTest_HallSensorTest_Stop()))
VXO_COMMAND(AutoTest_FM_Start, normalised(by_number(bufIn, mmi_AutoTest_FMTestEntry)))
VXO_COMMAND(AutoTest_FM_Stop, normalised(mmi_AutoTest_FMTest_Stop()))

VXO_COMMAND(AutoTest_SpeakerCalibrate_Start, normalised(mmi_AutoTest_SmartPACalEntry()))
VXO_COMMAND(AutoTest_SpeakerCalibrate_Calibrate, normalised(mmi_AutoTest_SmartPACal_Calibrate()))
VXO_COMMAND(AutoTest_SpeakerCalibrate_Stop, normalised(mmi_AutoTest_SmartPACal_Stop()))
