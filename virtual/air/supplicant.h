// A model of the program that joins networks for the handset, on its real control protocol: one datagram a command, one a reply.
#pragma once

#include "air/conditions.h"
#include "common/fd.h"

#include <map>
#include <string>

class SupplicantModel {
public:
    static constexpr const char *FOLDER = "/data/misc/wifi/sockets", *SOCKET = "/data/misc/wifi/sockets/wlan0";

    // Takes the socket's name over. Throws std::runtime_error.
    SupplicantModel();
    int fd() const { return socket_.get(); }
    // Another air: the link follows.
    void breathe(const vh::AirConditions &air);
    void serve_one();

private:
    struct Network {
        std::string ssid, psk, key_mgmt = "WPA-PSK WPA-EAP";
        bool enabled = false;
    };
    std::string reply_to(const std::string &command);
    std::string set_network(const std::string &arguments);
    std::string with_network(const std::string &verb, const std::string &id);
    std::string status() const;
    std::string signal() const;
    const Network *heard() const;
    bool fits(const Network &network) const;
    void settle();

    vh::Fd socket_;
    vh::AirConditions air_;
    std::map<int, Network> networks_;
    int next_id_ = 0;
    bool wants_link_ = false; // not after DISCONNECT
    const Network *joined_ = nullptr;
    int shown_up_ = -1; // wlan0 as it was set last
};
