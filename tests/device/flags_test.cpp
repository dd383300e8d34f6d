#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "base/encoding.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"

namespace {
uint8_t g_area[TKI_FLAG_AREA];
std::vector<int> g_written; // byte indexes in order
int g_lost_writes = 0;      // so many writes report success and change nothing
int g_read_result = 0;

class ResultFlags : public testing::Test {
protected:
    void SetUp() override {
        memset(g_area, 0, sizeof g_area);
        g_written.clear();
        g_lost_writes = g_read_result = 0;
        g_pretestMenuEnabled = g_bRestoreAutotest = 0;
        tki_api_GetTestInfoFlag = [](uint8_t *out) {
            memcpy(out, g_area, sizeof g_area);
            return g_read_result;
        };
        tki_api_WriteFuncTestInfoFlags = [](int index, uint8_t value) {
            g_written.push_back(index);
            if (g_lost_writes-- <= 0) g_area[index] = value;
            return 0;
        };
    }
    void TearDown() override {
        tki_api_GetTestInfoFlag = nullptr;
        tki_api_WriteFuncTestInfoFlags = nullptr;
    }
};
} // namespace

TEST_F(ResultFlags, ChangesOnePairOnly) {
    g_area[70] = 0b10000110;
    EXPECT_EQ(mmi_write_testinfo_single_byte(281, 1), 0);
    EXPECT_EQ(g_area[70], 0b10010110);
    EXPECT_EQ(g_written, std::vector<int>{70});
    EXPECT_EQ(station_result(281) * 10 + station_result(283), 12);
    for (const auto &[station, result] : std::multimap<int, int>{{281, 0}, {281, 3}, {-1, 2}, {400, 1}, {1 << 30, 2}}) {
        EXPECT_EQ(mmi_write_testinfo_single_byte(station, result), 0);
    }
    EXPECT_EQ(g_written.size(), 1u);
}

TEST_F(ResultFlags, FailuresOfTheLineFailThePreview) {
    struct { int station, result, menu, preview, temporary, run; } rows[] = {
        {320, 2, 0, 2, 0, 0}, {320, 2, 1, 2, 2, 0}, {399, 2, 0, 2, 0, 0}, {124, 2, 0, 2, 0, 0}, {159, 2, 0, 2, 0, 0},
        {123, 2, 1, 0, 0, 1}, {160, 2, 1, 0, 0, 1}, {279, 2, 1, 0, 0, 1}, {64, 2, 1, 2, 0, 1}, {320, 1, 0, 0, 0, 1},
    };
    for (const auto &row : rows) {
        memset(g_area, 0, sizeof g_area);
        g_pretestMenuEnabled = row.menu;
        g_deviceIsAutoTest = 1;
        mmi_write_testinfo_single_byte(row.station, row.result);
        EXPECT_EQ((std::vector<int>{GetSign(g_area, row.station), GetSign(g_area, 64), GetSign(g_area, 66), g_deviceIsAutoTest}),
                  (std::vector<int>{row.result, row.preview, row.temporary, row.run})) << row.station;
    }
}

TEST_F(ResultFlags, RetriesAStaleReadBack) {
    g_lost_writes = 1;
    mmi_write_testinfo_single_byte(281, 1);
    EXPECT_EQ(GetSign(g_area, 281), 1);
    EXPECT_EQ(g_written.size(), 2u);
    g_written.clear();
    g_lost_writes = 10;
    mmi_write_testinfo_single_byte(282, 1);
    EXPECT_EQ(g_written.size(), 3u) << "one retry after each verification, not for ever";
    EXPECT_EQ(station_result(282), 1) << "the table follows what was meant";
}

TEST_F(ResultFlags, WithoutReadingThereIsNoOverwriting) {
    g_area[70] = 0xaa;
    g_read_result = -1;
    mmi_write_testinfo_single_byte(281, 1);
    EXPECT_EQ(g_area[70], 0xaa);
    tki_api_GetTestInfoFlag = nullptr; // no such function: the other three pairs are written as untested
    mmi_write_testinfo_single_byte(281, 1);
    EXPECT_EQ(g_area[70], 0b00010000);
}

