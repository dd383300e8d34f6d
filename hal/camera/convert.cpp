#include "camera/source.h"

#include <algorithm>
#include <linux/videodev2.h>

namespace camera {
namespace {
uint32_t pack(int r, int g, int b) {
    return static_cast<uint32_t>(std::clamp(r, 0, 255) << 16 | std::clamp(g, 0, 255) << 8 | std::clamp(b, 0, 255));
}

// Studio range of ITU-R BT.601, in 1/256.
uint32_t from_yuv(int y, int u, int v) {
    const int c = 298 * (y - 16) + 128, d = u - 128, e = v - 128;
    return pack((c + 409 * e) >> 8, (c - 100 * d - 208 * e) >> 8, (c + 516 * d) >> 8);
}

// Bytes per pixel and where red, green and blue stand among them.
struct Packed {
    uint32_t format;
    size_t size, r, g, b;
};
constexpr Packed PACKED[] = {{V4L2_PIX_FMT_RGB24, 3, 0, 1, 2},
                             {V4L2_PIX_FMT_BGR24, 3, 2, 1, 0},
                             {V4L2_PIX_FMT_XRGB32, 4, 1, 2, 3},
                             {V4L2_PIX_FMT_XBGR32, 4, 2, 1, 0}};
} // namespace

bool convert_line(uint32_t format, std::span<const uint8_t> line, std::span<uint32_t> out) {
    if (format == V4L2_PIX_FMT_YUYV) {
        if (line.size() < (out.size() + 1) / 2 * 4) return false;
        for (size_t x = 0; x < out.size(); ++x) {
            const uint8_t *pair = &line[x / 2 * 4];
            out[x] = from_yuv(pair[x % 2 * 2], pair[1], pair[3]);
        }
        return true;
    }
    const auto *packed = std::find_if(std::begin(PACKED), std::end(PACKED), [=](const Packed &p) { return p.format == format; });
    if (packed == std::end(PACKED) || line.size() < out.size() * packed->size) return false;
    for (size_t x = 0; x < out.size(); ++x) {
        const uint8_t *pixel = &line[x * packed->size];
        out[x] = pack(pixel[packed->r], pixel[packed->g], pixel[packed->b]);
    }
    return true;
}

} // namespace camera
