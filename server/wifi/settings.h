// What the handset is told about its access point.
#pragma once

#include <string>
#include <string_view>

constexpr const char *WIFI_TAG = nullptr; // the log library's default
constexpr const char *WIFI_SSID_FILE = "/cache/pv_wifi_switch_ssid.cfg";
constexpr const char *WIFI_FACTORY_SSID = "DFX_WIFI_TEST";
constexpr size_t WIFI_SSID_MAX = 32, WIFI_PSK_MAX = 64;

struct WifiSettings {
    std::string ssid = WIFI_FACTORY_SSID;
    std::string key_mgmt = "WPA-PSK"; // "NONE": an open network
    std::string psk = "labwifi456";
    std::string def_ip = "192.168.1.101", def_gw = "192.168.1.1"; // kept, not used: the address comes by DHCP
};

// Reads section "MMI", key "WiFiCtrlParameter", and the name that replaces the configured one. Any thread.
void MMI_WiFi_GetConfigParas();
// A copy of the settings as they are now. Any thread.
WifiSettings wifi_settings();
void wifi_set_ssid(const std::string &ssid);
// Whether the supplicant's command line can carry the text: 1..max bytes, none of them a control character.
bool wifi_text_is_sane(std::string_view text, size_t max);
