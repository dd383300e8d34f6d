// Where an aging run's files are on a handset. It may run or be off.
#pragma once

#include "client/client.h"
#include "report/aging_run.h"

namespace report {

// LogPath of the configuration in force; ends in "/".
std::string log_folder(const vh::Client &handset);
// Throws vh::ClientError.
RunFiles files_of(const vh::Client &handset);

} // namespace report
