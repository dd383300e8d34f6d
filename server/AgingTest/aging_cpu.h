// The load of the processor cores, and what loads them.
#pragma once

#include <string>
#include <vector>

struct CpuTimes {
    unsigned long long busy = 0, all = 0; // ticks of the kernel since the boot
};

// One line "cpuN user nice system idle iowait irq softirq steal ..." of /proc/stat. False for any other line.
bool ParseLine(const char *line, int *core, CpuTimes *times);
// The cores of /proc/stat in order. -1 when it cannot be read.
int GetCpuData(std::vector<CpuTimes> *cores);
double ComputeUsage(const CpuTimes &before, const CpuTimes &after); // percent, 0 to 100
int GetCoreCount();                                                 // at least 1

// The monitor's measurement: takes the load since the call before. One thread.
void aging_cpu_measure();
// What it was, per core in percent. Any thread.
std::vector<double> aging_cpu_usage();

// Computes on one core until the thread is asked to stop (see worker.h). The number of blocks that came out wrong.
int JustRun(int core);
