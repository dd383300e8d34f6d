#include "testwnd/sensor_view.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

#include "config/main_config.h"
#include "shell/fit_text.h"
#include "shell/main_menu.h"

namespace {
constexpr char CLASS[] = "sensorpart";
constexpr char DEGREES[] = "\xA1\xE3"; // GBK
constexpr int LEVEL = TKI_SENSORS, COMPASS = LEVEL + 1, NOTE = LEVEL + 2, PARTS = LEVEL + 3;
constexpr int FIRST_ID = 21;
constexpr int GROUND = 18, NORMAL = 19, CARD = 29, EDGE = 20, PALE = 7, PASSED = 10, CALM_GREEN = 24, FAILED = 12, AMBER = 23,
              RED = 25, DISC = 21;
constexpr int LOW_LINE = 48, LINE_MIN = 26, CAPTION_MIN = 16, LEAST_SIZE = 9; // pixels, for texts that can be read
constexpr double LEVEL_RANGE = 30, LEVEL_GOOD = 2; // degrees

SensorScene g_scene;
std::string g_looks[PARTS]; // as painted last

// ---- what is to be seen, as text: a part is painted again when it changes

std::string value_text(int sensor) {
    const SensorKind &kind = SENSOR_KINDS[sensor];
    if (!g_scene.rules.answers(sensor)) return lang_text("info_SensorNoAnswer").text;
    if (g_scene.rules.samples(sensor) == 0) return "-";
    std::string text;
    for (int i = 0; i < kind.values; ++i) {
        char value[64];
        snprintf(value, sizeof value, kind.format, static_cast<double>(g_scene.rules.last(sensor).values[i]));
        text += (i > 0 ? "  " : "") + std::string(value);
    }
    return text;
}

std::string step_text(int sensor, int step) {
    const char *key = SENSOR_KINDS[sensor].step_keys[step];
    if (key) return key[1] ? lang_text(key).text : key;
    char text[64];
    snprintf(text, sizeof text, "%g ~ %g", g_scene.limits[sensor].low, g_scene.limits[sensor].high);
    return text;
}

// How far the handset's right side and top are lifted, degrees.
struct Tilt {
    double right = 0, top = 0;
};
Tilt tilt() {
    const float(&up)[3] = g_scene.rules.last(TKI_SENSOR_ACCELEROMETER).values;
    const double length = sensor_length(up);
    if (length <= 0) return {};
    const auto degrees = [length](float side) { return std::asin(std::clamp(side / length, -1.0, 1.0)) * 180 / std::numbers::pi; };
    return {degrees(up[0]), degrees(up[1])};
}

bool is_level(const Tilt &t) { return std::hypot(t.right, t.top) <= LEVEL_GOOD; }

std::string tilt_text() {
    char text[64];
    const Tilt t = tilt();
    snprintf(text, sizeof text, "%+ld%s %+ld%s", std::lround(t.right), DEGREES, std::lround(t.top), DEGREES);
    return text;
}

std::string heading_text() {
    static constexpr const char *WINDS[] = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
    const double heading = g_scene.rules.heading();
    if (heading < 0) return "-";
    char text[64];
    const int rounded = static_cast<int>(std::lround(heading)) % 360;
    snprintf(text, sizeof text, "%d%s %s", rounded, DEGREES, WINDS[(rounded * 2 + 45) / 90 % 8]);
    return text;
}

std::string look(int part) {
    if (part == LEVEL) {
        const Tilt t = tilt();
        return std::to_string(std::lround(t.right * 4)) + "," + std::to_string(std::lround(t.top * 4));
    }
    if (part == COMPASS) return heading_text();
    if (part == NOTE) return g_scene.note_key;
    std::string steps;
    for (int i = 0; i < SENSOR_KINDS[part].steps; ++i) steps += g_scene.rules.step(part, i) ? '1' : '0';
    return value_text(part) + steps;
}

// ---- painting

void fill(HDC hdc, const RECT &r, int color) {
    SetBrushColor(hdc, SysPixelIndex[color]);
    FillBox(hdc, r.left, r.top, RECTW(r), RECTH(r));
}

void draw(HDC hdc, const std::string &text, const RECT &area, UINT format, int color, char weight, int size) {
    SetTextColor(hdc, SysPixelIndex[color]);
    draw_text_fitted(hdc, text.c_str(), area, format | DT_VCENTER | DT_SINGLELINE, weight, size);
}

void paint_steps(HDC hdc, int sensor, const RECT &area) {
    const int size = std::max(RECTH(area) * 7 / 10, LEAST_SIZE), padding = RECTH(area) / 2;
    const int widest = (RECTW(area) - 3 * padding / 2) / SENSOR_STEPS_MAX;
    int left = area.left;
    for (int i = 0; i < SENSOR_KINDS[sensor].steps; ++i) {
        const std::string text = step_text(sensor, i);
        const int wanted = GetTextWidth(shell_font('r', size), text.c_str(), -1) + 2 * padding;
        const int width = SENSOR_KINDS[sensor].steps == 1 ? std::min(wanted, RECTW(area)) : std::min(wanted, widest);
        const RECT chip{left, area.top, left + width, area.bottom};
        const bool done = g_scene.rules.step(sensor, i);
        fill(hdc, chip, done ? CALM_GREEN : EDGE);
        draw(hdc, text, chip, DT_CENTER, done ? GROUND : PALE, 'r', size);
        left = chip.right + padding / 2;
    }
}

void paint_line(HDC hdc, const RECT &area, int sensor) {
    const bool passed = g_scene.rules.passed(sensor), answers = g_scene.rules.answers(sensor);
    const int height = RECTH(area) - RECTH(area) / 12, bar = std::max(2, height / 14), inner = height / 4;
    const int color = passed ? PASSED : answers ? NORMAL : FAILED;
    fill(hdc, {0, 0, area.right, height}, CARD);
    fill(hdc, {0, 0, bar, height}, passed ? CALM_GREEN : answers ? PALE : RED);
    const bool low = height < LOW_LINE; // on a small screen the steps stand beside name and value, not below
    const int left = bar + inner, right = area.right - inner, middle = low ? height / 2 : height * 11 / 20;
    const int name_end = left + (right - left) * (low ? 11 : 9) / 20, size = height * (low ? 44 : 36) / 100;
    draw(hdc, lang_text(SENSOR_KINDS[sensor].title_key).text, {left, 0, name_end - inner, middle}, DT_LEFT, color, 'b', size);
    if (low) draw(hdc, value_text(sensor), {left, middle, name_end, height}, DT_LEFT, color, 'r', size);
    else draw(hdc, value_text(sensor), {name_end, 0, right, middle}, DT_RIGHT, color, 'r', size);
    paint_steps(hdc, sensor, low ? RECT{name_end, height / 6, right, height - height / 6} : RECT{left, middle, right, height - height / 9});
}

// The disc of a gauge with the text below it.
struct Dial {
    int x, y, radius;
};
Dial paint_dial(HDC hdc, const RECT &area, const std::string &text, int color) {
    const int caption = std::max(CAPTION_MIN, RECTH(area) / 6);
    const int radius = std::min(RECTW(area), area.bottom - caption) / 2;
    const Dial dial{area.right / 2, radius, radius};
    SetBrushColor(hdc, SysPixelIndex[EDGE]);
    FillCircle(hdc, dial.x, dial.y, radius - 1);
    SetBrushColor(hdc, SysPixelIndex[DISC]);
    FillCircle(hdc, dial.x, dial.y, radius - 1 - std::max(2, radius / 30));
    draw(hdc, text, {0, area.bottom - caption, area.right, area.bottom}, DT_CENTER, color, 'r', caption * 8 / 10);
    return dial;
}

void paint_level(HDC hdc, const RECT &area) {
    const Tilt t = tilt();
    const bool level = is_level(t);
    const Dial dial = paint_dial(hdc, area, tilt_text(), level ? PASSED : NORMAL);
    const int ring = dial.radius / 4, reach = dial.radius - ring;
    SetBrushColor(hdc, SysPixelIndex[level ? CALM_GREEN : PALE]);
    FillCircle(hdc, dial.x, dial.y, ring + 2);
    SetBrushColor(hdc, SysPixelIndex[DISC]);
    FillCircle(hdc, dial.x, dial.y, ring);
    SetPenColor(hdc, SysPixelIndex[EDGE]);
    SetPenWidth(hdc, 2);
    MoveTo(hdc, dial.x - reach, dial.y);
    LineTo(hdc, dial.x + reach, dial.y);
    MoveTo(hdc, dial.x, dial.y - reach);
    LineTo(hdc, dial.x, dial.y + reach);
    const double off = std::hypot(t.right, t.top), shown = off > LEVEL_RANGE ? LEVEL_RANGE / off : 1;
    const auto place = [&](double degrees) { return static_cast<int>(std::lround(degrees * shown / LEVEL_RANGE * reach)); };
    SetBrushColor(hdc, SysPixelIndex[level ? CALM_GREEN : AMBER]); // the bubble goes where it is highest
    FillCircle(hdc, dial.x + place(t.right), dial.y - place(t.top), ring * 4 / 5);
}

struct Point {
    double x, y;
};
// Row by row between its three edges.
void fill_triangle(HDC hdc, const Point (&corner)[3]) {
    const auto [low, high] = std::minmax({corner[0].y, corner[1].y, corner[2].y});
    for (int y = static_cast<int>(std::ceil(low)); y <= static_cast<int>(std::floor(high)); ++y) {
        double left = HUGE_VAL, right = -HUGE_VAL;
        for (int i = 0; i < 3; ++i) {
            const Point &a = corner[i], &b = corner[(i + 1) % 3];
            if (y < std::min(a.y, b.y) || y > std::max(a.y, b.y) || a.y == b.y) continue;
            const double x = a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y);
            left = std::min(left, x);
            right = std::max(right, x);
        }
        const int from = static_cast<int>(std::lround(left)), to = static_cast<int>(std::lround(right));
        if (left <= right) FillBox(hdc, from, y, std::max(1, to - from), 1);
    }
}

