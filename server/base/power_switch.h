// The one door to the kernel's reboot. Refuses outside a handset (guard.h).
#pragma once

// sync, then reboot(2) with power-off or restart. Returns -1 only when the kernel or the guard refused.
int switch_power_off();
int switch_restart();
