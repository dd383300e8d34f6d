#include "device/result_flags.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/station_names.h"

StationRow g_testinfo[STATION_COUNT];
std::atomic<int> g_deviceIsAutoTest{0};
std::atomic<int> g_pretestMenuEnabled{0};

namespace {
constexpr const char *TAG = "CHECKTESTINFO";
constexpr int STATIONS_PER_BYTE = 4;
constexpr int FIRST_OPERATOR_STATION = 280;
constexpr int PASS = 1, FAIL = 2;

[[maybe_unused]] const bool g_table_filled = (fill_station_table(g_testinfo), true);

std::mutex g_write_mutex; // one verdict's read, change, write and verification
std::mutex g_table_mutex; // test_result of g_testinfo

using Area = std::array<uint8_t, TKI_FLAG_AREA>;

bool is_station(int station) { return station >= 0 && station < STATION_COUNT; }
bool is_verdict(int result) { return result == PASS || result == FAIL; }
size_t byte_of(int station) { return static_cast<size_t>(station / STATIONS_PER_BYTE); }

// False when the area is there but could not be read; without the function it reads as all zero.
bool read_area(Area &area) {
    area.fill(0);
    return !tki_api_GetTestInfoFlag || tki_api_GetTestInfoFlag(area.data()) >= 0;
}

void write_byte(const Area &area, size_t index) {
    if (tki_api_WriteFuncTestInfoFlags) tki_api_WriteFuncTestInfoFlags(static_cast<int>(index), area[index]);
}

void set_station(Area &area, int station, int result) {
    SetSignInOneByte(&area[byte_of(station)], station % STATIONS_PER_BYTE, result);
}

// One retry; whether that held is seen by the next verification.
void verify(const Area &area, size_t index, int result) {
    Area back;
    read_area(back);
    if (back[index] == area[index]) return;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::check testinfo indexbyte=%d,writeval=%d,readval=%d",
            "mmi_write_testinfo_single_byte", static_cast<int>(index), area[index], back[index]);
    if (is_verdict(result)) write_byte(area, index);
}

// A failed run must not be resumed as if it had passed so far.
void forget_resume_markers() {
    run_command("rm /data/pv_autotest_restore_flag");
    run_command("rm /data/pv_autotest_latest_pass");
    sync_file("/data/pv_autotest_latest_pass");
}

bool fails_preview_too(int station, int result) {
    return result == FAIL && (station >= FIRST_OPERATOR_STATION || (station >= 124 && station <= 159));
}

void fail_preview(Area &area) {
    constexpr const char *NAME = "mmi_write_testinfo_single_byte";
    set_station(area, STATION_CAC_PREVIEW, FAIL);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::g_pretestMenuEnabled=%d", NAME, g_pretestMenuEnabled.load());
    if (g_pretestMenuEnabled == 1) set_station(area, STATION_CAC_PREVIEW_TEMP, FAIL);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::write cac_preview testresult=%d begin", NAME, FAIL);
    write_byte(area, byte_of(STATION_CAC_PREVIEW));
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::write cac_preview end", NAME);
    g_deviceIsAutoTest = 0;
}

void record_locked(Area &area, int station, int result) {
    constexpr const char *NAME = "mmi_write_testinfo_single_byte";
    size_t index = byte_of(station);
    if (is_verdict(result)) set_station(area, station, result);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::tki_api_WriteFuncTestInfoFlags begin", NAME);
    if (is_verdict(result)) write_byte(area, index);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::tki_api_WriteFuncTestInfoFlags end", NAME);
    verify(area, index, result);
    GetTestItemsResult(area.data());
    if (station == STATION_CAC_PREVIEW) return;
    if (fails_preview_too(station, result)) {
        fail_preview(area);
        index = byte_of(STATION_CAC_PREVIEW);
    }
    verify(area, index, result);
    GetTestItemsResult(area.data());
}
} // namespace

int GetSign(const uint8_t *area, int station) {
    if (!area || !is_station(station)) return 0;
    return (area[byte_of(station)] >> ((3 - station % STATIONS_PER_BYTE) * 2)) & 3;
}

int SetSignInOneByte(uint8_t *byte, int position, int value) {
    if (!byte || position < 0 || position > 3 || value < 0 || value > FAIL) return 0;
    const int low = (3 - position) * 2;
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s::m_highPower=%d,m_lowPower=%d", "SetPowerValue", low + 1, low);
    *byte = static_cast<uint8_t>((*byte & ~(3 << low)) | (value << low));
    return 1;
}

void GetTestItemsResult(const uint8_t *area) {
    if (!area) return;
    const std::lock_guard lock(g_table_mutex);
    for (int i = 0; i < STATION_COUNT; ++i) g_testinfo[i].test_result = GetSign(area, i);
}

int station_result(int station) {
    const std::lock_guard lock(g_table_mutex);
    return is_station(station) ? g_testinfo[station].test_result : 0;
}

int mmi_write_testinfo_single_byte(int itemindex, int testresult) {
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,itemindex=%d,testresult=%d", __func__, itemindex, testresult);
    if (testresult == FAIL && g_bRestoreAutotest) forget_resume_markers();
    if (!is_station(itemindex)) return 0;
    const std::lock_guard lock(g_write_mutex);
    Area area;
    if (!read_area(area)) {
        // Writing a byte of an unread area would erase the verdicts of three other stations.
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::flag area unreadable, nothing written", __func__);
        return 0;
    }
    record_locked(area, itemindex, testresult);
    return 0;
}

int CheckParaResult(const char *text, int limit, int bmax) {
    const char *colon = text ? strchr(text, ':') : nullptr;
    if (!colon) {
        LOG_E(TAG, "input para error: %s", text ? text : "");
        return 0;
    }
    const int value = atoi(colon + 1);
    LOG_D(TAG, "begin para list: strpara=%d,ival=%d,bmax=%d", value, limit, bmax);
    if (bmax == 1 ? value > limit : value < limit) return 1;
    LOG_D(TAG, "end");
    return 0;
}

namespace {
// The whole text as a decimal number; nothing when it is none.
std::optional<int> number_of(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}
} // namespace

int mmi_AutoTest_testinfo_Read(const char *command, char *out, int maxoutlen) {
    if (!command || !out || maxoutlen <= 0 || !strstr(command, "read")) return 0;
    const char *comma = strchr(command, ',');
    if (!comma) {
        LOG_RAW(ANDROID_LOG_ERROR, "TESTINFO", "%s::not found testinfo index", __func__);
        return 0;
    }
    const std::optional<int> station = number_of({command, comma});
    Area area;
    if (!station || !tki_api_GetTestInfoFlag || !read_area(area)) return 0;
    snprintf(out, static_cast<size_t>(maxoutlen), "%d", GetSign(area.data(), *station));
    return 1;
}

int mmi_AutoTest_testinfo_Write(const char *command) {
    if (!command) return 0;
    constexpr std::string_view MARK = ",write";
    const std::string_view text(command, strnlen(command, 255));
    if (!text.ends_with(MARK)) return 0;
    const std::string_view pair = text.substr(0, text.size() - MARK.size());
    const size_t comma = pair.find(',');
    if (comma == pair.npos) return 0; // the only comma may not be the mark's
    const std::optional<int> station = number_of(pair.substr(0, comma)), value = number_of(pair.substr(comma + 1));
    if (!station || !value) return 0; // a verdict for a station that was not named would be lost on another
    mmi_write_testinfo_single_byte(*station, *value);
    return 1;
}
