#include <cstring>
#include <thread>
#include <tp_clock.h>
#include <tp_globals.h>

#include "device/battery.h"
#include "device/factory_slots.h"
#include "device/power.h"
#include "device/result_flags.h"
#include "shell/bars.h"
#include "shell/dialog.h"
#include "shell/menu_internal.h"
#include "shell/shell_actions.h"
#include "shell_fixture.h"

namespace {

int calls[2];
void first_called() { ++calls[0]; }
void second_called() { ++calls[1]; }

struct MenuTest : ShellTest {
    void SetUp() override {
        ShellTest::SetUp();
        calls[0] = calls[1] = 0;
    }
};

void ask(int kind, const char *text = nullptr) {
    SendMessage(g_main_menu_wnd, MSG_CREATEDIALG, reinterpret_cast<WPARAM>(text), kind);
    tp_gui_pump();
}

TEST_F(MenuTest, RowsFollowTheConfiguration) {
    const struct {
        const char *text;
        std::vector<std::string> added;
    } cases[] = {
        {"[MAIN_UI]\naging=0\n", {}},
        {"[MAIN_UI]\ncoupleTest=1\naging=1\n", {"menu_CoupleTest", "title_AgingTest"}},
        {"[MAIN_UI]\ncoupleTest=0\n", {"title_AgingTest"}}, // absent means shown
        {"", {"title_AgingTest"}},
    };
    for (const auto &c : cases) {
        start(720, 1280);
        if (*c.text) config(c.text);
        open_menu();
        std::vector<std::string> expected{"menu_ProduceInfo", "menu_DeviceTest"};
        expected.insert(expected.end(), c.added.begin(), c.added.end());
        EXPECT_EQ(rows(), expected);
    }
}

TEST_F(MenuTest, AddedRowsOpenTheirParts) {
    config("[MAIN_UI]\ncoupleTest=1\naging=1\n");
    open_menu();
    scrollview_set_current(GetDlgItem(g_main_menu_wnd, 21), 2, true);
    key(KEY_PASS); // not built in: nothing happens
    g_shell_actions.coupling_entry = first_called;
    g_shell_actions.aging_list_entry = second_called;
    for (const int code : {KEY_PASS, KEY_VOLDOWN, KEY_PASS}) key(code);
    EXPECT_EQ(calls[0], 1);
    EXPECT_EQ(calls[1], 1);
}

TEST_F(MenuTest, TooManyRowsLeaveTheMenuWithoutBars) {
    config("[MAIN_UI]\ncoupleTest=1\naging=0\n");
    for (int n = 2; n < MENU_ROWS; ++n) g_menu_rows[n].entry = first_called;
    open_menu();
    EXPECT_EQ(rows().size(), 5u);
    EXPECT_EQ(softkeys(), "none");
    for (int n = 2; n < MENU_ROWS; ++n) g_menu_rows[n].entry = nullptr;
}

// The top edge follows the width, the bottom edge the height.
TEST_F(MenuTest, WindowsStandBetweenTheBars) {
    start(1440, 3120);
    open_menu();
    RECT r{};
    GetWindowRect(g_main_menu_wnd, &r);
    EXPECT_EQ(r.top, 130);
    EXPECT_EQ(r.bottom, 3120 - 270);
}

TEST_F(MenuTest, RefreshShowsBatteryAndWifi) {
    open_menu();
    const struct {
        int wifi, init, battery;
        const char *keys;
        int color, battery_color;
    } rows[] = {{0, 0, 31, "||", -2, 19},
                {0, 1, 30, "|softkeybar_connect|", 12, 12},
                {1, 0, 0, "|softkeybar_connect|", 12, 12},
                {2, 0, 100, "|softkeybar_disconnect|", 7, 19}};
    for (const auto &row : rows) {
        g_wifi_state = row.wifi;
        g_main_wifi_init_flag = row.init;
        g_batteryVolt = row.battery;
        SendMessage(g_main_menu_wnd, MSG_ACTIVE, 1, 0);
        tp_gui_pump();
        EXPECT_EQ(softkeys(), row.keys);
        EXPECT_EQ(color_of(row.wifi == 2 ? "softkeybar_disconnect" : "softkeybar_connect"), row.color);
        EXPECT_EQ(color_of(std::to_string(row.battery) + "%"), row.battery_color);
    }
}

TEST_F(MenuTest, TitleComesFromAnyThreadExceptDuringAging) {
    open_menu();
    std::thread([] { TitleInfoShow("low battery", 1, 1); }).join();
    tp_gui_pump();
    EXPECT_EQ(color_of("low battery"), 12);
    g_deviceIsAgingTest = 1;
    TitleInfoShow("other", 1, 0);
    TitleInfoShow("77%", 2, 2);
    tp_gui_pump();
    EXPECT_EQ(color_of("low battery"), 12) << "the aging run owns the title; 2 leaves the colour";
    EXPECT_TRUE(shows("77%"));
}

// ---- dialogs

TEST_F(MenuTest, DialogKeepsTheHandsetAwakeUntilAnswered) {
    open_menu();
    g_shell_actions.power_off_entry = first_called;
    for (const int button : {KEY_FAIL, KEY_PASS}) {
        ask(1);
        EXPECT_EQ(g_bOsIsCanIdle * 10 + g_dialogcouldshow, 0);
        EXPECT_EQ(g_iCreateDialog, 1);
        key(button);
        EXPECT_EQ(g_bOsIsCanIdle * 10 + g_dialogcouldshow, 11);
        EXPECT_EQ(g_iCreateDialog, 0);
        EXPECT_EQ(calls[0], button == KEY_PASS ? 1 : 0);
    }
    ask(4); // unknown
    EXPECT_EQ(g_bOsIsCanIdle * 10 + g_dialogcouldshow, 11);
    ask(1);
    ask(4);
    key(KEY_PASS); // the current dialog stayed, with its meaning
    EXPECT_EQ(calls[0], 2);
}

TEST_F(MenuTest, NewerDialogTakesTheOldOnesPlace) {
    open_menu();
    g_shell_actions.power_off_entry = first_called;
    char text[] = "battery 5%";
    ask(1);
    ask(2, text);
    text[0] = 'X'; // the caller's text is gone by the time it is painted again
    UpdateWindow(GetActiveWindow(), true);
    EXPECT_TRUE(shows("battery 5%"));
    EXPECT_FALSE(shows("title_PowerOff"));
    key(KEY_PASS);
    EXPECT_EQ(calls[0], 0);
    EXPECT_EQ(g_bOsIsCanIdle, 1) << "as it was before the first dialog";
    // An answer that is on its way belongs to the dialog that was answered.
    ask(2, "first");
    PostMessage(GetActiveWindow(), MSG_KEYDOWN, KEY_PASS, 0);
    PostMessage(GetActiveWindow(), MSG_KEYUP, KEY_PASS, 0);
    PostMessage(g_main_menu_wnd, MSG_CREATEDIALG, 0, 1);
    tp_gui_pump();
    EXPECT_TRUE(shows("title_PowerOff"));
    EXPECT_EQ(calls[0], 0);
}

std::vector<std::string> observers;
int note_register(const char *kind, tki_observer) {
    observers.push_back(std::string("+") + kind);
    return 0;
}
int note_unregister(const char *kind, tki_observer) {
    observers.push_back(std::string("-") + kind);
    return 0;
}

TEST_F(MenuTest, TouchPanelAlertRepeatsWhileFailedOnly) {
    TKI_API_BatteryService_register_Observer = note_register;
    TKI_API_BatteryService_unregister_Observer = note_unregister;
    open_menu();
    observers.clear();
    Get_tpstatus_callback(3);
    tp_gui_pump();
    EXPECT_TRUE(shows("TP ERROR") && shows("title_TPFState"));
    key(KEY_PASS);
    EXPECT_TRUE(shows("title_TPFState")) << "asks again";
    EXPECT_EQ(observers, (std::vector<std::string>{"+TPHARDWARE", "-TPHARDWARE"}));
    Get_tpstatus_callback(0);
    tp_gui_pump();
    EXPECT_TRUE(shows("title_TPOState"));
    key(KEY_PASS);
    EXPECT_FALSE(shows("TP ERROR"));
    Get_tpstatus_callback(1); // pending for good
    tp_gui_pump();
    EXPECT_FALSE(shows("TP ERROR"));
}

// ---- power key

TEST_F(MenuTest, AHeldPowerKeyAsksOneQuestionAtATime) {
    EXPECT_TRUE(power_press_is_short(799999999));
    EXPECT_FALSE(power_press_is_short(800000000));
    open_menu();
    tp_clock_set_scale(20);
    const auto asked = [](int ms) { return pump_until([] { return g_iCreateDialog == 1; }, ms); };
    for (const int could_show : {1, 1, 0}) { // the dialog mutex is free again
        g_dialogcouldshow = could_show;
        press(KEY_POWER_CODE);
        EXPECT_EQ(asked(could_show ? 5000 : 100), could_show == 1);
        release(KEY_POWER_CODE);
        key(KEY_FAIL);
        EXPECT_EQ(g_iCreateDialog, 0);
    }
    g_dialogcouldshow = 1;
}

TEST_F(MenuTest, MenuClosesUnderAHeldPowerKey) {
    open_menu();
    press(KEY_POWER_CODE);
    SendMessage(g_main_menu_wnd, MSG_CLOSE, 0, 0); // joins the watcher
    EXPECT_EQ(g_main_menu_wnd, HWND_NULL);
}

// ---- touch lock

TEST_F(MenuTest, FourUnlockKeysInSevenSeconds) {
    EXPECT_TRUE(unlock_in_time(0, 7000999999));
    EXPECT_FALSE(unlock_in_time(0, 7001000000));
    open_menu();
    tp_clock_set_scale(200);
    menu_lock_touch();
    for (const int code : {KEY_CLOSE, KEY_VOLUP, KEY_VOLDOWN}) key(code);
    tp_clock_sleep_ms(7100); // too late: counted anew
    key(KEY_VOLUP);
    tp_clock_set_scale(1);
    for (int n = 0; n < 3; ++n) key(KEY_VOLDOWN);
    EXPECT_EQ(g_bWiFiConnectStatus, 1);
    EXPECT_EQ(scrollview_get_current(GetDlgItem(g_main_menu_wnd, 21)), 0) << "the rows do not move meanwhile";
    key(KEY_VOLDOWN);
    EXPECT_EQ(g_bWiFiConnectStatus, 0);
    EXPECT_TRUE(menu_unlocked_by_gesture());
}

// ---- WiFi

int closed_with = -1;
void close_wifi(int mode) { closed_with = mode; }
int thread_exists() { return 0; }

TEST_F(MenuTest, WifiKeyTogglesTheConnection) {
    open_menu();
    key(KEY_START); // not built in: must not lock the menu
    EXPECT_EQ(g_bWiFiConnectStatus, 0);
    g_shell_actions.wifi_connect_start = first_called;
    g_shell_actions.wifi_probe_connect = thread_exists;
    g_shell_actions.wifi_close = close_wifi;
    closed_with = -1;
    key(KEY_START);
    EXPECT_EQ(calls[0], 1);
    EXPECT_EQ(closed_with, 0) << "an older thread ends first";
    EXPECT_EQ(softkeys(), "|softkeybar_connecting|");
    EXPECT_EQ(color_of("softkeybar_connecting"), 9);
    EXPECT_EQ(g_bWiFiConnectStatus, 1);
    PostMessage(g_main_menu_wnd, MSG_KEYDOWN, KEY_START, 0);
    tp_gui_pump();
    EXPECT_EQ(calls[0], 1) << "one connection at a time";

    g_shell_actions.wifi_monitor_start = second_called;
    g_wifi_state = 2;
    g_wifi_connecting = 0;
    SendMessage(g_main_menu_wnd, MSG_CALLBACK, 0, 0);
    EXPECT_EQ(calls[1], 1);
    EXPECT_EQ(softkeys(), "|softkeybar_disconnect|");
    closed_with = -1;
    PostMessage(g_main_menu_wnd, MSG_KEYDOWN, KEY_START, 0);
    tp_gui_pump();
    EXPECT_EQ(closed_with, 0);
    g_wifi_state = 1;
    SendMessage(g_main_menu_wnd, MSG_CALLBACK, 0, 0);
    EXPECT_EQ(g_bWiFiConnectStatus, 0);
    EXPECT_EQ(softkeys(), "|softkeybar_connect|");
}

TEST_F(MenuTest, DisabledMenuShowsTheAddressOrEnds) {
    for (const auto &[width, side] : {std::pair{720, 174}, {721, 348}}) {
        start(width, 1280);
        open_menu();
        g_wifi_state = 2;
        EXPECT_EQ(mmi_AutoTest_MMI_Disable(), 1);
        RECT r{};
        ASSERT_TRUE(GetWindowRect(GetDlgItem(g_main_menu_wnd, 22), &r));
        EXPECT_EQ(RECTW(r), side);
        EXPECT_EQ(RECTH(r), side);
        EXPECT_EQ(g_bWiFiConnectStatus, 1);
    }
    mmi_AutoTest_MMI_Enable();
    SendMessage(g_main_menu_wnd, MSG_ACTIVE, 1, 0);
    EXPECT_EQ(GetDlgItem(g_main_menu_wnd, 22), HWND_NULL);
    g_wifi_state = 1;
    mmi_AutoTest_MMI_Disable();
    EXPECT_EQ(g_main_menu_wnd, HWND_NULL);
    EXPECT_EQ(g_bWiFiConnectStatus, 0);
}

// ---- bars

TEST_F(MenuTest, ABlankPartOfTheSoftKeyBarOffersNoKey) {
    open_menu();
    const RECT r{0, screen_height() - softkey_bar_height(), screen_width(), screen_height()};
    const HWND bar = svr_create_softkeybar(g_main_menu_wnd, &r); // the one there is
    static std::vector<int> seen;
    seen.clear();
    const MSGHOOK hook = [](void *, HWND, UINT message, WPARAM code, LPARAM) {
        seen.push_back(static_cast<int>(message == MSG_KEYDOWN ? code : 0 - code));
        return 1;
    };
    const MSGHOOK menu_hook = RegisterKeyMsgHook(nullptr, hook);
    tp_skb_set_text_items("a", " ", "c");
    for (const int x : {10, 360, 710}) {
        PostMessage(bar, MSG_LBUTTONDOWN, 0, MAKELONG(x, 5));
        PostMessage(bar, MSG_LBUTTONUP, 0, MAKELONG(x, -500));
        tp_gui_pump();
    }
    EXPECT_EQ(seen, (std::vector<int>{60, -60, 61, -61}));
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    RegisterKeyMsgHook(nullptr, menu_hook);
}

TEST_F(MenuTest, ANewTitleStaysBelowAFullScreen) {
    open_menu();
    const HWND full = open_window(DefaultMainWinProc, 720, 1280, g_main_menu_wnd);
    const uint32_t ground = fake_panel::pixel(360, 640);
    TitleInfoShow("hidden below", 1, 0);
    tp_gui_pump();
    for (int x = 0; x < 720; ++x) ASSERT_EQ(fake_panel::pixel(x, 30), ground) << x;
    DestroyMainWindow(full);
    tp_gui_pump();
    EXPECT_EQ(GetActiveWindow(), g_main_menu_wnd);
    EXPECT_TRUE(shows("title_factory")) << "refreshed when it came back";
}

} // namespace
