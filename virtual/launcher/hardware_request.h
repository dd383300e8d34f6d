// The control requests "fit", "sensor" and "camera" (common/state.h).
#pragma once

#include "common/fd.h"
#include "common/state.h"
#include "kernel/hardware_nodes.h"

#include <nlohmann/json.hpp>

namespace vh {

// Carries out the request and answers with the state of all. Throws std::runtime_error; then nothing has changed.
nlohmann::json run_hardware(Hardware &hardware, const nlohmann::json &request);
// Makes or removes the names of parts that come and go; dev is the sandbox's /dev.
void show_device_names(const Fd &dev, const Hardware &hardware);
// Puts the cameras' pictures where the sandbox sees them, or takes them away; makes those that are missing. Throws.
void show_cameras(const StatePaths &paths, const Hardware &hardware);

} // namespace vh
