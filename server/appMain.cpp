// Start-up of the program, read from top to bottom.
#include <cstring>
#include <cutils/properties.h>
#include <malloc.h>
#include <string>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_gui.h>
#include <tp_os.h>

#include "adbd_connection/at_thread.h"
#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_upload.h"
#include "AgingTest/mmi_testwnd_AgingTest_AutoTest.h"
#include "base/guard.h"
#include "base/log_door.h"
#include "config/main_config.h"
#include "device/diag_log.h"
#include "device/factory_slots.h"
#include "rf/coupling.h"
#include "shell/iconlet.h"
#include "shell/main_menu.h"
#include "shell/shell_actions.h"
#include "testwnd/mmi_testwnd_battery.h"
#include "testwnd/mmi_testwnd_cards.h"
#include "testwnd/mmi_testwnd_poweroff.h"
#include "wifi/connection.h"
#include "wifi/settings.h"
#include "wifi/udp_echo.h"

namespace {
constexpr const char *TAG = "VXO_TKI";
constexpr const char *NAME = "main";
constexpr const char *REDUCED_BOOT_MODE = "ffbm-99";
constexpr int WIFI_CONNECTED = 2, JOIN_SECONDS = 60;

// The toolkit's look-up expects a text that is wholly written.
int language_source(const char *key, char *out) {
    char text[CFG_TEXT] = {};
    if (Read_LangCfgFromList(key, text) != 0) return -1;
    memcpy(out, text, sizeof text);
    return 0;
}

void power_off() {
    Delete_AgingRebootFile();
    aging_expect_reset("power off");
    mmi_CreatePowerOffWnd();
}

// For an upload: where there is no link, joins this network instead of the configured one and stays in it.
bool join_network(const char *ssid) {
    if (g_wifi_state == WIFI_CONNECTED) return true;
    const std::string configured = wifi_settings().ssid;
    if (*ssid) wifi_set_ssid(ssid);
    g_wifi_quiet = 1; // the aging screen keeps its soft keys
    WiFiConThreadStart();
    for (int i = 0; i < JOIN_SECONDS && wifi_probe_connect() == 0; ++i)
        if (!tp_clock_sleep_or_stop_ns(1000000000)) break;
    wifi_stop_connect();
    g_wifi_quiet = 0;
    wifi_set_ssid(configured);
    return g_wifi_state == WIFI_CONNECTED;
}

void register_shell_actions() {
    g_aging_join_network = join_network;
    g_shell_actions.check_aging_cfg_exist = Check_AgingCfg_Exist;
    g_shell_actions.check_auto_aging = [] { return check_auto_aging() == 1; };
    g_shell_actions.aging_list_entry = mmi_AgingTestEntry;
    g_shell_actions.aging_start_entry = mmi_AgingTest_Start_Entry;
    g_shell_actions.coupling_entry = mmi_testwnd_Coupling_Entry;
    g_shell_actions.card_read_config = Current_simsdcard_testwnd_GetConfigParas;
    g_shell_actions.power_off_entry = power_off;
    g_shell_actions.wifi_read_config = MMI_WiFi_GetConfigParas;
    g_shell_actions.wifi_probe_connect = wifi_probe_connect;
    g_shell_actions.wifi_probe_udp = [] { return wifi_udp_runs() ? 0 : 3; };
    g_shell_actions.wifi_probe_monitor = wifi_probe_monitor;
    g_shell_actions.wifi_connect_start = WiFiConThreadStart;
    g_shell_actions.wifi_close = [](int) { wifi_close_soon(); };
    g_shell_actions.wifi_udp_stop = wifi_udp_stop;
    g_shell_actions.wifi_monitor_start = wifi_status_monitor_thread_start;
}

void start_battery_service() {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "TKI_API_BatteryService_StartService begin");
    if (!TKI_API_BatteryService_StartService) return;
    const int result = TKI_API_BatteryService_StartService();
    if (result == 0) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "Start Battery Service successed");
    } else {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "Start Battery Service fail ,errno(%d)", result);
    }
}

// Libraries, toolkit and configuration, in the order that they need each other. False ends the program.
bool bring_up() {
    if (tki_init_lib_factory_dll() != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "tki_init_lib_factory_dll fail! %s", NAME);
        return false;
    }
    if (tp_man_lcd_get_info_only() != 0) LOG_RAW(ANDROID_LOG_ERROR, TAG, "tp_man_lcd_get_info_only fail! %s", NAME);
    tki_api_tki_mode_init(0);
    InitGUI();
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s InitGUI end", NAME);
    RegisterIconLetCtrl();
    mmi_initconfig();
    tp_i18n_set_source(language_source);
    if (tki_init_libvxo_vcoredevice_dll() != 0) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "FATAL ERROR:tki_init_libvxo_vcoredevice_dll fail! %s", NAME);
        return false;
    }
    return true;
}

// A burn-in of days must not keep what one phase has taken: blocks from this size on (a camera's pictures) go back to the
// system when they are freed, and threads that come and go share one heap instead of leaving one each. Where there are no
// such settings the allocator does so by itself.
void keep_little_memory() {
#if defined(M_MMAP_THRESHOLD) && defined(M_ARENA_MAX)
    constexpr int LARGE_BLOCK = 256 << 10;
    mallopt(M_MMAP_THRESHOLD, LARGE_BLOCK);
    mallopt(M_ARENA_MAX, 1);
#endif
}

[[noreturn]] void park_reduced() {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "MMI app can only be run in ffbm mode");
    for (;;) tp_clock_sleep_us(1000000000);
}
} // namespace

int main(int, char **, char **) {
    if (!guard_allows_start()) return 1;
    keep_little_memory();
    tp_os_thread_init();
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s begin", NAME);
    if (!bring_up()) return -1;
    start_battery_service();
    battery_test_recover();
    register_shell_actions();
    // A handset in the middle of a reboot cycle does not listen to the PC.
    if (!Check_AgingCfg_Exist()) AtThreadStart();
    char boot_mode[PROPERTY_VALUE_MAX] = {};
    property_get("ro.bootmode", boot_mode, "normal");
    if (strncmp(boot_mode, REDUCED_BOOT_MODE, strlen(REDUCED_BOOT_MODE)) == 0) {
        kmt_CreateMainMenuWnd1();
        park_reduced();
    }
    tki_initlog();
    aging_at_start();
    kmt_CreateMainMenuWnd();
    tp_os_sema_get(nullptr, -1);
    return 0;
}
