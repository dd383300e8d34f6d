// Board tests: one at a time, each on a thread of the library until it has told its one event.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <common/callback_thread.h>
#include <common/file.h>
#include <cstring>
#include <factory/api.h>
#include <factory/board.h>

namespace {
constexpr const char *WGB_ENABLE = "/sys/class/wgb/wgb0/enable";

hal::CallbackThread g_test;
std::atomic<int> g_type{0}; // of the test that was started last

template <class Measure> int start(int type, tki_event_callback cb, Measure measure) {
    if (!cb) return -1;
    g_test.stop();
    g_type = type;
    const auto body = [type, cb, measure](hal::CallbackThread::Run &run) {
        const auto record = measure(run.stop);
        run.tell(cb, type, record.result == 1 ? 0 : -1, &record);
    };
    return g_test.start(FACTORY_TAG, "board", body) ? 0 : -1;
}

int stop(int type) {
    if (g_type == type) g_test.stop();
    return 0;
}
} // namespace

#define BOARD_STOP(name, type)                                                                                       \
    TKI_API(int) tki_api_##name##_stop() noexcept { return stop(type); }
#define BOARD_TEST(name, type, ...)                                                                                  \
    TKI_API(int) tki_api_##name##_start(tki_event_callback cb) noexcept {                                            \
        return start(type, cb, []([[maybe_unused]] hal::Event &until) { return factory::measure_##name(__VA_ARGS__); }); \
    }                                                                                                                \
    BOARD_STOP(name, type)

BOARD_TEST(bluetooth, TKI_PCBA_BLUETOOTH)
BOARD_TEST(battery, TKI_PCBA_BATTERY)
BOARD_TEST(wifi, TKI_PCBA_WIFI)
BOARD_TEST(gps, TKI_PCBA_GPS, until)
BOARD_TEST(storage, TKI_PCBA_STORAGE)
BOARD_TEST(sdcard, TKI_PCBA_SDCARD)
BOARD_TEST(touch, TKI_PCBA_TOUCH)
BOARD_STOP(cpu, TKI_PCBA_CPU)
BOARD_STOP(memory, TKI_PCBA_MEMORY)
BOARD_STOP(sim, TKI_PCBA_SIM)
BOARD_STOP(fm, TKI_PCBA_FM)

TKI_API(int) tki_api_cpu_start(tki_event_callback cb, int cores, int min_khz, int seconds) noexcept {
    return start(TKI_PCBA_CPU, cb, [=](hal::Event &until) { return factory::measure_cpu(until, cores, min_khz, seconds); });
}

TKI_API(int) tki_api_memory_start(tki_event_callback cb, int64_t min_mib, int64_t max_mib) noexcept {
    return start(TKI_PCBA_MEMORY, cb, [=](hal::Event &) { return factory::measure_memory(min_mib, max_mib); });
}

TKI_API(int) tki_api_sim_start(tki_event_callback cb, int slots) noexcept {
    return start(TKI_PCBA_SIM, cb, [=](hal::Event &) { return factory::measure_sim(slots); });
}

TKI_API(int) tki_api_fm_start(tki_event_callback cb, const char *channel) noexcept {
    const std::string text(hal::trim_end(channel ? channel : ""));
    return start(TKI_PCBA_FM, cb, [text](hal::Event &until) { return factory::measure_fm(until, text); });
}

TKI_API(int) tki_api_wgb_start(int what, int on) noexcept {
    const std::string wanted = std::to_string(on ? what : 0);
    const bool written = hal::write_attribute(WGB_ENABLE, wanted);
    if (!written) HAL_LOG_E(FACTORY_TAG, "not fitted: %s: %s", WGB_ENABLE, strerror(errno));
    return written && hal::read_attribute(WGB_ENABLE) == wanted ? 1 : 0;
}
