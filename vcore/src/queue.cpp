// The message queue. A producer wakes the GUI thread only when that thread said that it is about to wait.
#include "queue.h"

#include <android/log.h>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sys/eventfd.h>
#include <unistd.h>

#include "os_wait.h"

namespace vcore {
namespace {
constexpr size_t QUEUE_LIMIT = 1 << 16; // a GUI thread that stopped looking must not eat the memory

// Lives on the sender's stack until the GUI thread has marked it done.
struct SentCall {
    MSG msg{};
    int (*fn)(void *) = nullptr; // null: the window procedure of msg
    void *arg = nullptr;
    LRESULT result = 0;
    bool done = false;
    std::condition_variable answered{};
};

struct Invalidation {
    HWND window;
    bool all;
    RECT rect;
    bool erase;
};

struct Queue {
    std::mutex mutex;
    const int wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    bool accepting = false;
    bool waiting = false; // the GUI thread sleeps, or is about to
    bool poked = false;   // woken without a message
    std::condition_variable joining{};
    bool overflow_logged = false;
    std::deque<SentCall *> sent;
    std::deque<MSG> notified, posted;
    std::deque<InputEvent> input;
    std::vector<Invalidation> invalidations;
    // One of the five may hold something: the GUI thread takes no lock for nothing.
    std::atomic<bool> arrived{false};
    std::deque<InputEvent> taken; // the input's front, the GUI thread's own
    std::atomic<const void *> gui_thread{nullptr};

    bool empty() const {
        return sent.empty() && notified.empty() && posted.empty() && input.empty() && invalidations.empty();
    }
    void arrive_locked() {
        arrived.store(true, std::memory_order_relaxed);
        wake_locked();
    }
    void took_locked() {
        if (empty()) arrived.store(false, std::memory_order_relaxed);
    }
    bool nothing_arrived() const { return !arrived.load(std::memory_order_relaxed); }
    void wake_locked() {
        if (!waiting) return;
        waiting = false;
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake_fd, &one, sizeof one);
    }
};
// Never destroyed: threads may still look at it while the process ends.
Queue &queue() {
    static Queue &instance = *new Queue;
    return instance;
}

// Its address tells threads apart.
thread_local char t_marker;

bool append(std::deque<MSG> Queue::*which, const MSG &msg) {
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    if ((q.*which).size() >= QUEUE_LIMIT) {
        if (!q.overflow_logged) __android_log_print(ANDROID_LOG_ERROR, "VCORE", "%s message queue full", __func__);
        q.overflow_logged = true;
        return false;
    }
    (q.*which).push_back(msg);
    q.arrive_locked();
    return true;
}

LRESULT wait_for_answer(SentCall &call, LRESULT otherwise) {
    Queue &q = queue();
    std::unique_lock lock(q.mutex);
    if (!q.accepting) return otherwise;
    call.result = otherwise;
    q.sent.push_back(&call);
    q.joining.notify_one();
    q.arrive_locked();
    call.answered.wait(lock, [&call] { return call.done; });
    return call.result;
}

void finish_locked(SentCall &call) {
    call.done = true;
    // Under the lock: the frame is gone as soon as its sender can run.
    call.answered.notify_one();
}

void release_senders_locked() {
    for (SentCall *call : queue().sent) finish_locked(*call);
    queue().sent.clear();
}

bool take_alive(std::deque<MSG> &from, MSG &out) {
    while (!from.empty()) {
        out = from.front();
        from.pop_front();
        if (window_find(out.hwnd)) return true;
    }
    return false;
}
} // namespace

bool gui_exists() { return queue().gui_thread.load() != nullptr; }
bool queue_post(const MSG &msg) { return append(&Queue::posted, msg); }
bool queue_notify(const MSG &msg) { return append(&Queue::notified, msg); }

void queue_input(const InputEvent &event) {
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    if (q.input.size() >= QUEUE_LIMIT) return;
    q.input.push_back(event);
    q.arrive_locked();
}

