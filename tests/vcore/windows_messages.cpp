// Messages: their order, between threads, to windows that are gone, and the end of loops.
#include "gui_fixture.h"

#include <atomic>
#include <thread>
#include <tp_os.h>

namespace {
constexpr UINT SENT = MSG_USER + 1, NOTIFIED = MSG_USER + 2, POSTED = MSG_USER + 3;

class Messages : public GuiTest {
protected:
    // A thread that waits for its answer.
    static std::thread sending_to(HWND w, LRESULT *answer = nullptr) {
        std::atomic<bool> sending{false};
        std::thread sender([w, answer, &sending] {
            sending = true;
            const LRESULT got = SendMessage(w, SENT, 0, 0);
            if (answer) *answer = got;
        });
        while (!sending) std::this_thread::yield();
        tp_clock_sleep_ms(20);
        return sender;
    }
    // Runs body on another thread while this one handles messages until it has ended.
    static void with_thread(const std::function<void()> &body) {
        std::atomic<bool> done{false};
        std::thread thread([&] {
            body();
            done = true;
        });
        while (!done) tp_gui_pump();
        thread.join();
    }
};

TEST_F(Messages, KindsComeInTheirOrder) {
    const HWND w = open_full();
    tp_gui_pump();
    SetTimer(w, 7, 1);
    tp_clock_sleep_ms(15);
    told.clear();
    InvalidateRect(w, nullptr, false);
    tp_gui_inject_key(103, true);
    PostMessage(w, POSTED, 0, 0);
    SendNotifyMessage(w, NOTIFIED, 0, 0);
    PostMessage(w, POSTED, 1, 0);
    std::thread sender = sending_to(w);
    tp_gui_pump();
    sender.join();
    std::vector<UINT> order;
    for (const Told &t : told) order.push_back(t.message);
    EXPECT_EQ(order, (std::vector<UINT>{SENT, NOTIFIED, POSTED, POSTED, MSG_KEYDOWN, MSG_PAINT, MSG_TIMER}));
}

TEST_F(Messages, SendersOnOtherThreadsGetTheProceduresAnswer) {
    const HWND w = open_full();
    handlers[w] = [](HWND, const MSG &m, LRESULT *result) {
        *result = static_cast<LRESULT>(m.wParam) * 2 + m.lParam;
        return m.message == SENT;
    };
    int wrong = 0, called = 0;
    with_thread([&] {
        for (int i = 0; i < 300; ++i) wrong += SendMessage(w, SENT, static_cast<WPARAM>(i), 1) != i * 2 + 1;
        called = tp_gui_call([](void *) { return tp_is_gui_thread() ? 42 : 0; }, nullptr);
        wrong += SendMessage(w + 4, SENT, 1, 1) != 0; // never existed
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(called, 42);
}

TEST_F(Messages, JoiningAnswersWhatIsSentButNothingElse) {
    HWND w = open_full();
    tp_gui_pump();
    told.clear();
    static int answered;
    answered = 0;
    handlers[w] = [](HWND, const MSG &m, LRESULT *result) { return *result = 5, m.message == SENT; };
    PostMessage(w, POSTED, 0, 0); // waits for the loop
    tp_os_thread_t worker = nullptr;
    ASSERT_EQ(tp_os_thread_create("reporter", [](void *arg) {
        const HWND window = *static_cast<HWND *>(arg);
        for (int i = 0; i < 100; ++i) answered += SendMessage(window, SENT, 0, 0) == 5;
        UpdateWindow(window, true);
    }, &w, &worker), 0);
    tp_os_thread_join(worker);
    EXPECT_EQ(answered, 100);
    EXPECT_EQ(of(w, {POSTED}).size(), 0u);
    EXPECT_EQ(of(w, {MSG_PAINT}).size(), 1u);
    tp_gui_pump();
    EXPECT_EQ(of(w, {POSTED}).size(), 1u);
}

TEST_F(Messages, DeadWindowsGetNothing) {
    const HWND dead = open_full();
    PostMessage(dead, POSTED, 0, 0);
    SendNotifyMessage(dead, NOTIFIED, 0, 0);
    InvalidateRect(dead, nullptr, true);
    SetTimer(dead, 1, 1);
    DestroyMainWindow(dead);
    const HWND next = open_full();
    EXPECT_NE(next, dead);
    told.clear();
    tp_gui_pump();
    EXPECT_TRUE(of(dead, {POSTED, NOTIFIED, MSG_PAINT, MSG_TIMER}).empty());
    EXPECT_EQ(PostMessage(dead, POSTED, 0, 0), -1);
    EXPECT_EQ(SendMessage(dead, SENT, 0, 0), 0);
    EXPECT_EQ(GetClientDC(dead), HDC_INVALID);
    EXPECT_EQ(SetTimer(dead, 1, 1), -1);
    EXPECT_EQ(DestroyMainWindow(dead), -1);
}

TEST_F(Messages, ProceduresMayDestroyThemselvesOpenOthersAndPump) {
    const HWND w = open_full();
    handlers[w] = [](HWND self, const MSG &m, LRESULT *) {
        if (m.message == SENT) {
            open_full(0xff);
            PostMessage(self, POSTED, 0, 0);
            tp_gui_pump();
        } else if (m.message == POSTED) {
            SendMessage(self, MSG_CLOSE, 0, 0);
        } else if (m.message == MSG_CLOSE) {
            DestroyMainWindow(self);
        }
        return m.message >= MSG_USER;
    };
    SendMessage(w, SENT, 0, 0);
    EXPECT_FALSE(IsWindow(w));
    EXPECT_EQ(of(w, {MSG_DESTROY}).size(), 1u);
    EXPECT_EQ(GetWindowBkColor(GetActiveWindow()), 0xffu);
    tp_gui_pump();
    EXPECT_EQ(fake_panel::pixel(3, 3), 0xffu);
}

TEST_F(Messages, ALoopEndsForItsOwnWindowOnly) {
    const HWND outer = open_full();
    const HWND dialog = open_full();
    handlers[dialog] = [outer](HWND self, const MSG &m, LRESULT *) {
        if (m.message == POSTED) PostQuitMessage(m.wParam ? self : outer);
        return false;
    };
    PostMessage(dialog, POSTED, 0, 0);
    PostMessage(dialog, POSTED, 1, 0);
    MSG msg;
    while (GetMessage(&msg, dialog)) DispatchMessage(&msg);
    EXPECT_EQ(of(dialog, {POSTED}).size(), 2u);
    EXPECT_EQ(GetMessage(&msg, outer), 0); // its quit waited
    PostMessage(outer, NOTIFIED, 0, 0);
    EXPECT_EQ(GetMessage(&msg, outer), 1); // and is used up
    DestroyMainWindow(dialog);
    EXPECT_EQ(GetMessage(&msg, dialog), 0);
}

TEST_F(Messages, NobodyWaitsForAGuiThatEnded) {
    const HWND w = open_full();
    // The loop's end releases those who wait and refuses those who come, until somebody looks at messages again.
    handlers[w] = [](HWND self, const MSG &m, LRESULT *result) {
        if (m.message == POSTED) PostQuitMessage(self);
        return *result = 1, m.message == SENT;
    };
    PostMessage(w, POSTED, 0, 0);
    MSG msg;
    while (GetMessage(&msg, w)) DispatchMessage(&msg);
    LRESULT late = -1;
    int called = 0;
    std::thread([&] {
        late = SendMessage(w, SENT, 0, 0);
        called = tp_gui_call([](void *) { return 1; }, nullptr);
    }).join();
    EXPECT_EQ(late, 0);
    EXPECT_EQ(called, -1);

    // A dialog's loop inside a procedure ends without that.
    handlers[w] = [](HWND self, const MSG &m, LRESULT *result) {
        if (m.message == NOTIFIED) {
            PostQuitMessage(self);
            MSG inner;
            EXPECT_EQ(GetMessage(&inner, self), 0);
        }
        return *result = 1, m.message == SENT;
    };
    SendNotifyMessage(w, NOTIFIED, 0, 0);
    tp_gui_pump();
    with_thread([&] { late = SendMessage(w, SENT, 0, 0); });
    EXPECT_EQ(late, 1);

    std::thread waiting = sending_to(w, &late);
    TerminateGUI();
    waiting.join();
    EXPECT_EQ(late, 0);
}

TEST_F(Messages, TimersFollowTheScaledClock) {
    const HWND w = open_full();
    tp_gui_pump();
    tp_clock_set_scale(100);
    ASSERT_EQ(SetTimer(w, 1, 100), 0); // 1 s: 10 ms
    ASSERT_EQ(SetTimer(w, 2, 50), 0);
    ASSERT_EQ(SetTimer(w, 2, 150), 0); // set again: one timer
    const int64_t from = tp_clock_mono_ns();
    std::vector<WPARAM> fired;
    MSG msg;
    while (fired.size() < 3 && GetMessage(&msg, w)) {
        if (msg.message == MSG_TIMER) fired.push_back(msg.wParam);
        DispatchMessage(&msg);
    }
    const double seconds = static_cast<double>(tp_clock_mono_ns() - from) / 1e9;
    EXPECT_EQ(fired, (std::vector<WPARAM>{1, 2, 1}));
    EXPECT_GE(seconds, 2.0);
    // Missed ticks are not made up for.
    for (const int id : {1, 2}) EXPECT_EQ(KillTimer(w, id), 0);
    SetTimer(w, 3, 1);
    tp_clock_sleep_ms(500);
    told.clear();
    tp_gui_pump();
    EXPECT_EQ(of(w, {MSG_TIMER}).size(), 1u);
}
} // namespace
