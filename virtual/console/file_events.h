// Hears of changes of files and folders (inotify). One thread: the loop's.
#pragma once

#include "common/fd.h"

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vh::console {

class FileEvents {
public:
    explicit FileEvents(boost::asio::io_context &io);
    // One watch; it ends with the object.
    class Watch {
    public:
        Watch(FileEvents &events, int number) : events_(&events), number_(number) {}
        ~Watch() { events_->drop(number_); }
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;

    private:
        FileEvents *events_;
        int number_;
    };
    using Told = std::function<void(const std::string &name)>; // of the entry in a folder; empty: of the thing itself
    // Nothing where there is no such path. One watch per folder and mask bit set: a later one takes an earlier one's place.
    std::unique_ptr<Watch> watch(const std::string &path, uint32_t mask, Told told);

private:
    friend class Watch;
    void drop(int number);
    void read_next();
    void take(size_t bytes);

    boost::asio::posix::stream_descriptor inotify_;
    std::map<int, std::shared_ptr<Told>> told_;
    alignas(8) std::array<char, 8192> buffer_;
};

} // namespace vh::console
