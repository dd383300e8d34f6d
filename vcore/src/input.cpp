// The input devices' descriptors.
#include "input.h"

#include <algorithm>
#include <android/log.h>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <tp_clock.h>
#include <tp_globals.h>
#include <unistd.h>

#include "queue.h"

namespace vcore {
namespace {
constexpr const char *INPUT_DIR = "/dev/input/";
constexpr const char *DEVICE_PREFIX = "event";
constexpr int READS_PER_WAKE = 16; // a device that never stops must leave room for the others

struct Device {
    int fd;
    std::string path;
    InputParser parser;

    Device(int descriptor, std::string name, InputParser &&p) : fd(descriptor), path(std::move(name)), parser(std::move(p)) {}
    ~Device() { close(fd); }
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
};
std::vector<std::unique_ptr<Device>> g_devices;

std::vector<std::string> device_paths() {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(INPUT_DIR), closedir);
    if (!dir) return names;
    while (const dirent *entry = readdir(dir.get()))
        if (strncmp(entry->d_name, DEVICE_PREFIX, strlen(DEVICE_PREFIX)) == 0) names.emplace_back(std::string(INPUT_DIR) + entry->d_name);
    std::sort(names.begin(), names.end());
    return names;
}

InputParser::Range axis_range(int fd, unsigned multitouch_axis, unsigned axis) {
    input_absinfo info{};
    for (const unsigned code : {multitouch_axis, axis})
        if (ioctl(fd, EVIOCGABS(code), &info) == 0 && info.maximum > info.minimum) return {info.minimum, info.maximum};
    return {};
}

bool finger_on_glass(int fd) {
    unsigned char keys[KEY_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGKEY(sizeof keys), keys) < 0) return false;
    return keys[BTN_TOUCH / 8] & (1 << (BTN_TOUCH % 8));
}

void open_device(const std::string &path) {
    int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    // Not every handset lets input devices be written to. A FIFO that is only read would end with its first writer.
    if (fd < 0 && errno == EACCES) fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat kind {};
    if (fd < 0 || fstat(fd, &kind) != 0 || !(S_ISCHR(kind.st_mode) || S_ISFIFO(kind.st_mode))) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s %s: %s", __func__, path.c_str(), fd < 0 ? strerror(errno) : "no device");
        if (fd >= 0) close(fd);
        return;
    }
    int version = 0;
    const bool kernel_device = ioctl(fd, EVIOCGVERSION, &version) == 0;
    InputParser::Range x, y;
    if (kernel_device) {
        x = axis_range(fd, ABS_MT_POSITION_X, ABS_X);
        y = axis_range(fd, ABS_MT_POSITION_Y, ABS_Y);
    }
    auto device = std::make_unique<Device>(fd, path, InputParser(path, kernel_device, x, y, queue_input));
    if (kernel_device) device->parser.ask_touching = [fd] { return finger_on_glass(fd); };
    g_devices.push_back(std::move(device));
}

enum class Left { nothing, more, gone };

Left read_device(Device &device) {
    std::byte buffer[64 * sizeof(input_event)];
    for (int i = 0; i < READS_PER_WAKE; ++i) {
        const ssize_t n = read(device.fd, buffer, sizeof buffer);
        if (n < 0) return errno == EAGAIN || errno == EINTR ? Left::nothing : Left::gone;
        if (n == 0) return Left::gone;
        GetLastInputTime();
        device.parser.feed({buffer, static_cast<size_t>(n)}, tp_clock_mono_ns());
        if (static_cast<size_t>(n) < sizeof buffer) return Left::nothing;
    }
    return Left::more;
}
} // namespace

int input_open() {
    input_close();
    for (const std::string &path : device_paths()) open_device(path);
    return g_devices.empty() ? -1 : 0;
}

void input_close() { g_devices.clear(); }
size_t input_device_count() { return g_devices.size(); }

void input_add_descriptors(std::vector<pollfd> &fds) {
    for (const auto &device : g_devices) fds.push_back({device->fd, POLLIN, 0});
}

bool input_read(std::span<const pollfd> fds) {
    bool all = true;
    for (const pollfd &ready : fds) {
        if (!ready.revents) continue;
        const auto device = std::find_if(g_devices.begin(), g_devices.end(), [&](const auto &d) { return d->fd == ready.fd; });
        if (device == g_devices.end()) continue;
        const Left left = ready.revents & POLLIN ? read_device(**device) : Left::nothing;
        all &= left == Left::nothing;
        if (left != Left::gone && !(ready.revents & (POLLERR | POLLHUP | POLLNVAL))) continue;
        __android_log_print(ANDROID_LOG_WARN, "VCORE", "%s %s is gone", __func__, (*device)->path.c_str());
        (*device)->parser.finish();
        g_devices.erase(device);
    }
    return all;
}
} // namespace vcore
