#include "common/processes.h"

#include "common/turns.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace bench {

namespace {
std::vector<int> numbers_in(const std::string &folder) {
    std::vector<int> found;
    std::error_code failed;
    for (const auto &entry : std::filesystem::directory_iterator(folder, failed))
        if (const int number = atoi(entry.path().filename().c_str()); number > 0) found.push_back(number);
    return found;
}

std::string task_folder(int pid) { return "/proc/" + std::to_string(pid) + "/task"; }

// "name:  123 ..." -> 123; 0 for another line.
uint64_t field(const std::string &line, const std::string &name) {
    return line.starts_with(name + ":") ? strtoull(line.c_str() + name.size() + 1, nullptr, 10) : 0;
}
} // namespace

std::vector<int> with_children(int pid) {
    std::vector<int> all{pid};
    for (size_t i = 0; i < all.size(); ++i)
        for (const int task : numbers_in(task_folder(all[i]))) {
            std::ifstream children(task_folder(all[i]) + "/" + std::to_string(task) + "/children");
            for (int child = 0; children >> child;) all.push_back(child);
        }
    return all;
}

uint64_t context_switches(int pid) {
    uint64_t count = 0;
    for (const int task : numbers_in(task_folder(pid))) {
        std::ifstream status(task_folder(pid) + "/" + std::to_string(task) + "/status");
        for (std::string line; std::getline(status, line);)
            count += field(line, "voluntary_ctxt_switches") + field(line, "nonvoluntary_ctxt_switches");
    }
    return count;
}

double quiet_wakeups_per_second(int program, int counted, double window_seconds) {
    constexpr double PERIOD = 10, TRIES = 3 * PERIOD, LOOK_SECONDS = 0.05, SETTLE_SECONDS = 1;
    const auto sleep_seconds = [](double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); };
    const uint64_t before = context_switches(program);
    for (const double begin = now(); window_seconds > SETTLE_SECONDS && context_switches(program) == before;) {
        if (now() - begin > TRIES) break; // no report came: then none falls into the window either
        sleep_seconds(LOOK_SECONDS);
    }
    sleep_seconds(SETTLE_SECONDS);
    const uint64_t first = context_switches(counted);
    const double begin = now();
    sleep_seconds(window_seconds);
    return static_cast<double>(context_switches(counted) - first) / (now() - begin);
}

double cpu_seconds(const std::vector<int> &pids) {
    double total = 0;
    for (const int pid : pids)
        for (const int task : numbers_in(task_folder(pid))) {
            std::ifstream times(task_folder(pid) + "/" + std::to_string(task) + "/schedstat");
            double ns = 0;
            if (times >> ns) total += ns / 1e9;
        }
    return total;
}

Memory &Memory::operator+=(const Memory &other) {
    rss += other.rss;
    pss += other.pss;
    own += other.own;
    return *this;
}

Memory memory_of(int pid, const std::string &without) {
    Memory memory;
    std::ifstream maps("/proc/" + std::to_string(pid) + "/smaps");
    bool counted = true;
    constexpr double KIB_PER_MIB = 1024;
    for (std::string line; std::getline(maps, line);) {
        unsigned long long begin = 0, end = 0;
        if (sscanf(line.c_str(), "%llx-%llx ", &begin, &end) == 2) counted = without.empty() || !line.ends_with(without);
        if (!counted) continue;
        memory.rss += static_cast<double>(field(line, "Rss")) / KIB_PER_MIB;
        memory.pss += static_cast<double>(field(line, "Pss")) / KIB_PER_MIB;
        memory.own += static_cast<double>(field(line, "Private_Clean") + field(line, "Private_Dirty")) / KIB_PER_MIB;
    }
    return memory;
}

} // namespace bench
