#include "kernel/sound.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vh {

void hear(const std::string &file, char *buffer, size_t size, off_t offset) {
    memset(buffer, 0, size);
    const Fd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (!fd || fstat(fd.get(), &info) != 0) return;
    const off_t length = info.st_size & ~off_t{1}; // whole samples
    for (size_t done = 0; length > 0 && done < size;) {
        const off_t at = (offset + static_cast<off_t>(done)) % length;
        const size_t wanted = std::min(size - done, static_cast<size_t>(length - at));
        const ssize_t n = pread(fd.get(), buffer + done, wanted, at);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

int keep_played(int fd, std::string_view bytes, off_t offset) {
    const ssize_t n = pwrite(fd, bytes.data(), bytes.size(), offset);
    if (n < 0) return -errno;
    constexpr off_t STEP = 1 << 20;
    if (offset > SOUND_KEPT && offset / STEP != (offset + n) / STEP)
        fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, offset - SOUND_KEPT); // else the disk fills up
    return static_cast<int>(n);
}

} // namespace vh
