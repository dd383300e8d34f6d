// The frame that all test windows share: title, soft keys, verdict, idle permission, PC mode.
//
// A test describes itself in one TestWindow and opens it with test_frame_open. The frame creates the main window between
// the bars (or over the whole screen), shows title and soft keys, and keeps the verdict contract:
//   pass: close; in an automatic run write the flag with 1 and start the next item;
//   fail (key 61, message 2150): in an automatic run write 2; the run ends; close.
// GUI thread, except test_frame_pc_open and test_frame_pc_close.
#pragma once

#include <atomic>
#include <string>
#include <tp_gui.h>
#include <type_traits>
#include <vector>

struct TestLine {
    std::string text;
    int color; // index of the system colours
};
constexpr int LINE_GOOD = 10, LINE_BAD = 12, LINE_NORMAL = 19;

struct TestWindow {
    const char *domain = "";        // config_domain, e.g. "TKI_LCD"
    const char *title_key = "";     // language key of the title; empty: no title
    int station = -1;               // result flag, -1 none
    bool monomer = false;           // chains in the preview list instead, writes no flag
    bool full_screen = false;       // covers the bars, hides the soft keys
    bool keep_awake = true;         // no sleep while open
    const char *keys[3] = {"Result_pass", "", "Result_fail"}; // soft keys by language key
    bool pass_by_key = true;        // key 60 passes (when may_pass allows)
    bool (*may_pass)() = nullptr;   // fool-proof rule; null: always
    bool (*middle_offered)() = nullptr; // the middle key is named only then; null: always
    int pass_after_ms = 0;          // the pass key is offered only so long after opening (fool-proof delay)
    // What the operator judges: begun before showing, ended on every way out. One that did not begin can never be passed,
    // and the window says "not fitted" in place of its note.
    bool (*start)() = nullptr;
    int (*stop)() = nullptr;        // 0 success
    const char *note_key = "";
    // Lines below the note, asked for at every paint. They change by tick, every tick_ms after a start, and by told, which gets
    // what any thread handed to test_frame_tell. Both run on the GUI thread; window and pass key are shown anew behind them.
    std::vector<TestLine> (*lines)() = nullptr;
    void (*tick)() = nullptr;
    int tick_ms = 0;
    void (*told)(int value) = nullptr;
    // After test_frame_changed, at most once in 50 ms: the one who has much to tell. Shows by itself what is different.
    void (*changed)(HWND) = nullptr;
    const char *caption = "";       // of the main window
    // Sees every message first; true: handled, *result is the answer. MSG_CREATE and MSG_CLOSE must stay unhandled.
    bool (*proc)(HWND, UINT, WPARAM, LPARAM, LRESULT *result) = nullptr;
    void (*on_open)(HWND) = nullptr;   // after creation, before showing: start the stimulus
    void (*on_close)(HWND) = nullptr;  // on every way out: stop it
    void (*paint)(HWND, HDC) = nullptr;
    // kept by the frame
    std::atomic<HWND> hwnd{HWND_NULL};
    bool pass_offered = false;      // the fool-proof delay is over
    bool started = false;           // start() succeeded
    int stop_result = 0;            // of the last stop()
    std::atomic<int> created{0};    // 1 while the window exists
    std::atomic<int> pc_mode{0};    // driven by the PC
    std::atomic<bool> change_told{false}; // changed() will run
    char pc_result[256] = {};       // the domain while open, zeros otherwise
};

constexpr int FOOL_PROOF_MS = 3000; // what must be heard or felt is on for so long before it may pass

bool test_frame_open(TestWindow &w);      // false when the window could not be created; already open: raises it, true
void test_frame_close(TestWindow &w);     // no verdict
void test_frame_pass(TestWindow &w);      // verdict 1, chain, close
void test_frame_write_verdict(const TestWindow &w, int verdict); // into the flags and the log; whatever runs
void test_frame_fail(TestWindow &w);      // verdict 2, close
void test_frame_refresh_keys(TestWindow &w); // after may_pass changed
void test_frame_show(TestWindow &w);      // draws the window anew, and its keys
void test_frame_tell(TestWindow &w, int value); // any thread: told(value) soon, unless the window is closed until then
void test_frame_delay_pass(TestWindow &w); // the stimulus shows only now: the fool-proof delay begins
void test_frame_changed(TestWindow &w);   // any thread: changed() soon, once for all that change until then
void test_frame_restart(TestWindow &w);   // start() and the fool-proof delay once more, for another stimulus
// From the PC's thread: close what is open (Check_AllTestWnd_Closed), open in PC mode / close. 1 success, 0 failure.
int test_frame_pc_open(TestWindow &w);
int test_frame_pc_close(TestWindow &w);
// The same for a test with start(): a second start begins anew, one that does not begin leaves no window and gives 0.
// The stop ends what something else started, too.
int test_frame_pc_start(TestWindow &w);
int test_frame_pc_stop(TestWindow &w);
// Makes room for another test: closes the open item, and what the item table cannot stop but the PC opened or
// has a stimulus. GUI thread.
void test_frame_close_others(const TestWindow *except = nullptr);
TestWindow *test_frame_current();         // the window opened last and still open, or null
void test_frame_draw_text(HWND hwnd, HDC hdc, const char *key, int color); // a translated note, centred in the middle

// Runs a function object that returns int on the GUI thread; -1 when there is no GUI. Any thread.
template <class F> int on_gui_thread(F &&body) {
    using Body = std::remove_reference_t<F>;
    return tp_gui_call([](void *arg) -> int { return (*static_cast<Body *>(arg))(); }, &body);
}

// test_frame_pc_start of a test that can do several things: prepare, which says which, runs when the one before has ended.
template <class F> int test_frame_pc_start(TestWindow &w, F &&prepare) {
    return on_gui_thread([&] {
               test_frame_close(w);
               prepare();
               return test_frame_pc_start(w);
           }) == 1
               ? 1
               : 0;
}
