// Pictures from files, and pictures drawn into boxes.
#include "canvas.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <png.h>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr uint32_t most_pixels_a_side = 4096;
constexpr int cannot_open = -1, not_a_picture = -2;

struct FileCloser {
    void operator()(FILE *f) const { fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct PixelsFree {
    void operator()(uint32_t *p) const { free(p); }
};
using Pixels = std::unique_ptr<uint32_t, PixelsFree>;

bool good_size(int64_t width, int64_t height) {
    return width > 0 && height > 0 && width <= most_pixels_a_side && height <= most_pixels_a_side;
}
Pixels make_pixels(int64_t width, int64_t height) {
    return Pixels(static_cast<uint32_t *>(malloc(static_cast<size_t>(width * height) * sizeof(uint32_t))));
}
int hand_over(BITMAP *bmp, int64_t width, int64_t height, Pixels pixels) {
    bmp->bmWidth = static_cast<int>(width);
    bmp->bmHeight = static_cast<int>(height);
    bmp->pixels = pixels.release();
    return 0;
}

// What is transparent shows the windows' background.
uint32_t on_background(uint32_t argb) {
    const uint32_t alpha = argb >> 24, ground = SysPixelIndex[18];
    if (alpha == 0xFF) return argb & 0xFFFFFF;
    uint32_t out = 0;
    for (const int shift : {0, 8, 16}) {
        const uint32_t over = (argb >> shift) & 0xFF, under = (ground >> shift) & 0xFF;
        out |= ((over * alpha + under * (255 - alpha) + 127) / 255) << shift;
    }
    return out;
}

int read_png(FILE *file, BITMAP *bmp) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_stdio(&image, file)) return not_a_picture;
    const std::unique_ptr<png_image, decltype(&png_image_free)> scope(&image, &png_image_free);
    if (!good_size(image.width, image.height)) return not_a_picture;
    image.format = PNG_FORMAT_BGRA;
    Pixels pixels = make_pixels(image.width, image.height);
    if (!pixels || !png_image_finish_read(&image, nullptr, pixels.get(), 0, nullptr)) return not_a_picture;
    const size_t count = size_t{image.width} * image.height;
    for (size_t i = 0; i < count; ++i) pixels.get()[i] = on_background(pixels.get()[i]);
    return hand_over(bmp, image.width, image.height, std::move(pixels));
}

uint32_t little_endian(const uint8_t *p, int bytes) {
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = value << 8 | p[i];
    return value;
}

struct BmpHeader {
    int64_t width, height, offset, line_bytes;
    int bytes_per_pixel;
    bool bottom_up;
};

bool read_bmp_header(FILE *file, BmpHeader &out) {
    std::array<uint8_t, 54> head{};
    if (fread(head.data(), 1, head.size(), file) != head.size()) return false;
    const uint32_t info_bytes = little_endian(&head[14], 4), bits = little_endian(&head[28], 2);
    if (info_bytes < 40 || (bits != 24 && bits != 32) || little_endian(&head[30], 4) != 0) return false;
    out.offset = little_endian(&head[10], 4);
    out.width = static_cast<int32_t>(little_endian(&head[18], 4));
    const int64_t height = static_cast<int32_t>(little_endian(&head[22], 4));
    out.bottom_up = height > 0;
    out.height = std::abs(height);
    out.bytes_per_pixel = static_cast<int>(bits / 8);
    out.line_bytes = (out.width * out.bytes_per_pixel + 3) / 4 * 4;
    struct stat info {};
    return good_size(out.width, out.height) && out.offset >= 14 + int64_t{info_bytes} &&
           fstat(fileno(file), &info) == 0 && info.st_size >= out.offset + out.line_bytes * out.height;
}

