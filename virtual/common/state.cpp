#include "common/state.h"

#include "common/fd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vh {

namespace {
// sun_path holds 107 characters; a state folder may lie deeper. Such a socket is reached through a descriptor of its
// folder, which stays open in `folder` until the caller is done.
bool socket_address(const std::string &path, sockaddr_un &address, Fd &folder) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() < sizeof address.sun_path) {
        memcpy(address.sun_path, path.c_str(), path.size() + 1);
        return true;
    }
    const size_t slash = path.rfind('/');
    folder.reset(open(path.substr(0, slash).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) return false;
    const int n = snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder.get(),
                           path.c_str() + slash + 1);
    if (n > 0 && static_cast<size_t>(n) < sizeof address.sun_path) return true;
    errno = ENAMETOOLONG;
    return false;
}

std::string environment(const char *name) {
    const char *value = getenv(name);
    return value ? value : "";
}
} // namespace

std::string handsets_home() {
    if (std::string home = environment("VXO_HANDSET_HOME"); !home.empty()) return home;
    if (std::string state = environment("XDG_STATE_HOME"); !state.empty()) return state + "/vxo-handset";
    if (std::string home = environment("HOME"); !home.empty()) return home + "/.local/state/vxo-handset";
    return "/tmp/vxo-handset-" + std::to_string(getuid());
}

StatePaths state_of(const std::string &name) {
    const char *allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    if (name.empty() || name.size() > 32 || name.find_first_not_of(allowed) != std::string::npos)
        throw std::invalid_argument("a handset's name is 1 to 32 letters, digits, '-' or '_': '" + name + "'");
    return StatePaths(handsets_home() + "/" + name);
}

int connect_unix(const std::string &path) {
    sockaddr_un address;
    Fd folder;
    if (!socket_address(path, address, folder)) return -1;
    Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) return -1;
    if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return fd.release();
    const int error = errno;
    fd.reset();
    errno = error;
    return -1;
}

int listen_unix(const std::string &path, int backlog) {
    sockaddr_un address;
    Fd folder;
    if (!socket_address(path, address, folder)) return -1;
    Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) return -1;
    unlink(path.c_str());
    if (bind(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 && listen(fd.get(), backlog) == 0)
        return fd.release();
    const int error = errno;
    fd.reset();
    errno = error;
    return -1;
}

} // namespace vh
