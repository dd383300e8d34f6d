// Messages between the launcher and the first process of the sandbox: a list of texts, with descriptors and the sender's
// process id as the receiver sees it, over a SOCK_SEQPACKET pair.
//
//   vinit to launcher                          launcher to vinit
//   hello   + descriptors of /.proc, /dev      exec ID DIR ARG...     + stdin, stdout, stderr
//   program          (sent by the program's    kill ID
//                     process before it runs)  stop | restart
//   exited STATUS    the program ended
//   exec-done ID STATUS
//   sync CALL        a sync(2) waits            synced CALL
//   frozen           all processes stand still  freeze | thaw (kernel/suspend.h)
//   wake CAUSE       a wake-up event, or there
//                     will be no "frozen"
//   note TEXT        a line for the operator
//
// A status is that of a shell: the exit status, or 128 plus the signal's number.
#pragma once

#include "common/fd.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vh {

struct Message {
    std::vector<std::string> fields;
    std::vector<Fd> fds;
    pid_t sender = -1; // only when the receiving socket has SO_PASSCRED
};

// False with errno: the peer is gone or the message is too long (EMSGSIZE).
bool send_message(int socket, const std::vector<std::string> &fields, const std::vector<int> &fds = {});
// Waits for one message; nothing when the peer has closed.
std::optional<Message> receive_message(int socket);
// A connected pair, both ends close-on-exec, both receiving the sender's process id.
bool message_pair(Fd &a, Fd &b);

// Converts a status of waitpid.
int shell_status(int wait_status);

} // namespace vh
