// One boot's sandbox: the process tree below bwrap, with vinit as its first process.
#pragma once

#include "common/fd.h"
#include "launcher/launcher.h"

#include <sys/types.h>

namespace vh {

// What the sandbox is started with beside the boot options.
struct SandboxPlan {
    BootOptions options;
    bool once = false;             // it ends with the program (`handset exec`)
    bool inherit_input = false;    // the program gets this process's standard input instead of none
    bool with_source = false;      // source and build folder at their own paths
    std::vector<std::string> program;
};

struct Sandbox {
    pid_t pid = -1; // of bwrap
    Fd pidfd;
    Fd control; // messages to and from vinit
};

// Starts it; throws std::runtime_error. pc_listener: what vinit accepts PC clients on. It dies with the calling thread.
Sandbox start_sandbox(const StatePaths &paths, const SandboxPlan &plan, const Fd &pc_listener);

} // namespace vh
