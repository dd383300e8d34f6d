// The processes that the first process starts: the program and the operator's commands.
#pragma once

#include "init/loop.h"

#include <map>
#include <set>
#include <string>
#include <vector>

class Processes {
public:
    // with_syncs: every sync(2) waits for sync_done.
    Processes(Loop &loop, int control, bool with_syncs) : loop_(loop), control_(control), with_syncs_(with_syncs) {}

    // Starts (again) the program; its process reports itself to the launcher first.
    void start_program(const std::vector<std::string> &argv);
    // Starts an operator's command with the given standard descriptors.
    void start_command(const std::string &id, const std::string &folder, const std::vector<std::string> &argv,
                       const std::vector<vh::Fd> &stdio);
    void kill_command(const std::string &id) const;
    // Whether this session is one of those commands: each runs in its own.
    bool is_command(pid_t session) const { return commands_.contains(session); }
    // The launcher has seen the sync of which it was told.
    void sync_done(const std::string &call) const;
    // Collects every dead process and reports. True when the program was among them; its status in `status`.
    bool reap(int &status);

private:
    struct Start {
        std::vector<std::string> argv;
        std::string folder;
        std::vector<int> stdio; // three, or none to keep this process's
        bool is_program = false;
    };
    pid_t start(const Start &what);
    void watch_alarm_clocks(vh::Fd listener);

    Loop &loop_;
    int control_;
    bool with_syncs_;
    pid_t program_ = -1;
    std::map<pid_t, std::string> commands_;
    std::map<int, vh::Fd> alarm_listeners_;
};
