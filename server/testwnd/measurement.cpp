#include "testwnd/measurement.h"

bool Measurement::begin(TestWindow &w) {
    {
        const std::lock_guard lock(mutex_);
        window_ = &w;
        wanted_ = true;
        if (running_) return true;
        running_ = true;
    }
    if (worker_.start("measure", [this] { run(); })) return true;
    const std::lock_guard lock(mutex_);
    running_ = wanted_ = false;
    return false;
}

void Measurement::run() {
    std::unique_lock lock(mutex_);
    while (wanted_) {
        wanted_ = false;
        lock.unlock();
        const int result = measure_();
        lock.lock();
        result_ = result;
    }
    running_ = false;
    test_frame_tell(*window_, result_);
    ended_.notify_all();
}

int Measurement::wait() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return !running_; });
    return result_;
}
