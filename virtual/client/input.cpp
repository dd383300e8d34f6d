// Keys and touches as evdev records, one write per report so that a reader never sees half of one.
#include "client/client.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace vh {

namespace {
// A program that ends meanwhile leaves a pipe that nobody reads: an error, not the end of whoever presses the key.
ssize_t write_unsignalled(int fd, const void *bytes, size_t count) {
    sigset_t pipe_signal, before;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
    const ssize_t written = write(fd, bytes, count);
    const int error = errno;
    constexpr timespec NOW{};
    if (written < 0 && error == EPIPE) sigtimedwait(&pipe_signal, nullptr, &NOW);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return written;
}

constexpr int TOUCH = 0, KEYS = 1;
constexpr int MOVE_EVERY_MS = 10;

struct KeyName {
    const char *name;
    int code;
};
constexpr KeyName KEY_NAMES[] = {
    {"pass", 60},         {"fail", 61},           {"start", 62}, // the soft keys: left, right, middle
    {"volumeup", KEY_VOLUMEUP}, {"volumedown", KEY_VOLUMEDOWN}, {"power", KEY_POWER}, {"back", KEY_BACK},
    {"home", KEY_HOME},   {"menu", KEY_MENU},     {"camera", KEY_CAMERA}, {"search", KEY_SEARCH},
    {"appswitch", KEY_APPSELECT}, {"hook", KEY_MEDIA}, {"torch", KEY_LIGHTS_TOGGLE}, {"tv", KEY_TV},
};

input_event record(int type, int code, int value) {
    input_event event{};
    timeval now{};
    gettimeofday(&now, nullptr);
    event.input_event_sec = now.tv_sec;
    event.input_event_usec = now.tv_usec;
    event.type = static_cast<uint16_t>(type);
    event.code = static_cast<uint16_t>(code);
    event.value = value;
    return event;
}
} // namespace

int key_code(const std::string &name) {
    if (!name.empty() && name.size() <= 5 && std::all_of(name.begin(), name.end(), [](unsigned char c) { return isdigit(c); })) {
        const int code = std::stoi(name);
        return code > 0 && code <= KEY_MAX ? code : -1;
    }
    std::string plain;
    for (const char c : name)
        if (c != '_' && c != '-') plain += static_cast<char>(tolower(static_cast<unsigned char>(c)));
    if (plain.starts_with("key")) plain.erase(0, 3);
    for (const KeyName &k : KEY_NAMES)
        if (plain == k.name) return k.code;
    return -1;
}

std::string key_names() {
    std::string all;
    for (const KeyName &k : KEY_NAMES) all += (all.empty() ? "" : ", ") + std::string(k.name) + "=" + std::to_string(k.code);
    return all;
}

void Client::write_events(int device, const input_event *events, size_t count) const {
    const std::string path = paths_.event(device);
    Fd fd(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        request({{"op", "status"}}); // says so when the whole handset is off
        throw ClientError(errno == ENXIO || errno == ENOENT
                              ? "the program on handset '" + name_ + "' does not read its input devices yet; see: ./handset status"
                              : "cannot open " + path + ": " + strerror(errno));
    }
    const size_t bytes = count * sizeof *events;
    if (write_unsignalled(fd.get(), events, bytes) != static_cast<ssize_t>(bytes))
        throw ClientError("the program on handset '" + name_ + "' does not read its input: " + strerror(errno));
}

void Client::wait_ms(int handset_ms) const {
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(handset_ms / speed()));
}

void Client::key(int code, bool down) const {
    const std::array events{record(EV_KEY, code, down), record(EV_SYN, SYN_REPORT, 0)};
    write_events(KEYS, events.data(), events.size());
}

void Client::press(int code, int hold_ms) const {
    // Two writes may come apart on a busy workstation, and a fast handset would take a short press for a long one.
    constexpr double MOMENT_MS = 10; // of the workstation
    if (hold_ms / speed() < MOMENT_MS) {
        const std::array events{record(EV_KEY, code, true), record(EV_SYN, SYN_REPORT, 0), record(EV_KEY, code, false), record(EV_SYN, SYN_REPORT, 0)};
        return write_events(KEYS, events.data(), events.size());
    }
    key(code, true);
    wait_ms(hold_ms);
    key(code, false);
}

void Client::touch(int x, int y) const {
    std::array<input_event, 5> events;
    size_t n = 0;
    if (!finger_down_) events[n++] = record(EV_ABS, ABS_MT_TRACKING_ID, ++tracking_id_);
    events[n++] = record(EV_ABS, ABS_MT_POSITION_X, x);
    events[n++] = record(EV_ABS, ABS_MT_POSITION_Y, y);
    if (!finger_down_) events[n++] = record(EV_KEY, BTN_TOUCH, 1);
    events[n++] = record(EV_SYN, SYN_REPORT, 0);
    write_events(TOUCH, events.data(), n);
    finger_down_ = true;
}

void Client::release() const {
    const std::array events{record(EV_ABS, ABS_MT_TRACKING_ID, -1), record(EV_KEY, BTN_TOUCH, 0),
                            record(EV_SYN, SYN_REPORT, 0)};
    write_events(TOUCH, events.data(), events.size());
    finger_down_ = false;
}

void Client::tap(int x, int y, int hold_ms) const {
    touch(x, y);
    wait_ms(hold_ms);
    release();
}

void Client::swipe(int x1, int y1, int x2, int y2, int ms) const {
    const int steps = std::max(2, ms / MOVE_EVERY_MS);
    for (int i = 0; i <= steps; ++i) {
        touch(x1 + (x2 - x1) * i / steps, y1 + (y2 - y1) * i / steps);
        wait_ms(MOVE_EVERY_MS);
    }
    release();
}

} // namespace vh
