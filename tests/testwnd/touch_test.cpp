#include "fixture.h"

#include <cmath>

#include "config/main_config.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"
#include "testwnd/touch_circles.h"
#include "testwnd/touch_lanes.h"
#include "testwnd/touch_pad.h"

namespace {
// A sound cell holds its own points and no other, follows the one before it, and a finger on the screen can reach it.
void expect_sound_cells(const TouchLanes &l, int width, int height) {
    int first = 0;
    for (int lane = 0; lane < 4; first += l.cellCount[lane++]) {
        const bool down = lane == 0 || lane == 3;
        int next = down ? l.lanes[lane].top : l.lanes[lane].left;
        for (int cell = first; cell < first + l.cellCount[lane]; ++cell) {
            const RECT r = touch_cell_rect(l, cell);
            ASSERT_EQ(down ? r.top : r.left, next);
            ASSERT_EQ(down ? RECTW(r) : RECTH(r), l.cellWidth);
            next = down ? r.bottom : r.right;
            ASSERT_EQ(touch_cell_at(l, r.left + 1, r.top + 1), cell);
            ASSERT_EQ(touch_cell_at(l, r.right - 1, r.bottom - 1), cell);
            ASSERT_LT(r.left + 3, width);
            ASSERT_LT(r.top + 3, height);
        }
        ASSERT_EQ(next, down ? l.lanes[lane].bottom : l.lanes[lane].right);
    }
    ASSERT_EQ(first, l.totalCount);
}

TEST(TouchLanes, MeetAndCoverTheEdgesOfEveryScreen) {
    for (int width = 240; width <= 1440; ++width)
        for (const int height : {width * 3 / 4, width, width * 4 / 3, width * 16 / 9, width * 13 / 6 + 1})
            for (const int length : {0, 33, width / 3, width}) { // the last is too long and computed instead
                SCOPED_TRACE(testing::Message() << width << "x" << height << " cells of " << length);
                const TouchLanes l = touch_lanes(width, height, length);
                const auto &[left, bottom, top, right] = l.lanes;
                ASSERT_EQ(left.left + left.top + bottom.left + top.top, 0);
                ASSERT_EQ(left.right + 1, top.left);
                ASSERT_EQ(left.bottom + 1, bottom.top);
                ASSERT_EQ(bottom.right + 1, right.left);
                ASSERT_EQ(top.bottom + 1, right.top);
                ASSERT_EQ(top.right, right.right);
                ASSERT_EQ(bottom.bottom, right.bottom);
                // Whole cells only: the ring ends within half a cell of the edge, on either side, and a pixel behind a lane.
                ASSERT_LE(std::abs(right.right - width), l.cellHeight / 2 + 1);
                ASSERT_LE(std::abs(right.bottom - height), l.cellHeight / 2 + 1);
                expect_sound_cells(l, width, height);
                for (const RECT &r : l.lanes) { // borders belong to no cell
                    ASSERT_EQ(touch_cell_at(l, r.left, (r.top + r.bottom) / 2), -1);
                    ASSERT_EQ(touch_cell_at(l, (r.left + r.right) / 2, r.bottom), -1);
                }
                if (height >= width && length == 0) {
                    ASSERT_EQ(touch_cell_at(l, width / 2, height / 2), -1);
                }
            }
}

TEST(TouchLanes, CellLengths) {
    const int rows[][3] = {{720, 0, 40}, {1080, 0, 40}, {1170, 0, 39}, {727, 0, 20}, {719, 0, 10}, {240, 0, 20}, {242, 0, 11},
                           {720, 3, 10}, {720, 33, 33}, {720, 240, 240}, {720, 241, 40}};
    for (const auto &[width, configured, length] : rows)
        EXPECT_EQ(touch_lanes(width, 2 * width, configured).cellHeight, length) << width << " " << configured;
    const TouchLanes l = touch_lanes(720, 1280, 0);
    EXPECT_EQ(l.cellWidth, 240);
    EXPECT_EQ(l.cellCount[1], 12);
    EXPECT_EQ(l.cellCount[3], 26);
}

TEST(TouchCircles, LieOnThePanelApartFromEachOther) {
    for (int width = 240; width <= 1440; width += 48)
        for (const int height : {width, width * 16 / 9, width * 13 / 6 + 1})
            for (const int shape : {ROUND_PANEL, 2}) {
                SCOPED_TRACE(testing::Message() << width << "x" << height << " shape " << shape);
                const TouchCircles c = touch_circles(width, height, shape);
                const int corner = touch_corner_radius(width, height, shape);
                int highest = height, rightmost = 0;
                for (const auto &[x, y] : c.centres) {
                    ASSERT_TRUE(x >= c.radius && y >= c.radius && x + c.radius < width && y + c.radius < height) << x << "," << y;
                    const int into_x = std::max(corner - x, x - (width - 1 - corner)), into_y = std::max(corner - y, y - (height - 1 - corner));
                    if (into_x > 0 && into_y > 0) {
                        ASSERT_LE(std::hypot(into_x, into_y) + c.radius, corner) << x << "," << y;
                    }
                    for (const TouchPoint &other : c.centres)
                        if (&other.x != &x) {
                            ASSERT_GT(std::hypot(other.x - x, other.y - y), 2 * c.radius);
                        }
                    highest = std::min(highest, y - c.radius), rightmost = std::max(rightmost, x + c.radius);
                }
                ASSERT_LE(highest, 2); // the ring runs along the edge
                ASSERT_GE(rightmost, width - 3);
                ASSERT_TRUE(std::any_of(c.centres.begin(), c.centres.end(), [&](const TouchPoint &p) { return p.x == width / 2 && p.y == height / 2; }));
            }
}

class TouchTest : public WindowTest {
protected:
    static constexpr int GREEN = 10, YELLOW = 14;
    void TearDown() override {
        g_bTPShape = 0;
        WindowTest::TearDown();
    }
    static std::string item(const std::string &keys = "") { return "[TKI_TOUCH]\nenable=1\n" + keys; }
    static bool open() { return test_frame_current() && std::string(test_frame_current()->domain) == "TKI_TOUCH"; }
    static void pen(UINT message, int x, int y) {
        SendMessage(GetActiveWindow(), message, 0, MAKELONG(x, y));
        tp_gui_pump();
    }
    static void down(int x, int y) { pen(MSG_LBUTTONDOWN, x, y); }
    static void move(int x, int y) { pen(MSG_MOUSEMOVE, x, y); }
    static void up(int x = 120, int y = 160) { pen(MSG_LBUTTONUP, x, y); }
    // Over the whole screen, so that either variant is done; the finger stays on it.
    static void draw_all() {
        down(1, 1);
        for (int y = 1; y < 320; y += 8)
            for (int x = 1; x < 240; x += 8) move(x, y);
    }
    static bool is(int x, int y, int color) { return fake_panel::pixel(x, y) == SysPixelIndex[color]; }
};

TEST_F(TouchTest, passes_in_a_run_when_the_finger_is_lifted) {
    for (const int shape : {0, ROUND_PANEL, 2}) {
        fake_flags::install();
        g_bTPShape = shape;
        run(item() + "[TKI_SENSOR]\nenable=1\n");
        down(40, 30);
        up(); // not all yet
        EXPECT_TRUE(open());
        draw_all();
        EXPECT_EQ(fake_flags::station(320), 0);
        up();
        EXPECT_EQ(fake_flags::station(320), 1);
        EXPECT_STREQ(test_frame_current()->domain, "TKI_SENSOR");
        test_frame_close(*test_frame_current());
    }
}

TEST_F(TouchTest, stop_keys) {
    struct {
        const char *configured;
        int code, stop;
    } rows[] = {{"", 102, 102},       {"StopTestKey:BACK", 88, 88},        {"StopTestKey:POWER", 1, 1}, {"StopTestKey:VOLUME_DOWN", 108, 108},
                {"StopTestKey:CAMERA", 127, 127}, {"StopTestKey:TORCH", 131, 0}, {"StopTestKey:MENU", 102, 0}};
    for (const auto &[configured, code, stop] : rows) {
        SCOPED_TRACE(configured);
        fake_flags::install();
        run(item("parameter=" + std::string(configured) + "\n"));
        EXPECT_EQ(g_bOsIsCanIdle, code == KEY_POWER_CODE ? 0 : 1);
        down(40, 30);
        press(code);
        press(KEY_START);
        release(code); // not the key pressed last
        EXPECT_TRUE(open());
        key(code);
        EXPECT_EQ(open(), stop == 0);
        EXPECT_EQ(fake_flags::station(320), stop ? 2 : 0);
        EXPECT_EQ(g_deviceIsAutoTest, stop ? 0 : 1);
        if (open()) key(KEY_FAIL); // closes without a verdict
        EXPECT_FALSE(open());
        EXPECT_EQ(g_bOsIsCanIdle, 1);
        EXPECT_EQ(fake_flags::station(320), stop ? 2 : 0);
    }
    EXPECT_EQ(g_StopTouchTestKeyVal, 127) << "MENU";
}

TEST_F(TouchTest, outside_a_run_only_the_stop_key_records) { // kept
    for (const bool lift : {true, false}) {
        items(item());
        mmi_testwnd_touchTestEntry();
        draw_all();
        if (lift) up();
        else key(102);
        EXPECT_FALSE(open());
        EXPECT_EQ(fake_flags::station(320), lift ? 0 : 1);
    }
}

TEST_F(TouchTest, the_preview_records_nothing) {
    items(item());
    g_deviceIsAutoTest = 1;
    mmi_testwnd_Monomer_touchTestEntry();
    draw_all();
    up();
    EXPECT_FALSE(open());
    EXPECT_EQ(fake_flags::station(320), 0);
}

TEST_F(TouchTest, the_line_follows_but_does_not_jump) {
    items(item());
    mmi_testwnd_touchTestEntry();
    tp_gui_pump();
    EXPECT_TRUE(is(0, 50, 9));
    down(90, 100);
    move(100, 150);
    EXPECT_TRUE(is(95, 125, YELLOW));
    move(151, 150); // too far; the middle of the screen has no cells
    EXPECT_FALSE(is(125, 150, YELLOW));
    move(100, 200); // goes on from before the jump
    EXPECT_TRUE(is(100, 175, YELLOW));
    down(0, 50); // a border
    EXPECT_FALSE(is(40, 50, GREEN));
    down(40, 50); // cells are 20 pixels long here
    EXPECT_TRUE(is(3, 41, GREEN) && is(78, 58, GREEN));
    EXPECT_FALSE(is(3, 40, GREEN) || is(0, 50, GREEN) || is(40, 62, GREEN));
    InvalidateRect(GetActiveWindow(), nullptr, true);
    tp_gui_pump();
    EXPECT_TRUE(is(3, 41, GREEN));
}

TEST_F(TouchTest, configured_cells) {
    for (const auto &[text, width] : {std::pair{"30", 30}, {"240", 240}, {"241", 0}, {"-1", 0}, {"x", 0}, {"99999999999", 0}}) {
        items(item("parameter=RectWidth:" + std::string(text) + "\n"));
        mmi_testwnd_touchTestEntry();
        EXPECT_EQ(g_RectWidth, width) << text;
        test_frame_close(*test_frame_current());
    }
}
} // namespace
