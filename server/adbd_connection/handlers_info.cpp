// Handlers that read: identity, memory sizes, battery, station flags.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/statvfs.h>

#include "adbd_connection/handlers.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "device/battery.h"
#include "device/power.h"
#include "device/result_flags.h"
#include "shell/test_info.h"

namespace {
constexpr unsigned long KIB_PER_MIB = 1024;

// "total,available" in MiB.
int write_sizes(char *out, int maxoutlen, unsigned long total_mb, unsigned long available_mb) {
    if (!out || maxoutlen <= 0) return 0;
    snprintf(out, static_cast<size_t>(maxoutlen), "%dMB,%dMB", static_cast<int>(total_mb), static_cast<int>(available_mb));
    return 1;
}

// A "Name:   123 kB" line in KiB; 0 when there is none.
unsigned long meminfo_value(const char *text, const char *name) {
    const char *line = strstr(text, name);
    return line ? strtoul(line + strlen(name), nullptr, 10) : 0;
}

int read_ram(char *out, int maxoutlen) {
    char text[4096] = {};
    if (read_file("/proc/meminfo", text, sizeof text - 1) <= 0) return 0;
    const unsigned long total = meminfo_value(text, "MemTotal:");
    if (total == 0) return 0;
    return write_sizes(out, maxoutlen, total / KIB_PER_MIB, meminfo_value(text, "MemAvailable:") / KIB_PER_MIB);
}

int read_rom(char *out, int maxoutlen) {
    struct statvfs fs {};
    if (statvfs("/data", &fs) != 0) return 0;
    const auto mb = [&fs](fsblkcnt_t blocks) {
        return static_cast<unsigned long>(static_cast<unsigned long long>(blocks) * fs.f_frsize >> 20);
    };
    return write_sizes(out, maxoutlen, mb(fs.f_blocks), mb(fs.f_bavail));
}

int read_barcode(char *out, int maxoutlen) {
    run_command("killall spk_audio"); // a speaker test left behind disturbs the scanner station
    return test_info_read_field(TEST_INFO_BARCODE, out, maxoutlen);
}

int testinfo(const char *in, int32_t size, char *out, int maxoutlen) {
    if (size < 1) return 0;
    if (strstr(in, "read")) return mmi_AutoTest_testinfo_Read(in, out, maxoutlen);
    return strstr(in, "write") ? mmi_AutoTest_testinfo_Write(in) : 0;
}
} // namespace

int32_t AutoTest_flashtype_Read(VXO_COMMAND_ARGS) {
    LOG_D(AT_TAG, "begin,maxoutlen=%d", maxoutlen);
    return normalised(test_info_read_field(TEST_INFO_FLASH_TYPE, bufOut, maxoutlen));
}
VXO_COMMAND(AutoTest_RAM_Read, normalised(read_ram(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_ROM_Read, normalised(read_rom(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_barcode_Read, normalised(read_barcode(bufOut, maxoutlen)))
// The IMEI command answers with the PSN: the line's tools rely on it.
VXO_COMMAND(AutoTest_IMEI_Read, normalised(test_info_read_field(TEST_INFO_IMEI, bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_internalsoftware_Read, normalised(test_info_read_field(TEST_INFO_INTERNAL_SOFTWARE, bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_externalsoftware_Read, normalised(test_info_read_field(TEST_INFO_EXTERNAL_SOFTWARE, bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_haredware_Read, normalised(test_info_read_field(TEST_INFO_HARDWARE, bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_testinfo, normalised(testinfo(bufIn, size, bufOut, maxoutlen)))

VXO_COMMAND(AutoTest_battery_charging_Read, normalised(mmi_AutoTest_battery_charging_Read()))
VXO_COMMAND(AutoTest_battery_power_Read, normalised(mmi_AutoTest_battery_power_Read(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_battery_temperature_Read, normalised(mmi_AutoTest_battery_temperature_Read(bufOut, maxoutlen)))
VXO_COMMAND(AutoTest_battery_health_Read, normalised(mmi_AutoTest_battery_health_Read()))
VXO_COMMAND(AutoTest_BatteryCharge_Enable, normalised(mmi_AutoTest_battery_Charge_Enable()))
VXO_COMMAND(AutoTest_BatteryCharge_Disable, normalised(mmi_AutoTest_battery_Charge_Disable()))
VXO_COMMAND(AutoTest_Standby_Enable, normalised(mmi_AutoTest_Standby_Enable()))
VXO_COMMAND(AutoTest_Standby_Disable, normalised(mmi_AutoTest_Standby_Disable()))
