#include <cstring>
#include <support/fake_flags.h>
#include <thread>
#include <tki_factory.h>
#include <tp_clock.h>

#include "shell/device_list.h"
#include "shell/sequencer.h"
#include "shell/test_info.h"
#include "shell/verdict_digits.h"
#include "shell_fixture.h"

namespace {

struct ListsTest : ShellTest {
    void SetUp() override {
        ShellTest::SetUp();
        fake_flags::install();
    }
};

// ---- device list

TEST_F(ListsTest, PretestRowsNeedTheirSettingAndTheListAConfiguration) {
    open_menu();
    mmi_DeviceTestEntry();
    EXPECT_EQ(g_device_test_wnd, HWND_NULL);
    const struct { const char *config; size_t rows; int close; } cases[] = { // key 60 closes, although lists elsewhere choose by it
        {"[MMI]\npretest_menu_enable=1\n", 4, KEY_PASS},
        {"[MMI]\npretest_menu_enable=0\n", 2, KEY_FAIL},
        {"[MMI]\nx=1\n", 2, KEY_FAIL}};
    for (const auto &c : cases) {
        config(c.config);
        mmi_DeviceTestEntry();
        EXPECT_EQ(rows().size(), c.rows);
        EXPECT_EQ(softkeys(), "||softkeybar_back");
        key(c.close);
        EXPECT_EQ(g_device_test_wnd, HWND_NULL);
        EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    }
}

TEST_F(ListsTest, PassedHandsetIsAskedFirst) {
    const struct {
        int station, row;
        const char *asked; // empty: starts at once
    } rows[] = {{64, 0, "menu_AutoTest"}, {64, 2, "menu_AutoTest_EX"}, {64, 3, "menu_AutoTest_EX2"},
                {65, 0, "menu_AutoTest"}, {65, 2, "menu_AutoTest_EX"}, {65, 3, ""}, {66, 0, ""}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "station " << row.station << " row " << row.row);
        start(720, 1280);
        fake_flags::install();
        fake_flags::set(row.station, 1);
        if (!*row.asked) fake_flags::set(66, 1); // lets pretest 2 start
        config("[MMI]\npretest_menu_enable=1\n[TKI_LCD]\nenable=1\npre=0\nparameter=\n[TKI_KEYS]\nenable=1\nparameter=\n");
        open_menu();
        mmi_DeviceTestEntry();
        scrollview_set_current(GetDlgItem(GetActiveWindow(), 21), row.row, true);
        key(KEY_START);
        EXPECT_EQ(shows("info_continuetest"), *row.asked != '\0');
        EXPECT_EQ(g_opened.size(), *row.asked ? 0u : 1u);
        EXPECT_TRUE(!*row.asked || shows(row.asked));
    }
}

// ---- verdict digits and the information screen

TEST_F(ListsTest, VerdictDigits) {
    using namespace fake_flags;
    EXPECT_EQ(verdict_digits(area), "0");
    set(4, 1);
    set(5, 2);
    set(3, 1);   // reserved: not shown
    set(64, 2);  // only as the overall digit
    set(280, 1); // the operator's stations are not shown
    EXPECT_EQ(verdict_digits(area), "122");
    for (StationRow &row : g_testinfo)
        if (row.number < 200) set(row.number, 1);
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

void answer(const char *software) {
    tki_testinfo_record info{};
    std::strcpy(info.software_version, software);
    std::strcpy(info.hardware_version, "HW1");
    std::strcpy(info.psn, "PSN1");
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
    config("[MMI]\nx=0\n");
    mmi_TestInfoEntry();
    answer("ONE");
    tp_gui_pump();
    EXPECT_EQ(rows()[2], "menu_PSN\nPSN1") << "shown unless switched off";
    key(KEY_PASS);
    EXPECT_EQ(stops, 2);
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    Get_testinfo_callback(nullptr);
}

TEST_F(InfoTest, ReadersAskCopyAndForget) {
    tp_clock_set_scale(50);
    static const char *software;
    tki_api_Get_TestInfo = [](tki_callback cb) {
        asked = cb;
        answer(software);
        return 0;
    };
    char out[4] = "xyz";
    software = "EXT\nINT";
    EXPECT_EQ(test_info_read_field(TEST_INFO_IMEI, out, 2), 1);
    EXPECT_STREQ(out, "PSz") << "no terminator is added";
    EXPECT_EQ(stops, 1);
    software = "ONE";
    EXPECT_EQ(test_info_read_field(TEST_INFO_INTERNAL_SOFTWARE, out, sizeof out), 0) << "a version of one line";
    EXPECT_STREQ(out, "PSz");
}

} // namespace
