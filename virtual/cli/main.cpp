// handset: boots virtual handsets and acts on them as operator, test PC and bench technician.
#include "cli/cli.h"

#include <csignal>
#include <cstdlib>
#include <iostream>

namespace cli {

CLI::App *command(CLI::App &app, const std::string &name, const std::string &description, int *status, Action action) {
    CLI::App *sub = app.add_subcommand(name, description);
    auto handset = std::make_shared<std::string>("default");
    sub->add_option("-n,--name", *handset, "which handset")->capture_default_str();
    sub->callback([handset, status, action = std::move(action)] { *status = action(vh::Client(*handset)); });
    return sub;
}

} // namespace cli

int main(int argc, char **argv) {
    signal(SIGPIPE, SIG_IGN);
    CLI::App app{"Boots virtual handsets and acts on them as operator, test PC and bench technician.", "handset"};
    app.require_subcommand(1);
    app.footer("Begin with:\n"
               "  ./handset boot                       a handset named 'default', in the background\n"
               "  ./handset screenshot menu.png        what it shows\n"
               "  ./handset dump                       the same as text, with coordinates for tap\n"
               "  ./handset tap 360 200                a finger; ./handset key pass: a key\n"
               "  ./handset at \"LCDMoudle testItem FFFFFF\"  a PC command\n"
               "  ./handset stop\n"
               "Every command takes -n NAME and --help. Handsets live in $VXO_HANDSET_HOME, else ~/.local/state/vxo-handset.");
    int status = 0;
    cli::add_lifecycle(app, &status);
    cli::add_operator(app, &status);
    cli::add_console(app, &status);
    cli::add_pc(app, &status);
    cli::add_hardware(app, &status);
    cli::add_storage(app, &status);
    cli::add_radio(app, &status);
    cli::add_audio(app, &status);
    cli::add_air(app, &status);
    cli::add_lint(app, &status);
    cli::add_demo(app, &status);
    cli::add_report(app, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) ? 1 : 0;
    } catch (const std::exception &error) {
        std::cerr << "handset: " << error.what() << "\n";
        return 1;
    }
    return status;
}
