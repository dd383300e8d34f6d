#include "cli/boot.h"

#include "cli/cli.h"
#include "kernel/hardware_parts.h"

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace cli {

namespace {
namespace fs = std::filesystem;
constexpr int MIN_SIDE = 240, MAX_SIDE = 4096;

bool parse_size(const std::string &text, int &width, int &height) {
    char rest = 0;
    return sscanf(text.c_str(), "%dx%d%c", &width, &height, &rest) == 2 && width >= MIN_SIDE && width <= MAX_SIDE &&
           height >= MIN_SIDE && height <= MAX_SIDE;
}

// "default": the source tree's own; "none": without one; else a file.
std::string text_file(const std::string &given) {
    if (given == "default") return "";
    return given == "none" ? given : fs::absolute(given).string();
}

const CLI::Validator TEXT_FILE(
    [](std::string &text) {
        if (text == "default" || text == "none" || fs::is_regular_file(text)) return std::string();
        return "no such file: " + text + " (a file, 'default' or 'none')";
    },
    "FILE|default|none");

const CLI::Validator KEY_VALUE(
    [](std::string &text) {
        const size_t equals = text.find('=');
        return equals == std::string::npos || equals == 0 ? "'" + text + "' is not KEY=VALUE" : std::string();
    },
    "KEY=VALUE");

std::vector<std::string> parts_in(const std::string &text) {
    std::vector<std::string> parts;
    if (text == "all") {
        for (const vh::Part &part : vh::hardware_parts()) parts.emplace_back(part.name);
    } else if (text != "none") {
        parts = CLI::detail::split(text, ',');
    }
    return parts;
}

const CLI::Validator PARTS(
    [](std::string &text) {
        try {
            for (const std::string &part : parts_in(text)) vh::hardware_part(part);
        } catch (const std::runtime_error &error) { return std::string(error.what()); }
        return std::string();
    },
    "PART,PART...|all|none");

void add_pairs(const std::vector<std::string> &pairs, std::map<std::string, std::string> &into) {
    for (const std::string &pair : pairs) into[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
}

bool wait_for(const std::function<bool()> &holds, int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// Boots a handset that may never show a screen: the launcher runs, and that is all.
void launch_unwatched(const vh::Client &handset, const vh::BootOptions &options) {
    const pid_t child = fork();
    if (child < 0) throw vh::ClientError("cannot start a process");
    if (child == 0) {
        setsid();
        if (fork() != 0) _exit(0);
        fs::create_directories(handset.paths().run());
        const vh::Fd null(open("/dev/null", O_RDWR | O_CLOEXEC));
        const vh::Fd log(open((handset.paths().run() + "/launcher.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        dup2(null.get(), 0);
        dup2(log.get(), 1);
        dup2(log.get(), 2);
        _exit(vh::launch(handset.paths(), options, [](const std::string &line) { dprintf(1, "%s\n", line.c_str()); }));
    }
    waitpid(child, nullptr, 0);
    if (!wait_for([&] { return handset.answers(); }, 15))
        throw vh::ClientError("the launcher did not start; see " + handset.paths().run() + "/launcher.log");
}
} // namespace

std::string build_folder() {
    if (const char *set = getenv("VXO_BUILD"); set && *set) return set;
    return fs::read_symlink("/proc/self/exe").parent_path().parent_path().string();
}

std::string source_folder() {
    if (const char *set = getenv("VXO_SOURCE"); set && *set) return set;
    return fs::path(build_folder()).parent_path().parent_path().string();
}

void add_boot_options(CLI::App &sub, BootArgs &args) {
    sub.add_option("-n,--name", args.name, "which handset; a new name makes a new handset")->capture_default_str();
    sub.add_option("--size", args.size, "screen in pixels, e.g. 1080x2340 (first 720x1280)")->check([](const std::string &text) {
        int width = 0, height = 0;
        return parse_size(text, width, height) ? std::string() : "the size is WIDTHxHEIGHT, each 240 to 4096, e.g. 720x1280";
    });
    sub.add_option("--config", args.config, "main configuration (UTF-8, like virtual/rootfs/tki_config.ini)")->check(TEXT_FILE);
    sub.add_option("--language", args.language, "language texts (like virtual/rootfs/tki_language.ini)")->check(TEXT_FILE);
    sub.add_option("--bootmode", args.bootmode, "boot mode property: normal, or ffbm-99 for the reduced screen");
    sub.add_option("--speed", args.speed, "how much faster than the wall clock its time runs")->check(CLI::Range(1.0, 1000.0));
    sub.add_option("--storage", args.storage, "direct, or faults: it takes the orders of ./handset storage (first direct)")
        ->check(CLI::IsMember({"direct", "faults"}));
    sub.add_option("--unfit", args.unfit, "parts that are not fitted, all others are; ./handset fit lists them")->check(PARTS);
    sub.add_flag("--headless", args.headless, "tell viewers not to open a window");
    sub.add_option("--prop", args.props, "further system property")->check(KEY_VALUE)->expected(1)->take_all();
    sub.add_option("--env", args.env, "further environment of the program")->check(KEY_VALUE)->expected(1)->take_all();
}

vh::BootOptions boot_options(const BootArgs &args) {
    vh::BootOptions options = vh::load_options(vh::state_of(args.name));
    options.name = args.name;
    if (!args.size.empty()) parse_size(args.size, options.width, options.height);
    if (!args.config.empty()) options.config = text_file(args.config);
    if (!args.language.empty()) options.language = text_file(args.language);
    if (!args.bootmode.empty()) options.bootmode = args.bootmode;
    if (!args.storage.empty()) options.storage = args.storage;
    if (!args.unfit.empty()) options.unfit = parts_in(args.unfit);
    if (args.speed > 0) options.speed = args.speed;
    options.headless = args.headless;
    add_pairs(args.props, options.props);
    add_pairs(args.env, options.env);
    options.build_dir = build_folder();
    const char *program = getenv("VXO_PROGRAM_BUILD");
    options.program_dir = program ? program : "";
    options.rootfs_dir = source_folder() + "/virtual/rootfs";
    return options;
}

std::string describe(const vh::BootOptions &options) {
    char speed[32];
    snprintf(speed, sizeof speed, "%g", options.speed);
    return "'" + options.name + "' (" + std::to_string(options.width) + "x" + std::to_string(options.height) + ", speed " +
           speed + ", boot mode " + options.bootmode + ", configuration " +
           (options.config.empty() ? "default" : options.config) + ")";
}

void boot_background(const BootArgs &args) {
    const vh::Client handset(args.name);
    if (vh::is_running(handset.paths()))
        throw vh::ClientError("handset '" + args.name + "' is running already; restart it with: ./handset reboot -n " + args.name);
    const vh::BootOptions options = boot_options(args);
    if (const std::string unfit = vh::check_host(); !unfit.empty()) throw vh::ClientError(unfit);
    warn_about_texts(options.config, options.language);
    if (args.no_wait) return launch_unwatched(handset, options);
    const int status = vh::launch_detached(handset.paths(), options, [](const std::string &line) { std::cerr << line << "\n"; });
    if (status != 0)
        throw vh::ClientError("handset '" + args.name + "' did not come up; see " + handset.paths().run() + "/launcher.log and: "
                              "./handset log -n " + args.name);
    wait_ready(handset, 10);
}

bool wait_ready(const vh::Client &handset, int seconds) {
    return wait_for(
        [&] {
            try {
                handset.dump();
                // An empty line is refused, and so shows that somebody reads.
                vh::PcLink(handset).at("", 1000);
                return true;
            } catch (const vh::ClientError &) {
                return false;
            }
        },
        seconds);
}

bool stop(const vh::Client &handset) {
    if (!vh::is_running(handset.paths())) return false;
    try {
        handset.request({{"op", "stop"}});
    } catch (const vh::ClientError &) { // one that was off is gone before it can answer
    }
    if (!wait_for([&] { return !vh::is_running(handset.paths()); }, 20))
        throw vh::ClientError("handset '" + handset.name() + "' does not stop; see " + handset.paths().run() + "/launcher.log");
    return true;
}

void wipe(const vh::Client &handset) {
    stop(handset);
    if (handset.exists() && !vh::wipe_state(handset.paths()))
        throw vh::ClientError("handset '" + handset.name() + "' was booted by somebody else in the meantime; try again");
}

} // namespace cli
