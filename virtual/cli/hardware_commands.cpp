// What a bench technician does: hardware values and faults, result flags, files, commands inside.
#include "cli/cli.h"

#include "launcher/launcher.h"

#include <iostream>
#include <unistd.h>

namespace cli {

namespace {
// The command gets this terminal, so that editors and Ctrl-D work.
int shell(const vh::Client &handset, const std::string &line) {
    handset.request({{"op", "status"}});
    if (!line.empty()) return vh::exec_in_handset(handset.paths(), {"/bin/sh", "-c", line});
    if (isatty(STDIN_FILENO)) return vh::exec_in_handset(handset.paths(), {"/bin/sh", "-i"});
    return vh::exec_in_handset(handset.paths(), {"/bin/sh"});
}

void add_attributes(CLI::App &app, int *status) {
    struct Args {
        std::string path, value, fault;
    };
    auto args = std::make_shared<Args>();
    CLI::App *attr = command(app, "attr", "read or set a kernel attribute from the hardware's side", status,
                             [args](const vh::Client &handset) {
                                 if (args->value.empty()) std::cout << handset.attr(args->path) << "\n";
                                 else handset.set_attr(args->path, args->value);
                                 return 0;
                             });
    attr->add_option("path", args->path, "below /sys or /proc")->required();
    attr->add_option("value", args->value, "the new value (a negative one behind --)");
    attr->footer("Examples:\n  ./handset attr /sys/class/power_supply/battery/capacity 15\n"
                 "  ./handset attr /sys/class/leds/lcd-backlight/brightness");
    CLI::App *fault = command(app, "fault", "order a fault of a kernel attribute", status, [args](const vh::Client &handset) {
        handset.fault(args->path, args->fault);
        return 0;
    });
    fault->add_option("path", args->path, "below /sys or /proc")->required();
    fault->add_option("fault", args->fault, "eio (every access fails), stale (reads give the old value), delay=MS, none")
        ->required()
        ->check([](const std::string &text) {
            const bool delay = text.starts_with("delay=") && text.size() > 6 &&
                               text.find_first_not_of("0123456789", 6) == std::string::npos;
            return delay || text == "eio" || text == "stale" || text == "none"
                       ? std::string() : "fault is one of: eio, stale, delay=MS, none";
        });
    fault->footer("Example: ./handset fault /sys/class/leds/lcd-backlight/brightness eio");
}

void print_battery(const nlohmann::json &b) {
    const auto scaled = [&](const char *key, double divisor, int digits, const char *unit) {
        const std::string text = b.value(key, "");
        char *end = nullptr;
        const double value = strtod(text.c_str(), &end);
        if (text.empty() || *end) return "'" + text + "' (not understood)";
        char line[48];
        snprintf(line, sizeof line, "%.*f %s", digits, value / divisor, unit);
        return std::string(line);
    };
    const nlohmann::json drain = b.value("drain", nlohmann::json("default"));
    std::cout << "level:       " << scaled("capacity", 1, 0, "%") << "\nstatus:      " << b.value("status", "")
              << "\ntemperature: " << scaled("temp", 10, 1, "C") << "\ncharger:     " << b.value("charger", "")
              << "\nhealth:      " << b.value("health", "") << "\npresent:     " << (b.value("present", "") == "1" ? "yes" : "no")
              << "\ndrain:       " << (drain.is_number() ? drain.dump() + " %/h" : "by the load")
              << "\nvoltage:     " << scaled("voltage_now", 1e6, 3, "V") << "\ncurrent:     " << scaled("current_now", 1e3, 0, "mA")
              << "\n";
}

void add_battery(CLI::App &app, int *status) {
    auto values = std::make_shared<nlohmann::json>(nlohmann::json::object());
    CLI::App *sub = command(app, "battery", "show or set the battery and its charger", status, [values](const vh::Client &handset) {
        const nlohmann::json state = handset.battery(*values);
        if (values->empty()) print_battery(state);
        return 0;
    });
    // Numbers become numbers; what they may be is the handset's to say.
    const auto option = [&](const std::string &name, const std::string &key, const std::string &type, const std::string &help) {
        sub->add_option_function<std::string>(name, [values, key](const std::string &text) {
            const nlohmann::json number = nlohmann::json::parse(text, nullptr, false);
            (*values)[key] = number.is_number() ? number : nlohmann::json(text);
        }, help)->type_name(type);
    };
    option("--level", "level", "0..100", "percent");
    option("--temp", "temp", "CELSIUS", "temperature now, and the surroundings so that it stays there");
    option("--charger", "charger", "ac|usb|wireless|none", "what is plugged in");
    option("--health", "health", "WORD", "good, overheat, dead, over-voltage, cold, unspecified-failure, unknown");
    option("--present", "present", "0|1", "whether there is a battery");
    option("--drain", "drain", "RATE", "percent per hour, also with a charger; 0 holds the level, 'default' follows the load");
    sub->footer("Rates are those of the handset's time. Without options the state is shown.\n"
                "Examples:\n  ./handset battery\n  ./handset battery --level 31 --charger none --drain 60\n"
                "  ./handset battery --temp 45.5");
}

int flag_value(const std::string &text) {
    for (int value = 0; value < 4; ++value)
        if (text == vh::verdict_name(value) || text == std::to_string(value)) return value;
    throw vh::ClientError("'" + text + "' is no verdict: pass, fail, untested, or 0 to 3");
}

int flags(const vh::Client &handset, const std::string &what) {
    if (what.empty()) {
        for (int i = 0; i < vh::STATION_COUNT; ++i)
            if (const int value = handset.station(i)) std::cout << i << " " << vh::verdict_name(value) << "\n";
        return 0;
    }
    const size_t equals = what.find('=');
    const std::string digits = what.substr(0, equals);
    if (digits.empty() || digits.size() > 4 || digits.find_first_not_of("0123456789") != std::string::npos)
        throw vh::ClientError("'" + what + "' is not STATION or STATION=VALUE, e.g. 280 or 280=pass");
    const int number = std::stoi(digits);
    if (equals != std::string::npos) handset.set_station(number, flag_value(what.substr(equals + 1)));
    else std::cout << number << " " << vh::verdict_name(handset.station(number)) << "\n";
    return 0;
}

void add_files(CLI::App &app, int *status) {
    auto from = std::make_shared<std::string>();
    auto to = std::make_shared<std::string>();
    CLI::App *push = command(app, "push", "copy a file to the handset, below /data or /cache", status, [=](const vh::Client &h) {
        h.push(*from, *to);
        return 0;
    });
    push->add_option("source", *from, "a file here")->required();
    push->add_option("destination", *to, "a file or folder below /data or /cache")->required();
    CLI::App *pull = command(app, "pull", "copy a file from the handset's /data or /cache", status, [=](const vh::Client &h) {
        h.pull(*from, *to);
        return 0;
    });
    pull->add_option("source", *from, "a file below /data or /cache")->required();
    pull->add_option("destination", *to, "a file or folder here, - for standard output")->required();
    pull->footer("Example: ./handset pull /cache/tki/tki.log -");
}
} // namespace

void add_hardware(CLI::App &app, int *status) {
    add_attributes(app, status);
    add_battery(app, status);
    add_fitting(app, status);
    auto what = std::make_shared<std::string>();
    CLI::App *flag = command(app, "flags", "show or set test result flags", status,
                             [what](const vh::Client &handset) { return flags(handset, *what); });
    flag->add_option("station", *what, "STATION or STATION=pass|fail|untested; nothing lists all that are set");
    flag->footer("Examples:\n  ./handset flags\n  ./handset flags 280=untested");
    add_files(app, status);
    // Words are taken as they come, options of the command included; only -n is ours.
    auto self = std::make_shared<CLI::App *>(nullptr);
    CLI::App *sh = command(app, "shell", "run a command on the handset, or many from standard input", status,
                           [self](const vh::Client &handset) { return shell(handset, CLI::detail::join((*self)->remaining(), " ")); });
    *self = sh;
    sh->allow_extras();
    sh->footer("Without a command, lines are read until 'exit' or the end of the input.\n"
               "Examples:\n  ./handset shell \"ls -l /data\"\n  ./handset shell");
}

} // namespace cli
