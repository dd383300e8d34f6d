// The access point beside the handset.
#include "cli/cli.h"

#include "air/conditions.h"
#include "launcher/launcher.h"

#include <filesystem>
#include <iostream>

namespace cli {

namespace {
struct Args {
    std::string ssid, psk, dhcp, supplicant, run;
    int signal = 0;
    bool open = false, down = false, up = false;
    std::vector<std::string> answers;
};

int show(const vh::AirConditions &air) {
    std::cout << "ssid:       " << air.ssid << "\npsk:        " << (air.psk.empty() ? "none: an open network" : air.psk)
              << "\nsignal:     " << air.signal << " dBm\ndhcp:       " << air.dhcp << "\nswitched:   " << (air.up ? "on" : "off")
              << "\nsupplicant: " << air.supplicant << "\n";
    for (const auto &[command, reply] : air.answers) std::cout << "answer:     " << command << " gets " << reply << "\n";
    return 0;
}

void set_answers(vh::AirConditions &air, const std::vector<std::string> &answers) {
    for (const std::string &answer : answers) {
        const size_t equals = answer.find('=');
        if (answer == "default") air.answers.clear();
        else if (equals == std::string::npos || equals == 0)
            throw vh::ClientError("'" + answer + "' is not COMMAND=REPLY, or default");
        else air.answers.emplace_back(answer.substr(0, equals), answer.substr(equals + 1));
    }
}

// A command on a host beside the access point, in its network.
int run_there(const vh::Client &handset, const std::string &line) {
    static const char JUMP[] = "[ -f /run/air/ap.pid ] || "
                               "{ echo 'there is no access point yet: connect the handset first' >&2; exit 1; }\n"
                               "exec nsenter -n -t \"$(cat /run/air/ap.pid)\" /bin/sh -c \"$1\"";
    return vh::exec_in_handset(handset.paths(), {"/bin/sh", "-c", JUMP, "ap", line});
}
} // namespace

void add_air(CLI::App &app, int *status) {
    auto args = std::make_shared<Args>();
    auto self = std::make_shared<CLI::App *>(nullptr);
    CLI::App *ap = command(app, "ap", "show or set the access point beside the handset", status, [=](const vh::Client &handset) {
        if (!args->run.empty()) return run_there(handset, args->run);
        const std::string file = handset.paths().air() + "/ap";
        vh::AirConditions air = vh::read_air(file);
        const auto given = [&](const char *option) { return (*self)->count(option) > 0; };
        if (given("--ssid")) air.ssid = args->ssid;
        if (given("--psk")) air.psk = args->psk;
        if (args->open) air.psk.clear();
        if (given("--signal")) air.signal = args->signal;
        if (given("--dhcp")) air.dhcp = args->dhcp;
        if (given("--supplicant")) air.supplicant = args->supplicant;
        if (args->down || args->up) air.up = args->up;
        set_answers(air, args->answers);
        std::filesystem::create_directories(handset.paths().air());
        vh::write_air(file, air);
        return show(air);
    });
    *self = ap;
    const auto one_line = [](const std::string &text) {
        return text.find_first_of("\r\n") == text.npos ? std::string() : std::string("one line only");
    };
    ap->add_option("--ssid", args->ssid, "name of the network")->check(one_line);
    CLI::Option *psk = ap->add_option("--psk", args->psk, "its key, 8 to 63 characters")->check(one_line);
    ap->add_flag("--open", args->open, "no key")->excludes(psk);
    ap->add_option("--signal", args->signal, "strength in dBm")->check(CLI::Range(-120, 0));
    ap->add_option("--dhcp", args->dhcp, "on, off, or link-local: addresses of 169.254/16")
        ->check(CLI::IsMember({"on", "off", "link-local"}));
    CLI::Option *down = ap->add_flag("--down", args->down, "switch it off");
    ap->add_flag("--up", args->up, "switch it on")->excludes(down);
    ap->add_option("--supplicant", args->supplicant, "from the next connection on: our model, or the workstation's over a wire")
        ->check(CLI::IsMember({"model", "real"}));
    ap->add_option("--answer", args->answers, "what the model says instead: COMMAND=REPLY, COMMAND=silence; default ends that")
        ->check(one_line);
    ap->add_option("--run", args->run, "run a command on a host in its network");
    ap->footer("Kept with the handset; it need not run. The host's address is 192.168.1.1.\n"
               "Examples:\n  ./handset ap --ssid DFX_WIFI_TEST --psk labwifi456 --signal -60\n  ./handset ap --dhcp link-local\n"
               "  ./handset ap --run \"ping -c1 192.168.1.101\"");
}

} // namespace cli
