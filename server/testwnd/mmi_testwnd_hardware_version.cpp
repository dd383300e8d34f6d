#include "testwnd/mmi_testwnd_hardware_version.h"

#include <sstream>
#include <string>
#include <vector>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
std::vector<TestLine> g_lines;

bool start();
TestWindow g_window{.domain = "TKI_MONOMER_HARDVERSION", .title_key = "menu_HardVer", .monomer = true,
                    .pass_after_ms = FOOL_PROOF_MS, .start = start, .lines = [] { return g_lines; }};

std::string version(tki_api_GetText_t read) {
    char text[CFG_TEXT] = {};
    return read && read(text, sizeof text) > 0 ? text : "";
}

void add(const char *title_key, const std::string &value) {
    g_lines.push_back({std::string(lang_text(title_key).text) + ":", LINE_NORMAL});
    std::istringstream lines(value);
    for (std::string line; std::getline(lines, line);) g_lines.push_back({line, LINE_NORMAL});
}

// Without a hardware version there is nothing to judge.
bool start() {
    g_lines.clear();
    const std::string hardware = version(tki_api_GetHardVersion);
    if (hardware.empty()) {
        LOG_RAW(ANDROID_LOG_ERROR, g_window.domain, "%s no hardware version", __func__);
        return false;
    }
    add("menu_HardVer", hardware);
    add("menu_SoftVer", version(tki_api_GetSoftVersion));
    add("menu_FlashType", version(tki_api_GetFlashType));
    return true;
}
} // namespace

void mmi_testwnd_Monomer_HardwareVersionEntry() { test_frame_open(g_window); }

void mmi_testwnd_Monomer_HardwareVersion_Stop() { test_frame_pc_close(g_window); }
