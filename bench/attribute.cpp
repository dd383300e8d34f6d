// The program's door to kernel attributes on the virtual kernel: write, sync, read back, compare.
#include "common/bench_handset.h"

#include "base/sysfs.h"

#include <android/log.h>
#include <cstdio>

namespace {
constexpr char ATTRIBUTE[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char FILE_IN_MEMORY[] = "/tmp/attribute";

void write_value(const char *path) {
    static bool odd = false; // a new value each time
    odd = !odd;
    remove_file(FILE_IN_MEMORY); // the door appends, which only an attribute takes for a new value
    if (write_file(path, odd ? "101" : "102") != 0) bench::give_up(std::string("not written: ") + path);
}

void measure(const bench::Plan &plan) {
    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
    const auto [p50, p99] = bench::take_turns<2>(plan, bench::latencies([] { write_value(ATTRIBUTE); }),
                                                 bench::latencies([] { write_value(FILE_IN_MEMORY); }));
    const auto row = [](const std::string &what, bench::Goal goal, const bench::Pairs &pairs) {
        char floor[64];
        snprintf(floor, sizeof floor, "%.4f ms: a file in memory", pairs.floor.median * 1e3);
        const bench::Summary &s = pairs.ours;
        bench::print_value({what, goal}, {s.median * 1e3, s.min * 1e3, s.max * 1e3}, "ms", floor);
    };
    row("attribute written and read back through the virtual kernel, median", bench::Goal::at_most(0.4), p50);
    row("the same, 99th percentile", bench::Goal::report(), p99);
}
} // namespace

int main(int argc, char **argv) {
    return bench::main_inside(argc, argv, "bench_attribute", bench::Inside::fresh_root, measure);
}
