// The control request "battery": what somebody at the bench sets, and how the battery is (common/state.h).
#pragma once

#include "kernel/battery_model.h"

#include <nlohmann/json.hpp>

namespace vh {

// Carries out the request and answers with the state. Throws std::runtime_error for a bad value; then nothing has changed.
nlohmann::json run_battery(BatteryModel &battery, const Tree &tree, const nlohmann::json &request);

} // namespace vh
