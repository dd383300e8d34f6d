// One function pointer per function of the two device libraries, filled at start-up. Every other module reaches the
// hardware only through these; optional slots may be null and are tested before use.
#pragma once

#include <cstring>
#include <tki_factory.h>
#include <vxo_vcoredevice.h>

extern "C" { // data symbols that the drawing layer looks up by name
extern tki_api_LCD_Get_Info_t tki_api_LCD_Get_Info;
extern tki_api_LCD_Refresh_t tki_api_LCD_Refresh;
}
extern tki_api_LCD_Off_t tki_api_LCD_Off;
extern tki_api_tki_mode_init_t tki_api_tki_mode_init;
extern tki_api_tki_mode_uninit_t tki_api_tki_mode_uninit;
extern tki_api_Get_TestInfo_t tki_api_Get_TestInfo;
extern tki_api_Get_TestInfo_Stop_t tki_api_Get_TestInfo_Stop;
extern tki_api_ReadFuncTestInfoFlags_t tki_api_ReadFuncTestInfoFlags;
extern tki_api_WriteFuncTestInfoFlags_t tki_api_WriteFuncTestInfoFlags;
extern tki_api_GetText_t tki_api_GetSoftVersion;
extern tki_api_GetText_t tki_api_GetHardVersion;
extern tki_api_GetText_t tki_api_GetPSN;
extern tki_api_GetTestInfoFlag_t tki_api_GetTestInfoFlag;
extern tki_api_GetText_t tki_api_GetBoardNum;
extern tki_api_GetText_t tki_api_GetFlashType;
extern tki_api_camera_test_start_t tki_api_camera_test_start;
extern tki_api_int_t tki_api_camera_start_capture;
extern tki_api_int_t tki_api_camera_do_autofocus;
extern tki_api_int_t tki_api_camera_test_stop;
extern tki_api_Vibrator_Test_Start_t tki_api_Vibrator_Test_Start;
extern tki_api_int_t tki_api_Vibrator_Test_Stop;
extern tki_api_callback_start_t tki_api_AllCard_Test_Start;
extern tki_api_int_t tki_api_AllCard_Test_Stop;
extern tki_api_callback_start_t tki_api_Sensors_Test_Start;
extern tki_api_int_t tki_api_Sensors_Test_Stop;
extern tki_api_Sensors_Calibration_t tki_api_Sensors_Calibration;
extern tki_api_Audio_RingTest_Start_t tki_api_Audio_RingTest_Start;
extern tki_api_int_t tki_api_Audio_RingTest_Stop;
extern tki_api_int_t tki_api_Audio_HiFiTest_Start;
extern tki_api_int_t tki_api_Audio_HiFiTest_Stop;
extern tki_api_Audio_HiFiTest_auto_Start_t tki_api_Audio_HiFiTest_auto_Start;
extern tki_api_int_t tki_api_Audio_HiFiTest_auto_Stop;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Test_Start;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Test_Stop;
extern tki_api_int_t tki_api_Audio_SpeakerCall_Loopback_Test_Start;
extern tki_api_int_t tki_api_Audio_SpeakerCall_Loopback_Test_Stop;
extern tki_api_int_t tki_api_Audio_ReceiverCall_Loopback_Test_Start;
extern tki_api_int_t tki_api_Audio_ReceiverCall_Loopback_Test_Stop;
extern tki_api_int_t tki_api_Audio_wakeupMic_on_Start;
extern tki_api_int_t tki_api_Audio_wakeupMic_Stop;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Headset_Test_Start;
extern tki_api_int_t tki_api_Audio_Acoustic_Loopback_Headset_Test_Stop;
extern tki_api_GetHeadsetState_t tki_api_GetHeadsetState;
extern tki_api_FM_Test_Start_t tki_api_FM_Test_Start;
extern tki_api_int_t tki_api_FM_Test_Stop;
extern tki_api_FM_Set_Vol_t tki_api_FM_Set_Vol;
extern tki_api_int_t tki_api_FM_Get_Vol;
extern tki_api_int_t tki_api_Audio_Receiver_Start;
extern tki_api_int_t tki_api_Audio_Receiver_Stop;
extern tki_api_int_t tki_api_USB_OTG_Test_START;
extern tki_api_int_t tki_api_USB_OTG_Test_Stop;
extern tki_api_SetSystemIdleStatus_t tki_api_SetSystemIdleStatus;
extern tki_api_Audio_SetVolume_t tki_api_Audio_SetVolume;
extern tki_api_Audio_GetVolume_t tki_api_Audio_GetVolume;
extern tki_api_int_t tki_api_EnterLowCostMode;

extern TKI_API_BatteryService_register_Observer_t TKI_API_BatteryService_register_Observer;
extern TKI_API_BatteryService_unregister_Observer_t TKI_API_BatteryService_unregister_Observer;
extern TKI_API_BatteryService_StartService_t TKI_API_BatteryService_StartService;
extern TKI_API_BatteryService_StopService_t TKI_API_BatteryService_StopService;
extern TKI_API_BatteryService_ChargingStatusSet_t TKI_API_BatteryService_ChargingStatusSet;

// 0, or -1 as the binding rules say. Main thread.
int tki_init_lib_factory_dll();
int tki_init_libvxo_vcoredevice_dll();
// Handle of the core-device library for the command channel; null until bound.
void *core_device_handle();
// Binds one function later from the factory library's handle under the caller's tag; 0 or -1 with its log lines.
int bind_factory_symbol(const char *tag, const char *symbol, void **slot);
// The same into a typed pointer; it stays as it is when the symbol is missing.
template <class Function> bool bind_factory_function(const char *tag, const char *symbol, Function *function) {
    void *found = nullptr;
    if (bind_factory_symbol(tag, symbol, &found) != 0) return false;
    memcpy(function, &found, sizeof found);
    return true;
}
// Binds it and calls it; -1 when the symbol is missing.
template <class Function, class... Arguments>
int call_factory_function(const char *tag, const char *symbol, Arguments... arguments) {
    Function function = nullptr;
    return bind_factory_function(tag, symbol, &function) ? function(arguments...) : -1;
}

int func_temp(int value);
int mmi_ReadFuncTestInfoFlags(int byte_index);
int mmi_WriteFuncTestInfoFlags(int byte_index, uint8_t value);
