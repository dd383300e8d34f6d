// What an operator does: keys, touches, looking at screen and log.
#include "cli/cli.h"

#include <iostream>

namespace cli {

namespace {
void add_key(CLI::App &app, int *status) {
    struct Args {
        std::string code;
        int hold = 60;
    };
    auto args = std::make_shared<Args>();
    CLI::App *sub = command(app, "key", "press a key", status, [args](const vh::Client &handset) {
        const int code = vh::key_code(args->code);
        if (code < 0) throw vh::ClientError("no key '" + args->code + "'; a number, or one of: " + vh::key_names());
        handset.press(code, args->hold);
        return 0;
    });
    sub->add_option("code", args->code, "a Linux input code, or a name: " + vh::key_names())->required();
    sub->add_option("--hold", args->hold, "milliseconds of the handset's time until the release (power off: 900)")
        ->check(CLI::Range(0, 600000))->capture_default_str();
    sub->footer("Examples:\n  ./handset key pass\n  ./handset key power --hold 900");
}

// Touches on a sleeping handset are lost, which nobody would see.
void require_feeling(const vh::Client &handset) {
    if (handset.answers() && handset.sleeps())
        throw vh::ClientError("handset '" + handset.name() + "' is asleep and feels no touch; press a key: ./handset key power" +
                              (handset.name() == "default" ? "" : " -n " + handset.name()));
}

void add_tap(CLI::App &app, int *status) {
    auto at = std::make_shared<std::vector<int>>();
    auto hold = std::make_shared<int>(60);
    CLI::App *sub = command(app, "tap", "touch the screen at a point", status, [=](const vh::Client &handset) {
        require_feeling(handset);
        handset.tap((*at)[0], (*at)[1], *hold);
        return 0;
    });
    sub->add_option("point", *at, "X Y in pixels")->required()->expected(2)->check(CLI::NonNegativeNumber);
    sub->add_option("--hold", *hold, "milliseconds until the finger is lifted")->check(CLI::Range(0, 600000))->capture_default_str();
    sub->footer("Example: ./handset tap 360 200");
}

void add_swipe(CLI::App &app, int *status) {
    auto at = std::make_shared<std::vector<int>>();
    auto ms = std::make_shared<int>(300);
    CLI::App *sub = command(app, "swipe", "draw a finger across the screen", status, [=](const vh::Client &handset) {
        require_feeling(handset);
        handset.swipe((*at)[0], (*at)[1], (*at)[2], (*at)[3], *ms);
        return 0;
    });
    sub->add_option("points", *at, "X1 Y1 X2 Y2 in pixels")->required()->expected(4)->check(CLI::NonNegativeNumber);
    sub->add_option("--ms", *ms, "how long the movement takes")->check(CLI::Range(1, 600000))->capture_default_str();
    sub->footer("Example: ./handset swipe 360 1000 360 300");
}

void add_screen(CLI::App &app, int *status) {
    command(app, "dump", "describe the screen as JSON: windows, texts, rectangles, soft keys", status,
            [](const vh::Client &handset) {
                std::cout << handset.dump().dump(1) << "\n";
                return 0;
            });
    auto file = std::make_shared<std::string>();
    CLI::App *sub = command(app, "screenshot", "save what the panel shows as a PNG", status, [file](const vh::Client &handset) {
        handset.screenshot(*file);
        return 0;
    });
    sub->add_option("file", *file, "the PNG file to write")->required();
    sub->footer("Example: ./handset screenshot menu.png");
}

void add_log(CLI::App &app, int *status) {
    auto filter = std::make_shared<LogFilter>();
    CLI::App *sub = command(app, "log", "show the handset's log", status, [filter](const vh::Client &handset) {
        follow_log(handset, *filter, [] { return false; });
        return 0;
    });
    sub->add_flag("-f,--follow", filter->follow, "wait for more until Ctrl-C");
    sub->add_option("--level", filter->level, "only this priority and above: V D I W E F")
        ->check(CLI::IsMember({"V", "D", "I", "W", "E", "F"}, CLI::ignore_case));
    sub->add_option("--tag", filter->tag, "only this tag");
    sub->footer("Example: ./handset log -f --level W");
}
} // namespace

void follow_log(const vh::Client &handset, const LogFilter &filter, const std::function<bool()> &stop) {
    vh::LogFollower log(handset.paths().log(), true);
    while (!stop()) {
        const std::vector<std::string> lines = log.lines(filter.follow ? 500 : 0);
        for (const std::string &line : lines)
            if (vh::log_line_matches(line, filter.level, filter.tag)) std::cout << line << "\n";
        std::cout.flush();
        if ((lines.empty() && !filter.follow) || !std::cout) return;
    }
}

void add_operator(CLI::App &app, int *status) {
    add_key(app, status);
    add_tap(app, status);
    add_swipe(app, status);
    add_screen(app, status);
    add_log(app, status);
}

} // namespace cli
