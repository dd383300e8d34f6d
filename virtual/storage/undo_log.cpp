#include "storage/undo_log.h"

#include <algorithm>
#include <sys/stat.h>

namespace vh {

namespace {
// As far as the file goes.
std::string bytes_of(int fd, off_t offset, off_t size) {
    std::string bytes(static_cast<size_t>(std::max<off_t>(0, size)), '\0');
    size_t got = 0;
    while (got < bytes.size()) {
        const ssize_t n = pread(fd, bytes.data() + got, bytes.size() - got, offset + static_cast<off_t>(got));
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    bytes.resize(got);
    return bytes;
}

void put_back(int fd, const std::string &bytes, off_t offset) {
    for (size_t put = 0; put < bytes.size();) {
        const ssize_t n = pwrite(fd, bytes.data() + put, bytes.size() - put, offset + static_cast<off_t>(put));
        if (n <= 0) return;
        put += static_cast<size_t>(n);
    }
}
} // namespace

bool UndoLog::note(const File &file, off_t offset, off_t size, Record &record) const {
    struct stat info {};
    if (fstat(file->get(), &info) != 0) return false;
    record.file = file;
    record.device = info.st_dev;
    record.inode = info.st_ino;
    record.offset = offset;
    record.old_size = info.st_size;
    record.old_bytes = bytes_of(file->get(), offset, std::min(size, info.st_size - offset));
    return true;
}

void UndoLog::write(const File &file, off_t offset, size_t size) {
    Record record;
    if (note(file, offset, static_cast<off_t>(size), record)) records_.push_back(std::move(record));
}

void UndoLog::resize(const File &file, off_t size) {
    Record record;
    constexpr off_t TO_THE_END = 1LL << 40;
    if (!note(file, size, TO_THE_END, record)) return;
    record.size = size;
    records_.push_back(std::move(record));
}

void UndoLog::metadata(std::function<void()> take_back, std::function<void()> forget) {
    Record record;
    record.take_back = std::move(take_back);
    record.forget = std::move(forget);
    records_.push_back(std::move(record));
}

// Earlier writes to the file can only be taken back within the size that stays.
void UndoLog::settle_resize(std::list<Record>::iterator resize) {
    for (auto record = records_.begin(); record != resize; ++record) {
        if (!record->file || record->inode != resize->inode || record->device != resize->device) continue;
        const off_t kept = std::max<off_t>(0, resize->size - record->offset);
        record->old_bytes.resize(std::min(record->old_bytes.size(), static_cast<size_t>(kept)));
        record->old_size = std::min(record->old_size, resize->size);
        record->least_size = resize->size;
    }
}

void UndoLog::sync_metadata() {
    for (auto record = records_.begin(); record != records_.end();) {
        const bool is_resize = record->file && record->size >= 0;
        if (record->file && !is_resize) {
            ++record;
            continue;
        }
        if (is_resize) settle_resize(record);
        else if (record->forget) record->forget();
        record = records_.erase(record);
    }
}

void UndoLog::fsync(const File &file) {
    struct stat info {};
    if (fstat(file->get(), &info) != 0) return;
    std::erase_if(records_, [&](const Record &record) {
        return record.file && record.inode == info.st_ino && record.device == info.st_dev;
    });
    sync_metadata();
}

void UndoLog::sync() {
    for (const Record &record : records_)
        if (record.forget) record.forget();
    records_.clear();
}

void UndoLog::take_back() {
    for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
        if (!record->file) {
            record->take_back();
            continue;
        }
        const int fd = record->file->get();
        if (ftruncate(fd, record->old_size) != 0 || ftruncate(fd, std::max(record->old_size, record->least_size)) != 0)
            continue;
        put_back(fd, record->old_bytes, record->offset);
    }
    records_.clear();
}

} // namespace vh
