// One measurement while it runs: calls that are tried again, waits, and its log lines, which begin with its name.
#pragma once

#include <cstdint>
#include <tp_clock.h>
#include <tp_os.h>

#include "base/log_door.h"
#include "rf/ns_config.h"

// A log text, with a number behind it: how many calls failed, or what the last one returned.
struct NsText {
    const char *text = nullptr; // null: nothing is logged
    enum Number { none, count, result } number = none;
};

struct NsTrial {
    NsText failed, final; // each failed call; the last one
    int pause_ms = 100;   // between two calls
    enum Pause { between, after_failure, after_every } pause = between;
    int calls = 5;
};

class NsRun {
public:
    explicit NsRun(const char *name) : name_(name) {}

    void log(const NsText &told, int number = 0) const {
        if (!told.text) return;
        if (told.number == NsText::none) LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s%s", name_, told.text);
        else LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s%s%d", name_, told.text, number);
    }
    void log_level(const char *chain, const char *operation, int number, float dbm) const {
        LOG_RAW(ANDROID_LOG_DEBUG, NS_TAG, "%s::%s%s,RxChain=%d,RxPowerdBm=%.2f", name_, chain, operation, number,
                static_cast<double>(dbm));
    }
    static bool stopping() { return tp_os_thread_stop_requested(); }
    // False when the thread was asked to stop.
    static bool wait_us(int64_t us) { return tp_clock_sleep_or_stop_ns(us * 1000); }
    static bool wait(int ms) { return wait_us(int64_t{ms} * 1000); }

    // Whether one of the calls succeeded. Once the thread is asked to stop none is tried again.
    template <class Call> bool tries(const NsTrial &t, Call call) {
        return attempt(t, call, [] { return !stopping(); });
    }
    // The calls that set the modem free: tried again even then, but a modem that is slow to answer is left alone.
    template <class Call> bool tries_to_stop(const NsTrial &t, Call call) {
        const auto timed = [&] {
            const int64_t begun = tp_clock_mono_ns();
            const int result = call();
            slow_ = slow_ || tp_clock_mono_ns() - begun > SLOW_NS;
            return result;
        };
        const auto again = [this] { return !stopping() || !slow_; };
        return again() && attempt(t, timed, again);
    }
    int failures() const { return failures_; } // of the last trial

private:
    static constexpr int64_t SLOW_NS = 500000000;

    template <class Call, class Again> bool attempt(const NsTrial &t, Call call, Again again) {
        int result = -1;
        for (failures_ = 0; failures_ < t.calls && result != 0;) {
            result = call();
            if (result != 0) log(t.failed, ++failures_);
            const bool last = result == 0 || failures_ == t.calls;
            if (!last && !again()) return false;
            if (t.pause == NsTrial::after_every || (t.pause == NsTrial::after_failure && result != 0) || !last) wait(t.pause_ms);
        }
        if (result != 0) log(t.final, t.final.number == NsText::result ? result : failures_);
        return result == 0;
    }

    const char *const name_;
    int failures_ = 0;
    bool slow_ = false;
};

// The mean of a chain's good readings.
class NsMean {
public:
    explicit NsMean(float without) : without_(without) {}
    void add(float dbm) {
        sum_ += dbm;
        ++count_;
    }
    float value() const { return count_ ? sum_ / static_cast<float>(count_) : without_; }

private:
    const float without_; // when there is none
    float sum_ = 0;
    int count_ = 0;
};

// The usual texts of an operation.
#define NS_TRIAL(operation)                                                                                            \
    NsTrial{{"::TKI_API_" #operation " fail,nloop=", NsText::count}, {"::TKI_API_" #operation " fail"}}

constexpr float NS_NO_READING = -999, NS_NO_GSM_READING = -9999;
