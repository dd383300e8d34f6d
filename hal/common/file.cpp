#include <common/file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace hal {

void UniqueFd::reset(int fd) {
    if (m_fd >= 0) {
        const int reason = errno;
        close(m_fd);
        errno = reason;
    }
    m_fd = fd;
}

UniqueFd open_file(const char *path, int flags, mode_t mode) {
    int fd = -1;
    do {
        fd = open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    return UniqueFd(fd);
}

ssize_t read_at(int fd, std::span<char> buffer, off_t offset) {
    size_t used = 0;
    while (used < buffer.size()) {
        const ssize_t n = pread(fd, buffer.data() + used, buffer.size() - used, offset + static_cast<off_t>(used));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -1;
        if (n == 0) break;
        used += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(used);
}

bool write_all(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = write(fd, data.data(), data.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

std::optional<std::string_view> read_attribute(int fd, std::span<char> buffer) {
    ssize_t n = -1;
    do {
        n = pread(fd, buffer.data(), buffer.size(), 0);
    } while (n < 0 && errno == EINTR);
    if (n < 0) return std::nullopt;
    return trim_end({buffer.data(), static_cast<size_t>(n)});
}

std::optional<std::string> read_attribute(const char *path) {
    const UniqueFd fd = open_file(path, O_RDONLY);
    std::array<char, 4096> page;
    const auto text = fd.valid() ? read_attribute(fd.get(), page) : std::nullopt;
    return text ? std::optional(std::string(*text)) : std::nullopt;
}

bool write_attribute(const char *path, std::string_view value) {
    const UniqueFd fd = open_file(path, O_WRONLY | O_TRUNC);
    return fd.valid() && write_all(fd.get(), value);
}

std::vector<std::string> folder_names(const char *path) {
    std::vector<std::string> names;
    DIR *folder = opendir(path);
    if (!folder) return names;
    while (const dirent *entry = readdir(folder)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

std::string_view trim_end(std::string_view text) {
    constexpr std::string_view BLANKS(" \t\r\n\0", 5);
    const size_t last = text.find_last_not_of(BLANKS);
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

template <typename Number> static std::optional<Number> parse_number(std::string_view text) {
    Number value{};
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

std::optional<int> parse_int(std::string_view text) { return parse_number<int>(text); }
std::optional<int64_t> parse_int64(std::string_view text) { return parse_number<int64_t>(text); }

} // namespace hal
