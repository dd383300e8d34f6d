// The vibrator, through the LED class ("duration" then "activate") or the older timed output ("enable").
//
// The driver is never asked for more than PULSE_MS at once, so a program that dies cannot leave the motor running. A
// longer time is made of pulses that a thread renews before they end.
#include <algorithm>
#include <cerrno>
#include <common/event.h>
#include <cstring>
#include <factory/api.h>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <tp_clock.h>
#include <unistd.h>

namespace {
constexpr const char *DURATION = "/sys/class/leds/vibrator/duration";
constexpr const char *ACTIVATE = "/sys/class/leds/vibrator/activate";
constexpr const char *ENABLE = "/sys/class/timed_output/vibrator/enable";
constexpr int PULSE_MS = 15000;
constexpr int RENEW_MS = 10000;
constexpr int64_t NS_PER_MS = 1000000;
constexpr int UNTIL_STOPPED = -1;

enum class Driver { none, led, timed_output };

Driver fitted_driver() {
    if (access(ACTIVATE, W_OK) == 0) return Driver::led;
    return access(ENABLE, W_OK) == 0 ? Driver::timed_output : Driver::none;
}

bool pulse(Driver driver, int ms) {
    const std::string time = std::to_string(ms);
    const bool started = driver == Driver::led
                             ? hal::write_attribute(DURATION, time) && hal::write_attribute(ACTIVATE, "1")
                             : hal::write_attribute(ENABLE, time);
    if (!started) HAL_LOG_E(FACTORY_TAG, "%s", strerror(errno));
    return started;
}

bool silence(Driver driver) {
    if (hal::write_attribute(driver == Driver::led ? ACTIVATE : ENABLE, "0")) return true;
    HAL_LOG_E(FACTORY_TAG, "%s", strerror(errno));
    return false;
}

// Keeps the motor running past its first pulse. Its thread talks to nobody, so joining it waits for nobody.
class Renewal {
public:
    Renewal(Driver driver, int64_t left_ms) : m_thread([this, driver, left_ms] { run(driver, left_ms); }) {}
    ~Renewal() {
        m_stop.set();
        m_thread.join();
    }

private:
    void run(Driver driver, int64_t left_ms) {
        if (!m_stop.valid()) return; // could not be stopped: the first pulse has to do
        while (!m_stop.wait(RENEW_MS * NS_PER_MS)) {
            if (left_ms != UNTIL_STOPPED) left_ms -= RENEW_MS;
            const int64_t next = left_ms == UNTIL_STOPPED ? PULSE_MS : std::min<int64_t>(left_ms, PULSE_MS);
            if (!pulse(driver, static_cast<int>(next)) || next < PULSE_MS) return;
        }
    }
    hal::Event m_stop;
    std::thread m_thread;
};

std::mutex g_lock;
std::unique_ptr<Renewal> g_renewal;
} // namespace

TKI_API(int) tki_api_Vibrator_Test_Start(int ms) noexcept {
    if (ms != UNTIL_STOPPED && ms <= 0) {
        HAL_LOG_E(FACTORY_TAG, "no time of %d ms", ms);
        return -1;
    }
    const Driver driver = fitted_driver();
    if (driver == Driver::none) {
        HAL_LOG_E(FACTORY_TAG, "not fitted");
        return -1;
    }
    const std::lock_guard guard(g_lock);
    g_renewal.reset();
    const bool longer = ms == UNTIL_STOPPED || ms > PULSE_MS;
    if (!pulse(driver, longer ? PULSE_MS : ms)) return -1;
    if (!longer) return 0;
    try {
        g_renewal = std::make_unique<Renewal>(driver, ms);
    } catch (const std::system_error &error) {
        HAL_LOG_E(FACTORY_TAG, "thread: %s", error.what());
        silence(driver);
        return -1;
    }
    return 0;
}

TKI_API(int) tki_api_Vibrator_Test_Stop() noexcept {
    const std::lock_guard guard(g_lock);
    g_renewal.reset();
    const Driver driver = fitted_driver();
    if (driver == Driver::none) {
        HAL_LOG_E(FACTORY_TAG, "not fitted");
        return -1;
    }
    return silence(driver) ? 0 : -1;
}
