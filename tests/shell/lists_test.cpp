#include <algorithm>
#include <cstring>
#include <thread>
#include <tki_factory.h>
#include <tp_clock.h>

#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/device_list.h"
#include "shell/sequencer.h"
#include "shell/test_info.h"
#include "shell/verdict_digits.h"
#include "shell_fixture.h"

namespace {

uint8_t area[TKI_FLAG_AREA];
int read_area(uint8_t *out) {
    std::memcpy(out, area, sizeof area);
    return 0;
}
void set_station(int station, int value) { SetSignInOneByte(&area[station / 4], station % 4, value); }

class ListsTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        std::memset(area, 0, sizeof area);
        tki_api_GetTestInfoFlag = read_area;
    }
    void choose(int row, int code = KEY_START) {
        scrollview_set_current(GetDlgItem(GetActiveWindow(), 21), row, true);
        key(code);
    }
};

// ---- device list

TEST_F(ListsTest, PretestRowsNeedTheirSetting) {
    const struct {
        const char *config;
        size_t rows;
    } cases[] = {
        {"[MMI]\npretest_menu_enable=1\n", 4}, {"[MMI]\npretest_menu_enable=0\n", 2}, {"[MMI]\nx=1\n", 2}};
    for (const auto &c : cases) {
        start(720, 1280);
        config(c.config);
        open_menu();
        mmi_DeviceTestEntry();
        tp_gui_pump();
        EXPECT_EQ(rows().size(), c.rows);
        EXPECT_EQ(softkeys(), "||softkeybar_back");
        EXPECT_TRUE(shows("title_DeviceTest"));
        key(c.rows == 4 ? KEY_PASS : KEY_FAIL); // both close, although lists elsewhere choose by key 60
        EXPECT_EQ(g_device_test_wnd, HWND_NULL);
        EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    }
    start(720, 1280); // no configuration: no list
    open_menu();
    mmi_DeviceTestEntry();
    EXPECT_EQ(g_device_test_wnd, HWND_NULL);
}

TEST_F(ListsTest, PassedHandsetIsAskedFirst) {
    const struct {
        int station, row;
        const char *asked; // empty: starts at once
    } rows[] = {
        {64, 0, "menu_AutoTest"},
        {64, 2, "menu_AutoTest_EX"},
        {64, 3, "menu_AutoTest_EX2"},
        {65, 0, "menu_AutoTest"},
        {65, 2, "menu_AutoTest_EX"},
        {65, 3, ""},
        {66, 0, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "station " << row.station << " row " << row.row);
        start(720, 1280);
        tki_api_GetTestInfoFlag = read_area;
        std::memset(area, 0, sizeof area);
        set_station(row.station, 1);
        if (!*row.asked) set_station(66, 1); // lets pretest 2 start
        config("[MMI]\npretest_menu_enable=1\n[TKI_LCD]\nenable=1\npre=0\nparameter=\n[TKI_KEYS]\nenable="
               "1\nparameter=\n");
        open_menu();
        mmi_DeviceTestEntry();
        choose(row.row);
        EXPECT_EQ(shows("info_continuetest"), *row.asked != '\0');
        EXPECT_EQ(g_opened.size(), *row.asked ? 0u : 1u);
        if (!*row.asked) continue;
        EXPECT_TRUE(shows(row.asked));
        key(KEY_PASS);
        EXPECT_TRUE(g_opened.empty());
    }
}

TEST_F(ListsTest, NothingIsChosenDuringARun) {
    config("[MMI]\npretest_menu_enable=0\n[TKI_LCD]\nenable=1\nparameter=\n");
    open_menu();
    mmi_DeviceTestEntry();
    choose(0);
    EXPECT_EQ(g_deviceIsAutoTest, 1);
    EXPECT_EQ(g_opened.size(), 1u);
    choose(0);
    EXPECT_EQ(g_opened.size(), 1u);
}

// ---- item list

TEST_F(ListsTest, ItemsCarryTheirVerdictAndOpenAlone) {
    config("[MMI]\npretest_menu_enable=0\n[TKI_LCD]\nenable=1\nparameter=\n[TKI_KEYS]\nenable=1\nparameter="
           "\n[TKI_TPSELF]\nenable=1\nparameter=\n"
           "[TKI_TOUCH]\nenable=1\nparameter=\n");
    set_station(280, 1);
    set_station(312, 2);
    open_menu();
    mmi_ItemTestEntry();
    tp_gui_pump();
    EXPECT_EQ(rows(), (std::vector<std::string>{"menu_LCDTest", "menu_KeyTest", "title_TPSelfTest",
                                                "menu_TouchTest"}));
    EXPECT_EQ(color_of("menu_LCDTest"), 10);
    EXPECT_EQ(color_of("menu_KeyTest"), 12);
    EXPECT_EQ(color_of("title_TPSelfTest"), 19);
    EXPECT_EQ(color_of("menu_TouchTest"), 19);
    choose(1, KEY_PASS);
    EXPECT_EQ(g_opened, std::vector<std::string>{"TKI_KEYS"});
    EXPECT_EQ(g_deviceIsAutoTest, 0);
    set_station(312, 1); // what the test wrote is seen when the list comes back
    SendMessage(GetActiveWindow(), MSG_ACTIVE, 1, 0);
    tp_gui_pump();
    EXPECT_EQ(color_of("menu_KeyTest"), 10);
    key(KEY_FAIL);
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
}

