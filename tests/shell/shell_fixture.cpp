#include "shell_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_os.h>
#include <unistd.h>

#include "config/main_config.h"
#include "config/test_items.h"
#include "device/battery.h"
#include "device/factory_slots.h"
#include "device/power.h"
#include "device/result_flags.h"
#include "shell/sequencer.h"
#include "shell/shell_actions.h"

namespace {

void reset_slots() {
    tki_api_LCD_Get_Info = fake_panel::get_info;
    tki_api_LCD_Refresh = fake_panel::refresh;
    tki_api_Get_TestInfo = nullptr;
    tki_api_GetTestInfoFlag = nullptr;
    TKI_API_BatteryService_register_Observer = TKI_API_BatteryService_unregister_Observer = nullptr;
    g_shell_actions = ShellActions();
}

void reset_state() {
    g_wifi_state = g_wifi_connecting = g_main_wifi_init_flag = 0;
    g_dialogcouldshow = 1;
    g_iCreateDialog = g_bCurrentSleepStatus = g_bWiFiConnectStatus = g_deviceIsAgingTest = 0;
    qrcode_refresh_flag = 0;
    g_bOsIsCanIdle = g_bCfgOsIsCanIdle = 1;
    g_bRestoreAutotest = g_deviceIsAutoTest = g_autotest_run_mode = 0;
    g_batteryVolt = -1;
    g_batteryWarningVolt = 30;
    for (StationRow &row : g_testinfo) row.test_result = 0;
    g_opened.clear();
}

} // namespace

void ShellTest::start(int width, int height) {
    if (tp_is_gui_thread()) TearDown();
    tp_os_thread_init();
    reset_slots();
    reset_state();
    fake_panel::resize(width, height);
    for (const char *file : {"/etc/tki_config.ini", "/data/pv_autotest_latest_pass", "/data/pv_autotest_restore_flag"})
        unlink(file);
    ASSERT_EQ(tp_man_lcd_get_info_only(), 0);
    ASSERT_EQ(InitGUI(), 0);
}

void ShellTest::TearDown() {
    if (g_main_menu_wnd != HWND_NULL) SendMessage(g_main_menu_wnd, MSG_CLOSE, 0, 0);
    TerminateGUI();
    tp_clock_set_scale(1);
}

void ShellTest::write_text(const char *path, const std::string &text) { std::ofstream(path) << text; }

void ShellTest::config(const std::string &text) {
    std::string lines;
    for (const char c : text) {
        if (c == '\n' && (lines.empty() || lines.back() != '\r')) lines += '\r';
        lines += c;
    }
    write_text("/etc/tki_config.ini", lines);
}

std::string ShellTest::read_text(const char *path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool ShellTest::exists(const char *path) { return access(path, F_OK) == 0; }

bool ShellTest::pump_until(const std::function<bool()> &condition, int ms) {
    const int64_t end = tp_clock_mono_ns() + static_cast<int64_t>(ms * 1e6 * tp_clock_scale());
    while (!condition()) {
        if (tp_clock_mono_ns() > end) return false;
        tp_gui_pump();
        tp_clock_sleep_us(500);
    }
    tp_gui_pump();
    return true;
}

HWND ShellTest::open_window(WNDPROC proc, int width, int height, HWND host) {
    MAINWINCREATE info;
    info.MainWindowProc = proc;
    info.rx = width;
    info.by = height;
    info.hHosting = host;
    const HWND window = CreateMainWindow(&info);
    ShowWindow(window, SW_SHOWNORMAL);
    tp_gui_pump();
    return window;
}

int ShellTest::from_pc(const std::function<int()> &body) {
    std::atomic<bool> done{false};
    int result = -1;
    std::thread pc([&] {
        result = body();
        done = true;
    });
    EXPECT_TRUE(pump_until([&] { return done.load(); }));
    pc.join();
    return result;
}

bool ShellTest::shows(const std::string &text) {
    return tp_gui_dump().find("\"text\":\"" + text + "\"") != std::string::npos;
}

std::string ShellTest::softkeys() {
    const std::string dump = tp_gui_dump();
    std::smatch keys;
    if (!std::regex_search(dump, keys, std::regex(R"re("softkeys":\["(.*?)","(.*?)","(.*?)"\])re"))) return "none";
    return keys.str(1) + "|" + keys.str(2) + "|" + keys.str(3);
}

int ShellTest::color_of(const std::string &text) {
    const std::string dump = tp_gui_dump();
    size_t at = dump.rfind("\"text\":\"" + text + "\"");
    if (at == std::string::npos) return -2;
    at = dump.find("\"color\":", at);
    return std::atoi(dump.c_str() + at + 8);
}

std::vector<std::string> ShellTest::rows() {
    std::vector<std::string> texts;
    const HWND sv = GetDlgItem(GetActiveWindow(), 21);
    for (int i = 0; i < scrollview_get_item_count(sv); ++i)
        texts.emplace_back(scrollview_get_item_text(scrollview_get_item(sv, i)));
    return texts;
}
