// Where pictures come from.
#pragma once

#include "camera/camera.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace camera {

constexpr const char *TAG = "CAMERA";
constexpr int SIDE_MAX = 8192; // pixels

struct Picture {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels; // 0x00RRGGBB, line after line
};

class Source {
public:
    virtual ~Source() = default;
    // As vxo_camera_next, without keeping a rate.
    virtual int next(Picture &out, int64_t wait_ns) = 0;
    virtual int autofocus() { return -1; }
};

template <class S> std::unique_ptr<Source> started(std::unique_ptr<S> source) {
    if (!source->start()) return nullptr;
    return source;
}
std::unique_ptr<Source> open_device(const char *path);  // V4L2; null after one log line
std::unique_ptr<Source> open_picture(const char *path); // PNG

// One line of a capture format (V4L2_PIX_FMT_...) into pixels. False: the format is not known or the line too short.
bool convert_line(uint32_t format, std::span<const uint8_t> line, std::span<uint32_t> out);

} // namespace camera
