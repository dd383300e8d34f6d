// The aging run: how far its processor phase uses the cores, what its runner takes of them in the other phases, and whether a
// run of days grows.
#include "common/bench_handset.h"
#include "common/processes.h"

#include "AgingTest/aging_cpu.h"
#include "base/worker.h"
#include "client/screen_text.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {
using bench::Goal;

void sleep_seconds(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// ---- the processor phase against stress-ng --------------------------------------------------------------------------------

constexpr double SETTLE = 0.05; // seconds, for the threads to be up
const int OWN = static_cast<int>(getpid());

// Seconds that a process's threads have been on a core, to the nanosecond, and with `waiting` those in which they stood in line for
// one; `counts` chooses them by their name.
template <class Counts> double core_seconds(int pid, bool waiting, Counts counts) {
    double sum = 0;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", error)) {
        std::ifstream comm(entry.path() / "comm"), schedule(entry.path() / "schedstat");
        std::string name;
        double ran = 0, waited = 0;
        if (std::getline(comm, name) && counts(name) && schedule >> ran >> waited) sum += (ran + (waiting ? waited : 0)) / 1e9;
    }
    return sum;
}
double demand_seconds(const std::vector<int> &pids) {
    double sum = 0;
    for (const int pid : pids) sum += core_seconds(pid, true, [](const std::string &) { return true; });
    return sum;
}

// How far some processes fill all cores in a window. What else the machine does makes them stand in line, and counts for both sides.
double use_of(const std::vector<int> &pids, double seconds) {
    sleep_seconds(SETTLE);
    const double first = demand_seconds(pids), begin = bench::now();
    sleep_seconds(seconds);
    return (demand_seconds(pids) - first) / (bench::now() - begin) / GetCoreCount();
}

// Exactly what the phase starts: a busy thread for each core.
std::array<double, 1> our_use(double seconds) {
    std::deque<Worker> busy(static_cast<size_t>(GetCoreCount()));
    int core = 0;
    for (Worker &worker : busy) {
        if (!worker.start("aging-busy", [core] { JustRun(core); })) bench::give_up("no thread");
        ++core;
    }
    const double use = use_of({OWN}, seconds);
    for (Worker &worker : busy) worker.stop();
    return {use};
}

// Stands still but in its turns.
class StressNg {
public:
    StressNg() : pid_(fork()) {
        if (pid_ != 0) {
            start();
            return;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL); // it must not outlive a measurement that is broken off
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        execlp("stress-ng", "stress-ng", "--cpu", std::to_string(GetCoreCount()).c_str(), "--cpu-method", "all", nullptr);
        _exit(127);
    }
    ~StressNg() {
        if (pid_ <= 0) return;
        send(SIGCONT);
        kill(pid_, SIGTERM); // it ends its own
        waitpid(pid_, nullptr, 0);
    }
    StressNg(const StressNg &) = delete;
    StressNg &operator=(const StressNg &) = delete;
    double use(double seconds) const {
        send(SIGCONT);
        const double share = use_of(processes_, seconds);
        send(SIGSTOP);
        return share;
    }

private:
    void start() {
        for (int i = 0; i < 100 && static_cast<int>(processes_.size()) <= GetCoreCount(); ++i) {
            sleep_seconds(0.02);
            if (pid_ <= 0 || waitpid(pid_, nullptr, WNOHANG) != 0) bench::give_up("stress-ng does not run; tools/setup installs it");
            processes_ = bench::with_children(pid_);
        }
        send(SIGSTOP);
    }
    void send(int signal) const {
        for (const int pid : processes_) kill(pid, signal);
    }
    pid_t pid_;
    std::vector<int> processes_;
};

void load_row(bench::Plan plan) {
    plan.turns = plan.quick ? 1 : 61;
    plan.turn_seconds = 0.2;
    const StressNg stress;
    const bench::Side<1> theirs = [&](double seconds) { return std::array<double, 1>{stress.use(seconds)}; };
    const auto [use] = bench::take_turns<1>(plan, bench::Side<1>(our_use), theirs);
    bench::print_ratio({"use of the cores by the processor phase, against stress-ng --cpu", Goal::at_least(0.99),
                        std::to_string(GetCoreCount()) + " cores; share of their time, that in line for them included"}, use, "%", 100);
}

