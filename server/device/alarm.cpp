// The alarm service: one timer descriptor per alarm type behind one epoll set.
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <tp_clock.h>
#include <tp_os.h>
#include <unistd.h>

#include "base/log_door.h"
#include "base/sysfs.h"
#include "device/power.h"

namespace {
constexpr const char *TAG = "AlarmManagerService";
constexpr const char *RTC_DIR = "/sys/class/rtc";
constexpr int64_t NS = 1000000000;
constexpr int64_t WAIT_SLICE_NS = NS; // how long a stop request that came just before the wait may go unnoticed
constexpr time_t FAR_FUTURE = INT_MAX; // seconds; fits a 32-bit time_t too

class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(-1); }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    void reset(int fd) {
        if (fd_ >= 0) close(fd_);
        fd_ = fd;
    }
    int get() const { return fd_; }

private:
    int fd_ = -1;
};

struct AlarmClock {
    clockid_t wanted;  // what the timer runs on where it may
    clockid_t base;    // the ordinary clock of the same base, for reading and instead of a refused one
};
constexpr std::array<AlarmClock, 3> CLOCKS = {{{CLOCK_REALTIME_ALARM, CLOCK_REALTIME},
                                               {CLOCK_BOOTTIME_ALARM, CLOCK_BOOTTIME},
                                               {CLOCK_BOOTTIME, CLOCK_BOOTTIME}}};
// Behind the alarm types in the epoll set.
constexpr uint32_t TIME_CHANGE = CLOCKS.size();
constexpr uint32_t RELEASED = TIME_CHANGE + 1;

struct AlarmDriver {
    Fd epoll;
    std::array<Fd, CLOCKS.size()> timers;
    Fd time_change; // far in the future: tells only that the wall clock was set
    Fd released;    // readable once the service is closed
};

std::mutex g_alarm_mutex; // guards the pointer; a waiter keeps its own share
std::shared_ptr<AlarmDriver> g_pAlarm;

std::shared_ptr<AlarmDriver> current_driver() {
    const std::lock_guard lock(g_alarm_mutex);
    return g_pAlarm;
}

void log_null(const char *caller, int line) {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s,L%d::Pointer Fail,g_pAlarm=%p", caller, line, static_cast<void *>(nullptr));
}

int64_t to_ns(const timespec &t) { return t.tv_sec * NS + t.tv_nsec; }
timespec from_ns(int64_t ns) { return {static_cast<time_t>(ns / NS), static_cast<long>(ns % NS)}; }

int64_t kernel_now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return to_ns(now);
}

// The type's clock as the program sees it, running as fast as its other clocks.
int64_t program_now(const AlarmClock &clock) {
    return clock.base == CLOCK_REALTIME ? tp_clock_real_ns() : tp_clock_from_kernel_ns(kernel_now(clock.base));
}

int open_timer(const AlarmClock &clock) {
    const int fd = timerfd_create(clock.wanted, TFD_CLOEXEC | TFD_NONBLOCK);
    if (fd >= 0 || clock.wanted == clock.base) return fd;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "kernel does not support timerfd_create() with alarm timers");
    return timerfd_create(clock.base, TFD_CLOEXEC | TFD_NONBLOCK);
}

bool add_to_epoll(const AlarmDriver &driver, int fd, uint32_t number) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = number;
    return epoll_ctl(driver.epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

bool arm_time_change(const AlarmDriver &driver) {
    itimerspec spec{};
    spec.it_value.tv_sec = FAR_FUTURE;
    return timerfd_settime(driver.time_change.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &spec, nullptr) == 0;
}

// The clock that the kernel takes the wall time from. Only reported: alarms work without knowing it.
bool wall_clock_rtc(unsigned *number) {
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(RTC_DIR), closedir);
    if (!dir) return false;
    while (const dirent *entry = readdir(dir.get())) {
        if (sscanf(entry->d_name, "rtc%u", number) != 1) continue;
        char path[64], value[2] = {};
        snprintf(path, sizeof path, "%s/rtc%u/hctosys", RTC_DIR, *number);
        if (file_readable(path) && read_file(path, value, 1) == 1 && value[0] == '1') return true;
    }
    return false;
}

bool open_timers(AlarmDriver &driver) {
    for (size_t i = 0; i < CLOCKS.size(); ++i) {
        driver.timers[i].reset(open_timer(CLOCKS[i]));
        if (driver.timers[i].get() >= 0) continue;
        if (CLOCKS[i].base == CLOCK_BOOTTIME) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "kernel does not support timerfd_create(CLOCK_BOOTTIME)");
        }
        return false;
    }
    return true;
}

bool register_timers(const AlarmDriver &driver) {
    for (uint32_t i = 0; i < CLOCKS.size(); ++i) {
        if (!add_to_epoll(driver, driver.timers[i].get(), i)) return false;
    }
    return add_to_epoll(driver, driver.time_change.get(), TIME_CHANGE) &&
           add_to_epoll(driver, driver.released.get(), RELEASED);
}

