// `handset demo`: an operator at work. It looks at the screen's description before every step and never acts by the clock
// alone, so it fits any speed of the machine.
#include "cli/boot.h"
#include "cli/cli.h"
#include "cli/demo_script.h"
#include "client/screen_text.h"

#include <cctype>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <thread>

namespace cli {

namespace {
using Clock = std::chrono::steady_clock;
constexpr int AUTOMATIC_RUN_STATION = 64;
constexpr int COLOUR_PAUSE_MS = 1200; // a touch within a second of a colour does not count
constexpr int LOOK_EVERY_MS = 50;

struct KeyText {
    const char *language_key, *key;
};
constexpr KeyText KEY_TEXTS[] = {
    {"info_KeyItem0", "volumeup"},       {"info_KeyItem1", "volumedown"}, {"info_KeyItem2", "home"},
    {"info_KeyItem3", "back"},           {"info_KeyItem4", "menu"},       {"info_KeyItem5", "power"},
    {"info_KeyItemCamera", "camera"},    {"info_KeyItemSearch", "search"}, {"info_KeyItemHook", "hook"},
    {"info_KeyItemRcentAPP", "appswitch"}, {"info_KeyItem6", "torch"},    {"info_keyItemTVText", "tv"},
};

class Operator {
public:
    Operator(const vh::Client &handset, const DemoScript &script, std::string folder, int limit_seconds)
        : handset_(handset), script_(script), folder_(std::move(folder)), limit_(limit_seconds) {}
    void run();
    bool print_verdicts() const;

private:
    vh::ScreenView look();
    void pause();
    void picture(const std::string &name, const std::string &what);
    void open_row(const std::string &language_key, const std::string &name);
    bool act(const vh::ScreenView &screen);
    void judge_colour(const vh::ScreenView &screen);
    bool press_wanted_key(const vh::ScreenView &screen);
    const DemoItem *open_item(const vh::ScreenView &screen) const;

    const vh::Client &handset_;
    const DemoScript &script_;
    const std::string folder_;
    const int limit_;
    const Clock::time_point begun_ = Clock::now();
    std::string last_name_, last_screen_ = "nothing yet";
    uint32_t last_colour_ = ~0U;
    int pictures_ = 0, colours_ = 0;
    bool in_run_ = false;
};

double seconds_since(Clock::time_point begun) { return std::chrono::duration<double>(Clock::now() - begun).count(); }

vh::ScreenView Operator::look() {
    if (seconds_since(begun_) > limit_)
        throw vh::ClientError("the demonstration did not end within " + std::to_string(limit_) + " s; the screen shows " +
                              last_screen_ + "; log: ./handset log -n " + handset_.name());
    vh::ScreenView screen(handset_.dump());
    last_screen_ = screen.summary();
    return screen;
}

void Operator::pause() { std::this_thread::sleep_for(std::chrono::milliseconds(LOOK_EVERY_MS)); }

void Operator::picture(const std::string &name, const std::string &what) {
    if (name == last_name_) return;
    last_name_ = name;
    char number[16];
    snprintf(number, sizeof number, "%02d-", ++pictures_);
    const std::string file = folder_ + "/" + number + name + ".png";
    handset_.screenshot(file);
    std::cout << "  " << std::fixed << std::setprecision(1) << std::setw(5) << seconds_since(begun_) << " s  " << std::left
              << std::setw(34) << what << std::right << file << std::endl;
}

// Waits for a row of a list and taps it, again when the tap came to nothing.
void Operator::open_row(const std::string &language_key, const std::string &name) {
    const std::string wanted = script_.text(language_key);
    for (;;) {
        const vh::ScreenView screen = look();
        if (screen.front_shows(wanted)) {
            const vh::ScreenText row = *screen.find(wanted);
            picture(name, "touch \"" + wanted + "\"");
            handset_.tap(row.x(), row.y());
            for (int i = 0; i < 40 && look().front_shows(wanted); ++i) pause();
            if (!look().front_shows(wanted)) return;
        }
        pause();
    }
}

const DemoItem *Operator::open_item(const vh::ScreenView &screen) const {
    for (const DemoItem &item : script_.items())
        if (screen.front_shows(script_.text(item.title_key))) return &item;
    return nullptr;
}

void Operator::judge_colour(const vh::ScreenView &screen) {
    const uint32_t colour = handset_.pixel(screen.width() / 2, screen.height() / 2);
    if (colour != last_colour_) {
        last_colour_ = colour;
        char hex[8];
        snprintf(hex, sizeof hex, "%06x", colour);
        picture("lcd-colour-" + std::to_string(++colours_), "colour #" + std::string(hex) + ", touch");
    }
    handset_.wait_ms(COLOUR_PAUSE_MS);
    handset_.tap(screen.width() / 2, screen.height() / 2);
}

bool Operator::press_wanted_key(const vh::ScreenView &screen) {
    for (const KeyText &key : KEY_TEXTS) {
        const std::string name = script_.text(key.language_key);
        if (!screen.front_shows(name)) continue;
        picture("keys-" + std::string(key.key), "press \"" + name + "\"");
        handset_.press(vh::key_code(key.key));
        for (int i = 0; i < 40 && look().front_shows(name); ++i) pause();
        return true;
    }
    return false;
}

// One step of the run; false when the run is over.
bool Operator::act(const vh::ScreenView &screen) {
    if (screen.front_shows(script_.text("menu_AutoTest"))) return !in_run_;
    in_run_ = true;
    if (screen.front().empty() && screen.front_covers_screen()) {
        judge_colour(screen);
        return true;
    }
    const DemoItem *item = open_item(screen);
    if (item && item->domain == "TKI_KEYS" && press_wanted_key(screen)) return true;
    if (item && screen.soft_keys()[0] == script_.text("Result_pass")) {
        picture(item->domain + "-verdict", script_.text(item->title_key) + ": pass");
        handset_.press(vh::key_code("pass"));
    }
    return true;
}

void Operator::run() {
    open_row("menu_DeviceTest", "menu");
    open_row("menu_AutoTest", "device-tests");
    while (act(look())) pause();
    picture("end", "the run is over");
}

bool Operator::print_verdicts() const {
    bool all = true;
    const auto row = [&](int station, const std::string &name) {
        const int value = handset_.station(station);
        all = all && value == 1;
        std::cout << "  " << std::setw(7) << station << "  " << std::left << std::setw(26) << name << std::right
                  << vh::verdict_name(value) << "\n";
    };
    std::cout << "\n  station  test                      verdict\n";
    for (const DemoItem &item : script_.items())
        if (item.station >= 0) row(item.station, item.domain);
    row(AUTOMATIC_RUN_STATION, "the automatic run");
    return all;
}

struct DemoArgs {
    BootArgs boot;
    std::string out = "out/demo";
    int limit = 180;
};

// Only what an earlier demonstration left: the folder may be anybody's.
void clear_pictures(const std::string &folder) {
    std::filesystem::create_directories(folder);
    std::vector<std::filesystem::path> old;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.size() > 7 && isdigit(static_cast<unsigned char>(name[0])) && isdigit(static_cast<unsigned char>(name[1])) &&
            name[2] == '-' && name.ends_with(".png"))
            old.push_back(entry.path());
    }
    for (const auto &path : old) std::filesystem::remove(path);
}

