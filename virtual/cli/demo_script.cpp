#include "cli/demo_script.h"

#include "client/client.h"

#include <fstream>

namespace cli {

namespace {
using Domain = std::map<std::string, std::string>;

const DemoItem ALL_ITEMS[] = { // in the order in which a run walks them
    {"TKI_LCD", "title_LCDTest", 280},          {"TKI_ALLLIGHT", "menu_AllLightTest", 284},
    {"TKI_AUDIO_LOOPBACK", "title_LoopBackTest", 300}, {"TKI_RINGTONE", "menu_RingTest", 296},
    {"TKI_CALLTEST", "title_CallTest", 298},    {"TKI_VIBRATOR", "menu_VibratorTest", 316},
    {"TKI_BATTERY", "title_BatteryCheck", 344}, {"TKI_KEYS", "title_KeyTest", 312},
    {"TKI_TPSELF", "title_TPSelfTest", -1},     {"TKI_TOUCH", "menu_TouchTest", 320},
    {"TKI_SENSOR", "menu_AllSensorTest", 328},  {"TKI_SIMCARD", "title_SimCardTest", 324},
    {"TKI_SMARTPACAL", "menu_ItemTest_SmartPACal", 300},
};

std::map<std::string, Domain> read_domains(const std::string &path) {
    std::ifstream file(path);
    if (!file) throw vh::ClientError("cannot read " + path);
    std::map<std::string, Domain> domains;
    std::string line, current;
    while (std::getline(file, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const size_t equals = line.find('=');
        if (line.starts_with('[')) current = line.substr(1, line.find(']') - 1);
        else if (!line.starts_with('#') && equals != std::string::npos)
            domains[current].emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    return domains;
}

std::string value_of(const Domain &domain, const std::string &key, const std::string &otherwise) {
    const auto found = domain.find(key);
    return found == domain.end() || found->second.empty() ? otherwise : found->second;
}
} // namespace

DemoScript::DemoScript(const std::string &config_file, const std::string &language_file) {
    std::map<std::string, Domain> config = read_domains(config_file);
    for (const DemoItem &item : ALL_ITEMS) {
        const Domain &domain = config[item.domain];
        if (value_of(domain, "enable", "0") == "1" && value_of(domain, "auto", "1") == "1") items_.push_back(item);
    }
    texts_ = read_domains(language_file)[value_of(config["MMI"], "Language", "Chinese")];
}

std::string DemoScript::text(const std::string &language_key) const {
    const auto found = texts_.find(language_key);
    return found == texts_.end() ? language_key : found->second;
}

} // namespace cli
