#include "device/factory_slots.h"

#include <cstring>
#include <dlfcn.h>
#include <tp_globals.h>

#include "base/log_door.h"

tki_api_LCD_Get_Info_t tki_api_LCD_Get_Info = nullptr;
tki_api_LCD_Refresh_t tki_api_LCD_Refresh = nullptr;
tki_api_LCD_Off_t tki_api_LCD_Off = nullptr;
tki_api_tki_mode_init_t tki_api_tki_mode_init = nullptr;
tki_api_tki_mode_uninit_t tki_api_tki_mode_uninit = nullptr;
tki_api_Get_TestInfo_t tki_api_Get_TestInfo = nullptr;
tki_api_Get_TestInfo_Stop_t tki_api_Get_TestInfo_Stop = nullptr;
tki_api_ReadFuncTestInfoFlags_t tki_api_ReadFuncTestInfoFlags = nullptr;
tki_api_WriteFuncTestInfoFlags_t tki_api_WriteFuncTestInfoFlags = nullptr;
tki_api_GetText_t tki_api_GetSoftVersion = nullptr;
tki_api_GetText_t tki_api_GetHardVersion = nullptr;
tki_api_GetText_t tki_api_GetPSN = nullptr;
tki_api_GetTestInfoFlag_t tki_api_GetTestInfoFlag = nullptr;
tki_api_GetText_t tki_api_GetBoardNum = nullptr;
tki_api_GetText_t tki_api_GetFlashType = nullptr;
tki_api_camera_test_start_t tki_api_camera_test_start = nullptr;
tki_api_int_t tki_api_camera_start_capture = nullptr;
tki_api_int_t tki_api_camera_do_autofocus = nullptr;
tki_api_int_t tki_api_camera_test_stop = nullptr;
tki_api_Vibrator_Test_Start_t tki_api_Vibrator_Test_Start = nullptr;
tki_api_int_t tki_api_Vibrator_Test_Stop = nullptr;
tki_api_callback_start_t tki_api_AllCard_Test_Start = nullptr;
tki_api_int_t tki_api_AllCard_Test_Stop = nullptr;
tki_api_callback_start_t tki_api_Sensors_Test_Start = nullptr;
tki_api_int_t tki_api_Sensors_Test_Stop = nullptr;
tki_api_Sensors_Calibration_t tki_api_Sensors_Calibration = nullptr;
tki_api_Audio_RingTest_Start_t tki_api_Audio_RingTest_Start = nullptr;
tki_api_int_t tki_api_Audio_RingTest_Stop = nullptr;
tki_api_int_t tki_api_Audio_HiFiTest_Start = nullptr;
tki_api_int_t tki_api_Audio_HiFiTest_Stop = nullptr;
tki_api_Audio_HiFiTest_auto_Start_t tki_api_Audio_HiFiTest_auto_Start = nullptr;
tki_api_int_t tki_api_Audio_HiFiTest_auto_Stop = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Test_Stop = nullptr;
tki_api_int_t tki_api_Audio_SpeakerCall_Loopback_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_SpeakerCall_Loopback_Test_Stop = nullptr;
tki_api_int_t tki_api_Audio_ReceiverCall_Loopback_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_ReceiverCall_Loopback_Test_Stop = nullptr;
tki_api_int_t tki_api_Audio_wakeupMic_on_Start = nullptr;
tki_api_int_t tki_api_Audio_wakeupMic_Stop = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Headset_Test_Start = nullptr;
tki_api_int_t tki_api_Audio_Acoustic_Loopback_Headset_Test_Stop = nullptr;
tki_api_GetHeadsetState_t tki_api_GetHeadsetState = nullptr;
tki_api_FM_Test_Start_t tki_api_FM_Test_Start = nullptr;
tki_api_int_t tki_api_FM_Test_Stop = nullptr;
tki_api_FM_Set_Vol_t tki_api_FM_Set_Vol = nullptr;
tki_api_int_t tki_api_FM_Get_Vol = nullptr;
tki_api_int_t tki_api_Audio_Receiver_Start = nullptr;
tki_api_int_t tki_api_Audio_Receiver_Stop = nullptr;
tki_api_int_t tki_api_USB_OTG_Test_START = nullptr;
tki_api_int_t tki_api_USB_OTG_Test_Stop = nullptr;
tki_api_SetSystemIdleStatus_t tki_api_SetSystemIdleStatus = nullptr;
tki_api_Audio_SetVolume_t tki_api_Audio_SetVolume = nullptr;
tki_api_Audio_GetVolume_t tki_api_Audio_GetVolume = nullptr;
tki_api_int_t tki_api_EnterLowCostMode = nullptr;
TKI_API_BatteryService_register_Observer_t TKI_API_BatteryService_register_Observer = nullptr;
TKI_API_BatteryService_unregister_Observer_t TKI_API_BatteryService_unregister_Observer = nullptr;
TKI_API_BatteryService_StartService_t TKI_API_BatteryService_StartService = nullptr;
TKI_API_BatteryService_StopService_t TKI_API_BatteryService_StopService = nullptr;
TKI_API_BatteryService_ChargingStatusSet_t TKI_API_BatteryService_ChargingStatusSet = nullptr;

