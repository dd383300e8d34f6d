#include "launcher/radio_request.h"

#include <stdexcept>

namespace vh {

using nlohmann::json;

namespace {
std::optional<double> number_in(const json &request, const char *key) {
    if (!request.contains(key)) return std::nullopt;
    if (!request[key].is_number()) throw std::runtime_error(std::string(key) + " is a number");
    return request[key].get<double>();
}

int times_of(const json &times) {
    if (times == "always") return Modem::ALWAYS;
    if (times == "silent") return Modem::NEVER_ANSWERS;
    if (!times.is_number_integer() || times < 0 || times > 1000000)
        throw std::runtime_error("an operation fails 0 to 1000000 times, always, or is silent");
    return times;
}
} // namespace

json run_radio(Modem &modem, const json &request) {
    if (request.value("reset", false)) modem.reset_orders();
    if (request.contains("technology"))
        modem.set_receiver(request["technology"], number_in(request, "primary"), number_in(request, "secondary"),
                           number_in(request, "spread"));
    const json ordered = request.value("orders", json::object());
    for (const auto &[operation, times] : ordered.items())
        modem.order(operation, times_of(times));
    json receivers = json::object(), orders = json::object();
    for (const auto &[technology, r] : modem.receivers())
        receivers[technology] = {{"primary", r.primary}, {"secondary", r.secondary}, {"spread", r.spread}};
    for (const auto &[operation, times] : modem.orders())
        orders[operation] = times == Modem::ALWAYS ? json("always") : times == Modem::NEVER_ANSWERS ? json("silent") : json(times);
    return {{"mode", modem.mode()}, {"receivers", receivers}, {"orders", orders}};
}

} // namespace vh
