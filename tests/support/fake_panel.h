// A panel in memory for tests that draw without a handset: two pages, flips counted, pixels readable.
#pragma once

#include <atomic>
#include <cstdint>
#include <tki_lcd.h>
#include <vector>

namespace fake_panel {
inline int width = 720, height = 1280;
inline std::vector<uint32_t> memory;
inline std::atomic<int> visible{0};
inline std::atomic<int> refreshes{0};
inline tki_lcd_rect last_damage{};

inline void resize(int w, int h) {
    width = w;
    height = h;
    memory.assign(static_cast<size_t>(w) * static_cast<size_t>(h) * 2, 0);
    visible = 0;
    refreshes = 0;
}
inline int get_info(tki_lcd_info *out) {
    if (memory.empty()) resize(width, height);
    out->width = static_cast<uint16_t>(width);
    out->height = static_cast<uint16_t>(height);
    out->stride = static_cast<uint32_t>(width) * 4;
    out->bits_per_pixel = 32;
    out->page[0] = memory.data();
    out->page[1] = memory.data() + static_cast<size_t>(width) * static_cast<size_t>(height);
    out->visible = visible;
    return 0;
}
inline int refresh(const tki_lcd_rect *damage) {
    if (damage) {
        visible = 1 - visible;
        last_damage = *damage;
    }
    ++refreshes;
    return visible;
}
// The visible page's pixel, 0x00RRGGBB.
inline uint32_t pixel(int x, int y) {
    return memory[static_cast<size_t>(visible) * static_cast<size_t>(width) * static_cast<size_t>(height) +
                  static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] & 0xffffff;
}
} // namespace fake_panel
