// Fills, lines and circles: where their pixels are, what they tell of, and that nothing lands elsewhere.
#include "draw_page.h"

#include <climits>

namespace {
constexpr uint32_t RED = 0xFF0000;

TEST(DrawShapes, FillsStayInTheClientAreaAndTheClip) {
    Page page(60, 40);
    page.reopen({10, 10, 50, 30}, {{0, 0, 20, 40}, {40, 0, 60, 20}});
    SetBrushColor(page.hdc, RED);
    FillBox(page.hdc, 5, 5, 30, 30);
    EXPECT_EQ(page.ink(), (RECT{15, 15, 45, 30}));
    EXPECT_EQ(page.inked(), 5 * 15 + 5 * 5);
    EXPECT_EQ(page.damage, (RECT{15, 15, 45, 30}));
    page.damage = {};
    FillBox(page.hdc, 12, 0, 10, 10); // between the clip's boxes
    EXPECT_EQ(page.damage, RECT{});
}

TEST(DrawShapes, CoordinatesFarOutsideDrawTheVisiblePart) {
    Page page(40, 30);
    SetBrushColor(page.hdc, RED);
    FillBox(page.hdc, INT_MIN, INT_MIN, INT_MAX, INT_MAX); // ends left of the page
    FillBox(page.hdc, INT_MAX, INT_MAX, INT_MAX, INT_MAX);
    FillBox(page.hdc, 5, 5, 0, 10);
    FillBox(page.hdc, 5, 5, -3, INT_MIN);
    FillCircle(page.hdc, INT_MIN, INT_MAX, 100);
    FillCircle(page.hdc, 5, 5, -1);
    SetPixel(page.hdc, INT_MAX, INT_MIN, RED);
    SetPixel(page.hdc, -1, 0, RED);
    EXPECT_EQ(page.inked(), 0);
    EXPECT_EQ(page.damage, RECT{});
    FillBox(page.hdc, -10, -10, INT_MAX, INT_MAX);
    EXPECT_EQ(page.inked(), 40 * 30);
    page.clear();
    SetPenColor(page.hdc, RED);
    MoveTo(page.hdc, INT_MIN, 7);
    LineTo(page.hdc, INT_MAX, 7);
    EXPECT_EQ(page.ink(), (RECT{0, 7, 40, 8}));
    MoveTo(page.hdc, -1000000, -1000000);
    LineTo(page.hdc, 1000000, 1000000);
    EXPECT_EQ(page.inked(), 40 + 30 - 1);
    page.clear();
    Rectangle(page.hdc, INT_MIN, INT_MIN, INT_MAX, INT_MAX);
    FillCircle(page.hdc, 20, 15, INT_MAX);
    EXPECT_EQ(page.inked(), 40 * 30);
}

TEST(DrawShapes, LinesHoldBothEndsInEveryDirection) {
    for (const auto &[dx, dy] : {std::pair{9, 0}, {0, 9}, {9, 4}, {4, 9}, {-9, 4}, {4, -9}, {-9, -9}, {0, 0}}) {
        Page page(40, 40);
        SetPenColor(page.hdc, RED);
        MoveTo(page.hdc, 20, 20);
        LineTo(page.hdc, 20 + dx, 20 + dy);
        EXPECT_EQ(page.at(20, 20), RED) << dx << ',' << dy;
        EXPECT_EQ(page.at(20 + dx, 20 + dy), RED) << dx << ',' << dy;
        EXPECT_EQ(page.inked(), std::max(std::abs(dx), std::abs(dy)) + 1) << dx << ',' << dy;
        EXPECT_EQ(page.damage, page.ink());
        // The next line begins where this one ended.
        LineTo(page.hdc, 20 + dx, 39);
        EXPECT_EQ(page.at(20 + dx, 39), RED);
    }
}

TEST(DrawShapes, AClippedLineHitsThePixelsOfTheWholeOne) {
    Page whole(40, 40), part(40, 40);
    part.reopen({0, 0, 40, 40}, {{13, 0, 27, 40}});
    for (Page *page : {&whole, &part}) {
        SetPenColor(page->hdc, RED);
        MoveTo(page->hdc, -7, 3);
        LineTo(page->hdc, 45, 36);
    }
    for (int x = 13; x < 27; ++x)
        for (int y = 0; y < 40; ++y) EXPECT_EQ(whole.at(x, y), part.at(x, y)) << x << ',' << y;
}

TEST(DrawShapes, WidePensGrowAroundTheLineAndCirclesAreRound) {
    Page page(40, 40);
    SetPenColor(page.hdc, RED);
    SetPenWidth(page.hdc, 3);
    MoveTo(page.hdc, 5, 20);
    LineTo(page.hdc, 30, 20);
    EXPECT_EQ(page.ink(), (RECT{5, 19, 31, 22}));
    page.clear();
    Rectangle(page.hdc, 30, 25, 10, 5);
    EXPECT_EQ(page.ink(), (RECT{10, 5, 31, 26}));
    EXPECT_EQ(page.at(12, 7), RED);
    EXPECT_EQ(page.at(13, 8), Page::GROUND);
    page.clear();
    MoveTo(page.hdc, 5, 5);
    LineTo(page.hdc, 30, 30);
    EXPECT_EQ(page.inked() / 26, 4); // 3 pixels across the slope are 4 along an axis
    page.clear();
    SetBrushColor(page.hdc, RED);
    FillCircle(page.hdc, 20, 20, 15);
    EXPECT_EQ(page.ink(), (RECT{5, 5, 36, 36}));
    EXPECT_NEAR(page.inked(), 3.1416 * 15.5 * 15.5, 60);
}
} // namespace
