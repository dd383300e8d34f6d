#include "AgingTest/aging_files.h"

#include <cstdio>

#include "base/sysfs.h"
#include "config/main_config.h"

bool Check_AgingCfg_Exist() {
    char path[CFG_TEXT];
    snprintf(path, sizeof path, "%s%s", g_chLogPath, "rebootAging.txt");
    return file_readable(path);
}