TEST_F(ResultFlags, AFailureIsNeverResumed) {
    for (const int restore_enabled : {0, 1}) {
        g_bRestoreAutotest = restore_enabled;
        ASSERT_EQ(touch_file("/data/pv_autotest_restore_flag") | touch_file("/data/pv_autotest_latest_pass"), 0);
        mmi_write_testinfo_single_byte(281, 2);
        EXPECT_EQ(file_readable("/data/pv_autotest_restore_flag"), !restore_enabled);
        EXPECT_EQ(file_readable("/data/pv_autotest_latest_pass"), !restore_enabled);
    }
}

TEST_F(ResultFlags, TwoThreadsLoseNothing) {
    const auto record = [](int first) {
        for (int i = first; i < 280; i += 2) mmi_write_testinfo_single_byte(i, 1);
    };
    std::thread other(record, 1);
    record(0);
    other.join();
    for (int i = 0; i < 280; ++i) ASSERT_EQ(GetSign(g_area, i), 1) << i;
}

TEST_F(ResultFlags, PcCommands) {
    char out[16] = {};
    for (const char *text : {"300,1", "300 1,write", "", "x,1,write", "300,1;id,write", "300,1,write;id"}) EXPECT_EQ(mmi_AutoTest_testinfo_Write(text), 0) << text;
    EXPECT_EQ(mmi_AutoTest_testinfo_Write((std::string(255, '1') + ",1,write").c_str()), 0) << "only 255 characters count";
    EXPECT_EQ(mmi_AutoTest_testinfo_Read("300 read", out, sizeof out), 0);
    EXPECT_EQ(mmi_AutoTest_testinfo_Read("300,1", out, sizeof out), 0);
    EXPECT_EQ(mmi_AutoTest_testinfo_Read("99999999,read", out, sizeof out), 1);
    EXPECT_STREQ(out, "0");
    tki_api_GetTestInfoFlag = nullptr;
    EXPECT_EQ(mmi_AutoTest_testinfo_Read("300,read", out, sizeof out), 0);
}

TEST(StationTable, NamesAndKeptNumbers) {
    const std::map<int, std::string> names = {{12, " S_EDGE_CAL"}, {66, "S_CAC_PREVIEW_TEMP"}, {126, "useless"}, {279, "保留"},
                                              {290, "后camera包装1"}, {361, "SD卡终检"}, {399, ""}};
    for (const auto &[row, name] : names) EXPECT_EQ(utf8_from_gbk(g_testinfo[row].name), name) << row;
    const std::map<int, int> renumbered = {{339, 338}, {358, 354}, {359, 355}}; // agreed as they stand
    for (int row = 0; row < STATION_COUNT; ++row) {
        const int number = renumbered.count(row) ? renumbered.at(row) : row < 362 ? row : 0;
        EXPECT_EQ(g_testinfo[row].number, number) << row;
    }
}

TEST(CheckPara, Limits) {
    struct { const char *text; int limit, bmax, result; } rows[] = {
        {"v:120", 100, 1, 1}, {"v:120", 100, 0, 0}, {"v:100", 100, 1, 0}, {"v:100", 100, 0, 0},
        {"v:-5", 0, 0, 1},    {"v:", 1, 0, 1},      {"120", 100, 1, 0},   {"", 100, 1, 0}, {nullptr, 0, 0, 0},
    };
    for (const auto &row : rows) EXPECT_EQ(CheckParaResult(row.text, row.limit, row.bmax), row.result);
    uint8_t byte = 0xff;
    EXPECT_EQ(SetSignInOneByte(&byte, 1, 3), 0);
    EXPECT_EQ(SetSignInOneByte(&byte, 4, 1), 0);
    EXPECT_EQ(byte, 0xff);
}
