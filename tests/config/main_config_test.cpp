#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "config/config_lines.h"
#include "config/config_store.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "support/files.h"
#include "support/process.h"

namespace {
constexpr const char *MAIN = "/etc/tki_config.ini";
constexpr const char *LANGUAGE = "/etc/tki_language.ini";

// These tests write the configuration; a handset's own /etc may be read-only.
class WritableEtc : public testing::Environment {
public:
    void SetUp() override {
        ASSERT_TRUE(access("/etc", W_OK) == 0 || process::hide_folder("/etc"));
    }
};
[[maybe_unused]] const testing::Environment *const g_writable_etc = testing::AddGlobalTestEnvironment(new WritableEtc);

// The files' own line ends.
std::string crlf(std::string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.insert(at, 1, '\r');
    return text;
}

std::string value_of(const std::string &text, const char *domain, const char *key, const char *def = nullptr) {
    files::put("/data/main.ini", text);
    char out[CFG_TEXT] = {};
    return Get_CfgValue("/data/main.ini", domain, key, out, def) == 0 ? out : "(failed)";
}
} // namespace

TEST(MainConfig, FindsValues) {
    struct { const char *text, *domain, *key, *value; } rows[] = {
        {"[MMI]\r\nkey = some value \r\n", "MMI", "key", "some value "}, // the blank stands before the CR
        {"# [MMI]\r\nkey=0\r\n[MMI]\r\n#key=1\r\nkey=2\r\n", "MMI", "key", "2"},
        {"[A]\r\nkey=1\r\n[MMI]\r\nother=2\r\n", "MMI", "key", "def"},
        {"[MM]\r\nke=1\r\n", "MMI", "key", "1"},                   // the file's names are prefixes of those asked for
        {"[MMI]\r\nOS=1\r\nOS_Auto=2\r\n", "MMI", "OS_Auto", "1"}, // so a shorter key before a longer one answers it
        {"[MMIX]\r\nkey=1\r\n", "MMI", "key", "def"},
        {"[MMI]\nkey=12\n", "MMI", "key", "1"}, // bare line feeds cost the last character
        {"[MMI]\nkey=1\n", "MMI", "key", "def"},
        {"[MMI]\r\nkey=\n=1\r\nkey=a=b\r\n", "MMI", "key", "a=b"},
        {"[MMI]\r\nline\r\n[]\r\n", "MMI", "key", "(failed)"}, // a malformed bracket line ends the reading
        {"[MMI\r\nkey=1\r\n", "MMI", "key", "(failed)"},
    };
    for (const auto &row : rows) EXPECT_EQ(value_of(row.text, row.domain, row.key, "def"), row.value) << row.text;
    char out[CFG_TEXT] = "";
    EXPECT_EQ(Get_CfgValue("/data/none.ini", "MMI", "key", out, "x"), -1);
    EXPECT_EQ(Get_CfgValue(nullptr, "MMI", "key", out, "x"), -1);
}

TEST(MainConfig, HeldFileStandsStillUntilLetGo) {
    EXPECT_EQ(value_of("[MMI]\r\nkey=1\r\n[]\r\n", "MMI", "key"), "1");
    {
        const HeldConfig held("/data/main.ini");
        EXPECT_EQ(value_of("[MMI]\r\nkey=2\r\n", "MMI", "key"), "1");
        EXPECT_EQ(value_of("[MMI]\r\nkey=2\r\n", "MMI", "other"), "(failed)"); // the malformed line still stands in it
    }
    EXPECT_EQ(value_of("[MMI]\r\nkey=2\r\n", "MMI", "key"), "2");
}

TEST(MainConfig, Bounds) {
    const std::string text(300, 'v'), name(256, 'd');
    EXPECT_LT(value_of("[MMI]\r\nkey=" + text + "\r\n", "MMI", "key").size(), 256u);
    EXPECT_EQ(value_of("[" + name + "]\r\nkey=1\r\n", "MMI", "key"), "(failed)");
    EXPECT_EQ(value_of("[MMI]\r\n" + text + "=1\r\nkey=2\r\n", "MMI", "key"), "2");
    EXPECT_EQ(value_of("[MMI]\r\n#" + std::string(5000, 'x') + "\r\nkey=2\r\n", "MMI", "key"), "2");
    EXPECT_EQ(value_of("[MMI]\r\n", "MMI", "key", text.c_str()).size(), 255u);
    char out[CFG_TEXT] = "\0stale"; // a default is copied without a terminator: callers zero their buffers
    files::put("/data/main.ini", "[MMI]\r\n");
    EXPECT_EQ(Get_CfgValue("/data/main.ini", "MMI", "key", out, "d"), 0);
    EXPECT_STREQ(out, "dstale");
}