int demo(DemoArgs &args) {
    const std::string rootfs = source_folder() + "/virtual/rootfs/";
    const DemoScript script(args.boot.config.empty() || args.boot.config == "default" ? rootfs + "tki_config.ini" : args.boot.config,
                            args.boot.language.empty() || args.boot.language == "default" ? rootfs + "tki_language.ini" : args.boot.language);
    if (script.items().empty()) throw vh::ClientError("the configuration enables no test item; set enable=1 in a TKI_ section");
    const vh::Client handset(args.boot.name);
    std::cout << "A fresh handset '" << args.boot.name << "', " << script.items().size() << " tests configured" << std::endl;
    clear_pictures(args.out);
    wipe(handset);
    boot_background(args.boot);
    bool all_pass = false;
    try {
        Operator person(handset, script, args.out, args.limit);
        if (!wait_ready(handset, 30)) throw vh::ClientError("the handset did not come up; log: ./handset log -n " + handset.name());
        person.run();
        all_pass = person.print_verdicts();
    } catch (...) {
        stop(handset);
        throw;
    }
    stop(handset);
    std::cout << (all_pass ? "\nAll tests passed. Pictures: " : "\nNot all tests passed. Pictures: ") << args.out << std::endl;
    return all_pass ? 0 : 1;
}
} // namespace

void add_demo(CLI::App &app, int *status) {
    auto args = std::make_shared<DemoArgs>();
    args->boot.name = "demo";
    args->boot.speed = 2;
    CLI::App *sub = app.add_subcommand("demo", "play an operator through an automatic run on a fresh handset");
    add_boot_options(*sub, args->boot);
    sub->add_option("--out", args->out, "folder of the pictures")->capture_default_str();
    sub->add_option("--limit", args->limit, "seconds until the demonstration gives up")->check(CLI::Range(1, 3600))->capture_default_str();
    sub->callback([args, status] { *status = demo(*args); });
    sub->footer("The exit status is 0 only when the result flags of all configured tests and of the run read pass.");
}

} // namespace cli
