// Runs the handset tool for tests and benchmarks, whose handsets live in a folder that goes with the process.
#pragma once

#include "client/client.h"

namespace vh {

// Makes a folder for all handsets of this process (below $VXO_HANDSET_HOME, $TMPDIR or /tmp), removed when it ends, and
// returns a name that no handset in it has yet. Throws.
std::string fresh_handset_name();
// $VXO_BUILD/bin/handset, else the tool beside this program.
std::string tool_path();
// Runs the tool to its end; standard output and error together. Throws when it cannot be run.
Client::Outcome run_tool(std::vector<std::string> arguments);

} // namespace vh
