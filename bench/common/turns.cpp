#include "common/turns.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sched.h>
#include <time.h>

namespace bench {

namespace {
constexpr int QUICK_TURNS = 3;
constexpr double QUICK_SECONDS = 0.01;

cpu_set_t only(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(core), &set);
    return set;
}

// Three significant digits, never in exponential form.
std::string text(double value) {
    if (!std::isfinite(value)) return "none";
    const double size = std::fabs(value);
    const int digits = size >= 99.95 || size == 0 ? 0 : size >= 9.995 ? 1 : size >= 0.9995 ? 2 : size >= 0.0995 ? 3 : 4;
    char out[64];
    snprintf(out, sizeof out, "%.*f", digits, value);
    return out;
}

std::string with_unit(double value, const std::string &unit) { return unit.empty() ? text(value) : text(value) + " " + unit; }

void print_line(const Row &row, const Summary &figure, const std::string &unit, const std::string &ours,
                const std::string &floor) {
    static const char *const KINDS[] = {"max", "min", "report"};
    char goal[32] = "-";
    if (row.goal.kind != Goal::Kind::report) snprintf(goal, sizeof goal, "%g", row.goal.limit);
    printf("ROW\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n", row.what.c_str(), KINDS[static_cast<int>(row.goal.kind)], goal,
           text(figure.median).c_str(), text(figure.min).c_str(), text(figure.max).c_str(), unit.empty() ? "-" : unit.c_str(),
           ours.empty() ? "-" : ours.c_str(), floor.empty() ? "-" : floor.c_str(), row.note.empty() ? "-" : row.note.c_str());
    fflush(stdout);
}
} // namespace

bool has_option(int argc, char **argv, const std::string &option) {
    return std::any_of(argv + 1, argv + argc, [&](const char *argument) { return argument == option; });
}

Plan plan_of(int argc, char **argv, const std::vector<std::string> &known) {
    Plan plan;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--quick") {
            plan = {QUICK_TURNS, QUICK_SECONDS, true};
        } else if (std::find(known.begin(), known.end(), argument) == known.end()) {
            std::string all = "--quick";
            for (const std::string &option : known) all += ", " + option;
            give_up("unknown option " + argument + "; there are: " + all);
        }
    }
    return plan;
}

double quantile(std::vector<double> &samples, double share) {
    if (samples.empty()) return NAN;
    const auto at = samples.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

Summary summary_of(std::vector<double> values) {
    if (values.empty()) return {NAN, NAN, NAN};
    const auto [min, max] = std::minmax_element(values.begin(), values.end());
    const double low = *min, high = *max;
    return {quantile(values, 0.5), low, high};
}

Summary repeat(const Plan &plan, const std::function<double()> &measure) {
    std::vector<double> values;
    for (int turn = 0; turn < plan.turns; ++turn) values.push_back(measure());
    return summary_of(values);
}

double now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

double seconds_of_one(double seconds, const std::function<void()> &operation) {
    constexpr double LOOK_EVERY = 0.001; // so that the clock costs nothing
    size_t batch = 1, count = 0;
    const double begin = now();
    double last = begin;
    while (last - begin < seconds) {
        for (size_t i = 0; i < batch; ++i) operation();
        count += batch;
        const double t = now();
        if (t - last < LOOK_EVERY) batch *= 2;
        last = t;
    }
    return (last - begin) / static_cast<double>(count);
}

Side<1> each(std::function<void()> operation) {
    return [operation = std::move(operation)](double seconds) -> std::array<double, 1> {
        return {seconds_of_one(seconds, operation)};
    };
}

Side<2> latencies(std::function<void()> operation) {
    return [operation = std::move(operation)](double seconds) -> std::array<double, 2> {
        std::vector<double> samples;
        samples.reserve(1 << 16);
        const double end = now() + seconds;
        for (double begin = now(); begin < end;) {
            operation();
            const double after = now();
            samples.push_back(after - begin);
            begin = after;
        }
        const double median = quantile(samples, 0.5);
        return {median, quantile(samples, 0.99)};
    };
}

bool pin_thread(int core) {
    const cpu_set_t set = only(core);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

bool pin_process(int pid, int core) {
    const cpu_set_t set = only(core);
    std::error_code failed;
    bool whole = true;
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", failed))
        whole = sched_setaffinity(atoi(task.path().filename().c_str()), sizeof set, &set) == 0 && whole;
    return whole && !failed;
}

std::vector<int> cores() {
    cpu_set_t set;
    std::vector<int> found;
    if (sched_getaffinity(0, sizeof set, &set) != 0) return found;
    for (int core = 0; core < CPU_SETSIZE; ++core)
        if (CPU_ISSET(static_cast<size_t>(core), &set)) found.push_back(core);
    return found;
}

void print_ratio(const Row &row, const Pairs &pairs, const std::string &unit, double scale) {
    print_line(row, pairs.ratio, "", with_unit(pairs.ours.median * scale, unit), with_unit(pairs.floor.median * scale, unit));
}

void print_value(const Row &row, const Summary &value, const std::string &unit, const std::string &floor) {
    print_line(row, value, unit, with_unit(value.median, unit), floor);
}

void give_up(const std::string &why) {
    fprintf(stderr, "%s\n", why.c_str());
    exit(1);
}

} // namespace bench
