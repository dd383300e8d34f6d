// The debug bridge's port on the workstation. A connection is handed to a process inside (virtual/bridge), which speaks with
// the client; nothing that comes from one is read out here.
#pragma once

#include "common/fd.h"
#include "launcher/control.h"

#include <atomic>
#include <mutex>

namespace vh {

class BridgeServer {
public:
    explicit BridgeServer(ControlHost &host) : host_(host) {}

    // Accepts on 127.0.0.1:port from now on, until the process ends; 0: where it does already, or on a free port. A client
    // that comes while the handset boots waits, while it is off it is closed. The port. Throws std::runtime_error when it is taken.
    uint16_t listen(uint16_t port);

private:
    void accept_loop(Fd listener);
    void serve(Fd client);

    ControlHost &host_;
    std::mutex mutex_; // port and listener
    uint16_t port_ = 0;
    int listener_ = -1; // the accepting thread's
    std::atomic<int> clients_{0};
};

} // namespace vh
