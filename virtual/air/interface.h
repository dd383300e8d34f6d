// The network interfaces inside, of the calling process's network namespace.
#pragma once

#include <string>

constexpr const char *WLAN = "wlan0", *AP = "ap0"; // the handset's end and the access point's

void set_interface_up(const char *name, bool up);
std::string interface_address(const char *name); // empty: none
bool interface_exists(const char *name);
// Runs a command without a shell's help for its words; its exit status.
int run_quietly(const std::string &command);
