// Board tests of what stands around the processor: cores, memory, storage.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/board.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/statvfs.h>
#include <system_error>
#include <thread>
#include <tp_clock.h>
#include <unistd.h>
#include <vector>

namespace {
constexpr int64_t NS_PER_S = 1000000000;
constexpr int64_t NO_LIMIT = 1; // and less
constexpr int ROUNDS = 4096;
constexpr uint64_t SEED = 0x9E3779B97F4A7C15;

constexpr uint64_t churn(uint64_t x) {
    for (int i = 0; i < ROUNDS; ++i) {
        x ^= x << 13;
        x ^= x >> 7;
        x += x / 3 * 5 + x % 7;
    }
    return x;
}
constexpr uint64_t CHURNED = churn(SEED); // by the compiler

bool computes_right() {
    volatile uint64_t seed = SEED;
    volatile double angle = 0.7;
    const double one = std::sin(angle) * std::sin(angle) + std::cos(angle) * std::cos(angle);
    return churn(seed) == CHURNED && std::fabs(one - 1) < 1e-12;
}

// On one core, until the time is over; false where it cannot run or computes wrong.
bool load_core(int core, hal::Event &stop, int64_t until_ns) {
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(core, &only);
    if (sched_setaffinity(0, sizeof only, &only) != 0) {
        HAL_LOG_E(FACTORY_TAG, "core %d: %s", core, strerror(errno));
        return false;
    }
    do {
        if (computes_right()) continue;
        HAL_LOG_E(FACTORY_TAG, "core %d computes wrong", core);
        return false;
    } while (tp_clock_mono_ns() < until_ns && !stop.wait(0));
    return true;
}

std::vector<int> cores_of_handset() {
    cpu_set_t may;
    CPU_ZERO(&may);
    std::vector<int> cores;
    if (sched_getaffinity(0, sizeof may, &may) != 0) return cores;
    for (int core = 0; core < CPU_SETSIZE; ++core)
        if (CPU_ISSET(core, &may)) cores.push_back(core);
    return cores;
}

bool load_cores(const std::vector<int> &cores, hal::Event &stop, int64_t until_ns) {
    std::atomic<bool> good{true};
    std::vector<std::thread> threads;
    try {
        for (const int core : cores)
            threads.emplace_back([&, core] {
                if (!load_core(core, stop, until_ns)) good = false;
            });
    } catch (const std::system_error &error) {
        HAL_LOG_E(FACTORY_TAG, "thread: %s", error.what());
        good = false;
    }
    for (std::thread &thread : threads) thread.join();
    return good;
}

uint64_t highest_khz(size_t cores) {
    int64_t highest = 0;
    for (size_t core = 0; core < cores; ++core) {
        const std::string path = "/sys/devices/system/cpu/cpu" + std::to_string(core) + "/cpufreq/cpuinfo_max_freq";
        const auto text = hal::read_attribute(path.c_str());
        highest = std::max(highest, text ? hal::parse_int64(*text).value_or(0) : 0);
    }
    if (highest == 0) HAL_LOG_E(FACTORY_TAG, "no core tells cpufreq/cpuinfo_max_freq");
    return static_cast<uint64_t>(highest);
}

int64_t memory_mib() {
    const auto text = hal::read_attribute("/proc/meminfo");
    constexpr std::string_view NAME = "MemTotal:";
    const size_t at = text ? text->find(NAME) : std::string::npos;
    if (at == std::string::npos) return 0;
    std::string_view rest = std::string_view(*text).substr(at + NAME.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return hal::parse_int64(rest.substr(0, rest.find(' '))).value_or(0) / 1024;
}

bool memory_holds() {
    constexpr size_t WORDS = 1 << 20;
    std::vector<uint64_t> memory(WORDS);
    volatile uint64_t *words = memory.data(); // each word is really written and really read
    for (const uint64_t pattern : {0x5555555555555555ull, 0xAAAAAAAAAAAAAAAAull, 0x9E3779B97F4A7C15ull}) {
        for (size_t i = 0; i < WORDS; ++i) words[i] = pattern ^ i;
        for (size_t i = 0; i < WORDS; ++i)
            if (words[i] != (pattern ^ i)) return false;
    }
    return true;
}

bool storage_holds() {
    constexpr const char *PROBE = "/data/pv_storage_probe";
    const hal::UniqueFd fd = hal::open_file(PROBE, O_RDWR | O_CREAT | O_TRUNC, 0600);
    const bool opened = fd.valid();
    if (opened) unlink(PROBE);
    std::string wrote(1 << 16, '\0');
    for (size_t i = 0; i < wrote.size(); ++i) wrote[i] = static_cast<char>(i * 31 + (i >> 8));
    std::string found(wrote.size(), '\0');
    if (opened && hal::write_all(fd.get(), wrote) && fsync(fd.get()) == 0 &&
        hal::read_at(fd.get(), found, 0) == static_cast<ssize_t>(wrote.size()) && found == wrote)
        return true;
    HAL_LOG_E(FACTORY_TAG, "%s: %s", PROBE, strerror(errno));
    return false;
}
} // namespace

namespace factory {

tki_pcba_number measure_cpu(hal::Event &stop, int cores, int min_khz, int seconds) {
    const std::vector<int> present = cores_of_handset();
    const int64_t until = tp_clock_mono_ns() + std::clamp(seconds, 1, 10) * NS_PER_S;
    bool good = !present.empty() && load_cores(present, stop, until);
    if (static_cast<int>(present.size()) < cores) {
        HAL_LOG_E(FACTORY_TAG, "%zu cores instead of %d", present.size(), cores);
        good = false;
    }
    const uint64_t khz = present.empty() ? 0 : highest_khz(static_cast<size_t>(present.back()) + 1);
    return {khz, good && khz > 0 && static_cast<int64_t>(khz) >= min_khz ? 1 : 0};
}

tki_pcba_number measure_memory(int64_t min_mib, int64_t max_mib) {
    const int64_t mib = memory_mib();
    const bool fits = mib > 0 && (min_mib <= NO_LIMIT || mib >= min_mib) && (max_mib <= NO_LIMIT || mib <= max_mib);
    if (!fits) HAL_LOG_E(FACTORY_TAG, "%lld MiB are not %lld to %lld", static_cast<long long>(mib),
                         static_cast<long long>(min_mib), static_cast<long long>(max_mib));
    return {static_cast<uint64_t>(mib), fits && memory_holds() ? 1 : 0};
}

tki_pcba_number measure_storage() {
    constexpr uint64_t GB = 1000000000;
    struct statvfs system{};
    if (statvfs("/data", &system) != 0) return {};
    const uint64_t bytes = uint64_t{system.f_blocks} * system.f_frsize;
    return {(bytes + GB / 2) / GB, bytes > 0 && storage_holds() ? 1 : 0};
}

} // namespace factory
