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

// Uploads the results of a run. Installed before the menu is created, by whoever can; null: uploads are not built in.
// at_end: called by a run that is over, else by the operator. True: it shows its own verdict.
extern bool (*g_aging_upload)(bool at_end);
// 1 while an upload is wanted and possible.
bool aging_can_upload();
void SaveToDb(int at_end);
