#include "wifi/settings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "base/log_door.h"
#include "config/main_config.h"
#include "shell/shell_actions.h"

namespace {
constexpr int PARAS_MAX = 12;

std::mutex g_lock;
WifiSettings g_settings;

std::string value_of(const ConfigPara *paras, int count, const char *key, const char *def) {
    char text[CFG_TEXT] = {};
    tki_config_get_para_value(paras, count, key, text, CFG_TEXT - 1, def);
    return text;
}

// The file's one line, or the given name when there is no file or nothing in it.
std::string ssid_or_override(const std::string &configured) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(WIFI_SSID_FILE, "re"), fclose);
    if (!file) {
        LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "%s open %s fail.", "MMI_WiFi_GetConfigParas", WIFI_SSID_FILE);
        return configured;
    }
    char line[CFG_TEXT] = {};
    if (!fgets(line, sizeof line, file.get())) return configured;
    std::string ssid = line;
    while (!ssid.empty() && (ssid.back() == '\n' || ssid.back() == '\r')) ssid.pop_back();
    return ssid.empty() ? configured : ssid;
}
} // namespace

void MMI_WiFi_GetConfigParas() {
    char text[CFG_TEXT] = {};
    Read_MainCfgFile("MMI", "WiFiCtrlParameter", text, "");
    const std::unique_ptr<ConfigPara[]> paras(new ConfigPara[PARAS_MAX]{});
    const int count = tki_config_parse_parameter(text, paras.get(), PARAS_MAX);
    const WifiSettings defaults;
    WifiSettings read;
    read.def_ip = value_of(paras.get(), count, "def_ip", defaults.def_ip.c_str());
    read.key_mgmt = value_of(paras.get(), count, "key_mgmt", defaults.key_mgmt.c_str());
    read.psk = value_of(paras.get(), count, "psk", defaults.psk.c_str());
    read.def_gw = value_of(paras.get(), count, "def_gw", defaults.def_gw.c_str());
    read.ssid = ssid_or_override(value_of(paras.get(), count, "def_ssid", defaults.ssid.c_str()));
    g_main_wifi_init_flag = atoi(value_of(paras.get(), count, "wifi_init", "").c_str());
    const std::lock_guard guard(g_lock);
    g_settings = read;
}

WifiSettings wifi_settings() {
    const std::lock_guard guard(g_lock);
    return g_settings;
}

void wifi_set_ssid(const std::string &ssid) {
    const std::lock_guard guard(g_lock);
    g_settings.ssid = ssid;
}

bool wifi_text_is_sane(std::string_view text, size_t max) {
    const auto control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
    return !text.empty() && text.size() <= max && std::none_of(text.begin(), text.end(), control);
}
