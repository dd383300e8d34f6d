// The panel: drawing goes to the hidden page and a flush flips the pages. The pixels that the flip leaves old on the page
// that it hides are remembered: a drawing that covers them makes them new, the rest is copied before the next flip.
#include "panel.h"

#include "dc.h"

#include <algorithm>
#include <android/log.h>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>
#include <thread>
#include <tki_lcd.h>
#include <tp_globals.h>
#include <vector>

namespace vcore {
namespace {
constexpr size_t FOLD_AT = 1024;  // rectangles collected before they are merged
constexpr size_t HELD_MAX = 64;   // drawings per page
constexpr size_t PIECES_MAX = 64; // of old pixels: more are dearer to keep account of than to copy
constexpr int UNLIMITED = 32767;  // the largest coordinate that a touch can carry

using Held = std::vector<std::shared_ptr<const Drawing>>;

struct Panel {
    bool mapped = false;
    tki_lcd_info info{};
    tki_api_LCD_Refresh_t refresh = nullptr;
    std::vector<pixman_box32_t> drawn; // on the hidden page since the last flush, not merged yet
    Region damage;                     // the same, merged
    Region old;                        // pixels of the hidden page that the visible one has newer, but for what is in drawn
    Held held[2];                      // the drawings that each page shows and that nothing was drawn on since
    bool refresh_failed = false;
};
Panel g_panel;
PanelCounts g_counts;

// Makes the hidden page black while the program starts. A program that ends before its first window waits for it.
struct FirstPage {
    std::thread worker;
    void finish() {
        if (worker.joinable()) worker.join();
    }
    ~FirstPage() { finish(); }
};
FirstPage g_first_page;

template <class Function> Function program_slot(const char *name) {
    auto *slot = static_cast<Function *>(dlsym(RTLD_DEFAULT, name));
    return slot ? *slot : nullptr;
}

bool within(const pixman_box32_t &outer, const pixman_box32_t &inner) {
    return inner.x1 >= outer.x1 && inner.y1 >= outer.y1 && inner.x2 <= outer.x2 && inner.y2 <= outer.y2;
}

// One box that covers exactly both, where there is one: cells under a finger lie side by side.
bool join(pixman_box32_t &a, const pixman_box32_t &b) {
    const bool row = a.y1 == b.y1 && a.y2 == b.y2 && a.x1 <= b.x2 && b.x1 <= a.x2;
    const bool column = a.x1 == b.x1 && a.x2 == b.x2 && a.y1 <= b.y2 && b.y1 <= a.y2;
    if (!row && !column) return false;
    a = {std::min(a.x1, b.x1), std::min(a.y1, b.y1), std::max(a.x2, b.x2), std::max(a.y2, b.y2)};
    return true;
}

pixman_box32_t box_of(const RECT &r) { return {r.left, r.top, r.right, r.bottom}; }
bool meet(const pixman_box32_t &a, const RECT &b) {
    return a.x1 < b.right && b.left < a.x2 && a.y1 < b.bottom && b.top < a.y2;
}

Held &held_hidden() { return g_panel.held[1 - g_panel.info.visible]; }

void forget_held(const pixman_box32_t &box) {
    Held &held = held_hidden();
    if (!held.empty()) std::erase_if(held, [&](const auto &drawing) { return meet(box, drawing->rect); });
}

// Draws on the hidden page what it does not show yet.
void hold(const std::shared_ptr<const Drawing> &drawing) {
    Held &held = held_hidden();
    if (std::any_of(held.begin(), held.end(), [&](const auto &known) { return drawing_same(*known, *drawing); })) return;
    const pixman_box32_t box = box_of(drawing->rect);
    std::vector<const Drawing *> shown;
    for (const auto &known : held)
        if (meet(box, known->rect)) shown.push_back(known.get());
    const PanelPage page = panel_hidden_page();
    drawing_paint(*drawing, page.pixels, page.stride, shown);
    forget_held(box);
    if (held.size() == HELD_MAX) held.erase(held.begin());
    held.push_back(drawing);
}

void bring_up_to_date(const Region &region) {
    const PanelPage hidden = panel_hidden_page();
    const uint32_t *visible = g_panel.info.page[g_panel.info.visible];
    const auto stride = static_cast<size_t>(hidden.stride);
    for (const pixman_box32_t &box : region.boxes()) {
        forget_held(box);
        const size_t width = static_cast<size_t>(box.x2 - box.x1), rows = static_cast<size_t>(box.y2 - box.y1);
        const size_t start = static_cast<size_t>(box.y1) * stride + static_cast<size_t>(box.x1);
        g_counts.copied += width * rows;
        // Lines without a gap between them are copied in one go.
        const size_t run = width == stride ? width * rows : width;
        for (size_t at = start; at < start + rows * stride; at += run == width ? stride : run)
            memcpy(hidden.pixels + at, visible + at, run * 4);
    }
}

// Drawings are drawn anew, which is faster than to copy them.
void bring_all_up_to_date() {
    Region &old = g_panel.old;
    for (const auto &drawing : g_panel.held[g_panel.info.visible]) {
        const RECT &r = drawing->rect;
        pixman_box32_t box = box_of(r);
        if (pixman_region32_contains_rectangle(old.get(), &box) != PIXMAN_REGION_IN) continue;
        hold(drawing);
        g_counts.copied += static_cast<uint64_t>(RECTW(r)) * static_cast<uint64_t>(RECTH(r));
        old.subtract(r);
    }
    bring_up_to_date(g_panel.old);
    g_panel.old.clear();
}

void merge_drawn() {
    Panel &p = g_panel;
    if (p.drawn.empty()) return;
    pixman_region32_t boxes;
    if (pixman_region32_init_rects(&boxes, p.drawn.data(), static_cast<int>(p.drawn.size()))) {
        pixman_region32_union(p.damage.get(), p.damage.get(), &boxes);
        if (!p.old.empty()) pixman_region32_subtract(p.old.get(), p.old.get(), &boxes);
        pixman_region32_fini(&boxes);
    } else {
        p.damage.add(panel_rect());
        for (const pixman_box32_t &box : p.drawn) p.old.subtract(RECT{box.x1, box.y1, box.x2, box.y2});
    }
    p.drawn.clear();
    if (p.old.boxes().size() > PIECES_MAX) bring_all_up_to_date();
}

uint64_t area(const Region &region) {
    uint64_t sum = 0;
    for (const pixman_box32_t &box : region.boxes())
        sum += static_cast<uint64_t>(box.x2 - box.x1) * static_cast<uint64_t>(box.y2 - box.y1);
    return sum;
}
pixman_box32_t on_panel(const RECT &r) {
    const tki_lcd_info &info = g_panel.info;
    return {std::max(r.left, 0), std::max(r.top, 0), std::min<int>(r.right, info.width), std::min<int>(r.bottom, info.height)};
}

void note_drawn(const pixman_box32_t &box, bool whole) {
    Panel &p = g_panel;
    if (box.x1 >= box.x2 || box.y1 >= box.y2) return;
    // Most drawing is details on a ground that was filled just before.
    if (!p.drawn.empty() && within(p.drawn.back(), box)) return;
    if (!whole && !p.old.empty()) {
        merge_drawn();
        Region part(RECT{box.x1, box.y1, box.x2, box.y2});
        part.intersect(p.old);
        bring_up_to_date(part);
    }
    if (!p.drawn.empty() && join(p.drawn.back(), box)) {
        const size_t n = p.drawn.size();
        if (n > 1 && join(p.drawn[n - 2], p.drawn[n - 1])) p.drawn.pop_back();
        return;
    }
    p.drawn.push_back(box);
    if (p.drawn.size() >= FOLD_AT) merge_drawn();
}

// The memory of a mapped file comes in page by page at the first touch, which takes longer than filling it.
void start_first_page() {
    const size_t bytes = size_t{g_panel.info.stride} * g_panel.info.height;
    uint32_t *hidden = g_panel.info.page[1 - g_panel.info.visible];
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // signals are for the other threads
    g_first_page.worker = std::thread([hidden, bytes] { memset(hidden, 0, bytes); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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
    panel_about_to_draw(panel_rect(), true);
    start_first_page();
    return 0;
}

void panel_close() {
    g_first_page.finish();
    g_panel = Panel();
}

PanelPage panel_hidden_page() {
    if (!g_panel.mapped) return {};
    g_first_page.finish();
    return {g_panel.info.page[1 - g_panel.info.visible], static_cast<int>(g_panel.info.stride / 4)};
}

RECT panel_rect() {
    if (g_panel.mapped) return {0, 0, g_panel.info.width, g_panel.info.height};
    if (g_ptScreenInfo.width && g_ptScreenInfo.height) return {0, 0, g_ptScreenInfo.width, g_ptScreenInfo.height};
    return {0, 0, UNLIMITED, UNLIMITED};
}

void panel_about_to_draw(const RECT &r, bool whole) {
    if (!g_panel.mapped) return;
    const pixman_box32_t box = on_panel(r);
    forget_held(box);
    note_drawn(box, whole);
}

void panel_show(Drawing &&drawing) {
    if (!g_panel.mapped) return;
    note_drawn(on_panel(drawing.rect), true);
    hold(std::make_shared<const Drawing>(std::move(drawing)));
}

bool panel_drawn() { return !g_panel.drawn.empty() || !g_panel.damage.empty(); }

void panel_fill_black(const Region &region) {
    const PanelPage page = panel_hidden_page();
    if (!page.pixels) return;
    dc_forget_solid();
    Region inside = region;
    inside.intersect(panel_rect());
    for (const pixman_box32_t &box : inside.boxes()) {
        panel_about_to_draw({box.x1, box.y1, box.x2, box.y2}, true);
        fill_rect(page.pixels, page.stride, {box.x1, box.y1, box.x2, box.y2}, 0);
    }
}

bool panel_flush() {
    Panel &p = g_panel;
    if (!p.mapped) return false;
    merge_drawn();
    if (p.damage.empty()) return false;
    g_first_page.finish();
    bring_all_up_to_date();
    const RECT bounds = p.damage.extents();
    const tki_lcd_rect rect{bounds.left, bounds.top, bounds.right, bounds.bottom};
    const int next = 1 - p.info.visible;
    if (p.refresh(&rect) != next) {
        // The damage is kept: the next flush shows it too.
        if (!p.refresh_failed) __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s the panel did not flip", __func__);
        p.refresh_failed = true;
        return false;
    }
    p.refresh_failed = false;
    p.info.visible = next;
    g_counts.damaged += area(p.damage);
    std::swap(p.old, p.damage); // nothing was old any more
    if (p.old.boxes().size() > PIECES_MAX) bring_all_up_to_date();
    return true;
}

PanelCounts &panel_counts() { return g_counts; }
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
