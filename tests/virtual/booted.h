// A handset of a test's own: scratch state, a script in place of the program, stopped and removed at the end.
#pragma once

#include "launcher/launcher.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace booted {

std::string build_dir();  // of this very test program
std::string source_dir(); // $VXO_SOURCE, or here
std::string rootfs_dir(); // of the sources
// Skips the test on a machine that cannot run a handset.
#define REQUIRE_HOST() \
    if (const std::string problem_ = vh::check_host(); !problem_.empty()) GTEST_SKIP() << problem_

class Handset {
public:
    explicit Handset(const std::string &name = "test");
    ~Handset();
    Handset(const Handset &) = delete;
    Handset &operator=(const Handset &) = delete;

    // The program is this shell script; `probe` in it is the test's own helper.
    bool boot(const std::string &script);
    int stop();
    nlohmann::json ask(const nlohmann::json &request) const;
    // Output of a command inside, without the last line end.
    std::string sh(const std::string &command) const;
    // Waits (10 s) until status says so.
    bool waits_for(const std::string &key, const nlohmann::json &value) const;
    pid_t launcher_pid() const;

    vh::StatePaths paths;
    vh::BootOptions options;
    std::vector<std::string> lines; // that the launcher said while it booted
};

bool eventually(const std::function<bool()> &condition, int within_ms = 10000);

} // namespace booted
