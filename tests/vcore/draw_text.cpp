// Texts: widths, places, line breaks, odd bytes, and the record that the screen's description is made of.
#include "draw_page.h"

#include <cstdio>
#include <random>

namespace {
// GB18030
constexpr const char *ZHONG = "\xD6\xD0", *WEN = "\xCE\xC4", *STOP = "\xA1\xA3", *OPEN = "\xA3\xA8";

std::string chinese(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += ZHONG;
    return text;
}

class DrawTexts : public ::testing::Test {
protected:
    static constexpr int SIZE = 20;
    PLOGFONT font = nullptr;
    void SetUp() override {
        ASSERT_EQ(fonts_init(), 0);
        font = make('r', SIZE);
        ASSERT_NE(font, nullptr);
    }
    void TearDown() override {
        DestroyLogFont(font);
        fonts_terminate();
    }
    static PLOGFONT make(char weight, int size, const char *family = "song") {
        return CreateLogFont("ttf", family, "GB18030", weight, 'r', 'n', 'c', 'n', 'n', size, 0);
    }
    int width(const std::string &text) { return GetTextWidth(font, text.c_str(), -1); }
    // The lines' number that a text takes in a box of the given width.
    int lines(const std::string &text, int box_width, UINT format = DT_WORDBREAK) {
        Page page(10, 10);
        SelectFont(page.hdc, font);
        RECT r{0, 0, box_width, 0};
        const int height = DrawText(page.hdc, text.c_str(), -1, &r, format | DT_CALCRECT);
        EXPECT_EQ(r.bottom, height);
        EXPECT_LE(r.right, std::max(box_width, width(text)));
        EXPECT_EQ(page.inked() + static_cast<int>(page.texts.size()), 0);
        return height / GetLogFontHeight(font);
    }
    RECT drawn(Page &page, const std::string &text, RECT r, UINT format) {
        page.clear();
        SelectFont(page.hdc, font);
        DrawText(page.hdc, text.c_str(), static_cast<int>(text.size()), &r, format);
        return page.ink();
    }
};

TEST_F(DrawTexts, WidthsAreThoseOfTheDrawnPixels) {
    for (const char weight : {'r', 'm', 'b'})
        for (const int size : {10, 25, 60, 250})
            for (const std::string text : {"HxH", "\xD6\xD0\xCE\xC4", "\xB9\xFAgjpqy|(\xA3\xA8Q"}) { // deep and tall, too
                const PLOGFONT f = make(weight, size);
                const int wide = GetTextWidth(f, text.c_str(), -1), high = GetLogFontHeight(f);
                Page page(wide + 40, high + 40);
                SelectFont(page.hdc, f);
                EXPECT_EQ(TextOut(page.hdc, 20, 20, text.c_str()), wide);
                const RECT ink = page.ink();
                EXPECT_TRUE(vcore::contains({19, 20, 21 + wide, 20 + high}, ink)) << weight << size << ": " << ink;
                EXPECT_GE(RECTW(ink), wide * 3 / 4) << weight << size;
                DestroyLogFont(f);
            }
    EXPECT_EQ(width("ab" + chinese(2)), width("ab") + width(ZHONG) * 2);
    EXPECT_EQ(GetTextWidth(font, "abcdef", 3), width("abc"));
    EXPECT_EQ(GetTextWidth(font, "ab", 1000), width("ab")); // the terminator counts first
}

TEST_F(DrawTexts, StandWhereTheFormatSays) {
    Page page(300, 200);
    const RECT box{40, 30, 260, 170};
    const int wide = width("HxxH"), high = GetLogFontHeight(font), slack = 3;
    const RECT left = drawn(page, "HxxH", box, DT_LEFT);
    EXPECT_NEAR(left.left, 40, slack);
    EXPECT_LT(left.bottom, 30 + high + 1);
    EXPECT_NEAR(drawn(page, "HxxH", box, DT_RIGHT).right, 260, slack);
    EXPECT_NEAR(drawn(page, "HxxH", box, DT_CENTER).left, 150 - wide / 2, slack);
    const RECT middle = drawn(page, "HxxH", box, DT_VCENTER | DT_SINGLELINE);
    EXPECT_NEAR((middle.top + middle.bottom) / 2, 100, high / 4);
    EXPECT_GE(drawn(page, "HxxH", box, DT_BOTTOM).top, 170 - high);
    const RECT block = drawn(page, "HxxH\nHxxH\nHxxH", box, DT_VCENTER);
    EXPECT_NEAR((block.top + block.bottom) / 2, 100, high / 4);
    EXPECT_EQ(page.texts.at(0).rect, (RECT{40, 100 - high * 3 / 2, 40 + wide, 100 - high * 3 / 2 + 3 * high}));
    const RECT blanks = drawn(page, "HxxH\nHxxH", box, DT_SINGLELINE);
    EXPECT_LT(RECTH(blanks), high);
    // A block that is too high begins at the top.
    const RECT small{40, 30, 260, 30 + high};
    EXPECT_EQ(drawn(page, "H\nH\nH", small, DT_VCENTER).top, left.top);
}

TEST_F(DrawTexts, AreCutAtTheirBoxUnlessToldOtherwise) {
    Page page(300, 100);
    const RECT box{40, 30, 90, 50};
    const RECT cut = drawn(page, chinese(8) + "\n" + chinese(8), box, DT_LEFT);
    EXPECT_TRUE(vcore::contains(box, cut)) << cut;
    EXPECT_EQ(page.damage.right, 90);
    EXPECT_GT(RECTW(page.texts.at(0).rect), 100); // the record is not cut
    EXPECT_GT(RECTW(drawn(page, chinese(8), box, DT_NOCLIP)), 100);
    EXPECT_EQ(RECTW(drawn(page, chinese(8), {40, 30, 30, 20}, DT_LEFT)), 0);
}

TEST_F(DrawTexts, BreakAtBlanksAndBetweenChinese) {
    const int one = width(ZHONG);
    EXPECT_EQ(lines("aaa bbb ccc", width("aaa bbb")), 2);
    EXPECT_EQ(lines("aaa bbb ccc", width("aaa bb")), 3);
    EXPECT_EQ(lines("aaa bbb     ", width("aaa bbb")), 1); // blanks hang over the edge
    EXPECT_EQ(lines("aaaaaaaaaa", width("aaaaa")), 2);      // too wide a word breaks inside
    EXPECT_EQ(lines(chinese(10), 1), 10);
    EXPECT_EQ(lines(chinese(3) + "ab", one * 3), 2);
    EXPECT_EQ(lines("a\nb\r\nc\n", 1000), 3);
    EXPECT_EQ(lines("a\n\nb", 1000, DT_LEFT), 3);
    EXPECT_EQ(lines("aaa bbb\nccc", 10, DT_WORDBREAK | DT_SINGLELINE), 1);
    EXPECT_EQ(lines(chinese(10), one * 5, DT_LEFT), 1);
    EXPECT_EQ(lines("", 10), 0);
}

TEST_F(DrawTexts, NoLineBeginsWithAFullStopOrEndsWithABracket) {
    Page page(400, 200);
    const int one = width(ZHONG);
    // Four fit; the fourth goes down with its stop, and both lines are three and two wide.
    const std::string stop = chinese(4) + STOP + WEN;
    EXPECT_EQ(lines(stop, one * 4), 2);
    drawn(page, stop, {0, 0, one * 4, 200}, DT_WORDBREAK);
    EXPECT_EQ(RECTW(page.texts.at(0).rect), one * 3);
    drawn(page, chinese(3) + OPEN + WEN, {0, 0, one * 4, 200}, DT_WORDBREAK);
    EXPECT_EQ(RECTW(page.texts.at(0).rect), one * 3);
    // Nothing but stops still ends.
    EXPECT_EQ(lines(std::string(STOP) + STOP + STOP + STOP, one * 2), 2);
}

TEST_F(DrawTexts, AnyBytesCanBeDrawn) {
    Page page(200, 100);
    drawn(page, "a\x81 \xFF\x01z\xB0", {0, 0, 200, 100}, DT_LEFT);
    EXPECT_EQ(page.texts.at(0).utf8, "a\uFFFD \uFFFD\uFFFDz\uFFFD");
    EXPECT_EQ(width("\xFF"), SIZE / 2);
    EXPECT_GT(RECTH(drawn(page, "\xFF", {0, 0, 200, 100}, DT_LEFT)), SIZE / 2);
    drawn(page, "\x81\x30\x81\x30\xD6\xD0", {0, 0, 200, 100}, DT_LEFT); // four bytes, one character
    EXPECT_EQ(page.texts.at(0).utf8, "\u0080\u4E2D");
    EXPECT_GT(width("\xE3\x32\x9A\x35"), 0); // the last code point: no font has it

    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        std::string text(random() % 60, ' ');
        for (char &c : text) c = static_cast<char>(random());
        RECT r{static_cast<int>(random() % 250) - 50, static_cast<int>(random() % 120) - 20, 150, 90};
        DrawText(page.hdc, text.data(), static_cast<int>(text.size()), &r, random() & 0x57F);
        EXPECT_GE(GetTextWidth(font, text.data(), static_cast<int>(text.size())), 0);
    }
    EXPECT_EQ(DrawText(page.hdc, "a", -1, nullptr, 0), 0);
    EXPECT_EQ(TextOut(page.hdc, 0, 0, nullptr), 0);
}

