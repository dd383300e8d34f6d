// What the modem receives, and where it fails.
#include "cli/cli.h"

#include "kernel/hardware_modem.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace cli {

namespace {
using nlohmann::json;

struct RadioArgs {
    std::string technology;
    std::vector<std::string> failures, silent, absent;
    std::optional<double> primary, secondary, spread;
    bool reset = false, operations = false;
};

json request_of(const RadioArgs &args) {
    json request = {{"op", "radio"}, {"reset", args.reset}};
    json orders = json::object();
    for (const std::string &failure : args.failures) {
        const size_t equals = failure.find('=');
        const json times = equals == std::string::npos ? json("always") : json::parse(failure.substr(equals + 1), nullptr, false);
        orders[failure.substr(0, equals)] = times.is_discarded() ? json(failure.substr(equals + 1)) : times;
    }
    for (const std::string &operation : args.silent) orders[operation] = "silent";
    if (!orders.empty()) request["orders"] = orders;
    if (!args.technology.empty()) request["technology"] = args.technology;
    else if (args.primary || args.secondary || args.spread) throw vh::ClientError("which technology? e.g. ./handset radio LTE --primary -65");
    if (args.primary) request["primary"] = *args.primary;
    if (args.secondary) request["secondary"] = *args.secondary;
    if (args.spread) request["spread"] = *args.spread;
    return request;
}

// The library without functions: the first letter of their names is changed, so that nobody finds them. All else works.
std::string library_without(const std::string &file, const std::vector<std::string> &operations) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    for (const std::string &operation : operations) {
        const std::string name = std::string(1, '\0') + "TKI_API_" + operation + std::string(1, '\0');
        const size_t at = bytes.find(name);
        if (at == std::string::npos)
            throw vh::ClientError("no operation '" + operation + "' in " + file + "; ./handset radio --operations lists them");
        bytes[at + 1] = 'X';
    }
    return bytes;
}

// A test that opens from now on loads that library, or with no operations the build's own.
void replace_library(const vh::Client &handset, const std::vector<std::string> &operations) {
    const std::string name = "lib_vxo_signalcoupling.so", instead = handset.paths().run() + "/instead/" + name;
    if (operations.empty()) {
        std::filesystem::remove(instead);
        return;
    }
    const json options = handset.options();
    const std::string program = options.value("program_dir", ""), build = options.value("build_dir", "");
    const std::string bytes = library_without((program.empty() ? build : program) + "/lib/" + name, operations);
    std::ofstream(instead + ".new", std::ios::binary) << bytes;
    std::filesystem::rename(instead + ".new", instead);
}

void print(const json &modem) {
    std::cout << "mode " << modem.at("mode") << " (3 factory test, 4 online, 5 low power)\n";
    for (const auto &[technology, r] : modem.at("receivers").items())
        printf("%-8s primary %7.2f dBm  secondary %7.2f dBm  spread %.2f dB\n", technology.c_str(),
               r.at("primary").get<double>(), r.at("secondary").get<double>(), r.at("spread").get<double>());
    for (const auto &[operation, times] : modem.at("orders").items()) {
        if (times == "silent") std::cout << operation << ": never answers\n";
        else std::cout << operation << ": fails " << (times == "always" ? "always" : times.dump() + " times more") << "\n";
    }
}

int radio(const vh::Client &handset, const RadioArgs &args) {
    if (args.operations) {
        for (const char *name : vh::modem_operations()) std::cout << name << "\n";
        return 0;
    }
    const json request = request_of(args);
    const json modem = handset.request(request);
    if (args.reset || !args.absent.empty()) replace_library(handset, args.absent);
    else if (request.size() == 2) print(modem);
    return 0;
}
} // namespace

void add_radio(CLI::App &app, int *status) {
    auto args = std::make_shared<RadioArgs>();
    CLI::App *sub = command(app, "radio", "what the modem receives, and where it fails; without options: how it is", status,
                            [args](const vh::Client &handset) { return radio(handset, *args); });
    sub->add_option("technology", args->technology, "LTE, CDMA, WCDMA, TDSCDMA, GSM; for the three levels");
    sub->add_option("--primary", args->primary, "dBm at the first chain")->type_name("DBM");
    sub->add_option("--secondary", args->secondary, "dBm at the second chain")->type_name("DBM");
    sub->add_option("--spread", args->spread, "dB that readings differ, up or down")->type_name("DB");
    sub->add_option("--fail", args->failures, "the operation fails so many times, or always; 0: it works")
        ->type_name("OPERATION[=TIMES]");
    sub->add_option("--silent", args->silent, "the operation is never answered; all: none is")->type_name("OPERATION");
    sub->add_option("--absent", args->absent, "the modem library lacks these operations, and only these")->type_name("OPERATION");
    sub->add_flag("--reset", args->reset, "every operation works again and is there; before what else is given");
    sub->add_flag("--operations", args->operations, "names of the operations");
    sub->footer("What is set lasts until the handset is stopped.\n"
                "Examples:\n  ./handset radio LTE --primary -62.5 --spread 1\n  ./handset radio --fail GSM_BER_update=4\n"
                "  ./handset radio --fail LTE_NS_ACQ --silent LTE_NS_STOP\n  ./handset radio --absent LTE_NS_ACQ\n"
                "  ./handset radio --reset");
}

} // namespace cli
