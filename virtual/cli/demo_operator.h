// The demonstration's operator: eyes on the screen's description, hands on keys, panel, parts and sound. Each act waits until
// it has seen what it came for, and never acts by the clock alone, so it fits any speed of the machine.
#pragma once

#include "cli/demo_script.h"
#include "client/client.h"
#include "client/screen_text.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace cli {

// What was to be seen, heard or felt did not come: the operator judges the item as failed.
struct NotGood : vh::ClientError { using vh::ClientError::ClientError; };

class Operator {
public:
    // Pictures go into `folder`; what is waited for has to come within `patience` seconds.
    Operator(const vh::Client &whose, const DemoScript &script, std::string folder, int patience)
        : handset(whose), script_(script), folder_(std::move(folder)), patience_(patience) {}

    const vh::Client &handset;
    std::string text(const char *language_key) const { return script_.text(language_key); }

    vh::ScreenView look(); // throws vh::ClientError while nobody describes the screen
    bool sees(const vh::ScreenView &screen, const char *language_key, int color) const; // a text that begins so, in that colour
    bool may_pass(const vh::ScreenView &screen) const { return screen.soft_keys()[0] == text("Result_pass"); }
    double seconds() const { return std::chrono::duration<double>(Clock::now() - begun_).count(); }

    // These throw NotGood when patience ends, or the window says that its test has failed.
    using Holds = std::function<bool(const vh::ScreenView &)>;
    vh::ScreenView wait_for(const std::string &what, const Holds &holds, bool failures_end_it = true);
    void wait_until(const std::string &what, const std::function<bool()> &holds); // of anything but the screen
    // Opens a list's row, until it is gone or, where titles repeat the row, until what is behind it shows. Takes a picture before.
    void open_row(const char *language_key, const std::string &name, const char *behind = nullptr);

    void picture(const std::string &name, const std::string &doing); // of a screen that was not taken last
    void press(const char *key) { handset.press(vh::key_code(key)); }
    void feel(const char *part, const std::vector<std::string> &values); // sensors, slots
    void tell(const std::string &line) const;

private:
    bool has_failed(const vh::ScreenView &screen) const;
    using Clock = std::chrono::steady_clock;
    const DemoScript &script_;
    const std::string folder_;
    const int patience_;
    const Clock::time_point begun_ = Clock::now();
    std::string last_picture_;
    int pictures_ = 0;
};

} // namespace cli
