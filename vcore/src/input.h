// Input devices: /dev/input/event*, evdev devices or FIFOs that carry the same records. GUI thread.
#pragma once

#include <functional>
#include <linux/input.h>
#include <poll.h>
#include <span>
#include <string>
#include <vector>

#include "window.h"

namespace vcore {

int input_open(); // 0, or -1 when there is none
void input_close();
size_t input_device_count();
void input_add_descriptors(std::vector<pollfd> &fds);
// Those added, after the wait; what they sent goes to the queue. False when one may have more.
bool input_read(std::span<const pollfd> fds);

// Makes events of one device's bytes.
class InputParser {
public:
    // Device coordinates from minimum to maximum cover the screen; maximum <= minimum: they are pixels.
    struct Range {
        int minimum = 0, maximum = 0;
    };
    using Sink = std::function<void(const InputEvent &)>;

    InputParser(std::string name, bool kernel_device, Range x, Range y, Sink sink)
        : name_(std::move(name)), kernel_device_(kernel_device), range_x_(x), range_y_(y), sink_(std::move(sink)) {}

    // Bytes as they were read, at a monotonic time. Half a record waits for its other half for a short while.
    void feed(std::span<const std::byte> bytes, int64_t now_ns);
    // The device is gone: lifts the finger.
    void finish();
    // After lost records: whether the finger is on the glass now.
    std::function<bool()> ask_touching;

private:
    void record(const input_event &event);
    void key(int code, int value);
    void position(int code, int value);
    void end_of_frame();
    void touch(InputEvent::Kind kind);
    void log_garbage();

    std::string name_;
    bool kernel_device_;
    Range range_x_, range_y_;
    Sink sink_;
    std::vector<std::byte> rest_;
    int64_t rest_since_ = 0;
    bool garbage_logged_ = false;
    bool dropping_ = false;     // the kernel lost records: wait for the end of the frame
    bool multitouch_ = false;   // positions come per contact; the single-touch ones repeat them
    bool tracking_ = false;     // contacts have ids
    bool slots_ = false;        // contacts are selected by slot, not counted within the frame
    int contact_ = 0;
    bool touching_ = false, was_touching_ = false, moved_ = false;
    int x_ = 0, y_ = 0;         // pixels
};

} // namespace vcore
