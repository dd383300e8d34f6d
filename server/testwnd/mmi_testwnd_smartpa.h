// Smart amplifier calibration: the speaker's impedance is measured and must lie within the amplifier's limits. An operator's window
// calibrates at once and in a run passes by itself; the PC calibrates by a command of its own.
#pragma once

void mmi_testwnd_SmartPACalEntry();
void mmi_testwnd_SmartPACal_Stop_Entry();
// Channel thread. 1, or 0: no amplifier; not calibrated or outside the limits, or no window open; not closed.
int mmi_AutoTest_SmartPACalEntry();
int mmi_AutoTest_SmartPACal_Calibrate();
int mmi_AutoTest_SmartPACal_Stop();
