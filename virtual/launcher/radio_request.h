// The control request "radio" (common/state.h).
#pragma once

#include "kernel/hardware_modem.h"

#include <nlohmann/json.hpp>

namespace vh {

// Carries out the request and answers with the modem's state. Throws std::runtime_error.
nlohmann::json run_radio(Modem &modem, const nlohmann::json &request);

} // namespace vh
