// Follows what a handset shows. A thread waits on the panel's counter: while nothing is flipped, or nobody wants a frame, it sleeps.
#pragma once

#include "common/fd.h"
#include "console/frame.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace vh::console {

class PanelWatch {
public:
    // ready: told on the watching thread that changes wait to be taken. Throws ClientError when there is no panel.
    PanelWatch(const std::string &panel_file, std::function<void()> ready);
    ~PanelWatch();
    PanelWatch(const PanelWatch &) = delete;
    PanelWatch &operator=(const PanelWatch &) = delete;

    // Somebody could use a frame: the next change is taken, at once when there was one since.
    void want();
    // What has changed since the last call. `use` sees the picture as it is now, which stands still meanwhile.
    void take(const std::function<void(const Image &image, std::vector<Rect> changes)> &use);
    // Whether the panel is still the file of that name.
    bool is_current() const;
    uint32_t flips() const; // so far; any thread

private:
    struct Mapping;
    void loop();
    bool wait_for_flip(uint32_t seen);
    void capture(uint32_t &seen);

    const std::string file_;
    const std::function<void()> ready_;
    std::unique_ptr<Mapping> map_;
    std::mutex mutex_; // everything below
    std::condition_variable wanted_cond_;
    bool wanted_ = true, stopping_ = false, gone_ = false;
    Image image_;
    std::vector<Rect> changes_;
    std::thread thread_;
};

} // namespace vh::console
