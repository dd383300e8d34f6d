// A FUSE file system served by this process in its own mount namespace.
#pragma once

#include <string>
#include <thread>

struct fuse;
struct fuse_operations;

namespace vh {

class FuseSession {
public:
    // Mounts on folder and serves from threads of its own until the process ends. `data` is what the operations find as
    // their context's private data. Throws std::runtime_error.
    FuseSession(const fuse_operations &operations, size_t size, void *data, const std::string &folder);
    ~FuseSession();
    FuseSession(const FuseSession &) = delete;
    FuseSession &operator=(const FuseSession &) = delete;

    // Has the kernel forget a name (and all below it) that it was told is there. Not from within an operation.
    void forget(const std::string &path) const;

private:
    const std::string folder_;
    fuse *session_ = nullptr;
    std::thread loop_;
};

} // namespace vh
