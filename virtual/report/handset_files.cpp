#include "report/handset_files.h"

#include <fstream>

namespace report {

namespace {
constexpr int BURN_IN = 176;
constexpr const char *USUAL_FOLDER = "/cache/tki/";

std::string part_text(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
} // namespace

// LogPath of the configuration in force: what the handset has written over its image, else what it was booted with.
std::string log_folder(const vh::Client &handset) {
    for (const std::string &path : {handset.paths().sysrw() + "/upper/etc/tki_config.ini", handset.paths().etc() + "/tki_config.ini"}) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            if (line.ends_with('\r')) line.pop_back();
            if (!line.starts_with("LogPath=") || line.size() < 10) continue;
            return line.substr(8) + (line.ends_with('/') ? "" : "/");
        }
    }
    return USUAL_FOLDER;
}

RunFiles files_of(const vh::Client &handset) {
    const std::string folder = log_folder(handset), aging = folder + "aging/";
    return {.trend = handset.content(aging + "agingtrend.csv"),
            .records = handset.content(aging + "agingtotalresult.txt"),
            .log = handset.content(aging + "agingtotallog.txt"),
            .account = handset.content(folder + "agingrun.txt"),
            .started = handset.content(aging + "agingstarttime.txt"),
            .product = part_text(handset.paths().part("vxoprod")),
            .station = handset.station(BURN_IN),
            .switched_on = handset.answers()};
}

} // namespace report
