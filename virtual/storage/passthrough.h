// The state folder's data/, cache/ and part/ as a file system of its own, every change of which passes the Storage.
#pragma once

#include "kernel/fuse_session.h"
#include "storage/storage.h"

namespace vh {

// Serves it on folder: MOUNT/data is STATE/data and so on. See FuseSession.
class StorageMount {
public:
    StorageMount(Storage &storage, const std::string &folder);

private:
    FuseSession session_;
};

} // namespace vh
