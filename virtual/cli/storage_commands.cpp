// Faults of the handset's storage, and the power cut at one of its changes.
#include "cli/cli.h"

#include <iostream>

namespace cli {

namespace {
using nlohmann::json;

int show(const json &answer) {
    for (const auto &[path, fault] : answer.at("faults").items()) std::cout << path << ": " << fault.get<std::string>() << "\n";
    std::cout << (answer.value("counting", false) ? "counting" : "counted") << ": " << answer.at("count") << " operations\n";
    if (const json &cut = answer.at("cut"); !cut.is_null())
        std::cout << "the power goes " << cut.at("phase").get<std::string>() << " operation " << cut.at("at") << ", mode "
                  << cut.at("mode").get<std::string>() << "\n";
    return 0;
}

int list(const json &answer) {
    int number = 0;
    for (const json &o : answer.at("operations"))
        std::cout << ++number << " " << o.at("kind").get<std::string>() << " " << o.at("path").get<std::string>()
                  << (o.value("unsynced", false) ? " (something is not durable)" : "") << "\n";
    if (number == 0) std::cout << "nothing was counted; begin with: ./handset storage count\n";
    return 0;
}

// `storage` with its option -n, which may also follow the words of the order.
struct Parent {
    CLI::App *app;
    int *status;
    std::shared_ptr<std::string> handset = std::make_shared<std::string>("default");
};

// An order: its request, and what is shown of the answer.
CLI::App *order(const Parent &parent, const std::string &name, const std::string &description,
                std::function<json()> request, int (*print)(const json &) = show) {
    CLI::App *sub = parent.app->add_subcommand(name, description)->fallthrough();
    sub->callback([parent, request = std::move(request), print] {
        json what = request();
        what["op"] = "storage";
        *parent.status = print(vh::Client(*parent.handset).request(what));
    });
    return sub;
}

void add_cut(const Parent &storage) {
    struct Args {
        std::string at, phase = "before", mode = "keep";
    };
    auto args = std::make_shared<Args>();
    CLI::App *cut = order(storage, "cut", "cut the power at an operation; the handset boots again by itself", [args] {
        const int at = args->at == "now" ? 0 : std::stoi(args->at);
        return json{{"cut", {{"at", at}, {"phase", args->phase}, {"mode", args->mode}}}};
    });
    cut->add_option("at", args->at, "the number of the operation, counted from this order on; or now")
        ->required()
        ->check([](const std::string &text) {
            const bool number = text.find_first_not_of("0123456789") == text.npos && text.size() < 8 && text[0] != '0';
            return text == "now" || number ? std::string() : "the operation is a number from 1 on, or now";
        });
    cut->add_option("phase", args->phase, "before, middle (half of a write is in; others are done, not answered), after")
        ->check(CLI::IsMember({"before", "middle", "after"}))
        ->capture_default_str();
    cut->add_option("--mode", args->mode, "keep: all that came through stays; lose: what was not made durable is gone")
        ->check(CLI::IsMember({"keep", "lose"}))
        ->capture_default_str();
    cut->footer("Example: ./handset storage cut 3 middle --mode lose");
}
} // namespace

void add_storage(CLI::App &app, int *status) {
    CLI::App *storage = app.add_subcommand("storage", "order faults and power cuts of a handset booted with --storage faults");
    storage->require_subcommand(1);
    const Parent parent{storage, status};
    storage->add_option("-n,--name", *parent.handset, "which handset")->capture_default_str();
    order(parent, "show", "faults, count and cut", [] { return json::object(); });
    struct Fault {
        std::string path, fault;
    };
    auto fault = std::make_shared<Fault>();
    CLI::App *sub = order(parent, "fault", "order a fault of a file system or partition",
                          [fault] { return json{{"path", fault->path}, {"fault", fault->fault}}; });
    sub->add_option("path", fault->path, "/data, /cache, vxocfg, vxoflag or vxoprod")->required();
    sub->add_option("fault", fault->fault, "full, full=BYTES (so many bytes have room), read-only, eio, none")->required();
    sub->footer("Example: ./handset storage fault /cache full");
    order(parent, "count", "count changing operations from now on", [] { return json{{"count", true}}; });
    order(parent, "list", "the operations counted", [] { return json{{"list", true}}; }, list);
    order(parent, "stop", "count no longer and forget the cut", [] { return json{{"stop", true}}; });
    add_cut(parent);
    storage->footer("Example:\n  ./handset boot --storage faults\n  ./handset storage count\n  ./handset storage list\n"
                    "  ./handset storage cut 1 middle");
}

} // namespace cli
