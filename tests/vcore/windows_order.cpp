// Which window is on top, which is active, and what of each is seen.
#include "gui_fixture.h"

namespace {
class Order : public GuiTest {
protected:
    // Activations since the last call: +w gained, -w lost, in order, as captions.
    static std::string activations() {
        std::string out;
        for (const Told &t : of(HWND_NULL, {MSG_ACTIVE})) out += (t.wParam ? '+' : '-') + GetWindowText(t.hwnd);
        told.clear();
        return out;
    }
    static HWND named(const char *name, const RECT &r = {0, 0, WIDTH, HEIGHT}, HWND host = HWND_DESKTOP, gal_pixel color = 0xff) {
        return open(r, color, host, name);
    }
};

TEST_F(Order, ActivationFollowsShowingHidingAndDestroying) {
    const HWND a = named("a"), b = named("b");
    EXPECT_EQ(activations(), "+a-a+b");
    ShowWindow(create({0, 0, 9, 9}, 1, HWND_DESKTOP, "quiet"), SW_SHOW);
    EXPECT_EQ(activations(), "");
    EXPECT_EQ(SetActiveWindow(a), b);
    EXPECT_EQ(activations(), "-b+a");
    ShowWindow(a, SW_HIDE);
    EXPECT_EQ(activations(), "-a+quiet"); // the topmost one left
    ShowWindow(a, SW_SHOWNORMAL);
    ShowWindow(a, SW_SHOWNORMAL);          // asks for a refresh once more
    EXPECT_EQ(activations(), "-quiet+a+a");
    DestroyMainWindow(b);                  // was not active
    EXPECT_EQ(activations(), "");
    while (IsWindow(GetActiveWindow())) DestroyMainWindow(GetActiveWindow());
    EXPECT_EQ(GetActiveWindow(), HWND_NULL);
}

TEST_F(Order, AnActivatedWindowMayCloseItself) {
    const HWND a = named("a"), b = named("b");
    handlers[b] = [](HWND self, const MSG &m, LRESULT *) {
        if (m.message == MSG_ACTIVE && m.wParam) DestroyMainWindow(self);
        return false;
    };
    SetActiveWindow(a);
    told.clear();
    SetActiveWindow(b);
    EXPECT_FALSE(IsWindow(b));
    EXPECT_EQ(GetActiveWindow(), a);
    EXPECT_EQ(of(a, {MSG_ACTIVE}).back().wParam, 1u);
}

TEST_F(Order, HostedWindowsStayAboveTheirHostAndGoWithIt) {
    const HWND menu = named("menu", {0, 0, WIDTH, HEIGHT}, HWND_DESKTOP, 1);
    const HWND test = named("test", {0, 0, WIDTH, HEIGHT}, menu, 2);
    const HWND dialog = named("dialog", {10, 10, 60, 60}, test, 3);
    ShowWindow(menu, SW_SHOWNORMAL); // raises all that it hosts
    tp_gui_pump();
    expect_pixels({{20, 20, 3}, {5, 5, 2}});
    SetActiveWindow(dialog);
    activations();
    DestroyMainWindow(test);
    EXPECT_EQ(activations(), "-+menu"); // the dialog, already forgotten, has no caption
    EXPECT_FALSE(IsWindow(dialog) || IsWindow(test));
    tp_gui_pump();
    expect_pixels({{20, 20, 1}});
}

TEST_F(Order, RefusedAndFailedWindowsLeaveNothing) {
    every_handler = [](HWND self, const MSG &m, LRESULT *result) {
        if (m.message != MSG_CREATE) return false;
        every_handler = nullptr;
        EXPECT_NE(control(self, 1, {0, 0, 5, 5}), HWND_INVALID);
        *result = -1;
        return true;
    };
    told.clear();
    EXPECT_EQ(create({0, 0, 9, 9}, 0), HWND_INVALID);
    // Only the control, which was created, has something to undo.
    EXPECT_EQ(of(HWND_NULL, {MSG_DESTROY}).size(), 1u);
    every_handler = [](HWND self, const MSG &m, LRESULT *) { return m.message == MSG_CREATE && DestroyMainWindow(self) == 0; };
    EXPECT_EQ(create({0, 0, 9, 9}, 0), HWND_INVALID);
    every_handler = nullptr;
    EXPECT_EQ(CreateMainWindow(nullptr), HWND_INVALID);
    const HWND w = open_full();
    EXPECT_EQ(CreateWindowEx("no such class", "", 0, 0, 1, 0, 0, 5, 5, w, 0), HWND_INVALID);
    EXPECT_EQ(CreateWindowEx("probe", "", 0, 0, 1, 0, 0, 5, 5, w + 4, 0), HWND_INVALID);
    const WNDCLASS again{"probe", DefaultControlProc, 0};
    EXPECT_EQ(RegisterWindowClass(&again), -1);
}

TEST_F(Order, WindowsAreClippedByThoseAboveAndControlsByTheirParents) {
    const HWND below = open({0, 0, 40, 40}, 1);
    const HWND child = control(below, 5, {20, 20, 60, 60}); // reaches out of its parent
    const HWND above = open({10, 10, 30, 30}, 2);
    tp_gui_pump();
    fill(below, 7, {0, 0, 100, 100});
    fill(child, 8, {0, 0, 100, 100});
    tp_gui_pump();
    expect_pixels({{5, 5, 7}, {15, 15, 2}, {25, 25, 2}, {35, 35, 8}, {45, 45, 0}, {5, 35, 7}});
    // What becomes bare is painted, and only there.
    MoveWindow(above, 50, 50, 10, 10);
    tp_gui_pump();
    expect_pixels({{15, 15, 1}, {25, 25, 0x112233}, {5, 5, 7}, {55, 55, 2}});
    DestroyMainWindow(above);
    ShowWindow(child, SW_HIDE);
    fill(child, 8, {0, 0, 100, 100}); // hidden: nothing of it is seen
    tp_gui_pump();
    expect_pixels({{55, 55, 0}, {35, 35, 1}});
    MoveWindow(below, 30, 60, 40, 40);
    ShowWindow(child, SW_SHOW);
    tp_gui_pump();
    expect_pixels({{5, 5, 0}, {31, 61, 1}, {55, 85, 0x112233}});
}

TEST_F(Order, FocusMovesAndGoesWithItsControl) {
    const HWND w = open_full();
    const HWND a = control(w, 1, {0, 0, 20, 20}), b = control(w, 2, {20, 0, 40, 20}), inner = control(a, 3, {1, 1, 5, 5});
    EXPECT_EQ(GetDlgItem(w, 3), inner);
    EXPECT_EQ(GetDlgItem(w, 9), HWND_NULL);
    told.clear();
    EXPECT_EQ(SetFocus(a), HWND_NULL);
    EXPECT_EQ(SetFocus(b), a);
    EXPECT_EQ(of(a, {MSG_SETFOCUS, MSG_KILLFOCUS}).size(), 2u);
    DestroyWindow(b);
    EXPECT_EQ(GetFocus(w), HWND_NULL);
    DestroyAllControls(w);
    EXPECT_FALSE(IsWindow(a) || IsWindow(inner));
}

TEST_F(Order, AControlMayDestroyItsWholeWindow) {
    const HWND w = open_full();
    const HWND outer = control(w, 1, {0, 0, 20, 20}), inner = control(outer, 2, {0, 0, 9, 9});
    handlers[inner] = [w](HWND self, const MSG &m, LRESULT *) {
        if (m.message != MSG_DESTROY) return false;
        DestroyMainWindow(w);
        SetWindowText(self, "an orphan");
        MoveWindow(self, 1, 1, 2, 2);
        ShowWindow(self, SW_HIDE);
        fill(self, 1, {0, 0, 9, 9});
        EXPECT_EQ(GetParent(self), HWND_NULL);
        return true;
    };
    DestroyWindow(inner);
    EXPECT_FALSE(IsWindow(w) || IsWindow(outer) || IsWindow(inner));
}
} // namespace
