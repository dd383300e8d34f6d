// From invalid to visible: one paint, one flip, and only the damaged pixels copied.
#include "gui_fixture.h"

#include "../../vcore/src/panel.h"

#include <random>
#include <tp_globals.h>
#include <tp_os.h>

namespace {
class Panel : public GuiTest {
protected:
    static RECT damage() {
        const tki_lcd_rect &d = fake_panel::last_damage;
        return {d.left, d.top, d.right, d.bottom};
    }
    static constexpr bool same(const RECT &a, const RECT &b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
};

TEST_F(Panel, ABurstCostsOneFlipWithItsBounds) {
    const HWND w = open_full();
    tp_gui_pump();
    EXPECT_TRUE(pages_equal());
    const int flips = fake_panel::refreshes;
    tp_gui_pump();
    EXPECT_EQ(fake_panel::refreshes, flips); // nothing drawn, nothing shown
    const RECT one{3, 4, 10, 12}, two{30, 40, 50, 60};
    SetWindowBkColor(w, 0xabc);
    tp_gui_pump();
    fill(w, 5, one);
    fill(w, 6, two);
    PostMessage(w, MSG_USER, 0, 0);
    EXPECT_NE(fake_panel::pixel(3, 4), 5u); // on the hidden page only
    tp_gui_pump();
    EXPECT_EQ(fake_panel::refreshes, flips + 2);
    EXPECT_TRUE(same(damage(), {3, 4, 50, 60}));
    EXPECT_EQ(fake_panel::pixel(3, 4), 5u);
    EXPECT_TRUE(pages_equal());
}

// The copy touches no pixel outside the damage: a mark set behind the toolkit's back on one page stays alone there.
TEST_F(Panel, OnlyDamagedPixelsAreCopied) {
    const HWND w = open_full(0);
    tp_gui_pump();
    const size_t half = fake_panel::memory.size() / 2;
    const size_t mark = 20 * WIDTH + 20; // within the bounds of the two fills, in neither of them
    fake_panel::memory[mark] = 0x123;
    fill(w, 5, {0, 0, 10, 10});
    fill(w, 6, {30, 30, 40, 40});
    tp_gui_pump();
    EXPECT_EQ(fake_panel::memory[mark], 0x123u);
    EXPECT_EQ(fake_panel::memory[half + mark], 0u);
    fake_panel::memory[mark] = 0;
    EXPECT_TRUE(pages_equal());
}

TEST_F(Panel, PagesStayEqualAndRightUnderAnyBursts) {
    const HWND w = open_full(0);
    std::vector<uint32_t> expected(WIDTH * HEIGHT, 0);
    std::mt19937 random(7);
    const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    tp_gui_pump();
    for (int burst = 0; burst < 60; ++burst) {
        for (int i = burst == 30 ? 3000 : below(8); i > 0; --i) {
            const int x = below(WIDTH), y = below(HEIGHT), right = x + 1 + below(20), bottom = y + 1 + below(20);
            const gal_pixel color = random() & 0xffffff;
            fill(w, color, {x, y, right, bottom});
            for (int py = y; py < std::min(bottom, HEIGHT); ++py)
                for (int px = x; px < std::min(right, WIDTH); ++px) expected[static_cast<size_t>(py * WIDTH + px)] = color;
        }
        tp_gui_pump();
        ASSERT_TRUE(pages_equal());
        for (int i = 0; i < WIDTH * HEIGHT; ++i) ASSERT_EQ(fake_panel::pixel(i % WIDTH, i / WIDTH), expected[static_cast<size_t>(i)]);
    }
}

TEST_F(Panel, AContextHeldOverAFlipStillEndsUpOnBothPages) {
    const HWND w = open_full(0);
    tp_gui_pump();
    const HDC held = GetClientDC(w);
    SetBrushColor(held, 9);
    FillBox(held, 0, 0, 5, 5);
    tp_gui_pump();
    FillBox(held, 10, 10, 5, 5);
    tp_gui_pump();
    ReleaseDC(held);
    tp_gui_pump();
    EXPECT_EQ(fake_panel::pixel(1, 1), 9u);
    EXPECT_EQ(fake_panel::pixel(11, 11), 9u);
    EXPECT_TRUE(pages_equal());
}

TEST_F(Panel, WhatIsDrawnIsShownBeforeTheThreadWaits) {
    const HWND w = open_full(0);
    UpdateWindow(w, true);
    fill(w, 9, {0, 0, 5, 5});
    EXPECT_NE(fake_panel::pixel(1, 1), 9u);
    tp_clock_sleep_ms(1);
    EXPECT_EQ(fake_panel::pixel(1, 1), 9u);
}

TEST_F(Panel, AFlipThatFailsIsMadeUpFor) {
    const HWND w = open_full(0);
    tp_gui_pump();
    static bool broken = false;
    static const tki_api_LCD_Refresh_t flaky = [](const tki_lcd_rect *r) { return broken ? -1 : fake_panel::refresh(r); };
    TerminateGUI();
    tki_api_LCD_Refresh = flaky;
    EXPECT_EQ(InitGUI(), 0);
    tki_api_LCD_Refresh = fake_panel::refresh;
    EXPECT_FALSE(IsWindow(w));
    const HWND again = open_full(3);
    broken = true;
    tp_gui_pump();
    fill(again, 4, {0, 0, 5, 5});
    tp_gui_pump();
    broken = false;
    fill(again, 5, {50, 50, 55, 55});
    tp_gui_pump();
    EXPECT_EQ(fake_panel::pixel(1, 1), 4u);
    EXPECT_EQ(fake_panel::pixel(20, 20), 3u);
    EXPECT_EQ(fake_panel::pixel(50, 50), 5u);
    EXPECT_TRUE(pages_equal());
}

TEST_F(Panel, WithoutAPanelWindowsStillWork) {
    TerminateGUI();
    tki_api_LCD_Get_Info = nullptr;
    EXPECT_EQ(InitGUI(), -1);
    EXPECT_EQ(tp_man_lcd_get_info_only(), -1);
    const HWND w = open_full(3);
    told.clear();
    tp_gui_pump();
    EXPECT_EQ(of(w, {MSG_PAINT}).size(), 1u);
    tki_api_LCD_Get_Info = [](tki_lcd_info *out) {
        fake_panel::get_info(out);
        out->bits_per_pixel = 16;
        return 0;
    };
    TerminateGUI();
    EXPECT_EQ(InitGUI(), -1);
    tki_api_LCD_Get_Info = fake_panel::get_info;
    EXPECT_EQ(tp_man_lcd_get_info_only(), 0);
    EXPECT_EQ(g_ptScreenInfo.width, WIDTH);
}

TEST_F(Panel, PaintIsAskedOncePerInvalidationAndErasesWhenTold) {
    const HWND w = open_full(1);
    tp_gui_pump();
    fill(w, 9, {0, 0, WIDTH, HEIGHT});
    handlers[w] = [](HWND self, const MSG &m, LRESULT *) {
        if (m.message != MSG_PAINT) return false;
        const HDC hdc = BeginPaint(self);
        SetBrushColor(hdc, 7);
        FillBox(hdc, 0, 0, 8, 8); // only what is invalid of it is painted
        EndPaint(self, hdc);
        return true;
    };
    const RECT a{4, 4, 12, 12}, b{6, 6, 14, 14};
    told.clear();
    InvalidateRect(w, &a, false);
    InvalidateRect(w, &b, true);
    tp_gui_pump();
    EXPECT_EQ(of(w, {MSG_ERASEBKGND, MSG_PAINT}).size(), 2u);
    EXPECT_EQ(fake_panel::pixel(3, 3), 9u);
    EXPECT_EQ(fake_panel::pixel(5, 5), 7u);
    EXPECT_EQ(fake_panel::pixel(13, 13), 1u);
    told.clear();
    InvalidateRect(w, &a, false);
    tp_gui_pump();
    EXPECT_EQ(of(w, {MSG_ERASEBKGND}).size(), 0u);
}

TEST_F(Panel, OddPaintersNeitherHangNorStarveOthers) {
    const HWND lazy = open_full(1);
    handlers[lazy] = [](HWND, const MSG &m, LRESULT *) { return m.message == MSG_PAINT; }; // never takes its region
    const HWND restless = open({0, 0, 9, 9}, 2);
    int paints = 0;
    handlers[restless] = [&paints](HWND self, const MSG &m, LRESULT *) {
        if (m.message != MSG_PAINT) return false;
        EndPaint(self, BeginPaint(self));
        InvalidateRect(self, nullptr, false);
        return ++paints > 0;
    };
    SetTimer(restless, 1, 1);
    tp_clock_sleep_ms(12);
    told.clear();
    MSG msg;
    while (of(restless, {MSG_TIMER}).empty() && GetMessage(&msg, restless)) DispatchMessage(&msg);
    EXPECT_EQ(of(lazy, {MSG_PAINT}).size(), 1u);
    EXPECT_EQ(fake_panel::pixel(20, 20), 1u);
    paints = 0;
    tp_gui_pump();
    EXPECT_LE(paints, 2);
}
} // namespace
