// The settings of the aging test, section TKI_AGING of the main configuration. Read when it starts, fixed while it runs.
#pragma once

extern int g_bAging_VedioTest, g_iAgingVedioTestTime; // minutes
extern int g_bAging_LightTest, g_iAgingLightTime;
extern int g_bAging_CameraTest, g_iAgingCameraTotalNum, g_iCameraTotalNum; // rounds; cameras of a round
extern int g_bAging_RebootTest, g_iAgingTotalRebootNum;
extern int g_bAging_SuspendTest, g_iAgingSuspendTotalNum, g_iAgingSuspendInterval; // the last in seconds
extern int g_bAging_VibratorTest, g_iAgingVibratorTime;                            // minutes
extern int g_openaudioloop;
extern int g_bAging_ExternalBattery;
extern int g_cycles;
extern int g_temp_up, g_temp_uncharge;  // tenths of a degree Celsius
extern int g_bAging_CpuTest, g_cputime; // minutes
extern int g_bAging_SaveDb, g_iSaveDbTime; // minutes between attempts; 0: the program's own
extern char g_cSaveDbSSID[256];
extern char g_cSaveDbCa[256];    // PEM file; empty: no TLS
extern int g_iSaveDbProtocol;    // of MQTT: 4 or 5
extern char g_iport[128]; // "address:port"

// GUI thread, while no run goes on.
void mmi_AgingTest_ReadConfig();
