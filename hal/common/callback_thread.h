// A thread of the library that calls back until it is stopped. A start ends the run before it. After stop returned no
// callback of the run comes any more; a callback may itself stop or start, then its run ends when it returns, and only
// then the next one begins.
#pragma once

#include <common/event.h>
#include <functional>
#include <memory>
#include <mutex>
#include <tki_factory.h>
#include <tp_os.h>
#include <vector>

namespace hal {

class CallbackThread {
public:
    class Run {
    public:
        Event stop; // set: the body returns
        // False when the run was stopped: nothing was told.
        bool tell(tki_callback cb, int type, int result, const void *data);

    private:
        friend class CallbackThread;
        const CallbackThread *owner_ = nullptr;
        std::function<void(Run &)> body_;
        Event over_;
        std::vector<std::shared_ptr<Run>> before_; // begins when these are over
        tp_os_thread_t thread_ = nullptr; // taken by whoever joins it
    };
    // False when no thread could be made (logged under the tag).
    bool start(const char *tag, const char *name, std::function<void(Run &)> body);
    void stop();

private:
    static void enter(void *arg);
    std::mutex mutex_; // guards the list; never held while waiting or calling back
    std::vector<std::shared_ptr<Run>> runs_; // not joined yet
};

} // namespace hal
