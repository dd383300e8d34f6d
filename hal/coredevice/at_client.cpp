#include <cerrno>
#include <coredevice/at_client.h>
#include <cstring>
#include <sys/socket.h>

namespace coredevice {

std::span<char> LineCutter::room() {
    if (m_begin == m_end) {
        m_begin = m_end = m_searched = 0;
    } else if (m_bytes.size() - m_end < LINE_ROOM && m_begin > 0 && !has_line()) {
        memmove(m_bytes.data(), m_bytes.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_searched -= m_begin;
        m_begin = 0;
    }
    return std::span(m_bytes).subspan(m_end);
}

void LineCutter::filled(size_t count) {
    m_end += count;
    find_line();
}

void LineCutter::find_line() {
    m_line_end = 0;
    const void *feed = memchr(m_bytes.data() + m_searched, '\n', m_end - m_searched);
    if (feed) {
        m_searched = m_line_end = static_cast<size_t>(static_cast<const char *>(feed) - m_bytes.data()) + 1;
        return;
    }
    m_searched = m_end;
    // Too long already without its line feed: forget the bytes, so that the end of the line always has room.
    if (m_skipping || m_end - m_begin >= LINE_ROOM) {
        m_skipping = true;
        m_begin = m_end = m_searched = 0;
    }
}

LineCutter::Line LineCutter::take() {
    if (!has_line()) return {};
    char *text = m_bytes.data() + m_begin;
    char *end = m_bytes.data() + m_line_end - 1;
    if (end > text && end[-1] == '\r') --end;
    const bool skipped = std::exchange(m_skipping, false);
    m_begin = m_line_end;
    find_line();
    const size_t length = static_cast<size_t>(end - text);
    if (skipped || length > VXO_AT_LINE_MAX) return {Kind::too_long};
    if (length == 0) return {Kind::empty};
    if (memchr(text, '\0', length)) return {Kind::malformed};
    *end = '\0';
    return {Kind::command, text};
}

AtClient::Read AtClient::read() {
    const std::span<char> room = m_lines.room();
    ssize_t n = -1;
    do {
        n = recv(fd(), room.data(), room.size(), MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n > 0) {
        m_lines.filled(static_cast<size_t>(n));
        return Read::data;
    }
    if (n == 0) return Read::end;
    return errno == EAGAIN || errno == EWOULDBLOCK ? Read::nothing : Read::broken;
}

ssize_t AtClient::send_some(std::string_view bytes) const {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd(), bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) sent += static_cast<size_t>(n);
        else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        else if (n < 0 && errno != EINTR) return -1;
    }
    return static_cast<ssize_t>(sent);
}

bool AtClient::send(std::string_view answer) {
    if (!has_unsent()) {
        const ssize_t n = send_some(answer);
        if (n < 0) return false;
        answer.remove_prefix(static_cast<size_t>(n));
        if (answer.empty()) return true;
    }
    m_unsent.erase(0, std::exchange(m_sent, 0));
    m_unsent += answer;
    return m_unsent.size() <= UNSENT_MAX;
}

bool AtClient::flush() {
    const ssize_t n = send_some(std::string_view(m_unsent).substr(m_sent));
    if (n < 0) return false;
    m_sent += static_cast<size_t>(n);
    if (!has_unsent()) {
        m_unsent.clear();
        m_sent = 0;
    }
    return true;
}

} // namespace coredevice
