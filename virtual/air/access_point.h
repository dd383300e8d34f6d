// The access point: a network namespace of its own, whose end ap0 of a wire leads to the handset's wlan0, with a DHCP server.
#pragma once

#include "air/conditions.h"

#include <string>
#include <sys/types.h>

class AccessPoint {
public:
    static constexpr const char *ADDRESS = "192.168.1.1";
    // Takes up its end, which is there already. In the access point's namespace.
    AccessPoint();
    void follow(const vh::AirConditions &air);

private:
    void serve_addresses(const std::string &mode);

    std::string mode_ = "off";
    pid_t server_ = -1;
};
