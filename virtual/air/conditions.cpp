#include "air/conditions.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace vh {

AirConditions read_air(const std::string &path) {
    AirConditions air;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        const std::string key = line.substr(0, equals), value = line.substr(equals + 1);
        if (key == "ssid") air.ssid = value;
        else if (key == "psk") air.psk = value;
        else if (key == "signal") air.signal = atoi(value.c_str());
        else if (key == "dhcp") air.dhcp = value;
        else if (key == "up") air.up = value != "0";
        else if (key == "supplicant") air.supplicant = value;
        else if (key == "answer")
            if (const size_t bar = value.find('|'); bar != std::string::npos)
                air.answers.emplace_back(value.substr(0, bar), value.substr(bar + 1));
    }
    return air;
}

void write_air(const std::string &path, const AirConditions &air) {
    const std::string half = path + ".new";
    std::ofstream file(half, std::ios::trunc);
    file << "ssid=" << air.ssid << "\npsk=" << air.psk << "\nsignal=" << air.signal << "\ndhcp=" << air.dhcp
         << "\nup=" << (air.up ? 1 : 0) << "\nsupplicant=" << air.supplicant << "\n";
    for (const auto &[command, reply] : air.answers) file << "answer=" << command << "|" << reply << "\n";
    file.close();
    if (!file || rename(half.c_str(), path.c_str()) != 0) throw std::runtime_error("cannot write " + path);
}

} // namespace vh
