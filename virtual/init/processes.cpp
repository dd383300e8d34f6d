#include "init/processes.h"

#include "common/message.h"
#include "init/alarm_clocks.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// In the child: hands the descriptor of the alarm clock calls to this process's parent.
void give_alarm_listener(int channel, bool with_syncs) {
    const vh::Fd listener(alarm_clocks_install(with_syncs));
    if (listener) vh::send_message(channel, {"alarms"}, {listener.get()});
}

[[noreturn]] void execute(const std::vector<std::string> &argv) {
    std::vector<char *> arguments;
    for (const std::string &argument : argv) arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    fprintf(stderr, "%s: %s\n", arguments[0], strerror(error));
    _exit(error == ENOENT ? 127 : 126);
}
} // namespace

pid_t Processes::start(const Start &what) {
    vh::Fd mine, theirs;
    if (!vh::message_pair(mine, theirs)) return -1;
    const pid_t pid = fork();
    if (pid != 0) {
        theirs.reset();
        if (pid < 0) return -1;
        if (auto message = vh::receive_message(mine.get()); message && !message->fds.empty())
            watch_alarm_clocks(std::move(message->fds[0]));
        return pid;
    }
    mine.reset();
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (size_t i = 0; i < what.stdio.size() && i < 3; ++i) dup2(what.stdio[i], static_cast<int>(i));
    if (chdir(what.folder.c_str()) != 0 && chdir("/") != 0) _exit(126);
    if (what.is_program) vh::send_message(control_, {"program"});
    give_alarm_listener(theirs.get(), with_syncs_);
    theirs.reset();
    execute(what.argv);
}

void Processes::watch_alarm_clocks(vh::Fd listener) {
    const int fd = listener.get();
    alarm_listeners_[fd] = std::move(listener);
    loop_.add(fd, EPOLLIN, [this, fd](uint32_t events) {
        if (events & EPOLLIN) {
            if (const std::optional<uint64_t> sync = alarm_clocks_answer(fd))
                vh::send_message(control_, {"sync", std::to_string(fd) + " " + std::to_string(*sync)});
        } else { // every process under this filter is gone
            loop_.remove(fd);
            alarm_listeners_.erase(fd);
        }
    });
}

void Processes::sync_done(const std::string &call) const {
    const int fd = atoi(call.c_str());
    if (alarm_listeners_.contains(fd)) sync_answer(fd, strtoull(call.c_str() + call.find(' '), nullptr, 10));
}

void Processes::start_program(const std::vector<std::string> &argv) { program_ = start({argv, "/data", {}, true}); }

void Processes::start_command(const std::string &id, const std::string &folder, const std::vector<std::string> &argv,
                              const std::vector<vh::Fd> &stdio) {
    Start what{argv, folder, {}, false};
    for (const vh::Fd &fd : stdio) what.stdio.push_back(fd.get());
    const pid_t pid = start(what);
    if (pid > 0) commands_[pid] = id;
    else vh::send_message(control_, {"exec-done", id, "126"});
}

void Processes::kill_command(const std::string &id) const {
    for (const auto &[pid, command] : commands_)
        if (command == id) kill(-pid, SIGKILL);
}

bool Processes::reap(int &status) {
    bool program_ended = false;
    int wait_status = 0;
    for (pid_t pid; (pid = waitpid(-1, &wait_status, WNOHANG)) > 0;) {
        const int shell = vh::shell_status(wait_status);
        if (pid == program_) {
            program_ended = true;
            status = shell;
        } else if (const auto command = commands_.find(pid); command != commands_.end()) {
            vh::send_message(control_, {"exec-done", command->second, std::to_string(shell)});
            commands_.erase(command);
        }
    }
    return program_ended;
}
