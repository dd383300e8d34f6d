// The flag area is the first 256 bytes of its partition. A verdict is one byte: it is written alone, so a power cut
// leaves the old or the new one and never touches the neighbours.
#include <array>
#include <cerrno>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/flags.h>
#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr const char *PARTITION = "/dev/block/bootdevice/by-name/vxoflag";

// Locks the area for the life of the descriptor. The lock belongs to the open file and not to the process, so it
// holds between threads too.
bool lock_area(int fd, short type) {
    struct flock region {};
    region.l_type = type;
    region.l_whence = SEEK_SET;
    region.l_len = TKI_FLAG_AREA;
    int result = -1;
    do {
        result = fcntl(fd, F_OFD_SETLKW, &region);
    } while (result < 0 && errno == EINTR);
    return result == 0;
}

bool write_byte(int index, uint8_t value) {
    const hal::UniqueFd fd = hal::open_file(PARTITION, O_RDWR);
    // Taking the whole area keeps a reader of another process from seeing a verdict that is not durable yet.
    if (!fd.valid() || !lock_area(fd.get(), F_WRLCK)) return false;
    char area[TKI_FLAG_AREA];
    const ssize_t present = hal::read_at(fd.get(), area, 0);
    if (present < 0) return false;
    if (present != TKI_FLAG_AREA) {
        errno = ENOSPC; // never grow a partition's image that is not ours to lay out
        return false;
    }
    ssize_t written = -1;
    do {
        written = pwrite(fd.get(), &value, 1, index);
    } while (written < 0 && errno == EINTR);
    if (written != 1) return false;
    int synced = -1;
    do {
        synced = fdatasync(fd.get());
    } while (synced < 0 && errno == EINTR);
    return synced == 0;
}
} // namespace

namespace factory {
bool flags_read(uint8_t *area) {
    const hal::UniqueFd fd = hal::open_file(PARTITION, O_RDONLY);
    std::array<char, TKI_FLAG_AREA> bytes;
    ssize_t n = -1;
    if (fd.valid() && lock_area(fd.get(), F_RDLCK)) n = hal::read_at(fd.get(), bytes, 0);
    if (n != TKI_FLAG_AREA) {
        HAL_LOG_E(FACTORY_TAG, "%s: %s", PARTITION, n < 0 ? strerror(errno) : "shorter than the flag area");
        return false;
    }
    memcpy(area, bytes.data(), bytes.size());
    return true;
}
} // namespace factory

TKI_API(int) tki_api_GetTestInfoFlag(uint8_t *area256) noexcept {
    return area256 && factory::flags_read(area256) ? 0 : -1;
}

TKI_API(int) tki_api_ReadFuncTestInfoFlags(int byte_index) noexcept {
    uint8_t area[TKI_FLAG_AREA];
    if (byte_index < 0 || byte_index >= TKI_FLAG_AREA || !factory::flags_read(area)) return 0;
    return area[byte_index];
}

TKI_API(int) tki_api_WriteFuncTestInfoFlags(int byte_index, uint8_t value) noexcept {
    if (byte_index < 0 || byte_index >= TKI_FLAG_AREA) {
        HAL_LOG_E(FACTORY_TAG, "no byte %d", byte_index);
        return -1;
    }
    if (write_byte(byte_index, value)) return 0;
    HAL_LOG_E(FACTORY_TAG, "%s byte %d: %s", PARTITION, byte_index, strerror(errno));
    return -1;
}
