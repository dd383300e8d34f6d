#include "AgingTest/aging_cpu.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <sched.h>
#include <tp_os.h>
#include <unistd.h>

#include "base/log_door.h"

namespace {
constexpr const char *TAG = "AgingTest";
constexpr int FIELDS = 8, IDLE = 3, IOWAIT = 4;
constexpr int CORES_MAX = 256;

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};

std::mutex g_mutex;
std::vector<double> g_usage;

// A block of work whose result is known: multiplications, shifts and divisions that all hang on each other.
constexpr uint64_t SEED = 0x9e3779b97f4a7c15ULL;
constexpr uint64_t block(uint64_t x, int rounds) {
    for (int i = 0; i < rounds; ++i) {
        x ^= x << 13;
        x ^= x >> 7;
        x = x * 0xd1342543de82ef95ULL + x / 3;
    }
    return x;
}
constexpr int CHECKED_ROUNDS = 2000, PARTS = 50;
constexpr uint64_t EXPECTED = block(SEED, CHECKED_ROUNDS);
} // namespace

bool ParseLine(const char *line, int *core, CpuTimes *times) {
    unsigned long long ticks[FIELDS] = {};
    if (strncmp(line, "cpu ", 4) == 0) return false; // all of them together
    const int found = sscanf(line, "cpu%d %llu %llu %llu %llu %llu %llu %llu %llu", core, &ticks[0], &ticks[1], &ticks[2],
                             &ticks[3], &ticks[4], &ticks[5], &ticks[6], &ticks[7]);
    if (found < 2 + IDLE || *core < 0 || *core >= CORES_MAX) return false;
    *times = {};
    for (const unsigned long long t : ticks) times->all += t;
    times->busy = times->all - ticks[IDLE] - ticks[IOWAIT];
    return true;
}

int GetCpuData(std::vector<CpuTimes> *cores) {
    cores->clear();
    const std::unique_ptr<FILE, FileCloser> file(fopen("/proc/stat", "re"));
    if (!file) {
        LOG_E(TAG, "open /proc/stat fail.");
        return -1;
    }
    char line[512];
    while (fgets(line, sizeof line, file.get())) {
        int core = 0;
        CpuTimes times;
        if (!ParseLine(line, &core, &times)) continue;
        if (cores->size() <= static_cast<size_t>(core)) cores->resize(static_cast<size_t>(core) + 1);
        (*cores)[static_cast<size_t>(core)] = times;
    }
    return 0;
}

// The kernel's counters of a core may step back a little.
double ComputeUsage(const CpuTimes &before, const CpuTimes &after) {
    if (after.all <= before.all) return 0;
    const double busy = after.busy > before.busy ? static_cast<double>(after.busy - before.busy) : 0;
    return std::min(100.0, 100.0 * busy / static_cast<double>(after.all - before.all));
}

int GetCoreCount() { return static_cast<int>(std::clamp(sysconf(_SC_NPROCESSORS_ONLN), 1L, long{CORES_MAX})); }

void aging_cpu_measure() {
    static std::vector<CpuTimes> before;
    std::vector<CpuTimes> now;
    GetCpuData(&now);
    std::vector<double> usage;
    for (size_t i = 0; i < now.size(); ++i) usage.push_back(i < before.size() ? ComputeUsage(before[i], now[i]) : 0);
    before = std::move(now);
    const std::lock_guard lock(g_mutex);
    g_usage = std::move(usage);
}

std::vector<double> aging_cpu_usage() {
    const std::lock_guard lock(g_mutex);
    return g_usage;
}

int JustRun(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(core), &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0)
        LOG_E(TAG, "core %d is not for this thread alone: %s", core, strerror(errno));
    int wrong = 0;
    volatile uint64_t seed = SEED; // so that the compiler does not know the result
    while (!tp_os_thread_stop_requested())
        for (int i = 0; i < PARTS; ++i)
            if (block(seed, CHECKED_ROUNDS) != EXPECTED) ++wrong;
    return wrong;
}
