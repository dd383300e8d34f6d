#include "base/sysfs.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

#include "base/log_door.h"

namespace {
constexpr const char *TAG = "batteryObserver"; // most control files belong to battery and power
constexpr size_t VERIFY_MAX = 256;

class File {
public:
    File(const char *path, int flags) : fd_(open(path, flags | O_CLOEXEC, 0666)) {}
    ~File() {
        if (fd_ >= 0) close(fd_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

private:
    int fd_;
};

int open_failed(const char *caller, const char *path) {
    const int error = errno;
    perror(path);
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s open errno=%s", caller, strerror(error));
    return -1;
}

// One attribute is written with one call: the kernel takes each write as a value of its own.
ssize_t write_once(int fd, const char *text, size_t length) {
    ssize_t n = 0;
    do n = write(fd, text, length);
    while (n < 0 && errno == EINTR);
    return n;
}

// Reads until n bytes or the end; the count, or -1 when the first read failed.
ssize_t read_up_to(int fd, char *buffer, size_t n) {
    size_t got = 0;
    while (got < n) {
        const ssize_t part = read(fd, buffer + got, n - got);
        if (part < 0 && errno == EINTR) continue;
        if (part < 0 && got == 0) return -1;
        if (part <= 0) break;
        got += static_cast<size_t>(part);
    }
    return static_cast<ssize_t>(got);
}

int write_text(const char *path, const char *text, size_t length) {
    const File file(path, O_WRONLY | O_APPEND | O_CREAT);
    if (!file.is_open()) return open_failed("write_file", path);
    const ssize_t written = write_once(file.fd(), text, length);
    const int error = errno;
    fsync(file.fd()); // attributes may not know it; the read-back decides
    if (written == static_cast<ssize_t>(length)) return 0;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s fwrite errno=%s,real write len=%d", "write_file", strerror(error),
            static_cast<int>(written));
    return -1;
}

int verify_text(const char *path, const char *text, size_t length) {
    const File file(path, O_RDONLY);
    if (!file.is_open()) return open_failed("write_file", path);
    char back[VERIFY_MAX + 1] = {};
    const ssize_t got = read_up_to(file.fd(), back, length);
    const int error = errno;
    if (got < static_cast<ssize_t>(length)) {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s fread errno=%s,real read len=%d", "write_file", strerror(error),
                static_cast<int>(got));
        return -1;
    }
    if (memcmp(back, text, length) == 0) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s success", "write_file");
        return 0;
    }
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s fread errno=%s,write:%s,read:%s", "write_file", strerror(error), text, back);
    return -1;
}
} // namespace

int write_file(const char *path, const char *text) {
    if (!path || !text) return -1;
    const size_t length = strlen(text);
    LOG_D(TAG, "begin,writelen=%d", static_cast<int>(length));
    if (length > VERIFY_MAX) {
        LOG_E(TAG, "refused,writelen=%d", static_cast<int>(length));
        return -1;
    }
    if (write_text(path, text, length) != 0) return -1;
    return verify_text(path, text, length);
}

int read_file(const char *path, char *buffer, int n) {
    if (!path || !buffer || n <= 0) return -1;
    const File file(path, O_RDONLY);
    if (!file.is_open()) return open_failed("read_file", path);
    const ssize_t got = read_up_to(file.fd(), buffer, static_cast<size_t>(n));
    if (got > 0) return static_cast<int>(got);
    LOG_E(TAG, "fread errno=%s", strerror(errno));
    return -1;
}

bool file_readable(const char *path) { return path && access(path, R_OK) == 0; }

int remove_file(const char *path) {
    if (!path) return -1;
    return unlink(path) == 0 || errno == ENOENT ? 0 : -1;
}

int touch_file(const char *path) {
    if (!path) return -1;
    const File file(path, O_WRONLY | O_CREAT);
    return file.is_open() && fsync(file.fd()) == 0 ? 0 : -1;
}

int sync_file(const char *path) {
    if (!path) return -1;
    if (const File file(path, O_RDONLY); file.is_open()) return fsync(file.fd()) == 0 ? 0 : -1;
    const std::string_view name(path);
    const std::string folder(name.substr(0, name.rfind('/') + 1));
    const File parent(folder.c_str(), O_RDONLY | O_DIRECTORY);
    return parent.is_open() && fsync(parent.fd()) == 0 ? 0 : -1;
}
