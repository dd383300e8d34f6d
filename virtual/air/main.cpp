// vair: what is in the air around the handset. The scripts that load and unload its wireless driver call it.
//
//   vair up      makes wlan0 and the access point when they are not there yet, and starts the supplicant (anew)
//   vair down    ends the supplicant
//
// Both parts live on without the caller. Nothing of it runs before the first "up". /run/air/ap.pid is the access point, in
// whose network namespace `handset ap --run` runs a command.
#include "air/access_point.h"
#include "air/interface.h"
#include "air/supplicant.h"
#include "common/fd.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <sys/inotify.h>
#include <unistd.h>

namespace {
constexpr const char *AIR_FOLDER = "/dev/__vxo_air", *AIR = "/dev/__vxo_air/ap";
constexpr const char *RUN = "/run/air", *AP_PID = "/run/air/ap.pid", *SUPPLICANT_PID = "/run/air/supplicant.pid";

pid_t recorded(const char *file) {
    std::ifstream stream(file);
    pid_t pid = -1;
    return stream >> pid && pid > 1 && kill(pid, 0) == 0 ? pid : -1;
}

// Follows the air for ever; other: a further descriptor to serve, or -1.
[[noreturn]] void live(const std::function<void(const vh::AirConditions &)> &follow, int other,
                       const std::function<void()> &serve) {
    const vh::Fd changes(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    inotify_add_watch(changes.get(), AIR_FOLDER, IN_MOVED_TO);
    for (;;) {
        pollfd fds[] = {{changes.get(), POLLIN, 0}, {other, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        char events[4096];
        if (fds[0].revents && read(changes.get(), events, sizeof events) > 0) follow(vh::read_air(AIR));
        if (fds[1].revents) serve();
    }
}

// A process that lives on: begin() comes back when it is ready, then the caller goes on. Throws when it does not.
void start_service(const char *pid_file, const std::function<void(int ready)> &begin) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error(strerror(errno));
    const vh::Fd reader(ready[0]);
    vh::Fd writer(ready[1]);
    const pid_t pid = fork();
    if (pid == 0) {
        setsid();
        const int null = open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd) dup2(null, fd);
        std::ofstream(pid_file) << getpid() << "\n";
        try {
            begin(writer.release());
        } catch (const std::exception &) {}
        _exit(1);
    }
    writer.reset();
    char byte;
    if (pid < 0 || read(reader.get(), &byte, 1) != 1) throw std::runtime_error(std::string(pid_file) + ": did not start");
}

void tell_ready(int fd) {
    [[maybe_unused]] const ssize_t n = write(fd, "", 1);
    close(fd);
}

std::string hardware_address() {
    std::ifstream file("/sys/class/net/wlan0/address");
    std::string text;
    return file >> text ? text : "02:1a:7d:da:72:24";
}

void start_access_point() {
    if (recorded(AP_PID) > 0 && interface_exists(WLAN)) return;
    start_service(AP_PID, [](int ready) {
        if (unshare(CLONE_NEWNET) != 0) return;
        tell_ready(ready);
        while (!interface_exists(AP)) usleep(1000); // its end of the wire comes from outside
        AccessPoint point;
        point.follow(vh::read_air(AIR));
        live([&](const vh::AirConditions &air) { point.follow(air); }, -1, [] {});
    });
    const pid_t pid = recorded(AP_PID);
    const std::string wire = "ip link add wlan0 address " + hardware_address() + " type veth peer name ap0 netns ";
    if (run_quietly(wire + std::to_string(pid)) == 0) return;
    kill(pid, SIGKILL);
    throw std::runtime_error("no wire to the access point: ip link add wlan0 type veth was refused");
}

void stop_supplicant() {
    if (const pid_t pid = recorded(SUPPLICANT_PID); pid > 0) {
        kill(pid, SIGKILL);
        while (kill(pid, 0) == 0) usleep(1000);
    }
    unlink(SUPPLICANT_PID);
    unlink(SupplicantModel::SOCKET);
}

void start_supplicant(const vh::AirConditions &air) {
    stop_supplicant();
    if (air.supplicant == "real") {
        set_interface_up(WLAN, true);
        std::filesystem::create_directories(SupplicantModel::FOLDER);
        const std::string command =
            std::string("wpa_supplicant -B -Dwired -iwlan0 -C ") + SupplicantModel::FOLDER + " -P " + SUPPLICANT_PID;
        if (run_quietly(command) != 0) throw std::runtime_error("failed: " + command);
        return;
    }
    start_service(SUPPLICANT_PID, [](int ready) {
        SupplicantModel model;
        model.breathe(vh::read_air(AIR));
        tell_ready(ready);
        live([&](const vh::AirConditions &conditions) { model.breathe(conditions); }, model.fd(), [&] { model.serve_one(); });
    });
}
} // namespace

int main(int argc, char **argv) {
    const std::string verb = argc == 2 ? argv[1] : "";
    try {
        if (verb == "up") {
            std::filesystem::create_directories(RUN);
            start_access_point();
            start_supplicant(vh::read_air(AIR));
        } else if (verb == "down") {
            stop_supplicant();
        } else {
            fprintf(stderr, "usage: vair up|down\n");
            return 2;
        }
    } catch (const std::exception &error) {
        fprintf(stderr, "vair: %s\n", error.what());
        return 1;
    }
    return 0;
}
