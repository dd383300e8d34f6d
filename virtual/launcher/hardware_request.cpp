#include "launcher/hardware_request.h"

#include "picture/picture.h"

#include <filesystem>
#include <unistd.h>

namespace vh {

using nlohmann::json;
namespace fs = std::filesystem;

namespace {
json fit(Hardware &hardware, const json &request) {
    const auto names = request.value("parts", std::vector<std::string>());
    for (const std::string &name : names) hardware_part(name);
    for (const std::string &name : names) hardware.fit(name, request.at("fitted"));
    json parts = json::array();
    for (const Part &part : hardware_parts())
        parts.push_back({{"name", part.name}, {"what", part.what}, {"fitted", hardware.fitted(part.name)}});
    return {{"parts", parts}};
}

json sense(Hardware &hardware, const json &request) {
    if (request.contains("name")) hardware.stimulate(request.at("name"), request.at("values"));
    json sensors = json::array();
    for (const Hardware::Stimulus &s : hardware.stimuli())
        sensors.push_back({{"name", s.name}, {"values", s.values}, {"unit", s.unit}, {"fitted", s.fitted}});
    return {{"sensors", sensors}};
}
} // namespace

json run_hardware(Hardware &hardware, const json &request) {
    const std::string op = request.at("op");
    return op == "fit" ? fit(hardware, request) : op == "sensor" ? sense(hardware, request) : json::object();
}

void show_device_names(const Fd &dev, const Hardware &hardware) {
    for (const DeviceName &device : DEVICE_NAMES)
        if (!hardware.fitted(device.part)) unlinkat(dev.get(), device.name, 0);
        else symlinkat(device.leads_to, dev.get(), device.name); // or it is there
}

void show_cameras(const StatePaths &paths, const Hardware &hardware) {
    for (int number = 0; number < static_cast<int>(std::size(CAMERAS)); ++number) {
        const std::string picture = paths.camera(CAMERAS[number]);
        const std::string shown = paths.shown_cameras() + "/video" + std::to_string(number);
        if (!fs::exists(picture)) {
            write_test_picture(picture + ".new", number);
            fs::rename(picture + ".new", picture);
        }
        if (hardware.fitted(std::string("camera-") + CAMERAS[number])) {
            fs::copy_file(picture, shown + ".new", fs::copy_options::overwrite_existing);
            fs::rename(shown + ".new", shown); // who looks sees the old picture or the new one
        } else {
            fs::remove(shown);
        }
    }
}

} // namespace vh