void paint_compass(HDC hdc, const RECT &area) {
    const Dial dial = paint_dial(hdc, area, heading_text(), g_scene.rules.passed(TKI_SENSOR_MAGNETIC) ? PASSED : NORMAL);
    SetPenColor(hdc, SysPixelIndex[PALE]);
    SetPenWidth(hdc, 2);
    for (int degrees = 0; degrees < 360; degrees += 30) {
        const double angle = degrees * std::numbers::pi / 180, inner = dial.radius * (degrees % 90 == 0 ? 0.78 : 0.84);
        MoveTo(hdc, dial.x + static_cast<int>(inner * std::sin(angle)), dial.y - static_cast<int>(inner * std::cos(angle)));
        LineTo(hdc, dial.x + static_cast<int>(0.9 * dial.radius * std::sin(angle)),
               dial.y - static_cast<int>(0.9 * dial.radius * std::cos(angle)));
    }
    const double heading = g_scene.rules.heading();
    if (heading < 0) return;
    // Seen from the handset, north lies as far to the left as its top points to the right.
    const double north = -heading * std::numbers::pi / 180, length = dial.radius * 0.72, width = dial.radius * 0.13;
    const Point tip{std::sin(north), -std::cos(north)}, side{std::cos(north), std::sin(north)};
    for (const int end : {1, -1}) {
        SetBrushColor(hdc, SysPixelIndex[end == 1 ? RED : NORMAL]);
        fill_triangle(hdc, {{dial.x + end * length * tip.x, dial.y + end * length * tip.y},
                            {dial.x + width * side.x, dial.y + width * side.y},
                            {dial.x - width * side.x, dial.y - width * side.y}});
    }
    SetBrushColor(hdc, SysPixelIndex[CARD]);
    FillCircle(hdc, dial.x, dial.y, std::max(2, dial.radius / 20));
}

