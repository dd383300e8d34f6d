// Parts that only the PC tests: the headset's key, the hall sensor, the FM radio. Each has a window that shows what is
// measured. Channel thread.
#pragma once

// The key's presses are collected. 1, or 0: no headset socket.
int mmi_AutoTest_HeadsetHookTestEntry();
int mmi_AutoTest_HeadsetHookTest_Stop(char *out, int maxoutlen); // 1; as mmi_AutoTest_KeyTest_Stop

int mmi_AutoTest_HallSensorTestEntry();
int mmi_AutoTest_HallSensorTest_Stop(); // 1 when the magnet was seen near and away

// Frequency in units of 10 kHz. 0: no radio, or not a frequency of its band. The window shows when the headset is missing, which
// is the aerial.
int mmi_AutoTest_FMTestEntry(int frequency);
int mmi_AutoTest_FMTest_Stop(); // 1, or 0: no radio
