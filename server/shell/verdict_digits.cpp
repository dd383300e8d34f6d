#include "shell/verdict_digits.h"

#include <cstring>

#include "base/log_door.h"
#include "device/result_flags.h"

namespace {

constexpr const char *TAG = "TESTINFO";
constexpr int OPERATOR_STATIONS = 280;
constexpr size_t MOST_DIGITS = 100;
constexpr const char *RESERVED = "\xb1\xa3\xc1\xf4"; // "reserved" in GBK

bool shown(int station) {
    const char *name = g_testinfo[station].name;
    return station != STATION_CAC_PREVIEW && !std::strstr(name, RESERVED) && !std::strstr(name, "useless");
}

} // namespace

std::string verdict_digits(const uint8_t *area) {
    GetTestItemsResult(area);
    std::string digits;
    for (int i = 0; i < OPERATOR_STATIONS && digits.size() < MOST_DIGITS; ++i) {
        const int result = g_testinfo[i].test_result;
        if (shown(i) && (result == 1 || result == 2)) digits += static_cast<char>('0' + result);
    }
    const int total = g_testinfo[STATION_CAC_PREVIEW].test_result;
    if (total == 2)
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "item_TestInfoIndex=%d,fail.", STATION_CAC_PREVIEW);
    else if (total != 1)
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "item_TestInfoIndex=%d,no test", STATION_CAC_PREVIEW);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "g_testinfo[CAC_PREVIEW].test_result=%d,isTotalResult=%d", total,
            total == 1);
    digits += total == 1 ? '1' : total == 2 ? '2' : '0';
    return digits;
}
