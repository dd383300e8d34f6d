#include "common/fd.h"
#include "launcher/launcher.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/utsname.h>
#include <sys/wait.h>

namespace vh {

namespace {
std::string check_fuse() {
    const Fd device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (device) return {};
    if (errno == ENOENT || errno == ENODEV || errno == ENXIO)
        return "there is no /dev/fuse: load the kernel's FUSE module (modprobe fuse); in a container pass the device on "
               "(--device /dev/fuse)";
    if (errno == EACCES || errno == EPERM)
        return "/dev/fuse may not be opened by this user: chmod 0666 /dev/fuse (the package fuse3 sets that on a desktop), "
               "or run as root; in a container pass the device on (--device /dev/fuse)";
    return std::string("/dev/fuse cannot be opened: ") + strerror(errno);
}

// Tries the very namespaces in a process of its own. Its exit status is the errno.
std::string check_namespaces() {
    const pid_t pid = fork();
    if (pid == 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) _exit(errno);
        // Granted but without power is what a security module does that restricts them.
        if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) _exit(200);
        _exit(0);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return "a process cannot be started";
    if (WEXITSTATUS(status) == 0) return {};
    if (WEXITSTATUS(status) == 200)
        return "user namespaces are restricted: sysctl -w kernel.apparmor_restrict_unprivileged_userns=0, or run as root";
    return std::string("user namespaces are not allowed (") + strerror(WEXITSTATUS(status)) +
           "): sysctl -w kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000; in a container run it with "
           "--security-opt seccomp=unconfined --security-opt systempaths=unconfined";
}

std::string check_bwrap() {
    const char *path = getenv("PATH");
    std::istringstream folders(path ? path : "/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (access((folder + "/bwrap").c_str(), X_OK) == 0) return {};
    return "bwrap is not installed: apt-get install bubblewrap";
}

std::string check_kernel() {
    utsname name{};
    uname(&name);
    int major = 0, minor = 0;
    if (sscanf(name.release, "%d.%d", &major, &minor) == 2 && (major > 5 || (major == 5 && minor >= 14))) return {};
    return std::string("Linux 5.14 or later is needed, this is ") + name.release;
}
} // namespace

std::string check_host() {
    for (const auto &check : {check_kernel, check_bwrap, check_fuse, check_namespaces})
        if (std::string problem = check(); !problem.empty())
            return "a virtual handset cannot run here: " + problem;
    return {};
}

} // namespace vh
