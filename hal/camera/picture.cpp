// A still picture in a camera's place. Whoever replaces the file moves the picture.
#include "camera/source.h"

#include <cerrno>
#include <common/hal_log.h>
#include <cstdio>
#include <cstring>
#include <png.h>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace camera {
namespace {
constexpr uint32_t COLOUR = 0x00FFFFFF;

class Still : public Source {
public:
    explicit Still(const char *path) : path_(path) {}
    bool start() {
        struct stat status{};
        if (stat(path_.c_str(), &status) != 0) return complain(strerror(errno));
        if (same(status)) return true;
        Picture fresh;
        if (!decode(fresh)) return false;
        loaded_ = std::move(fresh);
        status_ = status;
        fresh_ = true;
        return true;
    }
    int next(Picture &out, int64_t) override {
        start(); // half-written or gone: the picture stays
        if (std::exchange(fresh_, false)) out = loaded_;
        return 1;
    }

private:
    bool same(const struct stat &now) const {
        return !loaded_.pixels.empty() && now.st_ino == status_.st_ino && now.st_size == status_.st_size &&
               now.st_mtim.tv_sec == status_.st_mtim.tv_sec && now.st_mtim.tv_nsec == status_.st_mtim.tv_nsec;
    }
    bool complain(const char *why) {
        if (why != told_) HAL_LOG_E(TAG, "%s: %s; put a PNG file there", path_.c_str(), why);
        told_ = why;
        return false;
    }
    bool decode(Picture &out) {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, path_.c_str())) return complain(image.message);
        if (image.width > SIDE_MAX || image.height > SIDE_MAX) {
            png_image_free(&image);
            return complain("more than 8192 pixels wide or high");
        }
        image.format = PNG_FORMAT_BGRA;
        out.width = static_cast<int>(image.width);
        out.height = static_cast<int>(image.height);
        out.pixels.resize(size_t{image.width} * image.height);
        const png_color black{};
        if (!png_image_finish_read(&image, &black, out.pixels.data(), 0, nullptr)) return complain(image.message);
        for (uint32_t &pixel : out.pixels) pixel &= COLOUR;
        told_.clear();
        return true;
    }

    const std::string path_;
    Picture loaded_;
    struct stat status_{};
    bool fresh_ = false; // not handed out yet
    std::string told_; // one line per fault
};
} // namespace

std::unique_ptr<Source> open_picture(const char *path) { return started(std::make_unique<Still>(path)); }

} // namespace camera
