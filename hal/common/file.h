// Descriptors with an owner, and the short reads and writes of kernel attributes and partitions.
// Every function restarts after a signal: the runtime ends its threads' waits with SIGUSR1, and a byte of a
// verdict must not be lost to that.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace hal {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        if (this != &other) reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }
    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    // Closes what is held and takes fd. Leaves errno alone, so that a reason survives the clean-up.
    void reset(int fd = -1);

private:
    int m_fd = -1;
};

// open with O_CLOEXEC and O_NOCTTY. Invalid with errno on failure.
UniqueFd open_file(const char *path, int flags, mode_t mode = 0);
// Reads from offset until the buffer is full or the end; the bytes read, or -1 with errno.
ssize_t read_at(int fd, std::span<char> buffer, off_t offset);
// Writes all of data at the current position; false with errno.
[[nodiscard]] bool write_all(int fd, std::string_view data);

// Text of an open kernel attribute without the white space at its end, in one read: a second one would give the rest of
// the next value. Nothing with errno on failure.
std::optional<std::string_view> read_attribute(int fd, std::span<char> buffer);
// The same of a whole one, at most one page.
std::optional<std::string> read_attribute(const char *path);
// Writes one value in one write, as drivers want it; false with errno.
[[nodiscard]] bool write_attribute(const char *path, std::string_view value);

// What a folder holds, by name; nothing when there is no such folder.
std::vector<std::string> folder_names(const char *path);

std::string_view trim_end(std::string_view text);
// The whole text as a decimal number that fits; nothing otherwise.
std::optional<int> parse_int(std::string_view text);
std::optional<int64_t> parse_int64(std::string_view text);

} // namespace hal
