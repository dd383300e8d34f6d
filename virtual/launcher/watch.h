// Who wants to hear of a handset as it changes (request "watch", common/state.h), and what each has not been told yet.
#pragma once

#include "common/fd.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vh {

class ControlHost;

class Watchers {
public:
    // Any thread; costs one look at a counter while nobody watches.
    void attribute_changed(const std::string &path);
    void status_changed() { attribute_changed(""); } // whoever hears looks at the whole status
    void hardware_changed();                         // what sensors feel, or which parts are fitted

    // Tells a client everything, then all changes, until it hangs up. Blocks only the calling thread, however slowly the
    // client reads: what it has not been told yet is a set of names.
    void serve(ControlHost &host, int client);

private:
    struct News {
        Fd event; // eventfd
        std::set<std::string> paths;
        bool any = false, hardware = false;
    };
    std::atomic<int> count_{0};
    std::mutex mutex_; // the list and what is in it
    std::vector<std::shared_ptr<News>> all_;
};

} // namespace vh
