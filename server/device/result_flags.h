// The verdict flags of all production stations, two bits each, and the decoded table.
#pragma once

#include <atomic>
#include <cstdint>

constexpr int STATION_COUNT = 400;
constexpr int STATION_CAC_PREVIEW = 64;
constexpr int STATION_CAC_PREVIEW_TEMP = 66;

struct StationRow {
    int32_t number;
    int32_t test_result; // 0 not tested, 1 pass, 2 fail
    char name[40];       // GBK
};
extern StationRow g_testinfo[STATION_COUNT];

// Shared with the sequencer, which reads the settings and starts the runs.
extern std::atomic<int> g_deviceIsAutoTest;
extern std::atomic<int> g_pretestMenuEnabled;

int GetSign(const uint8_t *area, int station);
int SetSignInOneByte(uint8_t *byte, int position, int value);
void GetTestItemsResult(const uint8_t *area);
// Records a verdict (1 pass, 2 fail) for one station, reads the byte back and retries once. Any other value writes
// nothing. Always returns 0. Any thread; verdicts are serialised by a mutex of this module.
int mmi_write_testinfo_single_byte(int itemindex, int testresult);
int CheckParaResult(const char *text, int limit, int bmax);
int mmi_AutoTest_testinfo_Read(const char *command, char *out, int maxoutlen);
int mmi_AutoTest_testinfo_Write(const char *command);
