// What the page is sent of a screen: rectangles of pixels, found by comparing, packed in runs where that is shorter.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vh::console {

struct Rect {
    int left = 0, top = 0, right = 0, bottom = 0;
    bool empty() const { return left >= right || top >= bottom; }
    bool operator==(const Rect &) const = default;
};

// Pixels are 0x00RRGGBB, rows without gaps.
struct Image {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;
};

// Takes from a page (stride in pixels) what is new within `area` and returns where that was: bands of lines, each as narrow as its
// changes. The image has the page's size.
std::vector<Rect> take_changes(Image &image, const uint32_t *page, size_t stride, Rect area);
// The changes that a reader has not been sent yet. Few rectangles: many become one around them all.
void add_damage(std::vector<Rect> &damage, const Rect &more);
// Smaller by a whole number, so that it is at most that wide; each pixel the mean of those it stands for.
Image reduced(const Image &image, int width);

// One message, little endian:
//   u8 1, u8 subscription, u16 width, u16 height of the screen, u16 rectangles; then for each rectangle
//   u16 left, top, width, height, u32 words, and as many words of 32 bits. words = width * height: the pixels, row by row,
//   as bytes R G B 255. Otherwise runs: n << 1 | 1 and a pixel that comes n times, or n << 1 and n pixels.
std::string frame_message(uint8_t subscription, const Image &image, std::span<const Rect> rects);

} // namespace vh::console
