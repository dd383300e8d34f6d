// The files of an aging run.
#pragma once

// True while a reboot cycle is under way: its counter file in the log directory can be read. Any thread.
bool Check_AgingCfg_Exist();
