// A core-device library whose functions only answer 7; the macro leaves one out.
#define FAKE(name) extern "C" int name() { return 7; }
FAKE(TKI_API_BatteryService_register_Observer)
#ifndef WITHOUT_UNREGISTER
FAKE(TKI_API_BatteryService_unregister_Observer)
#endif
FAKE(TKI_API_BatteryService_StartService)
FAKE(TKI_API_BatteryService_StopService)
FAKE(TKI_API_BatteryService_ChargingStatusSet)
