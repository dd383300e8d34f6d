#include <common/callback_thread.h>

#include <cerrno>
#include <common/hal_log.h>
#include <cstring>
#include <utility>

namespace hal {

static thread_local const CallbackThread *t_calls_for = nullptr; // whose callback runs on this thread

bool CallbackThread::Run::tell(tki_callback cb, int type, int result, const void *data) {
    if (stop.wait(0)) return false;
    tki_module_data told{type, result, data};
    t_calls_for = owner_;
    cb(&told);
    t_calls_for = nullptr;
    return true;
}

void CallbackThread::enter(void *arg) {
    const std::unique_ptr<std::shared_ptr<Run>> run(static_cast<std::shared_ptr<Run> *>(arg));
    for (const auto &before : std::exchange((*run)->before_, {})) before->over_.wait(-1);
    if (!(*run)->stop.wait(0)) (*run)->body_(**run);
    (*run)->body_ = nullptr; // what it holds ends with it
    (*run)->over_.set();
}

bool CallbackThread::start(const char *tag, const char *name, std::function<void(Run &)> body) {
    stop();
    auto run = std::make_shared<Run>();
    run->owner_ = this;
    run->body_ = std::move(body);
    auto owned_by_thread = std::make_unique<std::shared_ptr<Run>>(run);
    const std::lock_guard guard(mutex_);
    for (const auto &before : runs_) before->stop.set();
    run->before_ = runs_;
    const bool valid = run->stop.valid() && run->over_.valid();
    const int failure = valid ? tp_os_thread_create(name, enter, owned_by_thread.get(), &run->thread_) : EMFILE;
    if (failure != 0) {
        HAL_LOG_E(tag, "thread %s: %s", name, strerror(failure));
        return false;
    }
    [[maybe_unused]] const auto *with_the_thread = owned_by_thread.release();
    runs_.push_back(std::move(run));
    return true;
}

void CallbackThread::stop() {
    std::vector<std::pair<std::shared_ptr<Run>, tp_os_thread_t>> ending;
    {
        const std::lock_guard guard(mutex_);
        for (const auto &run : runs_) run->stop.set();
        const bool inside = t_calls_for == this; // what still runs is then joined by the next stop
        for (const auto &run : runs_)
            if (!inside || run->over_.wait(0)) ending.emplace_back(run, std::exchange(run->thread_, nullptr));
    }
    for (const auto &[run, thread] : ending) {
        if (thread) tp_os_thread_join(thread);
        else wait_answering(run->over_, -1); // another thread is joining it
        const std::lock_guard guard(mutex_);
        std::erase(runs_, run);
    }
}

} // namespace hal
