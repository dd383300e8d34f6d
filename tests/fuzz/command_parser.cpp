// The command parser against a second telling of its rules, over the program's command texts. No handler of
// the program is ever registered here: each row gets a function of this file that only says who was called.
#include <android/log.h>
#include <cstring>
#include <utility>

#include "adbd_connection/at_thread.h"
#include "adbd_connection/channel_library.h"
#include "fuzz.h"

namespace {
constexpr int NOBODY = -1;
int g_called = NOBODY;
std::string g_argument;

template <int ROW> int32_t note(const char *argument, int32_t size, char *out, int32_t room) {
    g_called = ROW;
    g_argument = argument;
    FUZZ_CHECK(size == static_cast<int32_t>(g_argument.size()) && g_argument.size() < 256 && room == 64);
    memset(out, 'r', static_cast<size_t>(room));
    return ROW % 3; // 1 is success
}

template <int... ROWS> const CommandHandler *handlers(std::integer_sequence<int, ROWS...>) {
    static const CommandHandler all[] = {note<ROWS>...};
    return all;
}

bool register_rows() {
    clear_command_registry();
    const CommandHandler *fakes = handlers(std::make_integer_sequence<int, COMMAND_ROWS>());
    for (int i = 0; i < COMMAND_ROWS; ++i)
        FUZZ_CHECK(registerModule(g_command_table[i].cmd, g_command_table[i].action, fakes[i], 1) == 0);
    return true;
}

// The first row with the same texts and the last one given for them: a later registration replaces the
// handler.
int latest_of(int row) {
    for (int i = COMMAND_ROWS - 1; i > row; --i)
        if (!strcmp(g_command_table[i].cmd, g_command_table[row].cmd) &&
            !strcmp(g_command_table[i].action, g_command_table[row].action))
            return i;
    return row;
}

int expected_row(std::string_view line, std::string &argument) {
    int selected = NOBODY;
    for (int i = 0; i < COMMAND_ROWS; ++i) {
        const std::string_view cmd = g_command_table[i].cmd, action = g_command_table[i].action;
        if (!line.starts_with(cmd)) continue;
        if (line.size() - cmd.size() >= 2) argument = line.substr(cmd.size() + 1);
        if (argument.size() > 255) return NOBODY;
        if (argument.empty() || argument == action) return latest_of(i);
        if (action.empty()) selected = latest_of(i);
    }
    return selected;
}

// The parser walks other entries where nobody reads its log lines.
void check_line(const std::string &line, int log_level) {
    __android_log_set_minimum_priority(log_level);
    FUZZ_CHECK((log_level == ANDROID_LOG_VERBOSE) ==
               (__android_log_is_loggable(ANDROID_LOG_DEBUG, "CMDPARSE", ANDROID_LOG_VERBOSE) != 0));
    g_called = NOBODY;
    g_argument.clear();
    auto out = fuzz::exact(64);
    const int status = AtCommandProcess(line.c_str(), out.data(), 64);
    std::string argument;
    const int expected = expected_row(line, argument);
    FUZZ_CHECK(g_called == expected);
    FUZZ_CHECK(expected == NOBODY || g_argument == argument);
    FUZZ_CHECK(status == (expected != NOBODY && expected % 3 == 1 ? 0 : 2));
    FUZZ_CHECK(expected != NOBODY || out[0] == '\0');
}
} // namespace

FUZZ_TARGET(command_parser) {
    static const bool registered = register_rows();
    // A row's text in front finds the commands sooner than letters would.
    const unsigned row = in.byte();
    std::string line = registered && row < COMMAND_ROWS ? g_command_table[row].cmd : "";
    line += fuzz::up_to_zero(in.rest());
    for (const int level : {ANDROID_LOG_SILENT, ANDROID_LOG_VERBOSE}) check_line(line, level);
}
