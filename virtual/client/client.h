// What people and tests do to a handset from the workstation: keys, touches, PC commands, looking at the screen, flags,
// files. Everything goes through the state folder; nothing here needs a privilege.
//
// Failures are thrown as ClientError, whose text tells what to do next.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/fd.h"
#include "common/state.h"

struct input_event;

namespace vh {

struct ClientError : std::runtime_error { using std::runtime_error::runtime_error; };

class Client {
public:
    explicit Client(std::string name) : name_(std::move(name)), paths_(state_of(name_)) {}
    const std::string &name() const { return name_; }
    const StatePaths &paths() const { return paths_; }

    // ---- the launcher ----
    bool exists() const;                    // has a state folder
    bool answers() const;                   // its launcher listens
    // Sends one request (state.h) and returns the answer; throws when the launcher is not there or says no.
    nlohmann::json request(const nlohmann::json &what) const;
    bool sleeps() const;                    // suspended: its program stands still until something wakes it
    // Sets the battery (state.h, request "battery"; empty: nothing) and returns how it is.
    nlohmann::json battery(nlohmann::json values = nlohmann::json::object()) const;
    nlohmann::json options() const;         // handset.json, or an empty object
    double speed() const;                   // how much faster than the wall clock its time runs, at least 1

    // ---- input: the handset's own time, so that a long press stays long at any speed ----
    void key(int code, bool down) const;
    void press(int code, int hold_ms = 60) const; // in one piece where that is less than a moment of the wall clock
    void touch(int x, int y) const;         // finger down, or moved when it is down already
    void release() const;
    void tap(int x, int y, int hold_ms = 60) const;
    void swipe(int x1, int y1, int x2, int y2, int ms = 300) const;
    void wait_ms(int handset_ms) const;

    // ---- screen ----
    nlohmann::json dump() const;            // throws when the handset sleeps: nobody describes the screen then
    void screenshot(const std::string &png_file) const;
    uint32_t pixel(int x, int y) const;     // shown now, 0x00RRGGBB

    // ---- result flags, kernel attributes, commands inside ----
    int station(int number) const;          // 0 not tested, 1 pass, 2 fail
    void set_station(int number, int value) const;
    std::string attr(const std::string &path) const;
    void set_attr(const std::string &path, const std::string &value) const;
    void fault(const std::string &path, const std::string &kind) const;
    struct Outcome {
        int status = 0;
        std::string output;
    };
    Outcome exec(const std::vector<std::string> &argv) const;

    // ---- files below /data and /cache; no link is followed, so the handset cannot lead out of its folder ----
    void push(const std::string &source, const std::string &destination) const;
    void pull(const std::string &source, const std::string &destination) const;
    std::string content(const std::string &source) const; // empty when there is no such file; at most 64 MiB of it
    Fd open_file(const std::string &source) const; // for reading

private:
    void require_awake() const;
    void write_events(int device, const input_event *events, size_t count) const;
    std::string name_;
    StatePaths paths_;
    mutable bool finger_down_ = false;
    mutable int tracking_id_ = 0;
};

constexpr int STATION_COUNT = 1024; // two bits each in 256 bytes

// A PC's connection: commands one after another over one socket.
class PcLink {
public:
    explicit PcLink(const Client &client);
    struct Reply {
        int status = 0;
        std::string text;
    };
    Reply at(const std::string &command, int timeout_ms = 60000);

private:
    std::string read_bytes(size_t count, int timeout_ms);
    std::string read_line(int timeout_ms);
    void fill(int timeout_ms);
    Fd socket_;
    std::string pending_;
    std::string name_;
};

// "volumeup", "KEY_VOLUMEUP", "pass", "115" ... to the Linux code that goes into the record; -1 for an unknown name.
int key_code(const std::string &name);
std::string key_names(); // for help texts
std::string verdict_name(int value);

// Follows a log file from its end (or its beginning) with inotify; survives the file being replaced by a boot.
class LogFollower {
public:
    LogFollower(std::string path, bool from_start);
    // Lines that have come, waiting up to timeout_ms for the first; may be empty.
    std::vector<std::string> lines(int timeout_ms);

private:
    void reopen();
    std::string path_;
    Fd inotify_, file_;
    std::string partial_;
};
// True when a log line has at least this level ("V" "D" "I" "W" "E" "F", empty: any) and this tag (empty: any).
bool log_line_matches(const std::string &line, const std::string &level, const std::string &tag);

} // namespace vh
