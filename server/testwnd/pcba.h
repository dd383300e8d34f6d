// Quick tests of a bare board, for the PC. One runs at a time: a start ends the one before, runs the test while a small
// window says so, and answers after at most 11 seconds. The window stays until the stop. Channel thread.
// Starts: 1 passed, 0 not. out gets a measured value where one is named, at most maxoutlen bytes, no terminator.
#pragma once

int PCBACpuTestStart(char *out, int maxoutlen);     // "maxfreq=KHZ"
int PCBAMemoryTestStart(char *out, int maxoutlen);  // "MemTotal=N MB"
int PCBAStorageTestStart(char *out, int maxoutlen); // "TotalSize=N GB"
int PCBASdcardTestStart(char *out, int maxoutlen);  // "TotalSize=N MB"
int PCBABluetoothTestStart(char *out, int maxoutlen);
int PCBACameraBackTestStart(char *out, int maxoutlen);
int PCBACameraFrontTestStart(char *out, int maxoutlen);
int PCBABatteryTestStart(char *out, int maxoutlen);
int PCBAWifiTestStart(char *out, int maxoutlen);
int PCBAGpsTestStart(char *out, int maxoutlen);
int PCBATouchTestStart(char *out, int maxoutlen);
int PCBAFmTestStart(const char *in, int size, char *out, int maxoutlen);  // in: the channel
int PCBASimTestStart(const char *in, int size, char *out, int maxoutlen); // two slots where in holds a 2, else one
int PCBAWgbTestStart(const char *in, int size, char *out, int maxoutlen);
int PCBATestStop(); // 1

// The cameras' identifiers agree with the board: of three cameras where in holds a 3, else of two. 1 or 0.
int ReadCameraIDTestStart(const char *in, int size, char *out, int maxoutlen);