LRESULT part_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != MSG_PAINT) return DefaultControlProc(hwnd, message, wParam, lParam);
    const int part = GetDlgCtrlID(hwnd) - FIRST_ID;
    RECT area{};
    GetClientRect(hwnd, &area);
    HDC hdc = BeginPaint(hwnd);
    SetBkMode(hdc, BM_TRANSPARENT);
    if (part == LEVEL) paint_level(hdc, area);
    else if (part == COMPASS) paint_compass(hdc, area);
    else if (part != NOTE) paint_line(hdc, area, part);
    else draw(hdc, lang_text(g_scene.note_key).text, area, DT_CENTER, g_scene.note_color, 'r', RECTH(area) * 7 / 10);
    EndPaint(hwnd, hdc);
    return 0;
}

void add_part(HWND window, int part, const RECT &r) {
    g_looks[part] = look(part);
    CreateWindowEx(CLASS, "", WS_VISIBLE, 0, FIRST_ID + part, r.left, r.top, RECTW(r), RECTH(r), window, 0);
}
} // namespace

void sensor_view_create(HWND window, const SensorScene &scene) {
    const WNDCLASS cls{CLASS, part_proc, SysPixelIndex[GROUND]};
    RegisterWindowClass(&cls); // again and again: the first one stays
    g_scene = scene;
    RECT client{};
    GetClientRect(window, &client);
    const int margin = screen_width() / 36, width = client.right - 2 * margin, note = screen_width() / 14;
    int gauges = scene.tested[TKI_SENSOR_ACCELEROMETER] + scene.tested[TKI_SENSOR_MAGNETIC];
    const int lines = static_cast<int>(std::count(std::begin(scene.tested), std::end(scene.tested), true));
    int top = status_bar_height() + margin;
    const int bottom = client.bottom - note - margin, room = bottom - top;
    const int least_line = std::max(LINE_MIN, screen_width() / 12);
    const int left_over = std::min(room * 3 / 10, room - lines * least_line), least_gauge = gauges > 0 ? std::max(0, left_over) : 0;
    if (least_gauge < 3 * CAPTION_MIN) gauges = 0; // the numbers have to do
    const int height = std::min(screen_width() / 6, (room - (gauges ? least_gauge : 0)) / std::max(lines, 1));
    for (int i = 0; i < TKI_SENSORS; ++i) {
        if (!scene.tested[i]) continue;
        add_part(window, i, {margin, top, margin + width, top + height});
        top += height;
    }
    const int size = std::min(width / 2, bottom - top - margin), column = width / std::max(gauges, 1);
    int left = margin;
    for (const auto &[sensor, part] : {std::pair{TKI_SENSOR_ACCELEROMETER, LEVEL}, {TKI_SENSOR_MAGNETIC, COMPASS}}) {
        if (gauges == 0 || !scene.tested[sensor]) continue;
        const int x = left + (column - size) / 2;
        add_part(window, part, {x, top + margin, x + size, top + margin + size});
        left += column;
    }
    add_part(window, NOTE, {margin, bottom, margin + width, bottom + note});
}

void sensor_view_show(HWND window, const SensorScene &scene) {
    g_scene = scene;
    for (int part = 0; part < PARTS; ++part) {
        const HWND control = GetDlgItem(window, FIRST_ID + part);
        if (control == HWND_NULL) continue;
        if (std::string now = look(part); now != g_looks[part]) {
            g_looks[part] = std::move(now);
            InvalidateRect(control, nullptr, true);
        }
    }
}