TEST(MainConfig, ParameterLists) {
    ConfigPara records[12];
    const struct { const char *text, *key, *value; int room, count; } rows[] = {
        {"lowvolt: 20 ;:skipped; temp :600;none;late:1", "temp", "600", 255, 2},
        {"lowvolt: 20 ;:skipped; temp :600;none;late:1", "low", "20", 255, 2}, // here the record's key begins with the one asked for
        {"lowvolt: 20 ;:skipped; temp :600;none;late:1", "lowvoltage", "def", 255, 2},
        {"a:", "a", "def", 255, 0}, // too short
        {"a:1;;b:2", "b", "def", 255, 1},
        {"a:12345", "a", "123", 3, 1},
    };
    for (const auto &row : rows) {
        char out[CFG_TEXT] = {};
        EXPECT_EQ(tki_config_parse_parameter(row.text, records, 12), row.count) << row.text;
        EXPECT_EQ(tki_config_get_para_value(records, row.count, row.key, out, row.room, "def"), static_cast<int>(strlen(row.value)));
        EXPECT_STREQ(out, row.value) << row.text;
    }
    EXPECT_EQ(tki_config_parse_parameter("a:1;b:2;c:3", records, 2), 2);
    EXPECT_EQ(tki_config_parse_parameter((std::string(400, 'k') + ":1;b:2").c_str(), records, 2), 0);
}

TEST(MainConfig, ReadsAllSettings) {
    g_cfg_device = "/data/cfg";
    files::put("/data/cfg", std::string(8192, '\0'));
    files::put(MAIN, crlf("[MMI]\nLanguage=Chinese\nbatteryParameter=OS_AutoTurnOffTime:1200;OSIdle:0;sys_backlight:/sys/b\n"
                          "UEShape=3\nrestore_autotest=1\nLogPath=/data/tki\n"));
    files::put(LANGUAGE, crlf("[Chinese]\nResult_pass=TONGGUO\n[English]\nResult_pass=PASS\nResult_fail=FAIL\n"));
    ASSERT_EQ(cfg_set("vxo.pvapk.lang", "en-US"), 1);
    EXPECT_EQ(mmi_initconfig(), 0);
    EXPECT_STREQ(g_cItemPass, "PASS") << "the stored language counts";
    EXPECT_STREQ(g_cItemBack, "softkeybar_back") << "a missing text shows its key";
    EXPECT_EQ((std::vector<int>{g_autoTurnOffTime, g_autoSleepTime, g_batteryWarningVolt, g_powerofftemp}),
              (std::vector<int>{1200, 90, 30, 600}));
    EXPECT_EQ((std::vector<int>{g_bCfgOsIsCanIdle, g_bOsIsCanIdle, g_bRestoreAutotest}), (std::vector<int>{0, 0, 1}));
    EXPECT_STREQ(g_cSysBacklight, "/sys/b");
    EXPECT_STREQ(g_chAgingLogPath, "/data/tki/aging/");
    std::filesystem::remove(LANGUAGE);
    EXPECT_EQ(mmi_initconfig(), -1);
    g_cfg_device = "/dev/block/bootdevice/by-name/vxocfg";
}

TEST(MainConfig, LanguageTableKeepsItsLastSlotEmpty) {
    std::string text = "[English]\r\n";
    for (int i = 0; i < 2100; ++i) text += "key" + std::to_string(i) + "=value\r\n";
    files::put(LANGUAGE, text);
    ASSERT_EQ(Get_CfgValueList(LANGUAGE, "English"), 0);
    char out[CFG_TEXT] = {};
    EXPECT_EQ(Read_LangCfgFromList("key1998", out), 0);
    EXPECT_EQ(Read_LangCfgFromList("key1999", out), -1);
    EXPECT_EQ(Read_LangCfgFromList(nullptr, out), -1);
}

TEST(TestItems, EnabledOnesInTableOrder) {
    files::put(MAIN, crlf("[TKI_KEYS]\nenable=1\nauto=0\nmmi=1\npre=0\nparameter=a:1;b:2\n[TKI_LCD]\nenable=1\n"));
    for (int i = 0; i < 10; ++i) Get_TestItem_Config(1); // replaced lists are let go in time
    std::string listed;
    for (const TestItemNode *node = g_testitem_list; node; node = node->pNodeNext) {
        const TestItem &item = node->testitem;
        listed += item.config_domain;
        for (const int value : {item.item_index, item.item_auto, item.item_mmi, item.item_pre}) listed += " " + std::to_string(value);
        listed += " " + std::string(item.parameter) + ";";
    }
    EXPECT_EQ(listed, "TKI_LCD 0 1 0 1 ;TKI_KEYS 1 0 1 0 a:1;b:2;");
    ConfigPara records[4];
    EXPECT_EQ(test_item_parameters("TKI_KEYS", records, 4), 2);
    Get_AuxLCD_TestItem_Config(1);
    EXPECT_EQ(g_testitem_count, 1);
    std::filesystem::remove(MAIN);
    Get_TestItem_Config(1);
    EXPECT_EQ(g_testitem_list, nullptr);
}

TEST(TestItems, DomainsArePrefixes) {
    static int stopped = 0;
    TestItemWinMenu_TOTAL[0].item_stop = [] { ++stopped; };
    EXPECT_EQ(tki_config_Get_TestItem_Config_Paras("TKI_LCD_MORE"), 0);
    EXPECT_EQ(tki_config_Get_TestItem_Config_Paras("TKI_LC"), -1);
    EXPECT_EQ(tki_config_Get_TestItem_Config_Paras(nullptr), -1);
    const struct { const char *domain; int result; } rows[] = {{"TKI_LCD", 0}, {"TKI_LOOPBACK", -1}, {nullptr, -1}};
    for (const auto &row : rows) { // the second has no stop function
        set_current_test_domain(row.domain);
        EXPECT_EQ(Check_AllTestWnd_Closed(), row.result);
    }
    EXPECT_EQ(stopped, 1);
}
