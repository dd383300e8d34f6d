#include "console/frame.h"

#include <algorithm>
#include <cstring>

namespace vh::console {

namespace {
constexpr int BAND = 16;         // lines that are compared together
constexpr size_t MOST_RECTS = 24;
constexpr size_t SHORTEST_RUN = 4; // below that a run saves nothing
constexpr uint32_t SHOWN = 0xffffff; // the fourth byte of a pixel may hold anything

// First and last pixel that differ in a row; an empty range when none does.
void widen(const uint32_t *have, const uint32_t *now, int begin, int end, int &left, int &right) {
    if (memcmp(have + begin, now + begin, static_cast<size_t>(end - begin) * sizeof *have) == 0) return;
    int first = begin;
    while (have[first] == now[first]) ++first;
    int last = end;
    while (have[last - 1] == now[last - 1]) --last;
    left = std::min(left, first);
    right = std::max(right, last);
}

constexpr uint32_t packed(uint32_t pixel) {
    return 0xff000000u | (pixel & 0xff) << 16 | (pixel & 0xff00) | (pixel >> 16 & 0xff);
}

void put(std::string &out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> 8 * i & 0xff);
}

// How often a pixel is followed by another one. Runs pay as long as that is seldom.
size_t borders(const uint32_t *pixels, size_t count) {
    uint32_t found = 0;
    for (size_t i = 1; i < count; ++i) found += (pixels[i - 1] ^ pixels[i]) << 8 != 0;
    return found;
}

// Runs over the rows of a rectangle, one behind the other.
class Packer {
public:
    explicit Packer(std::vector<uint32_t> &words) : words_(words) {}
    void row(const uint32_t *pixels, size_t count) {
        for (size_t at = 0; at < count;) {
            const uint32_t pixel = pixels[at] & SHOWN;
            size_t end = at + 1;
            while (end < count && (pixels[end] & SHOWN) == pixel) ++end;
            if (run_ > 0 && pixel != pixel_) finish();
            pixel_ = pixel;
            run_ += static_cast<uint32_t>(end - at);
            at = end;
        }
    }
    void end() {
        finish();
        close_literal();
    }

private:
    void finish() {
        if (run_ >= SHORTEST_RUN) {
            close_literal();
            words_.push_back(run_ << 1 | 1);
            words_.push_back(packed(pixel_));
        } else {
            for (uint32_t i = 0; i < run_; ++i) literal(packed(pixel_));
        }
        run_ = 0;
    }
    void literal(uint32_t pixel) {
        if (!open_) {
            open_ = true;
            head_ = words_.size();
            words_.push_back(0);
        }
        words_.push_back(pixel);
    }
    void close_literal() {
        if (open_) words_[head_] = static_cast<uint32_t>(words_.size() - head_ - 1) << 1;
        open_ = false;
    }
    std::vector<uint32_t> &words_;
    uint32_t pixel_ = 0, run_ = 0;
    size_t head_ = 0;
    bool open_ = false;
};

void put_rect(std::string &out, const Image &image, const Rect &r, std::vector<uint32_t> &words) {
    const auto width = static_cast<size_t>(r.right - r.left), height = static_cast<size_t>(r.bottom - r.top), count = width * height;
    const auto row = [&](size_t y) {
        return &image.pixels[(static_cast<size_t>(r.top) + y) * static_cast<size_t>(image.width) + static_cast<size_t>(r.left)];
    };
    size_t changes = 0;
    for (size_t y = 0; y < height; ++y) changes += borders(row(y), width);
    words.clear();
    if (changes < count / 2) {
        Packer packer(words);
        for (size_t y = 0; y < height; ++y) packer.row(row(y), width);
        packer.end();
    }
    const bool as_they_are = words.empty() || words.size() >= count;
    for (const int side : {r.left, r.top, r.right - r.left, r.bottom - r.top}) put(out, static_cast<uint32_t>(side), 2);
    put(out, static_cast<uint32_t>(as_they_are ? count : words.size()), 4);
    if (!as_they_are) {
        out.append(reinterpret_cast<const char *>(words.data()), words.size() * sizeof words[0]);
        return;
    }
    words.resize(width);
    out.reserve(out.size() + count * sizeof words[0]);
    for (size_t y = 0; y < height; ++y) {
        const uint32_t *from = row(y);
        for (size_t x = 0; x < width; ++x) words[x] = packed(from[x]);
        out.append(reinterpret_cast<const char *>(words.data()), width * sizeof words[0]);
    }
}
} // namespace

