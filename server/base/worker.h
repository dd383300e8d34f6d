// A thread with an owner: joined by its destructor, ended by a stop request (see tp_os.h).
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <tp_os.h>

// One owner thread starts and joins; stop and running are for any thread. Of several that stop or join at once, one waits
// and the others return.
class Worker {
public:
    Worker() = default;
    ~Worker() { stop(); }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    // Starts body on a new thread; a running one is stopped first. False when no thread could be made, or when called
    // on the worker itself.
    bool start(const char *name, std::function<void()> body);
    // Asks the thread to stop and waits for its end; from the GUI thread the messages it sends are answered meanwhile.
    // Called on the worker itself it only asks.
    void stop();
    // Waits without asking. Returns at once on the worker itself.
    void join();
    bool running() const;

private:
    struct State;
    static void run(void *arg);
    void finish(bool ask);

    mutable std::mutex mutex_; // guards the two below; never held while waiting
    tp_os_thread_t thread_ = nullptr;
    std::shared_ptr<State> state_;
};
