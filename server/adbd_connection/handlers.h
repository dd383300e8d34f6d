// The command handlers, in the order of the table: thin adapters that log their name, call one entry function and turn
// its answer into 1 (success) or anything else. Channel thread. Results:
//   normalised     1 when the entry function returned non-zero, else 0 (the default)
//   passed through the entry function's own value
//   always success 1 whatever happened
#pragma once

#include <cstdint>

#include "base/log_door.h"

constexpr char AT_TAG[] = "AtThread";

#define VXO_COMMAND_ARGS                                                                                             \
    [[maybe_unused]] const char *bufIn, [[maybe_unused]] int32_t size, [[maybe_unused]] char *bufOut,                \
        [[maybe_unused]] int32_t maxoutlen
#define VXO_COMMAND(name, ...)                                                                                       \
    int32_t name(VXO_COMMAND_ARGS) {                                                                                 \
        LOG_D(AT_TAG, "begin");                                                                                      \
        return __VA_ARGS__;                                                                                          \
    }

// The same, noting what it was given: the board test's handlers and a few others.
#define VXO_COMMAND_NOTED(name, ...)                                                                                 \
    int32_t name(VXO_COMMAND_ARGS) {                                                                                 \
        LOG_D(AT_TAG, "begin:bufIn=%s", bufIn);                                                                      \
        return __VA_ARGS__;                                                                                          \
    }

constexpr int32_t normalised(int result) { return result != 0 ? 1 : 0; }
constexpr int32_t always(int) { return 1; }
// Decimal value of an argument; nothing counts as 0. False for anything else, which is refused.
bool decimal_argument(const char *text, int *value);
inline int by_number(const char *text, int (*entry)(int)) {
    int number = 0;
    return decimal_argument(text, &number) ? entry(number) : 0;
}

