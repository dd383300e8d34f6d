// A thread with an owner: joined by its destructor, ended by a stop request (see tp_os.h).
#pragma once

#include <functional>
#include <memory>
#include <tp_os.h>

class Worker {
public:
    Worker() = default;
    ~Worker() { stop(); }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    // Starts body on a new thread; a running one is stopped first. False when no thread could be made.
    bool start(const char *name, std::function<void()> body);
    // Asks the thread to stop and waits for its end; from the GUI thread the messages it sends are answered meanwhile.
    // Called on the worker itself it only asks.
    void stop();
    // Waits without asking.
    void join();
    bool running() const;

private:
    tp_os_thread_t thread_ = nullptr;
    std::shared_ptr<std::function<void()>> body_;
};
