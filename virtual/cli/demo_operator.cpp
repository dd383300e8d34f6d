#include "cli/demo_operator.h"

#include <cstdio>
#include <thread>

namespace cli {

namespace {
constexpr auto LOOK_EVERY = std::chrono::milliseconds(50);
constexpr int TAP_EVERY_LOOKS = 40;
constexpr int BAD = 12; // a system colour
const char *const FAILURES[] = {"info_NotFitted", "title_TPFState", "info_SmartPAFail"};
} // namespace

vh::ScreenView Operator::look() { return vh::ScreenView(handset.dump()); }

bool Operator::sees(const vh::ScreenView &screen, const char *language_key, int color) const {
    const std::string wanted = text(language_key);
    for (const vh::ScreenText &shown : screen.front())
        if (shown.text.starts_with(wanted) && shown.color == color) return true;
    return false;
}

bool Operator::has_failed(const vh::ScreenView &screen) const {
    for (const char *failure : FAILURES)
        if (sees(screen, failure, BAD)) return true;
    return false;
}

vh::ScreenView Operator::wait_for(const std::string &what, const Holds &holds, bool failures_end_it) {
    const double end = seconds() + patience_;
    std::string seen;
    do {
        bool failed = false;
        try {
            vh::ScreenView screen = look();
            seen = screen.summary();
            failed = failures_end_it && has_failed(screen);
            if (holds(screen)) return screen;
        } catch (const NotGood &) {
            throw;
        } catch (const vh::ClientError &error) { // between two windows, or two starts of the program
            if (seen.empty()) seen = error.what();
        }
        if (failed) throw NotGood("the window says so: " + seen);
        std::this_thread::sleep_for(LOOK_EVERY);
    } while (seconds() < end);
    throw NotGood("waited " + std::to_string(patience_) + " s for " + what + "; on the screen: " + seen +
                  "; log: ./handset log -n " + handset.name());
}

void Operator::wait_until(const std::string &what, const std::function<bool()> &holds) {
    wait_for(what, [&](const vh::ScreenView &) { return holds(); });
}

void Operator::open_row(const char *language_key, const std::string &name, const char *behind) {
    const std::string wanted = text(language_key);
    int looks = 0;
    wait_for("what is behind the row \"" + wanted + "\"", [&](const vh::ScreenView &screen) {
        if (behind && screen.front_shows(text(behind))) return true;
        if (!screen.front_shows(wanted)) return !behind && looks > 0;
        if (looks++ % TAP_EVERY_LOOKS) return false; // again when a tap came to nothing
        picture(name, "touch \"" + wanted + "\"");
        handset.tap(screen.find(wanted)->x(), screen.find(wanted)->y());
        return false;
    });
}

void Operator::picture(const std::string &name, const std::string &doing) {
    if (name == last_picture_) return;
    last_picture_ = name;
    char number[16];
    snprintf(number, sizeof number, "%02d-", ++pictures_);
    const std::string file = folder_ + "/" + number + name + ".png";
    handset.screenshot(file);
    char line[64];
    snprintf(line, sizeof line, "%-40.60s ", doing.c_str());
    tell(line + file);
}

void Operator::feel(const char *part, const std::vector<std::string> &values) {
    handset.request({{"op", "sensor"}, {"name", part}, {"values", values}});
}

void Operator::tell(const std::string &line) const {
    printf("  %5.1f s  %s\n", seconds(), line.c_str());
    fflush(stdout);
}

} // namespace cli
