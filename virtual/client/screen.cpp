// The visible page of the panel file as a PNG.
#include "client/client.h"

#include "picture/picture.h"

#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tki_lcd.h>

namespace vh {

namespace {
constexpr size_t PAGE = 4096;
constexpr int COPY_ATTEMPTS = 8;

struct Mapping {
    const unsigned char *bytes = nullptr;
    size_t size = 0;
    explicit Mapping(const std::string &path) {
        Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat s{};
        if (!fd || fstat(fd.get(), &s) != 0 || s.st_size < static_cast<off_t>(2 * PAGE)) return;
        void *at = mmap(nullptr, static_cast<size_t>(s.st_size), PROT_READ, MAP_SHARED, fd.get(), 0);
        if (at == MAP_FAILED) return;
        bytes = static_cast<const unsigned char *>(at);
        size = static_cast<size_t>(s.st_size);
    }
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;
    ~Mapping() {
        if (bytes) munmap(const_cast<unsigned char *>(bytes), size);
    }
};

// The file ends with the tail's page, wherever the pixels end.
const tki_panel_tail *tail_of(const Mapping &map) {
    if (!map.bytes) return nullptr;
    const auto *tail = reinterpret_cast<const tki_panel_tail *>(map.bytes + (map.size / PAGE - 1) * PAGE);
    const size_t pixels = size_t{2} * tail->stride * tail->height;
    const bool sound = tail->magic == TKI_PANEL_MAGIC && tail->width > 0 && tail->stride >= tail->width * 4 &&
                       (pixels + PAGE - 1) / PAGE * PAGE + PAGE <= map.size;
    return sound ? tail : nullptr;
}
} // namespace

uint32_t Client::pixel(int x, int y) const {
    const Mapping map(paths_.panel());
    const tki_panel_tail *tail = tail_of(map);
    if (!tail || x < 0 || y < 0 || static_cast<uint32_t>(x) >= tail->width || static_cast<uint32_t>(y) >= tail->height)
        throw ClientError("handset '" + name_ + "' shows no pixel " + std::to_string(x) + "," + std::to_string(y));
    uint32_t value = 0;
    const size_t page = size_t{tail->stride} * tail->height * (tail->visible & 1);
    memcpy(&value, map.bytes + page + size_t{tail->stride} * static_cast<size_t>(y) + size_t{4} * static_cast<size_t>(x), 4);
    return value & 0xffffff;
}

void Client::screenshot(const std::string &png_file) const {
    const Mapping map(paths_.panel());
    const tki_panel_tail *tail = tail_of(map);
    if (!tail) throw ClientError("handset '" + name_ + "' has not drawn anything yet; see: ./handset status");
    const size_t page = size_t{tail->stride} * tail->height;
    std::string copy;
    // The hidden page is drawn on while we copy the visible one; a flip in between means we copied the wrong one.
    for (int attempt = 0; attempt < COPY_ATTEMPTS; ++attempt) {
        const uint32_t before = __atomic_load_n(&tail->counter, __ATOMIC_ACQUIRE);
        copy.assign(reinterpret_cast<const char *>(map.bytes) + (tail->visible & 1) * page, page);
        __atomic_thread_fence(__ATOMIC_ACQUIRE);
        if (__atomic_load_n(&tail->counter, __ATOMIC_RELAXED) == before) break;
    }
    write_png(png_file, reinterpret_cast<const uint32_t *>(copy.data()), tail->width, tail->height, tail->stride);
}

} // namespace vh
