#include "camera/source.h"

#include <algorithm>
#include <cerrno>
#include <common/hal_log.h>
#include <cstring>
#include <sys/stat.h>
#include <tp_clock.h>

struct VxoCamera {
    std::unique_ptr<camera::Source> source;
    camera::Picture picture;
    int64_t due_ns = 0; // no picture before
};

namespace {
constexpr int64_t PICTURE_NS = 1000000000 / 25;
}

VxoCamera *vxo_camera_open(const char *path) noexcept {
    struct stat status{};
    if (stat(path, &status) != 0) {
        HAL_LOG_E(camera::TAG, "not fitted: %s: %s", path, strerror(errno));
        return nullptr;
    }
    auto source = S_ISREG(status.st_mode) ? camera::open_picture(path) : camera::open_device(path);
    return source ? new VxoCamera{std::move(source), {}, 0} : nullptr;
}

int vxo_camera_next(VxoCamera *camera, tki_camera_frame *out, int64_t wait_ns) noexcept {
    const int64_t early = camera->due_ns - tp_clock_mono_ns();
    if (early > 0) {
        tp_clock_sleep_ns(std::min(early, wait_ns));
        if (early >= wait_ns) return 0;
        wait_ns -= early;
    }
    const int result = camera->source->next(camera->picture, wait_ns);
    if (result != 1) return result;
    // Counted from the due time, so that a late picture does not put off the next.
    const int64_t now = tp_clock_mono_ns();
    camera->due_ns = std::max(camera->due_ns + PICTURE_NS, now);
    const camera::Picture &picture = camera->picture;
    *out = {picture.width, picture.height, picture.width * static_cast<int>(sizeof(uint32_t)), 0, picture.pixels.data()};
    return 1;
}

int vxo_camera_autofocus(VxoCamera *camera) noexcept { return camera->source->autofocus(); }

void vxo_camera_close(VxoCamera *camera) noexcept { delete camera; }
