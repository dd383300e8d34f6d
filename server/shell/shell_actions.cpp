#include "shell/shell_actions.h"

ShellActions g_shell_actions;
std::atomic<int> g_wifi_state{0};
std::atomic<int> g_wifi_connecting{0};
std::atomic<int> g_wifi_quiet{0};
std::atomic<int> g_main_wifi_init_flag{0};
