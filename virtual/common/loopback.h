// Ports of the workstation's loopback interface: nothing of a handset is ever reachable from another machine.
#pragma once

#include "common/fd.h"

#include <cstdint>

namespace vh {

// Listens on 127.0.0.1. port: 0 picks a free one; the port it is afterwards. No descriptor, and errno, when it is taken.
Fd listen_loopback(uint16_t &port);

} // namespace vh
