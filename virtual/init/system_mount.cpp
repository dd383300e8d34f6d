#include "init/system_mount.h"

#include "common/fd.h"

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {
constexpr const char *DEVICE = "/dev/block/bootdevice/by-name/system";
constexpr const char *LAYERS = "lowerdir=/.img,upperdir=/.sysrw/upper,workdir=/.sysrw/work,userxattr";

bool mount_layers() { return mount(DEVICE, "/system", "overlay", MS_RDONLY, LAYERS) == 0; }
} // namespace

bool mount_system(std::string &note) {
    if (!mount_layers()) {
        // A state folder that itself lies on an overlay (a container's) cannot be an upper layer.
        note = std::string("changes to /system are lost at a reboot: its upper layer is refused (") + strerror(errno) + ")";
        if (mount("tmpfs", "/.sysrw", "tmpfs", 0, "mode=0755") != 0) return false;
        mkdir("/.sysrw/upper", 0755);
        mkdir("/.sysrw/work", 0755);
        if (!mount_layers()) return false;
        umount2("/.sysrw", MNT_DETACH);
    }
    // The layers stay reachable through the overlay only.
    umount2("/.img", MNT_DETACH);
    umount2("/.sysrw", MNT_DETACH);
    return true;
}

void take_loopback_down() {
    const vh::Fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    strcpy(request.ifr_name, "lo");
    if (ioctl(fd.get(), SIOCGIFFLAGS, &request) != 0) return;
    request.ifr_flags = static_cast<short>(request.ifr_flags & ~IFF_UP);
    ioctl(fd.get(), SIOCSIFFLAGS, &request);
}
