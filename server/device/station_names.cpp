// The stations' display names. Chinese words stand as GBK bytes, as the screen and the packing stations' tools read them.
#include "device/station_names.h"

#include <cstdio>

namespace {
constexpr const char *RESERVED = "\xb1\xa3\xc1\xf4"; // 保留
#define PRE "\xd4\xa4\xbc\xec"                       // 预检
#define FINAL "\xd6\xd5\xbc\xec"                     // 终检
#define PACK "\xb0\xfc\xd7\xb0"                      // 包装

// One to four rows from first on that share the beginning of their names.
struct NameRun {
    int first;
    const char *beginning;
    const char *endings[4];
};

const NameRun RADIO_RUNS[] = {
    {0, "S_BOARDTEST_", {"CURRENT", "AUDIO", "BT"}},
    {4, "S_GSM_", {"CAL", "FT", "CPT"}},
    {8, "S_GPRS_", {"FT", "CPT"}},
    {12, " S_EDGE_", {"CAL"}}, // the leading blank is the line's own
    {13, "S_EDGE_", {"FT", "CPT"}},
    {16, "S_CDMA_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {20, "S_EVDO_", {"FT", "CPT", "CAL"}},
    {24, "S_WCDMA_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {28, "S_TD_", {"CAL", "FT", "CPT"}},
    {32, "S_WIMAX_", {"CAL", "FT", "CPT"}},
    {36, "S_LTE_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {40, "S_BLUETOOTH_", {"CAL", "FT", "CPT", "FUN"}},
    {44, "S_WIFI_", {"CAL", "FT", "CPT", "FUN"}},
    {48, "S_GPS_", {"FT", "CPT", "FUN"}},
    {52, "S_MOBILETV_", {"FT", "CPT", "FUN"}},
    {56, "S_NFC_", {"FT", "FUN"}},
    {60, "S_BASEBAND_", {"CURRENT", "AUDIO"}},
    {64, "S_CAC_", {"PREVIEW", "FINALCHECK", "PREVIEW_TEMP"}},
    {68, "S_HSPA_", {"FT", "CPT"}},
    {72, "S_", {"WCDMA_GSM_FUN", "EVDO_CDMA_FUN", "TD_GSM_FUN", "LTE_TDD_FUN"}},
    {76, "S_", {"LTE_FDD_FUN", "IRDA_FUN", "TEMP_FUN", "PRESSURE_FUN"}},
    {80, "S_TDD_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {84, "S_GSM_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {88, "S_GPRS_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {92, "S_EDGE_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {96, "S_WCDMA_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {100, "S_HSPA_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {104, "S_CDMA_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {108, "S_EVDO_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {112, "S_LTE_2_", {"CAL", "FT", "CPT", "DIV_CPT"}},
    {116, "S_ICERA_", {"CONFIG"}},
    {120, "S_LTE_BAND1_", {"CAL", "FT", "CPT"}},
    {124, "useless", {"", "", ""}},
    {128, "useless", {"", ""}},
    {130, "S_LTE_BAND3_", {"CPT"}},
    {132, "S_LTE_BAND4_", {"CAL", "FT", "CPT"}},
    {136, "useless", {"", ""}},
    {138, "S_LTE_BAND5_", {"CPT"}},
    {140, "useless", {"", "", ""}},
    {144, "useless", {"", "", ""}},
    {148, "useless", {"", "", ""}},
    {152, "S_LTE_BAND9_", {"CAL", "FT", "CPT"}},
    {156, "S_LTE_BAND10_", {"CAL", "FT", "CPT"}},
    {160, "S_TDD_2_", {"CAL", "FT", "CPT"}},
    {164, "S_GPS_2_", {"FT", "CPT", "FUN"}},
    {170, "S_WIFI2_", {"CPT"}},
    {172, "S_FORCE_TOUCH_", {"CAL", "FT"}},
    {176, "S_BURN_", {"IN"}},
    {180, "S_MMI_", {"AUDIO", "VISION", "SPORT"}},
    {184, "S_", {"MMI_AUDIO1", "BRIGHTNESS_CAL", "HUE_CAL", "HUE_GAMMA_CAL"}},
    {188, "S_SILKSCREEN_", {"1", "2"}},
    {192, "S_SAFE_PAY_", {"WEBCHAT", "IFFA"}},
    {276, "S_", {"LOCKNET", "STAND_BACKUP"}},
};

// The operator tests: pre-check, final check and, with four rows, the two packing stations.
struct OperatorGroup {
    int first;
    const char *subject;
    int rows;
};

const OperatorGroup OPERATOR_GROUPS[] = {
    {280, "LCD", 4},
    {284, "\xb5\xc6\xc0\xe0", 4},          // 灯类 lights
    {288, "\xba\xf3" "camera", 4},         // 后camera rear camera
    {292, "\xc7\xb0" "camera", 4},         // 前camera front camera
    {296, "\xc1\xe5\xd2\xf4", 2},          // 铃音 ring tone
    {298, "\xca\xdc\xbb\xb0\xc6\xf7", 2},  // 受话器 receiver
    {300, "\xbb\xd8\xc2\xb7", 4},          // 回路 loop-back
    {304, "\xb6\xfa\xc2\xf3", 4},          // 耳麦 headset
    {308, "FM", 4},
    {312, "\xb0\xb4\xbc\xfc", 4},          // 按键 keys
    {316, "\xd5\xf1\xb6\xaf", 4},          // 振动 vibration
    {320, "TOUCH", 4},                     // its first row is named otherwise, below
    {324, "\xbf\xa8\xc0\xe0", 4},          // 卡类 cards
    {328, "SENSOR", 4},
    {332, "\xb9\xe2\xbb\xfa", 2},          // 光机 projector
    {336, "\xd6\xb8\xce\xc6", 4},          // 指纹 fingerprint
    {340, "NFC", 2},
    {344, "\xb5\xe7\xb3\xd8", 2},          // 电池 battery
    {348, "\xd0\xc4\xc2\xca\xbc\xc6", 2},  // 心率计 heart rate
    {352, "\xbb\xf4\xb6\xfb", 2},          // 霍尔 hall sensor
    {360, "SD" "\xbf\xa8", 2},             // SD卡 SD card
};
const char *const STAGES[4] = {PRE, FINAL, PACK "1", PACK "2"};

const NameRun OTHER_NAMES[] = {
    {320, "\xb4\xa5\xc3\xfe\xc6\xc1", {PRE}},                                     // 触摸屏 touch screen
    {356, "\xbc\xa4\xb9\xe2\xb6\xd4\xbd\xb9", {"\xd0\xa3\xd7\xbc", "\xd7\xdb\xb2\xe2"}}, // 激光对焦 校准, 综测
};

// Rows from here on are unused: number 0, no name.
constexpr int FIRST_UNUSED = 362;

// The flag area's owners renumbered these rows once and the screens show it.
constexpr struct { int row, number; } OTHER_NUMBERS[] = {{339, 338}, {358, 354}, {359, 355}};

void put_name(StationRow &row, const char *beginning, const char *ending) {
    snprintf(row.name, sizeof row.name, "%s%s", beginning, ending);
}

void put_run(StationRow *rows, const NameRun &run) {
    for (int i = 0; i < 4 && run.endings[i]; ++i) put_name(rows[run.first + i], run.beginning, run.endings[i]);
}
} // namespace

void fill_station_table(StationRow (&rows)[STATION_COUNT]) {
    for (int i = 0; i < FIRST_UNUSED; ++i) {
        rows[i].number = i;
        put_name(rows[i], RESERVED, "");
    }
    for (const NameRun &run : RADIO_RUNS) put_run(rows, run);
    for (const OperatorGroup &group : OPERATOR_GROUPS) {
        for (int i = 0; i < group.rows; ++i) put_name(rows[group.first + i], group.subject, STAGES[i]);
    }
    for (const NameRun &run : OTHER_NAMES) put_run(rows, run);
    for (const auto &other : OTHER_NUMBERS) rows[other.row].number = other.number;
}
