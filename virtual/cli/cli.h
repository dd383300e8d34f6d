// The subcommands of `handset`, in groups. Each adds its commands to the application; a chosen command leaves its exit
// status in *status.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "client/client.h"

namespace cli {

using Action = std::function<int(const vh::Client &)>;

// A subcommand with the option -n; its action runs with the handset so named.
CLI::App *command(CLI::App &app, const std::string &name, const std::string &description, int *status, Action action);

void add_lifecycle(CLI::App &app, int *status); // run boot stop reboot list wipe status exec
void add_operator(CLI::App &app, int *status);  // key tap swipe dump screenshot log
void add_console(CLI::App &app, int *status);   // console
void add_pc(CLI::App &app, int *status);        // at forward adb
void add_hardware(CLI::App &app, int *status);  // attr fault battery flags push pull shell
void add_fitting(CLI::App &app, int *status);  // fit unfit sensor camera
void add_radio(CLI::App &app, int *status);    // radio
void add_storage(CLI::App &app, int *status);  // storage
void add_audio(CLI::App &app, int *status);    // audio headset
void add_air(CLI::App &app, int *status);      // ap
void add_lint(CLI::App &app, int *status);      // lint
void add_demo(CLI::App &app, int *status);      // demo
void add_report(CLI::App &app, int *status);    // report

// Runs a script of PC commands and assertions; 0, or 1 when one does not hold.
int run_pc_script(const vh::Client &handset, std::istream &script, std::ostream &out);
// Follows the log on standard output until stop() says so; false when there is no log.
struct LogFilter {
    std::string level, tag;
    bool follow = false;
};
void follow_log(const vh::Client &handset, const LogFilter &filter, const std::function<bool()> &stop);
// Waits until the program shows a screen and answers a PC; false when seconds pass first.
bool wait_ready(const vh::Client &handset, int seconds);

} // namespace cli
