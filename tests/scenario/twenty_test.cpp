// A rack of handsets on one workstation: they cost nothing while they wait, and leave nothing when they go.
#include "scenario/handset.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <thread>

namespace {
namespace fs = std::filesystem;
constexpr size_t HANDSETS = 20;
constexpr int ANSWER_LIMIT_MS = 1000; // agreed with the line: an idle handset answers within a second

// Parents of all processes; the dead that nobody has collected yet do not count.
std::map<int, int> parents() {
    std::map<int, int> all;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        const int pid = atoi(entry.path().filename().c_str());
        const std::string stat = pid > 0 ? content_of(entry.path() / "stat") : "";
        char state = 'Z';
        int parent = 0;
        const size_t end = stat.rfind(')');
        if (end != stat.npos && sscanf(stat.c_str() + end + 1, " %c %d", &state, &parent) == 2 && state != 'Z')
            all[pid] = parent;
    }
    return all;
}

// The launcher of a handset and everything below it.
std::set<int> processes_of(const Handset &handset) {
    std::set<int> found{std::stoi(content_of(handset.client().paths().run() + "/launcher.pid"))};
    const std::map<int, int> all = parents();
    for (size_t before = 0; before != found.size();) {
        before = found.size();
        for (const auto &[pid, parent] : all)
            if (found.count(parent)) found.insert(pid);
    }
    return found;
}

// How often the threads of these processes have waited for something and have been woken.
long wake_ups(const std::set<int> &processes) {
    long sum = 0;
    for (const int pid : processes)
        for (const fs::directory_entry &task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
            std::ifstream status(task.path() / "status");
            for (std::string line; std::getline(status, line);)
                if (line.starts_with("voluntary_ctxt_switches:")) sum += std::stol(line.substr(line.find(':') + 1));
        }
    return sum;
}
} // namespace

TEST(Twenty, HandsetsSideBySide) {
    std::vector<std::unique_ptr<Handset>> handsets(HANDSETS);
    std::vector<std::string> folders;
    std::set<int> processes;
    const auto each = [&](const std::function<void(std::unique_ptr<Handset> &)> &act) { // four hands
        std::vector<std::thread> hands;
        for (size_t hand = 0; hand < 4; ++hand)
            hands.emplace_back([&, hand] {
                for (size_t i = hand; i < HANDSETS; i += 4) act(handsets[i]);
            });
        for (std::thread &hand : hands) hand.join();
    };
    each([](std::unique_ptr<Handset> &handset) {
        try {
            handset = std::make_unique<Handset>();
            handset->wait_for_text("Device tests");
        } catch (const std::exception &error) {
            ADD_FAILURE() << error.what();
        }
    });
    for (const auto &handset : handsets) {
        ASSERT_TRUE(handset) << "not booted";
        handset->wait_for_battery();
        processes.merge(processes_of(*handset));
        folders.push_back(handset->client().paths().root);
    }
    for (const auto &handset : handsets)
        EXPECT_EQ(vh::PcLink(handset->client()).at("batteryMoudle testItem power", patient(ANSWER_LIMIT_MS)).text, "*80");

    // A battery report every ten seconds is all that an idle handset does: some 57 wake-ups, and one may fall into this window.
    const long before = wake_ups(processes);
    handsets[0]->wait_ms(5000); // what must not happen cannot be waited for
    EXPECT_LT(wake_ups(processes) - before, static_cast<long>(HANDSETS) * 80) << processes.size() << " processes";

    each([](std::unique_ptr<Handset> &handset) { handset.reset(); });
    const std::map<int, int> left = parents();
    for (const int pid : processes) EXPECT_EQ(left.count(pid), 0U) << content_of("/proc/" + std::to_string(pid) + "/cmdline");
    const std::string mounts = content_of("/proc/self/mounts");
    for (const std::string &folder : folders) {
        EXPECT_FALSE(fs::exists(folder)) << folder;
        EXPECT_EQ(mounts.find(folder), mounts.npos) << folder;
    }
}
