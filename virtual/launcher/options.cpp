#include "launcher/launcher.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vh {

void to_json(nlohmann::json &json, const BootOptions &o) {
    json = {{"name", o.name},           {"size", {o.width, o.height}}, {"config", o.config},     {"language", o.language},
            {"bootmode", o.bootmode},   {"speed", o.speed},            {"headless", o.headless}, {"build_dir", o.build_dir},
            {"program_dir", o.program_dir}, {"rootfs_dir", o.rootfs_dir}, {"storage", o.storage}, {"unfit", o.unfit}, {"once", o.once},
            {"program", o.program},     {"env", o.env},                {"props", o.props}};
}

void from_json(const nlohmann::json &json, BootOptions &o) {
    const BootOptions d;
    o.name = json.value("name", d.name);
    if (json.contains("size")) {
        o.width = json.at("size").at(0);
        o.height = json.at("size").at(1);
    }
    o.config = json.value("config", d.config);
    o.language = json.value("language", d.language);
    o.bootmode = json.value("bootmode", d.bootmode);
    o.speed = json.value("speed", d.speed);
    o.headless = json.value("headless", d.headless);
    o.build_dir = json.value("build_dir", d.build_dir);
    o.program_dir = json.value("program_dir", d.program_dir);
    o.rootfs_dir = json.value("rootfs_dir", d.rootfs_dir);
    o.storage = json.value("storage", d.storage);
    o.unfit = json.value("unfit", d.unfit);
    o.once = json.value("once", d.once);
    o.program = json.value("program", d.program);
    o.env = json.value("env", d.env);
    o.props = json.value("props", d.props);
}

BootOptions load_options(const StatePaths &paths) {
    std::ifstream file(paths.options());
    if (!file) return {};
    const nlohmann::json json = nlohmann::json::parse(file, nullptr, false);
    return json.is_object() ? json.get<BootOptions>() : BootOptions{};
}

void save_options(const StatePaths &paths, const BootOptions &options) {
    const std::string fresh = paths.options() + ".new";
    {
        std::ofstream file(fresh, std::ios::trunc);
        file << nlohmann::json(options).dump(2) << '\n';
        if (!file.flush()) throw std::runtime_error("cannot write " + fresh);
    }
    std::filesystem::rename(fresh, paths.options());
}

} // namespace vh
