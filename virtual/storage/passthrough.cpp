#define FUSE_USE_VERSION 312
#include "storage/passthrough.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace vh {

namespace {
using Tree = Storage::Tree;
using Change = Storage::Change;
using Need = Storage::Need;

struct Handle {
    UndoLog::File file;
    std::string path;
};

Storage &storage() { return *static_cast<Storage *>(fuse_get_context()->private_data); }
pid_t requester() { return fuse_get_context()->pid; }
std::string real(const char *path) { return storage().root() + path; }
Handle &opened(fuse_file_info *info) { return *reinterpret_cast<Handle *>(info->fh); }
int result(int done) { return done < 0 ? -errno : 0; }

// A change of names or modes; act leaves in `undo` how it is taken back.
int change_names(const char *kind, const char *path, Storage::Need need, std::function<int(UndoLog *)> act) {
    Change change{.kind = kind, .path = path, .requester = requester(), .need = need, .act = {}};
    change.act = [&act](Tree &, UndoLog *undo) { return act(undo); };
    return storage().change(change);
}

int keep_open(int fd, const char *path, fuse_file_info *info) {
    if (fd < 0) return -errno;
    info->fh = reinterpret_cast<uint64_t>(new Handle{std::make_shared<const Fd>(fd), path});
    return 0;
}

// A writer's file is readable too: old bytes are kept. Appending is the kernel's, which gives the offset.
int open_flags(const fuse_file_info *info) {
    const int mode = (info->flags & O_ACCMODE) == O_RDONLY ? O_RDONLY : O_RDWR;
    return mode | O_NOFOLLOW | O_CLOEXEC;
}

int fs_getattr(const char *path, struct stat *out, fuse_file_info *info) {
    return result(info ? fstat(opened(info).file->get(), out) : lstat(real(path).c_str(), out));
}

int fs_readlink(const char *path, char *buffer, size_t size) {
    const ssize_t n = readlink(real(path).c_str(), buffer, size - 1);
    if (n < 0) return -errno;
    buffer[n] = '\0';
    return 0;
}

int fs_opendir(const char *path, fuse_file_info *info) {
    if (const int error = storage().check_read(path, requester())) return error;
    return keep_open(open(real(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), path, info);
}

int fs_readdir(const char *, void *buffer, fuse_fill_dir_t fill, off_t, fuse_file_info *info, fuse_readdir_flags) {
    if (const int error = storage().check_read(opened(info).path, requester())) return error;
    Fd folder(openat(opened(info).file->get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(folder ? fdopendir(folder.get()) : nullptr, closedir);
    if (!dir) return -errno;
    folder.release();
    while (const dirent *entry = readdir(dir.get())) {
        struct stat info_of {};
        info_of.st_ino = entry->d_ino;
        info_of.st_mode = static_cast<mode_t>(entry->d_type) << 12;
        fill(buffer, entry->d_name, &info_of, 0, static_cast<fuse_fill_dir_flags>(0));
    }
    return 0;
}

int fs_open(const char *path, fuse_file_info *info) {
    if (const int error = storage().check_read(path, requester()); error && error != -EIO) return error;
    if ((info->flags & O_ACCMODE) != O_RDONLY)
        if (const int error = storage().check_write(path)) return error;
    return keep_open(open(real(path).c_str(), open_flags(info)), path, info);
}

int fs_create(const char *path, mode_t mode, fuse_file_info *info) {
    return change_names("create", path, Need::room, [=](UndoLog *undo) {
        const std::string file = real(path);
        const int error = keep_open(open(file.c_str(), open_flags(info) | O_CREAT, mode), path, info);
        if (!error && undo) undo->metadata([file] { unlink(file.c_str()); });
        return error;
    });
}

int fs_release(const char *, fuse_file_info *info) {
    delete &opened(info);
    return 0;
}

int fs_read(const char *, char *buffer, size_t size, off_t offset, fuse_file_info *info) {
    if (const int error = storage().check_read(opened(info).path, requester())) return error;
    const ssize_t n = pread(opened(info).file->get(), buffer, size, offset);
    return n < 0 ? -errno : static_cast<int>(n);
}

int fs_write(const char *, const char *bytes, size_t size, off_t offset, fuse_file_info *info) {
    const UndoLog::File file = opened(info).file;
    const auto put = [&](UndoLog *undo, size_t count) {
        if (undo) undo->write(file, offset, count);
        const ssize_t n = pwrite(file->get(), bytes, count, offset);
        return n < 0 ? -errno : static_cast<int>(n);
    };
    Change change{.kind = "write", .path = opened(info).path, .requester = requester(), .act = {}};
    change.act = [&](Tree &tree, UndoLog *undo) {
        struct stat now {};
        if (fstat(file->get(), &now) != 0) return -errno;
        const size_t count = tree.grant(now.st_size, offset, size);
        return count == 0 && size > 0 ? -ENOSPC : put(undo, count);
    };
    change.half = [&](UndoLog *undo) { put(undo, size / 2); };
    return storage().change(change);
}

int fs_truncate(const char *path, off_t size, fuse_file_info *info) {
    const UndoLog::File file = info ? opened(info).file
                                    : std::make_shared<const Fd>(open(real(path).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!*file) return -errno;
    const std::string name = info ? opened(info).path : path;
    return change_names("truncate", name.c_str(), Need::writable, [&](UndoLog *undo) {
        if (undo) undo->resize(file, size);
        return result(ftruncate(file->get(), size));
    });
}

int fs_fsync(const char *, int, fuse_file_info *info) {
    Change change{.kind = "fsync", .path = opened(info).path, .requester = requester(), .need = Need::nothing,
                  .act = {}};
    change.act = [file = opened(info).file](Tree &tree, UndoLog *) {
        tree.undo.fsync(file);
        return 0;
    };
    return storage().change(change);
}

int fs_mkdir(const char *path, mode_t mode) {
    return change_names("mkdir", path, Need::room, [folder = real(path), mode](UndoLog *undo) {
        if (mkdir(folder.c_str(), mode) != 0) return -errno;
        if (undo) undo->metadata([folder] { rmdir(folder.c_str()); });
        return 0;
    });
}

// Removed names wait in the trash, so that they can come back.
int fs_unlink(const char *path) {
    return change_names("unlink", path, Need::writable, [file = real(path)](UndoLog *undo) {
        if (!undo) return result(unlink(file.c_str()));
        const std::string kept = storage().trash();
        if (rename(file.c_str(), kept.c_str()) != 0) return -errno;
        undo->metadata([=] { rename(kept.c_str(), file.c_str()); }, [=] { unlink(kept.c_str()); });
        return 0;
    });
}

int fs_rmdir(const char *path) {
    return change_names("rmdir", path, Need::writable, [folder = real(path)](UndoLog *undo) {
        struct stat before {};
        if (lstat(folder.c_str(), &before) != 0 || rmdir(folder.c_str()) != 0) return -errno;
        if (undo) undo->metadata([folder, mode = before.st_mode] { mkdir(folder.c_str(), mode & 07777); });
        return 0;
    });
}

int fs_rename(const char *from_path, const char *to_path, unsigned flags) {
    return change_names("rename", from_path, Need::writable, [from = real(from_path), to = real(to_path), flags](UndoLog *undo) {
        std::string kept;
        if (struct stat there {}; undo && flags == 0 && lstat(to.c_str(), &there) == 0) {
            kept = storage().trash();
            if (rename(to.c_str(), kept.c_str()) != 0) return -errno;
        }
        if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) != 0) {
            const int error = errno;
            if (!kept.empty()) rename(kept.c_str(), to.c_str());
            return -error;
        }
        if (!undo) return 0;
        const auto take_back = [=] {
            renameat2(AT_FDCWD, to.c_str(), AT_FDCWD, from.c_str(), flags);
            if (!kept.empty()) rename(kept.c_str(), to.c_str());
        };
        undo->metadata(take_back, [kept] { if (!kept.empty()) remove(kept.c_str()); });
        return 0;
    });
}

// A new name that is no file with data: a link, a pipe, a socket.
int add_name(const char *kind, const char *path, const std::function<int(const char *)> &make) {
    return change_names(kind, path, Need::room, [&make, name = real(path)](UndoLog *undo) {
        if (make(name.c_str()) != 0) return -errno;
        if (undo) undo->metadata([name] { unlink(name.c_str()); });
        return 0;
    });
}
int fs_symlink(const char *target, const char *path) {
    return add_name("symlink", path, [target](const char *name) { return symlink(target, name); });
}
int fs_link(const char *existing, const char *path) {
    return add_name("link", path, [from = real(existing)](const char *name) { return link(from.c_str(), name); });
}
int fs_mknod(const char *path, mode_t mode, dev_t device) {
    return add_name("mknod", path, [mode, device](const char *name) { return mknod(name, mode, device); });
}

// A change of what a name's inode says.
int change_inode(const char *kind, const char *path, fuse_file_info *info, const std::function<int(const char *)> &set,
                 const std::function<void(const char *, const struct stat &)> &set_back) {
    const std::string inside = info ? opened(info).path : path;
    return change_names(kind, inside.c_str(), Need::writable, [&, name = real(inside.c_str())](UndoLog *undo) {
        struct stat before {};
        if (lstat(name.c_str(), &before) != 0 || set(name.c_str()) != 0) return -errno;
        if (undo) undo->metadata([=] { set_back(name.c_str(), before); });
        return 0;
    });
}
int fs_chmod(const char *path, mode_t mode, fuse_file_info *info) {
    return change_inode("chmod", path, info, [mode](const char *name) { return chmod(name, mode); },
                        [](const char *name, const struct stat &old) { chmod(name, old.st_mode & 07777); });
}
int fs_chown(const char *path, uid_t user, gid_t group, fuse_file_info *info) {
    return change_inode("chown", path, info, [=](const char *name) { return lchown(name, user, group); },
                        [](const char *name, const struct stat &old) {
                            [[maybe_unused]] const int ignored = lchown(name, old.st_uid, old.st_gid);
                        });
}
int fs_utimens(const char *path, const timespec *times, fuse_file_info *info) {
    const timespec set[] = {times[0], times[1]};
    return change_inode(
        "times", path, info, [&set](const char *name) { return utimensat(AT_FDCWD, name, set, AT_SYMLINK_NOFOLLOW); },
        [](const char *name, const struct stat &old) {
            const timespec before[] = {old.st_atim, old.st_mtim};
            utimensat(AT_FDCWD, name, before, AT_SYMLINK_NOFOLLOW);
        });
}

int fs_statfs(const char *path, struct statvfs *out) {
    if (statvfs(real(path).c_str(), out) != 0) return -errno;
    if (const std::optional<uint64_t> left = storage().free_bytes(path)) {
        out->f_bfree = out->f_bavail = *left / out->f_frsize;
        out->f_ffree = out->f_favail = *left > 0 ? out->f_favail : 0;
    }
    return 0;
}

void *fs_init(fuse_conn_info *connection, fuse_config *config) {
    connection->want &= ~FUSE_CAP_ATOMIC_O_TRUNC; // a cut by opening is a change like any other
    config->attr_timeout = config->entry_timeout = config->negative_timeout = 0; // the workstation changes files too
    config->hard_remove = config->nullpath_ok = config->use_ino = 1;
    return fuse_get_context()->private_data;
}

fuse_operations make_operations() {
    fuse_operations ops{};
    ops.getattr = fs_getattr, ops.readlink = fs_readlink, ops.statfs = fs_statfs;
    ops.opendir = fs_opendir, ops.readdir = fs_readdir, ops.releasedir = fs_release, ops.fsyncdir = fs_fsync;
    ops.open = fs_open, ops.create = fs_create, ops.release = fs_release, ops.read = fs_read, ops.write = fs_write;
    ops.truncate = fs_truncate, ops.fsync = fs_fsync;
    ops.mkdir = fs_mkdir, ops.unlink = fs_unlink, ops.rmdir = fs_rmdir, ops.rename = fs_rename;
    ops.symlink = fs_symlink, ops.link = fs_link, ops.mknod = fs_mknod;
    ops.chmod = fs_chmod, ops.chown = fs_chown, ops.utimens = fs_utimens;
    ops.init = fs_init;
    return ops;
}
const fuse_operations OPERATIONS = make_operations();
} // namespace

StorageMount::StorageMount(Storage &storage, const std::string &folder)
    : session_(OPERATIONS, sizeof OPERATIONS, &storage, folder) {}

} // namespace vh
