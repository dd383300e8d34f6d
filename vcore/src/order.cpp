// Order, activation, and what of a window is seen.
#include "window.h"

#include <algorithm>

#include "panel.h"

namespace vcore {
namespace {
HWND g_active = HWND_NULL;

Region desktop_region() {
    Region region(panel_rect());
    for (const Window *w : main_windows())
        if (w->visible) region.subtract(w->rect);
    return region;
}
} // namespace

Region visible_region(const Window &window, bool without_children) {
    Region region(window.rect);
    if (!window_shown(&window)) return {};
    const Window *at = &window;
    for (; at->parent; at = at->parent) {
        region.intersect(at->parent->rect);
        const auto &siblings = at->parent->children;
        for (auto above = std::find(siblings.begin(), siblings.end(), at) + 1; above < siblings.end(); ++above)
            if ((*above)->visible) region.subtract((*above)->rect);
    }
    region.intersect(panel_rect());
    const auto &mains = main_windows();
    const auto self = std::find(mains.begin(), mains.end(), at);
    if (self == mains.end()) return {};
    for (auto above = self + 1; above < mains.end(); ++above)
        if ((*above)->visible) region.subtract((*above)->rect);
    if (without_children)
        for (const Window *child : window.children)
            if (child->visible) region.subtract(child->rect);
    return region;
}

void invalidate_tree(Window &window, const Region &region, bool erase) {
    if (!window_shown(&window)) return;
    Region inside = region;
    inside.intersect(window.rect);
    if (inside.empty()) return;
    window.invalid.add(inside);
    window.erase |= erase;
    for (Window *child : window.children) invalidate_tree(*child, inside, true);
}

const WindowRef &window_at(int x, int y) {
    const auto &mains = main_windows();
    const auto under = [x, y](const Window *w) { return w->visible && contains(w->rect, x, y); };
    const auto main = std::find_if(mains.rbegin(), mains.rend(), under);
    if (main == mains.rend()) return window_find(HWND_NULL);
    const Window *found = *main;
    for (;;) {
        const auto child = std::find_if(found->children.rbegin(), found->children.rend(), under);
        if (child == found->children.rend()) return window_find(found->handle);
        found = *child;
    }
}

SeenChange::SeenChange() : desktop_(desktop_region()) {
    for (const Window *w : main_windows())
        if (w->visible) seen_.emplace_back(w->handle, visible_region(*w, false));
}

SeenChange::~SeenChange() {
    for (Window *w : main_windows()) {
        if (!w->visible) continue;
        Region fresh = visible_region(*w, false);
        const auto before = std::find_if(seen_.begin(), seen_.end(), [w](const auto &s) { return s.first == w->handle; });
        if (before != seen_.end()) fresh.subtract(before->second);
        invalidate_tree(*w, fresh, true);
    }
    Region bare = desktop_region();
    bare.subtract(desktop_);
    panel_fill_black(bare);
}

void window_raise(Window &window) {
    auto &mains = main_windows();
    const auto self = std::find(mains.begin(), mains.end(), &window);
    if (self == mains.end()) return;
    std::rotate(self, self + 1, mains.end());
    std::vector<Window *> hosted;
    for (Window *w : mains)
        if (w->host == window.handle) hosted.push_back(w);
    for (Window *w : hosted) window_raise(*w);
}

void window_activate(HWND next) {
    const HWND before = g_active;
    g_active = next;
    if (before != next)
        if (const WindowRef old = window_find(before)) window_call(old, MSG_ACTIVE, 0, 0);
    // The old one's procedure may have activated somebody else, or closed the new one.
    if (const WindowRef now = window_find(next); now && g_active == next) window_call(now, MSG_ACTIVE, 1, 0);
}

void activate_topmost_if_lost() {
    const WindowRef active = window_find(g_active);
    if (active && active->visible && !active->dying) return;
    const auto &mains = main_windows();
    const auto top = std::find_if(mains.rbegin(), mains.rend(), [](const Window *w) { return w->visible && !w->dying; });
    window_activate(top == mains.rend() ? HWND_NULL : (*top)->handle);
}

namespace {
void forget_texts(Window &w) {
    w.texts.clear();
    w.invalid.clear();
    for (Window *child : w.children) forget_texts(*child);
}

void show_control(Window &w, bool show) {
    if (w.visible == show) return;
    if (!show) forget_texts(w);
    w.visible = show;
    if (show) invalidate_tree(w, Region(w.rect), true);
    else if (w.parent) invalidate_tree(*w.parent, Region(w.rect), true);
}

void show_main(const WindowRef &w, int cmd) {
    {
        const SeenChange change;
        const bool appears = !w->visible;
        w->visible = true;
        if (cmd == SW_SHOWNORMAL) window_raise(*w);
        // Also where it is covered: its texts belong into the description.
        if (appears) invalidate_tree(*w, Region(w->rect), true);
    }
    if (cmd == SW_SHOWNORMAL) window_activate(w->handle);
}

void hide_main(Window &w) {
    if (!w.visible) return;
    {
        const SeenChange change;
        w.visible = false;
        forget_texts(w);
    }
    activate_topmost_if_lost();
}
} // namespace
} // namespace vcore

using namespace vcore;

int ShowWindow(HWND hwnd, int cmd) {
    GUI_THREAD_ONLY();
    const WindowRef w = window_find(hwnd);
    if (!w || w->dying) return -1;
    if (!w->is_main) show_control(*w, cmd != SW_HIDE);
    else if (cmd == SW_HIDE) hide_main(*w);
    else show_main(w, cmd);
    return 0;
}

HWND GetActiveWindow() {
    GUI_THREAD_ONLY();
    return window_find(g_active) ? g_active : HWND_NULL;
}

HWND SetActiveWindow(HWND hwnd) {
    GUI_THREAD_ONLY();
    const HWND before = GetActiveWindow();
    const WindowRef w = window_find(hwnd);
    if (!w || !w->is_main || !w->visible || w->dying) return before;
    {
        const SeenChange change;
        window_raise(*w);
    }
    if (before != hwnd) window_activate(hwnd);
    return before;
}
