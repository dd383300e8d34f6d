#include <tp_globals.h>
std::atomic<int> g_bCurrentSleepStatus{0}, g_bWiFiConnectStatus{0}, g_deviceIsAgingTest{0}, g_iCreateDialog{0};
void *lib_vxo_factory = nullptr;
TpScreenInfo g_ptScreenInfo;
