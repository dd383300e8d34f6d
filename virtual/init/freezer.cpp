#include "init/freezer.h"

#include "common/message.h"
#include "init/alarm_clocks.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <linux/input.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/syscall.h>

namespace {
constexpr const char *KEYS = "/dev/input/event1", *TOUCHES = "/dev/input/event0";

// The entries of a folder that are numbers.
std::vector<int> numbers_in(const std::string &folder) {
    std::vector<int> found;
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(folder.c_str()), closedir);
    while (const dirent *entry = dir ? readdir(dir.get()) : nullptr)
        if (const int number = atoi(entry->d_name); number > 0 || strcmp(entry->d_name, "0") == 0) found.push_back(number);
    return found;
}

struct ProcessState {
    char state = 'X';
    pid_t session = -1;
};

ProcessState state_of(pid_t pid) {
    std::ifstream file("/.proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text, '\0');
    ProcessState found;
    const size_t name_end = text.rfind(')');
    int parent = 0, group = 0;
    if (name_end == std::string::npos ||
        sscanf(text.c_str() + name_end + 1, " %c %d %d %d", &found.state, &parent, &group, &found.session) != 4)
        return {};
    return found;
}

bool readable_now(int fd) {
    pollfd ready{fd, POLLIN, 0};
    return fd >= 0 && poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN);
}
} // namespace

void Freezer::freeze(bool pc_waits) {
    if (frozen_) return;
    vh::Fd keys(open(KEYS, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (pc_waits || readable_now(keys.get())) {
        vh::send_message(control_, {"wake", pc_waits ? "pc" : "key"});
        return;
    }
    stop_processes();
    frozen_ = true;
    told_ = false;
    watch(std::move(keys), "key");
    watch_touches();
    watch_alarm_clocks();
    if (!told_) vh::send_message(control_, {"frozen"});
}

void Freezer::thaw() {
    if (!frozen_) return;
    frozen_ = false;
    for (const Watch &watched : watches_) loop_.remove(watched.fd.get());
    watches_.clear();
    if (touch_panel_) {
        lose_touches();
        loop_.remove(touch_panel_.get());
        touch_panel_.reset();
        give_release();
    }
    for (const pid_t pid : stopped_) kill(pid, SIGCONT);
    stopped_.clear();
}

void Freezer::wake(const char *cause) {
    if (!frozen_ || told_) return;
    told_ = true;
    vh::send_message(control_, {"wake", cause});
}

// Again until a look around finds nobody new: a process may just have made another.
void Freezer::stop_processes() {
    for (bool found = true; found;) {
        found = false;
        for (const pid_t pid : numbers_in("/.proc")) {
            if (pid <= 1 || std::find(stopped_.begin(), stopped_.end(), pid) != stopped_.end()) continue;
            const ProcessState process = state_of(pid);
            if (strchr("XZTt", process.state) || processes_.is_command(process.session)) continue;
            if (kill(pid, SIGSTOP) != 0) continue;
            stopped_.push_back(pid);
            found = true;
        }
    }
}

// Not read: the event belongs to the program, or says for itself when it is over.
void Freezer::watch(vh::Fd fd, const char *cause) {
    if (!fd) return;
    const int number = fd.get();
    watches_.push_back({std::move(fd), cause});
    loop_.add(number, EPOLLIN, [this, number, cause](uint32_t events) {
        loop_.remove(number);
        if (events & EPOLLIN) wake(cause);
    });
}

// A touch panel feels nothing while the handset is suspended, and its driver lifts a finger that was on it.
void Freezer::watch_touches() {
    finger_seen_ = finger_lifted_ = false;
    touch_panel_.reset(open(TOUCHES, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (touch_panel_) loop_.add(touch_panel_.get(), EPOLLIN, [this](uint32_t) { lose_touches(); });
}

void Freezer::lose_touches() {
    input_event events[64];
    for (ssize_t n; (n = read(touch_panel_.get(), events, sizeof events)) > 0;)
        for (size_t i = 0; i < static_cast<size_t>(n) / sizeof *events; ++i) {
            if (events[i].type != EV_KEY || events[i].code != BTN_TOUCH) continue;
            if (!finger_seen_ && events[i].value == 0) finger_lifted_ = true;
            finger_seen_ = true;
        }
}

// The release that was lost, when the touch had begun before.
void Freezer::give_release() const {
    if (!finger_lifted_) return;
    input_event events[3]{};
    events[0].type = EV_ABS, events[0].code = ABS_MT_TRACKING_ID, events[0].value = -1;
    events[1].type = EV_KEY, events[1].code = BTN_TOUCH;
    const vh::Fd panel(open(TOUCHES, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    [[maybe_unused]] const ssize_t n = write(panel.get(), events, sizeof events);
}

void Freezer::watch_alarm_clocks() {
    std::set<Timer> unread;
    for (const pid_t pid : stopped_)
        for (const int fd : numbers_in("/.proc/" + std::to_string(pid) + "/fdinfo")) watch_alarm_clock({pid, fd}, unread);
    unread_ = std::move(unread);
}

void Freezer::watch_alarm_clock(const Timer &timer, std::set<Timer> &unread) {
    const auto &[pid, fd] = timer;
    const std::optional<unsigned long> ticks =
        alarm_clock_ticks("/.proc/" + std::to_string(pid) + "/fdinfo/" + std::to_string(fd));
    if (!ticks) return;
    if (*ticks > 0) { // fired before; it wakes once
        unread.insert(timer);
        if (!unread_.contains(timer)) wake("alarm");
        return;
    }
    const vh::Fd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    watch(vh::Fd(static_cast<int>(syscall(SYS_pidfd_getfd, process.get(), fd, 0))), "alarm");
}
