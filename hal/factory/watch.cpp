#include <factory/watch.h>

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <tp_clock.h>

namespace factory {

static constexpr int64_t AFTER_IDLE_NOTICE_NS = 100000000; // a driver may notify for nothing

Attributes::Attributes(std::vector<std::string> paths, int64_t look_ns)
    : m_paths(std::move(paths)), m_fds(m_paths.size()), m_texts(m_paths.size()), m_look_ns(look_ns) {}

std::span<const AttributeText> Attributes::read() {
    std::array<char, 256> text;
    for (size_t i = 0; i < m_paths.size(); ++i) {
        if (!m_fds[i].valid()) m_fds[i] = hal::open_file(m_paths[i].c_str(), O_RDONLY);
        m_texts[i] = m_fds[i].valid() ? hal::read_attribute(m_fds[i].get(), text) : std::nullopt;
        if (!m_texts[i]) m_fds[i].reset(); // a part that comes back is found again by name
    }
    return m_texts;
}

bool Attributes::wait(hal::Event &stop, bool changed) {
    if (m_noticed && !changed && stop.wait(AFTER_IDLE_NOTICE_NS)) return false;
    std::vector<pollfd> set{{stop.fd(), POLLIN, 0}};
    for (const hal::UniqueFd &fd : m_fds) set.push_back({fd.get(), POLLPRI, 0});
    m_noticed = tp_clock_poll(set.data(), set.size(), m_look_ns) > 0;
    return !stop.wait(0);
}

} // namespace factory
