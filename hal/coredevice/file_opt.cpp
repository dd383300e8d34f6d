// The PC's file service. It reaches regular files below /data and /cache and nothing else: the path is walked one
// component at a time from the root's descriptor, so that no link placed on the way can lead elsewhere.
#include <algorithm>
#include <array>
#include <cerrno>
#include <common/file.h>
#include <coredevice/api.h>
#include <coredevice/at_channel.h>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr const char *TAG = "FILEOPT";
constexpr size_t PATH_BYTES_MAX = 255;
constexpr const char *FRESH_NAME = ".vxo-new";

struct Place {
    hal::UniqueFd folder;
    std::string name;
};

bool has_control_code(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; });
}

// "/data/a/b" -> "data", "a", "b". Nothing when the path may not be used.
std::optional<std::vector<std::string>> split_path(std::string_view path) {
    if (path.size() > PATH_BYTES_MAX || !path.starts_with('/') || has_control_code(path)) return std::nullopt;
    std::vector<std::string> parts;
    while (!path.empty()) {
        path.remove_prefix(1);
        const size_t end = std::min(path.find('/'), path.size());
        const std::string_view part = path.substr(0, end);
        if (part.empty() || part == "." || part == "..") return std::nullopt;
        parts.emplace_back(part);
        path.remove_prefix(end);
    }
    if (parts.size() < 2 || (parts[0] != "data" && parts[0] != "cache")) return std::nullopt;
    return parts;
}

// The folder of a path, reached without following a link. Invalid with errno.
Place find_place(std::string_view path) {
    const auto parts = split_path(path);
    if (!parts) {
        errno = EPERM;
        return {};
    }
    constexpr int FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    hal::UniqueFd folder = hal::open_file("/", FOLDER);
    for (size_t i = 0; i + 1 < parts->size() && folder.valid(); ++i)
        folder = hal::UniqueFd(openat(folder.get(), (*parts)[i].c_str(), FOLDER));
    return {std::move(folder), parts->back()};
}

// True when the place holds a regular file. False with errno: ENOENT when it is free, EPERM when it holds anything else.
bool holds_file(const Place &place, struct stat &status) {
    if (fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (S_ISREG(status.st_mode)) return true;
    errno = EPERM;
    return false;
}

bool sync(int fd) {
    int result = -1;
    do {
        result = fsync(fd);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool read_file(std::string_view path, std::span<char> reply) {
    const Place place = find_place(path);
    struct stat status {};
    if (!place.folder.valid() || !holds_file(place, status)) return false;
    // Without O_NONBLOCK a FIFO that took the file's place since would hold the channel up.
    const hal::UniqueFd file(openat(place.folder.get(), place.name.c_str(),
                                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.valid() || fstat(file.get(), &status) != 0) return false;
    if (!S_ISREG(status.st_mode)) {
        errno = EPERM;
        return false;
    }
    return hal::read_at(file.get(), reply, 0) >= 0;
}

// The old content stays until the new one is complete on the disk.
bool write_file(std::string_view path, std::string_view text) {
    const Place place = find_place(path);
    if (!place.folder.valid()) return false;
    const int folder = place.folder.get();
    struct stat old {};
    const bool replaces = holds_file(place, old);
    if (!replaces && errno != ENOENT) return false;
    unlinkat(folder, FRESH_NAME, 0); // left by a power cut
    const hal::UniqueFd fresh(openat(folder, FRESH_NAME, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!fresh.valid()) return false;
    if ((!replaces || fchmod(fresh.get(), old.st_mode & 0777) == 0) && hal::write_all(fresh.get(), text) &&
        sync(fresh.get()) && renameat(folder, FRESH_NAME, folder, place.name.c_str()) == 0)
        return sync(folder);
    const int reason = errno;
    unlinkat(folder, FRESH_NAME, 0);
    errno = reason;
    return false;
}

bool remove_file(std::string_view path) {
    const Place place = find_place(path);
    struct stat status {};
    return place.folder.valid() && holds_file(place, status) && unlinkat(place.folder.get(), place.name.c_str(), 0) == 0 &&
           sync(place.folder.get());
}

std::string_view argument(const char *in, int size) {
    return in && size > 0 ? std::string_view(in, static_cast<size_t>(size)) : std::string_view{};
}

int log_failure(const char *what, std::string_view path) {
    __android_log_print(ANDROID_LOG_ERROR, TAG, "%s %.*s: %s", what, static_cast<int>(std::min(path.size(), PATH_BYTES_MAX)),
                        path.data() ? path.data() : "", strerror(errno));
    return 0;
}
} // namespace

VXO_API(int) mmi_AutoTest_FileOpt_Read(const char *in, int size) noexcept {
    const std::span<char> reply = coredevice::current_reply();
    if (reply.empty()) {
        HAL_LOG_E(TAG, "not inside a command");
        return 0;
    }
    const std::string_view path = argument(in, size);
    return read_file(path, reply) ? 1 : log_failure("read", path);
}

VXO_API(int) mmi_AutoTest_FileOpt_Write(const char *in, int size) noexcept {
    const std::string_view all = argument(in, size);
    const size_t comma = all.find(',');
    if (comma == std::string_view::npos) {
        HAL_LOG_E(TAG, "no comma behind the path");
        return 0;
    }
    const std::string_view path = all.substr(0, comma);
    return write_file(path, all.substr(comma + 1)) ? 1 : log_failure("write", path);
}

VXO_API(int) mmi_AutoTest_FileOpt_Remove(const char *in, int size, char *out, int maxoutlen) noexcept {
    const std::string_view path = argument(in, size);
    const bool removed = remove_file(path);
    if (out && maxoutlen > 0) {
        const int reason = errno;
        snprintf(out, static_cast<size_t>(maxoutlen), "%s", removed ? "ok" : strerror(reason));
        errno = reason;
    }
    return removed ? 1 : log_failure("remove", path);
}
