// The page in a browser: beside a handset that runs in the foreground, or by itself for all that run.
#include "cli/console_command.h"

#include "common/state.h"

#include <csignal>
#include <filesystem>
#include <iostream>
#include <sys/prctl.h>
#include <unistd.h>

namespace cli {

void add_page_options(CLI::App &sub, PageArgs &args) {
    sub.add_option("--port", args.port, "port of the page on 127.0.0.1; 0: any free one")->check(CLI::Range(0, 65535))->capture_default_str();
    sub.add_flag("--open", args.open, "open the page in the desktop's browser");
}

void open_page(const vh::console::Address &address, const std::string &handset) {
    const std::string folder = vh::state_of(handset).run();
    std::filesystem::create_directories(folder);
    try {
        vh::console::open_in_browser(address.url(handset), folder);
    } catch (const vh::ClientError &error) { std::cerr << error.what() << "\n"; }
}

// A process of its own: whatever becomes of it, the handset goes on.
void serve_page_in_child(vh::console::Address address) {
    const pid_t parent = getpid();
    std::cout.flush();
    const pid_t child = fork();
    if (child < 0) throw vh::ClientError("cannot start a process");
    if (child > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    try {
        vh::console::Server(std::move(address)).run();
    } catch (const std::exception &error) { std::cerr << "the page has ended: " << error.what() << "\n"; }
    _exit(1);
}

void add_console(CLI::App &app, int *status) {
    auto args = std::make_shared<PageArgs>();
    CLI::App *sub = command(app, "console", "show all handsets of this user as a page in a browser, until Ctrl-C", status,
                            [args](const vh::Client &handset) {
                                vh::console::Address address = vh::console::listen_at(args->port);
                                std::filesystem::create_directories(vh::handsets_home());
                                std::cout << "page: " << address.url(handset.name()) << std::endl;
                                if (args->open) open_page(address, handset.name());
                                vh::console::Server(std::move(address)).run();
                                return 0;
                            });
    add_page_options(*sub, *args);
    sub->footer("Who knows the address may operate the handsets; it holds for this call only. ./handset run serves the same page.\n"
                "Example: ./handset console -n left --open");
}

} // namespace cli
