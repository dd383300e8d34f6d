// State that the program and the runtime share.
#include <tp_globals.h>

#include <tp_clock.h>

std::atomic<int> g_bCurrentSleepStatus{0}, g_bWiFiConnectStatus{0}, g_deviceIsAgingTest{0}, g_iCreateDialog{0};
void *lib_vxo_factory = nullptr;
TpScreenInfo g_ptScreenInfo;

namespace {
constexpr int64_t SECOND = 1'000'000'000;

// The idle period of a program that never saw an input begins when it first asks.
std::atomic<int64_t> &last_input() {
    static std::atomic<int64_t> ns{tp_clock_real_ns()};
    return ns;
}
} // namespace

struct timeval tp_last_input_time() {
    const int64_t ns = last_input();
    struct timeval out {};
    out.tv_sec = static_cast<time_t>(ns / SECOND);
    out.tv_usec = static_cast<decltype(out.tv_usec)>(ns % SECOND / 1000);
    return out;
}

void GetLastInputTime() { last_input() = tp_clock_real_ns(); }
void tp_age_last_input(int64_t seconds) { last_input() -= seconds * SECOND; }