// What was drawn before is kept for the next time; a font made anew has nothing kept.
TEST_F(DrawTexts, LookAsAtTheFirstTimeWhateverIsUnderThem) {
    std::vector<uint32_t> dots(16, 0xC08040);
    const BITMAP bitmap{4, 4, dots.data()};
    constexpr int WAYS = 9;
    const auto drawn = [&](int way) {
        Page page(160, 60);
        SelectFont(page.hdc, font);
        SetBrushColor(page.hdc, way == 2 ? 0x00FF00 : 0x123456);
        SetTextColor(page.hdc, way == 3 ? 0xFF0000 : 0xFFFFFF);
        FillBox(page.hdc, 0, 0, way == 4 ? 40 : 160, 60);
        MoveTo(page.hdc, 0, 0);
        if (way == 5) LineTo(page.hdc, 160, 60);
        if (way == 6) FillBoxWithBitmap(page.hdc, 20, 20, 20, 20, &bitmap);
        if (way == 7) TextOut(page.hdc, 14, 12, "Ag\xB9\xFA");
        SetBrushColor(page.hdc, 0x654321);
        if (way == 8) FillCircle(page.hdc, 30, 20, 12);
        RECT box{10, 10, way == 1 ? 30 : 150, 50};
        DrawText(page.hdc, "Ag\xB9\xFA", -1, &box, DT_SINGLELINE);
        std::vector<uint32_t> pixels;
        for (int at = 0; at < 160 * 60; ++at) pixels.push_back(page.at(at % 160, at / 160));
        return pixels;
    };
    std::vector<std::vector<uint32_t>> first;
    for (int way = 0; way < WAYS; ++way) {
        DestroyLogFont(font);
        font = make('r', SIZE);
        first.push_back(drawn(way));
    }
    for (int way = 0; way < WAYS; ++way)
        for (int time = 0; time < 3; ++time) EXPECT_EQ(drawn(way), first[static_cast<size_t>(way)]) << "way " << way;
}

