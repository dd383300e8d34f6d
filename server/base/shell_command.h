// The one door to shell commands. Constant commands and commands with numbers are passed as they are; a text that
// came from the PC or from a file must pass argument_is_plain with the characters that its command needs.
#pragma once

#include <string>
#include <string_view>

// Runs the command with system(3). Its exit status (0..255), or -1 when it could not be run or was killed. Any thread.
int run_command(const char *command);
// printf form; a command over 1023 bytes is refused with -1 and one log line.
int run_command_f(const char *format, ...) __attribute__((format(printf, 1, 2)));
// Like run_command, for a thread that may be asked to stop (tp_os.h): then the command and all that it started in its
// process group are killed at once, and the result is -1.
int run_command_or_stop(const char *command);
// Runs the command and returns at most max bytes of its standard output; empty when it failed.
std::string read_command(const char *command, size_t max);
// The command's output into out, at most size bytes with terminator, whatever its exit status; failing to run it puts
// "popen COMMAND error" there and gives -1. 0 otherwise.
int executeCMD(const char *command, char *out, int size);

// True when text is 1..max bytes of letters, digits and the extra characters given.
bool argument_is_plain(std::string_view text, std::string_view extra, size_t max);
