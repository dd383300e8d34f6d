// Starting and ending handsets, for the subcommands that need one.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "client/client.h"
#include "launcher/launcher.h"

namespace cli {

// As given on the command line; empty or zero keeps what the handset was booted with last time.
struct BootArgs {
    std::string name = "default";
    std::string size, config, language, bootmode, storage, unfit;
    double speed = 0;
    bool headless = false, no_wait = false;
    std::vector<std::string> props, env; // "key=value"
};

void add_boot_options(CLI::App &sub, BootArgs &args); // includes -n
vh::BootOptions boot_options(const BootArgs &args);
std::string describe(const vh::BootOptions &options);
// Boots in the background and returns when the program shows a screen and takes PC commands (without no_wait).
void boot_background(const BootArgs &args);
// Ends a running handset and waits until it is gone; true when there was one.
bool stop(const vh::Client &handset);
// Prints what is odd in the two text files to standard error (paths; empty or "none": not given), at most 20 lines.
void warn_about_texts(const std::string &config, const std::string &language);
void wipe(const vh::Client &handset); // stops it and removes its state
std::string source_folder();          // $VXO_SOURCE, else above the build folder
std::string build_folder();           // $VXO_BUILD, else where this program lies

} // namespace cli
