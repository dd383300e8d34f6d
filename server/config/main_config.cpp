#include "config/main_config.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/log_door.h"
#include "config/config_lines.h"
#include "config/config_store.h"
#include "config/test_items.h"

std::atomic<int> g_batteryWarningVolt{30}, g_powerofftemp{600}, g_bCfgOsIsCanIdle{1}, g_bOsIsCanIdle{1};
std::atomic<int> g_autoSleepTime{90}, g_autoTurnOffTime{1800}, g_bRestoreAutotest{0};
int g_bTPShape = 0;
char g_cSysBacklight[CFG_TEXT] = "/sys/class/leds/lcd-backlight/brightness";
char g_chLogPath[CFG_TEXT] = "/cache/tki/";
char g_chAgingSettingFilePath[CFG_TEXT] = "/cache/tki/agingsetting.ini";
char g_chAgingLogPath[CFG_TEXT] = "/cache/tki/aging/";
// A missing entry of the language file shows its key.
char g_cItemPass[CFG_TEXT] = "Result_pass";
char g_cItemFail[CFG_TEXT] = "Result_fail";
char g_cItemBack[CFG_TEXT] = "softkeybar_back";
char g_ItemYes[CFG_TEXT] = "info_Yes";

namespace {
constexpr const char *TAG = "TKI_CONFIG";
constexpr const char *MAIN_FILE = "/etc/tki_config.ini";
constexpr const char *LANGUAGE_FILE = "/etc/tki_language.ini";
constexpr int LANGUAGE_SLOTS = 2000; // the last one stays empty: an empty key ends the table
constexpr int MAX_BATTERY_PARAS = 12;

ConfigPara g_language_table[LANGUAGE_SLOTS];

bool is_prefix(const char *prefix, const char *text) { return strncmp(prefix, text, strlen(prefix)) == 0; }

// Replaces out by all but the last character of value. The files end their lines with CR LF; trimming leaves the CR and
// exactly that is dropped here. A file with bare LF line ends loses the last character of each value.
void copy_without_last(char *out, const char *value) {
    const size_t length = std::min(strnlen(value, CFG_TEXT), static_cast<size_t>(CFG_TEXT));
    memset(out, 0, strnlen(out, CFG_TEXT));
    if (length == 0) return;
    memcpy(out, value, length - 1);
    out[length - 1] = '\0'; // whatever a caller left behind an older, shorter text
}

// The settings of the list "batteryParameter".
void take_battery_parameters(const ConfigPara *records, int count) {
    struct Item {
        const char *key, *def, *log;
        std::atomic<int> &setting;
    };
    const Item items[] = {
        {"lowvolt_threshold", "30", "%s g_batteryWarningVolt=%d", g_batteryWarningVolt},
        {"powerofftemp", "600", "%s g_powerofftemp=%d", g_powerofftemp},
        {"OSIdle", "1", "%s g_bCfgOsIsCanIdle=%d", g_bCfgOsIsCanIdle},
        {"OS_AutoSleepTime", "90", "%s g_autoSleepTime=%d", g_autoSleepTime},
        {"OS_AutoTurnOffTime", "1800", "%s g_autoTurnOffTime=%d", g_autoTurnOffTime},
    };
    for (const Item &item : items) {
        char text[CFG_TEXT] = {};
        tki_config_get_para_value(records, count, item.key, text, CFG_TEXT - 1, item.def);
        item.setting = atoi(text);
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, item.log, "mmi_initconfig", item.setting.load());
    }
    g_bOsIsCanIdle = g_bCfgOsIsCanIdle.load();
    char path[CFG_TEXT] = {};
    tki_config_get_para_value(records, count, "sys_backlight", path, CFG_TEXT - 1,
                              "/sys/class/leds/lcd-backlight/brightness");
    memcpy(g_cSysBacklight, path, sizeof path);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s g_cSysBacklight=%s", "mmi_initconfig", g_cSysBacklight);
}

// The language's name: the file's choice unless the production line stored another.
int read_language(char *language) {
    if (Read_MainCfgFile("MMI", "Language", language, "Chinese") != 0) return -1;
    char stored[32] = {};
    cfg_get("vxo.pvapk.lang", stored, "");
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "language config in vendorcfg: %s", stored);
    if (strcmp(stored, "en-US") == 0) snprintf(language, CFG_TEXT, "English");
    if (strcmp(stored, "zh-CN") == 0) snprintf(language, CFG_TEXT, "Chinese");
    return 0;
}

int read_battery_parameters() {
    char text[CFG_TEXT] = {};
    if (Read_MainCfgFile("MMI", "batteryParameter", text, nullptr) != 0) return -1;
    std::array<ConfigPara, MAX_BATTERY_PARAS> records{};
    take_battery_parameters(records.data(), tki_config_parse_parameter(text, records.data(), MAX_BATTERY_PARAS));
    return 0;
}

int read_shape_and_restore() {
    bool ok = false;
    const int shape = main_config_int("MMI", "UEShape", "0", &ok);
    if (!ok) return -1;
    g_bTPShape = shape;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s g_bTPShape=%d", "mmi_initconfig", g_bTPShape);
    const int restore_run = main_config_int("MMI", "restore_autotest", "0", &ok);
    if (!ok) return -1;
    g_bRestoreAutotest = restore_run;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s g_bRestoreAutotest=%d", "mmi_initconfig", restore_run);
    return 0;
}

