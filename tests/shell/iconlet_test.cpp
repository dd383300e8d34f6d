#include "shell/iconlet.h"
#include "shell_fixture.h"

namespace {
class IconLetTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        InitGUI();
        RegisterIconLetCtrl(); // -1 when an earlier test did
        chosen.clear();
        window = open_window(DefaultMainWinProc, 720, 1280);
        list = CreateWindowEx(ICONLET_CLASS, "", WS_CHILD | WS_VISIBLE, 0, 7, 0, 100, 720, 1000, window, 0);
        SetNotificationCallback(list, [](HWND control, int id, int code, uintptr_t) {
            EXPECT_EQ(id, 7);
            EXPECT_EQ(code, ILN_CLICKED);
            chosen.push_back(iconlet_get_current(control));
        });
        SetFocus(list);
        for (const char *text : {"zero", "one", "two", "three"}) iconlet_add_item(list, text, "/no/picture.png", *text);
        settle();
    }
    void touch(int x0, int y0, int x1, int y1) {
        SendMessage(list, MSG_LBUTTONDOWN, 0, MAKELONG(x0, y0));
        SendMessage(list, MSG_LBUTTONUP, 0, MAKELONG(x1, y1));
        settle();
    }
    HWND window = HWND_NULL, list = HWND_NULL;
    static inline std::vector<int> chosen;
};
} // namespace

TEST_F(IconLetTest, KeysAndTapsChoose) {
    EXPECT_TRUE(shows("three"));
    key(KEY_VOLDOWN);
    key(KEY_VOLDOWN);
    key(KEY_VOLUP);
    key(KEY_PASS);
    EXPECT_EQ(chosen, std::vector<int>{1});
    EXPECT_EQ(iconlet_get_item_adddata(list, 1), static_cast<uintptr_t>('o'));
    touch(300, 100, 470, 200); // three to a row, 240 pixels each
    touch(100, 300, 100, 300);
    touch(100, 100, 300, 100); // ends elsewhere: no tap
    touch(300, 300, 300, 300); // nothing there
    EXPECT_EQ(chosen, (std::vector<int>{1, 1, 3}));
    key(KEY_VOLDOWN);
    EXPECT_EQ(iconlet_get_current(list), 3) << "stays at the end";
}

TEST_F(IconLetTest, MoreThanFitsScrolls) {
    for (int i = 4; i < 18; ++i) iconlet_add_item(list, std::to_string(i).c_str(), nullptr, 0); // six rows, a bit more than four fit
    settle();
    EXPECT_FALSE(shows("15"));
    for (int i = 0; i < 17; ++i) key(KEY_VOLDOWN);
    EXPECT_TRUE(shows("17")) << "follows the current item";
    EXPECT_FALSE(shows("zero"));
    touch(100, 900, 100, 910); // the scroll of 440 pixels puts item 15 there
    EXPECT_EQ(chosen, std::vector<int>{15});
    touch(100, 100, 100, 900); // a drag, back to the top
    EXPECT_TRUE(shows("zero"));
    EXPECT_EQ(chosen, std::vector<int>{15}) << "and no tap";
    touch(100, 100, 110, 100);
    EXPECT_EQ(chosen, (std::vector<int>{15, 0}));
}

TEST_F(IconLetTest, EmptyAndForeign) {
    EXPECT_EQ(iconlet_set_current(list, 4), -1);
    iconlet_reset_content(list);
    key(KEY_PASS);
    touch(100, 100, 100, 100);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(iconlet_get_item_adddata(list, 0), 0u);
    DestroyMainWindow(window);
    EXPECT_EQ(iconlet_add_item(list, "x", nullptr, 0), -1);
}
