// What the PC sets and reads of the panel beside the colour test: hue, registers, content-adaptive backlight, type,
// backlight, blanking and the second panel. Channel thread.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tp_gui.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "shell/test_frame.h"
#include "testwnd/mmi_testwnd_lcd.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_LCD";
constexpr char PANEL_REG[] = "/proc/panel_reg";
constexpr char PANEL_TYPE[] = "/proc/panel_type";
constexpr char DUAL_LCD_FLAG[] = "/data/pv_dual_lcd_flag";
constexpr char AUX_PANEL[] = "/sys/class/graphics/fb1";

bool aux_panel_fitted(const char *caller) {
    if (file_readable(AUX_PANEL)) return true;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s no auxiliary panel", caller);
    return false;
}

// Splits at the one comma; false when a part is missing or there are more.
bool split_pair(const char *text, std::string_view *first, std::string_view *second) {
    const std::string_view all = text ? text : "";
    const size_t comma = all.find(',');
    if (comma == all.npos || all.find(',', comma + 1) != all.npos) return false;
    *first = all.substr(0, comma);
    *second = all.substr(comma + 1);
    return !first->empty() && !second->empty();
}

// Decimal, or hexadecimal with or without 0x; at most 32 bits.
bool is_number(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    return !text.empty() && text.size() <= 8 && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}
} // namespace

int mmi_AutoTest_Hue_Set(const char *text) {
    std::string_view name, value;
    if (!split_pair(text, &name, &value)) return 0;
    if (!argument_is_plain(name, "_", 64) || !argument_is_plain(value, "_", 64)) return 0;
    run_command_f("echo %.*s > /proc/panel_hue_%.*s_switch", static_cast<int>(value.size()), value.data(),
                  static_cast<int>(name.size()), name.data());
    return 1;
}

int read_regvalue_from_file(const char *path, char *out, int size) {
    if (!path || !out || size <= 0) return -1;
    char text[CFG_TEXT];
    const int count = read_file(path, text, sizeof text);
    if (count <= 0) return -1;
    const std::string_view line(text, strnlen(text, static_cast<size_t>(count)));
    snprintf(out, static_cast<size_t>(size), "%.*s", static_cast<int>(line.substr(0, line.find('\n')).size()), text);
    return 0;
}

int write_regvalue_to_file(const char *path, const char *text) { return write_file(path, text); }

int mmi_AutoTest_Hue_Register_Set(const char *text) {
    std::string_view reg, value;
    if (!split_pair(text, &reg, &value) || !is_number(reg) || !is_number(value)) return 0;
    return write_regvalue_to_file(PANEL_REG, text) == 0 ? 1 : 0;
}

int mmi_AutoTest_LCDType_Read(char *out, int maxoutlen) {
    return read_regvalue_from_file(PANEL_TYPE, out, maxoutlen) == 0 ? 1 : 0;
}

int mmi_AutoTest_CABC_Set(int level) {
    return run_command_f("echo %d > /proc/panel_cabc_level_switch", level) == 0 ? 1 : 0;
}

int mmi_AutoTest_LCDBacklight(int level) {
    if (level < 0 || level > 255) return 0;
    char text[8];
    snprintf(text, sizeof text, "%d", level);
    return write_file(g_cSysBacklight, text) == 0 ? 1 : 0;
}

int mmi_AutoTest_LCD_Wakeup() {
    run_command("echo 0 > /sys/class/graphics/fb0/blank");
    on_gui_thread([] {
        if (HWND active = GetActiveWindow()) UpdateWindow(active, true);
        return 1;
    });
    return 1;
}

int mmi_AutoTest_LCD_Turnoff() { return run_command("echo 4 > /sys/class/graphics/fb0/blank") == 0 ? 1 : 0; }

int mmi_AutoTest_AUX_LCDColorTestEntry(int index) {
    return aux_panel_fitted(__func__) ? mmi_AutoTest_LCDColorTestEntry(index) : 0;
}

int mmi_AutoTest_AUX_LCDColorTest_Stop() {
    return aux_panel_fitted(__func__) ? mmi_AutoTest_LCDColorTest_Stop() : 0;
}

int mmi_AutoTest_DualLCD_Switch() {
    const int changed = file_readable(DUAL_LCD_FLAG) ? remove_file(DUAL_LCD_FLAG) : touch_file(DUAL_LCD_FLAG);
    return changed == 0 ? 1 : 0;
}