// ---- verdict digits and the information screen

TEST_F(ListsTest, VerdictDigits) {
    EXPECT_EQ(verdict_digits(area), "0");
    set_station(4, 1);
    set_station(5, 2);
    set_station(3, 1);   // reserved: not shown
    set_station(64, 2);  // only as the overall digit
    set_station(280, 1); // the operator's stations are not shown
    EXPECT_EQ(verdict_digits(area), "122");
    set_station(64, 1);
    EXPECT_EQ(verdict_digits(area), "121");
    for (StationRow &row : g_testinfo)
        if (row.number < 200) set_station(row.number, 1);
    const std::string most = verdict_digits(area);
    EXPECT_LE(most.size(), 101u);
    EXPECT_EQ(most.back(), '1');
}

tki_callback asked;
int stops;
int keep_callback(tki_callback cb) {
    asked = cb;
    return 0;
}
int count_stop() { return ++stops; }

void answer(const char *software, const char *psn = "PSN1") {
    tki_testinfo_record info{};
    std::snprintf(info.software_version, sizeof info.software_version, "%s", software);
    std::strcpy(info.hardware_version, "HW1");
    std::snprintf(info.psn, sizeof info.psn, "%s", psn);
    std::strcpy(info.boardnum, "BOARD1");
    std::strcpy(info.flash_info, "FLASH1");
    tki_module_data module{TKI_MODULE_TESTINFO, 0, &info};
    std::thread([&] { asked(&module); }).join();
}

class InfoTest : public ListsTest {
protected:
    void SetUp() override {
        ListsTest::SetUp();
        tki_api_Get_TestInfo = keep_callback;
        tki_api_Get_TestInfo_Stop = count_stop;
        asked = nullptr;
        stops = 0;
    }
};

TEST_F(InfoTest, ScreenFillsItselfWhenTheAnswerArrives) {
    config("[MMI]\nshow_psn=0\n");
    open_menu();
    mmi_TestInfoEntry();
    tp_gui_pump();
    EXPECT_TRUE(rows().empty());
    ASSERT_NE(asked, nullptr);
    answer("EXT\nINT");
    tp_gui_pump();
    answer("EXT\nINT"); // a second answer replaces, not appends
    tp_gui_pump();
    EXPECT_EQ(rows(),
              (std::vector<std::string>{"menu_SoftVer\nEXT\nINT", "menu_HardVer\nHW1", "menu_PSN\n",
                                        "menu_FlagBit\n0\n", "menu_SN\nBOARD1", "menu_FlashType\nFLASH1"}));
    key(KEY_FAIL);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    config("[MMI]\nx=0\n");
    mmi_TestInfoEntry();
    answer("ONE");
    tp_gui_pump();
    EXPECT_EQ(rows()[0], "menu_SoftVer\nONE");
    EXPECT_EQ(rows()[2], "menu_PSN\nPSN1") << "shown unless switched off";
    key(KEY_PASS);
    EXPECT_EQ(stops, 2);
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    Get_testinfo_callback(nullptr);
}

TEST_F(InfoTest, ReadersAskCopyAndForget) {
    tp_clock_set_scale(50);
    const struct {
        int field;
        const char *text;
    } rows[] = {{TEST_INFO_BARCODE, "BOARD1"},        {TEST_INFO_IMEI, "PSN1"},
                {TEST_INFO_INTERNAL_SOFTWARE, "INT"}, {TEST_INFO_EXTERNAL_SOFTWARE, "EXT"},
                {TEST_INFO_HARDWARE, "HW1"},          {TEST_INFO_FLASH_TYPE, "FLASH1"}};
    tki_api_Get_TestInfo = [](tki_callback cb) {
        asked = cb;
        answer("EXT\nINT");
        return 0;
    };
    for (const auto &row : rows) {
        char out[32] = {};
        EXPECT_EQ(test_info_read_field(row.field, out, sizeof out), 1);
        EXPECT_STREQ(out, row.text);
    }
    EXPECT_EQ(stops, 6);
    char out[4] = "xyz";
    EXPECT_EQ(test_info_read_field(TEST_INFO_IMEI, out, 2), 1);
    EXPECT_STREQ(out, "PSz") << "no terminator is added";
    tki_api_Get_TestInfo = [](tki_callback cb) {
        asked = cb;
        answer("ONE");
        return 0;
    };
    EXPECT_EQ(test_info_read_field(TEST_INFO_INTERNAL_SOFTWARE, out, sizeof out), 0)
        << "a version of one line";
    EXPECT_STREQ(out, "PSz");
}

} // namespace
