#include "config/config_store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

#include "base/log_door.h"

const char *g_cfg_device = "/dev/block/bootdevice/by-name/vxocfg"; // some boards name it "/dev/__vcfg__"

namespace {
constexpr const char *TAG = "cfgutil-impl";
constexpr char HEAD[] = "this-is-cfg-head";
constexpr char SIGNATURE[] = "cfg-signature-is-here";
constexpr off_t AREA_OFFSET = 4096;
constexpr size_t FIELD = 32;

#define LOG_CFG(...) LOG_RAW(ANDROID_LOG_INFO, TAG, __VA_ARGS__)

std::mutex g_store_mutex;
CfgRecord g_area[CFG_RECORDS];

// The device, opened and locked; both end with it.
class LockedDevice {
public:
    LockedDevice(const char *caller, int flags, short kind) : fd_(open(g_cfg_device, flags | O_CLOEXEC)) {
        if (fd_ < 0) {
            LOG_CFG("Open file(%s) failed\n", g_cfg_device);
            return;
        }
        locked_ = set_lock(kind);
        if (!locked_) LOG_CFG("%s: file is locked by other process!\n", caller);
    }
    ~LockedDevice() {
        if (locked_) set_lock(F_UNLCK);
        if (fd_ >= 0) close(fd_);
    }
    LockedDevice(const LockedDevice &) = delete;
    LockedDevice &operator=(const LockedDevice &) = delete;
    bool ready() const { return locked_; }
    int fd() const { return fd_; }

private:
    bool set_lock(short kind) const {
        struct flock lock {};
        lock.l_type = kind;
        lock.l_whence = SEEK_SET;
        return fcntl(fd_, F_SETLK, &lock) == 0;
    }
    int fd_;
    bool locked_ = false;
};

// Moves the area in one direction until it is done or stuck; whether all of it went.
template <class Transfer> bool transfer_all(Transfer transfer) {
    size_t done = 0;
    while (done < CFG_AREA) {
        const ssize_t n = transfer(done, CFG_AREA - done, AREA_OFFSET + static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// A record's text as it is compared and shown: never beyond its field.
void put_field(char (&field)[FIELD], const char *text) {
    memset(field, 0, FIELD);
    memcpy(field, text, strnlen(text, FIELD - 1));
}

// A fresh copy of the area in the buffer; cleared when it cannot be read, so that nothing old answers.
bool read_area() {
    if (restore(reinterpret_cast<char *>(g_area)) == 0) return true;
    memset(g_area, 0, sizeof g_area);
    return false;
}

CfgRecord *find_in_buffer(const char *name) {
    char wanted[FIELD];
    put_field(wanted, name);
    auto *end = g_area + CFG_RECORDS;
    auto *found = std::find_if(g_area, end, [&wanted](const CfgRecord &record) {
        return checkdatavalid(&record) == 1 && strncmp(record.name, wanted, FIELD) == 0;
    });
    return found == end ? nullptr : found;
}
} // namespace

int restore(char *buffer) {
    const LockedDevice device(__func__, O_RDONLY, F_RDLCK);
    if (!device.ready()) return -1;
    if (transfer_all([&](size_t at, size_t n, off_t offset) { return pread(device.fd(), buffer + at, n, offset); })) return 0;
    LOG_CFG("%s: read file failed!\n", __func__);
    return -1;
}

int save(const char *buffer) {
    const LockedDevice device(__func__, O_RDWR, F_WRLCK);
    if (!device.ready()) return -1;
    const bool written =
        transfer_all([&](size_t at, size_t n, off_t offset) { return pwrite(device.fd(), buffer + at, n, offset); });
    if (written && fsync(device.fd()) == 0) return 0;
    LOG_CFG("%s: write file failed!\n", __func__);
    return -1;
}

int checkdatavalid(const CfgRecord *record) {
    if (!record) return -1;
    const bool valid = memcmp(record->head, HEAD, sizeof HEAD) == 0 &&
                       memcmp(record->signature, SIGNATURE, sizeof SIGNATURE) == 0;
    return valid ? 1 : -1;
}

CfgRecord *findcfgbyname(const char *name) { return name && read_area() ? find_in_buffer(name) : nullptr; }

CfgRecord *getemptyplace() {
    auto *end = g_area + CFG_RECORDS;
    auto *found = std::find_if(g_area, end, [](const CfgRecord &record) { return checkdatavalid(&record) != 1; });
    return found == end ? nullptr : found;
}

void dump() {
    LOG_CFG("MAXCOUNT = %d\n", CFG_RECORDS);
    LOG_CFG("===========================================\n");
    for (const CfgRecord &r : g_area) {
        // The two lines differ by a blank; the production line's scripts know both.
        const char *format = checkdatavalid(&r) == 1 ? "Valid Data: name=%.31s; head=%.31s; str=%.31s;  signature=%.31s\n"
                                                     : "Invalid Data: name=%.31s; head=%.31s; str=%.31s; signature=%.31s\n";
        LOG_CFG(format, r.name, r.head, r.value, r.signature);
    }
}

int setcfgbyname(const char *name, const char *value) {
    if (!name || !value || strlen(value) >= FIELD) return -1;
    const std::lock_guard lock(g_store_mutex);
    if (!read_area()) return -1; // an area that could not be read must not be overwritten
    CfgRecord *record = find_in_buffer(name);
    const bool fresh = !record;
    if (fresh) record = getemptyplace();
    if (!record) {
        LOG_CFG("FATAL ERROR:cfgdata area is full!\n");
        dump();
        return -1;
    }
    put_field(record->name, name);
    put_field(record->value, value);
    if (fresh) {
        put_field(record->head, HEAD);
        memcpy(record->signature, SIGNATURE, sizeof SIGNATURE);
    }
    save(reinterpret_cast<const char *>(g_area)); // the answer is agreed to be 1 whatever the write reports
    return 1;
}

int cfg_set(const char *name, const char *value) { return setcfgbyname(name, value); }

int cfg_get(const char *name, char *out, const char *def) {
    if (!name || !out) return -1;
    const std::lock_guard lock(g_store_mutex);
    if (const CfgRecord *record = findcfgbyname(name)) {
        memset(out, 0, FIELD);
        memcpy(out, record->value, strnlen(record->value, FIELD - 1));
        return 1;
    }
    if (def) memcpy(out, def, strnlen(def, FIELD - 1));
    return -1;
}
