#include "base/guard.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// The kernel gives the first PID namespace this fixed inode; every other namespace has a different one.
constexpr ino_t INITIAL_PID_NAMESPACE = 0xEFFFFFFCU;

bool in_own_pid_namespace() {
    struct stat info {};
    return stat("/proc/self/ns/pid", &info) == 0 && info.st_ino != INITIAL_PID_NAMESPACE;
}
} // namespace

bool guard_allows_start() {
    // Both must hold: a workstation container also has a PID namespace of its own, but no handset's root.
    const bool handset_root = access("/system/bin/mmi", F_OK) == 0;
    const bool handset_kernel = in_own_pid_namespace() || access("/dev/__properties__", F_OK) == 0;
    if (handset_root && handset_kernel) return true;
    fputs("mmi runs on a handset only, because it switches the machine off. On a workstation use ./run\n", stderr);
    return false;
}
