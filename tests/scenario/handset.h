// A whole handset for one test: own state folder, no window, gone when the object goes.
//
//   Handset handset({.settings = {{"TKI_LCD", "enable", "1"}}});
//   handset.tap_text("Device tests");
//   handset.wait_for_text("Automatic run");
//   EXPECT_EQ(handset.station(280), Verdict::pass);
//
// What cannot be done (no boot, no such text, time over) is thrown; the message tells what the screen showed.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "client/client.h"
#include "client/screen_text.h"

enum class Verdict { untested, pass, fail, invalid };
std::ostream &operator<<(std::ostream &out, Verdict verdict);

std::string source_folder();
std::string program_folder(); // bin/mmi and lib/ of the handsets: $VXO_PROGRAM_BUILD, else $VXO_BUILD
int patient(int limit);       // a limit, stretched by $VXO_TEST_PATIENCE for a program that is slowed by sanitizers
std::string content_of(const std::string &path); // empty when it cannot be read

struct Setting {
    std::string section, key, value; // an empty value removes the line
};

struct HandsetOptions {
    std::string size = "720x1280";
    double speed = 1;
    std::string bootmode;
    std::vector<std::string> props;  // "key=value"
    // Changes to virtual/rootfs/tki_config.ini. With any, only the display, vibrator and key test are enabled, and what they enable.
    std::vector<Setting> settings;
    std::string config, language;    // whole files (UTF-8) instead
    std::string config_text;         // the same, not as a file
    std::string storage;             // "faults": it takes orders
    bool wait_for_menu = true;
    // Prepares data(), cache() and the partitions before the first boot.
    std::function<void(const vh::StatePaths &)> before_boot;
};

class Handset {
public:
    explicit Handset(HandsetOptions options = {});
    ~Handset();
    Handset(const Handset &) = delete;
    Handset &operator=(const Handset &) = delete;

    // Operator. Codes are Linux input codes or names ("volumeup", "pass"); times are the handset's.
    void press(const std::string &key, int hold_ms = 60);
    void key_down(const std::string &key);
    void key_up(const std::string &key);
    void tap(int x, int y);
    void tap_text(const std::string &utf8);
    void wait_ms(int handset_ms) { client_.wait_ms(handset_ms); }

    // Screen.
    nlohmann::json dump() const { return client_.dump(); }
    vh::ScreenView screen() const { return vh::ScreenView(client_.dump()); }
    vh::ScreenView wait_for(const std::string &what, const std::function<bool(const vh::ScreenView &)> &holds,
                            int timeout_ms = 10000) const;
    vh::ScreenView wait_for_text(const std::string &utf8, int timeout_ms = 10000) const; // in the front window
    // Waits for anything else; the message names it.
    void wait_until(const std::string &what, const std::function<bool()> &holds, int timeout_ms = 10000) const;

    // PC.
    vh::PcLink::Reply at(const std::string &command);
    void wait_for_pc() const;                                          // the command channel answers
    void wait_for_battery(const std::string &level = "*80") const;     // this level is reported

    // Hardware, flags, log, files.
    Verdict station(int number) const { return static_cast<Verdict>(client_.station(number)); }
    std::string attr(const std::string &path) const { return client_.attr(path); }
    void set_attr(const std::string &path, const std::string &value) { client_.set_attr(path, value); }
    void fault(const std::string &path, const std::string &kind) { client_.fault(path, kind); }
    bool log_contains(const std::string &tag, const std::string &text) const;
    size_t log_count(const std::string &text) const; // lines that hold it
    vh::Client::Outcome shell(const std::string &line) const { return client_.exec({"/bin/sh", "-c", line}); }
    std::string data() const { return client_.paths().data(); }
    std::string cache() const { return client_.paths().cache(); }
    const vh::Client &client() const { return client_; }
    nlohmann::json status() const { return client_.request({{"op", "status"}}); }
    std::string state() const { return status().value("state", ""); } // "running", "off"
    std::string last() const { return status().value("last", ""); }   // how the program was started last, or ended

    // Restarts. Both return when the program shows its screen again.
    void kill_program(); // signal 9, then the handset's init starts it anew
    void reboot();

    // Runs the handset tool itself; output is standard output and error together.
    vh::Client::Outcome tool(const std::vector<std::string> &args) const;

private:
    void boot(const HandsetOptions &options);
    void end() const; // a sanitizer's report fails the test
    std::vector<std::string> log_lines() const;
    std::string log_tail() const;
    vh::Client client_;
};
