// Device side of the debug bridge, inside the sandbox: serves one client, whose connection is standard input. The launcher
// accepts it outside (launcher/bridge_server.h).
#include "bridge/connection.h"

#include <csignal>
#include <fcntl.h>

int main() {
    signal(SIGCHLD, SIG_IGN); // nobody collects the services
    vh::Fd client(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    const vh::Fd null(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!client || !null) return 1;
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null.get(), fd);
    bridge::Connection(std::move(client)).run();
    return 0;
}
