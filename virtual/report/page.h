// The page about an aging run: one HTML file that needs nothing else, for screens of both colour schemes and for paper.
#pragma once

#include <string>

#include "report/aging_run.h"

namespace report {

// name: of the handset.
std::string page(const AgingRun &run, const std::string &name);

} // namespace report
