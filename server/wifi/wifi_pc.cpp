#include "wifi/wifi_pc.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <tp_clock.h>
#include <tp_gui.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "shell/main_menu.h"
#include "wifi/address.h"
#include "wifi/connection.h"
#include "wifi/settings.h"
#include "wifi/supplicant.h"
#include "wifi/udp_echo.h"

namespace {
#define WPA_CLI "wpa_cli -i wlan0 -p /data/misc/wifi/sockets "
constexpr size_t OUTPUT_MAX = 2048, LINE_MAX_BYTES = 256;

// What follows a prefix on the text's first line, at most max bytes; empty when the line begins otherwise. Goes behind the line.
std::string value_of_line(std::string &text, std::string_view prefix, size_t max) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string line = text.substr(0, std::min(end, LINE_MAX_BYTES));
    text.erase(0, end + 1);
    return line.starts_with(prefix) ? line.substr(prefix.size(), max) : std::string();
}

void fill(char *out, int maxoutlen, const std::string &text) {
    if (out && maxoutlen > 0) snprintf(out, static_cast<size_t>(maxoutlen), "%s", text.c_str());
}

// In one step: a power cut leaves the old or the new name.
bool keep_ssid(const char *ssid) {
    const std::string half = std::string(WIFI_SSID_FILE) + ".new";
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(half.c_str(), "wbe"), fclose);
    const bool whole = file && fputs(ssid, file.get()) >= 0 && fflush(file.get()) == 0;
    if (whole && rename(half.c_str(), WIFI_SSID_FILE) == 0) return true;
    LOG_E(WIFI_TAG, "open %s fail: %s", WIFI_SSID_FILE, strerror(errno));
    return false;
}
} // namespace

int mmi_AutoTest_WiFi_Enable() {
    if (wifi_stop_connect()) {
        run_command("toybox ifconfig wlan0 down");
        run_command("/system/bin/pv_wifi_close.sh");
    }
    WiFiConThreadStart();
    return 1;
}

int mmi_AutoTest_WiFi_Disable() {
    SendMessage(g_main_menu_wnd, MSG_KEYDOWN, KEY_START, 0);
    return 1;
}

int mmi_AutoTest_SwitchSSID(const char *ssid) {
    if (!argument_is_plain(ssid, "_-. ", WIFI_SSID_MAX)) {
        LOG_E(WIFI_TAG, "no network's name: give 1 to %zu letters, digits, blanks and _-.", WIFI_SSID_MAX);
        return 0;
    }
    if (strstr(ssid, WIFI_FACTORY_SSID)) run_command("rm /cache/pv_wifi_switch_ssid.cfg");
    else if (!keep_ssid(ssid)) return 0;
    if (supplicant().is_open()) {
        wifi_close_thread(0);
        tp_clock_sleep_ms(2000);
        if (wifi_stop_connect()) wifi_close_thread(0);
    }
    wifi_set_ssid(ssid);
    WiFiConThreadStart();
    return 1;
}

int mmi_AutoTest_GetWiFiRSSI(char *out, int maxoutlen) {
    std::string answer = read_command(WPA_CLI "signal_poll", OUTPUT_MAX);
    fill(out, maxoutlen, value_of_line(answer, "RSSI=", 16));
    return 1;
}

int mmi_AutoTest_GetAPInfo(char *out, int maxoutlen) {
    std::string answer = read_command(WPA_CLI "status", OUTPUT_MAX);
    const std::string bssid = value_of_line(answer, "bssid=", 32), frequency = value_of_line(answer, "freq=", 16);
    const std::string mac = get_wlan0_mac();
    if (mac.empty()) LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "get wlan0 mac error");
    constexpr size_t RESULT_MAX = 127;
    const std::string all = frequency + "," + bssid + "," + wifi_stored_address() + "," + mac;
    fill(out, maxoutlen, all.substr(0, RESULT_MAX));
    return 1;
}

int mmi_Autotest_WiFiUDPServ_Enable() {
    for (const char *command : {"iwpriv wlan0 setPower 2", "iwpriv wlan0 setPower 10", "iwpriv wlan0 setPower 0"})
        run_command(command);
    return wifi_udp_start() ? 1 : 0;
}

int mmi_Autotest_WiFiUDPServ_Disable() {
    wifi_udp_stop();
    for (const char *command : {"iwpriv wlan0 setPower 1", "iwpriv wlan0 setPower 9"}) run_command(command);
    return 1;
}

int mmi_AutoTest_WiFiDataRate_Set(const char *what) {
    constexpr size_t ROOM = 64 - sizeof "iwpriv wlan0 dump ";
    if (!*what) run_command("iwpriv wlan0 dump ");
    else if (argument_is_plain(what, "_.:=+- ", ROOM)) run_command_f("iwpriv wlan0 dump %s", what);
    else LOG_E(WIFI_TAG, "refused: at most %zu letters, digits, blanks and _.:=+-", ROOM);
    return 1;
}
