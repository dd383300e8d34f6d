// The panel: drawing goes to the hidden page, a flush flips the pages and copies to the new hidden page exactly the
// pixels that the flip left old there.
#include "panel.h"

#include <algorithm>
#include <android/log.h>
#include <cstring>
#include <dlfcn.h>
#include <tki_lcd.h>
#include <tp_globals.h>
#include <vector>

namespace vcore {
namespace {
constexpr size_t FOLD_AT = 1024;  // rectangles collected before they are merged
constexpr int UNLIMITED = 32767;  // the largest coordinate that a touch can carry

struct Panel {
    bool mapped = false;
    tki_lcd_info info{};
    tki_api_LCD_Refresh_t refresh = nullptr;
    std::vector<pixman_box32_t> drawn; // on the hidden page since the last flush, not merged yet
    Region damage;                     // the same, merged
    Region drawn_visible;              // drawn through a device context that was held over a flush
    bool refresh_failed = false;
};
Panel g_panel;

template <class Function> Function program_slot(const char *name) {
    auto *slot = static_cast<Function *>(dlsym(RTLD_DEFAULT, name));
    return slot ? *slot : nullptr;
}

void merge_drawn() {
    Panel &p = g_panel;
    if (p.drawn.empty()) return;
    pixman_region32_t boxes;
    if (pixman_region32_init_rects(&boxes, p.drawn.data(), static_cast<int>(p.drawn.size()))) {
        pixman_region32_union(p.damage.get(), p.damage.get(), &boxes);
        pixman_region32_fini(&boxes);
    } else {
        p.damage.add(panel_rect());
    }
    p.drawn.clear();
}

void copy_region(const Region &region, int from, int to) {
    const size_t stride = g_panel.info.stride / 4;
    for (const pixman_box32_t &box : region.boxes()) {
        const size_t start = static_cast<size_t>(box.y1) * stride + static_cast<size_t>(box.x1);
        const uint32_t *source = g_panel.info.page[from] + start;
        uint32_t *target = g_panel.info.page[to] + start;
        const size_t width = static_cast<size_t>(box.x2 - box.x1);
        size_t rows = static_cast<size_t>(box.y2 - box.y1);
        if (width == stride) {
            memcpy(target, source, width * rows * 4);
            continue;
        }
        for (; rows; --rows, source += stride, target += stride) memcpy(target, source, width * 4);
    }
}
} // namespace

int panel_open() {
    panel_close();
    const auto get_info = program_slot<tki_api_LCD_Get_Info_t>("tki_api_LCD_Get_Info");
    const auto refresh = program_slot<tki_api_LCD_Refresh_t>("tki_api_LCD_Refresh");
    tki_lcd_info info{};
    if (!get_info || !refresh || get_info(&info) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s no panel: nothing will be shown", __func__);
        return -1;
    }
    if (info.bits_per_pixel != 32 || info.stride % 4 || info.stride / 4 < info.width || !info.width || !info.height ||
        !info.page[0] || !info.page[1]) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s panel %ux%u, stride %u, depth %u cannot be used", __func__,
                            info.width, info.height, info.stride, info.bits_per_pixel);
        return -1;
    }
    g_panel.info = info;
    g_panel.refresh = refresh;
    g_panel.mapped = true;
    panel_fill_black(Region(panel_rect()));
    return 0;
}

void panel_close() { g_panel = Panel(); }

PanelPage panel_hidden_page() {
    if (!g_panel.mapped) return {};
    const int hidden = 1 - g_panel.info.visible;
    return {g_panel.info.page[hidden], static_cast<int>(g_panel.info.stride / 4), hidden};
}

RECT panel_rect() {
    if (g_panel.mapped) return {0, 0, g_panel.info.width, g_panel.info.height};
    if (g_ptScreenInfo.width && g_ptScreenInfo.height) return {0, 0, g_ptScreenInfo.width, g_ptScreenInfo.height};
    return {0, 0, UNLIMITED, UNLIMITED};
}

void panel_damaged(int page, const RECT &r) {
    Panel &p = g_panel;
    if (!p.mapped) return;
    const pixman_box32_t box{std::max(r.left, 0), std::max(r.top, 0), std::min<int>(r.right, p.info.width),
                             std::min<int>(r.bottom, p.info.height)};
    if (box.x1 >= box.x2 || box.y1 >= box.y2) return;
    if (page == p.info.visible) {
        p.drawn_visible.add(RECT{box.x1, box.y1, box.x2, box.y2});
        return;
    }
    p.drawn.push_back(box);
    if (p.drawn.size() >= FOLD_AT) merge_drawn();
}

void panel_fill_black(const Region &region) {
    const PanelPage page = panel_hidden_page();
    if (!page.pixels) return;
    Region inside = region;
    inside.intersect(panel_rect());
    for (const pixman_box32_t &box : inside.boxes()) {
        for (int y = box.y1; y < box.y2; ++y)
            memset(page.pixels + static_cast<ptrdiff_t>(y) * page.stride + box.x1, 0, static_cast<size_t>(box.x2 - box.x1) * 4);
        panel_damaged(page.number, {box.x1, box.y1, box.x2, box.y2});
    }
}

void panel_flush() {
    Panel &p = g_panel;
    if (!p.mapped) return;
    merge_drawn();
    const int before = p.info.visible;
    if (!p.drawn_visible.empty()) {
        copy_region(p.drawn_visible, before, 1 - before);
        p.damage.add(p.drawn_visible);
        p.drawn_visible.clear();
    }
    if (p.damage.empty()) return;
    const RECT bounds = p.damage.extents();
    const tki_lcd_rect rect{bounds.left, bounds.top, bounds.right, bounds.bottom};
    if (p.refresh(&rect) != 1 - before) {
        // The damage is kept: the next flush shows it too.
        if (!p.refresh_failed) __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s the panel did not flip", __func__);
        p.refresh_failed = true;
        return;
    }
    p.refresh_failed = false;
    p.info.visible = 1 - before;
    copy_region(p.damage, 1 - before, before);
    p.damage.clear();
}
} // namespace vcore

int tp_man_lcd_get_info_only() {
    const auto get_info = vcore::program_slot<tki_api_LCD_Get_Info_t>("tki_api_LCD_Get_Info");
    tki_lcd_info info{};
    if (!get_info || get_info(&info) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s the panel cannot be described", __func__);
        return -1;
    }
    g_ptScreenInfo = {info.width, info.height};
    return 0;
}
