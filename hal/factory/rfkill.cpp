#include <factory/rfkill.h>

#include <common/file.h>

bool factory::rfkill_blocks(std::string_view type) {
    const std::string switches = "/sys/class/rfkill/";
    for (const std::string &name : hal::folder_names(switches.c_str())) {
        const auto attribute = [&](const char *what) { return hal::read_attribute((switches + name + what).c_str()); };
        if (attribute("/type") == type && (attribute("/hard") == "1" || attribute("/soft") == "1")) return true;
    }
    return false;
}
