#include "console/requests.h"

#include "client/screen_text.h"
#include "report/handset_files.h"
#include "report/page.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vh::console {

using nlohmann::json;

namespace {
constexpr std::array ALLOWED{"status", "reboot", "boot", "stop", "attr", "fault", "battery", "fit", "sensor", "radio", "storage"};
constexpr size_t LONGEST_COMMAND = 1023, SIDE_MAX = 8192;
constexpr std::chrono::milliseconds EFFECT_TIME{150}; // windows open and paint behind the answer
constexpr size_t MOST_WRITES = 60;

json failed(const std::string &why) { return {{"ok", false}, {"error", why}}; }

struct Before {
    size_t written = 0;
    std::array<int, STATION_COUNT> stations{};
    std::string front;
};

std::string front_of(const Client &handset) {
    try {
        const ScreenView view(handset.dump());
        std::string text = view.front_caption();
        for (size_t i = 0; i < std::min<size_t>(view.front().size(), 3); ++i)
            text += (text.empty() ? "" : " · ") + view.front()[i].text;
        return text.empty() && view.front_covers_screen() ? "(full screen)" : text;
    } catch (const std::exception &) { // between two windows, or asleep
        return "";
    }
}

Before look(const Client &handset, json &writes) {
    Before now;
    const json answer = handset.request({{"op", "writes"}});
    now.written = answer.value("total", size_t{0});
    writes = answer.at("writes");
    for (int i = 0; i < STATION_COUNT; ++i) now.stations[static_cast<size_t>(i)] = handset.station(i);
    now.front = front_of(handset);
    return now;
}

json difference(const Before &before, const Before &after, const json &writes) {
    json flags = json::array(), made = json::array();
    for (size_t i = 0; i < before.stations.size(); ++i)
        if (before.stations[i] != after.stations[i]) flags.push_back({i, before.stations[i], after.stations[i]});
    // A boot in between begins the count anew.
    const size_t count = after.written >= before.written ? after.written - before.written : after.written;
    const size_t shown = std::min({count, writes.size(), MOST_WRITES});
    for (size_t i = writes.size() - shown; i < writes.size(); ++i) made.push_back(writes[i]);
    return {{"ok", true}, {"writes", made}, {"more", count - shown}, {"flags", flags}, {"before", before.front}, {"after", after.front}};
}
} // namespace

json launcher_request(const Client &handset, const json &request) {
    try {
        const std::string op = request.is_object() ? request.value("op", "") : "";
        if (std::find(ALLOWED.begin(), ALLOWED.end(), op) == ALLOWED.end()) return failed("the page may not ask for '" + op + "'");
        return handset.request(request);
    } catch (const std::exception &error) { return failed(error.what()); }
}

json pc_command(const Client &handset, const std::string &text, const std::function<void(const json &)> &answered) {
    try {
        if (text.empty() || text.size() > LONGEST_COMMAND || text.find_first_of(std::string("\n\r\0", 3)) != std::string::npos)
            throw ClientError("a command is one line of 1 to 1023 bytes");
        json writes;
        const Before before = look(handset, writes);
        const auto begin = std::chrono::steady_clock::now();
        const PcLink::Reply reply = PcLink(handset).at(text);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        answered({{"ok", true}, {"status", reply.status}, {"reply", reply.text}, {"ms", took.count()}});
        std::this_thread::sleep_for(EFFECT_TIME);
        const Before after = look(handset, writes);
        return difference(before, after, writes);
    } catch (const std::exception &error) { return failed(error.what()); }
}

json set_station(const Client &handset, const json &request) {
    try {
        const int value = request.at("value");
        if (value < 0 || value > 2) throw ClientError("a verdict is 0 (not tested), 1 (pass) or 2 (fail)");
        handset.set_station(request.at("station"), value);
        return {{"ok", true}};
    } catch (const std::exception &error) { return failed(error.what()); }
}

std::string screenshot(const Client &handset) {
    const Fd memory(memfd_create("screenshot", MFD_CLOEXEC));
    if (!memory) throw ClientError(std::string("no memory for a picture: ") + strerror(errno));
    handset.screenshot("/proc/self/fd/" + std::to_string(memory.get()));
    struct stat info {};
    fstat(memory.get(), &info);
    std::string bytes(static_cast<size_t>(info.st_size), '\0');
    if (pread(memory.get(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) throw ClientError("the picture was not read");
    return bytes;
}

std::string aging_report(const Client &handset) {
    const report::AgingRun run = report::understand(report::files_of(handset));
    if (run.empty()) throw ClientError("this handset has no aging run to report; begin one on its screen: Aging, Start aging, Yes");
    return report::page(run, handset.name());
}

void Fingers::act(const json &message) {
    const std::string op = message.value("op", "");
    if (op == "touch") {
        const int x = message.at("x"), y = message.at("y");
        const auto inside = [](int value) { return value >= 0 && value < static_cast<int>(SIDE_MAX); };
        if (!inside(x) || !inside(y)) throw ClientError("a touch lies on the screen");
        client_.touch(x, y);
        down_ = true;
    } else if (op == "lift") {
        if (!std::exchange(down_, false)) return;
        try {
            client_.release();
        } catch (const ClientError &) { // who felt the finger is gone: the next touch is a new one
            client_ = Client(client_.name());
            throw;
        }
    } else {
        const int code = key_code(message.at("key"));
        if (code < 0) throw ClientError("there is no such key");
        const bool down = message.at("down");
        if (!down && keys_.erase(code) == 0) return;
        if (down && !keys_.insert(code).second) return;
        client_.key(code, down);
    }
}

void Fingers::release_all() noexcept {
    try {
        act({{"op", "lift"}});
    } catch (const std::exception &) { // its program is gone, and with it the finger
    }
    for (const int code : std::exchange(keys_, {})) {
        try {
            client_.key(code, false);
        } catch (const std::exception &) {
        }
    }
}

} // namespace vh::console
