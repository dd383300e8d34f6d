// What a handset at its menu costs: wake-ups, memory, processor time; and how long it takes to get there.
#include "common/bench_handset.h"
#include "common/processes.h"

#include "client/tool.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace {
using bench::Goal;

void sleep_seconds(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

std::string mib(double value) {
    char text[32];
    snprintf(text, sizeof text, "%.1f MiB", value);
    return text;
}

void idle_rows(const bench::Plan &plan, const bench::BenchHandset &handset) {
    const int program = handset.program_pid();
    const double window = plan.quick ? 0.2 : 8;
    const bench::Summary wakeups = bench::repeat({plan.quick ? 1 : 3, 0, plan.quick}, [&] { return bench::quiet_wakeups_per_second(program, program, window); });
    bench::print_value({"wake-ups per second of the idle program at the menu, all threads, between two battery reports",
                        Goal::at_most(0), "3 windows of 8 s"}, wakeups, "");
    const bench::Memory memory = bench::memory_of(program, "/fb0");
    bench::print_value({"resident memory of the program at the menu, beside its frame buffers", Goal::at_most(24),
                        "its share of what others map too: " + mib(memory.pss) + "; its own alone: " + mib(memory.own)},
                       {memory.rss, memory.rss, memory.rss}, "MiB");
}

// Everything that one handset more brings: launcher, virtual kernel, sandbox and program.
void handset_rows(const bench::Plan &plan, const bench::BenchHandset &handset) {
    const std::vector<int> all = bench::with_children(handset.launcher_pid());
    bench::Memory memory;
    for (const int pid : all) memory += bench::memory_of(pid, "/fb0");
    bench::print_value({"memory of one virtual handset more, its panel beside it", Goal::report(),
                        "what its " + std::to_string(all.size()) + " processes share with nobody; their share of all: " +
                            mib(memory.pss)},
                       {memory.own, memory.own, memory.own}, "MiB");
    const double window = plan.quick ? 0.1 : 10;
    const bench::Summary cpu = bench::repeat({3, 0, plan.quick}, [&] {
        const double first = bench::cpu_seconds(all), begin = bench::now();
        sleep_seconds(window);
        return 100 * (bench::cpu_seconds(all) - first) / (bench::now() - begin);
    });
    bench::print_value({"processor time of an idle virtual handset, battery reports included", Goal::report(), "of one core"},
                       cpu, "%");
}

void boot_rows(const bench::Plan &plan) {
    const bench::Plan boots{plan.quick ? 1 : 7, 0, plan.quick};
    const bench::Summary sandbox = bench::repeat(boots, [] {
        const double begin = bench::now();
        if (vh::run_tool({"exec", "--", "/bin/true"}).status != 0) bench::give_up("handset exec failed");
        return bench::now() - begin;
    });
    const bench::Summary menu = bench::repeat(boots, [] { return bench::BenchHandset().boot_seconds(); });
    bench::print_value({"boot of a virtual handset to its menu", Goal::at_most(1),
                        std::to_string(boots.turns) + " boots; from the command to the screen"}, menu, "s");
    bench::print_value({"the sandbox alone, with a command that does nothing, there and away", Goal::report()}, sandbox, "s");
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    try {
        {
            const bench::BenchHandset handset;
            idle_rows(plan, handset);
            handset_rows(plan, handset);
        }
        boot_rows(plan);
    } catch (const std::exception &error) { bench::give_up(error.what()); }
}
