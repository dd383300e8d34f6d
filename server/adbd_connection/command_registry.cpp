// The registry of commands and the parser. The registry is written before the channel thread starts and read by it only.
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "adbd_connection/at_thread.h"
#include "adbd_connection/channel_library.h"
#include "base/log_door.h"

namespace {
constexpr char TAG[] = "AtThread";
constexpr char PARSE_TAG[] = "CMDPARSE";
constexpr int PARM_SIZE = 256;
constexpr int REGISTER_OK = 0, REGISTER_NO_MEMORY = 2, REGISTER_DUPLICATE = 3;

struct CommandEntry {
    CommandEntry *next = this;
    CommandEntry *prev = this;
    CommandEntry *next_alike = nullptr; // the next whose command begins with the same byte
    std::string cmd;
    std::string action;
    CommandHandler fun = nullptr;
};
CommandEntry g_head; // not an entry: empty when it points to itself
// A line can only be a command that begins as it does: asking these, a tenth of all, is what a command's parsing costs.
std::array<CommandEntry *, UCHAR_MAX + 1> g_first_alike;
bool g_matches_all = false; // an empty command is a prefix of every line
char parm[PARM_SIZE];

// The registry lives as long as the process; leak checkers find it through here.
struct RegistryOwner {
    ~RegistryOwner() { clear_command_registry(); }
} g_owner;

CommandEntry *find_same(const char *cmd, const char *action) {
    for (CommandEntry *entry = g_head.next; entry != &g_head; entry = entry->next)
        if (entry->cmd == cmd && entry->action == action) return entry;
    return nullptr;
}

size_t begins_with(const char *text) { return static_cast<unsigned char>(*text); }

void append(CommandEntry *entry) {
    CommandEntry **alike = &g_first_alike[begins_with(entry->cmd.c_str())];
    while (*alike) alike = &(*alike)->next_alike;
    *alike = entry;
    g_matches_all = g_matches_all || entry->cmd.empty();
    entry->prev = g_head.prev;
    entry->next = &g_head;
    g_head.prev->next = entry;
    g_head.prev = entry;
}

enum class Match { other, select, remember, refuse };

// The byte behind the command is the separator, whatever it is. Without an argument parm keeps what an earlier entry
// cut: "Speaker" cuts two letters off "SpeakerMic", and the row of the longer word is called with them.
Match match_entry(const CommandEntry &entry, const char *line, size_t length, char *argument, size_t argument_size) {
    const size_t command = entry.cmd.size();
    if (command > length || memcmp(entry.cmd.data(), line, command) != 0) return Match::other;
    if (length - command >= 2) {
        const size_t count = length - command - 1;
        if (count >= argument_size) return Match::refuse;
        memcpy(argument, line + command + 1, count);
        argument[count] = '\0';
    }
    if (!*argument) return Match::select;
    if (entry.action.empty()) return Match::remember;
    return entry.action == argument ? Match::select : Match::other;
}

int not_found() {
    LOG_RAW(ANDROID_LOG_ERROR, PARSE_TAG, "command not found,ret=PARSE_NOFUND");
    return PARSE_NOFUND;
}
} // namespace

void clear_command_registry() {
    while (g_head.next != &g_head) {
        CommandEntry *entry = g_head.next;
        g_head.next = entry->next;
        delete entry;
    }
    g_head.prev = &g_head;
    g_first_alike.fill(nullptr);
    g_matches_all = false;
}

int registerModule(const char *cmd, const char *action, CommandHandler fun, int overwrite) {
    const char *command = cmd ? cmd : "";
    const char *act = action ? action : "";
    if (CommandEntry *same = find_same(command, act)) {
        if (overwrite == 1) {
            same->fun = fun;
            return REGISTER_OK;
        }
        LOG_RAW(ANDROID_LOG_DEBUG, PARSE_TAG, "have a fun fo  the same modele, type ,action.");
        return REGISTER_DUPLICATE;
    }
    try {
        auto entry = std::make_unique<CommandEntry>();
        entry->cmd = command;
        entry->action = act;
        entry->fun = fun;
        append(entry.release());
    } catch (const std::bad_alloc &) {
        LOG_RAW(ANDROID_LOG_ERROR, PARSE_TAG, "calloc fail");
        return REGISTER_NO_MEMORY;
    }
    if (cmd) LOG_RAW(ANDROID_LOG_DEBUG, PARSE_TAG, "%s::cmd is %s,len=%d", __func__, cmd, static_cast<int>(strlen(cmd)));
    LOG_RAW(ANDROID_LOG_DEBUG, PARSE_TAG, "%s::action is %s,len=%d", __func__, act, static_cast<int>(strlen(act)));
    return REGISTER_OK;
}

int parseCommand(const char *cmdString, CommandHandler *fun, char *argument, int argument_size) {
    if (g_head.next == &g_head || !cmdString || !fun || !argument || argument_size <= 0) return not_found();
    // Asked once: a line per entry would cost more than the whole command where nobody reads it.
    const bool log_entries = log_reads(ANDROID_LOG_DEBUG, PARSE_TAG);
    const bool every_entry = log_entries || g_matches_all;
    const size_t length = strlen(cmdString);
    int result = PARSE_NOFUND;
    for (const CommandEntry *entry = every_entry ? g_head.next : g_first_alike[begins_with(cmdString)]; entry && entry != &g_head;
         entry = every_entry ? entry->next : entry->next_alike) {
        if (log_entries)
            LOG_RAW(ANDROID_LOG_DEBUG, PARSE_TAG, "tmpcmd->cmd = %s,tmpcmd->action = %s,cmdString = %s",
                    entry->cmd.c_str(), entry->action.c_str(), cmdString);
        switch (match_entry(*entry, cmdString, length, argument, static_cast<size_t>(argument_size))) {
        case Match::other: break;
        case Match::select:
            if (log_entries && !*argument) LOG_RAW(ANDROID_LOG_DEBUG, PARSE_TAG, "parse valid command");
            *fun = entry->fun;
            return 0;
        case Match::remember: // a later match overrides it
            *fun = entry->fun;
            result = 0;
            break;
        case Match::refuse: // an argument that does not fit is refused, never cut
            *fun = nullptr;
            *argument = '\0';
            return not_found();
        }
    }
    return result == 0 ? 0 : not_found();
}

int AtCommandProcess(const char *cmdString, char *bufOut, int maxoutlen) {
    CommandHandler fun = nullptr;
    memset(parm, 0, sizeof parm);
    const bool log = log_reads(ANDROID_LOG_DEBUG, TAG);
    int ret = PARSE_NOFUND;
    if (parseCommand(cmdString, &fun, parm, sizeof parm) == 0) {
        if (!fun) {
            ret = 3;
        } else {
            const bool success = fun(parm, static_cast<int32_t>(strlen(parm)), bufOut, maxoutlen) == 1;
            if (log && success) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "invoke fun success");
            ret = success ? 0 : 2;
            if (log) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "AtCommandProcess middle ret = %d", ret);
        }
    }
    if (log) LOG_RAW(ANDROID_LOG_DEBUG, TAG, "AtCommandProcess ret = %d", ret);
    return ret;
}
