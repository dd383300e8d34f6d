#include "client/tool.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace vh {

namespace {
namespace fs = std::filesystem;

std::string environment(const char *name, const std::string &otherwise) {
    const char *value = getenv(name);
    return value && *value ? value : otherwise;
}

struct Home {
    std::string path;
    Home() {
        std::string pattern = environment("VXO_HANDSET_HOME", environment("TMPDIR", "/tmp")) + "/vxo-test.XXXXXX";
        if (!mkdtemp(pattern.data())) throw ClientError("cannot make a folder at " + pattern);
        path = pattern;
        setenv("VXO_HANDSET_HOME", path.c_str(), 1);
    }
    ~Home() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};
} // namespace

std::string fresh_handset_name() {
    static const Home home;
    static std::atomic<int> count{0};
    return "h" + std::to_string(++count);
}

std::string tool_path() {
    const char *build = getenv("VXO_BUILD");
    return (build && *build ? build : fs::read_symlink("/proc/self/exe").parent_path().parent_path().string()) + "/bin/handset";
}

Client::Outcome run_tool(std::vector<std::string> args) {
    args.insert(args.begin(), tool_path());
    std::vector<char *> argv;
    for (std::string &arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    // A file, not a pipe: a handset in the background would keep a pipe open.
    const std::string log = environment("VXO_HANDSET_HOME", "/tmp") + "/tool-" + std::to_string(gettid()) + ".log";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error) throw ClientError("cannot run " + args[0] + "; build it first (ninja handset)");
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    std::ifstream file(log);
    std::stringstream text;
    text << file.rdbuf();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), text.str()};
}

} // namespace vh
