// Suspend to memory: autosleep, the state attribute and the wake locks decide when the handset's processes stand still, and
// a wake-up event ends it.
//
// A suspend begins a short while (ENTRY) after autosleep or state asked for it, unless autosleep went back to "off" or a
// wake lock is held. After a wake-up event or a key the handset stays awake for a window (ACTIVE), and is suspended again
// when autosleep is still on. Both are the handset's time, but never shorter than the real times beside them: at a high
// speed the program still needs its moment.
#pragma once

#include "kernel/tree.h"

#include <chrono>
#include <condition_variable>
#include <set>
#include <thread>

namespace vh {

class Suspend {
public:
    static constexpr std::chrono::milliseconds ENTRY{200}, ENTRY_REAL{50};
    static constexpr std::chrono::milliseconds ACTIVE{2000}, ACTIVE_REAL{500};

    Suspend(Tree &tree, double speed);
    ~Suspend();
    Suspend(const Suspend &) = delete;
    Suspend &operator=(const Suspend &) = delete;

    using Clock = std::chrono::steady_clock;
    struct Machine {
        std::function<void(bool)> freeze;           // stops or resumes the processes; must not wait; told in order
        std::function<Clock::time_point()> last_key; // when a key was last pressed or released
        std::function<void(bool)> on_sleep;         // hears of each suspend and resume
    };
    // Without a machine nothing is ever suspended.
    void connect(Machine machine);
    // The handset boots or lost its power: awake, whatever was asked for.
    void power_on();
    // Any thread: the processes stand still; something that wakes happened ("alarm" "key" "charger" "pc" "battery" ...).
    void frozen();
    void wake(const std::string &cause);
    bool sleeps() const;
    // Ends the thread: nobody is called any more.
    void stop();

private:
    enum class State { awake, going, asleep };

    void add_attributes();
    std::optional<std::string> take_lock(std::string_view text);
    std::optional<std::string> drop_lock(std::string_view text);
    void locks_changed(const std::string &value);
    void asked(bool on, bool once);
    void loop();
    void suspend();
    void resume(std::unique_lock<std::mutex> &lock);
    void drop_timed_out(std::unique_lock<std::mutex> &lock);
    std::optional<Clock::time_point> next_moment() const;
    bool may_suspend() const { return machine_.freeze && locks_.empty() && (autosleep_ || once_); }
    void count(const char *name);

    Tree &tree_;
    const Clock::duration entry_, active_;
    const double speed_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Machine machine_;
    State state_ = State::awake;
    bool autosleep_ = false, once_ = false, stopping_ = false;
    std::set<std::string> locks_;
    std::map<std::string, Clock::time_point> lock_ends_; // of those with a time limit
    Clock::time_point earliest_{};                       // no suspend before
    Clock::time_point since_{};                          // keys before this have had their time
    std::optional<std::string> cause_;                   // of the wake-up that is due
    std::thread thread_;
};

} // namespace vh
