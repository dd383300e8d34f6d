// Work that may wait, such as a request to a launcher: one thread, in order, so that whoever asks goes on.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace vh::console {

// The thread is made by the first job and ends, when the lane is gone, behind the last one; nobody waits for it. A job therefore
// holds what it works on.
class Lane {
public:
    Lane() : state_(std::make_shared<State>()) {}
    ~Lane() {
        {
            const std::scoped_lock lock(state_->mutex);
            state_->closed = true;
        }
        state_->more.notify_all();
    }
    Lane(const Lane &) = delete;
    Lane &operator=(const Lane &) = delete;

    // False: so much work waits already that this is refused. A job throws nothing.
    [[nodiscard]] bool add(std::function<void()> job) {
        {
            const std::scoped_lock lock(state_->mutex);
            if (state_->jobs.size() >= MOST) return false;
            state_->jobs.push_back(std::move(job));
        }
        state_->more.notify_all();
        if (!started_) std::thread([state = state_] { run(*state); }).detach();
        started_ = true;
        return true;
    }

private:
    static constexpr size_t MOST = 1000;
    struct State {
        std::mutex mutex;
        std::condition_variable more;
        std::deque<std::function<void()>> jobs;
        bool closed = false;
    };
    static void run(State &state) {
        for (;;) {
            std::function<void()> job;
            {
                std::unique_lock lock(state.mutex);
                state.more.wait(lock, [&] { return state.closed || !state.jobs.empty(); });
                if (state.jobs.empty()) return;
                job = std::move(state.jobs.front());
                state.jobs.pop_front();
            }
            job();
        }
    }
    std::shared_ptr<State> state_;
    bool started_ = false;
};

} // namespace vh::console
