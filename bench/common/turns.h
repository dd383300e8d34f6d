// What every benchmark stands on: two sides that take short turns one after the other in one run, so that whatever else the
// machine does at the moment meets both. The figure of a row is the median over the pairs of turns; the lowest and the
// highest pair stand beside it.
//
//   int main(int argc, char **argv) {
//       const bench::Plan plan = bench::plan_of(argc, argv);
//       const auto [ratio] = bench::take_turns<1>(plan, bench::each([] { ours(); }), bench::each([] { floor(); }));
//       bench::print_ratio({"what is measured", bench::Goal::at_most(1.1)}, ratio, "us", 1e6);
//   }
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// --quick: three short turns, for a test that asks whether the program works, not how fast it is.
struct Plan {
    int turns = 61;
    double turn_seconds = 0.05;
    bool quick = false;
};
// Reads the command line; ends the program on one it does not know. `known` names further options of the program.
Plan plan_of(int argc, char **argv, const std::vector<std::string> &known = {});
bool has_option(int argc, char **argv, const std::string &option);

// One pass of a value over its turns.
struct Summary {
    double median = 0, min = 0, max = 0;
};
Summary summary_of(std::vector<double> values);
// The value below which `share` of the samples lie (0.5: the median). The samples are reordered.
double quantile(std::vector<double> &samples, double share);

// One turn: works for about this many seconds and returns its figures, e.g. the seconds of one operation.
template <size_t N> using Side = std::function<std::array<double, N>(double seconds)>;

struct Pairs {
    Summary ratio, ours, floor; // ours divided by floor, pair by pair; both sides' figures themselves
};

// Both sides in turns; who goes first changes. One warm-up turn each is not counted.
template <size_t N>
std::array<Pairs, N> take_turns(const Plan &plan, const Side<N> &ours, const Side<N> &floor) {
    ours(plan.turn_seconds);
    floor(plan.turn_seconds);
    std::array<std::vector<double>, N> ratios, mine, theirs;
    for (int turn = 0; turn < plan.turns; ++turn) {
        std::array<double, N> a{}, b{};
        if (turn % 2 == 0) a = ours(plan.turn_seconds);
        b = floor(plan.turn_seconds);
        if (turn % 2 != 0) a = ours(plan.turn_seconds);
        for (size_t i = 0; i < N; ++i) {
            ratios[i].push_back(a[i] / b[i]);
            mine[i].push_back(a[i]);
            theirs[i].push_back(b[i]);
        }
    }
    std::array<Pairs, N> pairs;
    for (size_t i = 0; i < N; ++i) pairs[i] = {summary_of(ratios[i]), summary_of(mine[i]), summary_of(theirs[i])};
    return pairs;
}
// The same for something that has no other side.
Summary repeat(const Plan &plan, const std::function<double()> &measure);

// Seconds now; seconds of one operation, done again and again for about `seconds`.
double now();
double seconds_of_one(double seconds, const std::function<void()> &operation);
// A side whose one figure is the seconds of one operation.
Side<1> each(std::function<void()> operation);
// A side with the median and the 99th percentile of the seconds of one operation, each timed by itself.
Side<2> latencies(std::function<void()> operation);

// Keeps the calling thread, or every thread of a process, on one core. False when the kernel refuses.
bool pin_thread(int core);
bool pin_process(int pid, int core);
// The cores that this process may use.
std::vector<int> cores();

// ---- the rows ----

struct Goal {
    enum class Kind { at_most, at_least, report } kind = Kind::report;
    double limit = 0;
    static Goal at_most(double limit) { return {Kind::at_most, limit}; }
    static Goal at_least(double limit) { return {Kind::at_least, limit}; }
    static Goal report() { return {}; }
};
struct Row {
    std::string what;
    Goal goal;
    std::string note; // how it was measured, where the title does not say it
};

// One line each on standard output, which bench/run turns into the table. The first is for a figure that is a ratio (its two
// sides are told in `unit`, multiplied by `scale`), the second for one that stands by itself.
void print_ratio(const Row &row, const Pairs &pairs, const std::string &unit, double scale);
void print_value(const Row &row, const Summary &value, const std::string &unit, const std::string &floor = "");

// Ends the program with a message.
[[noreturn]] void give_up(const std::string &why);

} // namespace bench
