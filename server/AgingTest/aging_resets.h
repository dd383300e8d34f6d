// The account of the resets during an aging run, "agingrun.txt" in the log directory. Every change is durable when the
// function returns. Any thread; a missing or damaged file reads as "no run goes on".
#pragma once

#include <string>

struct AgingAccount {
    bool running = false;     // a run goes on in this boot, or is cut off and not accounted for yet
    std::string wanted;       // the reason of a reset that was asked for and has not come yet; empty: none
    int wanted_resets = 0;    // resets of this run that were asked for
    int unwanted_resets = 0;  // and those that nobody asked for, since the last run that came to its end
    std::string phase;        // "begin", "reboot", "suspend", "video", "camera", "cpu": begun last
    std::string lost_phase;   // the phase in which the last unwanted reset came
    bool interrupted = false; // by one of these, and no run has come to its end since
    int failed_item = 0;      // the first failing verdict of this run: survives its reboots
};
AgingAccount aging_account();

// At the program's start, once: what the reset that lies behind was. One in mid-run that nobody asked for is counted, and
// told in the diagnostic and the total log. True for such a one.
bool aging_account_boot();
// A run begins, anew or behind one of its reboots. Anew, the counts begin at 0, those of an interrupted run excepted.
void aging_account_begin(bool anew);
void aging_account_end();
void aging_account_phase(const char *phase);
void aging_account_failure(int item); // the first one counts
// Right before a reset; does nothing where no run goes on. False: it is not durable.
bool aging_expect_reset(const char *reason);
void aging_reset_refused(); // it did not come
