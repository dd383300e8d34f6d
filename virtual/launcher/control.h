// The control socket: one JSON request and one answer per line (common/state.h).
#pragma once

#include "common/fd.h"
#include "kernel/battery_model.h"
#include "kernel/hardware_modem.h"
#include "kernel/tree.h"
#include "launcher/watch.h"

#include <list>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace vh {

enum class Order { stop, reboot, boot };

// What the socket acts on.
class ControlHost {
public:
    virtual ~ControlHost() = default;
    virtual nlohmann::json status() = 0;
    virtual void order(Order order) = 0;
    virtual Tree &tree() = 0;
    virtual BatteryModel &battery() = 0;
    virtual Modem &modem() = 0;
    virtual Watchers &watchers() = 0;
    // A request with op "storage". Throws.
    virtual nlohmann::json storage(const nlohmann::json &request) = 0;
    // A request with op "fit", "sensor" or "camera". Throws.
    virtual nlohmann::json hardware(const nlohmann::json &request) = 0;
    // Lets the debug bridge listen (launcher/bridge_server.h). Its port. Throws.
    virtual uint16_t bridge(uint16_t port) = 0;
    // Runs a command inside and waits. stdio: three descriptors. It is killed when the client hangs up (-1: it has none).
    // Throws.
    virtual int execute(const std::vector<std::string> &argv, const std::vector<int> &stdio, int client) = 0;
};

class ControlServer {
public:
    // Serves path from threads of its own until the process ends. Throws std::runtime_error.
    ControlServer(ControlHost &host, const std::string &path);
    ~ControlServer();
    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

private:
    void accept_loop();

    ControlHost &host_;
    Fd listener_;
    std::thread acceptor_;
};

} // namespace vh
