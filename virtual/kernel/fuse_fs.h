// The attribute table as a file system: MOUNT/sys, MOUNT/proc and MOUNT/dev/system.
#pragma once

#include "common/fd.h"
#include "kernel/tree.h"

#include <memory>
#include <string>

namespace vh {

class FuseMount {
public:
    // Mounts on folder, in the calling process's own mount namespace, and serves it from threads of its own until the
    // process ends. Throws std::runtime_error. sounds: where the files of kernel/sound.h are.
    FuseMount(Tree &tree, const std::string &folder, const std::string &sounds);
    ~FuseMount();
    FuseMount(const FuseMount &) = delete;
    FuseMount &operator=(const FuseMount &) = delete;

    // The sandbox's real procfs, for listing /proc; replaced at every boot.
    void set_real_proc(Fd folder);

    struct State;

private:
    std::unique_ptr<State> state_;
};

} // namespace vh
