// The battery service: one thread that sleeps until the kernel tells of a change, somebody registers, or ten seconds
// have passed, and then reports. Those ten seconds do not pass while the handset is suspended; an alarm clock wakes it
// once a minute, so that heat and idle time are looked at all the same.
#include <atomic>
#include <cerrno>
#include <common/event.h>
#include <coredevice/api.h>
#include <coredevice/observers.h>
#include <coredevice/power_supply.h>
#include <cstring>
#include <sys/timerfd.h>
#include <tp_clock.h>
#include <tp_os.h>

namespace {
using namespace coredevice;

constexpr const char *TAG = "BATTERYSERVICE";
constexpr const char *CHARGING_SWITCH = "/sys/class/power_supply/battery/charging_enabled";
constexpr int64_t REPORT_PERIOD_NS = 10000000000;
constexpr int64_t SUSPENDED_PERIOD_NS = 60000000000;

// Rings when no report has come for SUSPENDED_PERIOD_NS: in an awake handset never. Where alarm clocks are refused it is an
// ordinary one, which rings after the wake-up.
class WakeAlarm {
public:
    WakeAlarm() : m_timer(timerfd_create(CLOCK_BOOTTIME_ALARM, TFD_CLOEXEC | TFD_NONBLOCK)) {
        if (m_timer.valid()) return;
        HAL_LOG_E(TAG, "no alarm clock, a suspended handset will not be looked after: %s", strerror(errno));
        m_timer.reset(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
    }
    int fd() const { return m_timer.get(); }
    // Begins the period afresh; a ring that nobody has heard is forgotten.
    void arm() const {
        const int64_t ns = tp_clock_to_kernel_ns(SUSPENDED_PERIOD_NS);
        itimerspec spec{};
        spec.it_value.tv_sec = static_cast<time_t>(ns / 1000000000);
        spec.it_value.tv_nsec = static_cast<long>(ns % 1000000000);
        timerfd_settime(m_timer.get(), 0, &spec, nullptr);
    }

private:
    hal::UniqueFd m_timer;
};

// One run of the service's thread.
struct Session {
    hal::Event wake;
    std::atomic<bool> stop{false};
    tp_os_thread_t thread = nullptr;
};

// Never destroyed: a program that exits while the service runs must not pull the lists away under its thread.
struct Service {
    std::mutex lock;
    std::shared_ptr<Session> session;
    std::vector<std::shared_ptr<Session>> retired; // stopped from inside their own calls, not joined yet
    Observers observers;
};
Service &service() {
    static Service *const instance = new Service;
    return *instance;
}

enum class Wake { change, period, asked };

// Waits for the next reason to report; reads the new state into report.
Wake wait_for_news(Session &session, PowerSupply &supply, const WakeAlarm &alarm, BatteryReport &report, int64_t deadline) {
    std::vector<pollfd> set;
    for (;;) {
        set.assign({{session.wake.fd(), POLLIN, 0}, {alarm.fd(), POLLIN, 0}});
        supply.watch(set);
        const int64_t left = deadline - tp_clock_mono_ns();
        const int woken = left <= 0 ? 0 : tp_clock_poll(set.data(), set.size(), left);
        if (woken < 0 && errno == EINTR) continue;
        const bool asked = woken > 0 && set[0].revents;
        if (asked) session.wake.clear();
        const BatteryReport before = report;
        report = supply.read();
        if (woken > 0) supply.judge(std::span(set).subspan(2), report != before);
        if (asked) return Wake::asked;
        if (woken <= 0 || set[1].revents) return Wake::period;
        if (report != before) return Wake::change;
    }
}

void serve(void *arg) {
    const std::unique_ptr<std::shared_ptr<Session>> session(static_cast<std::shared_ptr<Session> *>(arg));
    PowerSupply supply;
    const WakeAlarm alarm;
    BatteryReport report = supply.read();
    int64_t deadline = 0;
    while (!(*session)->stop) {
        alarm.arm(); // before the report: a handset that is suspended within it goes on with it
        service().observers.report(report);
        deadline = tp_clock_mono_ns() + REPORT_PERIOD_NS;
        if (wait_for_news(**session, supply, alarm, report, deadline) == Wake::period) supply.relax();
    }
}

int start_locked(Service &s) {
    auto session = std::make_shared<Session>();
    if (!session->wake.valid()) return EMFILE;
    auto *owned_by_thread = new std::shared_ptr<Session>(session);
    const int failure = tp_os_thread_create("battery", serve, owned_by_thread, &session->thread);
    if (failure != 0) {
        delete owned_by_thread;
        HAL_LOG_E(TAG, "thread: %s", strerror(failure));
        return failure;
    }
    s.session = std::move(session);
    return 0;
}
} // namespace

VXO_API(int) TKI_API_BatteryService_register_Observer(const char *kind, tki_observer cb) noexcept {
    const auto known = observer_kind(kind);
    if (!known || !cb || !service().observers.add(*known, cb)) {
        HAL_LOG_E(TAG, "no observer %s", kind ? kind : "(null)");
        return -1;
    }
    const std::lock_guard guard(service().lock);
    if (service().session) service().session->wake.set();
    return 0;
}

VXO_API(int) TKI_API_BatteryService_unregister_Observer(const char *kind, tki_observer cb) noexcept {
    const auto known = observer_kind(kind);
    return known && service().observers.remove(*known, cb) ? 0 : -1;
}

VXO_API(int) TKI_API_BatteryService_StartService() noexcept {
    Service &s = service();
    const std::lock_guard guard(s.lock);
    return s.session ? 0 : start_locked(s);
}

VXO_API(int) TKI_API_BatteryService_StopService() noexcept {
    Service &s = service();
    std::vector<std::shared_ptr<Session>> ending;
    {
        const std::lock_guard guard(s.lock);
        if (s.session) {
            s.session->stop = true;
            s.session->wake.set();
            s.retired.push_back(std::move(s.session));
        }
        if (inside_observer()) return 0; // its thread cannot wait for itself; it ends after this call
        ending.swap(s.retired);
    }
    for (const auto &session : ending) tp_os_thread_join(session->thread);
    return 0;
}

VXO_API(int) TKI_API_BatteryService_ChargingStatusSet(int on) noexcept {
    if (on != 0 && on != 1) return -1;
    if (hal::write_attribute(CHARGING_SWITCH, on ? "1" : "0")) return 1;
    HAL_LOG_E(TAG, "%s: %s", CHARGING_SWITCH, strerror(errno));
    return -1;
}
