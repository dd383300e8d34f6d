// Properties are files in /dev/__vxo_props: one per key, replaced by renaming, so that a reader never sees half a value.
#include <cutils/properties.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {
constexpr const char *PROPERTY_DIR = "/dev/__vxo_props/";

bool key_is_valid(const char *key) {
    if (!key || !*key || *key == '.') return false;
    const size_t length = strlen(key);
    if (length >= 128) return false;
    return strspn(key, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") == length;
}
} // namespace

int property_get(const char *key, char *value, const char *default_value) {
    if (!value) return 0;
    value[0] = '\0';
    if (key_is_valid(key)) {
        const int fd = open((std::string(PROPERTY_DIR) + key).c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            const ssize_t n = read(fd, value, PROPERTY_VALUE_MAX - 1);
            close(fd);
            value[n > 0 ? n : 0] = '\0';
            if (n > 0 && value[n - 1] == '\n') value[n - 1] = '\0';
        }
    }
    if (!value[0] && default_value) snprintf(value, PROPERTY_VALUE_MAX, "%s", default_value);
    return static_cast<int>(strlen(value));
}

int property_set(const char *key, const char *value) {
    if (!key_is_valid(key) || !value || strlen(value) >= PROPERTY_VALUE_MAX) return -1;
    const std::string path = std::string(PROPERTY_DIR) + key;
    const std::string fresh = std::string(PROPERTY_DIR) + ".new-" + std::to_string(gettid()) + "-" + key;
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return -1;
    const size_t length = strlen(value);
    const bool written = write(fd, value, length) == static_cast<ssize_t>(length);
    close(fd);
    if (written && rename(fresh.c_str(), path.c_str()) == 0) return 0;
    unlink(fresh.c_str());
    return -1;
}