std::shared_ptr<AlarmDriver> open_driver() {
    auto driver = std::make_shared<AlarmDriver>();
    driver->epoll.reset(epoll_create1(EPOLL_CLOEXEC));
    if (driver->epoll.get() < 0 || !open_timers(*driver)) return nullptr;
    driver->time_change.reset(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK));
    driver->released.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (driver->time_change.get() < 0 || driver->released.get() < 0) return nullptr;
    unsigned rtc = 0;
    if (wall_clock_rtc(&rtc)) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "wall clock RTC is rtc%u", rtc);
    } else {
        LOG_RAW(ANDROID_LOG_ERROR, TAG, "no wall clock RTC found");
    }
    if (!register_timers(*driver) || !arm_time_change(*driver)) return nullptr;
    return driver;
}

int set_failed(const timespec &when, int error) {
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "Unable to set alarm to %lld.%09lld: %s\n", static_cast<long long>(when.tv_sec),
            static_cast<long long>(when.tv_nsec), strerror(error));
    return -1;
}

bool valid(AlarmType type) { return static_cast<size_t>(type) < CLOCKS.size(); }

// Takes what is ready: the mask of fired alarms, 0 when it was only a change of the wall clock, -1 when released.
int take_ready(const AlarmDriver &driver) {
    std::array<epoll_event, CLOCKS.size() + 2> events{};
    const int n = epoll_wait(driver.epoll.get(), events.data(), static_cast<int>(events.size()), 0);
    int mask = 0;
    for (int i = 0; i < n; ++i) {
        const uint32_t number = events[static_cast<size_t>(i)].data.u32;
        if (number == RELEASED) return -1;
        uint64_t expirations = 0;
        if (number == TIME_CHANGE) {
            [[maybe_unused]] const ssize_t got = read(driver.time_change.get(), &expirations, sizeof expirations);
            arm_time_change(driver);
        } else if (read(driver.timers[number].get(), &expirations, sizeof expirations) == sizeof expirations) {
            mask |= 1 << number;
        }
    }
    return mask;
}
} // namespace

int Alarm_init_driver() {
    const std::lock_guard lock(g_alarm_mutex);
    if (g_pAlarm) {
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::Alarm already Init,g_pAlarm=%p.", __func__, __LINE__,
                static_cast<void *>(g_pAlarm.get()));
        return 0;
    }
    g_pAlarm = open_driver();
    LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s,L%d::Alarm Init,g_pAlarm=%p.", __func__, __LINE__,
            static_cast<void *>(g_pAlarm.get()));
    return g_pAlarm ? 0 : -1;
}

int Alarm_Release_driver() {
    std::shared_ptr<AlarmDriver> driver;
    {
        const std::lock_guard lock(g_alarm_mutex);
        driver.swap(g_pAlarm);
    }
    if (!driver) {
        log_null(__func__, __LINE__);
        return -1;
    }
    const uint64_t one = 1;
    return write(driver->released.get(), &one, sizeof one) == sizeof one ? 0 : -1;
}

int Alarm_get_time(AlarmType type, timespec *out) {
    if (!current_driver() || !out || !valid(type)) {
        log_null(__func__, __LINE__);
        return -1;
    }
    *out = from_ns(program_now(CLOCKS[static_cast<size_t>(type)]));
    return 0;
}

int Alarm_set(AlarmType type, const timespec *when) {
    const auto driver = current_driver();
    if (!driver || !when || !valid(type)) {
        log_null(__func__, __LINE__);
        return -1;
    }
    if (when->tv_sec < 0 || when->tv_sec > FAR_FUTURE || when->tv_nsec < 0 || when->tv_nsec >= NS) {
        return set_failed(*when, EINVAL);
    }
    const auto row = static_cast<size_t>(type);
    itimerspec spec{};
    if (const int64_t wanted = to_ns(*when); wanted != 0) {
        const int64_t ahead = tp_clock_to_kernel_ns(wanted - program_now(CLOCKS[row]));
        const int64_t at = kernel_now(CLOCKS[row].base) + ahead;
        spec.it_value = from_ns(at > 0 ? at : 1); // a moment long past fires at once; zero would disarm
    }
    if (timerfd_settime(driver->timers[row].get(), TFD_TIMER_ABSTIME, &spec, nullptr) == 0) return 0;
    return set_failed(*when, errno);
}

int Alarm_waitForAlarm() {
    const auto driver = current_driver();
    if (!driver) {
        log_null(__func__, __LINE__);
        return -1;
    }
    while (!tp_os_thread_stop_requested()) {
        pollfd ready{driver->epoll.get(), POLLIN, 0};
        const int n = tp_clock_poll(&ready, 1, WAIT_SLICE_NS);
        if (n < 0 && errno != EINTR) {
            LOG_RAW(ANDROID_LOG_ERROR, TAG, "Unable to wait on alarm: %s\n", strerror(errno));
            return -1;
        }
        if (n <= 0) continue;
        if (const int mask = take_ready(*driver); mask != 0) return mask;
    }
    return -1;
}
