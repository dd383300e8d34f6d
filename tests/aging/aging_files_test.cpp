// What an aging run reads and keeps.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "AgingTest/aging_cpu.h"
#include "AgingTest/aging_files.h"
#include "AgingTest/aging_resets.h"
#include "AgingTest/aging_settings.h"
#include "AgingTest/aging_trend.h"
#include "config/config_store.h"
#include "config/main_config.h"
#include "support/files.h"

namespace {
constexpr const char *STORE = "/data/aging_store";

std::string marker() {
    char value[64] = {};
    cfg_get("vxo.autoageing", value, "none");
    return value;
}

struct Aging : testing::Test {
    void SetUp() override {
        std::filesystem::remove_all("/data/aging_test");
        std::snprintf(g_chLogPath, CFG_TEXT, "/data/aging_test/");
        std::snprintf(g_chAgingLogPath, CFG_TEXT, "/data/aging_test/aging/");
        std::snprintf(g_chAgingSettingFilePath, CFG_TEXT, "/data/aging_test/agingsetting.ini");
        std::filesystem::create_directories(g_chAgingLogPath);
        files::put(STORE, std::string(16384, '\0'));
        g_cfg_device = STORE;
    }
    void TearDown() override { g_cfg_device = "/dev/block/bootdevice/by-name/vxocfg"; }
};
} // namespace

TEST_F(Aging, SettingsAndTheirTwoDefaults) {
    const auto all = [] {
        mmi_AgingTest_ReadConfig();
        std::string text;
        for (const int value : {g_bAging_VedioTest, g_iAgingVedioTestTime, g_bAging_LightTest, g_iAgingLightTime, g_bAging_CameraTest,
                                g_iAgingCameraTotalNum, g_iCameraTotalNum, g_bAging_RebootTest, g_iAgingTotalRebootNum,
                                g_bAging_SuspendTest, g_iAgingSuspendTotalNum, g_bAging_VibratorTest, g_iAgingVibratorTime,
                                g_openaudioloop, g_bAging_ExternalBattery, g_cycles, g_temp_up, g_temp_uncharge, g_bAging_CpuTest,
                                g_cputime, g_bAging_SaveDb})
            text += std::to_string(value) + " ";
        return text;
    };
    files::put("/etc/tki_config.ini", "[TKI_AGING]\r\n");
    EXPECT_EQ(all(), "1 30 0 3 1 100 2 1 100 1 50 1 15 1 0 1 550 450 1 5 0 ");
    EXPECT_TRUE(std::string(g_iport).ends_with(":20002"));
    files::put("/etc/tki_config.ini", "[TKI_AGING]\r\nvediotest=x:1\r\nlighttest=x:1\r\ncameratest=x:1\r\nreboottest=enable:0\r\n"
                                      "Parameters=Cycles:3\r\nExternBattery=1\r\ncpufullload=time:7\r\nsavedb=enable:1;SSID:HALL\r\n");
    EXPECT_EQ(all(), "1 30 1 10 1 100 2 0 100 1 50 1 15 1 1 3 550 450 1 7 0 ") << "no server, no upload";
    EXPECT_STREQ(g_cSaveDbSSID, "HALL");
    files::put("/etc/tki_config.ini", "[TKI_AGING]\r\nsavedb=enable:1\r\nuploadip=10.0.0.1:7\r\ncameratest=totalnum:3\r\n");
    EXPECT_EQ(all(), "1 30 0 3 1 100 3 1 100 1 50 1 15 1 0 1 550 450 1 5 1 ");
    EXPECT_STREQ(g_iport, "10.0.0.1:7");
}

TEST_F(Aging, StartsByItselfTwiceAndNeverForEver) {
    const std::string times = aging_main_path("AutoAgingTimes.txt");
    struct {
        const char *marker, *times;
        bool rebooting;
        int starts;
        const char *marker_then, *times_then;
    } rows[] = {{"1", "0", false, 1, "1", "1"}, {"1", "1", false, 1, "1", "2"},        {"1", "2", false, 0, "0", "0"},
                {"1", "1", true, 0, "1", "1"},  {"0", "0", false, 0, "0", "0"},        {"1", "", false, 1, "1", "1"},
                {"1", "-9", false, 1, "1", "1"}, {"1", "rubbish", false, 1, "1", "1"}, {"none", "7", false, 0, "none", "7"}};
    for (const auto &row : rows) {
        SetUp();
        if (strcmp(row.marker, "none") != 0) cfg_set("vxo.autoageing", row.marker);
        files::put(times, row.times);
        if (row.rebooting) AgingTest_Set_CfgValue(3);
        EXPECT_EQ(check_auto_aging(), row.starts) << row.marker << row.times;
        EXPECT_EQ(marker(), row.marker_then) << row.times;
        EXPECT_EQ(files::get(times), row.times_then) << row.marker;
    }
    SetUp();
    cfg_set("vxo.autoageing", "1");
    std::filesystem::create_directories(times + "/x"); // cannot be counted in
    EXPECT_EQ(check_auto_aging(), 1);
    EXPECT_EQ(check_auto_aging(), 0) << "starts that are not counted must end";
}

