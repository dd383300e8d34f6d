// A V4L2 capture device, streamed through mapped buffers.
#include "camera/source.h"

#include <algorithm>
#include <cerrno>
#include <common/file.h>
#include <common/hal_log.h>
#include <cstring>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <tp_clock.h>

namespace camera {
namespace {
constexpr uint32_t FORMATS[] = {V4L2_PIX_FMT_XBGR32, V4L2_PIX_FMT_XRGB32, V4L2_PIX_FMT_RGB24, V4L2_PIX_FMT_BGR24,
                                V4L2_PIX_FMT_YUYV};
constexpr uint32_t CAPTURE = V4L2_BUF_TYPE_VIDEO_CAPTURE;
constexpr uint32_t WIDTH = 640, HEIGHT = 480, BUFFERS = 4;

class Device : public Source {
public:
    explicit Device(const char *path) : path_(path) {}
    ~Device() override {
        uint32_t type = CAPTURE;
        if (streaming_) call(VIDIOC_STREAMOFF, &type);
        for (const std::span<uint8_t> buffer : buffers_) munmap(buffer.data(), buffer.size());
    }
    bool start() {
        fd_ = hal::open_file(path_.c_str(), O_RDWR | O_NONBLOCK);
        return fd_.valid() ? is_camera() && choose_format() && map_buffers() && stream() : complain("open");
    }
    int next(Picture &out, int64_t wait_ns) override {
        pollfd ready{fd_.get(), POLLIN, 0};
        const int polled = tp_clock_poll(&ready, 1, wait_ns);
        if (polled < 0 && errno != EINTR) return failed("poll");
        if (polled <= 0) return 0;
        if (ready.revents & (POLLERR | POLLHUP | POLLNVAL)) return failed("poll");
        v4l2_buffer buffer = buffer_of(0);
        if (!call(VIDIOC_DQBUF, &buffer)) return errno == EAGAIN ? 0 : failed("VIDIOC_DQBUF");
        if (buffer.index >= buffers_.size()) return failed("a buffer that nobody asked for");
        const auto whole = buffers_[buffer.index];
        const auto filled = whole.first(std::min<size_t>(buffer.bytesused, whole.size()));
        const bool good = !(buffer.flags & V4L2_BUF_FLAG_ERROR) && convert(filled, out);
        v4l2_buffer again = buffer_of(buffer.index);
        if (!call(VIDIOC_QBUF, &again)) return failed("VIDIOC_QBUF");
        return good ? 1 : 0;
    }
    int autofocus() override {
        v4l2_control control{V4L2_CID_AUTO_FOCUS_START, 1};
        return call(VIDIOC_S_CTRL, &control) ? 0 : -1;
    }

private:
    bool call(unsigned long request, void *argument) const {
        int result = -1;
        do {
            result = ioctl(fd_.get(), request, argument);
        } while (result < 0 && errno == EINTR);
        return result >= 0;
    }
    bool complain(const char *what) const {
        HAL_LOG_E(TAG, "%s: %s: %s", path_.c_str(), what, strerror(errno));
        return false;
    }
    int failed(const char *what) const {
        complain(what);
        return -1;
    }
    static v4l2_buffer buffer_of(uint32_t index) {
        v4l2_buffer buffer{};
        buffer.type = CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        return buffer;
    }
    bool is_camera() const {
        v4l2_capability has{};
        if (!call(VIDIOC_QUERYCAP, &has)) return complain("VIDIOC_QUERYCAP");
        const uint32_t can = has.capabilities & V4L2_CAP_DEVICE_CAPS ? has.device_caps : has.capabilities;
        const uint32_t needed = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
        errno = ENOTSUP;
        return (can & needed) == needed || complain("no streaming capture device");
    }
    // The first format of ours that the driver leaves as it is.
    bool choose_format() {
        for (const uint32_t wanted : FORMATS) {
            v4l2_format format{};
            format.type = CAPTURE;
            format.fmt.pix.width = WIDTH;
            format.fmt.pix.height = HEIGHT;
            format.fmt.pix.pixelformat = wanted;
            format.fmt.pix.field = V4L2_FIELD_NONE;
            const bool set = call(VIDIOC_S_FMT, &format);
            if (!set && errno != EINVAL) return complain("VIDIOC_S_FMT"); // in use, for one
            if (!set || format.fmt.pix.pixelformat != wanted) continue;
            format_ = format.fmt.pix;
            errno = ERANGE;
            return (format_.width > 0 && format_.width <= SIDE_MAX && format_.height > 0 && format_.height <= SIDE_MAX) ||
                   complain("picture size");
        }
        errno = ENOTSUP;
        return complain("gives none of YUYV, RGB24, BGR24, XRGB32, XBGR32");
    }
    bool map_buffers() {
        v4l2_requestbuffers request{};
        request.count = BUFFERS;
        request.type = CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        if (!call(VIDIOC_REQBUFS, &request) || request.count == 0) return complain("VIDIOC_REQBUFS");
        for (uint32_t i = 0; i < request.count; ++i) {
            v4l2_buffer buffer = buffer_of(i);
            if (!call(VIDIOC_QUERYBUF, &buffer)) return complain("VIDIOC_QUERYBUF");
            void *memory = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_.get(), buffer.m.offset);
            if (memory == MAP_FAILED) return complain("mmap");
            buffers_.emplace_back(static_cast<uint8_t *>(memory), buffer.length);
            if (!call(VIDIOC_QBUF, &buffer)) return complain("VIDIOC_QBUF");
        }
        return true;
    }
    bool stream() {
        uint32_t type = CAPTURE;
        streaming_ = call(VIDIOC_STREAMON, &type);
        return streaming_ || complain("VIDIOC_STREAMON");
    }
    bool convert(std::span<const uint8_t> bytes, Picture &out) const {
        out.width = static_cast<int>(format_.width);
        out.height = static_cast<int>(format_.height);
        out.pixels.resize(size_t{format_.width} * format_.height);
        const size_t stride = format_.bytesperline ? format_.bytesperline : format_.sizeimage / format_.height;
        for (size_t y = 0; y < format_.height; ++y) {
            const size_t at = y * stride;
            const auto line = at < bytes.size() ? bytes.subspan(at) : std::span<const uint8_t>{};
            if (!convert_line(format_.pixelformat, line, std::span(out.pixels).subspan(y * format_.width, format_.width))) return false;
        }
        return true;
    }

    const std::string path_;
    hal::UniqueFd fd_;
    v4l2_pix_format format_{};
    std::vector<std::span<uint8_t>> buffers_;
    bool streaming_ = false;
};
} // namespace

std::unique_ptr<Source> open_device(const char *path) { return started(std::make_unique<Device>(path)); }

} // namespace camera
