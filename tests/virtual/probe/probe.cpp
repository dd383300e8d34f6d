// Acts inside a sandbox as the program would: probe reboot|power-off|alarms|poll PATH|block-rw PATH|echo PORT.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <initializer_list>
#include <linux/fs.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {
// The kernel call below must never be reached in the machine's own PID namespace.
bool in_own_pid_namespace() {
    struct stat space {};
    return access("/app/vinit", X_OK) == 0 && stat("/proc/self/ns/pid", &space) == 0 && space.st_ino != 0xEFFFFFFC;
}

int switch_off(int how) {
    if (!in_own_pid_namespace()) return 2;
    reboot(how);
    perror("reboot");
    return 1;
}

// Both alarm clocks are granted, fire, and refuse what timerfd_create refuses.
int alarms() {
    for (const clockid_t clock : {CLOCK_REALTIME_ALARM, CLOCK_BOOTTIME_ALARM}) {
        const int fd = timerfd_create(clock, TFD_CLOEXEC | TFD_NONBLOCK);
        itimerspec when{};
        when.it_value.tv_nsec = 20000000;
        if (fd < 0 || timerfd_settime(fd, 0, &when, nullptr) != 0) return perror("alarm"), 1;
        if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0 || (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0) return 2;
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, 3000) != 1) return 3;
    }
    return timerfd_create(CLOCK_BOOTTIME_ALARM, 0x40) < 0 ? 0 : 4;
}

// Waits for a change of an attribute as sysfs tells it, and prints the new value.
int wait_for_change(const char *path) {
    char text[64] = "";
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    pollfd ready{fd, POLLPRI | POLLERR, 0};
    if (fd < 0 || pread(fd, text, sizeof text - 1, 0) <= 0 || poll(&ready, 1, 0) != 0) return 1;
    puts("waiting");
    fflush(stdout);
    if (poll(&ready, 1, 10000) != 1 || (ready.revents & POLLPRI) == 0) return 2;
    const ssize_t n = pread(fd, text, sizeof text - 1, 0);
    text[n > 0 ? n : 0] = '\0';
    fputs(text, stdout);
    return poll(&ready, 1, 0) == 0 ? 0 : 3; // told once
}

int clear_read_only(const char *path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    const int off = 0;
    if (fd < 0 || ioctl(fd, BLKROSET, &off) != 0) return perror(path), 1;
    return 0;
}

// Sends everything back, each client to its end.
int echo(int port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listener, 64) != 0) return 1;
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (fork() != 0) {
            close(client);
            continue;
        }
        char bytes[65536];
        for (ssize_t n; (n = read(client, bytes, sizeof bytes)) > 0;)
            for (ssize_t sent = 0, m; sent < n && (m = write(client, bytes + sent, static_cast<size_t>(n - sent))) > 0;) sent += m;
        _exit(0);
    }
}
} // namespace

int main(int argc, char **argv) {
    const char *act = argc > 1 ? argv[1] : "";
    const char *argument = argc > 2 ? argv[2] : "";
    if (strcmp(act, "reboot") == 0) return switch_off(RB_AUTOBOOT);
    if (strcmp(act, "power-off") == 0) return switch_off(RB_POWER_OFF);
    if (strcmp(act, "alarms") == 0) return alarms();
    if (strcmp(act, "poll") == 0) return wait_for_change(argument);
    if (strcmp(act, "block-rw") == 0) return clear_read_only(argument);
    if (strcmp(act, "echo") == 0) return echo(atoi(argument));
    return 64;
}