int32_t AutoTest_Vibrator_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Vibrator_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_White_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Red_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Green_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Blue_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Black_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_White_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_Red_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_Green_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_Blue_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_Black_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_AUX_LCD_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LED_Red_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LED_Green_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LED_Orange_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LED_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCDBacklight_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCDBacklight_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Wakeup(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCD_Turnoff(const char *, int32_t, char *, int32_t);
int32_t AutoTest_KEYBacklight_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_KEYBacklight_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight2_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight2_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight_front_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashlight_front_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_keyboard_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_keyboard_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_headsethook_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_headsethook_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_touchscreen_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_touchscreen_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_FM_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_FM_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_HeadsetHeadset_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_HeadsetSpeaker_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_HeadsetReceiver_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_MicroHeadset_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_AuxiliaryMicroHeadset1_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_AuxiliaryMicroHeadset2_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_Watch_Speaker_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_Watch_Mic_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_Watch_Speaker_Mic_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Call_Test_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Call_Test_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_audioloop_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_frontcamera_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_frontcamera_Snapshot(const char *, int32_t, char *, int32_t);
int32_t AutoTest_frontcamera_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_backcamera_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_backcamera_Snapshot(const char *, int32_t, char *, int32_t);
int32_t AutoTest_backcamera_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_auxbackcamera_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_auxbackcamera_Snapshot(const char *, int32_t, char *, int32_t);
int32_t AutoTest_auxbackcamera_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_sensor_Calibrate(const char *, int32_t, char *, int32_t);
int32_t AutoTest_sensor_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Acc_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Mag_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Gyro_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Pressure_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Heartrate_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutotestSensorProxiStart(const char *, int32_t, char *, int32_t);
int32_t AutotestSensorLightStart(const char *, int32_t, char *, int32_t);
int32_t AutoTest_HeartrateSelfTest_sensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_hallsensor_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_hallsensor_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_flashtype_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_RAM_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_ROM_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_sim_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_SDCard_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_battery_charging_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_battery_power_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_battery_temperature_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_battery_health_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_barcode_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_IMEI_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_internalsoftware_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_externalsoftware_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_haredware_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_testinfo(const char *, int32_t, char *, int32_t);
int32_t AutoTest_BatteryCharge_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_BatteryCharge_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_NfcTest_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_NfcTest_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Fingerprint_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Fingerprint_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Standby_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Standby_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_WiFi_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_WiFi_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_WiFiConCpt_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_WiFiConCpt_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_MMI_Enable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_MMI_Disable(const char *, int32_t, char *, int32_t);
int32_t AutoTest_FileOpt_Read(const char *, int32_t, char *, int32_t);
int32_t AutoTest_FileOpt_Write(const char *, int32_t, char *, int32_t);
int32_t AutoTest_FileOpt_Remove(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_test_start(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_test_stop(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_calibration_start(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_calibration_stop(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_calibration_read(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_comprehensive_test_start(const char *, int32_t, char *, int32_t);
int32_t automated_force_touch_comprehensive_test_stop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestVibratorStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestVibratorEnd(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestCpuStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestCpuStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestMemoryStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestMemoryStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestBluetoothStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestBluetoothStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestCameraBackStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestCameraFrontStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestBatteryStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestBatteryStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestWifiStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestWifiStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestFmStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestFmStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestGpsStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestGpsStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestTouchStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestTouchStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestStorageStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestStorageStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestSdcardStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestSdcardStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestSimStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestSimStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestKeyStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestKeyStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestRingStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestRingStop(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestWgbStart(const char *, int32_t, char *, int32_t);
int32_t PCBAAutotestWgbStop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LightControl_Open(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LightControl_Close(const char *, int32_t, char *, int32_t);
int32_t AutoTest_SwitchSSID(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Modify_ConfigFile(const char *, int32_t, char *, int32_t);
int32_t AutoTest_GetWiFiRSSI(const char *, int32_t, char *, int32_t);
int32_t AutoTest_GetAPInfo(const char *, int32_t, char *, int32_t);
int32_t AutoTest_PowerOff(const char *, int32_t, char *, int32_t);
int32_t AutoTest_EnterLowCostMode(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Reboot(const char *, int32_t, char *, int32_t);
int32_t AutoTest_hifi_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_hifi_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTestMicToSpeakerStart(const char *, int32_t, char *, int32_t);
int32_t AutotestMic2EarpieceStart(const char *, int32_t, char *, int32_t);
int32_t AutotestMic2EarpieceStop(const char *, int32_t, char *, int32_t);
int32_t AutotestAuxMic2EarpieceStart(const char *, int32_t, char *, int32_t);
int32_t AutotestAuxMic2EarpieceStop(const char *, int32_t, char *, int32_t);
int32_t AutotestReadCameraIDStart(const char *, int32_t, char *, int32_t);
int32_t AutoCloseDialog(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Ring_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_Ring_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_SpeakerCalibrate_Start(const char *, int32_t, char *, int32_t);
int32_t AutoTest_SpeakerCalibrate_Calibrate(const char *, int32_t, char *, int32_t);
int32_t AutoTest_SpeakerCalibrate_Stop(const char *, int32_t, char *, int32_t);
int32_t AutoTest_DualLCD_Hue_Set(const char *, int32_t, char *, int32_t);
int32_t AutoTest_DualLCD_Hue_Register_Set(const char *, int32_t, char *, int32_t);
int32_t AutoTest_DualLCD_GrayLevel_Set(const char *, int32_t, char *, int32_t);
int32_t AutoTest_DualLCD_Switch_Display(const char *, int32_t, char *, int32_t);
int32_t AutoTest_CABC_Open(const char *, int32_t, char *, int32_t);
int32_t AutoTest_CABC_Close(const char *, int32_t, char *, int32_t);
int32_t AutoTest_LCDType_Read(const char *, int32_t, char *, int32_t);
int32_t WiFiUDPServ_Enable(const char *, int32_t, char *, int32_t);
int32_t WiFiUDPServ_Disable(const char *, int32_t, char *, int32_t);
int32_t WiFiDataRate_set(const char *, int32_t, char *, int32_t);
int32_t PixelWorks_Calibrate_ShowPicture(const char *, int32_t, char *, int32_t);
int32_t PixelWorks_Calibrate_ShowPicture_Close(const char *, int32_t, char *, int32_t);
