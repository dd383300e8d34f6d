// Every command with reply buffers of all capacities, on a handset's own libraries and kernel (a whole handset's PC channel always
// hands out 4096 bytes). Runs in a fresh handset's root: see Pc.NoReplyLeavesItsBuffer.
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_gui.h>
#include <tp_os.h>

#include "adbd_connection/at_thread.h"
#include "adbd_connection/channel_library.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/iconlet.h"
#include "shell/main_menu.h"

namespace {
constexpr char UNTOUCHED = '\xA5';
constexpr size_t GUARD = 64, WHOLE = 4096;

struct Answer {
    int status;
    std::string written; // up to the last byte that was touched
    bool overrun;
};

Answer ask(const std::string &line, size_t capacity) {
    std::string buffer(capacity + GUARD, UNTOUCHED);
    Answer answer{AtCommandProcess(line.c_str(), buffer.data(), static_cast<int>(capacity)), "", false};
    answer.overrun = buffer.find_last_not_of(UNTOUCHED) + 1 > capacity;
    answer.written = buffer.substr(0, std::min(buffer.find_last_not_of(UNTOUCHED) + 1, capacity));
    return answer;
}

const std::map<std::string, std::string> ARGUMENTS{{"testinfoMoudle testItem", " 281,read"}};
// Replies without a terminator: a field's bytes as they are.
const std::set<std::string> UNTERMINATED{"flashtypeMoudle testItem read", "barcodeMoudle testItem read", "IMEIMoudle testItem read",
                                         "softwareMoudle testItem internal", "softwareMoudle testItem external",
                                         "hardwareMoudle testItem read"};
const std::set<std::string> REPLY{
    "sensorMoudle testItem close", "sensorMoudle testItem readAcc",
    "sensorMoudle testItem readMag", "sensorMoudle testItem readGyro", "sensorMoudle testItem readPressure",
    "sensorMoudle testItem readHeartrate", "sensorMoudle testItem readProxi", "sensorMoudle testItem readLight",
    "RAMMoudle testItem read", "ROMMoudle testItem read", "simMoudle testItem", "sdCardMoudle testItem", "batteryMoudle testItem power",
    "batteryMoudle testItem temperature", "testinfoMoudle testItem", "WiFiConCptMoudle testItem open", "RSSIMoudle testItem read",
    "APInfoMoudle testItem read",
    "FileOptMoudle testItem remove",     "forcetouchcalibrationMoudle testItem read", "forcetouchcomprehensiveMoudle testItem read", "CpuPCBA testItem start",
    "MemoryPCBA testItem start", "StoragePCBA testItem start", "SdcardPCBA testItem start", "LCDType testItem read"};

void ask_every_row() {
    std::set<std::string> replied;
    for (const CommandRow &row : g_command_table) {
        const std::string cmd = row.cmd;
        if (cmd.starts_with("PowerOff") || cmd.starts_with("Reboot")) continue; // they never write, and would end this
        const auto argument = ARGUMENTS.find(cmd);
        const std::string line = cmd + (argument == ARGUMENTS.end() ? "" : argument->second);
        const Answer whole = ask(line, WHOLE);
        EXPECT_FALSE(whole.overrun) << line;
        AtCommandProcess(line.c_str(), nullptr, 0);
        const bool unterminated = UNTERMINATED.contains(cmd);
        const size_t length = strnlen(whole.written.c_str(), whole.written.size());
        if (length > 0 && !unterminated) replied.insert(cmd);
        EXPECT_TRUE(!unterminated || (length > 0 && whole.written.size() == length)) << line << ": " << whole.written;
        for (const size_t capacity : std::set<size_t>{1, 3, length}) {
            if (capacity == 0 || (whole.written.empty() && capacity > 1)) continue;
            const Answer cut = ask(line, capacity);
            EXPECT_FALSE(cut.overrun) << line << " with room for " << capacity;
            EXPECT_TRUE(!unterminated || cut.written == whole.written.substr(0, capacity)) << line << ": " << cut.written;
        }
    }
    for (const std::string &cmd : REPLY)
        if (!replied.contains(cmd)) ADD_FAILURE() << cmd << " did not reply";
    for (const std::string &cmd : replied)
        if (!REPLY.contains(cmd)) ADD_FAILURE() << cmd << " replied";
}

TEST(Replies, stay_in_their_buffers) {
    tp_os_thread_init();
    ASSERT_EQ(tki_init_lib_factory_dll(), 0);
    ASSERT_EQ(tp_man_lcd_get_info_only(), 0);
    tki_api_tki_mode_init(0);
    InitGUI();
    RegisterIconLetCtrl();
    mmi_initconfig();
    ASSERT_EQ(tki_init_libvxo_vcoredevice_dll(), 0);
    ASSERT_EQ(TKI_API_BatteryService_StartService(), 0);
    ASSERT_EQ(Get_libcoredevice_Interface(), 0);
    tp_clock_set_scale(20);
    for (const CommandRow &row : g_command_table) registerModule(row.cmd, row.action, row.fun, 1);
    std::thread pc([] {
        while (g_main_menu_wnd == HWND_NULL || ask("batteryMoudle testItem temperature", WHOLE).status != 0) tp_clock_sleep_ms(10);
        ask_every_row();
        SendMessage(g_main_menu_wnd, MSG_CLOSE, 0, 0);
    });
    kmt_CreateMainMenuWnd();
    pc.join();
}
} // namespace
