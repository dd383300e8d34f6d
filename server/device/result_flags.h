// The verdict flags of all production stations, two bits each, and the decoded table.
#pragma once

#include <atomic>
#include <cstdint>

constexpr int STATION_COUNT = 400;
constexpr int STATION_CAC_PREVIEW = 64;
constexpr int STATION_CAC_PREVIEW_TEMP = 66;

struct StationRow {
    int32_t number;      // as shown; some rows carry another's
    int32_t test_result; // 0 not tested, 1 pass, 2 fail
    char name[40];       // GBK
};
extern StationRow g_testinfo[STATION_COUNT];

// Shared with the sequencer, which reads the settings and starts the runs.
extern std::atomic<int> g_deviceIsAutoTest;
extern std::atomic<int> g_pretestMenuEnabled;

// The two bits of a station in an area of at least 100 bytes; 0 for a station outside it.
int GetSign(const uint8_t *area, int station);
// Sets the pair at position 0 (most significant) to 3 of one byte to value 0..2: 1. Otherwise 0, byte unchanged.
int SetSignInOneByte(uint8_t *byte, int position, int value);
// Decodes an area into test_result of g_testinfo. Any thread.
void GetTestItemsResult(const uint8_t *area);
// A decoded result while other threads may be decoding; 0 for a station outside the table. Any thread.
int station_result(int station);
// Records a verdict (1 pass, 2 fail) for one station, reads the byte back and retries once. Any other value writes
// nothing. A failed operator test fails the preview station too. Always returns 0. Any thread; verdicts are serialised by
// a mutex of this module.
int mmi_write_testinfo_single_byte(int itemindex, int testresult);
// A measured "key:value" against a limit (bmax 1: a maximum, else a minimum): 1 out of limit, 0 otherwise.
int CheckParaResult(const char *text, int limit, int bmax);
// PC: "STATION,read" gives the station's value, "STATION,VALUE,write" records one. 1 success, 0 malformed.
int mmi_AutoTest_testinfo_Read(const char *command, char *out, int maxoutlen);
int mmi_AutoTest_testinfo_Write(const char *command);
