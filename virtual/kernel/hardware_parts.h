// What can be fitted to a handset, and the nodes that each part has: a part that is not fitted has none.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace vh {

struct Part {
    const char *name;
    const char *what;
    std::vector<const char *> nodes; // attributes, or folders of them; a camera's picture is the launcher's
};

std::span<const Part> hardware_parts();
// Throws std::runtime_error for a wrong name, with the right ones.
const Part &hardware_part(const std::string &name);

// Names below /dev that stand while their part is fitted.
struct DeviceName {
    const char *part, *name, *leads_to;
};
inline constexpr DeviceName DEVICE_NAMES[] = {{"camera-back", "video0", "camera/video0"},
                                              {"camera-aux", "video1", "camera/video1"},
                                              {"camera-front", "video2", "camera/video2"},
                                              {"gps", "gnss0", "/sys/class/gnss/gnss0/nmea"}};

constexpr const char *CAMERAS[] = {"back", "aux", "front"}; // /dev/video0 ..., parts "camera-back" ...

} // namespace vh
