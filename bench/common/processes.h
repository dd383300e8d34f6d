// What the kernel tells of running processes. Reading it does not wake them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// A process and all that it started.
std::vector<int> with_children(int pid);
// How often the threads of a process have been given a core and left it, of their own will or not.
uint64_t context_switches(int pid);
// How often a process is given a core per second, in a window that lies between two battery reports of the handset's program: they
// come all ten seconds, and everybody who looks on hears of them. The window begins when one has been worked through.
double quiet_wakeups_per_second(int program, int counted, double window_seconds);
// Processor time of all its threads up to now, in seconds.
double cpu_seconds(const std::vector<int> &pids);

struct Memory {
    double rss = 0, pss = 0, own = 0; // MiB; own: shared with nobody
    Memory &operator+=(const Memory &other);
};
// Without the mappings of files whose path ends in `without`.
Memory memory_of(int pid, const std::string &without);

} // namespace bench
