// Items whose test is not built in: their window says so and can only be failed, so that no run passes over them.
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
void paint(HWND hwnd, HDC hdc) { test_frame_draw_text(hwnd, hdc, "info_NotFitted", 12); }

struct Unbuilt {
    TestWindow window;
    Unbuilt(const char *domain, const char *title_key, int station, bool monomer = false) {
        window.domain = domain;
        window.title_key = title_key;
        window.station = station;
        window.monomer = monomer;
        window.keys[0] = "";
        window.pass_by_key = false;
        window.paint = paint;
    }
};

Unbuilt g_all_light("TKI_ALLLIGHT", "menu_AllLightTest", 284);
Unbuilt g_loop_back("TKI_AUDIO_LOOPBACK", "menu_LoopBackTest", 300);
Unbuilt g_ringtone("TKI_RINGTONE", "menu_RingTest", 296);
Unbuilt g_call("TKI_CALLTEST", "title_CallTest", 298);
Unbuilt g_battery("TKI_BATTERY", "title_BatteryCheck", 344);
Unbuilt g_tp_self("TKI_TPSELF", "title_TPSelfTest", -1);
Unbuilt g_touch("TKI_TOUCH", "menu_TouchTest", 320);
Unbuilt g_sensors("TKI_SENSOR", "menu_AllSensorTest", 328);
Unbuilt g_sim_card("TKI_SIMCARD", "title_SimCardTest", 324);
Unbuilt g_smart_pa("TKI_SMARTPACAL", "menu_ItemTest_SmartPACal", 300);
Unbuilt g_camera_back("TKI_CAMERA_BACK", "title_MainCameraTest", 288);
Unbuilt g_monomer_tp_self("TKI_TPSELF", "title_TPSelfTest", -1, true);
Unbuilt g_monomer_hardware("TKI_MONOMER_HARDVERSION", "menu_NfcTest", -1, true);
Unbuilt g_monomer_touch("TKI_TOUCH", "menu_TouchTest", -1, true);
} // namespace

void mmi_testwnd_AllLightTestEntry() { test_frame_open(g_all_light.window); }
void mmi_testwnd_AllLightTest_Stop_Entry() { test_frame_pc_close(g_all_light.window); }
void mmi_testwnd_AudioLoopBackTestEntry() { test_frame_open(g_loop_back.window); }
void mmi_testwnd_RingtoneTestEntry() { test_frame_open(g_ringtone.window); }
void mmi_test_RingtoneTest_Stop_Entry() { test_frame_pc_close(g_ringtone.window); }
void mmi_testwnd_CallTestEntry() { test_frame_open(g_call.window); }
void mmi_testwnd_CallTest_Stop_Entry() { test_frame_pc_close(g_call.window); }
void mmi_testwnd_BatteryTestEntry() { test_frame_open(g_battery.window); }
void mmi_testwnd_BatteryTest_Stop_Entry() { test_frame_pc_close(g_battery.window); }
void mmi_testwnd_TPSelfTest_Entry() { test_frame_open(g_tp_self.window); }
void mmi_testwnd_TPSelfTest_Stop() { test_frame_pc_close(g_tp_self.window); }
void mmi_testwnd_touchTestEntry() { test_frame_open(g_touch.window); }
void mmi_AutoTest_touchscreenTest_Stop_Entry() { test_frame_pc_close(g_touch.window); }
void mmi_testwnd_SensorsTestEntry() { test_frame_open(g_sensors.window); }
void mmi_testwnd_SensorsTest_Stop_Entry() { test_frame_pc_close(g_sensors.window); }
void mmi_testwnd_SIMCardTestEntry() { test_frame_open(g_sim_card.window); }
void mmi_testwnd_SIMCardTest_Stop_Entry() { test_frame_pc_close(g_sim_card.window); }
void mmi_testwnd_SmartPACalEntry() { test_frame_open(g_smart_pa.window); }
void mmi_testwnd_SmartPACal_Stop_Entry() { test_frame_pc_close(g_smart_pa.window); }
void mmi_testwnd_CameraBackTestEntry() { test_frame_open(g_camera_back.window); }
void mmi_AutoTest_CameraBackTest_Stop_Entry() { test_frame_pc_close(g_camera_back.window); }
void mmi_testwnd_Monomer_TPSelfTest_Entry() { test_frame_open(g_monomer_tp_self.window); }
void mmi_testwnd_Monomer_TPSelfTest_Stop() { test_frame_pc_close(g_monomer_tp_self.window); }
void mmi_testwnd_Monomer_HardwareVersionEntry() { test_frame_open(g_monomer_hardware.window); }
void mmi_testwnd_Monomer_HardwareVersion_Stop() { test_frame_pc_close(g_monomer_hardware.window); }
void mmi_testwnd_Monomer_touchTestEntry() { test_frame_open(g_monomer_touch.window); }
void mmi_testwnd_Monomer_touchscreenTest_Stop() { test_frame_pc_close(g_monomer_touch.window); }
