#include "scenario/handset.h"

#include "client/tool.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace {
namespace fs = std::filesystem;
constexpr auto LOOK_EVERY = std::chrono::milliseconds(20);

std::string environment(const char *name, const std::string &otherwise) {
    const char *value = getenv(name);
    return value && *value ? value : otherwise;
}
std::string build_folder() { return environment("VXO_BUILD", source_folder() + "/build/release"); }

// The sanitizers of an instrumented program leave their reports beside the log, where they outlive restarts and reboots.
constexpr char REPORT[] = "sanitizer";
const std::vector<std::string> REPORT_OPTIONS{
    "--env", "TSAN_OPTIONS=log_path=/dev/__vxo_log/sanitizer:second_deadlock_stack=1:exitcode=66",
    "--env", "ASAN_OPTIONS=log_path=/dev/__vxo_log/sanitizer:detect_leaks=0:exitcode=66",
    "--env", "UBSAN_OPTIONS=log_path=/dev/__vxo_log/sanitizer:print_stacktrace=1:exitcode=66"};

// Items that a test has to enable when it wants them in its lists and runs.
constexpr const char *FURTHER_ITEMS[] = {"TKI_ALLLIGHT", "TKI_AUDIO_LOOPBACK", "TKI_RINGTONE", "TKI_CALLTEST", "TKI_BATTERY",
                                         "TKI_TPSELF", "TKI_TOUCH", "TKI_SENSOR", "TKI_SIMCARD", "TKI_SMARTPACAL"};

// The main configuration with three items and some lines changed.
std::string changed_config(std::vector<Setting> settings) {
    std::ifstream file(source_folder() + "/virtual/rootfs/tki_config.ini");
    std::string line, section, out;
    for (const char *item : FURTHER_ITEMS)
        if (std::none_of(settings.begin(), settings.end(), [&](const Setting &s) { return s.section == item && s.key == "enable"; }))
            settings.push_back({item, "enable", "0"});
    std::vector<Setting> left = settings;
    while (std::getline(file, line)) {
        if (line.starts_with('[')) section = line.substr(1, line.find(']') - 1);
        bool drop = false;
        for (const Setting &s : settings) drop = drop || (s.section == section && line.starts_with(s.key + "="));
        if (!drop) out += line + "\n";
        if (!line.starts_with('[')) continue;
        std::erase_if(left, [&](const Setting &s) {
            if (s.section != section) return false;
            if (!s.value.empty()) out += s.key + "=" + s.value + "\n";
            return true;
        });
    }
    for (const Setting &s : left) out += "[" + s.section + "]\n" + s.key + "=" + s.value + "\n";
    return out;
}

int code_of(const std::string &key) {
    const int code = vh::key_code(key);
    if (code < 0) throw std::runtime_error("no key " + key);
    return code;
}
} // namespace

std::string source_folder() { return environment("VXO_SOURCE", fs::current_path().string()); }
std::string program_folder() { return environment("VXO_PROGRAM_BUILD", build_folder()); }

int patient(int limit) {
    static const double factor = std::stod(environment("VXO_TEST_PATIENCE", "1"));
    return static_cast<int>(limit * factor);
}

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::ostream &operator<<(std::ostream &out, Verdict verdict) { return out << vh::verdict_name(static_cast<int>(verdict)); }

Handset::Handset(HandsetOptions options) : client_(vh::fresh_handset_name()) {
    const vh::StatePaths &paths = client_.paths();
    if (options.before_boot) {
        for (const std::string &folder : {paths.data(), paths.cache(), paths.root + "/part"}) fs::create_directories(folder);
        options.before_boot(paths);
    }
    if (options.config_text.empty() && !options.settings.empty()) options.config_text = changed_config(options.settings);
    if (!options.config_text.empty()) {
        options.config = paths.root + ".ini"; // beside the state folder: it goes with the home
        std::ofstream(options.config, std::ios::binary) << options.config_text;
    }
    try {
        boot(options);
    } catch (...) {
        end();
        throw;
    }
}

Handset::~Handset() {
    end();
    std::error_code ignored;
    fs::remove(client_.paths().root + ".ini", ignored);
}

void Handset::end() const {
    vh::run_tool({"stop", "-n", client_.name()});
    std::error_code none; // a handset that never booted
    for (const fs::directory_entry &file : fs::directory_iterator(client_.paths().run() + "/log", none))
        if (file.path().filename().string().starts_with(REPORT)) ADD_FAILURE() << content_of(file.path());
    vh::run_tool({"wipe", "-n", client_.name()});
}

