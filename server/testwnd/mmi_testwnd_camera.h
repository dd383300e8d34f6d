// Camera tests: a live picture that keeps its shape, a snapshot kept as a PNG, focus at a touch. Operator and PC.
// Cameras by their number in tki_hardware.h: 0 back, 1 auxiliary back, 2 front.
#pragma once

void mmi_testwnd_CameraBackTestEntry();          // GUI thread
void mmi_AutoTest_CameraBackTest_Stop_Entry();   // any thread
// PC, any thread; 1, or 0: no such camera, no picture.
int mmi_AutoTest_CameraTestEntry(int camera);
int mmi_AutoTest_CameraTest_Stop(int camera);
// Not the GUI thread: takes a picture while the camera's window is open, shows it and returns when its file is written.
int mmi_AutoTest_Camera_Snapshot(int camera);
