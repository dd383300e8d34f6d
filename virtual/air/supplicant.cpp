#include "air/supplicant.h"

#include "air/interface.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
constexpr const char *BSSID = "02:76:78:6f:61:70";
constexpr int FREQUENCY = 2437;

// A value in quotes without them, or nothing.
bool unquote(const std::string &value, std::string &out) {
    if (value.size() < 2 || value.front() != '"' || value.back() != '"') return false;
    out = value.substr(1, value.size() - 2);
    return true;
}
} // namespace

SupplicantModel::SupplicantModel() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(FOLDER);
    unlink(SOCKET);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, SOCKET);
    if (bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error(std::string(SOCKET) + ": " + strerror(errno));
}

void SupplicantModel::breathe(const vh::AirConditions &air) {
    air_ = air;
    settle();
}

void SupplicantModel::serve_one() {
    std::array<char, 4096> bytes;
    sockaddr_un client{};
    socklen_t length = sizeof client;
    const ssize_t n = recvfrom(fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&client), &length);
    if (n < 0) return;
    const std::string command(bytes.data(), static_cast<size_t>(n));
    std::string reply = reply_to(command);
    for (const auto &[begin, answer] : air_.answers)
        if (command.starts_with(begin)) reply = answer == "silence" ? "" : answer + "\n";
    if (!reply.empty()) sendto(fd(), reply.data(), reply.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&client), length);
}

std::string SupplicantModel::reply_to(const std::string &command) {
    const size_t blank = command.find(' ');
    const std::string verb = command.substr(0, blank), rest = blank == std::string::npos ? "" : command.substr(blank + 1);
    std::string reply = "OK\n";
    if (verb == "PING") return "PONG\n";
    if (verb == "STATUS") return status();
    if (verb == "SIGNAL_POLL") return signal();
    if (verb == "ATTACH" || verb == "DETACH") return reply;
    if (verb == "ADD_NETWORK") {
        networks_[next_id_] = {};
        return std::to_string(next_id_++) + "\n";
    }
    if (verb == "SET_NETWORK") reply = set_network(rest);
    else if (verb == "RECONNECT" || verb == "REASSOCIATE") wants_link_ = true;
    else if (verb == "DISCONNECT") wants_link_ = false;
    else if (verb.ends_with("_NETWORK")) reply = with_network(verb, rest);
    else return "UNKNOWN COMMAND\n";
    settle();
    return reply;
}

std::string SupplicantModel::set_network(const std::string &arguments) {
    const size_t first = arguments.find(' '), second = arguments.find(' ', first + 1);
    if (first == std::string::npos || second == std::string::npos) return "FAIL\n";
    const auto network = networks_.find(atoi(arguments.c_str()));
    if (network == networks_.end()) return "FAIL\n";
    const std::string name = arguments.substr(first + 1, second - first - 1), value = arguments.substr(second + 1);
    std::string text;
    if (name == "ssid" && unquote(value, text) && text.size() <= 32) network->second.ssid = text;
    else if (name == "psk" && unquote(value, text) && text.size() >= 8 && text.size() <= 63) network->second.psk = text;
    else if (name == "key_mgmt" && (value == "NONE" || value == "WPA-PSK")) network->second.key_mgmt = value;
    else return "FAIL\n";
    return "OK\n";
}

std::string SupplicantModel::with_network(const std::string &verb, const std::string &id) {
    const auto network = networks_.find(atoi(id.c_str()));
    if (network == networks_.end()) return "FAIL\n";
    if (verb == "REMOVE_NETWORK") {
        networks_.erase(network);
    } else if (verb == "SELECT_NETWORK") {
        for (auto &[number, other] : networks_) other.enabled = number == network->first;
        wants_link_ = true;
    } else if (verb == "ENABLE_NETWORK" || verb == "DISABLE_NETWORK") {
        network->second.enabled = verb[0] == 'E';
    } else {
        return "UNKNOWN COMMAND\n";
    }
    return "OK\n";
}

// The enabled network whose name is in the air.
const SupplicantModel::Network *SupplicantModel::heard() const {
    for (const auto &[id, network] : networks_)
        if (air_.up && wants_link_ && network.enabled && network.ssid == air_.ssid) return &network;
    return nullptr;
}

bool SupplicantModel::fits(const Network &network) const {
    return air_.psk.empty() ? network.key_mgmt == "NONE" : network.key_mgmt == "WPA-PSK" && network.psk == air_.psk;
}

// There is a link while network and air fit each other.
void SupplicantModel::settle() {
    const Network *network = heard();
    joined_ = network && fits(*network) ? network : nullptr;
    const int up = joined_ ? 1 : 0;
    if (up != shown_up_) set_interface_up(WLAN, joined_ != nullptr);
    shown_up_ = up;
}

std::string SupplicantModel::status() const {
    std::string text;
    if (joined_) {
        text = "bssid=" + std::string(BSSID) + "\nfreq=" + std::to_string(FREQUENCY) + "\nssid=" + joined_->ssid +
               "\nid=0\nmode=station\nkey_mgmt=" + joined_->key_mgmt + "\nwpa_state=COMPLETED\n";
    } else {
        text = std::string("wpa_state=") + (heard() ? "4WAY_HANDSHAKE" : wants_link_ ? "SCANNING" : "DISCONNECTED") + "\n";
    }
    if (const std::string address = interface_address(WLAN); !address.empty()) text += "ip_address=" + address + "\n";
    return text;
}

std::string SupplicantModel::signal() const {
    if (!joined_) return "FAIL\n";
    return "RSSI=" + std::to_string(air_.signal) + "\nLINKSPEED=72\nNOISE=-95\nFREQUENCY=" + std::to_string(FREQUENCY) + "\n";
}
