// What both touch panel tests share: the finger's line, the marks, the stop key, the verdict and the PC's entries. A test brings
// its cells. GUI thread, except the PC's entries.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "shell/test_frame.h"
#include "testwnd/touch_circles.h"

constexpr char TOUCH_TAG[] = "TKI_TOUCH";
constexpr int STATION_TOUCH = 320;

extern int g_StopTouchTestKeyVal; // operator code of the key that ends the test; becomes 127 when it is none of those that may

struct TouchPad {
    TestWindow window;
    bool (*prepare)(); // computes the cells for this screen and allocates their marks; false: the test cannot open
    // The finger went straight from one point to the other (the same point: nothing is known of the way): marks and draws.
    void (*touched)(HDC, TouchPoint from, TouchPoint to);
    // Kept here. The counts stay when the window closes, until the next test.
    std::unique_ptr<uint8_t, decltype(&free)> marks{nullptr, free}; // one byte per cell, 1 once touched
    int totalCount = 0, drawCount = 0;
    TouchPoint last{}; // of the finger's line
    bool last_valid = false;
    int key_down = 0;
};

// A window of the whole screen without keys; its proc must hand every message to touch_pad_message.
TestWindow touch_pad_window(bool (*proc)(HWND, UINT, WPARAM, LPARAM, LRESULT *), void (*on_close)(HWND),
                            void (*paint)(HWND, HDC));
bool touch_pad_message(TouchPad &pad, HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
// Fresh marks for so many cells. False when memory is short, with errno set.
bool touch_pad_allocate(TouchPad &pad, int cells);
bool touch_pad_mark(TouchPad &pad, int cell); // true when it was not marked before
bool touch_pad_is_marked(const TouchPad &pad, int cell);

// Opens with a cleared record; in the preview of single modules a pass goes on in that list and writes no flag.
void touch_pad_open(TouchPad &pad, bool preview);
void touch_pad_pc_open(TouchPad &pad); // closes what is open; nothing opens when memory is short
int touch_pad_pc_close(TouchPad &pad); // 1 when every cell has been touched, else 0. Any thread; off the GUI thread waits 100 ms
