// What a client of the debug bridge can open. A service is a descriptor that its stream's bytes go to and come from.
#pragma once

#include "common/fd.h"

#include <string>
#include <string_view>

namespace bridge {

struct Service {
    vh::Fd fd;               // non-blocking; none: there is no such service
    bool keeps_input = false; // what was sent still arrives after the client has closed
};

//   tcp:PORT             a port on the handset's loopback interface; the PC channel's wakes the handset
//   shell:[COMMAND]      on a terminal, its bytes as they are
//   shell,OPTIONS:[COMMAND]  OPTIONS: v2 (framed, with exit status), raw or pty, TERM=NAME
//   exec:COMMAND         without a terminal, its bytes as they are
//   sync:                files
// All but tcp: run in a process of their own, which ends when the stream does.
Service open_service(std::string_view name);

// How a command is run and talked to.
struct ShellPlan {
    std::string command; // empty: a shell that reads commands
    std::string terminal; // its type
    bool framed = false, pty = false;
};
// Serve one stream on a blocking socket until it is closed or done.
void serve_shell(int socket, const ShellPlan &plan);
void serve_files(int socket);

// All of them; false when the other end is gone. errno may be anything.
bool send_all(int socket, std::string_view bytes);

} // namespace bridge
