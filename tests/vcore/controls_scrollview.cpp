// The row list as finger and keys use it, and what it paints.
#include "gui_fixture.h"

#include "dc.h"

#include <tp_globals.h>

namespace {
constexpr int ROW = 30, LIST_W = 200, LIST_H = 200;

class ScrollViews : public GuiTest {
protected:
    inline static std::vector<int> chosen;  // the current row at each notification
    inline static std::vector<int> painted; // rows handed to the painter
    inline static std::function<void(HWND)> on_chosen, on_paint;
    HWND window = HWND_NULL, list = HWND_NULL;

    void SetUp() override {
        start(240, 320);
        g_ptScreenInfo = {240, 320};
        on_chosen = on_paint = nullptr;
        window = open({0, 0, 240, 320}, 0x111111);
        list = CreateWindowEx("scrollview", "", 0x48400008, 0, 21, 10, 20, LIST_W, LIST_H, window, 0);
        SetNotificationCallback(list, [](HWND hwnd, int id, int nc, uintptr_t) {
            EXPECT_EQ(id, 21);
            EXPECT_EQ(nc, SVN_CLICKED);
            chosen.push_back(scrollview_get_current(hwnd));
            if (on_chosen) on_chosen(hwnd);
        });
        SetFocus(list);
    }
    void TearDown() override {
        g_ptScreenInfo = {};
        GuiTest::TearDown();
    }
    void fill_list(int rows) {
        for (int n = scrollview_get_item_count(list); rows > 0; ++n, --rows)
            scrollview_add_item(list, ROW, static_cast<uintptr_t>(n), ("row " + std::to_string(n)).c_str());
        settle();
    }
    void settle() {
        tp_gui_pump();
        chosen.clear();
        painted.clear();
        told.clear();
    }
    void watch_painting() {
        scrollview_set_itemdraw(list, [](HWND hwnd, HSVITEM item, HDC, RECT *rect) {
            const int n = scrollview_get_item_index(hwnd, item);
            EXPECT_EQ(rect->top, n * ROW - scrollview_get_scroll(hwnd));
            EXPECT_EQ(RECTH(*rect), ROW);
            EXPECT_EQ(RECTW(*rect), LIST_W);
            painted.push_back(n);
            if (on_paint) on_paint(hwnd);
        });
        settle();
    }
    void touch(UINT message, int x, int y) {
        if (IsWindow(list)) SendMessage(list, message, 0, MAKELONG(x, y));
        tp_gui_pump();
    }
    void tap(int x, int y) {
        touch(MSG_LBUTTONDOWN, x, y);
        touch(MSG_LBUTTONUP, x, y);
    }
    void drag(int from, int to) {
        touch(MSG_LBUTTONDOWN, 50, from);
        touch(MSG_MOUSEMOVE, 50, (from + to) / 2);
        touch(MSG_MOUSEMOVE, 50, to);
        touch(MSG_LBUTTONUP, 50, to);
    }
    void key(int code) {
        tp_gui_inject_key(code, true);
        tp_gui_inject_key(code, false);
        tp_gui_pump();
    }
};
using Rows = std::vector<int>;

TEST_F(ScrollViews, ATapChoosesItsRow) {
    fill_list(20);
    tap(50, ROW * 2 + 1);
    EXPECT_EQ(chosen, Rows{2});
    touch(MSG_LBUTTONDOWN, 50, ROW * 3 + 10);
    touch(MSG_MOUSEMOVE, 52, ROW * 3 + 12); // a finger is never quite still
    EXPECT_EQ(GetCapture(), list);
    touch(MSG_LBUTTONUP, 52, ROW * 3 + 12);
    EXPECT_EQ(chosen, (Rows{2, 3}));
    EXPECT_EQ(GetCapture(), HWND_NULL);
    touch(MSG_LBUTTONUP, 50, 5);    // an up without its down
    touch(MSG_MOUSEMOVE, 50, 100);
    EXPECT_EQ(scrollview_get_scroll(list), 0);
    touch(MSG_LBUTTONDOWN, 5, 10);
    touch(MSG_LBUTTONUP, -2, 10); // outside
    EXPECT_EQ(chosen.size(), 2u);
    SetNotificationCallback(list, nullptr);
    tap(50, 5);
    ASSERT_EQ(of(window, {MSG_COMMAND}).size(), 1u);
    EXPECT_EQ(of(window, {MSG_COMMAND})[0].wParam, 21u | SVN_CLICKED << 16);
    scrollview_reset_content(list);
    fill_list(3);
    tap(50, ROW * 3 + 5); // below the rows
    EXPECT_EQ(of(window, {MSG_COMMAND}).size(), 0u);
}

TEST_F(ScrollViews, ADragScrollsWithTheFingerAndChoosesNothing) {
    fill_list(20);
    touch(MSG_LBUTTONDOWN, 50, 150);
    touch(MSG_MOUSEMOVE, 50, 145);
    EXPECT_EQ(scrollview_get_scroll(list), 0);
    touch(MSG_MOUSEMOVE, 50, 110);
    EXPECT_EQ(scrollview_get_scroll(list), 40);
    touch(MSG_MOUSEMOVE, 50, 149); // back near the start it is a drag all the same
    EXPECT_EQ(scrollview_get_scroll(list), 1);
    touch(MSG_LBUTTONUP, 50, 130);
    EXPECT_EQ(scrollview_get_scroll(list), 20);
    EXPECT_TRUE(chosen.empty());
    drag(190, -5000);
    tap(50, LIST_H - 1);
    EXPECT_EQ(chosen, Rows{19});
    drag(10, 5000);
    EXPECT_EQ(scrollview_get_scroll(list), 0);
    scrollview_reset_content(list);
    fill_list(2);
    drag(190, 10);
    EXPECT_EQ(scrollview_get_scroll(list), 0); // nothing to scroll
}

TEST_F(ScrollViews, KeysMoveChooseAndPassOn) {
    fill_list(20);
    for (int i = 0; i < 8; ++i) key(108);
    EXPECT_EQ(scrollview_get_current(list), 7);
    EXPECT_EQ(scrollview_get_scroll(list), 8 * ROW - LIST_H); // its bottom is the view's
    key(60);
    EXPECT_EQ(chosen, Rows{7});
    for (int i = 0; i < 30; ++i) key(103);
    EXPECT_EQ(scrollview_get_current(list), 0);
    EXPECT_EQ(scrollview_get_scroll(list), 0);
    for (int i = 0; i < 30; ++i) key(108);
    EXPECT_EQ(scrollview_get_current(list), 19);
    EXPECT_TRUE(of(window, {MSG_KEYDOWN}).empty());
    key(61);
    scrollview_reset_content(list);
    key(60); // without rows the window has it
    ASSERT_EQ(of(window, {MSG_KEYDOWN}).size(), 2u);
}

TEST_F(ScrollViews, OnlyWhatChangedIsPainted) {
    fill_list(20);
    watch_painting();
    const auto painted_by = [&](const std::function<void()> &change) {
        change();
        tp_gui_pump();
        return std::exchange(painted, {});
    };
    painted_by([&] { scrollview_set_current(list, 1, true); });
    EXPECT_EQ(painted_by([&] { scrollview_set_current(list, 2, true); }), (Rows{1, 2}));
    EXPECT_EQ(painted_by([&] {
        scrollview_refresh_item(list, scrollview_get_item(list, 4));
        scrollview_refresh_item(list, scrollview_get_item(list, 15)); // out of sight
        scrollview_set_current(list, 2, true);
    }), (Rows{4}));
    EXPECT_EQ(painted_by([&] { scrollview_set_current(list, 19, false); }), (Rows{2})); // not brought into view
    EXPECT_EQ(painted_by([&] { scrollview_set_current(list, 19, true); }), (Rows{13, 14, 15, 16, 17, 18, 19}));
}

TEST_F(ScrollViews, TheBuiltInPainterShowsTextsHighlightAndIndicator) {
    const int middle = 20 + ROW / 2, right = 10 + LIST_W - 1;
    const auto lists = [](const char *text) { return tp_gui_dump().find(text) != std::string::npos; };
    fill_list(3);
    expect_pixels({{right, middle, SysPixelIndex[18]}}); // all fits: no indicator
    fill_list(17);
    scrollview_set_current(list, 0, true);
    tp_gui_pump();
    expect_pixels({{11, middle, SysPixelIndex[17]}, {11, middle + ROW, SysPixelIndex[18]}});
    expect_pixels({{right, middle, SysPixelIndex[30]}});
    EXPECT_TRUE(lists("row 0") && !lists("row 12"));
    scrollview_set_item_text(list, scrollview_get_item(list, 0), "\xD6\xD0");
    tp_gui_pump();
    EXPECT_TRUE(lists("\u4E2D") && !lists("row 0"));
    drag(190, -5000);
    expect_pixels({{right, middle, SysPixelIndex[18]}, {right, 20 + LIST_H - 1, SysPixelIndex[30]}});
}

TEST_F(ScrollViews, TheProgramMayResetTheRowsWhileOneIsChosenOrPainted) {
    fill_list(5);
    on_chosen = [](HWND hwnd) {
        scrollview_reset_content(hwnd);
        scrollview_add_item(hwnd, ROW, 7, "new");
    };
    tap(50, ROW + 5);
    EXPECT_EQ(scrollview_get_item_count(list), 1);
    EXPECT_EQ(scrollview_get_current(list), -1);
    settle();
    touch(MSG_LBUTTONDOWN, 50, 5);
    scrollview_reset_content(list); // between down and up
    scrollview_add_item(list, ROW, 8, "other");
    touch(MSG_LBUTTONUP, 50, 5);
    EXPECT_TRUE(chosen.empty());
    fill_list(5);
    on_paint = [](HWND hwnd) { scrollview_reset_content(hwnd); };
    watch_painting();
    EXPECT_EQ(scrollview_get_item_count(list), 0);
}

TEST_F(ScrollViews, TheProgramMayDestroyTheWindowWhileARowIsChosenOrPainted) {
    fill_list(5);
    on_chosen = [](HWND hwnd) { DestroyMainWindow(GetParent(hwnd)); };
    tap(50, 5);
    EXPECT_FALSE(IsWindow(list));
    EXPECT_EQ(GetCapture(), HWND_NULL);
    EXPECT_EQ(scrollview_add_item(list, ROW, 0, "late"), nullptr);
    window = open({0, 0, 240, 320}, 0x111111);
    list = CreateWindowEx("scrollview", "", WS_VISIBLE, 0, 21, 10, 20, LIST_W, LIST_H, window, 0);
    on_paint = [](HWND hwnd) { DestroyMainWindow(GetParent(hwnd)); };
    fill_list(5);
    watch_painting();
    EXPECT_FALSE(IsWindow(list));
}

TEST_F(ScrollViews, RowsOfAnyHeightAndForeignItemsDoNoHarm) {
    char text[] = "copied";
    const HSVITEM item = scrollview_add_item(list, -5, 42, text), big = scrollview_add_item(list, INT32_MAX, 0, nullptr);
    text[0] = 'X';
    EXPECT_STREQ(scrollview_get_item_text(item), "copied");
    EXPECT_GT(scrollview_get_content_height(list), 0);
    EXPECT_EQ(scrollview_get_item_index(window, item), -1);
    EXPECT_EQ(scrollview_get_item(list, 2), nullptr);
    EXPECT_EQ(scrollview_set_current(list, 2, true), -1);
    EXPECT_EQ(scrollview_set_current(list, 1, true), 0);
    EXPECT_TRUE(scrollview_is_item_hilight(list, big));
    tp_gui_pump();
}
} // namespace