TEST_F(Aging, FilesThatAreMissingEmptyOrDamaged) {
    char text[AGING_FILE_MAX + 1] = {};
    EXPECT_EQ(AgingTest_Get_CfgValue(text, "1"), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(AgingTest_Set_CfgValue(-12), 0);
    EXPECT_EQ(AgingTest_Get_CfgValue(text, "1"), 0);
    EXPECT_STREQ(text, "-12");
    files::put(aging_main_path("rebootAging.txt"), "");
    memset(text, 0, sizeof text);
    EXPECT_EQ(AgingTest_Get_CfgValue(text, "1"), 0);
    EXPECT_STREQ(text, "1");
    files::put(aging_main_path("rebootAging.txt"), std::string(5000, '9'));
    AgingTest_Get_CfgValue(text, nullptr);
    EXPECT_EQ(strlen(text), static_cast<size_t>(AGING_FILE_MAX));
    EXPECT_EQ(WriteFile("/data/aging_test/no/such", 1), -1);
    files::put(g_chAgingSettingFilePath, std::string(20000, 'x')); // more than a profile may hold
    aging_set_current_cycle(4);
    EXPECT_EQ(aging_current_cycle(), 4);
    Delete_AgingRebootFile();
    EXPECT_FALSE(Check_AgingCfg_Exist());
}

TEST_F(Aging, DurationsAndLoads) {
    for (const auto &[seconds, hours, minutes] :
         {std::tuple{10801L, 3, 1}, {10770L, 3, 0}, {0L, 0, 0}, {1L, 0, 1}, {3600L, 1, 0}, {3660L, 1, 1}}) {
        int h = -1, m = -1;
        aging_duration(seconds, &h, &m);
        EXPECT_TRUE(h == hours && m == minutes) << seconds << " s: " << h << " h " << m;
    }
    int core = -1;
    CpuTimes before, after;
    EXPECT_FALSE(ParseLine("cpu  1 2 3 4 5 6 7 8", &core, &before)) << "the sum of all";
    EXPECT_FALSE(ParseLine("cpu9999 1 2 3 4", &core, &before));
    EXPECT_FALSE(ParseLine("intr 1 2 3 4 5", &core, &before));
    ASSERT_TRUE(ParseLine("cpu3 100 0 100 700 100 0 0 0 9 9\n", &core, &before));
    ASSERT_TRUE(ParseLine("cpu3 150 0 125 710 115 0 0 0 9 9\n", &core, &after));
    EXPECT_EQ(core, 3);
    EXPECT_DOUBLE_EQ(ComputeUsage(before, after), 75);
    EXPECT_DOUBLE_EQ(ComputeUsage(after, before), 0) << "a core that was away";
}

TEST_F(Aging, TrendIsBoundedAndTornLinesCostNothing) {
    std::string full = "time,phase,level,voltage_mV,current_mA,temperature_C10,cpu0\n";
    for (size_t i = 0; i < AGING_TREND_LINES; ++i) full += std::to_string(i) + ",cpu,80,4000,-10,250,1.5\n";
    files::put(aging_trend_path(), full + "99,ca"); // a power cut
    AgingTrendPoint point{.time = 123456, .level = 55, .temperature = -12, .cpu = {3, 99.9}};
    std::snprintf(point.phase, sizeof point.phase, "video");
    EXPECT_TRUE(aging_trend_write(point));
    EXPECT_TRUE(aging_trend_write(point));
    const auto points = aging_trend_read(aging_trend_path().c_str());
    ASSERT_GT(points.size(), AGING_TREND_LINES / 2);
    EXPECT_LE(points.size(), AGING_TREND_LINES);
    EXPECT_EQ(points.front().time, static_cast<long>(AGING_TREND_LINES / 10)) << "the oldest day goes, no more";
    EXPECT_EQ(points[points.size() - 3].time, static_cast<long>(AGING_TREND_LINES - 1));
    EXPECT_EQ(points.back().time, 123456);
    EXPECT_EQ(points.back().temperature, -12);
    EXPECT_EQ(points.back().cpu, (std::vector<double>{3, 99.9}));
    EXPECT_STREQ(points.back().phase, "video");
}