void Handset::boot(const HandsetOptions &options) {
    std::ostringstream speed;
    speed << options.speed;
    std::vector<std::string> args{"boot", "-n", client_.name(), "--headless", "--size", options.size, "--speed", speed.str()};
    const auto add = [&](const char *name, const std::string &value) {
        if (!value.empty()) args.insert(args.end(), {name, value});
    };
    add("--bootmode", options.bootmode);
    add("--storage", options.storage);
    add("--config", options.config);
    add("--language", options.language);
    if (!options.wait_for_menu) args.push_back("--no-wait");
    for (const std::string &prop : options.props) add("--prop", prop);
    args.insert(args.end(), REPORT_OPTIONS.begin(), REPORT_OPTIONS.end());
    const vh::Client::Outcome booted = vh::run_tool(args);
    if (booted.status != 0) throw std::runtime_error("the handset did not boot: " + booted.output + log_tail());
}

vh::Client::Outcome Handset::tool(const std::vector<std::string> &args) const {
    std::vector<std::string> all = args;
    all.insert(all.begin() + 1, {"-n", client_.name()});
    return vh::run_tool(all);
}

void Handset::press(const std::string &key, int hold_ms) { client_.press(code_of(key), hold_ms); }
void Handset::key_down(const std::string &key) { client_.key(code_of(key), true); }
void Handset::key_up(const std::string &key) { client_.key(code_of(key), false); }
void Handset::tap(int x, int y) { client_.tap(x, y); }

void Handset::tap_text(const std::string &utf8) {
    const vh::ScreenView view = wait_for_text(utf8);
    const vh::ScreenText text = *view.find(utf8);
    client_.tap(text.x(), text.y());
}

vh::ScreenView Handset::wait_for(const std::string &what, const std::function<bool(const vh::ScreenView &)> &holds,
                                 int timeout_ms) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patient(timeout_ms));
    std::string seen = "no screen";
    for (;;) {
        try {
            vh::ScreenView view = screen();
            if (holds(view)) return view;
            seen = view.summary();
        } catch (const vh::ClientError &error) { // between two starts of the program
            seen = error.what();
        }
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("waited " + std::to_string(timeout_ms) + " ms for " + what + "; the screen showed " + seen +
                                     log_tail());
        std::this_thread::sleep_for(LOOK_EVERY);
    }
}

vh::ScreenView Handset::wait_for_text(const std::string &utf8, int timeout_ms) const {
    return wait_for("the text \"" + utf8 + "\"", [&](const vh::ScreenView &view) { return view.front_shows(utf8); }, timeout_ms);
}

void Handset::wait_until(const std::string &what, const std::function<bool()> &holds, int timeout_ms) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patient(timeout_ms));
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("waited " + std::to_string(timeout_ms) + " ms for " + what + log_tail());
        std::this_thread::sleep_for(LOOK_EVERY);
    }
}

vh::PcLink::Reply Handset::at(const std::string &command) { return vh::PcLink(client_).at(command); }

void Handset::wait_for_pc() const {
    wait_until("the PC channel", [&] {
        try {
            return vh::PcLink(client_).at("batteryMoudle testItem power").status == 0;
        } catch (const vh::ClientError &) {
            return false;
        }
    });
}

void Handset::wait_for_battery(const std::string &level) const {
    wait_until("the battery's " + level, [&] { return vh::PcLink(client_).at("batteryMoudle testItem power").text == level; }, 30000);
}

std::vector<std::string> Handset::log_lines() const {
    std::ifstream file(client_.paths().log());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

bool Handset::log_contains(const std::string &tag, const std::string &text) const {
    for (const std::string &line : log_lines())
        if (vh::log_line_matches(line, "", tag) && line.find(text) != std::string::npos) return true;
    return false;
}

size_t Handset::log_count(const std::string &text) const {
    size_t count = 0;
    for (const std::string &line : log_lines()) count += line.find(text) != std::string::npos;
    return count;
}

std::string Handset::log_tail() const {
    const std::vector<std::string> lines = log_lines();
    std::string tail = "\nlast log lines:";
    for (size_t i = lines.size() > 8 ? lines.size() - 8 : 0; i < lines.size(); ++i) tail += "\n  " + lines[i];
    return lines.empty() ? "" : tail;
}

void Handset::kill_program() {
    const int before = status().value("program_pid", 0);
    client_.exec({"killall", "-9", "mmi"});
    wait_until("a new start of the program", [&] {
        const int now = status().value("program_pid", 0);
        return now > 0 && now != before;
    });
    wait_for("a screen", [](const vh::ScreenView &view) { return !view.all().empty(); });
}

void Handset::reboot() {
    const int before = status().value("boots", 0);
    client_.request({{"op", "reboot"}});
    wait_until("another boot", [&] {
        const nlohmann::json now = status();
        return now.value("boots", 0) > before && now.value("state", "") == "running";
    });
    wait_for("a screen", [](const vh::ScreenView &view) { return !view.all().empty(); });
}
