// From invalid to visible: one paint, one flip, and only the pixels copied that the next frame does not draw.
#include "gui_fixture.h"

#include "dc.h"
#include "panel.h"

#include <random>
#include <tp_globals.h>
#include <tp_os.h>

namespace {
using Panel = GuiTest;

TEST_F(Panel, ABurstCostsOneFlipWithItsBounds) {
    const HWND w = open_full();
    tp_gui_pump();
    const int flips = fake_panel::refreshes;
    tp_gui_pump();
    EXPECT_EQ(fake_panel::refreshes, flips); // nothing drawn, nothing shown
    fill(w, 5, {3, 4, 10, 12});
    fill(w, 6, {30, 40, 50, 60});
    PostMessage(w, MSG_USER, 0, 0);
    EXPECT_NE(fake_panel::pixel(3, 4), 5u); // on the hidden page only
    tp_gui_pump();
    EXPECT_EQ(fake_panel::refreshes, flips + 1);
    const tki_lcd_rect &d = fake_panel::last_damage;
    EXPECT_EQ((std::vector<int>{d.left, d.top, d.right, d.bottom}), (std::vector<int>{3, 4, 50, 60}));
    expect_pixels({{3, 4, 5}});
    fill(w, 9, {0, 0, 5, 5});
    tp_clock_sleep_ms(1); // a thread that waits shows what it has drawn
    expect_pixels({{1, 1, 9}});
}

// Whatever is drawn, through whatever clips, by contexts held over flips and over flips that fail: the visible page shows what
// the same drawing gives on a page of its own.
class AnyDrawing : public Panel {
protected:
    inline static bool broken = false; // the panel does not flip
    std::mt19937 random{7};
    std::vector<uint32_t> expected = std::vector<uint32_t>(WIDTH * HEIGHT, 0);
    vcore::Region seen[2];
    HWND windows[2]{};
    HDC ours = HDC_INVALID, theirs = HDC_INVALID;

