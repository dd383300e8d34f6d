// The handset's own end: the power-off window, and what the PC asks for.
#pragma once

// Closes the open test, covers the screen and switches the handset off after a farewell of a second: test mode left,
// vibration. Returns at once; the window stays only where the switch was refused. GUI thread.
void mmi_CreatePowerOffWnd();
int mmi_AutoTest_PowerOff(); // 1 at once; the shell's power_off_entry follows on a thread of its own. Channel thread
int mmi_AutoTest_Reboot();   // file systems flushed, restart; 1 when that returns. Any thread
