#include "kernel/suspend.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <sstream>
#include <utility>

namespace vh {

namespace {
const std::string POWER = "/sys/power/";
const std::string WAKE_LOCK = POWER + "wake_lock", WAKE_UNLOCK = POWER + "wake_unlock", STATE = POWER + "state";
const std::string REASON = "/sys/kernel/wakeup_reasons/last_resume_reason";

std::chrono::steady_clock::duration scaled(std::chrono::milliseconds wanted, std::chrono::milliseconds least, double speed) {
    const std::chrono::duration<double, std::milli> real(static_cast<double>(wanted.count()) / speed);
    return std::max<std::chrono::steady_clock::duration>(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(real), least);
}

std::set<std::string> words(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string joined(const std::set<std::string> &names) {
    std::string text;
    for (const std::string &name : names) text += name + " ";
    return text;
}
} // namespace

Suspend::Suspend(Tree &tree, double speed)
    : tree_(tree), entry_(scaled(ENTRY, ENTRY_REAL, speed)), active_(scaled(ACTIVE, ACTIVE_REAL, speed)), speed_(speed) {
    add_attributes();
    thread_ = std::thread([this] { loop(); });
}

Suspend::~Suspend() { stop(); }

void Suspend::stop() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void Suspend::add_attributes() {
    tree_.add(POWER + "autosleep", choice({"off", "mem", "standby", "freeze"}), Access::read_write, "off");
    tree_.add(STATE, choice({"freeze", "standby", "mem", "on"}), Access::read_write, "on");
    tree_.add(WAKE_LOCK, driver([this](std::string_view text) { return take_lock(text); }), Access::read_write, "");
    tree_.add(WAKE_UNLOCK, driver([this](std::string_view text) { return drop_lock(text); }), Access::read_write, "");
    for (const char *name : {"success", "fail"})
        tree_.add(POWER + "suspend_stats/" + name, text(), Access::read_only, "0");
    tree_.add(REASON, text(), Access::read_only, "");
    tree_.on_change(POWER + "autosleep", [this](const std::string &value) { asked(value != "off", false); });
    tree_.on_change(STATE, [this](const std::string &value) { asked(value != "on", true); });
    tree_.on_change(WAKE_LOCK, [this](const std::string &value) { locks_changed(value); });
}

void Suspend::connect(Machine machine) {
    const std::scoped_lock lock(mutex_);
    machine_ = std::move(machine);
}

void Suspend::power_on() {
    const std::scoped_lock lock(mutex_);
    state_ = State::awake;
    autosleep_ = once_ = false;
    cause_.reset();
}

void Suspend::asked(bool on, bool once) {
    const std::scoped_lock lock(mutex_);
    (once ? once_ : autosleep_) = on;
    if (on) earliest_ = (since_ = Clock::now()) + entry_;
    else if (state_ != State::awake) cause_ = "attribute"; // written from outside
    changed_.notify_all();
}

// "NAME" or "NAME NANOSECONDS".
std::optional<std::string> Suspend::take_lock(std::string_view text) {
    const size_t blank = text.find(' ');
    const std::string name(text.substr(0, blank));
    long long ns = 0;
    if (blank != std::string_view::npos) {
        const auto [end, error] = std::from_chars(text.data() + blank + 1, text.data() + text.size(), ns);
        if (error != std::errc() || end != text.data() + text.size() || ns <= 0) return std::nullopt;
    }
    if (words(name).size() != 1) return std::nullopt;
    std::set<std::string> active = words(tree_.get(WAKE_LOCK).value_or(""));
    std::set<std::string> idle = words(tree_.get(WAKE_UNLOCK).value_or(""));
    active.insert(name);
    if (idle.erase(name)) tree_.publish(WAKE_UNLOCK, joined(idle));
    const std::scoped_lock lock(mutex_);
    lock_ends_.erase(name);
    const std::chrono::duration<double, std::nano> real(static_cast<double>(ns) / speed_);
    if (ns > 0) lock_ends_[name] = Clock::now() + std::chrono::duration_cast<Clock::duration>(real);
    return joined(active);
}

std::optional<std::string> Suspend::drop_lock(std::string_view text) {
    const std::string name(text);
    std::set<std::string> active = words(tree_.get(WAKE_LOCK).value_or(""));
    std::set<std::string> idle = words(tree_.get(WAKE_UNLOCK).value_or(""));
    if (!active.contains(name) && !idle.contains(name)) return std::nullopt;
    if (active.erase(name)) tree_.set(WAKE_LOCK, joined(active));
    idle.insert(name);
    return joined(idle);
}

void Suspend::locks_changed(const std::string &value) {
    const std::scoped_lock lock(mutex_);
    locks_ = words(value);
    std::erase_if(lock_ends_, [this](const auto &end) { return !locks_.contains(end.first); });
    if (!locks_.empty() && state_ != State::awake) cause_ = "wake_lock";
    changed_.notify_all();
}

void Suspend::frozen() {
    bool told = false;
    {
        const std::scoped_lock lock(mutex_);
        told = state_ == State::going;
        if (told) state_ = State::asleep;
        // One that the program took while it was being stopped: nobody else would tell of it.
        if (told && machine_.last_key() > since_ && !cause_) {
            cause_ = "key";
            changed_.notify_all();
        }
    }
    if (!told) return; // a wake-up was faster
    count("success");
    machine_.on_sleep(true);
}

void Suspend::wake(const std::string &cause) {
    const std::scoped_lock lock(mutex_);
    earliest_ = std::max(earliest_, Clock::now() + active_);
    if (state_ != State::awake && !cause_) cause_ = cause;
    changed_.notify_all();
}

bool Suspend::sleeps() const {
    const std::scoped_lock lock(mutex_);
    return state_ == State::asleep;
}

void Suspend::count(const char *name) {
    const std::string path = POWER + "suspend_stats/" + name;
    tree_.publish(path, std::to_string(atol(tree_.get(path).value_or("0").c_str()) + 1));
}

// The processes go on at once; what is told of it follows.
void Suspend::resume(std::unique_lock<std::mutex> &lock) {
    const std::string cause = *std::exchange(cause_, std::nullopt);
    const bool slept = state_ == State::asleep;
    const bool was_once = std::exchange(once_, false);
    state_ = State::awake;
    earliest_ = (since_ = Clock::now()) + active_;
    tree_.publish(REASON, cause);
    machine_.freeze(false);
    lock.unlock();
    if (was_once) tree_.publish(STATE, "on");
    if (!slept) count("fail");
    else machine_.on_sleep(false);
    lock.lock();
}

void Suspend::drop_timed_out(std::unique_lock<std::mutex> &lock) {
    std::vector<std::string> over;
    for (const auto &[name, end] : lock_ends_)
        if (end <= Clock::now()) over.push_back(name);
    if (over.empty()) return;
    lock.unlock();
    for (const std::string &name : over)
        if (const auto idle = drop_lock(name)) tree_.publish(WAKE_UNLOCK, *idle);
    lock.lock();
}

std::optional<Suspend::Clock::time_point> Suspend::next_moment() const {
    std::optional<Clock::time_point> next;
    if (state_ == State::awake && may_suspend()) next = earliest_;
    for (const auto &[name, end] : lock_ends_)
        if (!next || end < *next) next = end;
    return next;
}

// A key that came since then may be the beginning of something, such as a long press.
void Suspend::suspend() {
    if (const Clock::time_point key = machine_.last_key(); key > since_) {
        since_ = key;
        earliest_ = key + active_;
        return;
    }
    cause_.reset();
    state_ = State::going;
    machine_.freeze(true);
}

void Suspend::loop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        drop_timed_out(lock);
        if (cause_ && state_ != State::awake) {
            resume(lock);
        } else if (state_ == State::awake && may_suspend() && Clock::now() >= earliest_) {
            suspend();
        } else if (const auto next = next_moment()) {
            changed_.wait_until(lock, *next);
        } else {
            changed_.wait(lock);
        }
    }
}

} // namespace vh
