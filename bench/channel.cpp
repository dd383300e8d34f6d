// PC commands against a bare TCP server, client and both servers inside one handset, over its loopback interface.
#include "common/bench_handset.h"
#include "common/echo_peer.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {
constexpr uint16_t CHANNEL_PORT = 3535;
constexpr size_t CLIENTS = 8;
const std::string COMMAND = "batteryMoudle testItem power\n";

// The program, by its name: inside, the tool's view of process ids does not hold.
int program_inside() {
    for (const auto &entry : std::filesystem::directory_iterator("/.proc")) {
        std::string name;
        if (std::getline(std::ifstream(entry.path() / "comm"), name) && name == "mmi") return atoi(entry.path().filename().c_str());
    }
    bench::give_up("the program does not run in this handset");
}

bench::Side<2> round_trip(uint16_t port, const std::string &answer) {
    auto caller = std::make_shared<bench::Caller>(port);
    return bench::latencies([caller, got = answer]() mutable { caller->ask(COMMAND, got); });
}

// Answers per second of clients that each wait for their answer.
bench::Side<1> rate(uint16_t port, const std::string &answer) {
    auto callers = std::make_shared<std::vector<bench::Caller>>();
    for (size_t i = 0; i < CLIENTS; ++i) callers->emplace_back(port);
    return [callers, answer](double seconds) -> std::array<double, 1> {
        std::atomic<size_t> answers{0};
        const double begin = bench::now();
        {
            std::vector<std::jthread> threads;
            for (bench::Caller &caller : *callers)
                threads.emplace_back([&, got = answer]() mutable {
                    size_t count = 0;
                    for (; bench::now() - begin < seconds; ++count) caller.ask(COMMAND, got);
                    answers += count;
                });
        }
        return {static_cast<double>(answers) / (bench::now() - begin)};
    };
}

// The battery's first report may take a moment after the menu is there.
std::string first_answer() {
    bench::Caller caller(CHANNEL_PORT);
    std::string answer;
    for (const double end = bench::now() + 5; bench::now() < end; usleep(20000))
        if ((answer = caller.ask_channel(COMMAND)).starts_with("0 ")) return answer;
    bench::give_up("the command failed: " + answer);
}

void measure(const bench::Plan &plan) {
    const std::string answer = first_answer();
    const bench::EchoServer echo(COMMAND.size(), answer);
    const int core = bench::cores().back();
    for (const int pid : {getpid(), program_inside(), echo.pid()})
        if (!bench::pin_process(pid, core)) bench::give_up("cannot keep both ends on one core");
    const std::string sizes = std::to_string(COMMAND.size()) + " bytes there, " + std::to_string(answer.size()) + " back";
    const auto [p50, p99] = bench::take_turns<2>(plan, round_trip(CHANNEL_PORT, answer), round_trip(echo.port(), answer));
    bench::print_ratio({"PC command round trip, median, against a bare TCP server", bench::Goal::at_most(1.1),
                        sizes + "; one client; all on one core"}, p50, "us", 1e6);
    bench::print_ratio({"the same, 99th percentile", bench::Goal::at_most(1.5)}, p99, "us", 1e6);
    const auto [together] = bench::take_turns<1>(plan, rate(CHANNEL_PORT, answer), rate(echo.port(), answer));
    bench::print_ratio({"PC commands per second, 8 clients, against the same server", bench::Goal::at_least(0.9), "all on one core"},
                       together, "k/s", 1e-3);
}
} // namespace

int main(int argc, char **argv) {
    return bench::main_inside(argc, argv, "bench_channel", bench::Inside::booted_handset, measure);
}
