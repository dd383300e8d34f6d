// The sequencer: chains the items of an automatic run. GUI thread.
#pragma once

#include <atomic>

extern int g_autotest_run_mode; // 0 normal, 1 pretest 1, 3 pretest 2
extern int g_mmi_flag;

void mmi_AutoTestEntry();
void mmi_AutoTestEntry_Ex();
void mmi_AutoTestEntry_Ex2();
void mmi_startNextItemTest(const char *chdomain);
void mmi_startNextMonomerPreviewItemTest(const char *chdomain);
void get_mmi_pre_flag();
// triple: section,parameter,value. 1 success, 0 when the system partition stays read-only or the triple is refused.
int mmi_AutoTest_Modify_ConfigFile(const char *triple);
int remount_system_partition();