namespace {
constexpr const char *TAG = "VXO_TKI";
constexpr const char *SOURCE = "factory_slots.cpp";
constexpr const char *FACTORY_DLSYM = "FATAL ERROR: could not dlsym lib_factory.so::";
constexpr const char *COREDEVICE_DLSYM = "FATAL ERROR: could not dlsym g_libcoredevice.so::";

void *g_libcoredevice = nullptr;

enum class Need { mandatory, optional };
// What one row does besides binding.
enum class Extra { none, fails_at_once, tells_success, tells_address };

struct SlotRow {
    const char *symbol;
    void *slot; // a function pointer of the symbol's own type, written as bytes
    Need need;
    Extra extra = Extra::none;
    void (*fallback)() = nullptr;
};

// The slot's type has no argument, so the substitute has none either.
int mode_uninit_substitute() { return func_temp(0); }

#define SLOT(name) #name, static_cast<void *>(&name)
#define FALLBACK(function) reinterpret_cast<void (*)()>(&function)
constexpr Need M = Need::mandatory, O = Need::optional;

const SlotRow FACTORY_SLOTS[] = {
    {SLOT(tki_api_LCD_Get_Info), M},
    {SLOT(tki_api_LCD_Off), O},
    {SLOT(tki_api_LCD_Refresh), M},
    {SLOT(tki_api_tki_mode_init), M},
    {SLOT(tki_api_tki_mode_uninit), O, Extra::none, FALLBACK(mode_uninit_substitute)},
    {SLOT(tki_api_Get_TestInfo), M},
    {SLOT(tki_api_Get_TestInfo_Stop), M},
    {SLOT(tki_api_ReadFuncTestInfoFlags), O, Extra::none, FALLBACK(mmi_ReadFuncTestInfoFlags)},
    {SLOT(tki_api_WriteFuncTestInfoFlags), O, Extra::none, FALLBACK(mmi_WriteFuncTestInfoFlags)},
    {SLOT(tki_api_GetSoftVersion), M},
    {SLOT(tki_api_GetHardVersion), M},
    {SLOT(tki_api_GetPSN), M},
    {SLOT(tki_api_GetTestInfoFlag), M},
    {SLOT(tki_api_GetBoardNum), M},
    {SLOT(tki_api_GetFlashType), M},
    {SLOT(tki_api_camera_test_start), M},
    {SLOT(tki_api_camera_start_capture), M},
    {SLOT(tki_api_camera_do_autofocus), O},
    {SLOT(tki_api_camera_test_stop), M},
    {SLOT(tki_api_Vibrator_Test_Start), M},
    {SLOT(tki_api_Vibrator_Test_Stop), M},
    {SLOT(tki_api_AllCard_Test_Start), M},
    {SLOT(tki_api_AllCard_Test_Stop), M},
    {SLOT(tki_api_Sensors_Test_Start), M},
    {SLOT(tki_api_Sensors_Test_Stop), M},
    {SLOT(tki_api_Sensors_Calibration), M},
    {SLOT(tki_api_Audio_RingTest_Start), M},
    {SLOT(tki_api_Audio_RingTest_Stop), M},
    {SLOT(tki_api_Audio_HiFiTest_Start), O},
    {SLOT(tki_api_Audio_HiFiTest_Stop), O},
    {SLOT(tki_api_Audio_HiFiTest_auto_Start), O},
    {SLOT(tki_api_Audio_HiFiTest_auto_Stop), O},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Test_Start), M},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Test_Stop), M},
    {SLOT(tki_api_Audio_SpeakerCall_Loopback_Test_Start), M},
    {SLOT(tki_api_Audio_SpeakerCall_Loopback_Test_Stop), M},
    {SLOT(tki_api_Audio_ReceiverCall_Loopback_Test_Start), M},
    {SLOT(tki_api_Audio_ReceiverCall_Loopback_Test_Stop), M},
    {SLOT(tki_api_Audio_wakeupMic_on_Start), O},
    {SLOT(tki_api_Audio_wakeupMic_Stop), O},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start), M, Extra::fails_at_once},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop), M},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start), M},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start), O},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop), M},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Headset_Test_Start), M},
    {SLOT(tki_api_Audio_Acoustic_Loopback_Headset_Test_Stop), M},
    {SLOT(tki_api_GetHeadsetState), M},
    {SLOT(tki_api_FM_Test_Start), M},
    {SLOT(tki_api_FM_Test_Stop), M},
    {SLOT(tki_api_FM_Set_Vol), M},
    {SLOT(tki_api_FM_Get_Vol), M},
    {SLOT(tki_api_Audio_Receiver_Start), O},
    {SLOT(tki_api_Audio_Receiver_Stop), O},
    {SLOT(tki_api_USB_OTG_Test_START), O},
    {SLOT(tki_api_USB_OTG_Test_Stop), O},
    {SLOT(tki_api_SetSystemIdleStatus), O, Extra::tells_success},
    {SLOT(tki_api_Audio_SetVolume), O},
    {SLOT(tki_api_Audio_GetVolume), O, Extra::tells_address},
    {SLOT(tki_api_EnterLowCostMode), O},
};
static_assert(sizeof FACTORY_SLOTS / sizeof *FACTORY_SLOTS == 60, "the factory library's contract has 60 functions");

