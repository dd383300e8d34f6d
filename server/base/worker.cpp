#include "base/worker.h"

#include <atomic>
#include <thread>
#include <utility>

struct Worker::State {
    std::function<void()> body;
    std::atomic<std::thread::id> id{};
    std::mutex mutex;                // guards what follows
    tp_os_thread_t thread = nullptr; // valid until done: it is freed only after the thread's end
    bool done = false;

    bool is_self() const { return id.load() == std::this_thread::get_id(); }
    void interrupt() {
        const std::lock_guard lock(mutex);
        if (!done) tp_os_thread_interrupt(thread);
    }
    bool running() {
        const std::lock_guard lock(mutex);
        return !done;
    }
};

void Worker::run(void *arg) {
    const std::unique_ptr<std::shared_ptr<State>> holder(static_cast<std::shared_ptr<State> *>(arg));
    State &state = **holder;
    state.id = std::this_thread::get_id();
    state.body();
    state.body = nullptr; // what the body captured dies with the thread's work
    const std::lock_guard lock(state.mutex);
    state.done = true;
}

bool Worker::start(const char *name, std::function<void()> body) {
    if (!body) return false;
    {
        const std::lock_guard lock(mutex_);
        if (state_ && state_->is_self()) return false;
    }
    stop();
    auto state = std::make_shared<State>();
    state->body = std::move(body);
    auto holder = std::make_unique<std::shared_ptr<State>>(state);
    const std::lock_guard lock(mutex_);
    const std::lock_guard state_lock(state->mutex);
    if (tp_os_thread_create(name, &Worker::run, holder.get(), &state->thread) != 0) return false;
    static_cast<void>(holder.release()); // now the thread's
    thread_ = state->thread;
    state_ = state;
    return true;
}

void Worker::finish(bool ask) {
    tp_os_thread_t thread = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (!state_) return;
        if (ask) state_->interrupt();
        if (state_->is_self()) return;
        thread = std::exchange(thread_, nullptr);
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
    return state_ && state_->running();
}
