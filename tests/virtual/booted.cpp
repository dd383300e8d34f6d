#include "booted.h"

#include "support/files.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;

namespace booted {

namespace {
std::string scratch_folder() {
    std::string name = fs::temp_directory_path().string() + "/vxo-test.XXXXXX";
    return mkdtemp(name.data()) ? name : "";
}
} // namespace

std::string build_dir() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }
std::string source_dir() {
    const char *set = getenv("VXO_SOURCE");
    return set ? set : fs::current_path().string();
}
std::string rootfs_dir() { return source_dir() + "/virtual/rootfs"; }

bool eventually(const std::function<bool()> &condition, int within_ms) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(within_ms);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

Handset::Handset(const std::string &name) : paths(scratch_folder()) {
    options.name = name;
    options.build_dir = build_dir();
    options.rootfs_dir = rootfs_dir();
}

Handset::~Handset() {
    stop();
    vh::wipe_state(paths);
}

bool Handset::boot(const std::string &script) {
    options.program = {"/bin/sh", "-c", "probe() { /app/bin/vh_probe \"$@\"; }\n" + script};
    return vh::launch_detached(paths, options, [this](const std::string &line) { lines.push_back(line); }) == 0;
}

int Handset::stop() {
    try {
        ask({{"op", "stop"}});
    } catch (const std::exception &) {
        return 1;
    }
    return eventually([this] { return !vh::is_running(paths); }) ? 0 : 1;
}

nlohmann::json Handset::ask(const nlohmann::json &request) const { return vh::request(paths, request); }

std::string Handset::sh(const std::string &command) const {
    const nlohmann::json reply =
        ask({{"op", "exec"}, {"argv", {"sh", "-c", "probe() { /app/bin/vh_probe \"$@\"; }\n" + command}}});
    std::string text = reply.value("output", "no output: " + reply.dump());
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

bool Handset::waits_for(const std::string &key, const nlohmann::json &value) const {
    return eventually([&] { return ask({{"op", "status"}}).at(key) == value; });
}

pid_t Handset::launcher_pid() const { return atoi(files::get(paths.run() + "/launcher.pid").c_str()); }

} // namespace booted
