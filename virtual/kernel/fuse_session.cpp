#define FUSE_USE_VERSION 312
#include "kernel/fuse_session.h"

#include "common/fd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fuse.h>
#include <fuse_lowlevel.h>
#include <memory>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/stat.h>

namespace vh {

namespace {
// By mount(2) itself: no setuid helper, nothing in the user's table of mounts.
Fd mount_device(const std::string &folder) {
    Fd device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (!device) throw std::runtime_error(std::string("/dev/fuse: ") + strerror(errno));
    const std::string options = "fd=" + std::to_string(device.get()) + ",rootmode=40000,user_id=0,group_id=0";
    if (mount("handset", folder.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        throw std::runtime_error("mount on " + folder + ": " + strerror(errno));
    return device;
}

void serve(fuse *session) {
    const std::unique_ptr<fuse_loop_config, void (*)(fuse_loop_config *)> config(fuse_loop_cfg_create(),
                                                                               fuse_loop_cfg_destroy);
    // A delayed node holds a thread; others must still be answered.
    fuse_loop_cfg_set_max_threads(config.get(), 64);
    fuse_loop_cfg_set_idle_threads(config.get(), 4);
    fuse_loop_mt(session, config.get());
}
} // namespace

FuseSession::FuseSession(const fuse_operations &operations, size_t size, void *data, const std::string &folder)
    : folder_(folder) {
    char name[] = "handset";
    char *argv[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, argv);
    Fd device = mount_device(folder);
    session_ = fuse_new(&args, &operations, size, data);
    fuse_opt_free_args(&args);
    const std::string target = "/dev/fd/" + std::to_string(device.get());
    if (!session_ || fuse_mount(session_, target.c_str()) != 0) throw std::runtime_error(folder + " cannot be served");
    device.release(); // belongs to the session now
    loop_ = std::thread(serve, session_);
}

void FuseSession::forget(const std::string &path) const {
    const size_t slash = path.rfind('/');
    struct stat parent {};
    // The library's own number of a folder is the inode number that it tells.
    if (stat((folder_ + path.substr(0, slash)).c_str(), &parent) != 0) return;
    fuse_lowlevel_notify_inval_entry(fuse_get_session(session_), parent.st_ino, path.c_str() + slash + 1, path.size() - slash - 1);
}

FuseSession::~FuseSession() {
    // The owning process leaves by _exit, with the mount and its threads; only a failed start comes here.
    if (loop_.joinable()) loop_.detach();
}

} // namespace vh
