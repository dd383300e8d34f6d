// What the shell starts but does not know: rooms further up the house register themselves here, from appMain, before
// the menu is created. A null entry means the part is not built in.
#pragma once

#include <atomic>

struct ShellActions {
    // aging
    bool (*check_aging_cfg_exist)() = nullptr; // reboot marker present
    bool (*check_auto_aging)() = nullptr;      // automatic aging start due
    void (*aging_list_entry)() = nullptr;      // menu row
    void (*aging_start_entry)() = nullptr;     // starts the run
    // signal coupling
    void (*coupling_entry)() = nullptr;
    // cards: reads the card test's parameters
    void (*card_read_config)() = nullptr;
    // power-off window
    void (*power_off_entry)() = nullptr;
    // WiFi. probes return pthread_kill(thread, 0): 0 exists, 3 none, 22 invalid.
    void (*wifi_read_config)() = nullptr;      // fills the WiFi-initialised flag
    int (*wifi_probe_connect)() = nullptr;
    int (*wifi_probe_udp)() = nullptr;
    int (*wifi_probe_monitor)() = nullptr;
    void (*wifi_connect_start)() = nullptr;
    void (*wifi_close)(int) = nullptr;
    void (*wifi_udp_stop)() = nullptr;
    void (*wifi_monitor_start)() = nullptr;
};
extern ShellActions g_shell_actions;

// WiFi state as the menu shows it: 0 never connected, 1 disconnected, 2 connected.
extern std::atomic<int> g_wifi_state;
extern std::atomic<int> g_wifi_connecting; // 1: a connection is in progress
extern std::atomic<int> g_main_wifi_init_flag;
extern std::atomic<int> g_wifi_quiet; // 1: somebody else joins for himself, and the menu leaves keys, touches and picture alone
