#include "common/bench_handset.h"

#include "client/screen_text.h"
#include "client/tool.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

namespace bench {

namespace {
constexpr double PATIENCE = 20;

bool shows_menu(const vh::Client &client) {
    if (vh::ScreenView(client.dump()).front_shows("Device tests")) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return false;
}
// A program that gives up runs no destructor of an object; this one's runs all the same.
struct Running {
    std::mutex mutex;
    std::set<std::string> names;
    ~Running() {
        for (const std::string &name : names) vh::run_tool({"wipe", "-n", name});
    }
};
Running &running() {
    static Running all; // made after the folder of the handsets, and so ended before it
    return all;
}
} // namespace

BenchHandset::BenchHandset(std::vector<std::string> boot_arguments) : client_(vh::fresh_handset_name()) {
    std::vector<std::string> args{"boot", "-n", client_.name(), "--headless", "--prop", "persist.vxo.log.level=4"};
    args.insert(args.end(), boot_arguments.begin(), boot_arguments.end());
    {
        Running &all = running();
        const std::scoped_lock lock(all.mutex);
        all.names.insert(client_.name());
    }
    const double begin = now();
    const vh::Client::Outcome booted = vh::run_tool(args);
    bool menu = false;
    while (booted.status == 0 && !menu && now() - begin < PATIENCE) menu = shows_menu(client_);
    boot_seconds_ = now() - begin;
    if (menu) return;
    vh::run_tool({"wipe", "-n", client_.name()});
    throw vh::ClientError((booted.status ? "the handset did not boot: " : "the handset shows no menu: ") + booted.output);
}

BenchHandset::~BenchHandset() {
    vh::run_tool({"wipe", "-n", client_.name()});
    Running &all = running();
    const std::scoped_lock lock(all.mutex);
    all.names.erase(client_.name());
}

int BenchHandset::launcher_pid() const {
    int pid = -1;
    std::ifstream(client_.paths().run() + "/launcher.pid") >> pid;
    return pid;
}

int BenchHandset::program_pid() const { return client_.request({{"op", "status"}}).value("program_pid", -1); }

void BenchHandset::run_inside(std::vector<std::string> argv) const {
    const vh::Client::Outcome done = client_.exec(argv);
    printf("%s", done.output.c_str());
    if (done.status != 0) give_up(argv[0] + " inside the handset ended with status " + std::to_string(done.status));
}

int main_inside(int argc, char **argv, const std::string &program, Inside where, void (*measure)(const Plan &)) {
    const Plan plan = plan_of(argc, argv, {"--inside"});
    if (has_option(argc, argv, "--inside")) {
        measure(plan);
        return 0;
    }
    std::vector<std::string> args{"/app/bin/" + program, "--inside"};
    if (plan.quick) args.push_back("--quick");
    try {
        if (where == Inside::booted_handset) {
            BenchHandset().run_inside(args);
            return 0;
        }
    } catch (const std::exception &error) { give_up(error.what()); }
    args.insert(args.begin(), {"exec", "--"});
    const vh::Client::Outcome done = vh::run_tool(args);
    printf("%s", done.output.c_str());
    return done.status;
}

} // namespace bench
