// What the page may ask about a handset and have done to it. Blocks as long as the handset takes to answer; any thread.
#pragma once

#include "client/client.h"

#include <functional>
#include <set>

namespace vh::console {

// A request to the launcher, of the kinds that a page may send. The answer has "ok", and "error" when it is false.
nlohmann::json launcher_request(const Client &handset, const nlohmann::json &request);

// A PC's command. `answered` gets {status, reply, ms} at once, the result what the command changed on the handset: {writes [[path,
// value] ...], flags [[station, before, after] ...], frames, before, after} (the texts in front).
nlohmann::json pc_command(const Client &handset, const std::string &text, const std::function<void(const nlohmann::json &)> &answered);

nlohmann::json set_station(const Client &handset, const nlohmann::json &request); // {station, value}

// A PNG picture of the screen. Throws ClientError.
std::string screenshot(const Client &handset);
// The page about its last aging run, HTML. Throws ClientError.
std::string aging_report(const Client &handset);

// What one page holds down on a handset.
class Fingers {
public:
    explicit Fingers(const std::string &handset) : client_(handset) {}
    // {op: "touch", x, y}, {op: "lift"} or {op: "key", key, down}. Throws ClientError.
    void act(const nlohmann::json &message);
    void release_all() noexcept;

private:
    Client client_;
    bool down_ = false;
    std::set<int> keys_;
};

} // namespace vh::console
