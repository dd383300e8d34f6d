// Birth, life and end of handsets.
#include "cli/boot.h"
#include "cli/cli.h"
#include "cli/console_command.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <thread>
#include <sys/prctl.h>
#include <unistd.h>

namespace cli {

namespace {
std::string n_option(const std::string &name) { return name == "default" ? "" : " -n " + name; }

void print_hints(const std::string &name) {
    const std::string n = n_option(name);
    std::cout << "  look:    ./handset screenshot" << n << " screen.png    ./handset dump" << n << "\n"
              << "  operate: ./handset tap" << n << " X Y    ./handset key" << n << " pass|fail|volumeup|power\n"
              << "  PC:      ./handset at" << n << " \"batteryMoudle testItem power\"\n"
              << "  inside:  ./handset shell" << n << "    ./handset battery" << n << " --level 15 --charger none\n"
              << "  flags:   ./handset flags" << n << "\n" << std::flush;
}

// The launcher wants a process of its own with one thread, so the log is followed by a child that ends with it.
void follow_log_in_child(const vh::Client &handset) {
    std::filesystem::create_directories(handset.paths().run() + "/log");
    const pid_t parent = getpid();
    if (fork() != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    LogFilter filter;
    filter.follow = true;
    try {
        vh::LogFollower log(handset.paths().log(), false);
        for (;;)
            for (const std::string &line : log.lines(60000)) std::cout << line << std::endl;
    } catch (const std::exception &error) { std::cerr << "no log is shown: " << error.what() << "\n"; }
    _exit(0);
}

struct RunArgs : BootArgs {
    PageArgs page;
    bool no_page = false;
};

int run(const RunArgs &args) {
    const vh::Client handset(args.name);
    if (vh::is_running(handset.paths()))
        throw vh::ClientError("handset '" + args.name + "' is running already; follow it with: ./handset log -f" +
                              n_option(args.name) + ", or end it with: ./handset stop" + n_option(args.name));
    const vh::BootOptions options = boot_options(args);
    if (const std::string unfit = vh::check_host(); !unfit.empty()) throw vh::ClientError(unfit);
    warn_about_texts(options.config, options.language);
    std::cout << "Booting " << describe(options) << "; its log follows, Ctrl-C switches it off. In another terminal:\n";
    print_hints(args.name);
    if (!args.no_page) {
        vh::console::Address page = vh::console::listen_at(args.page.port);
        std::cout << "  page:    " << page.url(args.name) << std::endl;
        if (args.page.open) open_page(page, args.name);
        serve_page_in_child(std::move(page));
    }
    follow_log_in_child(handset);
    return vh::launch(handset.paths(), options, [](const std::string &line) { std::cout << "handset: " << line << std::endl; }) ? 1 : 0;
}

void add_run_and_boot(CLI::App &app, int *status) {
    auto args = std::make_shared<RunArgs>();
    CLI::App *sub = app.add_subcommand("run", "boot a handset in the foreground, follow its log and serve its page");
    add_boot_options(*sub, *args);
    add_page_options(*sub, args->page);
    sub->add_flag("--no-page", args->no_page, "serve no page for a browser");
    sub->callback([=] { *status = run(*args); });
    sub->footer("Options that are not given stay as at the handset's last boot; ./handset wipe forgets them.\n"
                "The page shows the handset in a browser of this machine; its address is printed. ./handset console serves it for\n"
                "handsets in the background.\n"
                "Example: ./handset run --size 480x800 --speed 10 --open");
    auto boot_args = std::make_shared<BootArgs>();
    sub = app.add_subcommand("boot", "boot a handset in the background");
    add_boot_options(*sub, *boot_args);
    sub->add_flag("--no-wait", boot_args->no_wait, "do not wait until the program shows its screen");
    sub->callback([=] {
        const vh::Client handset(boot_args->name);
        // Switched off by itself, with its launcher still there: the power button.
        if (handset.answers() && handset.request({{"op", "status"}}).value("state", "") == "off") {
            handset.request({{"op", "boot"}});
            wait_ready(handset, 20);
        } else {
            boot_background(*boot_args);
        }
        std::cout << "running: " << describe(boot_options(*boot_args)) << "\n";
        print_hints(boot_args->name);
    });
    sub->footer("Options that are not given stay as at the handset's last boot; ./handset wipe forgets them.");
}

int print_status(const vh::Client &handset) {
    const nlohmann::json answer = handset.request({{"op", "status"}});
    for (const auto &[key, value] : answer.items())
        if (key != "ok") std::cout << key << ": " << (value.is_string() ? value.get<std::string>() : value.dump()) << "\n";
    return 0;
}

int print_list() {
    std::error_code none;
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(vh::handsets_home(), none))
        if (entry.is_directory()) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    for (const std::string &name : names) {
        try {
            const vh::Client handset(name);
            const nlohmann::json how = handset.answers() ? handset.request({{"op", "status"}}) : nlohmann::json::object();
            std::cout << name << "  " << how.value("state", "stopped") << (how.value("sleeps", false) ? ", asleep" : "") << "\n";
        } catch (const std::invalid_argument &) { // some other folder
        } catch (const vh::ClientError &) { std::cout << name << "  stopped\n"; } // ended while we asked
    }
    if (names.empty()) std::cout << "no handset yet; make one with: ./handset boot\n";
    return 0;
}

void add_endings(CLI::App &app, int *status) {
    command(app, "stop", "switch a handset off and end it", status, [](const vh::Client &handset) {
        std::cout << (stop(handset) ? "stopped\n" : "was not running\n");
        return 0;
    });
    command(app, "reboot", "restart a handset", status, [](const vh::Client &handset) {
        const int before = handset.request({{"op", "status"}}).value("boots", 0);
        handset.request({{"op", "reboot"}});
        while (handset.request({{"op", "status"}}).value("boots", 0) == before)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        wait_ready(handset, 20);
        std::cout << "restarted\n";
        return 0;
    });
    command(app, "wipe", "end a handset and remove all that it keeps", status, [](const vh::Client &handset) {
        wipe(handset);
        return 0;
    });
    command(app, "status", "tell how a handset is", status, print_status);
    app.add_subcommand("list", "list the handsets of this user")->callback([status] { *status = print_list(); });
}

void add_exec(CLI::App &app, int *status) {
    auto argv = std::make_shared<std::vector<std::string>>();
    CLI::App *sub = app.add_subcommand("exec", "run a command in a fresh handset's root instead of the program");
    sub->add_option("command", *argv, "behind --: the command and its arguments")->required();
    auto ignored = std::make_shared<std::string>("default");
    sub->add_option("-n,--name", *ignored, "accepted for uniformity: the root is a new one each time");
    sub->callback([=] { *status = vh::exec_in_fresh_root(*argv, build_folder(), source_folder() + "/virtual/rootfs"); });
    sub->footer("The exit status is the command's; 129 or 130 when it called for a reboot or a power-off;\n"
                "77 when this machine cannot run handsets.\n"
                "Example: ./handset exec -- build/release/bin/unit_base");
}
} // namespace

void add_lifecycle(CLI::App &app, int *status) {
    add_run_and_boot(app, status);
    add_endings(app, status);
    add_exec(app, status);
}

} // namespace cli
