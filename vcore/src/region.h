// A set of pixels, owned.
#pragma once

#include <pixman.h>
#include <span>
#include <tp_gui.h>
#include <utility>

namespace vcore {

inline bool contains(const RECT &outer, const RECT &inner) {
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right && inner.bottom <= outer.bottom;
}

class Region {
public:
    Region() { pixman_region32_init(&region_); }
    explicit Region(const RECT &r) {
        if (r.right > r.left && r.bottom > r.top)
            pixman_region32_init_rect(&region_, r.left, r.top, static_cast<unsigned>(RECTW(r)), static_cast<unsigned>(RECTH(r)));
        else pixman_region32_init(&region_);
    }
    Region(const Region &other) : Region() { *this = other; }
    Region(Region &&other) noexcept : Region() { *this = std::move(other); }
    ~Region() { pixman_region32_fini(&region_); }
    Region &operator=(const Region &other) {
        pixman_region32_copy(&region_, other.get());
        return *this;
    }
    Region &operator=(Region &&other) noexcept {
        std::swap(region_, other.region_);
        return *this;
    }

    void add(const RECT &r) {
        if (r.right <= r.left || r.bottom <= r.top) return;
        pixman_region32_union_rect(&region_, &region_, r.left, r.top, static_cast<unsigned>(RECTW(r)),
                                   static_cast<unsigned>(RECTH(r)));
    }
    void add(const Region &other) { pixman_region32_union(&region_, &region_, other.get()); }
    void subtract(const Region &other) { pixman_region32_subtract(&region_, &region_, other.get()); }
    void subtract(const RECT &r) {
        if (meets(r)) subtract(Region(r));
    }
    void intersect(const Region &other) { pixman_region32_intersect(&region_, &region_, other.get()); }
    void intersect(const RECT &r) {
        if (!contains(r, extents())) intersect(Region(r));
    }
    void clear() { pixman_region32_clear(&region_); }

    bool empty() const { return !pixman_region32_not_empty(get()); }
    RECT extents() const {
        const pixman_box32_t *box = pixman_region32_extents(get());
        return {box->x1, box->y1, box->x2, box->y2};
    }
    std::span<const pixman_box32_t> boxes() const {
        int count = 0;
        const pixman_box32_t *first = pixman_region32_rectangles(get(), &count);
        return {first, static_cast<size_t>(count)};
    }
    // pixman takes what it only reads without const.
    pixman_region32_t *get() const { return const_cast<pixman_region32_t *>(&region_); }

private:
    bool meets(const RECT &r) const {
        const RECT e = extents();
        return r.left < e.right && e.left < r.right && r.top < e.bottom && e.top < r.bottom;
    }

    pixman_region32_t region_;
};

inline bool contains(const RECT &r, int x, int y) { return x >= r.left && x < r.right && y >= r.top && y < r.bottom; }
inline bool same(const RECT &a, const RECT &b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

} // namespace vcore
