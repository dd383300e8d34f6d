#include "shell/dialog.h"

#include <thread>

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
        begin();
    }
    void begin() {
        mmi_testwnd_InitLogFont();
        MAINWINCREATE info;
        info.MainWindowProc = owner_proc;
        info.rx = screen_width();
        info.by = screen_height();
        owner = CreateMainWindow(&info);
        ShowWindow(owner, SW_SHOWNORMAL);
        answers.clear();
        keys_below = 0;
        RegisterKeyMsgHook(nullptr, hook_below);
    }
    void TearDown() override {
        DestroyDialog(dialog);
        ShellTest::TearDown();
    }
    void open(int n, const char *message = "message", HWND host = HWND_NULL) {
        static const char *const texts[] = {"yes", "no", "third"};
        DestroyDialog(dialog);
        dialog =
            CreateDialog("title", message, 45, 427, 630, 426, host ? host : owner, owner, 1, texts, n, 0);
        ASSERT_NE(dialog, DIALOG_NONE);
        ASSERT_EQ(DoModal(dialog), 1);
        tp_gui_pump();
    }
    // As the touch hook delivers it: screen coordinates.
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
    open(2);
    touch(MSG_LBUTTONDOWN, 100, 800);
    touch(MSG_MOUSEMOVE, 110, 801);
    touch(MSG_MOUSEMOVE, 500, 800); // onto the neighbour: cancelled, not moved
    touch(MSG_LBUTTONUP, 500, 800);
    EXPECT_TRUE(answers.empty());
    touch(MSG_LBUTTONDOWN, 500, 800);
    touch(MSG_LBUTTONUP, 500, 800);
    EXPECT_EQ(answers, std::vector<int>{1});
}

TEST_F(DialogTest, CloseButtonAnswersOnceFromAnyThread) {
    EXPECT_EQ(CloseButton(), 0);
    open(2);
    int result = -1;
    std::atomic<bool> done{false};
    std::thread pc([&] {
        result = CloseButton();
        done = true;
    });
    EXPECT_TRUE(pump_until([&] { return done.load(); }));
    pc.join();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(answers, std::vector<int>{3});
    EXPECT_EQ(CloseButton(), 0);
    key(KEY_PASS); // not the dialog's any more
    EXPECT_EQ(answers, std::vector<int>{3});
    EXPECT_EQ(keys_below, 2);
}

TEST_F(DialogTest, ShownAgainItStillGivesTheInputBack) {
    open(1);
    EXPECT_EQ(DoModal(dialog), 1);
    key(KEY_PASS);
    key(KEY_PASS);
    EXPECT_EQ(keys_below, 2);
}

TEST_F(DialogTest, HostThatGoesAwayReleasesInputAndOwner) {
    MAINWINCREATE info;
    info.MainWindowProc = DefaultMainWinProc;
    info.rx = info.by = 100;
    const HWND host = CreateMainWindow(&info);
    open(2, "message", host);
    DestroyMainWindow(host);
    tp_gui_pump();
    EXPECT_EQ(answers, std::vector<int>{3});
    key(KEY_PASS);
    EXPECT_EQ(keys_below, 2);
}

TEST_F(DialogTest, NothingIsAcceptedWhereADialogBelongs) {
    EXPECT_EQ(DoModal(nullptr), 0);
    EXPECT_EQ(DoModal(DIALOG_NONE), 0);
    DestroyDialog(nullptr);
    DestroyDialog(DIALOG_NONE);
    EXPECT_EQ(CreateDialog("t", "m", 0, 0, 10, 10, owner, owner, 1, nullptr, 2, 0), DIALOG_NONE);
}

// Every text lies inside the dialog, on the smallest and the largest screen.
TEST_F(DialogTest, LongMessagesBreakIntoLinesThatFit) {
    const std::string message =
        "The battery temperature is too high, please remove the charger and wait for a while";
    for (const auto &[w, h] : {std::pair{240, 320}, {720, 1280}, {1440, 3120}}) {
        SCOPED_TRACE(w);
        DestroyDialog(dialog);
        dialog = nullptr;
        start(w, h);
        begin();
        const char *const button = "OK";
        const int dw = w / 8 * 7, dh = h / 3;
        const RECT box{(w - dw) / 2, (h - dh) / 2 + dh / 3, (w - dw) / 2 + dw, (h - dh) / 2 + 2 * dh / 3};
        dialog = CreateDialog("title", message.c_str(), box.left, (h - dh) / 2, dw, dh, owner, owner, 1,
                              &button, 1, 0);
        ASSERT_EQ(DoModal(dialog), 1);
        tp_gui_pump();
        const std::string dump = tp_gui_dump();
        const size_t at = dump.find("\"text\":\"" + message + "\"");
        ASSERT_NE(at, std::string::npos);
        RECT r{};
        ASSERT_EQ(std::sscanf(dump.c_str() + dump.find("\"rect\":[", at), "\"rect\":[%d,%d,%d,%d]", &r.left,
                              &r.top, &r.right, &r.bottom),
                  4);
        EXPECT_TRUE(r.left >= box.left && r.top >= box.top && r.right <= box.right && r.bottom <= box.bottom)
            << r.left << "," << r.top << "," << r.right << "," << r.bottom;
    }
}

} // namespace