std::vector<Rect> take_changes(Image &image, const uint32_t *page, size_t stride, Rect area) {
    area = {std::max(area.left, 0), std::max(area.top, 0), std::min(area.right, image.width), std::min(area.bottom, image.height)};
    std::vector<Rect> found;
    if (area.empty()) return found;
    for (int top = area.top; top < area.bottom; top += BAND) {
        const int bottom = std::min(top + BAND, area.bottom);
        int left = area.right, right = area.left, first = bottom, last = top;
        for (int y = top; y < bottom; ++y) {
            uint32_t *have = &image.pixels[static_cast<size_t>(y) * static_cast<size_t>(image.width)];
            const uint32_t *now = page + static_cast<size_t>(y) * stride;
            int l = area.right, r = area.left;
            widen(have, now, area.left, area.right, l, r);
            if (l >= r) continue;
            std::copy(now + l, now + r, have + l);
            left = std::min(left, l);
            right = std::max(right, r);
            first = std::min(first, y);
            last = y + 1;
        }
        if (left >= right) continue;
        // Bands that touch and are about as wide are one rectangle.
        if (!found.empty() && found.back().bottom == first && found.back().left == left && found.back().right == right)
            found.back().bottom = last;
        else found.push_back({left, first, right, last});
    }
    return found;
}

void add_damage(std::vector<Rect> &damage, const Rect &more) {
    const auto covers = [](const Rect &a, const Rect &b) {
        return a.left <= b.left && a.top <= b.top && a.right >= b.right && a.bottom >= b.bottom;
    };
    if (std::any_of(damage.begin(), damage.end(), [&](const Rect &r) { return covers(r, more); })) return;
    std::erase_if(damage, [&](const Rect &r) { return covers(more, r); });
    damage.push_back(more);
    if (damage.size() <= MOST_RECTS) return;
    Rect all = more;
    for (const Rect &r : damage)
        all = {std::min(all.left, r.left), std::min(all.top, r.top), std::max(all.right, r.right), std::max(all.bottom, r.bottom)};
    damage = {all};
}

Image reduced(const Image &image, int width) {
    const int factor = std::max(1, (image.width + width - 1) / width);
    Image small{image.width / factor, image.height / factor, {}};
    small.pixels.reserve(static_cast<size_t>(small.width) * static_cast<size_t>(small.height));
    const auto count = static_cast<uint32_t>(factor * factor);
    for (int y = 0; y < small.height; ++y)
        for (int x = 0; x < small.width; ++x) {
            uint32_t red = 0, green = 0, blue = 0;
            for (int dy = 0; dy < factor; ++dy) {
                const uint32_t *row = &image.pixels[static_cast<size_t>(y * factor + dy) * static_cast<size_t>(image.width) +
                                                    static_cast<size_t>(x * factor)];
                for (int dx = 0; dx < factor; ++dx) {
                    red += row[dx] >> 16 & 0xff;
                    green += row[dx] >> 8 & 0xff;
                    blue += row[dx] & 0xff;
                }
            }
            small.pixels.push_back(red / count << 16 | green / count << 8 | blue / count);
        }
    return small;
}

std::string frame_message(uint8_t subscription, const Image &image, std::span<const Rect> rects) {
    std::string out;
    put(out, 1, 1);
    put(out, subscription, 1);
    for (const int side : {image.width, image.height, static_cast<int>(rects.size())}) put(out, static_cast<uint32_t>(side), 2);
    std::vector<uint32_t> words;
    for (const Rect &r : rects) put_rect(out, image, r, words);
    return out;
}

} // namespace vh::console
