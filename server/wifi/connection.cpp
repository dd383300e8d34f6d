#include "wifi/connection.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_gui.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "base/worker.h"
#include "shell/main_menu.h"
#include "shell/shell_actions.h"
#include "wifi/address.h"
#include "wifi/link_monitor.h"
#include "wifi/settings.h"
#include "wifi/supplicant.h"

namespace {
constexpr const char *NAME = "WiFiConThread";
constexpr const char *INIT_SCRIPT = "/system/bin/pv_wifi_init.sh", *CLOSE_SCRIPT = "/system/bin/pv_wifi_close.sh";
constexpr int64_t SECOND = 1'000'000'000;
enum { DISCONNECTED = 1, CONNECTED = 2 };
enum { THREAD_EXISTS = 0, THREAD_NONE = 3 };

Worker g_worker; // connects or disconnects; never both
std::atomic<bool> g_connects{false};
std::atomic<int> g_network{0};

#define SAY(...) LOG_RAW(ANDROID_LOG_DEBUG, WIFI_TAG, __VA_ARGS__)
#define COMPLAIN(...) LOG_RAW(ANDROID_LOG_ERROR, WIFI_TAG, __VA_ARGS__)

bool stopped() { return tp_os_thread_stop_requested(); }
bool wait_s(int seconds) { return tp_clock_sleep_or_stop_ns(seconds * SECOND); }
void tell_menu(UINT message, WPARAM wParam) { SendMessage(g_main_menu_wnd, message, wParam, 0); }

class Connection {
public:
    explicit Connection(int showui) : showui_(showui) {}
    void run();

private:
    bool load_driver() const;
    bool join() const;
    bool add_network() const;
    bool ask(const std::string &command, const char *shown, const char *label, const char *failure, bool runs_script) const;
    bool obtain_address();
    bool dhcp() const;
    bool link_local_again() const;
    void judge();
    void lost(bool closes_handle);

