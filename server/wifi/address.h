// The address of wlan0 and the picture of it that a PC's scanner reads from the menu.
#pragma once

#include <cstddef>
#include <string>

constexpr size_t WIFI_ADDRESS_MAX = 256; // bytes of an address's text

// The IPv4 address of wlan0 as text into out, which holds WIFI_ADDRESS_MAX bytes. 0, or -1 (logged). Any thread.
int get_ipaddr(char *out);
// Reads the address anew. 0 when it differs from the stored one: then its picture is made and it is stored. Else -1.
int check_ipaddr();
// Makes /data/mmi_ip.png and, of the same pixels, /data/mmi_ip.bmp, which the menu draws. False: logged.
bool wifi_make_picture(const char *address);
void wifi_store_address(const char *address);
std::string wifi_stored_address();
// "02:1a:7d:da:72:24", or an empty text (logged).
std::string get_wlan0_mac();
