// The V4L2 capture device on a driver that this file plays: what it calls on its descriptor comes here.
#include <algorithm>
#include <common/file.h>
#include <common/hal_log.h>
#include <deque>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <tp_clock.h>

#include "hal/support.h"

namespace {
constexpr uint32_t BUFFER = 4096;

// Pictures of 3 by 2 pixels, or what is set.
struct Driver {
    std::vector<uint32_t> formats{V4L2_PIX_FMT_YUYV};
    v4l2_pix_format picture{};
    unsigned long failing = 0; // this request
    int reason = 0;
    int fd = -1, ends[2] = {-1, -1}, memory = memfd_create("pictures", MFD_CLOEXEC);
    int mapped = 0;
    bool streams = false;
    std::vector<bool> queued = std::vector<bool>(8);
    std::deque<v4l2_buffer> done;

    Driver() {
        picture.width = 3;
        picture.height = 2;
        picture.bytesperline = 16;
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    }
    ~Driver() {
        for (const int end : {ends[0], ends[1], memory}) close(end);
    }
    void deliver(uint32_t index, const std::string &bytes, uint32_t flags = 0) {
        EXPECT_TRUE(index >= 3 || queued[index]) << "the driver has no such buffer";
        EXPECT_EQ(pwrite(memory, bytes.data(), bytes.size(), index * BUFFER), static_cast<ssize_t>(bytes.size()));
        v4l2_buffer buffer{};
        buffer.index = index;
        buffer.flags = flags;
        buffer.bytesused = static_cast<uint32_t>(bytes.size());
        done.push_back(buffer);
        wake();
    }
    void wake() { EXPECT_EQ(write(ends[1], "", 1), 1); }
    void unplug() {
        shutdown(ends[1], SHUT_RDWR);
        shutdown(ends[0], SHUT_RDWR);
    }
    int call(unsigned long request, void *argument);
} *g_driver;

int Driver::call(unsigned long request, void *argument) {
    if (request == failing) return errno = reason, -1;
    auto *buffer = static_cast<v4l2_buffer *>(argument);
    switch (request) {
    case VIDIOC_QUERYCAP:
        static_cast<v4l2_capability *>(argument)->capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
        return 0;
    case VIDIOC_S_FMT: {
        v4l2_pix_format &wanted = static_cast<v4l2_format *>(argument)->fmt.pix;
        picture.pixelformat = std::ranges::find(formats, wanted.pixelformat) != formats.end() ? wanted.pixelformat : V4L2_PIX_FMT_MJPEG;
        wanted = picture;
        return 0;
    }
    case VIDIOC_REQBUFS: static_cast<v4l2_requestbuffers *>(argument)->count = 3; return ftruncate(memory, 3 * BUFFER);
    case VIDIOC_QUERYBUF: buffer->length = BUFFER; buffer->m.offset = buffer->index * BUFFER; return 0;
    case VIDIOC_QBUF: queued[buffer->index] = true; return 0;
    case VIDIOC_STREAMON: streams = true; return 0;
    case VIDIOC_STREAMOFF: streams = false; return 0;
    case VIDIOC_DQBUF: {
        char byte = 0;
        if (read(fd, &byte, 1) != 1 || done.empty()) return errno = EAGAIN, -1;
        *buffer = done.front();
        done.pop_front();
        if (buffer->index < queued.size()) queued[buffer->index] = false;
        return 0;
    }
    default: return errno = ENOTTY, -1;
    }
}

int driver_ioctl(int fd, unsigned long request, void *argument) {
    if (request == VIDIOC_QUERYCAP) dup2(g_driver->ends[0], g_driver->fd = fd); // from now on it waits as a driver's does
    return g_driver->call(request, argument);
}
void *driver_mmap(void *at, size_t size, int protection, int flags, int, off_t offset) {
    ++g_driver->mapped;
    return mmap(at, size, protection, flags, g_driver->memory, offset);
}
int driver_munmap(void *at, size_t size) {
    --g_driver->mapped;
    return munmap(at, size);
}
} // namespace

#define ioctl driver_ioctl
#define mmap driver_mmap
#define munmap driver_munmap
#include <camera/device.cpp>
#undef ioctl
#undef mmap
#undef munmap

namespace {
constexpr int64_t SHORT_NS = 10000000;
using Pixels = std::vector<uint32_t>;

class Video : public testing::Test {
protected:
    Driver driver;
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "video";
    camera::Picture picture;
    std::unique_ptr<camera::Source> device;

