// What a PC asks of WiFi. Channel thread; 1 when it was done, else 0.
#pragma once

int mmi_AutoTest_WiFi_Enable();
int mmi_AutoTest_WiFi_Disable(); // the menu's own key: connects when there is no link
// Joins another network from now on, through boots; the factory's own name ends that. 0: no such name, or not kept.
int mmi_AutoTest_SwitchSSID(const char *ssid);
// Signal strength in dBm; nothing when there is no link.
int mmi_AutoTest_GetWiFiRSSI(char *out, int maxoutlen);
// "FREQUENCY,ACCESS POINT,ADDRESS,MAC"
int mmi_AutoTest_GetAPInfo(char *out, int maxoutlen);
int mmi_Autotest_WiFiUDPServ_Enable();
int mmi_Autotest_WiFiUDPServ_Disable();
// Hands the driver a dump request, which goes by letters, digits and "_.:=+- ". Always 1.
int mmi_AutoTest_WiFiDataRate_Set(const char *what);
