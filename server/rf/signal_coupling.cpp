// The signal coupling test: takes the modem through low power into online mode and says whether that succeeded.
#include <atomic>
#include <mutex>
#include <tp_clock.h>

#include "base/log_door.h"
#include "base/worker.h"
#include "device/battery.h"
#include "device/factory_slots.h"
#include "rf/coupling.h"
#include "rf/modem_library.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"

namespace {
constexpr const char *TAG = "SIGNAL_COUPLING";
constexpr int POLL_TIMER = 111;
constexpr unsigned POLL_PERIOD = 100; // 10 ms each
constexpr int SETTLE_MS = 2000;
// 设置modem为online模式失败!, in GBK
constexpr const char *FAILED = "\xc9\xe8\xd6\xc3modem\xce\xaaonline\xc4\xa3\xca\xbd\xca\xa7\xb0\xdc!";

enum Switch { SWITCHING, ONLINE, FAILED_SWITCH };
std::atomic<int> g_state{SWITCHING};
int g_drawn = SWITCHING; // GUI thread
std::mutex g_switching;  // held by the switch while it works
Worker g_worker;

ModemLibrary g_library(TAG, "SIGNAL_COUPLING_LOAD_LIB");
decltype(&TKI_API_SignalCoupling_init) g_init;
decltype(&TKI_API_SignalCoupling_uninit) g_uninit;
decltype(&TKI_API_SignalCoupling_setModemMode) g_set_mode;

int SIGNAL_COUPLING_LOAD_LIB() {
    const bool loaded = g_library.open() &&
                        g_library.bind("TKI_API_SignalCoupling_init", &g_init, "TKI_API_SignalCoupling_init") &&
                        g_library.bind("TKI_API_SignalCoupling_uninit", &g_uninit, "TKI_API_SignalCoupling_uninit") &&
                        g_library.bind("TKI_API_SignalCoupling_setModemMode", &g_set_mode,
                                       "TKI_API_SignalCoupling_setModemMode");
    return loaded ? 0 : -1;
}

bool set_mode(int mode) {
    const int result = g_set_mode(mode);
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "Set_Modem_online_mode mode %d: %d", mode, result);
    return result == 0;
}

int switched() {
    if (!set_mode(VXO_MODEM_LOW_POWER)) {
        // A modem that refuses may come by way of online.
        if (!set_mode(VXO_MODEM_ONLINE) || !set_mode(VXO_MODEM_LOW_POWER)) return FAILED_SWITCH;
        tp_clock_sleep_ms(SETTLE_MS);
    }
    tp_clock_sleep_ms(SETTLE_MS);
    return set_mode(VXO_MODEM_ONLINE) ? ONLINE : FAILED_SWITCH;
}

void release_modem() {
    if (g_uninit() != 0) LOG_RAW(ANDROID_LOG_ERROR, TAG, "TKI_API_SignalCoupling_uninit fail.");
    g_library.close();
}

void on_open(HWND hwnd) {
    g_state = g_drawn = SWITCHING;
    g_worker.start("modem online", [] { Set_Modem_online_mode(); });
    SetTimer(hwnd, POLL_TIMER, POLL_PERIOD);
}

// The switch runs to its end: a modem must not be left in low power.
void on_close(HWND hwnd) {
    KillTimer(hwnd, POLL_TIMER);
    g_worker.join();
    { const std::lock_guard ended(g_switching); }
    release_modem();
}

void paint(HWND hwnd, HDC hdc) {
    static const char *const TEXTS[] = {"singalCoupleNote1", "singalCoupleNote2", FAILED};
    test_frame_draw_text(hwnd, hdc, TEXTS[g_drawn], LINE_NORMAL);
}

bool mmi_SignalCouplingTestWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    *result = 0;
    if (message == MSG_KEYDOWN) {
        if (wParam == KEY_PASS) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "mmi_SignalCouplingTestWndProc key %d", KEY_PASS);
        if (wParam == KEY_FAIL) SendMessage(hwnd, MSG_CLOSE, 0, 0);
        return true;
    }
    if (message != MSG_TIMER || wParam != POLL_TIMER) return false;
    if (const int state = g_state; state != g_drawn) {
        g_drawn = state;
        InvalidateRect(hwnd, nullptr, true);
    }
    return true;
}

TestWindow g_window{.domain = "SIGNAL_COUPLING", .title_key = "title_SingalCouple", .keys = {"", "", "softkeybar_back"},
                    .pass_by_key = false, .caption = "SignalCoupling", .proc = mmi_SignalCouplingTestWndProc,
                    .on_open = on_open, .on_close = on_close, .paint = paint};

bool mmi_CreateCurrentTestWnd() {
    if (!test_frame_open(g_window)) return false;
    if (TKI_API_BatteryService_register_Observer)
        TKI_API_BatteryService_register_Observer(TKI_OBSERVER_VOLT, reinterpret_cast<tki_observer>(batteryVoltobserver_cb));
    return true;
}
} // namespace

int Set_Modem_online_mode() {
    const std::lock_guard working(g_switching);
    g_state = SWITCHING;
    g_state = switched();
    return 0;
}

void mmi_SignalCouplingTestEntry() {
    if (!g_window.created) {
        if (SIGNAL_COUPLING_LOAD_LIB() != 0) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::SIGNAL_COUPLING_LOAD_LIB Fail.", __func__);
            return;
        }
        if (g_init() != 0) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s::TKI_API_SignalCoupling_init fail.", __func__);
            g_library.close();
            return;
        }
    }
    if (!mmi_CreateCurrentTestWnd()) release_modem();
}