int read_log_paths() {
    char path[CFG_TEXT] = {};
    if (Read_MainCfgFile("MMI", "LogPath", path, "/cache/tki/") != 0) return -1;
    memcpy(g_chLogPath, path, sizeof path);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d:: g_chLogPath=%s", "mmi_initconfig", __LINE__, g_chLogPath);
    const size_t length = strlen(g_chLogPath);
    if ((length == 0 || g_chLogPath[length - 1] != '/') && length + 1 < sizeof g_chLogPath) {
        g_chLogPath[length] = '/';
        g_chLogPath[length + 1] = '\0';
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d:: g_chLogPath=%s", "mmi_initconfig", __LINE__, g_chLogPath);
    }
    snprintf(g_chAgingSettingFilePath, CFG_TEXT, "%sagingsetting.ini", g_chLogPath);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d:: g_chAgingSettingFilePath=%s", "mmi_initconfig", __LINE__,
            g_chAgingSettingFilePath);
    snprintf(g_chAgingLogPath, CFG_TEXT, "%saging/", g_chLogPath);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d:: g_chAgingLogPath=%s", "mmi_initconfig", __LINE__, g_chAgingLogPath);
    return 0;
}
} // namespace

int Get_CfgValue(const char *path, const char *domain, const char *key, char *out, const char *def) {
    if (!path || !domain || !key || !out) return -1;
    const char *seen = nullptr; // the domain of the line before
    bool ours = false;
    const auto visit = [&](const char *file_domain, const char *file_key, const char *value) {
        // The file's names are prefixes of those asked for, not equal to them: files list longer keys first.
        if (std::exchange(seen, file_domain) != file_domain) ours = is_prefix(file_domain, domain);
        if (!ours || !is_prefix(file_key, key)) return true;
        copy_without_last(out, value);
        return false;
    };
    if (scan_config_file(path, __func__, visit) != 0) return -1;
    if (!out[0] && def) memcpy(out, def, strnlen(def, CFG_TEXT - 1));
    return 0;
}

int Read_MainCfgFile(const char *domain, const char *key, char *out, const char *def) {
    LOG_D(TAG, "begin");
    if (Get_CfgValue(MAIN_FILE, domain, key, out, def) != 0) {
        LOG_E(TAG, "Get_CfgValue fail.");
        return -1;
    }
    LOG_D(TAG, "end");
    return 0;
}

int main_config_int(const char *domain, const char *key, const char *def, bool *ok) {
    char text[CFG_TEXT] = {};
    const bool read = Read_MainCfgFile(domain, key, text, def) == 0;
    if (ok) *ok = read;
    return atoi(text);
}

int Get_CfgValueList(const char *path, const char *language) {
    LOG_D(TAG, "begin.");
    for (ConfigPara &slot : g_language_table) {
        if (!slot.key[0]) break; // untouched from here on, so its memory need not be either
        slot = {};
    }
    if (!path || !language) return -1;
    int count = 0;
    const auto visit = [&](const char *domain, const char *key, const char *value) {
        if (!is_prefix(domain, language) || count >= LANGUAGE_SLOTS - 1) return true;
        ConfigPara &slot = g_language_table[count++];
        snprintf(slot.key, sizeof slot.key, "%s", key);
        snprintf(slot.value, sizeof slot.value, "%s", value);
        return true;
    };
    if (scan_config_file(path, __func__, visit) != 0) return -1;
    LOG_D(TAG, "end.");
    return 0;
}

int Read_LangCfgFromList(const char *name, char *out) {
    if (!name || !out) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::name or value NULL", __func__, __LINE__);
        return -1;
    }
    for (const ConfigPara &slot : g_language_table) {
        if (!slot.key[0]) break;
        if (strcmp(slot.key, name) != 0) continue;
        if (!slot.value[0]) return -1;
        copy_without_last(out, slot.value);
        return 0;
    }
    return -1;
}

LangText lang_text(const char *key) {
    LangText result{};
    if (!key) return result;
    if (Read_LangCfgFromList(key, result.text) != 0) snprintf(result.text, sizeof result.text, "%s", key);
    return result;
}

int mmi_initLangCfg() {
    LOG_D(TAG, "begin");
    Read_LangCfgFromList("Result_pass", g_cItemPass);
    Read_LangCfgFromList("Result_fail", g_cItemFail);
    Read_LangCfgFromList("softkeybar_back", g_cItemBack);
    Read_LangCfgFromList("info_Yes", g_ItemYes);
    LOG_D(TAG, "end");
    return 0;
}

int mmi_initconfig() {
    LOG_D(TAG, "begin");
    const HeldConfig held(MAIN_FILE); // some eighty keys are looked up
    Get_MonomerPreviewTestItem_Config();
    Get_TestItem_Config(0);
    char language[CFG_TEXT] = {};
    if (read_language(language) != 0) return -1;
    if (Get_CfgValueList(LANGUAGE_FILE, language) != 0) {
        LOG_E(TAG, "Get_CfgValueList fail.");
        return -1;
    }
    mmi_initLangCfg();
    if (read_battery_parameters() != 0) return -1;
    if (read_shape_and_restore() != 0) return -1;
    if (read_log_paths() != 0) return -1;
    LOG_D(TAG, "end");
    return 0;
}
