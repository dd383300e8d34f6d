// One PC on the command channel: cuts its bytes into command lines and keeps the answers that it has not taken yet.
#pragma once

#include <array>
#include <common/file.h>
#include <string>
#include <string_view>
#include <vxo_vcoredevice.h>

namespace coredevice {

// Cuts a byte stream into lines. Knows nothing of sockets.
class LineCutter {
public:
    // CR and LF come on top of the longest command.
    static constexpr size_t LINE_ROOM = VXO_AT_LINE_MAX + 2;
    enum class Kind { none, command, empty, too_long, malformed };
    struct Line {
        Kind kind = Kind::none;
        char *text = nullptr; // of a command: zero-terminated, valid until room() is called
    };
    // Where the next bytes go; never empty once no whole line is left.
    std::span<char> room();
    void filled(size_t count);
    bool has_line() const { return m_line_end != 0; }
    Line take();

private:
    void find_line();

    std::array<char, 4096> m_bytes;
    size_t m_begin = 0, m_end = 0;
    size_t m_searched = 0; // no line feed before this
    size_t m_line_end = 0; // behind the line feed of the first whole line; 0 when there is none
    bool m_skipping = false;
};

class AtClient {
public:
    static constexpr size_t UNSENT_MAX = 64 * 1024;
    enum class Read { data, nothing, end, broken };

    explicit AtClient(hal::UniqueFd socket) : m_socket(std::move(socket)) {}
    int fd() const { return m_socket.get(); }
    Read read();
    bool has_line() const { return m_lines.has_line(); }
    LineCutter::Line take_line() { return m_lines.take(); }

    // Sends what the socket takes at once and keeps the rest. False: the client is gone or does not read.
    [[nodiscard]] bool send(std::string_view answer);
    [[nodiscard]] bool flush();
    bool has_unsent() const { return m_sent < m_unsent.size(); }

    bool ended = false;     // sends no more commands
    bool remote = false;    // came over another network than the loopback one
    bool authorised = true; // may give commands
    int tries = 0;          // at becoming so
    bool queued = false;    // waits for its turn
    uint32_t interest = 0;  // events asked of the kernel

private:
    // The bytes that went out, or -1 when the client is gone.
    ssize_t send_some(std::string_view bytes) const;

    hal::UniqueFd m_socket;
    LineCutter m_lines;
    std::string m_unsent;
    size_t m_sent = 0;
};

} // namespace coredevice
