#include "launcher/launcher.h"

#include "launcher/box.h"
#include "launcher/state_dir.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>

namespace fs = std::filesystem;

namespace vh {

namespace {
constexpr std::chrono::seconds BOX_END_LIMIT{6};
constexpr std::chrono::seconds READY_LIMIT{60};

// The process that owns the handset's namespaces. A session of its own: a Ctrl-C at the terminal is for the launcher,
// which ends the handset in good order.
[[noreturn]] void become_box(const StatePaths &paths, const SandboxPlan &plan, Fd launcher, pid_t parent) {
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_IGN);
    Box box(paths, plan, std::move(launcher));
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    const int status = box.run();
    fflush(nullptr);
    _exit(status);
}

// SIGINT, SIGTERM and SIGHUP as a descriptor; the mask of before comes back.
class StopSignals {
public:
    StopSignals() {
        sigset_t set;
        sigemptyset(&set);
        for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
        sigprocmask(SIG_BLOCK, &set, &before_);
        fd_.reset(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    }
    ~StopSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;
    int fd() const { return fd_.get(); }

private:
    sigset_t before_;
    Fd fd_;
};

// Passes the box's lines on until it ends. Its exit status.
int attend_box(pid_t box, const Fd &channel, const StopSignals &signals, const Progress &progress) {
    std::optional<std::chrono::steady_clock::time_point> deadline;
    for (;;) {
        pollfd fds[] = {{channel.get(), POLLIN, 0}, {deadline ? -1 : signals.fd(), POLLIN, 0}};
        poll(fds, 2, deadline ? 50 : -1);
        if (fds[1].revents) {
            send_message(channel.get(), {"stop"});
            deadline = std::chrono::steady_clock::now() + BOX_END_LIMIT;
        }
        if (deadline && std::chrono::steady_clock::now() > *deadline) kill(box, SIGKILL);
        if (!fds[0].revents) continue;
        const std::optional<Message> message = receive_message(channel.get());
        if (!message) break;
        if (message->fields.size() == 2) progress(message->fields[1]);
    }
    int status = 0;
    while (waitpid(box, &status, 0) < 0 && errno == EINTR) {}
    return shell_status(status);
}

int run_box(const StatePaths &paths, const SandboxPlan &plan, const Progress &progress) {
    const StopSignals signals;
    Fd mine, theirs;
    if (!message_pair(mine, theirs)) throw std::runtime_error(std::string("socketpair: ") + strerror(errno));
    fflush(nullptr);
    const pid_t self = getpid();
    const pid_t box = fork();
    if (box < 0) throw std::runtime_error(std::string("fork: ") + strerror(errno));
    if (box == 0) {
        mine.reset();
        become_box(paths, plan, std::move(theirs), self);
    }
    theirs.reset();
    return attend_box(box, mine, signals, progress);
}

std::string absolute_path(const std::string &path) { return path.empty() ? path : fs::absolute(path).lexically_normal().string(); }

BootOptions with_absolute_paths(BootOptions options) {
    for (std::string *path : {&options.build_dir, &options.program_dir, &options.rootfs_dir}) {
        *path = absolute_path(*path);
        while (path->size() > 1 && path->ends_with('/')) path->pop_back();
    }
    for (std::string *path : {&options.config, &options.language})
        if (*path != "none") *path = absolute_path(*path);
    if (access((options.build_dir + "/bin/vinit").c_str(), X_OK) != 0)
        throw std::runtime_error("not built: " + options.build_dir + "/bin/vinit is missing");
    return options;
}

int launch_checked(const StatePaths &paths, const BootOptions &asked, const Progress &progress) {
    const Fd lock = lock_state(paths);
    if (!lock) {
        progress("is running already; `handset stop` ends it");
        return 1;
    }
    SandboxPlan plan;
    plan.options = with_absolute_paths(asked);
    plan.program = asked.program.empty() ? std::vector<std::string>{"/app/bin/mmi"} : asked.program;
    prepare_state(paths, plan.options);
    save_options(paths, plan.options);
    return run_box(paths, plan, progress);
}

// The program has answered with its description of the screen.
bool gui_answers(const StatePaths &paths) {
    const Fd fd(connect_unix(paths.gui_socket()));
    if (!fd) return false;
    shutdown(fd.get(), SHUT_WR);
    pollfd ready{fd.get(), POLLIN, 0};
    char byte;
    return poll(&ready, 1, 2000) == 1 && read(fd.get(), &byte, 1) == 1;
}

bool program_runs(const StatePaths &paths) {
    try {
        const nlohmann::json status = request(paths, {{"op", "status"}});
        return status.value("state", "") == "running" && status.value("program_pid", -1) > 0;
    } catch (const std::exception &) {
        return false;
    }
}

[[noreturn]] void become_background(const StatePaths &paths, const BootOptions &options, const Fd &report) {
    setsid();
    const Fd null(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Fd log(open((paths.run() + "/launcher.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    dup2(null.get(), STDIN_FILENO);
    dup2(log.get(), STDOUT_FILENO);
    dup2(log.get(), STDERR_FILENO);
    const int status = launch(paths, options, [&](const std::string &line) {
        dprintf(STDOUT_FILENO, "handset %s: %s\n", options.name.c_str(), line.c_str());
        send_message(report.get(), {"line", line});
    });
    _exit(status);
}

int wait_until_ready(const StatePaths &paths, const BootOptions &options, const Fd &report, const Progress &progress) {
    const auto limit = std::chrono::steady_clock::now() + READY_LIMIT;
    while (std::chrono::steady_clock::now() < limit) {
        pollfd said{report.get(), POLLIN, 0};
        if (poll(&said, 1, 20) == 1) {
            const std::optional<Message> message = receive_message(report.get());
            if (!message) return 1; // the launcher ended, and has said why
            if (message->fields.size() == 2) progress(message->fields[1]);
        } else if (options.program.empty() ? gui_answers(paths) : program_runs(paths)) {
            return 0;
        }
    }
    progress("the program has not answered for " + std::to_string(READY_LIMIT.count()) + " seconds; see `handset log`");
    return 1;
}

// A scratch state that goes away with its owner.
class ScratchState {
public:
    ScratchState() {
        const char *folder = getenv("TMPDIR");
        std::string name = std::string(folder ? folder : "/tmp") + "/vxo-exec.XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error(name + ": " + strerror(errno));
        root_ = name;
    }
    ~ScratchState() { remove_tree(root_); }
    ScratchState(const ScratchState &) = delete;
    ScratchState &operator=(const ScratchState &) = delete;
    StatePaths paths() const { return StatePaths(root_); }

private:
    std::string root_;
};
} // namespace

int launch(const StatePaths &paths, const BootOptions &options, const Progress &progress) {
    if (const std::string problem = check_host(); !problem.empty()) {
        progress(problem);
        return STATUS_HOST_UNFIT;
    }
    try {
        return launch_checked(paths, options, progress);
    } catch (const std::exception &error) {
        progress(error.what());
        return 1;
    }
}

int launch_detached(const StatePaths &paths, const BootOptions &options, const Progress &progress) {
    std::error_code ignored;
    fs::create_directories(paths.run(), ignored);
    if (is_running(paths)) {
        progress("is running already; `handset stop` ends it");
        return 1;
    }
    Fd mine, theirs;
    if (!message_pair(mine, theirs)) return 1;
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) return 1;
    if (pid == 0) {
        mine.reset();
        become_background(paths, options, theirs);
    }
    theirs.reset();
    return wait_until_ready(paths, options, mine, progress);
}

int exec_in_fresh_root(const std::vector<std::string> &argv, const std::string &build_dir, const std::string &rootfs_dir) {
    const Progress progress = [](const std::string &line) { fprintf(stderr, "handset exec: %s\n", line.c_str()); };
    if (const std::string problem = check_host(); !problem.empty()) {
        progress(problem);
        return STATUS_HOST_UNFIT;
    }
    try {
        const ScratchState scratch;
        SandboxPlan plan;
        plan.options.build_dir = build_dir;
        plan.options.rootfs_dir = rootfs_dir;
        plan.options = with_absolute_paths(plan.options);
        plan.once = plan.inherit_input = plan.with_source = true;
        plan.program = argv;
        if (!argv.empty() && argv[0].find('/') != std::string::npos) plan.program[0] = absolute_path(argv[0]);
        fs::create_directories(scratch.paths().run());
        prepare_state(scratch.paths(), plan.options);
        return run_box(scratch.paths(), plan, progress);
    } catch (const std::exception &error) {
        progress(error.what());
        return 1;
    }
}

} // namespace vh