int read_bmp(FILE *file, BITMAP *bmp) {
    BmpHeader head{};
    if (!read_bmp_header(file, head) || fseek(file, static_cast<long>(head.offset), SEEK_SET) != 0)
        return not_a_picture;
    Pixels pixels = make_pixels(head.width, head.height);
    if (!pixels) return not_a_picture;
    std::vector<uint8_t> line(static_cast<size_t>(head.line_bytes));
    for (int64_t y = 0; y < head.height; ++y) {
        if (fread(line.data(), 1, line.size(), file) != line.size()) return not_a_picture;
        uint32_t *row = pixels.get() + (head.bottom_up ? head.height - 1 - y : y) * head.width;
        for (int64_t x = 0; x < head.width; ++x)
            row[x] = little_endian(&line[static_cast<size_t>(x * head.bytes_per_pixel)], 3);
    }
    return hand_over(bmp, head.width, head.height, std::move(pixels));
}

struct ImageUnref {
    void operator()(pixman_image_t *image) const { pixman_image_unref(image); }
};
using Image = std::unique_ptr<pixman_image_t, ImageUnref>;

// Maps the pixels of part, which lies within box, to the picture's.
void set_scale(pixman_image_t *picture, const BITMAP &bmp, const RECT &box, const RECT &part) {
    const double sx = static_cast<double>(bmp.bmWidth) / RECTW(box),
                 sy = static_cast<double>(bmp.bmHeight) / RECTH(box);
    pixman_transform_t transform;
    pixman_transform_init_identity(&transform);
    transform.matrix[0][0] = std::max(1, pixman_double_to_fixed(sx));
    transform.matrix[1][1] = std::max(1, pixman_double_to_fixed(sy));
    transform.matrix[0][2] = pixman_double_to_fixed(sx * (part.left - box.left));
    transform.matrix[1][2] = pixman_double_to_fixed(sy * (part.top - box.top));
    pixman_image_set_transform(picture, &transform);
    pixman_image_set_repeat(picture, PIXMAN_REPEAT_PAD);
    const bool same_size = bmp.bmWidth == RECTW(box) && bmp.bmHeight == RECTH(box);
    pixman_image_set_filter(picture, same_size ? PIXMAN_FILTER_NEAREST : PIXMAN_FILTER_BILINEAR, nullptr, 0);
}

} // namespace

int LoadBitmapFromFile(HDC, BITMAP *bmp, const char *path) {
    if (!bmp || !path) return cannot_open;
    const File file(fopen(path, "rbe"));
    if (!file) return cannot_open;
    std::array<uint8_t, 8> magic{};
    const size_t got = fread(magic.data(), 1, magic.size(), file.get());
    rewind(file.get());
    if (got == magic.size() && png_sig_cmp(magic.data(), 0, magic.size()) == 0)
        return read_png(file.get(), bmp);
    if (got >= 2 && magic[0] == 'B' && magic[1] == 'M') return read_bmp(file.get(), bmp);
    return not_a_picture;
}

void UnloadBitmap(BITMAP *bmp) {
    if (!bmp) return;
    free(bmp->pixels);
    *bmp = {};
}

int FillBoxWithBitmap(HDC hdc, int x, int y, int w, int h, const BITMAP *bmp) {
    Canvas *c = canvas_of(hdc);
    if (!c || w <= 0 || h <= 0 || !bmp || !bmp->pixels || !good_size(bmp->bmWidth, bmp->bmHeight)) return -1;
    const RECT box = page_rect(*c, x, y, int64_t{x} + w, int64_t{y} + h);
    canvas_forget_texts(*c, box);
    const RECT part = rect_common(box, c->clip.extents());
    if (!c->page || rect_empty(part)) return 0;
    const Image picture(pixman_image_create_bits_no_clear(PIXMAN_x8r8g8b8, bmp->bmWidth, bmp->bmHeight,
                                                          bmp->pixels,
                                                          bmp->bmWidth * static_cast<int>(sizeof(uint32_t))));
    if (!picture) return -1;
    set_scale(picture.get(), *bmp, box, part);
    canvas_begin(*c, part, true);
    pixman_image_set_clip_region32(c->page, c->clip.get());
    pixman_image_composite32(PIXMAN_OP_SRC, picture.get(), nullptr, c->page, 0, 0, 0, 0, part.left, part.top,
                             RECTW(part), RECTH(part));
    return 0;
}