// ---- runs on a handset ------------------------------------------------------------------------------------------------

// The shipped configuration with other lines in [TKI_AGING], and no idle period.
std::string configuration(const std::map<std::string, std::string> &lines) {
    std::ifstream shipped(std::string(getenv("VXO_SOURCE") ? getenv("VXO_SOURCE") : ".") + "/virtual/rootfs/tki_config.ini");
    const std::string path = std::filesystem::temp_directory_path() / ("vxo-bench-aging-" + std::to_string(OWN) + ".ini");
    std::ofstream out(path);
    for (std::string line; std::getline(shipped, line);) {
        const auto found = lines.find(line.substr(0, line.find('=')));
        if (found != lines.end() && line.find('=') != line.npos) line = found->first + "=" + found->second;
        if (const size_t at = line.find("OS_AutoSleepTime:"); at != line.npos) line = line.substr(0, at) + "OS_AutoSleepTime:100000000;OS_AutoTurnOffTime:200000000";
        out << line << "\n";
    }
    return path;
}

class AgingHandset {
public:
    AgingHandset(const std::map<std::string, std::string> &lines, int speed)
        : config_(configuration(lines)), handset_({"--config", config_, "--speed", std::to_string(speed)}) {
        for (const char *text : {"Aging", "Start aging"}) tap(text);
        wait("the dialog", [&] { return vh::ScreenView(handset_.client().dump()).front_shows("Start the test?"); });
        handset_.client().press(vh::key_code("pass"));
        wait("the run", [&] { return account("running") == "1"; });
    }
    ~AgingHandset() { std::filesystem::remove(config_); }
    AgingHandset(const AgingHandset &) = delete;
    AgingHandset &operator=(const AgingHandset &) = delete;

    int program() const { return handset_.program_pid(); }
    std::string account(const std::string &key) const { return value_in("/cache/tki/agingrun.txt", key); }
    int cycles_done() const { return atoi(value_in("/cache/tki/agingsetting.ini", "currentnum").c_str()); }
    template <class Holds> void wait(const std::string &what, Holds holds, double patience = 30) const {
        for (const double begin = bench::now(); !holds(); sleep_seconds(0.02))
            if (bench::now() - begin > patience) bench::give_up("waited for " + what);
    }

private:
    std::string value_in(const std::string &file, const std::string &key) const {
        std::istringstream lines(handset_.client().content(file));
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
        return "";
    }
    void tap(const std::string &text) const {
        wait(text, [&] {
            const vh::ScreenView view(handset_.client().dump());
            for (const vh::ScreenText &t : view.front())
                if (t.text == text) {
                    handset_.client().tap(t.x(), t.y());
                    return true;
                }
            return false;
        });
    }
    std::string config_;
    bench::BenchHandset handset_;
};

const std::map<std::string, std::string> NO_PHASE = {
    {"vediotest", "enable:0"}, {"lighttest", "enable:0"}, {"cameratest", "enable:0"}, {"reboottest", "enable:0"}, {"standbytest", "enable:0"},
    {"vibratortest", "enable:0"}, {"audioloop", "enable:0"}, {"cpufullload", "enable:0"}, {"ExternBattery", "1"}};

std::map<std::string, std::string> with(std::map<std::string, std::string> lines) {
    lines.insert(NO_PHASE.begin(), NO_PHASE.end());
    return lines;
}

std::vector<int> threads_of(int pid) {
    std::vector<int> threads;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", error))
        threads.push_back(atoi(entry.path().filename().c_str()));
    return threads;
}

// Of the runner and what stays with it through all phases: battery checks and monitor.
double runner_seconds(int pid) {
    return core_seconds(pid, false, [](const std::string &name) { return name == "aging" || name == "aging-battery" || name == "aging-cpu"; });
}

