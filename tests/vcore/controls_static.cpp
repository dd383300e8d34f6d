// The text control: where its text stands and how it changes.
#include "gui_fixture.h"

#include "dc.h"

namespace {
class Statics : public GuiTest {
protected:
    HWND window = HWND_NULL;
    void SetUp() override {
        start(240, 320);
        window = open({0, 0, 240, 320}, 0x111111);
    }
    HWND make(DWORD style, const RECT &r, const char *text) const {
        const HWND control = CreateWindowEx("static", text, WS_VISIBLE | style, 0, 20, r.left, r.top, RECTW(r), RECTH(r), window, 0);
        tp_gui_pump();
        return control;
    }
    // Bounds of the pixels within r that are not its ground.
    static RECT ink(const RECT &r, gal_pixel ground) {
        RECT out{r.right, r.bottom, 0, 0};
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x)
                if (fake_panel::pixel(x, y) != ground)
                    out = {std::min(out.left, x), std::min(out.top, y), std::max(out.right, x + 1), std::max(out.bottom, y + 1)};
        return out;
    }
};

TEST_F(Statics, StyleSaysWhereTheTextStands) {
    const RECT box{20, 20, 220, 60};
    const auto place = [&](DWORD style) {
        const HWND control = make(style, box, "Hxx");
        const RECT r = ink(box, SysPixelIndex[18]);
        DestroyWindow(control);
        return r;
    };
    const RECT left = place(SS_LEFT), middle = place(SS_CENTER | SS_CENTERIMAGE), simple = place(SS_SIMPLE);
    EXPECT_NEAR((middle.left + middle.right) / 2, 120, 2);
    EXPECT_NEAR((middle.top + middle.bottom) / 2, 40, 4);
    EXPECT_EQ(place(SS_CENTER).left * 1000 + place(SS_CENTER).top, middle.left * 1000 + left.top);
    EXPECT_EQ(simple.left * 1000 + simple.top, left.left * 1000 + middle.top);
    make(SS_LEFT, {20, 20, 60, 120}, "Hxx Hxx Hxx");
    EXPECT_GT(RECTH(ink({20, 20, 60, 120}, SysPixelIndex[18])), 2 * RECTH(left));
}

TEST_F(Statics, ANewTextColourOrFontReplacesTheOld) {
    const RECT box{20, 20, 220, 60};
    const HWND control = make(SS_LEFT, box, "first");
    SetWindowText(control, "second");
    SetWindowTextColor(control, SysPixelIndex[12]);
    SetWindowBkColor(control, 0x000040);
    tp_gui_pump();
    const std::string dump = tp_gui_dump();
    EXPECT_EQ(dump.find("\"text\":\"first\""), dump.npos);
    EXPECT_NE(dump.find("\"color\":12"), dump.npos);
    expect_pixels({{219, 59, 0x000040}});
    const RECT small = ink(box, 0x000040);
    const PLOGFONT font = CreateLogFont("ttf", "song", "GB18030", 'r', 'r', 'n', 'c', 'n', 'n', 36, 0);
    SetWindowFont(control, font);
    tp_gui_pump();
    EXPECT_GT(RECTW(ink(box, 0x000040)), RECTW(small) * 3 / 2);
    SetWindowText(control, nullptr);
    tp_gui_pump();
    EXPECT_EQ(RECTW(ink(box, 0x000040)), 0 - 220);
    DestroyLogFont(font);
    SetWindowText(control, std::string(2001, '\xB0').c_str()); // with a font that is gone
    tp_gui_pump();
}
} // namespace
