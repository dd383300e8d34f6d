#include "launcher/control.h"

#include "common/message.h"
#include "common/state.h"
#include "launcher/battery_request.h"
#include "launcher/radio_request.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>

namespace vh {

using nlohmann::json;

namespace {
constexpr size_t MAX_REQUEST = 1 << 20;
constexpr size_t MAX_OUTPUT = 16 << 20;

// One line, and the descriptors that came with it. False when the client left.
bool read_request(int client, std::string &line, std::vector<Fd> &fds) {
    std::array<char, 16384> bytes;
    while (line.size() < MAX_REQUEST) {
        iovec part{bytes.data(), bytes.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(3 * sizeof(int))> control{};
        msghdr header{};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        const ssize_t n = recvmsg(client, &header, MSG_CMSG_CLOEXEC);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        for (cmsghdr *c = CMSG_FIRSTHDR(&header); c; c = CMSG_NXTHDR(&header, c)) {
            if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
            std::array<int, 3> received{-1, -1, -1};
            const size_t length = std::min(c->cmsg_len - CMSG_LEN(0), sizeof received);
            memcpy(received.data(), CMSG_DATA(c), length);
            for (size_t i = 0; i < length / sizeof(int); ++i) fds.emplace_back(received[i]);
        }
        line.append(bytes.data(), static_cast<size_t>(n));
        if (line.ends_with('\n')) return true;
    }
    return false;
}

json run_with_own_stdio(ControlHost &host, const std::vector<std::string> &argv, const std::string &input, int client) {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error(strerror(errno));
    Fd in_read(in[0]), in_write(in[1]);
    if (pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error(strerror(errno));
    Fd out_read(out[0]), out_write(out[1]);
    std::thread feeder([&] {
        for (size_t sent = 0; sent < input.size();) {
            const ssize_t n = write(in_write.get(), input.data() + sent, input.size() - sent);
            if (n <= 0) break;
            sent += static_cast<size_t>(n);
        }
        in_write.reset();
    });
    std::string output;
    std::thread reader([&] {
        std::array<char, 65536> bytes;
        for (ssize_t n; (n = read(out_read.get(), bytes.data(), bytes.size())) > 0;)
            if (output.size() < MAX_OUTPUT) output.append(bytes.data(), static_cast<size_t>(n));
    });
    int status = 255;
    std::string error;
    try {
        status = host.execute(argv, {in_read.get(), out_write.get(), out_write.get()}, client);
    } catch (const std::exception &e) {
        error = e.what();
    }
    in_read.reset();
    out_write.reset();
    feeder.join();
    reader.join();
    if (!error.empty()) throw std::runtime_error(error);
    return {{"status", status}, {"output", output}};
}

json run_exec(ControlHost &host, const json &request, const std::vector<Fd> &fds, int client) {
    const auto argv = request.at("argv").get<std::vector<std::string>>();
    if (argv.empty()) throw std::runtime_error("exec needs a command");
    if (fds.size() != 3) return run_with_own_stdio(host, argv, request.value("stdin", ""), client);
    const std::vector<int> stdio{fds[0].get(), fds[1].get(), fds[2].get()};
    return {{"status", host.execute(argv, stdio, client)}};
}

json run_attr(ControlHost &host, const json &request) {
    const std::string path = request.at("path");
    if (!host.tree().find(path)) throw std::runtime_error("no such attribute: " + path);
    if (request.contains("value")) host.tree().set(path, request["value"]);
    return {{"value", host.tree().get(path).value_or("")}};
}

json run_fault(ControlHost &host, const json &request) {
    const std::string path = request.at("path"), text = request.at("fault");
    const std::optional<Fault> fault = parse_fault(text);
    if (!fault) throw std::runtime_error("a fault is eio, stale, delay=MS or none, not '" + text + "'");
    if (!host.tree().set_fault(path, *fault)) throw std::runtime_error("no such attribute: " + path);
    host.watchers().attribute_changed(path);
    return json::object();
}

json run_bridge(ControlHost &host, const json &request) {
    const json port = request.value("port", json(0));
    if (!port.is_number_integer() || port < 0 || port > 65535) throw std::runtime_error("a port is 1 to 65535, or 0 for a free one");
    return {{"port", host.bridge(port.get<uint16_t>())}};
}

json run_writes(ControlHost &host) {
    json writes = json::array();
    for (const Tree::Written &written : host.tree().journal()) writes.push_back({written.path, written.value});
    return {{"writes", writes}, {"total", host.tree().written()}};
}

json answer(ControlHost &host, const std::string &line, const std::vector<Fd> &fds, int client) {
    const json request = json::parse(line);
    const std::string op = request.at("op");
    if (op == "status") return host.status();
    if (op == "attr") return run_attr(host, request);
    if (op == "fault") return run_fault(host, request);
    if (op == "battery") return run_battery(host.battery(), host.tree(), request);
    if (op == "radio") return run_radio(host.modem(), request);
    if (op == "adb") return run_bridge(host, request);
    if (op == "writes") return run_writes(host);
    if (op == "fit" || op == "sensor" || op == "camera") {
        json now = host.hardware(request);
        if (request.size() > 1) host.watchers().hardware_changed();
        return now;
    }
    if (op == "storage") return host.storage(request);
    if (op == "exec") return run_exec(host, request, fds, client);
    if (op != "stop" && op != "reboot" && op != "boot") throw std::runtime_error("unknown request '" + op + "'");
    host.order(op == "stop" ? Order::stop : op == "reboot" ? Order::reboot : Order::boot);
    return json::object();
}

void serve_client(ControlHost &host, const Fd &client) {
    std::string line;
    std::vector<Fd> fds;
    if (!read_request(client.get(), line, fds)) return;
    json reply;
    try {
        if (json::parse(line).value("op", "") == "watch") return host.watchers().serve(host, client.get());
        reply = answer(host, line, fds, client.get());
        reply["ok"] = true;
    } catch (const std::exception &error) {
        reply = {{"ok", false}, {"error", error.what()}};
    }
    // Output of a command may hold any bytes; JSON carries text.
    const std::string text = reply.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    for (size_t sent = 0; sent < text.size();) {
        const ssize_t n = send(client.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        sent += static_cast<size_t>(n);
    }
}
} // namespace

ControlServer::ControlServer(ControlHost &host, const std::string &path)
    : host_(host), listener_(listen_unix(path, 64)) {
    if (!listener_) throw std::runtime_error("control socket " + path + ": " + strerror(errno));
    acceptor_ = std::thread([this] { accept_loop(); });
}

ControlServer::~ControlServer() {
    // Clients are served by threads that end with the process; it leaves by _exit.
    acceptor_.detach();
}

void ControlServer::accept_loop() {
    for (;;) {
        const int client = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0 && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (client < 0) {
            poll(nullptr, 0, 100); // out of descriptors: some client will leave
            continue;
        }
        std::thread([this, fd = Fd(client)] { serve_client(host_, fd); }).detach();
    }
}

} // namespace vh