void runner_rows(const bench::Plan &plan) {
    const std::pair<const char *, std::map<std::string, std::string>> phases[] = {
        {"video", {{"vediotest", "enable:1;time:60"}, {"vibratortest", "enable:1;time:60"}}},
        {"camera", {{"cameratest", "enable:1;times:10000;totalnum:3"}}},
        {"suspend", {{"standbytest", "enable:1;times:10000"}}}};
    for (const auto &[phase, lines] : phases) {
        const AgingHandset handset(with(lines), 1);
        handset.wait(std::string("phase ") + phase, [&, p = phase] { return handset.account("phase") == p; });
        const double window = plan.quick ? 0.2 : 15; // three measurements of the monitor
        const bench::Summary use = bench::repeat({plan.quick ? 1 : 3, 0, plan.quick}, [&] {
            const double first = runner_seconds(handset.program()), begin = bench::now();
            sleep_seconds(window);
            return 100 * (runner_seconds(handset.program()) - first) / (bench::now() - begin);
        });
        bench::print_value({std::string("processor time of the aging run's own threads in the ") + phase + " phase", Goal::at_most(1),
                            "runner, battery checks and monitor; of one core; 3 windows of 15 s"}, use, "%");
    }
}

// ---- days ---------------------------------------------------------------------------------------------------------------

struct Size {
    std::vector<double> memory, threads, files; // looked at again and again; what is open for a moment does not move the median
};

size_t open_files(int pid) {
    std::error_code error;
    size_t count = 0;
    for (auto i = std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error); i != std::filesystem::directory_iterator(); i.increment(error))
        ++count;
    return count;
}

// While the processor phase of this cycle is under way, again and again.
Size size_in_cycle(const AgingHandset &handset, int cycle, double patience) {
    handset.wait("cycle " + std::to_string(cycle), [&] { return handset.cycles_done() >= cycle - 1; }, patience);
    Size size;
    const int pid = handset.program();
    while (handset.cycles_done() == cycle - 1 && handset.account("running") == "1") {
        sleep_seconds(0.02);
        if (handset.account("phase") != "cpu") continue;
        size.threads.push_back(static_cast<double>(threads_of(pid).size()));
        size.files.push_back(static_cast<double>(open_files(pid)));
        size.memory.push_back(bench::memory_of(pid, "/fb0").rss);
    }
    if (size.memory.empty()) bench::give_up("the run ended before its cycle " + std::to_string(cycle));
    return size;
}

// 72 hours of the handset in cycles of all phases but the reboots, which begin a new process anyway. The processor phase is the
// last of its cycle: all others lie behind it.
void soak_rows(const bench::Plan &plan) {
    const int speed = 1000;
    const double wanted = plan.quick ? 0 : 72;
    const std::string minutes = plan.quick ? "10" : "100";
    const AgingHandset handset(with({{"vediotest", "enable:1;time:" + minutes}, {"vibratortest", "enable:1;time:" + minutes}, {"audioloop", "enable:1"},
                                     {"cameratest", "enable:1;times:20;totalnum:3"}, {"standbytest", "enable:1;times:5"},
                                     {"cpufullload", "enable:1;time:" + minutes},
                                     {"Parameters", "Cycles:1000;TempUpLimit:550;TempUncharge:450"}}), speed);
    const double begin = bench::now();
    const Size first = size_in_cycle(handset, 1, 600);
    Size last;
    int cycles = 1;
    double hours = 0;
    do {
        last = size_in_cycle(handset, ++cycles, 600);
        hours = (bench::now() - begin) * speed / 3600;
    } while (hours < wanted);
    const std::string failed = handset.account("failed_item");
    char note[128];
    snprintf(note, sizeof note, "in the processor phase of the last of %d cycles, %.0f h, against that of the first; %s", cycles, hours,
             failed == "0" ? "no phase failed" : ("item " + failed + " failed").c_str());
    const auto print = [&](const std::string &what, Goal goal, const std::vector<double> &after, const std::vector<double> &before, const char *unit) {
        const double end = bench::summary_of(after).median, start = bench::summary_of(before).median;
        char both[64];
        snprintf(both, sizeof both, "%.4g%s then, %.4g%s now; ", start, unit, end, unit);
        bench::print_value({"aging soak: " + what + ", ratio", goal, both + std::string(note)}, {end / start, end / start, end / start}, "");
    };
    print("resident memory", Goal::at_most(1.01), last.memory, first.memory, " MiB");
    print("threads", Goal::at_most(1), last.threads, first.threads, "");
    print("open files", Goal::at_most(1), last.files, first.files, "");
}
} // namespace

int main(int argc, char **argv) {
    const bench::Plan plan = bench::plan_of(argc, argv);
    try {
        load_row(plan);
        runner_rows(plan);
        soak_rows(plan);
    } catch (const std::exception &error) { bench::give_up(error.what()); }
}
