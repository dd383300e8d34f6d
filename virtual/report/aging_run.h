// What an aging run left in a handset's log directory, understood: trend, phases, records, resets, verdict. Texts in, values
// out; what is damaged is left out, and nothing is thrown.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace report {

// The files as they are; empty: there is none. Their formats: server/AgingTest/aging_files.h names who writes them.
struct RunFiles {
    std::string trend;   // agingtrend.csv
    std::string records; // agingtotalresult.txt
    std::string log;     // agingtotallog.txt
    std::string account; // agingrun.txt
    std::string started; // agingstarttime.txt
    std::string product; // the partition vxoprod
    int station = 0;     // of burn-in: 1 pass, 2 fail
    bool switched_on = false; // the handset's launcher answers
};

struct Point {
    long time = 0;        // seconds since 1970
    std::string phase;    // "reboot", "suspend" ...
    double level = 0;     // %
    double voltage = 0;   // mV
    double current = 0;   // mA, negative: discharging
    double temperature = 0; // degrees Celsius
    std::vector<double> cpu; // % of each core
};
struct Reset {
    long time = 0;
    bool wanted = false;
    std::string what; // the reason, or the phase that it cut off
};
struct Record {
    std::string name, result, comment;
    bool good() const { return result == "success"; }
};
// Points of one phase in a row.
struct Band {
    std::string phase;
    size_t first = 0, last = 0; // indexes into the trend
    long from = 0, to = 0;      // seconds since 1970
};
enum class State { none, running, cut_off, passed, failed, stopped };

struct AgingRun {
    State state = State::none;
    std::vector<std::string> verdict; // lines that the screen showed
    std::string psn, software, hardware;
    long begin = 0, end = 0;          // of what is known; 0: nothing is
    std::vector<Point> trend;         // in order of time
    std::vector<Band> bands;
    std::vector<Reset> resets;
    std::vector<Record> records;
    int wanted_resets = 0, unwanted_resets = 0;
    std::string cycle;                // "1 / 3" as begun last
    int station = 0;
    bool interrupted = false;         // of the unwanted resets some lie before this start
    bool empty() const { return trend.empty() && records.empty() && resets.empty() && begin == 0; }
};

AgingRun understand(const RunFiles &files);
const char *state_name(State state); // "PASS", "RUNNING" ...

} // namespace report
