// Where the circles of the touch panel test lie on a panel that is no rectangle: a ring along its edge and a grid around its
// middle. Nothing here draws.
#pragma once

#include <vector>

struct TouchPoint {
    int x, y;
};
struct TouchCircles {
    int radius = 0; // pixels, of every circle
    std::vector<TouchPoint> centres;
};

constexpr int ROUND_PANEL = 1;

// The panel's corner radius in pixels: half the shorter side of a round panel (a square one is a circle, a longer one has
// two half circles), else an eighth of it.
int touch_corner_radius(int width, int height, int shape);
// Every circle lies wholly on the panel, and none meets another.
TouchCircles touch_circles(int width, int height, int shape);
// Whether the straight line between two points, which may be one, meets a circle.
bool touch_line_meets(const TouchCircles &circles, TouchPoint centre, TouchPoint from, TouchPoint to);
