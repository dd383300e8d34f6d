#include "shell/dialog.h"

#include "shell_fixture.h"

namespace {

std::vector<int> answers;
int keys_below = 0;

LRESULT owner_proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == MSG_DIALOGBTN) answers.push_back(static_cast<int>(wParam));
    return DefaultMainWinProc(hwnd, message, wParam, lParam);
}

int hook_below(void *, HWND, UINT, WPARAM, LPARAM) {
    ++keys_below;
    return 0;
}

class DialogTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        mmi_testwnd_InitLogFont();
        owner = open_window(owner_proc, screen_width(), screen_height());
        answers.clear();
        keys_below = 0;
        RegisterKeyMsgHook(nullptr, hook_below);
    }
    void TearDown() override {
        DestroyDialog(dialog);
        ShellTest::TearDown();
    }
    void open(int n, HWND host = HWND_NULL) {
        static const char *const texts[] = {"yes", "no", "third"};
        DestroyDialog(dialog);
        dialog = CreateDialog("title", "message", 45, 427, 630, 426, host ? host : owner, owner, 1, texts, n, 0);
        ASSERT_NE(dialog, DIALOG_NONE);
        ASSERT_EQ(DoModal(dialog), 1);
        tp_gui_pump();
    }
    // Screen coordinates, as the touch hook delivers them.
    void touch(UINT message, int x, int y) {
        PostMessage(GetActiveWindow(), message, 0, MAKELONG(x, y));
        tp_gui_pump();
    }
    HWND owner = HWND_NULL;
    MmiDialog *dialog = nullptr;
};

TEST_F(DialogTest, KeysAnswerOnRelease) {
    const struct {
        int buttons, key, answer;
    } rows[] = {
        {2, KEY_PASS, 0}, {2, KEY_FAIL, 1}, {2, KEY_CLOSE, -1}, {2, KEY_VOLDOWN, -1}, {2, KEY_START, -1},
        {1, KEY_PASS, 0}, {1, KEY_FAIL, 1}, {1, KEY_CLOSE, 1},  {1, KEY_VOLDOWN, 1},  {1, KEY_VOLUP, -1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.buttons << " buttons, key " << row.key);
        answers.clear();
        open(row.buttons);
        press(row.key);
        EXPECT_TRUE(answers.empty()) << "a choice is confirmed by the release";
        release(row.key);
        EXPECT_EQ(answers, row.answer < 0 ? std::vector<int>{} : std::vector<int>{row.answer});
        EXPECT_EQ(keys_below, 0) << "all input is the dialog's";
        EXPECT_EQ(dialog_answered(dialog), row.answer >= 0);
        if (row.answer < 0) continue;
        key(KEY_PASS);
        EXPECT_EQ(keys_below, 2) << "the hook below is back";
        EXPECT_EQ(GetActiveWindow(), owner);
        EXPECT_EQ(DoModal(dialog), 0) << "a closed dialog is not shown again";
        keys_below = 0;
    }
}

TEST_F(DialogTest, TouchesChooseInsideTheButtonRow) {
    // The row: 45..675 x 712..853, two buttons of 315.
    const struct {
        int x, y, answer;
    } rows[] = {{45, 712, 0},   {359, 852, 0}, {360, 712, 1},  {674, 852, 1},
                {675, 800, -1}, {44, 800, -1}, {300, 711, -1}, {300, 853, -1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.x << "," << row.y);
        answers.clear();
        open(2);
        touch(MSG_LBUTTONDOWN, row.x, row.y);
        touch(MSG_LBUTTONUP, 5, 5); // wherever it ends
        EXPECT_EQ(answers, row.answer < 0 ? std::vector<int>{} : std::vector<int>{row.answer});
    }
    answers.clear();
    touch(MSG_LBUTTONDOWN, 100, 800);
    touch(MSG_MOUSEMOVE, 500, 800); // onto the neighbour: cancelled, not moved
    touch(MSG_LBUTTONUP, 500, 800);
    EXPECT_TRUE(answers.empty());
}

TEST_F(DialogTest, HostThatGoesAwayReleasesInputAndOwner) {
    const HWND host = open_window(DefaultMainWinProc, 100, 100);
    open(2, host);
    EXPECT_EQ(DoModal(dialog), 1); // shown again it still gives the input back
    DestroyMainWindow(host);
    tp_gui_pump();
    EXPECT_EQ(answers, std::vector<int>{3});
    for (MmiDialog *none : {static_cast<MmiDialog *>(nullptr), DIALOG_NONE}) {
        EXPECT_EQ(DoModal(none), 0);
        DestroyDialog(none);
    }
    EXPECT_EQ(CloseButton(), 0);
    key(KEY_PASS);
    EXPECT_EQ(keys_below, 2);
}

} // namespace
