// The PC command channel.
#pragma once

#include <cstdint>

using CommandHandler = int32_t (*)(const char *bufIn, int32_t size, char *bufOut, int32_t maxoutlen);
struct CommandRow { const char *cmd; const char *action; CommandHandler fun; };
constexpr int COMMAND_ROWS = 181;
extern const CommandRow g_command_table[COMMAND_ROWS];

constexpr int PARSE_NOFUND = 2;
int32_t AtThreadStart();
int Get_libcoredevice_Interface();
int registerModule(const char *cmd, const char *action, CommandHandler fun, int overwrite);
int parseCommand(const char *cmdString, CommandHandler *fun, char *parm, int parm_size);
int AtCommandProcess(const char *cmdString, char *bufOut, int maxoutlen);
