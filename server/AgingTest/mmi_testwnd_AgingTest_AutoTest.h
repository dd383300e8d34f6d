// The aging test: a burn-in run that survives its own reboots.
//
// One run: the screen opens and a thread of its own, the runner, goes through the cycles: reboots, suspends, video (panel,
// speaker, vibrator), cameras, processor load. Behind them stands the verdict in station 176 and on the screen; a handset
// that passed switches itself off once it is unplugged. What a run leaves behind and who may read it: aging_files.h.
#pragma once

// At the program's start, once the diagnostic log is open: accounts for the reset that lies behind (aging_resets.h), and
// puts right what a run that it cut off has left of the kernel's switches. Main thread.
void aging_at_start();
// Starts a run, or goes on with the one that a reboot interrupted. A run that goes on stays as it is. GUI thread.
void mmi_AgingTest_Start_Entry();
// The row of the main menu: a list to start a run from, and to its results. GUI thread.
void mmi_AgingTestEntry();
// The results of the last run: records, resets that nobody asked for, and the curve of temperature and capacity. Opens
// nothing when there are none. GUI thread.
void mmi_AgingTotalResult_Entry();

bool aging_can_upload(); // an upload is wanted and has an address
// Uploads the results of the run that is over. at_end 1: on the runner's thread, and waits for the end; 0: the operator's key, GUI
// thread.
void SaveToDb(int at_end);
