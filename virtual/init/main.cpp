// The first process of the sandbox. It sets the root up, starts the program and starts it again when it ends, carries the
// PC link, and collects the dead. A reboot(2) in this PID namespace ends it by a signal, which the launcher sees as status
// 129 or 130; so it never ends with those by itself.
//
//   vinit CONTROL PC-LISTENER service|once[,syncs] PROGRAM [ARGUMENTS]
//
// CONTROL and PC-LISTENER are descriptors. service: the program is started again; once: the sandbox ends with it. syncs:
// the launcher is told of every sync(2), and the caller waits for it.
#include "common/message.h"
#include "init/freezer.h"
#include "init/processes.h"
#include "init/proxy.h"
#include "init/system_mount.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds RESTART_DELAY{1000};
constexpr std::chrono::milliseconds STOP_GRACE{300};
constexpr int STATUS_SETUP_FAILED = 3;

class Init {
public:
    Init(vh::Fd control, vh::Fd pc_listener, const std::string &mode, std::vector<std::string> program)
        : control_(std::move(control)), pc_listener_(std::move(pc_listener)), once_(mode.starts_with("once")),
          program_(std::move(program)), processes_(loop_, control_.get(), mode.ends_with(",syncs")) {}

    [[noreturn]] void run() {
        set_up();
        processes_.start_program(program_);
        for (;;) {
            loop_.run_once(wait_ms());
            if (restart_at_ && Clock::now() >= *restart_at_) {
                restart_at_.reset();
                processes_.start_program(program_);
            }
        }
    }

private:
    void set_up() {
        umask(022);
        take_loopback_down();
        std::string note;
        if (!mount_system(note)) {
            vh::send_message(control_.get(), {"note", std::string("mount of /system: ") + strerror(errno)});
            _exit(STATUS_SETUP_FAILED);
        }
        if (!note.empty()) vh::send_message(control_.get(), {"note", note});
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGCHLD);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
        loop_.add(signals_.get(), EPOLLIN, [this](uint32_t) { child_died(); });
        loop_.add(control_.get(), EPOLLIN, [this](uint32_t) { command_came(); });
        if (pc_listener_) proxy_.emplace(loop_, pc_listener_.get(), [this] { freezer_.wake("pc"); });
        const vh::Fd proc(open("/.proc", O_PATH | O_DIRECTORY | O_CLOEXEC));
        const vh::Fd dev(open("/dev", O_PATH | O_DIRECTORY | O_CLOEXEC));
        vh::send_message(control_.get(), {"hello"}, {proc.get(), dev.get()});
    }

    int wait_ms() const {
        if (!restart_at_) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*restart_at_ - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
    }

    void child_died() {
        signalfd_siginfo info;
        while (read(signals_.get(), &info, sizeof info) > 0) {}
        int status = 0;
        if (!processes_.reap(status)) return;
        vh::send_message(control_.get(), {"exited", std::to_string(status)});
        if (once_) stop();
        freezer_.wake("program");
        restart_at_ = Clock::now() + RESTART_DELAY;
    }

    void command_came() {
        std::optional<vh::Message> message = vh::receive_message(control_.get());
        if (!message) _exit(0); // the launcher is gone, and this handset with it
        if (message->fields.empty()) return;
        const std::string &verb = message->fields[0];
        if (verb == "stop") stop();
        else if (verb == "freeze") freezer_.freeze(proxy_ && proxy_->waits_for_answer());
        else if (verb == "thaw") freezer_.thaw();
        else if (verb == "kill" && message->fields.size() == 2) processes_.kill_command(message->fields[1]);
        else if (verb == "synced" && message->fields.size() == 2) processes_.sync_done(message->fields[1]);
        else if (verb == "exec" && message->fields.size() > 3)
            processes_.start_command(message->fields[1], message->fields[2],
                                     {message->fields.begin() + 3, message->fields.end()}, message->fds);
    }

    // Ends the sandbox: asks every process to end, waits a moment; leaving ends the rest.
    [[noreturn]] static void stop() {
        kill(-1, SIGTERM);
        kill(-1, SIGCONT); // a frozen one could not hear it
        const auto end = Clock::now() + STOP_GRACE;
        while (Clock::now() < end) {
            if (waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD) break;
            usleep(5000);
        }
        _exit(0);
    }

    Loop loop_;
    vh::Fd control_, pc_listener_, signals_;
    const bool once_;
    const std::vector<std::string> program_;
    Processes processes_;
    Freezer freezer_{loop_, processes_, control_.get()};
    std::optional<PcProxy> proxy_;
    std::optional<Clock::time_point> restart_at_;
};

// Never outside a sandbox: this process kills what it can reach and lives next to programs that power the machine off.
bool in_sandbox() {
    constexpr ino_t INITIAL_PID_NAMESPACE = 0xEFFFFFFC;
    struct stat space {};
    return getpid() == 1 && stat("/.proc/self/ns/pid", &space) == 0 && space.st_ino != INITIAL_PID_NAMESPACE;
}

int descriptor(const char *text) {
    const int fd = atoi(text);
    if (fd >= 0) fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
}
} // namespace

int main(int argc, char **argv) {
    if (!in_sandbox()) {
        static const char text[] = "vinit: this is the first process of a virtual handset; see ./handset\n";
        [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, text, sizeof text - 1);
        return 1;
    }
    if (argc < 5) return 2;
    Init(vh::Fd(descriptor(argv[1])), vh::Fd(descriptor(argv[2])), argv[3], {argv + 4, argv + argc})
        .run();
}
