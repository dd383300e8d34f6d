// Suspend, seen from inside: every process but the first one and the operator's commands stands still, and what wakes a
// handset (a key, an alarm clock, bytes from the PC) is watched for meanwhile and told to the launcher.
#pragma once

#include "init/loop.h"
#include "init/processes.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

class Freezer {
public:
    Freezer(Loop &loop, const Processes &processes, int control) : loop_(loop), processes_(processes), control_(control) {}

    // Answers the launcher with "frozen", or with "wake CAUSE" instead when such an event is waiting already; pc_waits: a
    // PC waits for its answer.
    void freeze(bool pc_waits);
    void thaw();
    // Something that wakes has happened. Told once per suspend; nothing while awake.
    void wake(const char *cause);

private:
    using Timer = std::pair<pid_t, int>; // process and descriptor
    struct Watch {
        vh::Fd fd;
        const char *cause;
    };

    void stop_processes();
    void watch(vh::Fd fd, const char *cause);
    void watch_touches();
    void lose_touches();
    void give_release() const;
    void watch_alarm_clocks();
    void watch_alarm_clock(const Timer &timer, std::set<Timer> &unread);

    Loop &loop_;
    const Processes &processes_;
    const int control_;
    bool frozen_ = false, told_ = false;
    std::vector<pid_t> stopped_;
    std::vector<Watch> watches_;
    vh::Fd touch_panel_;
    bool finger_seen_ = false, finger_lifted_ = false; // in what was lost
    std::set<Timer> unread_; // alarm clocks that fired, were told, and still nobody has read
};
