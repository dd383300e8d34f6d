// Threads and semaphores. A stop request is a flag and a signal: the flag is looked at with the signal blocked and the
// wait unblocks it atomically, so that a request just before a wait is never lost.
#include <tp_os.h>

#include <android/log.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sys/eventfd.h>
#include <system_error>
#include <tp_clock.h>
#include <tp_gui.h>
#include <unistd.h>

#include "os_wait.h"

struct TpThread {
    pthread_t id{};
    char name[16] = {};
    void (*entry)(void *) = nullptr;
    void *arg = nullptr;
    std::atomic<bool> stop{false};
    std::atomic<bool> finished{false};
    bool stop_seen = false; // a wait of this thread already ended for the request; touched by the thread itself only
};

struct TpSema {
    int fd; // a counting eventfd: it can be waited for together with a stop request
};

namespace {
thread_local TpThread *t_self = nullptr;

void ignore_signal(int) {}

void *run_thread(void *raw) {
    auto *self = static_cast<TpThread *>(raw);
    t_self = self;
    pthread_setname_np(pthread_self(), self->name);
    sigset_t wake_signal;
    sigemptyset(&wake_signal);
    sigaddset(&wake_signal, SIGUSR1);
    pthread_sigmask(SIG_UNBLOCK, &wake_signal, nullptr);
    self->entry(self->arg);
    self->finished.store(true, std::memory_order_release);
    vcore::gui_wake();
    return nullptr;
}
} // namespace

namespace vcore {
int ppoll_or_stop(pollfd *fds, nfds_t count, const timespec *timeout, StopEnds ends) {
    TpThread *self = t_self;
    if (!self) return ppoll(fds, count, timeout, nullptr);
    sigset_t wake_signal, before, open;
    sigemptyset(&wake_signal);
    sigaddset(&wake_signal, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &wake_signal, &before);
    open = before;
    sigdelset(&open, SIGUSR1);
    int result = -1, error = EINTR;
    if (!self->stop || (ends == StopEnds::first_wait && self->stop_seen)) {
        result = ppoll(fds, count, timeout, &open);
        error = errno;
    }
    if (result < 0 && error == EINTR && self->stop) self->stop_seen = true;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return result;
}

std::thread start_quiet_thread(std::function<void()> work) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread;
    try {
        thread = std::thread(work);
    } catch (const std::system_error &) { work(); }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}
} // namespace vcore

int tp_os_thread_init() {
    static std::once_flag once;
    static int result = 0;
    std::call_once(once, [] {
        struct sigaction action {};
        action.sa_handler = ignore_signal;
        sigemptyset(&action.sa_mask);
        if (sigaction(SIGUSR1, &action, nullptr) != 0) result = errno;
    });
    return result;
}

int tp_os_thread_create(const char *name, void (*entry)(void *), void *arg, tp_os_thread_t *out) {
    if (!entry || !out) return EINVAL;
    if (const int error = tp_os_thread_init()) return error;
    std::unique_ptr<TpThread> thread(new (std::nothrow) TpThread);
    if (!thread) return ENOMEM;
    strncpy(thread->name, name ? name : "", sizeof thread->name - 1);
    thread->entry = entry;
    thread->arg = arg;
    // The handle is in its place before the thread runs, because its function may look at it.
    TpThread *const old = *out;
    *out = thread.get();
    const int error = pthread_create(&thread->id, nullptr, run_thread, thread.get());
    if (error) {
        *out = old;
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s %s: %s", __func__, thread->name, strerror(error));
        return error;
    }
    [[maybe_unused]] const TpThread *owned_by_caller = thread.release();
    return 0;
}

void tp_os_thread_join(tp_os_thread_t thread) {
    if (!thread) return;
    if (thread == t_self) {
        __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s thread %s cannot join itself", __func__, thread->name);
        return;
    }
    if (tp_is_gui_thread()) vcore::gui_answer_until([](void *t) { return tp_os_thread_finished(static_cast<TpThread *>(t)); }, thread);
    pthread_join(thread->id, nullptr);
    delete thread;
}

void tp_os_thread_interrupt(tp_os_thread_t thread) {
    if (!thread) return;
    thread->stop = true;
    if (!tp_os_thread_finished(thread)) pthread_kill(thread->id, SIGUSR1);
}

bool tp_os_thread_finished(tp_os_thread_t thread) { return !thread || thread->finished.load(std::memory_order_acquire); }
bool tp_os_thread_stop_requested() { return t_self && t_self->stop; }

tp_os_sema_t tp_os_sema_create(int initial) {
    const int fd = eventfd(initial > 0 ? static_cast<unsigned>(initial) : 0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0) return nullptr;
    auto *sema = new (std::nothrow) TpSema{fd};
    if (!sema) close(fd);
    return sema;
}

void tp_os_sema_delete(tp_os_sema_t sema) {
    if (!sema) return;
    close(sema->fd);
    delete sema;
}

void tp_os_sema_put(tp_os_sema_t sema) {
    if (!sema) return;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(sema->fd, &one, sizeof one);
}

int tp_os_sema_get(tp_os_sema_t sema, int64_t timeout_ms) {
    const int64_t from = tp_clock_mono_ns();
    uint64_t count = 0;
    for (bool first = true;; first = false) {
        if (sema && read(sema->fd, &count, sizeof count) == static_cast<ssize_t>(sizeof count)) return 0;
        if (tp_os_thread_stop_requested()) return -1;
        int64_t rest = -1;
        if (timeout_ms >= 0) {
            rest = timeout_ms * 1'000'000 - (tp_clock_mono_ns() - from);
            if (rest <= 0) return -1;
        }
        if (first) vcore::before_wait();
        pollfd readable{sema ? sema->fd : -1, POLLIN, 0};
        timespec timeout{};
        if (rest >= 0) {
            const int64_t kernel = tp_clock_to_kernel_ns(rest);
            timeout.tv_sec = static_cast<time_t>(kernel / 1'000'000'000);
            timeout.tv_nsec = static_cast<decltype(timeout.tv_nsec)>(kernel % 1'000'000'000);
        }
        vcore::ppoll_or_stop(&readable, 1, rest >= 0 ? &timeout : nullptr, vcore::StopEnds::every_wait);
    }
}
