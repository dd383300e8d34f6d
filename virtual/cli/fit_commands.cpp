// What is fitted to the handset, what its sensors feel, what its cameras see.
#include "cli/cli.h"

#include "kernel/hardware_parts.h"
#include "launcher/launcher.h"
#include "picture/picture.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace cli {

namespace {
using nlohmann::json;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

void require(const vh::Client &handset) {
    if (!handset.exists())
        throw vh::ClientError("no handset '" + handset.name() + "'; boot one: ./handset boot -n " + handset.name());
}

// Of one that is stopped: what it will be booted with.
Words keep_unfit(const vh::Client &handset, const Words &parts, bool fitted) {
    for (const std::string &part : parts) vh::hardware_part(part);
    vh::BootOptions options = vh::load_options(handset.paths());
    for (const std::string &part : parts) {
        std::erase(options.unfit, part);
        if (!fitted) options.unfit.push_back(part);
    }
    if (!parts.empty()) vh::save_options(handset.paths(), options);
    return options.unfit;
}

int fit(const vh::Client &handset, const Words &parts, bool fitted) {
    require(handset);
    Words unfit;
    if (handset.answers()) {
        json request = {{"op", "fit"}};
        if (!parts.empty()) request.update({{"parts", parts}, {"fitted", fitted}});
        const json answer = handset.request(request);
        for (const json &part : answer.at("parts"))
            if (!part.at("fitted").get<bool>()) unfit.push_back(part.at("name"));
    } else {
        unfit = keep_unfit(handset, parts, fitted);
    }
    if (!parts.empty()) return 0;
    for (const vh::Part &part : vh::hardware_parts()) {
        const bool away = std::find(unfit.begin(), unfit.end(), part.name) != unfit.end();
        printf("%-15s %-11s %s\n", part.name, away ? "not fitted" : "fitted", part.what);
    }
    return 0;
}

int sense(const vh::Client &handset, const Words &words) {
    json request = {{"op", "sensor"}};
    if (words.size() > 1) request.update({{"name", words[0]}, {"values", Words(words.begin() + 1, words.end())}});
    const json sensors = handset.request(request).at("sensors");
    if (words.size() > 1) return 0;
    bool found = words.empty();
    std::string names;
    for (const json &sensor : sensors) {
        const std::string name = sensor.at("name"), values = sensor.at("values"), unit = sensor.at("unit");
        names += (names.empty() ? "" : ", ") + name;
        if (!words.empty() && words[0] != name) continue;
        found = true;
        printf("%-15s %-22s %s%s\n", name.c_str(), values.c_str(), unit.c_str(), sensor.at("fitted") ? "" : " (not fitted)");
    }
    if (!found) throw vh::ClientError("no sensor '" + words[0] + "'; one of: " + names);
    return 0;
}

int see(const vh::Client &handset, const std::string &camera, const std::string &picture) {
    require(handset);
    const std::string kept = handset.paths().camera(camera);
    if (picture.empty()) {
        std::cout << (fs::exists(kept) ? vh::check_png(kept) : "test picture, from the next boot on") << "\n";
        return 0;
    }
    if (picture == "default") {
        fs::remove(kept);
    } else {
        vh::check_png(picture);
        fs::create_directories(handset.paths().cameras());
        fs::copy_file(picture, kept + ".new", fs::copy_options::overwrite_existing);
        fs::rename(kept + ".new", kept);
    }
    if (handset.answers()) handset.request({{"op", "camera"}});
    return 0;
}

void add_fit(CLI::App &app, int *status, bool fitted) {
    auto parts = std::make_shared<Words>();
    const std::string what = fitted ? "fit parts to the handset; without a part: which there are" : "take parts away";
    CLI::App *sub = command(app, fitted ? "fit" : "unfit", what, status,
                            [=](const vh::Client &handset) { return fit(handset, *parts, fitted); });
    sub->add_option("part", *parts, "names as in the list")->required(!fitted);
    sub->footer("It works while the handset runs, too, and lasts until it is wiped.\n"
                "Examples:\n  ./handset fit\n  ./handset unfit camera-aux light\n  ./handset boot --unfit nfc,fm");
}

void add_sensor(CLI::App &app, int *status) {
    auto words = std::make_shared<Words>();
    CLI::App *sensor = command(app, "sensor", "what a sensor feels, what is in a slot; without a value: what it is now",
                               status, [=](const vh::Client &handset) { return sense(handset, *words); });
    sensor->add_option("name", *words, "a sensor, then its value or values; nothing lists all, with their units")
        ->type_name("NAME VALUE...");
    sensor->footer("What is set lasts until the handset is stopped.\n"
                   "Examples:\n  ./handset sensor accelerometer 0 9.8 0\n  ./handset sensor hall 1\n"
                   "  ./handset sensor nfc 04A1B2C3\n  ./handset sensor sim1 none\n  ./handset sensor forcetouch 250");
}

void add_camera(CLI::App &app, int *status) {
    struct Args {
        std::string camera, picture;
    };
    auto args = std::make_shared<Args>();
    CLI::App *camera = command(app, "camera", "what a camera sees; without a picture: how large it is", status,
                               [=](const vh::Client &handset) { return see(handset, args->camera, args->picture); });
    camera->add_option("camera", args->camera, "back, aux (the second one on the back), front")
        ->required()
        ->check(CLI::IsMember({"back", "aux", "front"}));
    camera->add_option("picture", args->picture, "a PNG file, or default: bars of colour");
    camera->footer("A picture lasts until the handset is wiped.\nExample: ./handset camera back photo.png");
}
} // namespace

void add_fitting(CLI::App &app, int *status) {
    for (const bool fitted : {true, false}) add_fit(app, status, fitted);
    add_sensor(app, status);
    add_camera(app, status);
}

} // namespace cli
