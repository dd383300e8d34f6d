// The files of one handset before, between and after its boots.
#pragma once

#include "common/fd.h"
#include "common/state.h"
#include "kernel/device.h"
#include "launcher/launcher.h"

namespace vh {

// Takes the handset for this process and those it forks, until the last of them ends. Empty when another one has it.
Fd lock_state(const StatePaths &paths);
// Once per launch: folders, partitions, FIFOs, configuration; leftovers of the last run removed. Throws std::exception.
void prepare_state(const StatePaths &paths, const BootOptions &options);
// Before every boot: the image of /system, a dark panel, the boot's properties (`clock` is that of "ro.vxo.clock", or
// empty).
void prepare_boot(const StatePaths &paths, const BootOptions &options, const std::string &clock);
// Removes the folder and all in it, unreadable folders included.
void remove_tree(const std::string &folder);
std::string image_dir(const StatePaths &paths);
std::string mount_dir(const StatePaths &paths);
std::string storage_dir(const StatePaths &paths); // where the storage under orders is served

} // namespace vh
