#include "base/power_switch.h"

#include <mutex>
#include <sys/reboot.h>
#include <unistd.h>

#include "base/guard.h"

namespace {
static_assert(static_cast<unsigned>(RB_POWER_OFF) == 0x4321FEDCU, "the kernel's power-off command");

// Two causes at once (heat and idling) must not both talk to the kernel: the second waits and finds the machine gone.
std::mutex g_switch_mutex;

int switch_machine(int command) {
    if (!guard_allows_start()) return -1;
    const std::lock_guard lock(g_switch_mutex);
    sync();
    return reboot(command);
}
} // namespace

int switch_power_off() { return switch_machine(RB_POWER_OFF); }
int switch_restart() { return switch_machine(RB_AUTOBOOT); }
