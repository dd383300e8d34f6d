#include "console/file_events.h"

#include <cstring>
#include <stdexcept>
#include <sys/inotify.h>

namespace vh::console {

FileEvents::FileEvents(boost::asio::io_context &io) : inotify_(io, inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) { read_next(); }

std::unique_ptr<FileEvents::Watch> FileEvents::watch(const std::string &path, uint32_t mask, Told told) {
    const int number = inotify_add_watch(inotify_.native_handle(), path.c_str(), mask | IN_DONT_FOLLOW);
    if (number < 0) return nullptr;
    told_[number] = std::make_shared<Told>(std::move(told));
    return std::make_unique<Watch>(*this, number);
}

void FileEvents::drop(int number) {
    told_.erase(number);
    inotify_rm_watch(inotify_.native_handle(), number);
}

void FileEvents::read_next() {
    inotify_.async_read_some(boost::asio::buffer(buffer_), [this](const boost::system::error_code &error, size_t bytes) {
        if (error) return;
        take(bytes);
        read_next();
    });
}

void FileEvents::take(size_t bytes) {
    for (size_t at = 0; at + sizeof(inotify_event) <= bytes;) {
        inotify_event event{};
        memcpy(&event, &buffer_[at], sizeof event);
        const std::string name = event.len ? std::string(&buffer_[at + sizeof event]) : "";
        at += sizeof event + event.len;
        const auto found = told_.find(event.wd);
        if (found == told_.end()) continue;
        const std::shared_ptr<Told> told = found->second; // it may end its own watch
        (*told)(name);
    }
}

} // namespace vh::console
