// A measurement of the library that takes its time, on a thread of its own: the screen stays alive, and a window that closes
// does not wait for it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "base/worker.h"
#include "shell/test_frame.h"

class Measurement {
public:
    explicit Measurement(int (*measure)()) : measure_(measure) {}
    // Measures for a window, which is told the result. While one runs, another follows it: its result came too early.
    // GUI thread; false when no thread could be made.
    bool begin(TestWindow &w);
    // The last result, when nothing is measured any more. Not on the GUI thread.
    int wait();

private:
    void run();

    int (*measure_)();
    std::mutex mutex_; // guards what follows
    std::condition_variable ended_;
    TestWindow *window_ = nullptr;
    bool wanted_ = false, running_ = false;
    int result_ = -1;
    Worker worker_;
};
