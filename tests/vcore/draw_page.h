// A page in memory to draw on, with a guard band of pixels around it that nothing may touch.
#pragma once

#include "dc.h"
#include "region.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

inline std::ostream &operator<<(std::ostream &out, const RECT &r) {
    return out << r.left << ',' << r.top << '-' << r.right << ',' << r.bottom;
}
inline bool operator==(const RECT &a, const RECT &b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

class Page {
public:
    static constexpr uint32_t GROUND = 0x202020, GUARD = 0x5A5A5A;
    inline static Page *drawn_on = nullptr; // the page made last of those that live
    DcTarget target;
    std::vector<PaintedText> texts;
    RECT damage{};
    HDC hdc = HDC_INVALID;

    Page(int width, int height) : stride_(width + 8) {
        memory_.assign(static_cast<size_t>(stride_) * static_cast<size_t>(height + 2), GUARD);
        target.pixels = &memory_[static_cast<size_t>(stride_) + 4];
        target.stride = stride_;
        target.width = width;
        target.height = height;
        target.texts = &texts;
        before_ = std::exchange(drawn_on, this);
        target.about_to_draw = [](const RECT &r, bool) { drawn_on->add_damage(r); };
        clear();
        hdc = dc_open(target);
    }
    Page(const Page &) = delete;
    Page &operator=(const Page &) = delete;
    ~Page() {
        drawn_on = before_;
        dc_close(hdc);
        EXPECT_TRUE(guard_is_whole()) << "drawn outside the page";
    }
    // Opens the context anew: for a client area and the given clip boxes (page coordinates).
    void reopen(const RECT &client, std::vector<RECT> clip = {}) {
        dc_close(hdc);
        target.origin_x = client.left, target.origin_y = client.top;
        target.client_width = RECTW(client), target.client_height = RECTH(client);
        clip_.clear();
        for (const RECT &r : clip) clip_.add(r);
        target.clip = clip.empty() ? nullptr : clip_.get();
        hdc = dc_open(target);
    }
    uint32_t at(int x, int y) { return place(x, y) & 0xFFFFFF; }
    // Bounds and number of the pixels that are no longer the ground.
    RECT ink() {
        RECT r{target.width, target.height, 0, 0};
        for (int y = 0; y < target.height; ++y)
            for (int x = 0; x < target.width; ++x)
                if (at(x, y) != GROUND)
                    r = {std::min(r.left, x), std::min(r.top, y), std::max(r.right, x + 1), std::max(r.bottom, y + 1)};
        return r.right ? r : RECT{};
    }
    int inked() {
        const auto kept = std::count_if(memory_.begin(), memory_.end(), [](uint32_t p) { return p == GROUND || p == GUARD; });
        return static_cast<int>(static_cast<ptrdiff_t>(memory_.size()) - kept);
    }
    void clear() {
        for (int y = 0; y < target.height; ++y) std::fill_n(&place(0, y), target.width, GROUND);
        texts.clear();
        damage = {};
    }

private:
    uint32_t &place(int x, int y) { return target.pixels[y * stride_ + x]; }
    void add_damage(const RECT &r) {
        damage = damage.right == 0 ? r
                                   : RECT{std::min(damage.left, r.left), std::min(damage.top, r.top),
                                          std::max(damage.right, r.right), std::max(damage.bottom, r.bottom)};
    }
    bool guard_is_whole() const {
        const auto kept = static_cast<size_t>(std::count(memory_.begin(), memory_.end(), GUARD));
        return kept >= memory_.size() - static_cast<size_t>(target.width) * static_cast<size_t>(target.height);
    }
    Page *before_ = nullptr;
    int stride_;
    std::vector<uint32_t> memory_;
    vcore::Region clip_;
};
