#include "base/shell_command.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <csignal>
#include <memory>
#include <paths.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tp_os.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/worker.h"

namespace {
constexpr const char *TAG = "VXO_TKI";
constexpr size_t COMMAND_SIZE = 1024;

bool is_letter_or_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
} // namespace

int run_command(const char *command) {
    if (!command || !*command) return -1;
    const int status = system(command);
    if (status != -1 && WIFEXITED(status)) return WEXITSTATUS(status);
    LOG_E(TAG, "failed,status=%d:%s", status, command);
    return -1;
}

int run_command_f(const char *format, ...) {
    char command[COMMAND_SIZE];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(command, sizeof command, format, args);
    va_end(args);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) {
        LOG_E(TAG, "command refused,length=%d", length);
        return -1;
    }
    return run_command(command);
}

// The shell as leader of a process group of its own. -1 when it could not be started.
static pid_t start_shell(const char *command) {
    posix_spawnattr_t attributes;
    if (posix_spawnattr_init(&attributes) != 0) return -1;
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    char shell[] = "sh", option[] = "-c";
    const std::string text = command;
    char *argv[] = {shell, option, const_cast<char *>(text.c_str()), nullptr};
    pid_t child = -1;
    const int error = posix_spawn(&child, _PATH_BSHELL, nullptr, &attributes, argv, environ);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? child : -1;
}

int run_command_or_stop(const char *command) {
    if (!command || !*command || tp_os_thread_stop_requested()) return -1;
    const std::unique_ptr<TpSema, void (*)(tp_os_sema_t)> ended(tp_os_sema_create(0), tp_os_sema_delete);
    const pid_t child = ended ? start_shell(command) : -1;
    if (child < 0) {
        LOG_E(TAG, "cannot run:%s", command);
        return -1;
    }
    // A wait for a child cannot be left without losing its end, so another thread waits; it leaves the dead one lying,
    // whose number is therefore nobody else's when it is killed.
    Worker waiter;
    const bool waits = waiter.start("command", [child, &ended] {
        siginfo_t info;
        while (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {}
        tp_os_sema_put(ended.get());
    });
    const bool stopped = waits && tp_os_sema_get(ended.get(), -1) != 0;
    if (stopped) kill(-child, SIGKILL);
    waiter.join();
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    if (stopped) return -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    LOG_E(TAG, "failed,status=%d:%s", status, command);
    return -1;
}

// At most max bytes of the output; the exit status as pclose tells it, or -1 when it could not be run.
static int collect_output(const char *command, std::string &out, size_t max) {
    if (!command || !*command) return -1;
    FILE *pipe = popen(command, "re");
    if (!pipe) {
        LOG_E(TAG, "cannot run:%s", command);
        return -1;
    }
    char part[512];
    for (;;) {
        const size_t got = fread(part, 1, sizeof part, pipe);
        out.append(part, std::min(got, max - out.size())); // the rest is read too, so that the command can end
        if (got == sizeof part) continue;
        if (ferror(pipe) == 0 || errno != EINTR) break;
        clearerr(pipe);
    }
    return pclose(pipe);
}

std::string read_command(const char *command, size_t max) {
    std::string out;
    if (collect_output(command, out, max) != 0) out.clear();
    return out;
}

int executeCMD(const char *command, char *out, int size) {
    if (!out || size <= 0) return -1;
    std::string text;
    const bool ran = collect_output(command, text, static_cast<size_t>(size) - 1) != -1;
    snprintf(out, static_cast<size_t>(size), ran ? "%s" : "popen %s error\n", ran ? text.c_str() : command ? command : "");
    return ran ? 0 : -1;
}

bool argument_is_plain(std::string_view text, std::string_view extra, size_t max) {
    if (text.empty() || text.size() > max) return false;
    return std::all_of(text.begin(), text.end(), [extra](char c) {
        return is_letter_or_digit(c) || extra.find(c) != std::string_view::npos;
    });
}