void queue_invalidate(HWND window, const RECT *rect, bool erase) {
    const Invalidation fresh{window, rect == nullptr, rect ? *rect : RECT{}, erase};
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    if (!q.invalidations.empty()) {
        const Invalidation &last = q.invalidations.back();
        if (last.window == window && last.all == fresh.all && last.erase == erase && same(last.rect, fresh.rect)) return;
    }
    if (q.invalidations.size() < QUEUE_LIMIT) q.invalidations.push_back(fresh);
    q.arrive_locked();
}

LRESULT queue_call(int (*fn)(void *), void *arg, LRESULT otherwise) {
    SentCall call;
    call.fn = fn;
    call.arg = arg;
    return wait_for_answer(call, otherwise);
}

LRESULT queue_send(const MSG &msg) {
    SentCall call;
    call.msg = msg;
    return wait_for_answer(call, 0);
}

void gui_wake() {
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    q.poked = true;
    q.joining.notify_one();
    q.wake_locked();
}

void queue_open() {
    queue().gui_thread = &t_marker;
    queue_accept(true);
}

void queue_close() {
    Queue &q = queue();
    queue_accept(false);
    const std::lock_guard lock(q.mutex);
    q.notified.clear();
    q.posted.clear();
    q.input.clear();
    q.taken.clear();
    q.invalidations.clear();
    q.gui_thread = nullptr;
}

void queue_accept(bool accepting) {
    Queue &q = queue();
    if (q.accepting == accepting) return; // nobody else changes it
    const std::lock_guard lock(q.mutex);
    q.accepting = accepting;
    if (!accepting) release_senders_locked();
}

bool queue_accepting() { return queue().accepting; }

int queue_answer_sent() {
    Queue &q = queue();
    if (q.nothing_arrived()) return 0;
    int count = 0;
    std::unique_lock lock(q.mutex);
    for (; !q.sent.empty(); ++count) {
        SentCall &call = *q.sent.front();
        q.sent.pop_front();
        lock.unlock();
        LRESULT result = 0;
        if (call.fn) {
            const DispatchScope scope;
            result = call.fn(call.arg);
        } else if (const WindowRef window = window_find(call.msg.hwnd)) {
            result = window_call(window, call.msg.message, call.msg.wParam, call.msg.lParam);
        }
        lock.lock();
        call.result = result;
        finish_locked(call);
    }
    return count;
}

bool queue_take(MSG &out) {
    Queue &q = queue();
    if (q.nothing_arrived()) return false;
    const std::lock_guard lock(q.mutex);
    const bool found = take_alive(q.notified, out) || take_alive(q.posted, out);
    q.took_locked();
    return found;
}

bool queue_take_input(InputEvent &out) {
    Queue &q = queue();
    if (q.taken.empty()) {
        if (q.nothing_arrived()) return false;
        const std::lock_guard lock(q.mutex);
        q.taken.swap(q.input);
        q.took_locked();
    }
    if (q.taken.empty()) return false;
    out = q.taken.front();
    q.taken.pop_front();
    return true;
}

void queue_apply_invalidations() {
    Queue &q = queue();
    if (q.nothing_arrived()) return;
    std::vector<Invalidation> taken;
    {
        const std::lock_guard lock(q.mutex);
        taken.swap(q.invalidations);
        q.took_locked();
    }
    for (const Invalidation &i : taken) InvalidateRect(i.window, i.all ? nullptr : &i.rect, i.erase);
}

int queue_wake_fd() { return queue().wake_fd; }

bool queue_before_wait() {
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    if (q.poked || !q.empty() || !q.taken.empty()) {
        q.poked = false;
        return false;
    }
    q.waiting = true;
    return true;
}

void queue_after_wait() {
    Queue &q = queue();
    const std::lock_guard lock(q.mutex);
    const bool woken = !q.waiting;
    q.waiting = false;
    uint64_t count = 0;
    if (woken && read(q.wake_fd, &count, sizeof count) < 0) return;
}

void queue_wait_for_sent() {
    Queue &q = queue();
    std::unique_lock lock(q.mutex);
    q.joining.wait(lock, [&q] { return q.poked || !q.sent.empty(); });
    q.poked = false;
}
} // namespace vcore

bool tp_is_gui_thread() { return vcore::queue().gui_thread.load() == &vcore::t_marker; }
