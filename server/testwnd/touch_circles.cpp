#include "testwnd/touch_circles.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {
struct Vector {
    double x, y;
};

// The panel's outline. The middle is where its halves meet: between two pixels where a side is even.
struct Outline {
    double half_width, half_height, corner;
    Outline inside(double distance) const {
        return {half_width - distance, half_height - distance, std::max(corner - distance, 0.0)};
    }
    // How far a point seen from the middle lies inside; negative outside.
    double depth(Vector p) const {
        const double x = std::abs(p.x) - (half_width - corner), y = std::abs(p.y) - (half_height - corner);
        return corner - std::hypot(std::max(x, 0.0), std::max(y, 0.0)) - std::min(std::max(x, y), 0.0);
    }
    double straight(int side) const { return 2 * ((side % 2 == 0 ? half_width : half_height) - corner); }
    double quarter() const { return corner * std::numbers::pi / 2; }
    double length() const { return 2 * (straight(0) + straight(1)) + 4 * quarter(); }
    // The point so far along the outline, clockwise from the left end of the upper side.
    Vector at(double way) const {
        constexpr Vector AHEAD[4] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}}, OUT[4] = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
        int side = 0;
        while (side < 3 && way > straight(side) + quarter()) way -= straight(side) + quarter(), ++side;
        const Vector ahead = AHEAD[side], out = OUT[side];
        const double back = std::min(way - straight(side), 0.0);                                    // on the side
        const double angle = corner > 0 ? std::max(way - straight(side), 0.0) / corner : 0;         // behind it
        const double along = back + corner * std::sin(angle), outwards = corner * std::cos(angle);
        return {(ahead.x + out.x) * (half_width - corner) + ahead.x * along + out.x * outwards,
                (ahead.y + out.y) * (half_height - corner) + ahead.y * along + out.y * outwards};
    }
};

double distance_to_line(Vector p, Vector from, Vector to) {
    const Vector way{to.x - from.x, to.y - from.y};
    const double square = way.x * way.x + way.y * way.y;
    const double part =
        square > 0 ? std::clamp(((p.x - from.x) * way.x + (p.y - from.y) * way.y) / square, 0.0, 1.0) : 0;
    return std::hypot(p.x - from.x - part * way.x, p.y - from.y - part * way.y);
}

Vector exact(TouchPoint p) { return {static_cast<double>(p.x), static_cast<double>(p.y)}; }
} // namespace

int touch_corner_radius(int width, int height, int shape) {
    return std::min(width, height) / (shape == ROUND_PANEL ? 2 : 8);
}

TouchCircles touch_circles(int width, int height, int shape) {
    TouchCircles circles{std::max(std::min(width, height) / 24, 4), {}};
    const double radius = circles.radius, gap = radius / 2;
    const Vector middle{(width - 1) / 2.0, (height - 1) / 2.0};
    const auto add = [&](Vector p) {
        circles.centres.push_back({static_cast<int>(std::lround(middle.x + p.x)), static_cast<int>(std::lround(middle.y + p.y))});
    };
    const Outline panel{middle.x, middle.y, static_cast<double>(touch_corner_radius(width, height, shape))};
    const Outline ring = panel.inside(radius + 1);
    const int count = static_cast<int>(ring.length() / (2 * radius + gap)) / 4 * 4;
    for (int i = 0; i < count; ++i) // from the middle of the upper side
        add(ring.at(std::fmod(ring.straight(0) / 2 + i * ring.length() / count, ring.length())));
    const double step = 4 * radius;
    const int columns = static_cast<int>(middle.x / step), rows = static_cast<int>(middle.y / step);
    for (int row = -rows; row <= rows; ++row)
        for (int column = -columns; column <= columns; ++column)
            if (const Vector p{column * step, row * step}; ring.depth(p) >= 2 * radius + gap) add(p);
    return circles;
}

bool touch_line_meets(const TouchCircles &circles, TouchPoint centre, TouchPoint from, TouchPoint to) {
    return distance_to_line(exact(centre), exact(from), exact(to)) <= circles.radius;
}