struct CoreDeviceRow {
    const char *symbol;
    void *slot;
    const char *logged; // the name that the log line of a miss carries
};
const CoreDeviceRow COREDEVICE_SLOTS[] = {
    {SLOT(TKI_API_BatteryService_register_Observer), "TKI_API_BatteryService_register_Observer"},
    // This line has always carried the name of the slot's type.
    {SLOT(TKI_API_BatteryService_unregister_Observer), "TKI_API_BatteryService_unregister_Observer_lib_t"},
    {SLOT(TKI_API_BatteryService_StartService), "TKI_API_BatteryService_StartService"},
    {SLOT(TKI_API_BatteryService_StopService), "TKI_API_BatteryService_StopService"},
    {SLOT(TKI_API_BatteryService_ChargingStatusSet), "TKI_API_BatteryService_ChargingStatusSet"},
};

template <class Pointer> void store(void *slot, Pointer function) {
    static_assert(sizeof function == sizeof(void (*)()));
    memcpy(slot, &function, sizeof function);
}

void log_loader_error(const char *caller) {
    const char *text = dlerror();
    if (text) LOG_RAW(ANDROID_LOG_ERROR, TAG, "error = %s,%s\n", text, caller);
}

int fail_with_loader_error(const char *caller) {
    log_loader_error(caller);
    return -1;
}

void log_extra(const SlotRow &row, const void *found) {
    if (row.extra == Extra::tells_success) { // whether it was found or not
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::load %s success.", "tki_init_lib_factory_dll", row.symbol);
    }
    if (row.extra == Extra::tells_address) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s=%p", row.symbol, found);
}

enum class Bound { yes, failed, failed_at_once };

Bound bind_row(const SlotRow &row) {
    void *found = dlsym(lib_vxo_factory, row.symbol);
    store(row.slot, found);
    if (!found) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s%s\n", FACTORY_DLSYM, row.symbol);
        if (row.extra == Extra::fails_at_once) return Bound::failed_at_once;
        if (row.need == Need::mandatory) return Bound::failed;
        log_loader_error("tki_init_lib_factory_dll");
        if (row.fallback) store(row.slot, row.fallback);
    }
    log_extra(row, found);
    return Bound::yes;
}
} // namespace

int func_temp(int value) { return value; }
int mmi_ReadFuncTestInfoFlags(int) { return 0; }
int mmi_WriteFuncTestInfoFlags(int, uint8_t) { return 0; }

int tki_init_lib_factory_dll() {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s tki_init_lib_factory_dll load lib begin\n", SOURCE);
    lib_vxo_factory = dlopen("lib_factory.so", RTLD_NOW);
    if (!lib_vxo_factory) {
        const char *text = dlerror();
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "FATAL ERROR: could not dlopen lib_factory.so: %s", text ? text : "");
        return fail_with_loader_error(__func__);
    }
    for (const SlotRow &row : FACTORY_SLOTS) {
        const Bound bound = bind_row(row);
        if (bound == Bound::failed_at_once) return -1;
        if (bound == Bound::failed) return fail_with_loader_error(__func__);
    }
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "tki_init_lib_factory_dll load lib success\n");
    return 0;
}

int tki_init_libvxo_vcoredevice_dll() {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s tki_init_libvxo_vcoredevice_dll load lib begin\n", SOURCE);
    g_libcoredevice = dlopen("libvxo_vcoredevice.so", RTLD_NOW);
    if (!g_libcoredevice) {
        const char *text = dlerror();
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "FATAL ERROR: could not dlopen g_libcoredevice.so: %s", text ? text : "");
        return fail_with_loader_error(__func__);
    }
    for (const CoreDeviceRow &row : COREDEVICE_SLOTS) {
        void *found = dlsym(g_libcoredevice, row.symbol);
        store(row.slot, found);
        if (found) continue;
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s%s\n", COREDEVICE_DLSYM, row.logged);
        return fail_with_loader_error(__func__);
    }
    return 0;
}

void *core_device_handle() { return g_libcoredevice; }

int bind_factory_symbol(const char *tag, const char *symbol, void **slot) {
    if (!lib_vxo_factory) {
        LOG_RAW(ANDROID_LOG_ERROR, tag, "FATAL ERROR: could not find lib_factory.so\n");
        return -1;
    }
    *slot = dlsym(lib_vxo_factory, symbol);
    if (*slot) return 0;
    LOG_RAW(ANDROID_LOG_ERROR, tag, "%s%s\n", FACTORY_DLSYM, symbol);
    return -1;
}
