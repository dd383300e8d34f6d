#include "base/shell_command.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/wait.h>

#include "base/log_door.h"

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

std::string read_command(const char *command, size_t max) {
    std::string out;
    if (!command || !*command) return out;
    FILE *pipe = popen(command, "re");
    if (!pipe) {
        LOG_E(TAG, "cannot run:%s", command);
        return out;
    }
    char part[512];
    for (;;) {
        const size_t got = fread(part, 1, sizeof part, pipe);
        out.append(part, std::min(got, max - out.size())); // the rest is read too, so that the command can end
        if (got == sizeof part) continue;
        if (ferror(pipe) == 0 || errno != EINTR) break;
        clearerr(pipe);
    }
    if (pclose(pipe) != 0) out.clear();
    return out;
}

bool argument_is_plain(std::string_view text, std::string_view extra, size_t max) {
    if (text.empty() || text.size() > max) return false;
    return std::all_of(text.begin(), text.end(), [extra](char c) {
        return is_letter_or_digit(c) || extra.find(c) != std::string_view::npos;
    });
}