    void SetUp() override {
        static const tki_api_LCD_Refresh_t flaky = [](const tki_lcd_rect *r) { return broken ? -1 : fake_panel::refresh(r); };
        tki_api_LCD_Refresh = flaky;
        Panel::SetUp();
        tki_api_LCD_Refresh = fake_panel::refresh;
        const RECT top{20, 30, 50, 90};
        windows[0] = open_full(0);
        windows[1] = open(top, 0);
        seen[0].add(RECT{0, 0, WIDTH, HEIGHT});
        seen[0].subtract(top);
        seen[1].add(top);
        tp_gui_pump();
    }
    void TearDown() override {
        close();
        broken = false;
        Panel::TearDown();
    }
    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    RECT any_rect(int most) {
        const int x = below(WIDTH) - 9, y = below(HEIGHT) - 9;
        return {x, y, x + 1 + below(most), y + 1 + below(most)};
    }
    void close() {
        ReleaseDC(ours);
        dc_close(theirs);
        ours = theirs = HDC_INVALID;
    }
    void open_contexts() {
        const int n = below(2);
        RECT at{};
        GetWindowRect(windows[n], &at);
        DcTarget target;
        target.pixels = expected.data();
        target.stride = target.width = WIDTH;
        target.height = HEIGHT;
        target.origin_x = at.left, target.origin_y = at.top;
        target.client_width = RECTW(at), target.client_height = RECTH(at);
        target.clip = seen[n].get();
        ours = GetClientDC(windows[n]);
        theirs = dc_open(target);
    }
    // One of few, so that often the hidden page shows it already.
    void draw_row_on_both() {
        const int top = 20 * below(5), kind = below(9); // it may lie over two others
        const RECT row{4, top, 66, top + 40};
        for (const HDC hdc : {ours, theirs}) {
            dc_begin_drawing(hdc, row, kind & 1 ? 0xff00 : 0x80);
            if (hdc == theirs) FillCircle(hdc, -WIDTH, 0, 1); // draws the ground, and at once all that follows
            SetBrushColor(hdc, 0x112233), SetTextColor(hdc, kind & 4 ? 0xffffff : 0xff), SetPenWidth(hdc, 1);
            FillBox(hdc, row.left + 1, row.top + 1, kind & 2 ? 50 : 99, 38);
            RECT box{row.left + 2, row.top, row.right, row.bottom + 40};
            DrawText(hdc, "w", -1, &box, DT_SINGLELINE);
            MoveTo(hdc, row.left, row.top + 9);
            LineTo(hdc, row.right, row.top + 9);
            if (kind == 8) FillCircle(hdc, 20, row.top, 5);
            dc_end_drawing(hdc);
        }
    }
    void draw_on_both() {
        const auto kind = below(7);
        const RECT r = any_rect(kind == 0 && below(4) == 0 ? 2 * HEIGHT : 40);
        const gal_pixel color = random() & 0xffffff;
        const int pen = 1 + below(4);
        for (const HDC hdc : {ours, theirs}) {
            SetBrushColor(hdc, color), SetPenColor(hdc, color), SetTextColor(hdc, color), SetPenWidth(hdc, pen);
            MoveTo(hdc, r.left, r.top);
            RECT box = r;
            switch (kind) {
            case 0: case 1: FillBox(hdc, r.left, r.top, RECTW(r), RECTH(r)); break;
            case 2: LineTo(hdc, r.right, r.bottom); break;
            case 3: Rectangle(hdc, r.left, r.top, r.right, r.bottom); break;
            case 4: FillCircle(hdc, r.left, r.top, RECTW(r) / 2); break;
            case 5: DrawText(hdc, "gy\xb9\xfa", -1, &box, pen > 2 ? DT_NOCLIP : DT_WORDBREAK); break;
            default: LineTo(hdc, r.right, r.top); break;
            }
        }
    }
    int wrong_pixels() {
        int wrong = 0;
        for (int i = 0; i < WIDTH * HEIGHT; ++i)
            wrong += fake_panel::pixel(i % WIDTH, i / WIDTH) != (expected[static_cast<size_t>(i)] & 0xffffff);
        return wrong;
    }
};

TEST_F(AnyDrawing, ShowsWhatAPaintFromScratchGives) {
    open_contexts();
    for (int burst = 0; burst < 400; ++burst) {
        for (int i = burst % 100 == 50 ? 2000 : below(8); i > 0; --i)
            if (burst % 40 < 20) draw_on_both();
            else draw_row_on_both();
        if (below(3) != 0) {
            close();
            open_contexts();
        }
        broken = below(10) == 0;
        tp_gui_pump();
        ASSERT_EQ(broken ? 0 : wrong_pixels(), 0) << "burst " << burst;
    }
    EXPECT_LE(vcore::panel_counts().copied, vcore::panel_counts().damaged);
}

TEST_F(Panel, OnlyWhatTheNextFrameLeavesIsCopied) {
    const HWND w = open_full(0);
    tp_gui_pump();
    const auto copied_by = [w](std::initializer_list<RECT> fills) {
        const uint64_t before = vcore::panel_counts().copied;
        for (const RECT &r : fills) fill(w, 5, r);
        tp_gui_pump();
        return vcore::panel_counts().copied - before;
    };
    const RECT all{0, 0, WIDTH, HEIGHT};
    EXPECT_EQ(copied_by({all}), 0u);
    EXPECT_EQ(copied_by({{0, 0, 10, 10}, {30, 30, 40, 40}}), WIDTH * HEIGHT - 200u);
    EXPECT_EQ(copied_by({{30, 30, 40, 35}}), 150u);
    EXPECT_EQ(copied_by({{0, 0, 10, 10}}), 50u);
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
    expect_pixels({{3, 3, 9}, {5, 5, 7}, {13, 13, 1}});
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
