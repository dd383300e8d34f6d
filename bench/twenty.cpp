// Twenty handsets side by side on this machine: how long until all show their menu, what they cost, how they answer.
#include "common/bench_handset.h"
#include "common/processes.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {
using bench::Goal;

std::vector<std::unique_ptr<bench::BenchHandset>> boot(size_t count) {
    std::vector<std::unique_ptr<bench::BenchHandset>> handsets(count);
    {
        std::vector<std::jthread> threads;
        for (auto &handset : handsets)
            threads.emplace_back([&handset] {
                try {
                    handset = std::make_unique<bench::BenchHandset>();
                } catch (const std::exception &error) { bench::give_up(error.what()); }
            });
    }
    return handsets;
}

bench::Summary answers(const std::vector<std::unique_ptr<bench::BenchHandset>> &handsets) {
    std::vector<vh::PcLink> links;
    for (const auto &handset : handsets) links.emplace_back(handset->client());
    std::vector<double> seconds;
    for (int round = 0; round < 5; ++round)
        for (vh::PcLink &link : links) {
            const double begin = bench::now();
            if (link.at("batteryMoudle testItem power").status != 0) bench::give_up("the command failed");
            seconds.push_back(bench::now() - begin);
        }
    return bench::summary_of(seconds);
}

void rows(const bench::Plan &plan, size_t count) {
    const std::string all = std::to_string(count) + " handsets side by side";
    const double begin = bench::now();
    const auto handsets = boot(count);
    const double booted = bench::now() - begin;
    std::vector<double> each;
    for (const auto &handset : handsets) each.push_back(handset->boot_seconds());
    bench::print_value({all + ": until all show their menu", Goal::report(),
                        std::to_string(std::thread::hardware_concurrency()) + " cores, all booted at once"},
                       {booted, booted, booted}, "s");
    bench::print_value({all + ": boot of each", Goal::report()}, bench::summary_of(each), "s");

    std::vector<int> pids;
    bench::Memory memory;
    for (const auto &handset : handsets)
        for (const int pid : bench::with_children(handset->launcher_pid())) {
            pids.push_back(pid);
            memory += bench::memory_of(pid, "/fb0");
        }
    bench::print_value({all + ": memory of all, their panels beside it", Goal::report()}, {memory.pss, memory.pss, memory.pss}, "MiB");
    const double window = plan.quick ? 0.1 : 10;
    const bench::Summary cpu = bench::repeat({plan.quick ? 1 : 3, 0, plan.quick}, [&] {
        const double first = bench::cpu_seconds(pids), from = bench::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(window));
        return 100 * (bench::cpu_seconds(pids) - first) / (bench::now() - from);
    });
    bench::print_value({all + ": processor time of all when idle", Goal::report(), "of one core"}, cpu, "%");
    const bench::Summary answer = answers(handsets);
    bench::print_value({all + ": slowest answer to a PC command when idle", Goal::report(), "of 5 to each, over the tool's socket"},
                       {answer.max * 1e3, answer.max * 1e3, answer.max * 1e3}, "ms");
    bench::print_value({all + ": median answer", Goal::report()}, {answer.median * 1e3, answer.min * 1e3, answer.max * 1e3}, "ms");
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    try {
        rows(plan, plan.quick ? 2 : 20);
    } catch (const std::exception &error) { bench::give_up(error.what()); }
}
