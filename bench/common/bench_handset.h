// A whole handset for a benchmark: booted to its menu, gone with the object. As shipped it logs from level info up.
//
//   bench::BenchHandset handset;                                 // throws vh::ClientError
//   handset.run_inside({"/app/bin/bench_channel", "--inside"});  // its rows come out of this program
#pragma once

#include "client/client.h"
#include "common/turns.h"

namespace bench {

class BenchHandset {
public:
    // Further arguments of `handset boot`.
    explicit BenchHandset(std::vector<std::string> boot_arguments = {});
    ~BenchHandset();
    BenchHandset(const BenchHandset &) = delete;
    BenchHandset &operator=(const BenchHandset &) = delete;
    const vh::Client &client() const { return client_; }
    double boot_seconds() const { return boot_seconds_; } // until the program showed its menu
    int launcher_pid() const;
    int program_pid() const; // as seen here, not inside
    // Passes its standard output on; gives up when it fails. bin/ of the build is /app/bin inside.
    void run_inside(std::vector<std::string> argv) const;

private:
    vh::Client client_;
    double boot_seconds_ = 0;
};

// The main of a program that measures inside: it starts itself again there with --inside.
enum class Inside { fresh_root, booted_handset };
int main_inside(int argc, char **argv, const std::string &program, Inside where, void (*measure)(const Plan &));

} // namespace bench
