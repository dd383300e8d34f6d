#include "base/worker.h"

#include <atomic>
#include <thread>
#include <utility>

struct Worker::State {
    std::function<void()> body;
    std::atomic<std::thread::id> id{};
    std::atomic<bool> done{false};
};

void Worker::run(void *arg) {
    // The thread's own share: the worker may forget its state before the body returns.
    const std::unique_ptr<std::shared_ptr<State>> holder(static_cast<std::shared_ptr<State> *>(arg));
    State &state = **holder;
    state.id = std::this_thread::get_id();
    state.body();
    state.body = nullptr; // what the body captured dies with the thread's work
    state.done = true;
}

bool Worker::start(const char *name, std::function<void()> body) {
    if (!body || on_worker()) return false;
    stop();
    auto state = std::make_shared<State>();
    state->body = std::move(body);
    auto holder = std::make_unique<std::shared_ptr<State>>(state);
    const std::lock_guard lock(mutex_);
    tp_os_thread_t thread = nullptr;
    if (tp_os_thread_create(name, &Worker::run, holder.get(), &thread) != 0) return false;
    static_cast<void>(holder.release()); // now the thread's
    thread_ = thread;
    state_ = std::move(state);
    return true;
}

bool Worker::on_worker() const {
    const std::lock_guard lock(mutex_);
    return state_ && state_->id.load() == std::this_thread::get_id();
}

void Worker::finish(bool ask) {
    tp_os_thread_t thread = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (state_ && state_->id.load() == std::this_thread::get_id()) {
            if (ask) tp_os_thread_interrupt(thread_);
            return;
        }
        thread = std::exchange(thread_, nullptr);
        if (thread && ask) tp_os_thread_interrupt(thread);
    }
    if (!thread) return;
    tp_os_thread_join(thread);
    const std::lock_guard lock(mutex_);
    if (!thread_) state_.reset();
}

void Worker::stop() { finish(true); }
void Worker::join() { finish(false); }

bool Worker::running() const {
    const std::lock_guard lock(mutex_);
    return state_ && !state_->done;
}
