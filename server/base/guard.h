// Keeps the program from running on a workstation, where its power-off would switch the developer's machine off.
#pragma once

// True in a handset's root ("/system/bin/mmi" exists) that is either the virtual handset's own PID namespace or a
// production handset (whose property area "/dev/__properties__" exists). Otherwise prints to standard error what to
// do instead (./run) and returns false. Main thread, before anything else.
bool guard_allows_start();
