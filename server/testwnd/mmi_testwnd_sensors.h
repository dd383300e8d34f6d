// Sensor test: all sensors in one window. Operator and PC.
#pragma once

void mmi_testwnd_SensorsTestEntry();
void mmi_testwnd_SensorsTest_Stop_Entry();
// PC: 1, or 0 when no sensor answers.
int mmi_AutoTest_SensorTestEntry();
// 1 when every tested sensor has passed since the PC opened the test. Else 0, and out has the names of those that failed,
// separated by commas; pressure and heart rate are not named. 0 and an empty text when the PC did not open it.
int mmi_AutoTest_SensorTest_Stop(char *out, int maxoutlen);
// Sets the zero of the tested sensors, lying flat and still: accelerometer, gyroscope, proximity while nothing is near, light
// while it is dark. 1, or 0 when one was refused, or none could be. Takes a second per sensor; not on the GUI thread.
int mmi_AutoTest_SensorTest_Calibrate();
// One sample as text: "%+6.3f" per value, separated by commas; "PS=%d", "ALS=%d". 0 when none comes within a second.
int mmi_AutoTest_Sensor_Read(int sensor, char *out, int maxoutlen);
int mmi_AutoTest_HeartRate_SelfTest(const char *in, int size, char *out, int maxoutlen); // the sensor's own; replies nothing
