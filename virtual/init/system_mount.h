// What the first process sets up before anything else runs.
#pragma once

#include <string>

// Mounts /system, read-only until the program remounts it: the image below, the handset's own changes above. `note` gets
// a line for the operator when those changes cannot be kept. False with errno.
bool mount_system(std::string &note);
// Takes the loopback interface down: bringing it up is the program's own work.
void take_loopback_down();
