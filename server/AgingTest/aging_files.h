// The files of an aging run. Those that carry it across its own reboots stand in the log directory (g_chLogPath), its logs
// in the folder "aging/" below it (g_chAgingLogPath).
//
// Who wants to know how a run went (reports, uploads) reads, on any thread and while a run goes on:
//   agingtotalresult.txt  the records: aging_results_read (aging_result.h); a file that is only appended to
//   agingtrend.csv        battery, temperature and load over time: aging_trend_read (aging_trend.h)
//   agingrun.txt          the resets that nobody asked for, and whether a run goes on: aging_account (aging_resets.h)
//   station 176           the verdict: station_result (result_flags.h)
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

constexpr int AGING_FILE_MAX = 2048; // bytes that ReadFileData gives at most

// "%s%s" of the log directory, respectively of the aging log directory, and a name.
std::string aging_main_path(const char *name);
std::string aging_log_path(const char *name);

// The file's first AGING_FILE_MAX bytes into out, which the caller has zeroed and which holds one byte more. An
// empty file gives the default (null: none). 0 when the file was read, else -1 with out untouched. Any thread.
int ReadFileData(const char *path, char *out, const char *def);
// Replaces the file's content with the number: durable, and at once, so that a power cut leaves the old one or the new one.
// 0 or -1. Any thread.
int WriteFile(const char *path, long value);
int aging_replace_file(const char *path, std::string_view text); // the same with a text
// The number in a file; otherwise where there is none, or something else. An empty file counts as `empty`.
long aging_number_in(const char *path, const char *empty, long otherwise);

// ---- the reboot counter, "rebootAging.txt" ---------------------------------------------------------------------
// True while a reboot cycle is under way: its counter file in the log directory can be read. Any thread.
bool Check_AgingCfg_Exist();
int AgingTest_Get_CfgValue(char *out, const char *def); // as ReadFileData
int AgingTest_Set_CfgValue(long value);                 // as WriteFile
// Forgets the reboot cycle, so that the next start is an ordinary one. Nothing to forget is no failure. Any thread.
void Delete_AgingRebootFile();

// ---- the automatic start ----------------------------------------------------------------------------------------
// 1 when the aging test is to start by itself at this boot, else 0. Counts: ask once per boot.
int check_auto_aging();
// A run that passed: no automatic start any more.
void aging_clear_auto_start();

// ---- the cycle in progress, "currentnum" of the aging settings file ---------------------------------------------
int aging_current_cycle();
void aging_set_current_cycle(int number); // durable

// Of a whole run: hours and minutes, the minutes rounded up.
void aging_duration(long seconds, int *hours, int *minutes);

// ---- the two total logs -----------------------------------------------------------------------------------------
// Null while closed. Opened and closed by the runner; written with writetkilog respectively writetkilog_NoTime, which take
// null.
extern FILE *g_aging_log, *g_agingresult_log;
inline constexpr char AGING_START_FILE[] = "agingstarttime.txt";
inline constexpr char AGING_TOTAL_LOG[] = "agingtotallog.txt", AGING_RESULT_LOG[] = "agingtotalresult.txt";
int agingresult_initlog();
int aging_initlog();
int agingresult_uninitlog();
int aging_uninitlog();
// A phase's own log, closed with the object.
class AgingLog {
public:
    explicit AgingLog(const char *name);
    ~AgingLog() { close(); }
    AgingLog(const AgingLog &) = delete;
    AgingLog &operator=(const AgingLog &) = delete;
    FILE *file() const { return file_; }
    void close();

private:
    FILE *file_ = nullptr;
};
