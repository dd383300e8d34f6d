// The frame that all test windows share: title, soft keys, verdict, idle permission, PC mode.
//
// A test describes itself in one TestWindow and opens it with test_frame_open. The frame creates the main window between
// the bars (or over the whole screen), shows title and soft keys, and keeps the verdict contract:
//   pass: close; in an automatic run write the flag with 1 and start the next item;
//   fail (key 61, message 2150): in an automatic run write 2; the run ends; close.
// GUI thread, except test_frame_pc_open and test_frame_pc_close.
#pragma once

#include <atomic>
#include <tp_gui.h>
#include <type_traits>

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
    int pass_after_ms = 0;          // the pass key is offered only so long after opening (fool-proof delay)
    const char *caption = "";       // of the main window
    // Sees every message first; true: handled, *result is the answer. MSG_CREATE and MSG_CLOSE must stay unhandled.
    bool (*proc)(HWND, UINT, WPARAM, LPARAM, LRESULT *result) = nullptr;
    void (*on_open)(HWND) = nullptr;   // after creation, before showing: start the stimulus
    void (*on_close)(HWND) = nullptr;  // on every way out: stop it
    void (*paint)(HWND, HDC) = nullptr;
    // kept by the frame
    HWND hwnd = HWND_NULL;
    bool pass_offered = false;      // the fool-proof delay is over
    std::atomic<int> created{0};    // 1 while the window exists
    std::atomic<int> pc_mode{0};    // driven by the PC
    char pc_result[256] = {};       // the domain while open, zeros otherwise
};

bool test_frame_open(TestWindow &w);      // false when the window could not be created; already open: raises it, true
void test_frame_close(TestWindow &w);     // no verdict
void test_frame_pass(TestWindow &w);      // verdict 1, chain, close
void test_frame_fail(TestWindow &w);      // verdict 2, close
void test_frame_refresh_keys(TestWindow &w); // after may_pass changed
// From the PC's thread: close what is open (Check_AllTestWnd_Closed), open in PC mode / close. 1 success, 0 failure.
int test_frame_pc_open(TestWindow &w);
int test_frame_pc_close(TestWindow &w);
TestWindow *test_frame_current();         // the window opened last and still open, or null
void test_frame_draw_text(HWND hwnd, HDC hdc, const char *key, int color); // a translated note, centred in the middle

// Runs a function object that returns int on the GUI thread; -1 when there is no GUI. Any thread.
template <class F> int on_gui_thread(F &&body) {
    using Body = std::remove_reference_t<F>;
    return tp_gui_call([](void *arg) -> int { return (*static_cast<Body *>(arg))(); }, &body);
}
