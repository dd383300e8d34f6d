// Parts that this handset's library does not drive. Each answers at once, so that a test of a part that is not fitted
// fails instead of hanging.
#include <factory/api.h>

static int not_fitted(const char *function) {
    __android_log_print(ANDROID_LOG_ERROR, FACTORY_TAG, "%s not fitted", function);
    return -1;
}

#define NOT_FITTED(function, ...)                                                                            \
    TKI_API(int) function(__VA_ARGS__) noexcept { return not_fitted(#function); }

// cameras
NOT_FITTED(tki_api_camera_test_start, int)
NOT_FITTED(tki_api_camera_start_capture, void)
NOT_FITTED(tki_api_camera_do_autofocus, void)
NOT_FITTED(tki_api_camera_test_stop, void)
// cards
NOT_FITTED(tki_api_AllCard_Test_Start, tki_callback)
NOT_FITTED(tki_api_AllCard_Test_Stop, void)
// sensors
NOT_FITTED(tki_api_Sensors_Test_Start, tki_callback)
NOT_FITTED(tki_api_Sensors_Test_Stop, void)
NOT_FITTED(tki_api_Sensors_Calibration, int)
// audio
NOT_FITTED(tki_api_Audio_RingTest_Start, int)
NOT_FITTED(tki_api_Audio_RingTest_Stop, void)
NOT_FITTED(tki_api_Audio_HiFiTest_Start, void)
NOT_FITTED(tki_api_Audio_HiFiTest_Stop, void)
NOT_FITTED(tki_api_Audio_HiFiTest_auto_Start, const char *)
NOT_FITTED(tki_api_Audio_HiFiTest_auto_Stop, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Test_Start, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Test_Stop, void)
NOT_FITTED(tki_api_Audio_SpeakerCall_Loopback_Test_Start, void)
NOT_FITTED(tki_api_Audio_SpeakerCall_Loopback_Test_Stop, void)
NOT_FITTED(tki_api_Audio_ReceiverCall_Loopback_Test_Start, void)
NOT_FITTED(tki_api_Audio_ReceiverCall_Loopback_Test_Stop, void)
NOT_FITTED(tki_api_Audio_wakeupMic_on_Start, void)
NOT_FITTED(tki_api_Audio_wakeupMic_Stop, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Headset_Test_Start, void)
NOT_FITTED(tki_api_Audio_Acoustic_Loopback_Headset_Test_Stop, void)
NOT_FITTED(tki_api_Audio_Receiver_Start, void)
NOT_FITTED(tki_api_Audio_Receiver_Stop, void)
NOT_FITTED(tki_api_Audio_SetVolume, int, int, int)
NOT_FITTED(tki_api_Audio_GetVolume, int, int)
NOT_FITTED(tki_api_GetHeadsetState, void)
NOT_FITTED(tki_api_Audio_Loopback_Test_Start, int, int, const char *, tki_callback)
NOT_FITTED(tki_api_Audio_Loopback_Test_Stop, void)
NOT_FITTED(tki_api_Audio_Watch_Mmi_Test_Start, void)
NOT_FITTED(tki_api_Audio_Watch_Mmi_Test_Stop, void)
// FM radio
NOT_FITTED(tki_api_FM_Test_Start, int)
NOT_FITTED(tki_api_FM_Test_Stop, void)
NOT_FITTED(tki_api_FM_Set_Vol, int)
NOT_FITTED(tki_api_FM_Get_Vol, void)
// flashlight, USB host, idle state, low-cost mode
NOT_FITTED(tki_api_FlashlightTest_Start, int)
NOT_FITTED(tki_api_FlashlightTest_Stop, void)
NOT_FITTED(tki_api_USB_OTG_Test_START, void)
NOT_FITTED(tki_api_USB_OTG_Test_Stop, void)
NOT_FITTED(tki_api_SetSystemIdleStatus, int)
NOT_FITTED(tki_api_EnterLowCostMode, void)
