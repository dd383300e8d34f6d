#include "air/access_point.h"

#include "air/interface.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

AccessPoint::AccessPoint() {
    run_quietly("ip link set lo up; ip addr add 192.168.1.1/24 dev ap0; ip addr add 169.254.7.1/16 dev ap0");
}

void AccessPoint::follow(const vh::AirConditions &air) {
    set_interface_up(AP, air.up);
    if (air.up && air.dhcp != mode_) serve_addresses(air.dhcp);
}

void AccessPoint::serve_addresses(const std::string &mode) {
    if (server_ > 0) {
        kill(server_, SIGKILL);
        waitpid(server_, nullptr, 0);
        server_ = -1;
    }
    mode_ = mode;
    if (mode == "off") return;
    const std::string network = mode == "link-local" ? "169.254.7." : "192.168.1.", base = "/run/air/udhcpd." + mode;
    std::ofstream(base + ".leases", std::ios::app).close();
    // One handset, one address.
    std::ofstream conf(base + ".conf");
    conf << "interface ap0\nstart " << network << "101\nend " << network << "101\nlease_file " << base << ".leases\npidfile "
         << base << ".pid\noption subnet " << (mode == "link-local" ? "255.255.0.0" : "255.255.255.0") << "\n";
    if (mode == "on") conf << "option router " << ADDRESS << "\n";
    conf.close();
    server_ = fork();
    if (server_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execlp("busybox", "busybox", "udhcpd", "-f", "-a", "50", (base + ".conf").c_str(), nullptr);
    _exit(127);
}
