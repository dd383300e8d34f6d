// The core-device library's command-channel functions, bound by Get_libcoredevice_Interface. Null until bound.
#pragma once

#include <vxo_vcoredevice.h>

struct ChannelLibrary {
    registerAtSocket_t registerAtSocket;
    UnregisterAtSocket_t UnregisterAtSocket; // bound, never called: the channel lives as long as the process
    registerCommandProcess_t registerCommandProcess;
    runSelectLoopMode_t runSelectLoopMode;
    mmi_AutoTest_FileOpt_t FileOpt_Read;
    mmi_AutoTest_FileOpt_t FileOpt_Write;
    mmi_AutoTest_FourArgs_t FileOpt_Remove;
    mmi_AutoTest_FourArgs_t WiFiConCpt_Enable;
    mmi_AutoTest_FourArgs_t WiFiConCpt_Disable;
};
extern ChannelLibrary g_channel_library;

// The registry, for tests: forgets every command.
void clear_command_registry();
