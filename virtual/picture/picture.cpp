#include "picture/picture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <png.h>
#include <stdexcept>
#include <vector>

namespace vh {

namespace {
constexpr uint32_t SIDE_MAX = 8192;
constexpr std::array<uint32_t, 7> BARS = {0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00, 0xFF00FF, 0xFF0000, 0x0000FF};
} // namespace

void write_png(const std::string &file, const uint32_t *pixels, uint32_t width, uint32_t height, uint32_t stride_bytes) {
    const std::unique_ptr<FILE, int (*)(FILE *)> out(fopen(file.c_str(), "wbe"), fclose);
    if (!out) throw std::runtime_error("cannot write " + file + ": " + strerror(errno));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    std::string rgb;
    rgb.reserve(size_t{3} * width * height);
    for (uint32_t y = 0; y < height; ++y) {
        const auto *row = reinterpret_cast<const unsigned char *>(pixels) + size_t{y} * stride_bytes;
        for (uint32_t x = 0; x < width; ++x, row += 4) {
            rgb += static_cast<char>(row[2]);
            rgb += static_cast<char>(row[1]);
            rgb += static_cast<char>(row[0]);
        }
    }
    if (!png_image_write_to_stdio(&image, out.get(), 0, rgb.data(), 0, nullptr) || fflush(out.get()) != 0)
        throw std::runtime_error("cannot write " + file + ": " + image.message);
}

std::string check_png(const std::string &file) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    const auto refuse = [&](const std::string &why) { throw std::runtime_error(file + " is no PNG picture: " + why); };
    if (!png_image_begin_read_from_file(&image, file.c_str())) refuse(image.message);
    const std::unique_ptr<png_image, void (*)(png_image *)> owner(&image, png_image_free);
    if (image.width > SIDE_MAX || image.height > SIDE_MAX) refuse("more than 8192 pixels wide or high");
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    const png_color black{};
    if (!png_image_finish_read(&image, &black, pixels.data(), 0, nullptr)) refuse(image.message);
    return std::to_string(image.width) + "x" + std::to_string(image.height);
}

// Back: bars side by side; auxiliary: bars one below the other; front: upright, the bars from right to left.
void write_test_picture(const std::string &file, int number) {
    const uint32_t width = number == 2 ? 480 : 640, height = number == 2 ? 640 : 480;
    std::vector<uint32_t> pixels(size_t{width} * height);
    for (uint32_t y = 0; y < height; ++y) {
        uint32_t *row = &pixels[size_t{y} * width];
        if (number == 1) {
            std::fill_n(row, width, BARS[y * BARS.size() / height]);
            continue;
        }
        for (size_t bar = 0; bar < BARS.size(); ++bar)
            std::fill(row + width * bar / BARS.size(), row + width * (bar + 1) / BARS.size(),
                      BARS[number == 2 ? BARS.size() - 1 - bar : bar]);
    }
    write_png(file, pixels.data(), width, height, width * 4);
}

} // namespace vh
