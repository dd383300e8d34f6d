// `handset demo`: an operator takes a fresh handset through an automatic run, by keys, touches and parts only.
#include "cli/boot.h"
#include "cli/cli.h"
#include "cli/demo_operator.h"

#include <cctype>
#include <filesystem>
#include <iostream>
#include <utility>

namespace cli {

namespace {
constexpr int RUN_STATION = 64, UNTESTED = 0, PASS = 1, FAIL = 2;

class Walk {
public:
    Walk(Operator &person, const DemoScript &script) : person_(person), items_(script.items()) {}
    void run();
    bool print_verdicts() const; // true: all pass, and the run

private:
    bool is_open(const vh::ScreenView &screen, const DemoItem &item) const;
    bool shows_list(const vh::ScreenView &screen) const { return screen.front_shows(person_.text("menu_AutoTest")); }
    bool is_over(const vh::ScreenView &screen) const;
    void go_on_to_next();
    void play(const DemoItem &item);
    void end_as_failed(const std::string &why);
    int verdict(size_t item) const;
    std::string title(size_t item) const { return person_.text(items_[item].title_key); }

    Operator &person_;
    const std::vector<DemoItem> &items_;
    size_t open_ = 0, behind_ = 0; // items that were opened, and that the run went on behind
};

bool Walk::is_open(const vh::ScreenView &screen, const DemoItem &item) const {
    if (item.full_screen && screen.front().empty() && screen.front_covers_screen()) return true;
    return screen.front_shows(person_.text(item.title_key));
}

// The list alone does not tell: it may be seen between two tests.
bool Walk::is_over(const vh::ScreenView &screen) const {
    return shows_list(screen) && person_.handset.station(RUN_STATION) != UNTESTED;
}

// Waits for the next test, or the end of the run; tests that pass by themselves may have come and gone unseen.
void Walk::go_on_to_next() {
    size_t next = open_;
    person_.wait_for("the next test, or the end of the run", [&](const vh::ScreenView &screen) {
        for (next = open_; next < items_.size(); ++next)
            if (is_open(screen, items_[next])) return true;
        return is_over(screen);
    });
    if (next == items_.size() && person_.handset.station(RUN_STATION) != PASS) throw NotGood("the run has ended by itself");
    open_ = next;
    for (size_t item = std::exchange(behind_, next); item < next; ++item)
        person_.tell(title(item) + ": " + vh::verdict_name(verdict(item)));
}

void Walk::play(const DemoItem &item) {
    if (item.act) item.act(person_);
    else person_.picture(item.domain, "nothing: it tests itself");
    person_.wait_for("the end of the test", [&](const vh::ScreenView &screen) { return !is_open(screen, item); });
}

void Walk::end_as_failed(const std::string &why) {
    person_.tell(title(std::min(behind_, items_.size() - 1)) + " is not good: " + why);
    if (shows_list(person_.look())) return;
    person_.picture("failed", "press \"" + person_.text("Result_fail") + "\"");
    person_.press("fail");
    person_.wait_for("the list of tests", [&](const vh::ScreenView &screen) { return shows_list(screen); }, false);
}

void Walk::run() {
    person_.open_row("menu_DeviceTest", "menu", "menu_AutoTest");
    person_.open_row("menu_AutoTest", "device-tests");
    try {
        for (go_on_to_next(); open_ < items_.size(); go_on_to_next()) play(items_[open_++]);
    } catch (const NotGood &fault) {
        end_as_failed(fault.what());
    }
    person_.open_row("menu_ItemTest", "end");
    person_.wait_for("the rows of the tests", [this](const vh::ScreenView &screen) {
        return items_.empty() || screen.shows(person_.text(items_.front().title_key));
    });
    person_.picture("verdicts", "green is passed, red is failed");
}

// As the flags have it; an item without a flag has passed when the run went on, and a flag that two items share tells nothing
// of the one that was not reached.
int Walk::verdict(size_t item) const {
    if (item >= open_ && item >= behind_) return UNTESTED;
    if (items_[item].station >= 0) return person_.handset.station(items_[item].station);
    return item < behind_ ? PASS : FAIL;
}

bool Walk::print_verdicts() const {
    const auto row = [](const std::string &station, const std::string &name, int value) {
        printf("  %7s  %-26s %s\n", station.c_str(), name.c_str(), vh::verdict_name(value).c_str());
        return value == PASS;
    };
    printf("\n  station  test                       verdict\n");
    bool all = true;
    for (size_t i = 0; i < items_.size(); ++i) {
        const int station = items_[i].station;
        all &= row(station < 0 ? "none" : std::to_string(station), items_[i].domain, verdict(i));
    }
    all &= row(std::to_string(RUN_STATION), "the automatic run", person_.handset.station(RUN_STATION));
    fflush(stdout);
    return all;
}

struct DemoArgs {
    BootArgs boot;
    std::string out = "out/demo";
    int patience = 30;
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

std::string file_of(const std::string &given, const char *shipped) {
    return given.empty() || given == "default" ? source_folder() + "/virtual/rootfs/" + shipped : given;
}

bool play(const vh::Client &handset, const DemoScript &script, const DemoArgs &args) {
    if (!wait_ready(handset, args.patience))
        throw vh::ClientError("the handset did not come up; log: ./handset log -n " + handset.name());
    Operator person(handset, script, args.out, args.patience);
    prepare_handset(person);
    Walk walk(person, script);
    walk.run();
    return walk.print_verdicts();
}

int demo(DemoArgs &args) {
    const DemoScript script(file_of(args.boot.config, "tki_config.ini"), file_of(args.boot.language, "tki_language.ini"));
    if (script.items().empty())
        throw vh::ClientError("the configuration enables no test item; set enable=1 in a TKI_ section");
    const vh::Client handset(args.boot.name);
    std::cout << "A fresh handset '" << args.boot.name << "', " << script.items().size() << " tests in its automatic run\n"
              << std::flush;
    clear_pictures(args.out);
    wipe(handset);
    boot_background(args.boot);
    bool all_pass = false;
    try {
        all_pass = play(handset, script, args);
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
    sub->add_option("--patience", args->patience, "seconds that a step may take before its test is failed")
        ->check(CLI::Range(1, 3600))->capture_default_str();
    sub->callback([args, status] { *status = demo(*args); });
    sub->footer("The exit status is 0 only when the result flags of all configured tests and of the run read pass.\n"
                "Example of a failing one: ./handset demo --unfit vibrator");
}

} // namespace cli