    const int showui_;
    bool judged_ = false; // the state was set
    std::string status_;  // the last reply
};

// A failed step: the handle goes, and so does the driver where it is said so. A stopped thread leaves all as it is.
bool fail(const char *text, const char *script = nullptr) {
    if (stopped()) return false;
    COMPLAIN("%s", text);
    supplicant().close();
    if (script) run_command_or_stop(script);
    return false;
}

// What an earlier connection has left.
void leave_earlier_network() {
    wifi_monitor_stop();
    if (!supplicant().is_open()) return;
    std::string reply;
    supplicant().request("DISABLE_NETWORK " + std::to_string(g_network), reply);
    supplicant().request("REMOVE_NETWORK " + std::to_string(g_network), reply);
    supplicant().close();
}

bool Connection::load_driver() const {
    SAY("%s load wlan driver begin.showui = %d", NAME, showui_);
    run_command_or_stop(INIT_SCRIPT);
    SAY("%s load wlan driver end.", NAME);
    SAY("%s connect begin.", NAME);
    if (stopped()) return false;
    return supplicant().open() || fail("mmi_WiFiConnect::wpa_ctrl_open fails.", CLOSE_SCRIPT);
}

bool Connection::add_network() const {
    std::string reply;
    if (supplicant().request("ADD_NETWORK", reply) != Supplicant::ok)
        return fail("mmi_WiFiConnect::add_network fails.", CLOSE_SCRIPT);
    SAY("add_network 0 returns: %s", reply.c_str());
    g_network = atoi(reply.c_str());
    SAY("network_id : %d", g_network.load());
    return true;
}

// shown: the command as the log may have it, under a label.
bool Connection::ask(const std::string &command, const char *shown, const char *label, const char *failure,
                     bool runs_script) const {
    if (label) SAY("%s : %s", label, shown);
    std::string reply;
    return supplicant().request(command, reply) == Supplicant::ok || fail(failure, runs_script ? CLOSE_SCRIPT : nullptr);
}

bool Connection::join() const {
    if (!load_driver() || !add_network()) return false;
    const WifiSettings settings = wifi_settings();
    const std::string id = std::to_string(g_network), set = "SET_NETWORK " + id + " ";
    const std::string ssid = set + "ssid \"" + settings.ssid + "\"", key_mgmt = set + "key_mgmt " + settings.key_mgmt;
    if (!wifi_text_is_sane(settings.ssid, WIFI_SSID_MAX)) return fail("set_network ssid fail", CLOSE_SCRIPT);
    if (!ask(ssid, ssid.c_str(), "set_network", "set_network ssid fail", true)) return false;
    if (!argument_is_plain(settings.key_mgmt, "-_ ", 64)) return fail("set_network key_mgmt fail.");
    if (!ask(key_mgmt, key_mgmt.c_str(), "set_network", "set_network key_mgmt fail.", false)) return false;
    if (settings.key_mgmt != "NONE") {
        if (!wifi_text_is_sane(settings.psk, WIFI_PSK_MAX)) return fail("set_network psk fail.");
        const std::string shown = set + "psk \"...\""; // the key itself is nobody's to read
        if (!ask(set + "psk \"" + settings.psk + "\"", shown.c_str(), "set_network", "set_network psk fail.", false)) return false;
    }
    const std::string select = "SELECT_NETWORK " + id;
    return ask(select, select.c_str(), "select_network", "select_network fail", false) &&
           ask("RECONNECT", nullptr, nullptr, "mmi_WiFiConnect::reconnect fails.", false);
}

// The command names /system/bin wherever the program was found.
bool Connection::dhcp() const {
    const auto exists = [](const std::string &name) {
        return file_readable(("/system/bin/" + name).c_str()) || file_readable(("/system/vendor/bin/" + name).c_str());
    };
    const char *const command = exists("dhcpcd-6.8.2") ? "/system/bin/dhcpcd-6.8.2 wlan0"
                                : exists("dhcptool")   ? "/system/bin/dhcptool wlan0"
                                                       : nullptr;
    if (!command) {
        COMPLAIN("%s dhcpcd or dhcptool not exist.", NAME);
        return false;
    }
    SAY("%s::dhcp cmd:%s.", NAME, command);
    run_command_or_stop(command);
    SAY("%s dhcp end.", NAME);
    return !stopped();
}

bool Connection::link_local_again() const {
    if (!wait_s(1)) return false;
    return ask("RECONNECT", nullptr, nullptr, "mmi_WiFiConnect::reconnect fails.", false);
}

// Until the address is one that a server gave, however long that takes.
bool Connection::obtain_address() {
    for (;;) {
        if (!wait_s(showui_ == 1 ? 10 : 3)) return false;
        SAY("%s connect end.", NAME);
        SAY("%s dhcp begin.", NAME);
        if (!dhcp()) return false;
        if (showui_ == 1 && !wait_s(5)) return false;
        const int result = supplicant().request("STATUS", status_);
        if (result != Supplicant::ok) return fail("wifi_setip_func::status fails.", "pv_wifi_close.sh");
        SAY("wifi_setip_func STATUS ret %d rsp len: %d, details: %s", result, static_cast<int>(status_.size()), status_.c_str());
        if (status_.find("169.254") == std::string::npos) return true;
        if (!link_local_again()) return false;
    }
}

void Connection::lost(bool closes_handle) {
    judged_ = true;
    g_wifi_state = DISCONNECTED;
    g_wifi_connecting = 0;
    if (closes_handle) supplicant().close();
    if (!closes_handle || showui_ == 0) tell_menu(MSG_CALLBACK, 0);
    run_command_or_stop(CLOSE_SCRIPT);
}

void Connection::judge() {
    if (status_.find("wpa_state=COMPLETED") == std::string::npos) {
        COMPLAIN("%s::wpa_state=COMPLETED not found. Fail to connect to router.", NAME);
        return lost(false);
    }
    SAY("check status end.");
    char address[WIFI_ADDRESS_MAX] = {};
    if (const int result = get_ipaddr(address); result != 0) {
        COMPLAIN("%s: error:Can not get ip address. ret: %d", NAME, result);
        return lost(true);
    }
    if (std::string(address).starts_with("169.254.")) {
        COMPLAIN("%s: error:Get private ip address. ip: %s", NAME, address);
        return lost(true);
    }
    wifi_store_address(address);
    if (showui_ != 1) {
        SAY("generate qrcode begin.");
        wifi_make_picture(address);
        SAY("generate qrcode end.");
    }
    judged_ = true;
    g_wifi_connecting = 0;
    g_wifi_state = CONNECTED;
    if (showui_ != 1) tell_menu(MSG_CALLBACK, 0);
}

void Connection::run() {
    leave_earlier_network();
    if (!stopped() && join() && obtain_address()) judge();
    if (judged_ || stopped()) return;
    // Given up without a verdict on the link: the menu may try again, and must not stay locked.
    int earlier = CONNECTED;
    g_wifi_state.compare_exchange_strong(earlier, DISCONNECTED); // that network was left
    g_wifi_connecting = 0;
    g_bWiFiConnectStatus = 0;
    tell_menu(MSG_ACTIVE, 1);
}

void WiFiConThread(int showui) {
    Connection(showui).run();
    g_connects = false;
}

int start_on_gui(void *showui) {
    g_worker.stop();
    g_connects = true;
    const auto value = static_cast<int>(reinterpret_cast<intptr_t>(showui));
    if (!g_worker.start("wificonnect", [value] { WiFiConThread(value); })) g_connects = false;
    return 0;
}
} // namespace

void WiFiConThreadStart() { tp_gui_call(start_on_gui, nullptr); }

int wifi_probe_connect() { return g_connects && g_worker.running() ? THREAD_EXISTS : THREAD_NONE; }

bool wifi_stop_connect() {
    const bool exists = wifi_probe_connect() == THREAD_EXISTS;
    SAY("%s", exists ? "WiFiConThread exists. kill it first." : "WiFiConThread is not exist.");
    if (exists) g_worker.stop();
    return exists;
}

void wifi_close_thread(int mode) {
    if (!wait_s(2)) return;
    std::string reply;
    const struct {
        const char *command, *name, *failure;
    } steps[] = {{"DISABLE_NETWORK", "disable_network", "mmi_WiFiConnect::disable_network fails."},
                 {"REMOVE_NETWORK", "remove_network", "mmi_WiFiConnect::remove_network fails."}};
    for (const auto &step : steps) {
        const auto result = supplicant().request(std::string(step.command) + " " + std::to_string(g_network), reply);
        if (stopped()) return;
        if (result != Supplicant::ok) COMPLAIN("%s", step.failure);
        else SAY("%s 0 returns: %s", step.name, reply.c_str());
    }
    if (mode != 1) wifi_monitor_stop();
    supplicant().close();
    run_command_or_stop("toybox ifconfig wlan0 down");
    run_command_or_stop(CLOSE_SCRIPT);
    if (stopped()) return;
    g_wifi_state = DISCONNECTED;
    if (mode != 1) tell_menu(MSG_ACTIVE, 1);
}

void wifi_close_soon() {
    g_worker.start("wificlose", [] { wifi_close_thread(0); });
}
