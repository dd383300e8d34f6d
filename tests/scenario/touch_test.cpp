// The touch panel test on a whole handset: fingers come as input records, verdicts lie on the partition.
#include "scenario/runs.h"

#include <chrono>
#include <thread>

namespace {
constexpr int TOUCH = 320;
constexpr uint32_t GREEN = 0x00ff00, YELLOW = 0xffff00;

std::vector<Setting> touch_settings(const std::string &shape = "0", const std::string &key = "VOLUME_UP") {
    return runs::settings({{"MMI", "UEShape", shape},
                           {"TKI_TOUCH", "enable", "1"},
                           {"TKI_TOUCH", "parameter", "StopTestKey:" + key + ";RectWidth:0"},
                           {"TKI_LCD", "enable", "0"},
                           {"TKI_VIBRATOR", "enable", "0"}});
}

void open_item(Handset &handset, const char *row) {
    runs::open_list(handset);
    handset.tap_text("Single tests");
    handset.tap_text(row);
    runs::wait_for_colour(handset); // a window of the whole screen without texts
}

// At 720x1280 cells are 40 long and lanes 240 wide.
struct Lane {
    int x1, y1, x2, y2;
};
constexpr Lane LANES[] = {{120, 20, 120, 1020}, {20, 1160, 460, 1160}, {261, 120, 701, 120}, {600, 261, 600, 1275}};
void draw_lane(const Handset &handset, const Lane &l) { handset.client().swipe(l.x1, l.y1, l.x2, l.y2, 1000); }
void draw_lanes(const Handset &handset) {
    for (const Lane &lane : LANES) draw_lane(handset, lane);
}
void wait_for_list(const Handset &handset) { handset.wait_for_text("Touch panel"); }
} // namespace

TEST(TouchPanel, AutomaticRunPassesByDrawing) {
    Handset handset({.speed = runs::FAST, .settings = touch_settings()});
    runs::open_list(handset);
    handset.tap_text("Automatic run");
    runs::wait_for_keys(handset); // stands before the touch panel
    runs::pass_keys(handset);
    runs::wait_for_colour(handset);
    draw_lanes(handset);
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset), (runs::Stations{{runs::KEYS, Verdict::pass}, {TOUCH, Verdict::pass}, {runs::OVERALL, Verdict::pass}}));
}

TEST(TouchPanel, SingleTestAndItsStopKey) {
    Handset handset({.speed = runs::FAST, .settings = touch_settings("0", "POWER")});
    open_item(handset, "Touch panel");
    draw_lanes(handset);
    wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset), runs::Stations{});
    handset.tap_text("Touch panel");
    runs::wait_for_colour(handset);
    draw_lane(handset, LANES[0]);
    handset.press("power"); // neither sleep nor verdict
    wait_for_list(handset);
    EXPECT_FALSE(handset.client().sleeps());
    EXPECT_EQ(runs::stations(handset), runs::Stations{});
}

TEST(TouchPanel, StopKeyInARunJudgesWhatWasDrawn) {
    Handset handset({.speed = runs::FAST, .settings = touch_settings()});
    runs::open_list(handset);
    for (const bool complete : {false, true}) {
        handset.tap_text("Automatic run");
        runs::pass_keys(handset);
        runs::wait_for_colour(handset);
        if (complete) { // but for the finger's end
            for (int i = 0; i < 3; ++i) draw_lane(handset, LANES[i]);
            for (int y = LANES[3].y1; y <= LANES[3].y2; y += 20) handset.client().touch(LANES[3].x1, y);
        }
        handset.press("volumeup");
        runs::wait_for_list(handset);
        EXPECT_EQ(handset.station(TOUCH), complete ? Verdict::pass : Verdict::fail);
        EXPECT_EQ(handset.station(runs::OVERALL), complete ? Verdict::pass : Verdict::fail);
    }
    EXPECT_TRUE(handset.log_contains("TKI_TOUCH", "cells.drawCount=0,cells.totalCount=76"));
    EXPECT_TRUE(handset.log_contains("TKI_TOUCH", "cells.drawCount=76,cells.totalCount=76"));
}

TEST(TouchPanel, ThePcAsksAndNoRecordIsLost) {
    Handset handset({.speed = runs::FAST, .settings = touch_settings()});
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("touchMoudle testItem open").status, 0);
    const auto &client = handset.client();
    // 240 records a second, then all at once; every cell on the way is marked. Pixels beside the finger's line.
    for (const bool paced : {true, false}) {
        const Lane &lane = LANES[paced ? 0 : 3];
        for (int y = lane.y1; y <= lane.y2; y += 12) {
            client.touch(lane.x1, y);
            if (paced) std::this_thread::sleep_for(std::chrono::microseconds(1'000'000 / 240));
        }
        client.release();
        handset.dump(); // painting is over
        for (int y = lane.y1; y <= lane.y2; y += 40) {
            EXPECT_EQ(client.pixel(lane.x1 + 60, y), GREEN) << y;
            if (y < lane.y2 - 12) {
                EXPECT_EQ(client.pixel(lane.x1, y), YELLOW) << y;
            }
        }
    }
    EXPECT_EQ(handset.at("touchMoudle testItem close").status, 2);
    EXPECT_EQ(handset.at("touchMoudle testItem open").status, 0);
    draw_lanes(handset);
    handset.dump();
    EXPECT_TRUE(handset.screen().front().empty()) << "lifting the finger ends nothing";
    EXPECT_EQ(handset.at("touchMoudle testItem close").status, 0);
    handset.wait_for_text("Device tests");
    EXPECT_EQ(runs::stations(handset), runs::Stations{});
}

TEST(TouchPanel, CirclesOfARoundPanel) {
    Handset handset({.size = "480x480", .speed = runs::FAST, .settings = touch_settings("1")});
    open_item(handset, "Touch panel");
    handset.press("pass"); // no verdict, only a way out
    wait_for_list(handset);
    EXPECT_EQ(handset.at("touchMoudle testItem open").status, 0);
    const auto &client = handset.client();
    EXPECT_EQ(client.pixel(5, 5), client.pixel(475, 475)) << "nothing in the corners";
    for (int y = 10; y < 480; y += 30) client.swipe(5, y, 475, y, 150);
    handset.dump();
    EXPECT_EQ(client.pixel(240, 232), GREEN);
    EXPECT_EQ(handset.at("touchMoudle testItem close").status, 0);
}
