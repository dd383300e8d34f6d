#include "console/panel_watch.h"

#include "client/client.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tki_lcd.h>

namespace vh::console {

namespace {
constexpr size_t PAGE = 4096;
constexpr int SIDE_MAX = 8192, ATTEMPTS = 8;

template <class T> T load(const T &value) { return __atomic_load_n(&value, __ATOMIC_SEQ_CST); }
} // namespace

struct PanelWatch::Mapping {
    explicit Mapping(const std::string &path) {
        const Fd fd(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
        if (!fd || fstat(fd.get(), &info) != 0 || info.st_size < static_cast<off_t>(2 * PAGE))
            throw ClientError("there is no panel at " + path + " yet");
        size = static_cast<size_t>(info.st_size);
        void *at = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
        if (at == MAP_FAILED) throw ClientError("cannot map " + path + ": " + strerror(errno));
        bytes = static_cast<unsigned char *>(at);
        tail = reinterpret_cast<tki_panel_tail *>(bytes + (size / PAGE - 1) * PAGE);
    }
    ~Mapping() { munmap(bytes, size); }
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;

    struct stat info {};
    unsigned char *bytes = nullptr;
    size_t size = 0;
    tki_panel_tail *tail = nullptr;
};

PanelWatch::PanelWatch(const std::string &panel_file, std::function<void()> ready)
    : file_(panel_file), ready_(std::move(ready)), map_(std::make_unique<Mapping>(panel_file)), thread_([this] { loop(); }) {}

PanelWatch::~PanelWatch() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    wanted_cond_.notify_all();
    // A wake may come just before the thread begins to wait; so until it has heard.
    for (;;) {
        {
            const std::scoped_lock lock(mutex_);
            if (gone_) break;
        }
        syscall(SYS_futex, &map_->tail->counter, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    thread_.join();
}

bool PanelWatch::is_current() const {
    struct stat now {};
    return stat(file_.c_str(), &now) == 0 && now.st_ino == map_->info.st_ino && now.st_dev == map_->info.st_dev;
}

uint32_t PanelWatch::flips() const { return load(map_->tail->counter); }

void PanelWatch::want() {
    {
        const std::scoped_lock lock(mutex_);
        wanted_ = true;
    }
    wanted_cond_.notify_all();
}

void PanelWatch::take(const std::function<void(const Image &, std::vector<Rect>)> &use) {
    const std::scoped_lock lock(mutex_);
    use(image_, std::exchange(changes_, {}));
}

void PanelWatch::loop() {
    uint32_t seen = 0;
    capture(seen); // as it is, even if nothing was ever flipped
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            wanted_cond_.wait(lock, [this] { return wanted_ || stopping_; });
            if (stopping_) break;
        }
        if (load(map_->tail->counter) == seen && !wait_for_flip(seen)) continue;
        capture(seen);
    }
    const std::scoped_lock lock(mutex_);
    gone_ = true;
}

// False when it woke for another reason.
bool PanelWatch::wait_for_flip(uint32_t seen) {
    __atomic_add_fetch(&map_->tail->viewers, 1, __ATOMIC_SEQ_CST);
    const bool stopping = [this] {
        const std::scoped_lock lock(mutex_);
        return stopping_;
    }();
    if (!stopping) syscall(SYS_futex, &map_->tail->counter, FUTEX_WAIT, seen, nullptr, nullptr, 0);
    __atomic_sub_fetch(&map_->tail->viewers, 1, __ATOMIC_SEQ_CST);
    return load(map_->tail->counter) != seen;
}

// The hidden page is drawn on while the visible one is looked at; a flip in between means that the wrong one was looked at.
void PanelWatch::capture(uint32_t &seen) {
    bool changed = false;
    {
        const std::scoped_lock lock(mutex_);
        for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
            const uint32_t counter = load(map_->tail->counter);
            bool next = counter == seen + 1 && attempt == 0;
            seen = counter;
            const tki_panel_tail tail = *map_->tail;
            const size_t page = size_t{tail.stride} * tail.height;
            const bool sound = tail.magic == TKI_PANEL_MAGIC && tail.width > 0 && tail.width <= SIDE_MAX && tail.height > 0 &&
                               tail.height <= SIDE_MAX && tail.stride >= tail.width * 4 && 2 * page + PAGE <= map_->size;
            const int width = sound ? static_cast<int>(tail.width) : image_.width;
            const int height = sound ? static_cast<int>(tail.height) : image_.height;
            if (width != image_.width || height != image_.height) {
                image_ = {width, height, std::vector<uint32_t>(static_cast<size_t>(width) * static_cast<size_t>(height))};
                changes_ = {{0, 0, width, height}};
                changed = true;
                next = false;
            }
            if (!sound) { // no program has drawn since the boot
                if (std::any_of(image_.pixels.begin(), image_.pixels.end(), [](uint32_t pixel) { return pixel != 0; })) {
                    std::fill(image_.pixels.begin(), image_.pixels.end(), 0);
                    changes_ = {{0, 0, width, height}};
                    changed = true;
                }
                break;
            }
            const Rect whole{0, 0, width, height};
            const Rect damage{tail.damage.left, tail.damage.top, tail.damage.right, tail.damage.bottom};
            const auto *pixels = reinterpret_cast<const uint32_t *>(map_->bytes + (tail.visible & 1) * page);
            for (const Rect &rect : take_changes(image_, pixels, tail.stride / 4, next ? damage : whole)) {
                add_damage(changes_, rect);
                changed = true;
            }
            __atomic_thread_fence(__ATOMIC_SEQ_CST);
            if (load(map_->tail->counter) == counter) break;
            // What was taken may be half of two frames: the next look comes at once and compares all of it.
            seen = counter - 2;
        }
        if (changed) wanted_ = false;
    }
    if (changed) ready_();
}

} // namespace vh::console