    void SetUp() override {
        g_driver = &driver;
        std::filesystem::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); // something that opens
    }
    bool open() {
        device = camera::open_device(path.c_str());
        return device != nullptr;
    }
    int next() { return device->next(picture, SHORT_NS); }
    void TearDown() override {
        device.reset();
        EXPECT_EQ(driver.mapped, 0);
        EXPECT_FALSE(driver.streams);
    }
};

// Two pixels of pure colour and a third, in lines that are longer than they need to be.
TEST_F(Video, EveryFormatBecomesPixels) {
    const struct { uint32_t format; std::string line; Pixels pixels; } rows[] = {
        {V4L2_PIX_FMT_RGB24, "\xFF\x01\x02\x03\xFF\x04\x05\x06\xFF", {0xFF0102, 0x03FF04, 0x0506FF}},
        {V4L2_PIX_FMT_BGR24, "\xFF\x01\x02\x03\xFF\x04\x05\x06\xFF", {0x0201FF, 0x04FF03, 0xFF0605}},
        {V4L2_PIX_FMT_XRGB32, "x\x01\x02\x03y\x04\x05\x06z\x07\x08\x09", {0x010203, 0x040506, 0x070809}},
        {V4L2_PIX_FMT_XBGR32, "\x01\x02\x03x\x04\x05\x06y\x07\x08\x09z", {0x030201, 0x060504, 0x090807}},
        // Black and white without colour; red at the odd end of the line.
        {V4L2_PIX_FMT_YUYV, "\x10\x80\xEB\x80\x52\x5A\x10\xF0", {0x000000, 0xFFFFFF, 0xFF0100}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.format);
        driver.formats = {row.format};
        driver.queued.assign(8, false);
        ASSERT_TRUE(open());
        std::string bytes = row.line;
        bytes.resize(16, '!');
        driver.deliver(1, bytes + row.line + std::string(16 - row.line.size(), '!'));
        ASSERT_EQ(next(), 1);
        Pixels twice = row.pixels;
        twice.insert(twice.end(), row.pixels.begin(), row.pixels.end());
        EXPECT_EQ(picture.pixels, twice);
        EXPECT_EQ(picture.width * 10 + picture.height, 32);
        EXPECT_TRUE(driver.queued[1]) << "the driver gets its buffer back";
        device.reset();
    }
}

TEST_F(Video, ADeviceThatCannotBeUsedIsNotOpened) {
    const auto refused = [this](const char *why) {
        const hal_test::LogCapture log;
        EXPECT_FALSE(open()) << why;
        EXPECT_EQ(log.count(why), 1u) << why;
        EXPECT_EQ(driver.mapped, 0) << why;
    };
    for (const auto &[request, name] : {std::pair{VIDIOC_QUERYCAP, "VIDIOC_QUERYCAP: No such device"}, {VIDIOC_REQBUFS, "VIDIOC_REQBUFS: No such"},
                                        {VIDIOC_QUERYBUF, "VIDIOC_QUERYBUF: No such"}, {VIDIOC_QBUF, "VIDIOC_QBUF: No such"},
                                        {VIDIOC_STREAMON, "VIDIOC_STREAMON: No such"}, {VIDIOC_S_FMT, "VIDIOC_S_FMT: No such"}}) {
        driver.failing = request;
        driver.reason = ENODEV;
        refused(name);
    }
    driver.failing = 0;
    driver.picture.width = 8193;
    refused("picture size");
    driver.formats = {V4L2_PIX_FMT_MJPEG};
    refused("gives none of YUYV");
    std::filesystem::remove(path);
    refused("open: No such file");
}

TEST_F(Video, ADeviceThatErrsGoesOnAndOneThatIsGoneEnds) {
    const std::string black("\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80"
                            "\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80\x10\x80");
    ASSERT_TRUE(open());
    EXPECT_EQ(device->autofocus(), -1) << "the driver has no lens to move";
    EXPECT_EQ(next(), 0) << "nothing comes";
    driver.deliver(0, black, V4L2_BUF_FLAG_ERROR);
    EXPECT_EQ(next(), 0) << "a broken picture";
    driver.deliver(1, black.substr(0, 20));
    EXPECT_EQ(next(), 0) << "half a picture: the rest of the buffer is an old one";
    driver.wake();
    EXPECT_EQ(next(), 0) << "woken for nothing";
    for (const uint32_t index : {0u, 1u, 2u}) {
        driver.deliver(index, black);
        EXPECT_EQ(next(), 1);
    }
    driver.deliver(7, "");
    EXPECT_EQ(next(), -1) << "a buffer that was never asked for";
    driver.failing = VIDIOC_DQBUF;
    driver.reason = ENODEV;
    driver.wake();
    EXPECT_EQ(next(), -1);
    driver.unplug();
    driver.failing = 0;
    EXPECT_EQ(next(), -1);
}
} // namespace
