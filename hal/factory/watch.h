// Attributes that are watched: what they mean is told at first and whenever it has changed.
#pragma once

#include <common/callback_thread.h>
#include <common/file.h>
#include <span>

namespace factory {

constexpr int64_t WATCH_LOOK_NS = 500000000; // a driver may change an attribute without a notice

using AttributeText = std::optional<std::string>; // nothing: cannot be read

// They stay open, so that a driver's notice (POLLPRI) is seen.
class Attributes {
public:
    Attributes(std::vector<std::string> paths, int64_t look_ns = WATCH_LOOK_NS);
    // In the order of the paths.
    std::span<const AttributeText> read();
    // Until a notice or until it is time to look; false when stopped. changed: what was read last was new.
    bool wait(hal::Event &stop, bool changed);

private:
    std::vector<std::string> m_paths;
    std::vector<hal::UniqueFd> m_fds;
    std::vector<AttributeText> m_texts;
    int64_t m_look_ns;
    bool m_noticed = false;
};

// The body of a run. look(texts) gives the events that hold now, always as many, or none while nothing is known.
template <typename Event, typename Look>
void watch(hal::CallbackThread::Run &run, tki_callback cb, int type, Attributes attributes, Look look) {
    std::vector<Event> told;
    bool changed = false;
    do {
        const std::vector<Event> now = look(attributes.read());
        changed = false;
        for (size_t i = 0; i < now.size(); ++i) {
            if (i < told.size() && told[i] == now[i]) continue;
            changed = true;
            if (!run.tell(cb, type, 0, &now[i])) return;
        }
        if (!now.empty()) told = now;
    } while (attributes.wait(run.stop, changed));
}

} // namespace factory
