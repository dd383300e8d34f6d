// Runs a piece of a test in a process of its own, so that it may change process-wide state or end the machine it runs on.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process {
constexpr int SKIPPED = 77;

[[noreturn]] inline void end_child() {
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}
inline int wait_for(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    return status;
}

// The body's expectations count for the test that calls it. Its wait status.
inline int forked(const std::function<void()> &body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        body();
        end_child();
    }
    const int status = wait_for(child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == SKIPPED) return status;
    EXPECT_NE(WIFEXITED(status) ? WEXITSTATUS(status) : 0, 1) << "the child's expectations, above, failed";
    EXPECT_FALSE(WIFSIGNALED(status)) << "signal " << WTERMSIG(status);
    return status;
}

// Set where a test shares the host's namespaces (tests/support/proot_box): nothing may be mounted or restarted there.
inline bool namespaces_forbidden() { return getenv("VXO_NO_NAMESPACES") != nullptr; }

// The body is process 1 of a PID namespace that ends with it: reboot(2) in it ends the namespace and nothing else.
// "off", "restart", "lived" (the body returned) or "skipped" (no such namespace here).
inline std::string outcome_in_own_namespace(const std::function<void()> &body) {
    int init_status = 0;
    const int status = forked([&] {
        if (namespaces_forbidden() || unshare(CLONE_NEWPID) != 0) _exit(SKIPPED);
        fflush(nullptr);
        const pid_t init = fork();
        if (init == 0) {
            if (getpid() != 1) _exit(SKIPPED); // never beyond this point outside the namespace
            body();
            end_child();
        }
        init_status = wait_for(init);
        if (WIFSIGNALED(init_status)) _exit(WTERMSIG(init_status) == SIGINT ? 10 : WTERMSIG(init_status) == SIGHUP ? 11 : 12);
        _exit(WEXITSTATUS(init_status));
    });
    switch (WIFEXITED(status) ? WEXITSTATUS(status) : -1) {
    case 0: return "lived";
    case 10: return "off";
    case 11: return "restart";
    case SKIPPED: return "skipped";
    default: return "failed " + std::to_string(status);
    }
}

// Hides a folder in a mount namespace of the calling (child) process; false when that is not possible here.
inline bool hide_folder(const std::string &folder) {
    return !namespaces_forbidden() && unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) == 0;
}
} // namespace process
