// Lights: the operator's walk over all that are fitted, and those that the PC switches. Behind each of them all are out again,
// and the display is as bright as it was.
#pragma once

void mmi_testwnd_AllLightTestEntry();
void mmi_testwnd_AllLightTest_Stop_Entry();

// PC, channel thread. One window, in which one of these is on at a time; 1 on, respectively out, 0 not.
int mmi_AutoTest_LEDTestEntry(const char *color); // "red", "green", "orange"
int mmi_AutoTest_LEDTest_Stop();
int mmi_AutoTest_KEYBacklightTestEntry();
int mmi_AutoTest_KEYBacklightTest_Stop();
// mode "autotest" or empty: at full power; a number of 1 to 255: at that level; others are refused.
int mmi_AutoTest_flashlightTestEntry(const char *mode);
int mmi_AutoTest_flashlightTest_Stop();
int mmi_AutoTest_flashlight2TestEntry();
int mmi_AutoTest_flashlight2Test_Stop();
int mmi_AutoTest_flashlight_frontTestEntry(const char *mode);
int mmi_AutoTest_flashlight_frontTest_Stop();
int mmi_AutoTest_LightControl_Open(); // every light that is fitted
int mmi_AutoTest_LightControl_Close();
