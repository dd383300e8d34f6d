#define FUSE_USE_VERSION 312
#include "kernel/fuse_fs.h"

#include "kernel/fuse_session.h"
#include "kernel/sound.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <linux/fs.h>
#include <mutex>
#include <optional>
#include <poll.h>
#include <set>
#include <sys/stat.h>

namespace vh {

namespace {
// One open of an attribute. `seen` is the node's change count at the last read, as poll(2) on sysfs has it.
struct OpenFile {
    Node *node = nullptr;
    unsigned seen = 0;
    fuse_pollhandle *waiter = nullptr;
    std::string microphone; // file of a sound device
    Fd output;
};
} // namespace

struct FuseMount::State {
    State(Tree &t, std::string s) : tree(t), sounds(std::move(s)) {}
    Tree &tree;
    const std::string sounds;
    std::mutex mutex; // open_files, their fields, real_proc
    std::set<OpenFile *> open_files;
    Fd real_proc;
    std::optional<FuseSession> session;
};

namespace {
FuseMount::State &state() { return *static_cast<FuseMount::State *>(fuse_get_context()->private_data); }
OpenFile *opened(fuse_file_info *info) { return reinterpret_cast<OpenFile *>(info->fh); }

void wake_pollers(FuseMount::State &fs, const Node &node) {
    const std::scoped_lock lock(fs.mutex);
    for (OpenFile *file : fs.open_files) {
        if (file->node != &node || !file->waiter) continue;
        fuse_notify_poll(file->waiter);
        fuse_pollhandle_destroy(file->waiter);
        file->waiter = nullptr;
    }
}

// A name directly below /proc that is no attribute of ours is the real procfs's, seen through a link that the kernel
// follows in the caller's own context: /proc/self stays right.
bool is_real_proc_name(const std::string &path) {
    return path.starts_with("/proc/") && path.find('/', 6) == std::string::npos;
}

mode_t permissions(Access access) {
    return access == Access::read_only ? 0444 : access == Access::write_only ? 0200 : 0644;
}

int fs_getattr(const char *path, struct stat *out, fuse_file_info *) {
    *out = {};
    if (const Node *node = state().tree.find(path)) {
        out->st_mode = S_IFREG | permissions(node->access);
        out->st_nlink = 1;
        out->st_size = 4096; // what sysfs tells of every attribute
        return 0;
    }
    if (state().tree.is_folder(path)) {
        out->st_mode = S_IFDIR | 0555;
        out->st_nlink = 2;
        return 0;
    }
    if (!is_real_proc_name(path)) return -ENOENT;
    out->st_mode = S_IFLNK | 0777;
    out->st_nlink = 1;
    return 0;
}

int fs_readlink(const char *path, char *buffer, size_t size) {
    if (!is_real_proc_name(path)) return -EINVAL;
    snprintf(buffer, size, "/.proc/%s", path + strlen("/proc/"));
    return 0;
}

int fs_readdir(const char *path, void *buffer, fuse_fill_dir_t fill, off_t, fuse_file_info *, fuse_readdir_flags) {
    const auto flags = static_cast<fuse_fill_dir_flags>(0);
    std::set<std::string> names{".", ".."};
    for (const std::string &child : state().tree.children(path)) names.insert(child);
    if (strcmp(path, "/proc") == 0) {
        Fd folder;
        {
            const std::scoped_lock lock(state().mutex);
            if (state().real_proc) folder.reset(openat(state().real_proc.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
        const std::unique_ptr<DIR, int (*)(DIR *)> dir(folder ? fdopendir(folder.get()) : nullptr, closedir);
        if (dir) {
            folder.release();
            while (const dirent *entry = readdir(dir.get())) names.insert(entry->d_name);
        }
    }
    for (const std::string &name : names) fill(buffer, name.c_str(), nullptr, 0, flags);
    return 0;
}

int open_sound(const std::string &name, OpenFile &file) {
    const std::string path = state().sounds + "/" + name + ".s16";
    if (file.node->access == Access::read_only) {
        file.microphone = path;
        return 0;
    }
    file.output.reset(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    return file.output ? 0 : -errno;
}

int fs_open(const char *path, fuse_file_info *info) {
    Node *node = state().tree.find(path);
    if (!node) return -ENOENT;
    const int mode = info->flags & O_ACCMODE;
    // Checked here, because the mode bits do not hold for the sandbox's root, and sysfs checks them all the same.
    if (mode != O_RDONLY && node->access == Access::read_only) return -EACCES;
    if (mode != O_WRONLY && node->access == Access::write_only) return -EACCES;
    auto file = std::make_unique<OpenFile>();
    file->node = node;
    file->seen = node->changes;
    if (node->path.starts_with(SOUND_FOLDER))
        if (const int error = open_sound(node->path.substr(strlen(SOUND_FOLDER)), *file)) return error;
    const std::scoped_lock lock(state().mutex);
    state().open_files.insert(file.get());
    info->fh = reinterpret_cast<uint64_t>(file.release());
    info->direct_io = 1;
    return 0;
}

int fs_release(const char *, fuse_file_info *info) {
    const std::unique_ptr<OpenFile> file(opened(info));
    const std::scoped_lock lock(state().mutex);
    state().open_files.erase(file.get());
    if (file->waiter) fuse_pollhandle_destroy(file->waiter);
    return 0;
}

int fs_read(const char *, char *buffer, size_t size, off_t offset, fuse_file_info *info) {
    OpenFile *file = opened(info);
    if (!file->microphone.empty()) {
        hear(file->microphone, buffer, size, offset);
        return static_cast<int>(size);
    }
    const unsigned changes = file->node->changes;
    std::string text;
    if (const int error = state().tree.read(*file->node, text)) return error;
    {
        const std::scoped_lock lock(state().mutex);
        file->seen = changes;
    }
    if (offset < 0 || static_cast<size_t>(offset) >= text.size()) return 0;
    const size_t n = std::min(size, text.size() - static_cast<size_t>(offset));
    memcpy(buffer, text.data() + offset, n);
    return static_cast<int>(n);
}

// The offset means nothing to an attribute: an appended write replaces the value as any other does.
int fs_write(const char *, const char *bytes, size_t size, off_t offset, fuse_file_info *info) {
    if (const Fd &output = opened(info)->output) return keep_played(output.get(), {bytes, size}, offset);
    if (const int error = state().tree.write(*opened(info)->node, std::string_view(bytes, size))) return error;
    return static_cast<int>(size);
}

int fs_poll(const char *, fuse_file_info *info, fuse_pollhandle *handle, unsigned *events) {
    OpenFile *file = opened(info);
    const std::scoped_lock lock(state().mutex);
    if (handle) {
        if (file->waiter) fuse_pollhandle_destroy(file->waiter);
        file->waiter = handle;
    }
    *events |= POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;
    if (file->seen != file->node->changes || !file->node->present) *events |= POLLPRI | POLLERR;
    return 0;
}

int fs_ioctl(const char *path, unsigned command, void *, fuse_file_info *, unsigned, void *) {
    if (command != BLKROSET || strcmp(path, "/dev/system") != 0) return -ENOTTY;
    std::string ignored; // an ordered fault of the partition shows here
    return state().tree.read(*state().tree.find(path), ignored);
}

// Attributes are neither made nor removed by programs.
int fs_create(const char *, mode_t, fuse_file_info *) { return -EACCES; }
int fs_truncate(const char *path, off_t, fuse_file_info *) { return state().tree.find(path) ? 0 : -EACCES; }
int fs_utimens(const char *, const timespec *, fuse_file_info *) { return 0; }

// Modes are fixed, and names that go are told: the kernel need not ask for each part of a path again and again.
// Nor does it ask for a sync twice: an attribute has nothing to be synced, and there is no such operation here.
void *fs_init(fuse_conn_info *, fuse_config *config) {
    constexpr double FOREVER = 1e9;
    config->direct_io = 1;
    config->attr_timeout = config->entry_timeout = FOREVER;
    config->negative_timeout = 0;
    return fuse_get_context()->private_data;
}

fuse_operations operations() {
    fuse_operations ops{};
    ops.getattr = fs_getattr;
    ops.readlink = fs_readlink;
    ops.readdir = fs_readdir;
    ops.open = fs_open;
    ops.release = fs_release;
    ops.read = fs_read;
    ops.write = fs_write;
    ops.poll = fs_poll;
    ops.ioctl = fs_ioctl;
    ops.create = fs_create;
    ops.truncate = fs_truncate;
    ops.utimens = fs_utimens;
    ops.init = fs_init;
    return ops;
}
} // namespace

FuseMount::FuseMount(Tree &tree, const std::string &folder, const std::string &sounds)
    : state_(std::make_unique<State>(tree, sounds)) {
    static const fuse_operations ops = operations();
    tree.on_any_change([fs = state_.get()](Node &node) { wake_pollers(*fs, node); });
    state_->session.emplace(ops, sizeof ops, state_.get(), folder);
    tree.on_gone([fs = state_.get()](const std::string &path) { fs->session->forget(path); });
}

FuseMount::~FuseMount() {
    // The owning process leaves by _exit, with the mount and its threads; only a failed start comes here.
    [[maybe_unused]] State *kept = state_.release();
}

void FuseMount::set_real_proc(Fd folder) {
    const std::scoped_lock lock(state_->mutex);
    state_->real_proc = std::move(folder);
}

} // namespace vh
