// Audio that the PC drives: a sound path is switched on, and a window says so and shows the headset's state. One at a time.
// Channel thread; in: parameter text of size bytes, handed to the library as it is. 1 started or stopped, 0 not.
#pragma once

// Microphone to output.
int mmi_AutoTest_Audio_MIC_Headset_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_Headset_Headset_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_Headset_Receiver_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_Headset_Speaker_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_Headset_UpSpeaker_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_AuxiliaryMIC1_Headset_LoopBackTestEntry(const char *in, int size);
int mmi_AutoTest_Audio_AuxiliaryMIC2_Headset_LoopBackTestEntry(const char *in, int size);
// Microphone and speaker of a handset without a headset: what was recorded is played, over and over. in is not used.
int mmi_AutoTest_Audio_Watch_TestEntry(const char *in, int size);
int mmi_AutoTest_Audio_LoopBackTest_Stop(); // any of the above

int mmi_AutoTest_Audio_HiFi_TestEntry(const char *in, int size);
int mmi_AutoTest_Audio_HiFi_Test_Stop();

// Board test, without a window: microphone to receiver.
int mmi_mic2earpiece_start();
int mmi_mic2earpiece_stop();
int mmi_auxmic2earpiece_start();
int mmi_auxmic2earpiece_stop();

// Language key that tells what is plugged in, TKI_HEADSET_... Any thread.
const char *headset_text(int state);
