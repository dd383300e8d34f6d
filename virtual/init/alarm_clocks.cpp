#include "init/alarm_clocks.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>

#if defined(__x86_64__)
constexpr unsigned NATIVE_ARCHITECTURE = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned NATIVE_ARCHITECTURE = AUDIT_ARCH_AARCH64;
#else
#error "name the audit architecture of this machine"
#endif

namespace {
constexpr int MARK = O_APPEND; // means nothing to a timer

int plain_timer(clockid_t clock, int flags) {
    std::ifstream may_wake("/sys/class/rtc/rtc0/power/wakeup");
    if (std::string word; may_wake >> word && word == "disabled") {
        errno = EPERM;
        return -1;
    }
    return timerfd_create(clock, flags);
}
} // namespace

int alarm_clocks_install(bool with_syncs) {
    constexpr unsigned NO_CALL = UINT32_MAX;
    const unsigned sync_call = with_syncs ? SYS_sync : NO_CALL, syncfs_call = with_syncs ? SYS_syncfs : NO_CALL;
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NATIVE_ARCHITECTURE, 0, 7),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, sync_call, 6, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, syncfs_call, 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_timerfd_create, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)), // low half of the clock id, little endian
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, CLOCK_REALTIME_ALARM, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, CLOCK_BOOTTIME_ALARM, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
    };
    const sock_fprog program{sizeof code / sizeof *code, code};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(
        syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

std::optional<uint64_t> alarm_clocks_answer(int listener) {
    seccomp_notif call{};
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) return std::nullopt;
    if (call.data.nr == SYS_sync || call.data.nr == SYS_syncfs) return call.id;
    const auto clock = static_cast<clockid_t>(call.data.args[0]);
    const auto flags = static_cast<int>(call.data.args[1]);
    const vh::Fd timer(plain_timer(clock == CLOCK_REALTIME_ALARM ? CLOCK_REALTIME : CLOCK_BOOTTIME, flags));
    if (timer) {
        fcntl(timer.get(), F_SETFL, fcntl(timer.get(), F_GETFL) | MARK);
        seccomp_notif_addfd grant{};
        grant.id = call.id;
        grant.flags = SECCOMP_ADDFD_FLAG_SEND;
        grant.srcfd = static_cast<unsigned>(timer.get());
        grant.newfd_flags = flags & TFD_CLOEXEC ? static_cast<unsigned>(O_CLOEXEC) : 0u;
        if (ioctl(listener, SECCOMP_IOCTL_NOTIF_ADDFD, &grant) >= 0) return std::nullopt;
    }
    seccomp_notif_resp refusal{};
    refusal.id = call.id;
    refusal.error = -(errno ? errno : EPERM);
    ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &refusal);
    return std::nullopt;
}

void sync_answer(int listener, uint64_t call) {
    seccomp_notif_resp done{};
    done.id = call;
    ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &done);
}

std::optional<unsigned long> alarm_clock_ticks(const std::string &fdinfo) {
    std::ifstream file(fdinfo);
    std::string key;
    unsigned long flags = 0, ticks = 0;
    bool timer = false;
    for (std::string rest; file >> key && std::getline(file, rest);) {
        if (key == "flags:") flags = strtoul(rest.c_str(), nullptr, 8);
        else if (key == "clockid:") timer = true;
        else if (key == "ticks:") ticks = strtoul(rest.c_str(), nullptr, 10);
    }
    return timer && (flags & MARK) ? std::optional(ticks) : std::nullopt;
}
