// What a power cut takes back: the changes of one file system that nothing has made durable yet, in their order.
//
// As a journaling file system has it: an fsync of a file makes its data durable and with it every earlier change of names,
// modes and sizes; the data of other files may still be lost. A file whose name or cut is durable and whose data is not
// is then empty or short.
#pragma once

#include "common/fd.h"

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <sys/types.h>

namespace vh {

class UndoLog {
public:
    using File = std::shared_ptr<const Fd>; // open for reading and writing

    // Before bytes of the file from offset on are written over.
    void write(const File &file, off_t offset, size_t size);
    // Before the file gets another size.
    void resize(const File &file, off_t size);
    // After a change of names or modes. forget runs once it is durable.
    void metadata(std::function<void()> take_back, std::function<void()> forget = {});

    void fsync(const File &file);
    void sync_metadata();
    void sync();
    // The newest first; nothing is left to take back then.
    void take_back();
    bool empty() const { return records_.empty(); }

private:
    struct Record {
        std::function<void()> take_back, forget; // of metadata only
        File file;                               // of data only
        dev_t device = 0;
        ino_t inode = 0;
        off_t offset = 0;  // the old bytes are put back there
        off_t old_size = 0;
        off_t size = -1;     // a change of size: the new one
        off_t least_size = 0; // what a durable later change of size has set
        std::string old_bytes;
    };
    bool note(const File &file, off_t offset, off_t size, Record &record) const;
    void settle_resize(std::list<Record>::iterator resize);
    std::list<Record> records_;
};

} // namespace vh
