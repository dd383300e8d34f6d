// The description of the screen on the Unix socket /dev/socket/vxo_gui: one document per connection, given when the
// queue has drained and everything is painted. GUI thread.
#pragma once

#include <poll.h>
#include <span>
#include <vector>

namespace vcore {

void description_open(); // without the folder /dev/socket there is no service
void description_close();
void description_add_descriptors(std::vector<pollfd> &fds);
void description_serve(std::span<const pollfd> fds); // those added, after the wait
bool description_pending();                          // somebody waits for a document
void description_answer();

} // namespace vcore