TEST_F(DrawTexts, FarAwayTextsCostNothingAndHurtNothing) {
    Page page(100, 50);
    SelectFont(page.hdc, font);
    for (const int x : {INT32_MIN, -1000000, 1000000, INT32_MAX})
        for (const int y : {INT32_MIN, 0, INT32_MAX}) TextOut(page.hdc, x, y, "text");
    RECT r{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    DrawText(page.hdc, "text", -1, &r, DT_BOTTOM | DT_RIGHT);
    EXPECT_EQ(page.inked(), 0);
    TextOut(page.hdc, -SIZE * 5000, 0, chinese(6000).c_str());
    EXPECT_GE(RECTW(page.ink()), 90);
}

TEST_F(DrawTexts, TheCacheIsEmptiedWithoutHarm) {
    const PLOGFONT huge = make('r', 400); // a glyph is about 150 KB
    Page page(600, 600);
    const auto draw = [&] {
        page.clear();
        SelectFont(page.hdc, huge);
        TextOut(page.hdc, 0, 0, "\xD6\xD0");
        return page.inked();
    };
    const int before = draw();
    for (int lead = 0xB0; lead < 0xB4; ++lead)
        for (int trail = 0xA1; trail < 0xFF; ++trail) {
            const char text[] = {static_cast<char>(lead), static_cast<char>(trail), 0};
            TextOut(page.hdc, 0, 0, text);
        }
    EXPECT_EQ(draw(), before);
    DestroyLogFont(huge);
    EXPECT_GT(draw(), 0); // with the default font: a font that is gone is not used
}

TEST_F(DrawTexts, UnknownFamiliesUseTheDefaultAndPathsAreRefused) {
    for (const char *family : {"nosuchfont", "../../etc/passwd", "", "song"}) {
        const PLOGFONT f = make('r', SIZE, family);
        EXPECT_EQ(GetTextWidth(f, "Hxg", -1), width("Hxg")) << family;
        DestroyLogFont(f);
    }
    for (const int size : {-5, 0, 1, 100000}) {
        const PLOGFONT f = make('b', size, nullptr);
        EXPECT_GT(GetLogFontHeight(f), 0) << size;
        DestroyLogFont(f);
    }
}

TEST_F(DrawTexts, WithoutAFontFileTextsAreBoxes) {
    const char *file = "/system/fonts/song.ttc", *away = "/system/fonts/away";
    fonts_terminate();
    ASSERT_EQ(rename(file, away), 0);
    EXPECT_EQ(fonts_init(), -1);
    EXPECT_EQ(make('r', SIZE), nullptr);
    Page page(200, 60);
    EXPECT_EQ(TextOut(page.hdc, 0, 0, "ab"), GetTextWidth(nullptr, "a", -1) * 2);
    EXPECT_GT(page.inked(), 10);
    EXPECT_EQ(page.texts.at(0).utf8, "ab");
    ASSERT_EQ(rename(away, file), 0);
    EXPECT_EQ(fonts_init(), 0);
    EXPECT_GT(width("a"), 0); // a font from before the file went
}

class TextRecord : public DrawTexts {
protected:
    Page page{200, 100};
    void text(int x, int y, const char *t) {
        SelectFont(page.hdc, font);
        TextOut(page.hdc, x, y, t);
    }
    std::string recorded() {
        std::string all;
        for (const PaintedText &t : page.texts) all += t.utf8 + ";";
        return all;
    }
};

TEST_F(TextRecord, HoldsEachTextOnceInPageCoordinates) {
    page.reopen({30, 20, 200, 100});
    SetTextColor(page.hdc, SysPixelIndex[12]);
    text(5, 5, "a");
    text(5, 5, "a");
    SetTextColor(page.hdc, 0x123457);
    text(50, 5, ZHONG);
    text(-500, 5, "unseen");
    text(5, 50, "  ");
    ASSERT_EQ(recorded(), "a;\u4E2D;");
    EXPECT_EQ(page.texts[0].rect, (RECT{35, 25, 35 + width("a"), 25 + GetLogFontHeight(font)}));
    EXPECT_EQ(page.texts[0].color, 12);
    EXPECT_EQ(page.texts[1].color, -1);
}

TEST_F(TextRecord, LosesWhatAnOpaqueFillCovers) {
    text(0, 0, "a");
    text(100, 0, "b");
    text(-5, 50, "cut"); // its visible part counts
    FillBox(page.hdc, 0, 0, 3, 3);
    SetBkMode(page.hdc, BM_TRANSPARENT);
    text(0, 0, "over");
    EXPECT_EQ(recorded(), "a;b;cut;over;");
    FillBox(page.hdc, 0, 0, 80, 100);
    EXPECT_EQ(recorded(), "b;");
    SetBkMode(page.hdc, BM_OPAQUE);
    SetBkColor(page.hdc, 0x0000AA);
    text(98, 0, "bbb");
    EXPECT_EQ(recorded(), "bbb;");
    EXPECT_EQ(page.at(98, 0), 0x0000AAu);
    uint32_t pixel = 0xFFFFFF;
    const BITMAP picture{1, 1, &pixel};
    EXPECT_EQ(FillBoxWithBitmap(page.hdc, 90, 0, 100, 60, &picture), 0);
    EXPECT_EQ(recorded(), "");
}

TEST_F(TextRecord, AFillHidesOnlyWhatItsClipReaches) {
    text(0, 0, "a");
    text(100, 0, "b");
    page.reopen({0, 0, 200, 100}, {{90, 0, 200, 100}});
    FillBox(page.hdc, 0, 0, 200, 100);
    EXPECT_EQ(recorded(), "a;");
    page.reopen({0, 0, 200, 100}, {{150, 150, 160, 160}}); // behind another window: recorded, not drawn
    page.damage = {};
    text(0, 0, "hidden");
    EXPECT_EQ(recorded(), "a;hidden;");
    EXPECT_EQ(page.damage, RECT{});
}

TEST_F(TextRecord, ADrawingIsCutToItsRectangle) {
    const RECT row{0, 10, 200, 20}, all{0, 0, 200, 100};
    dc_begin_drawing(page.hdc, row, SysPixelIndex[18]);
    text(0, 0, "Hg");
    EXPECT_TRUE(vcore::contains(row, page.ink())) << page.ink();
    EXPECT_EQ(page.texts.at(0).rect, (RECT{0, 10, width("Hg"), 20}));
    dc_end_drawing(page.hdc);
    EXPECT_EQ(dc_clip_box(page.hdc), all);
}
} // namespace
