#include "wifi/link_monitor.h"

#include <string>
#include <tp_clock.h>
#include <tp_gui.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "base/worker.h"
#include "shell/main_menu.h"
#include "shell/shell_actions.h"
#include "wifi/address.h"
#include "wifi/connection.h"
#include "wifi/settings.h"
#include "wifi/supplicant.h"

namespace {
constexpr const char *NAME = "wifi_status_monitor_thread";
constexpr int64_t PERIOD_NS = 10'000'000'000;
enum { DISCONNECTED = 1, CONNECTED = 2 };

Worker g_monitor;

bool associated(const std::string &reply) {
    const size_t begin = reply.find_first_not_of('\0');
    return begin != std::string::npos && reply.find("wpa_state=COMPLETED", begin) != std::string::npos;
}

void judge(const std::string &reply) {
    if (associated(reply)) {
        const bool changed = check_ipaddr() == 0;
        const bool back = g_wifi_state.exchange(CONNECTED) != CONNECTED;
        if (back || changed) SendMessage(g_main_menu_wnd, MSG_CALLBACK, 0, 0);
    } else if (g_wifi_state == CONNECTED) {
        g_wifi_state = DISCONNECTED;
        SendMessage(g_main_menu_wnd, MSG_ACTIVE, 1, 0);
    }
}

void wifi_status_monitor_thread() {
    LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "%s begin.", NAME);
    std::string reply;
    do {
        const int result = supplicant().request("STATUS", reply);
        if (tp_os_thread_stop_requested()) return;
        if (result != Supplicant::ok) {
            LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, "wifi_setip_func::status fails.");
            supplicant().close();
            return;
        }
        LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, "%s STATUS ret %d rsp len: %d, details: %s", NAME, result,
                static_cast<int>(reply.size()), reply.c_str());
        judge(reply);
    } while (tp_clock_sleep_or_stop_ns(PERIOD_NS));
}
} // namespace

void wifi_status_monitor_thread_start() { g_monitor.start("wifimonitor", wifi_status_monitor_thread); }
int wifi_probe_monitor() { return g_monitor.running() ? 0 : 3; }
void wifi_monitor_stop() { g_monitor.stop(); }
