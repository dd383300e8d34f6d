// One LTE measurement against the waits that it is made of: what the program, the library and the virtual kernel add.
#include "common/bench_handset.h"

#include "rf/modem_library.h"
#include "rf/ns_config.h"
#include "rf/ns_procedures.h"

#include <algorithm>
#include <android/log.h>

namespace {
constexpr double WAITS = 0.2 + 0.2 + 5 * 2 * 0.001; // seconds: behind start and acquisition, behind each of ten readings
constexpr int TURNS = 31;

double seconds_of_cycle() {
    const double begun = bench::now();
    if (Diag_LTE_NS_TEST_START() != 0) bench::give_up("no LTE measurement");
    return bench::now() - begun;
}

void measure(const bench::Plan &plan) {
    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
    g_ns_config.lte.enabled = true;
    if (NS_COUPLING_LOAD_LIB() != 0 || g_ns.Command_init() != 0 || Diag_NS_TEST_Check_Modem_FTM_Mode() != 0)
        bench::give_up("no modem");
    bench::Plan cycles = plan;
    cycles.turns = std::min(plan.turns, TURNS);
    const bench::Summary cycle = bench::repeat(cycles, seconds_of_cycle);
    const bench::Summary ratio{cycle.median / WAITS, cycle.min / WAITS, cycle.max / WAITS};
    bench::print_ratio({"one LTE measurement, against the sum of its prescribed waits", bench::Goal::at_most(1.02),
                        "14 calls of the modem through the virtual kernel"},
                       {ratio, cycle, {WAITS, WAITS, WAITS}}, "ms", 1e3);
}
} // namespace

int main(int argc, char **argv) {
    return bench::main_inside(argc, argv, "bench_radio", bench::Inside::fresh_root, measure);
}
