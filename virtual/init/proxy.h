// The PC link: carries bytes between the launcher's Unix socket and the program's port on the loopback interface.
#pragma once

#include "init/loop.h"

#include <list>

class PcProxy {
public:
    // Accepts on listener (not owned) for as long as the sandbox lives. on_bytes hears of every byte from a PC.
    PcProxy(Loop &loop, int listener, std::function<void()> on_bytes);
    ~PcProxy();
    PcProxy(const PcProxy &) = delete;
    PcProxy &operator=(const PcProxy &) = delete;

    // A PC has sent a line and nothing has come back since.
    bool waits_for_answer() const;

    class Link;

private:
    void accept_client();

    Loop &loop_;
    int listener_;
    std::function<void()> on_bytes_;
    std::list<std::unique_ptr<Link>> links_;
};

// Port of the program's command channel, from the property "persist.vxo.at.port".
int at_port();
