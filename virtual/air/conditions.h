// What the access point beside the handset is like. The operator sets it (`handset ap`); it is kept in STATE/air/ap, which is
// seen inside as /dev/__vxo_air/ap, one "key=value" per line.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vh {

struct AirConditions {
    std::string ssid = "DFX_WIFI_TEST", psk = "labwifi456"; // no psk: an open network
    int signal = -48;                                       // dBm
    std::string dhcp = "on";                                // "off"; "link-local": gives addresses of 169.254/16
    bool up = true;
    std::string supplicant = "model"; // or "real": the workstation's, over a wire (open networks only)
    // Replies of the model that stand for all others: commands that begin with the first get the second, nothing for "silence".
    std::vector<std::pair<std::string, std::string>> answers;
};

// A file that is missing, or lines that make no sense, leave what is above.
AirConditions read_air(const std::string &path);
// In one step: a reader sees the old ones or these. Throws std::runtime_error.
void write_air(const std::string &path, const AirConditions &air);

} // namespace vh
