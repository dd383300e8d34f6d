#include "launcher/sandbox.h"

#include "common/message.h"
#include "kernel/hardware_parts.h"
#include "launcher/state_dir.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace vh {

namespace {
using Arguments = std::vector<std::string>;

void append(Arguments &to, std::initializer_list<std::string> more) { to.insert(to.end(), more); }

// Always a user namespace of its own: CAP_SYS_BOOT is then worth nothing outside, whoever starts this.
void add_namespaces(Arguments &a) {
    append(a, {"bwrap", "--unshare-user", "--uid", "0", "--gid", "0", "--unshare-pid", "--unshare-net", "--unshare-ipc",
               "--unshare-uts", "--hostname", "handset", "--as-pid-1", "--die-with-parent", "--new-session", "--cap-add",
               "ALL", "--clearenv"});
}

void add_environment(Arguments &a, const SandboxPlan &plan) {
    append(a, {"--setenv", "PATH", "/system/bin:/system/vendor/bin:/usr/sbin:/usr/bin:/sbin:/bin", "--setenv", "HOME",
               "/data", "--setenv", "LD_LIBRARY_PATH", "/app/instead:/app/lib"});
    for (const char *name : {"TERM", "ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "LANG", "GTEST_COLOR",
                             "GTEST_FILTER", "GTEST_OUTPUT"})
        if (const char *value = getenv(name)) append(a, {"--setenv", name, value});
    for (const auto &[name, value] : plan.options.env) append(a, {"--setenv", name, value});
}

// Where data, cache and partitions are seen: in the state folder, or where every access takes orders.
std::string storage_root(const StatePaths &paths, const SandboxPlan &plan) {
    return plan.options.storage == "faults" ? storage_dir(paths) : paths.root;
}

void add_root(Arguments &a, const StatePaths &paths, const std::string &storage) {
    append(a, {"--ro-bind", "/usr", "/usr", "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64", "--symlink",
               "usr/bin", "/bin", "--symlink", "usr/sbin", "/sbin", "--symlink", "system/etc", "/etc", "--dir", "/system",
               "--ro-bind", image_dir(paths), "/.img", "--bind", paths.sysrw(), "/.sysrw", "--ro-bind-try",
               "/etc/ld.so.cache", "/.host/ld.so.cache", "--ro-bind-try", "/etc/alternatives", "/.host/alternatives",
               "--bind", storage + "/data", "/data", "--bind", storage + "/cache", "/cache", "--tmpfs", "/tmp", "--tmpfs", "/run",
               "--dir", "/var/lib/dhcpcd", "--symlink", "/tmp", "/var/tmp"});
}

void add_devices(Arguments &a, const StatePaths &paths, const std::string &storage, const std::vector<std::string> &unfit) {
    const std::string by_name = "/dev/block/bootdevice/by-name/", kernel = mount_dir(paths);
    append(a, {"--proc", "/.proc", "--bind", kernel + "/proc", "/proc", "--bind", kernel + "/sys", "/sys", "--dev", "/dev",
               "--bind", kernel + "/dev/system", by_name + "system", "--bind", kernel + "/dev/sound", "/dev/sound"});
    for (const char *part : {"vxocfg", "vxoflag", "vxoprod"}) append(a, {"--bind", storage + "/part/" + part, by_name + part});
    append(a, {"--ro-bind", paths.shown_cameras(), "/dev/camera"});
    for (const DeviceName &device : DEVICE_NAMES)
        if (std::ranges::find(unfit, device.part) == unfit.end())
            append(a, {"--symlink", device.leads_to, std::string("/dev/") + device.name});
    append(a, {"--bind", paths.panel(), "/dev/graphics/fb0", "--bind", paths.event(0), "/dev/input/event0", "--bind",
               paths.event(1), "/dev/input/event1", "--bind", paths.run() + "/socket", "/dev/socket", "--bind",
               paths.props(), "/dev/__vxo_props", "--bind", paths.run() + "/log", "/dev/__vxo_log", "--ro-bind",
               paths.air(), "/dev/__vxo_air", "--bind-try", paths.pc_socket(), "/dev/__vxo_pc"});
}

void add_program_folders(Arguments &a, const SandboxPlan &plan) {
    const std::string &build = plan.options.build_dir;
    const std::string &program = plan.options.program_dir.empty() ? build : plan.options.program_dir;
    append(a, {"--ro-bind", program + "/bin", "/app/bin", "--ro-bind-try", program + "/lib", "/app/lib", "--ro-bind",
               build + "/bin/vinit", "/app/vinit", "--ro-bind-try", build + "/bin/vair", "/app/vair", "--ro-bind-try", build + "/bin/vbridge", "/app/vbridge"});
    if (!plan.with_source) return;
    const std::string source = std::filesystem::path(plan.options.rootfs_dir).parent_path().parent_path();
    if (std::filesystem::is_directory(source) && source != "/") append(a, {"--ro-bind", source, source});
    append(a, {"--bind", build, build, "--setenv", "VXO_SOURCE", source, "--setenv", "VXO_BUILD", build});
}

Arguments command_line(const StatePaths &paths, const SandboxPlan &plan, int control, int pc_listener) {
    Arguments a;
    add_namespaces(a);
    add_environment(a, plan);
    add_root(a, paths, storage_root(paths, plan));
    add_devices(a, paths, storage_root(paths, plan), plan.options.unfit);
    append(a, {"--ro-bind", paths.run() + "/instead", "/app/instead"});
    add_program_folders(a, plan);
    append(a, {"--chdir", "/", "/app/vinit", std::to_string(control), std::to_string(pc_listener),
               std::string(plan.once ? "once" : "service") + (plan.options.storage == "faults" ? ",syncs" : "")});
    a.insert(a.end(), plan.program.begin(), plan.program.end());
    return a;
}

// Between fork and exec of a process with threads: system calls only.
[[noreturn]] void become_bwrap(char *const *argv, int control, int pc_listener, bool inherit_input) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    fcntl(control, F_SETFD, 0);
    if (pc_listener >= 0) fcntl(pc_listener, F_SETFD, 0);
    if (!inherit_input) {
        const int null = open("/dev/null", O_RDONLY);
        dup2(null, STDIN_FILENO);
        if (null > STDIN_FILENO) close(null);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvp(argv[0], argv);
    _exit(127);
}
} // namespace

Sandbox start_sandbox(const StatePaths &paths, const SandboxPlan &plan, const Fd &pc_listener) {
    Sandbox sandbox;
    Fd theirs;
    if (!message_pair(sandbox.control, theirs)) throw std::runtime_error(std::string("socketpair: ") + strerror(errno));
    const Arguments arguments = command_line(paths, plan, theirs.get(), pc_listener.get());
    std::vector<char *> argv;
    for (const std::string &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    sandbox.pid = fork();
    if (sandbox.pid == 0) become_bwrap(argv.data(), theirs.get(), pc_listener.get(), plan.inherit_input);
    if (sandbox.pid < 0) throw std::runtime_error(std::string("fork: ") + strerror(errno));
    sandbox.pidfd.reset(static_cast<int>(syscall(SYS_pidfd_open, sandbox.pid, 0)));
    return sandbox;
}

} // namespace vh
