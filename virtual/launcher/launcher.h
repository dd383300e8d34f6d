// Runs virtual handsets: what the `handset` tool calls.
#pragma once

#include "common/state.h"

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vh {

// How a handset is booted. Kept in STATE/handset.json.
struct BootOptions {
    std::string name = "default"; // for messages
    int width = 720, height = 1280;
    std::string config;   // main configuration, UTF-8 source. Empty: the root file system's own; "none": without one
    std::string language; // language file, likewise
    std::string bootmode = "normal";
    double speed = 1;      // time runs that many times faster, at least 1
    bool headless = false; // for a viewer; the launcher does not mind
    std::string build_dir; // holds bin/ and lib/
    std::string program_dir; // holds bin/ and lib/ of what runs inside when that was built otherwise; empty: build_dir
    std::string rootfs_dir; // holds system/, tki_config.ini and tki_language.ini
    std::string storage = "direct"; // "faults": it takes orders (common/state.h, op "storage")
    std::vector<std::string> unfit;         // parts that are not fitted (kernel/hardware_parts.cpp)
    bool once = false;     // launch() returns at the first reboot (129) or power-off (130) instead of going on
    std::vector<std::string> program;       // empty: /app/bin/mmi. With arguments; runs inside
    std::map<std::string, std::string> env; // further environment of the program
    std::map<std::string, std::string> props; // further properties at boot
};
void to_json(nlohmann::json &json, const BootOptions &options);
void from_json(const nlohmann::json &json, BootOptions &options);
// The options that the handset was last booted with; built-in ones when it never was.
BootOptions load_options(const StatePaths &paths);
void save_options(const StatePaths &paths, const BootOptions &options);

// Takes one line for the operator, without a line end.
using Progress = std::function<void(const std::string &line)>;

// Status of launch() and exec_in_fresh_root() when this machine cannot run a handset. Test drivers read it as "skipped".
constexpr int STATUS_HOST_UNFIT = 77;
// One text that says what is missing and how to enable it, or an empty one.
std::string check_host();

// Runs the handset in the foreground until it is stopped (SIGINT, SIGTERM, SIGHUP or a control request): boots it again
// after a reboot, stays "off" after a power-off until a "boot" request. 0 after a stop, 1 on a failure (told to progress),
// 129 or 130 with `once`. Call from a process with one thread; nothing of the handset outlives the caller.
int launch(const StatePaths &paths, const BootOptions &options, const Progress &progress);
// The same in the background (its output in STATE/run/launcher.log). 0 once the program answers on STATE/run/socket/vxo_gui
// (a program of the options': once it runs), 1 when it failed.
int launch_detached(const StatePaths &paths, const BootOptions &options, const Progress &progress);

// Runs a command in a fresh root with its own virtual kernel in place of the program; standard input and outputs pass
// through. Its exit status; 128 plus the signal that ended it; 129 or 130 when it called for a reboot or a power-off. The
// environment gets VXO_SOURCE and VXO_BUILD, both folders at their own paths, the build folder writable.
int exec_in_fresh_root(const std::vector<std::string> &argv, const std::string &build_dir, const std::string &rootfs_dir);

// Whether a launcher holds this handset.
bool is_running(const StatePaths &paths);
// Removes all that a handset keeps. False when it is running.
bool wipe_state(const StatePaths &paths);

// One request to the control socket (state.h). Throws std::runtime_error when the handset is not running.
nlohmann::json request(const StatePaths &paths, const nlohmann::json &json);
// Runs a command inside a running handset with this process's standard descriptors. Its status. Throws as request().
int exec_in_handset(const StatePaths &paths, const std::vector<std::string> &argv);

// Copies a UTF-8 text with LF to a GBK one with CR LF, as the handset's files are. A source that is not UTF-8 or holds a
// character unknown to GBK is in the handset's form already and copied byte for byte. Throws std::runtime_error.
void install_text_gbk(const std::string &source, const std::string &destination);

} // namespace vh
