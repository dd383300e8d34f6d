#include "testwnd/touch_lanes.h"

#include <algorithm>
#include <numeric>

namespace {
constexpr int SHORTEST_CELL = 10;

bool runs_down(int lane) { return lane == 0 || lane == 3; }

int cell_length_for(int width) {
    const int half_screens = width / 16 < 45 ? 1 : 2;
    for (int length = 20 * half_screens; length > 10 * half_screens; --length)
        if (width % length == 0) return length;
    return 10 * half_screens;
}

// More than half a cell that is left over is one more.
int cells_along(int pixels, int length) { return pixels / length + (pixels % length * 10 > length * 5 ? 1 : 0); }

bool holds(const RECT &r, int x, int y) { return r.left < x && x < r.right && r.top < y && y < r.bottom; }

int first_cell(const TouchLanes &l, int lane) { return std::accumulate(l.cellCount, l.cellCount + lane, 0); }
} // namespace

TouchLanes touch_lanes(int width, int height, int cell_length) {
    const bool given = cell_length != 0 && cell_length <= width / 3;
    const int h = std::max(given ? cell_length : cell_length_for(width), SHORTEST_CELL);
    const int across = width / 3 / h; // cells that a lane is thick
    const int thick = across * h;
    const int down = cells_along(height - thick, h), right = cells_along(width - 2 * thick, h) + across;
    TouchLanes l{};
    l.cellHeight = h;
    l.cellWidth = thick;
    for (int lane = 0; lane < 4; ++lane) l.cellCount[lane] = runs_down(lane) ? down : right;
    l.lanes[0] = {0, 0, thick, h * down};
    l.lanes[1] = {0, h * down + 1, h * right, h * down + 1 + thick};
    l.lanes[2] = {thick + 1, 0, thick + 1 + h * right, thick};
    l.lanes[3] = {h * right + 1, thick + 1, h * right + 1 + thick, thick + 1 + h * down};
    l.totalCount = 2 * (right + down);
    return l;
}

int touch_cell_at(const TouchLanes &l, int x, int y) {
    for (int lane = 0; lane < 4; ++lane) {
        const RECT &r = l.lanes[lane];
        if (holds(r, x, y)) return first_cell(l, lane) + (runs_down(lane) ? y - r.top : x - r.left) / l.cellHeight;
    }
    return -1;
}

RECT touch_cell_rect(const TouchLanes &l, int cell) {
    int lane = 0;
    while (lane < 3 && cell >= l.cellCount[lane]) cell -= l.cellCount[lane++];
    const int along = cell * l.cellHeight, left = l.lanes[lane].left, top = l.lanes[lane].top;
    if (runs_down(lane)) return {left, top + along, left + l.cellWidth, top + along + l.cellHeight};
    return {left + along, top, left + along + l.cellHeight, top + l.cellWidth};
}
