// Board tests for the PC: what each asks of the library, what it answers, and what may interrupt it.
#include "fixture.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <tp_globals.h>

#include "device/factory_slots.h"
#include "shell/sequencer.h"
#include "shell/shell_actions.h"
#include "shell/test_frame.h"
#include "testwnd/mmi_testwnd_poweroff.h"
#include "testwnd/pcba.h"

namespace {
constexpr char CAMERA_TEST[] = "/data/test-bin/camera_pcba";
std::string calls; // what the library was asked for since the last look
std::function<int(tki_event_callback)> library; // what it does at a start
int camera_id;

int began(const std::string &what, tki_event_callback cb) {
    calls += what + " ";
    return library(cb);
}
std::string asked() { return std::exchange(calls, ""); }

template <class Record> int told(tki_event_callback cb, int type, const Record &record) {
    tki_module_data data{type, 0, &record};
    cb(&data);
    return 0;
}
} // namespace

#define FAKE_STOP(name)                                                                                              \
    int tki_api_##name##_stop() { return calls += "stop-" #name " ", 0; }
#define FAKE(name)                                                                                                   \
    int tki_api_##name##_start(tki_event_callback cb) { return began(#name, cb); }                                   \
    FAKE_STOP(name)
extern "C" { // bound later, by name
FAKE(bluetooth)
FAKE(battery)
FAKE(wifi)
FAKE(gps)
FAKE(storage)
FAKE(sdcard)
FAKE(touch)
FAKE_STOP(cpu)
FAKE_STOP(memory)
FAKE_STOP(sim)
FAKE_STOP(fm)
int tki_api_cpu_start(tki_event_callback cb, int cores, int khz, int seconds) {
    return began("cpu:" + std::to_string(cores) + "," + std::to_string(khz) + "," + std::to_string(seconds), cb);
}
int tki_api_memory_start(tki_event_callback cb, int64_t least, int64_t most) {
    return began("memory:" + std::to_string(least) + "," + std::to_string(most), cb);
}
int tki_api_sim_start(tki_event_callback cb, int slots) { return began("sim:" + std::to_string(slots), cb); }
int tki_api_fm_start(tki_event_callback cb, const char *channel) { return began(std::string("fm:") + channel, cb); }
int tki_api_wgb_start(int what, int on) {
    calls += "wgb:" + std::to_string(what) + "," + std::to_string(on) + " ";
    return library ? library(nullptr) : 1;
}
int tki_api_cameraID_test(int count, int all) {
    calls += "id:" + std::to_string(count) + "," + std::to_string(all) + " ";
    return camera_id;
}
}

namespace {
class BoardTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        open_menu(); // and its soft key bar
        config("");
        calls = "";
        lib_vxo_factory = dlopen(nullptr, RTLD_NOW);
        script("echo success");
    }
    void TearDown() override {
        from_pc(PCBATestStop);
        WindowTest::TearDown();
        lib_vxo_factory = nullptr;
        std::filesystem::remove(CAMERA_TEST);
    }
    static void script(const std::string &body) {
        static const std::string path = getenv("PATH");
        setenv("PATH", ("/data/test-bin:" + path).c_str(), 1);
        std::filesystem::create_directories("/data/test-bin");
        write_text(CAMERA_TEST, "#!/bin/sh\necho $1 >/data/camera\n" + body + "\n");
        chmod(CAMERA_TEST, 0755);
    }
};

using Start = std::function<int(char *, int)>;
Start with(int (*start)(const char *, int, char *, int), const char *in) {
    return [=](char *out, int max) { return start(in, static_cast<int>(strlen(in)), out, max); };
}

const struct Row {
    const char *name;
    Start start;
    std::function<int(tki_event_callback)> answers; // the library, when it passes
    const char *asks, *stop, *reply, *note;
} ROWS[] = {
    {"cpu", PCBACpuTestStart, [](auto cb) { return told(cb, 110, tki_pcba_number{2208000, 1}); }, "cpu:0,0,1 ", "stop-cpu ",
     "maxfreq=2208000", "PCBA CPU Testing..."},
    {"memory", PCBAMemoryTestStart, [](auto cb) { return told(cb, 111, tki_pcba_number{3809, 1}); }, "memory:1,1 ", "stop-memory ",
     "MemTotal=3809 MB", "PCBA Memory Testing..."},
    {"storage", PCBAStorageTestStart, [](auto cb) { return told(cb, 119, tki_pcba_number{64, 1}); }, "storage ", "stop-storage ",
     "TotalSize=64 GB", "PCBA Storage Testing..."},
    {"sdcard", PCBASdcardTestStart, [](auto cb) { return told(cb, 120, tki_pcba_number{31914, 1}); }, "sdcard ", "stop-sdcard ",
     "TotalSize=31914 MB", "PCBA SD card Testing..."},
    {"bluetooth", PCBABluetoothTestStart, [](auto cb) { return told(cb, 113, tki_pcba_value{1, 1}); }, "bluetooth ",
     "stop-bluetooth ", "", "PCBA Bluetooth Testing..."},
    {"battery", PCBABatteryTestStart, [](auto cb) { return told(cb, 114, tki_pcba_text{"3.9 V", 1}); }, "battery ", "stop-battery ",
     "", "PCBA Battery Testing..."},
    {"wifi", PCBAWifiTestStart, [](auto cb) { return told(cb, 115, tki_pcba_value{1, 1}); }, "wifi ", "stop-wifi ", "",
     "PCBA WiFi Testing..."},
    {"fm", with(PCBAFmTestStart, "98.7"), [](auto cb) { return told(cb, 116, tki_pcba_value{-60, 1}); }, "fm:98.7 ", "", "",
     "PCBA FM Testing..."},
    {"gps", PCBAGpsTestStart, [](auto cb) { return told(cb, 117, tki_pcba_value{1, 1}); }, "gps ", "stop-gps ", "",
     "PCBA GPS Testing..."},
    {"one sim", with(PCBASimTestStart, "1"), [](auto cb) { return told(cb, 121, tki_pcba_value{1, 1}); }, "sim:1 ", "stop-sim ", "",
     "PCBA SIM Testing..."},
    {"two sims", with(PCBASimTestStart, "slot2"), [](auto cb) { return told(cb, 121, tki_pcba_value{2, 1}); }, "sim:2 ", "stop-sim ",
     "", "PCBA SIM Testing..."},
    {"touch", PCBATouchTestStart, [](auto cb) { return told(cb, 122, tki_pcba_value{2, 1}); }, "touch ", "stop-touch ", "",
     "PCBA Touch Testing..."},
    {"wgb", with(PCBAWgbTestStart, ""), [](auto) { return 1; }, "wgb:2,1 ", "wgb:2,0 ", "", "PCBA WGB Testing..."},
    {"back camera", PCBACameraBackTestStart, nullptr, "", "", "", "PCBA Camera Testing..."},
    {"front camera", PCBACameraFrontTestStart, nullptr, "", "", "", "PCBA Camera Testing..."},
};

TEST_F(BoardTest, every_kind_asks_answers_and_ends_the_one_before) {
    EXPECT_EQ(from_pc(PCBATestStop), 1); // nothing runs
    std::string before;
    for (const Row &row : ROWS) {
        SCOPED_TRACE(row.name);
        library = row.answers;
        char reply[32];
        memset(reply, '#', sizeof reply);
        EXPECT_EQ(from_pc([&] { return row.start(reply, 30); }), 1);
        EXPECT_EQ(asked(), before + row.asks);
        const std::string wanted = row.reply;
        EXPECT_EQ(std::string(reply, sizeof reply), wanted + std::string(sizeof reply - wanted.size(), '#'));
        settle();
        EXPECT_TRUE(shows(row.note));
        EXPECT_EQ(softkeys(), "softkeybar_pass||softkeybar_fail");
        before = row.stop;
    }
    EXPECT_EQ(read_text("/data/camera"), "-1\n");
    RECT rect{};
    GetWindowRect(GetActiveWindow(), &rect);
    EXPECT_EQ((std::array{rect.left, rect.top, rect.right, rect.bottom}), (std::array{0, 0, 240, 320 - 36}));
    EXPECT_EQ(from_pc(PCBATestStop), 1);
    EXPECT_EQ(test_frame_current(), nullptr);
}

TEST_F(BoardTest, what_does_not_pass) {
    const std::pair<const char *, std::function<int(tki_event_callback)>> libraries[] = {
        {"refuses", [](auto) { return -1; }},
        {"fails", [](auto cb) { return told(cb, 113, tki_pcba_value{1, 0}); }},
        {"an odd result", [](auto cb) { return told(cb, 113, tki_pcba_value{1, 2}); }},
        {"is silent, or answers for another test", [](auto cb) { return told(cb, 115, tki_pcba_value{1, 1}); }},
    };
    for (const auto &[name, does] : libraries) {
        library = does;
        EXPECT_EQ(from_pc([] { return PCBABluetoothTestStart(nullptr, 0); }), 0) << name;
    }
    library = [](auto) { return 0; };
    EXPECT_EQ(from_pc([] { return PCBAWgbTestStart("", 0, nullptr, 0); }), 0);
    script("echo no; exit 1");
    EXPECT_EQ(from_pc([] { return PCBACameraBackTestStart(nullptr, 0); }), 0);
    std::filesystem::remove(CAMERA_TEST);
    EXPECT_EQ(from_pc([] { return PCBACameraBackTestStart(nullptr, 0); }), 0);
    lib_vxo_factory = dlopen("libm.so.6", RTLD_NOW);
    for (const Row &row : ROWS) EXPECT_EQ(from_pc([&] { return row.start(nullptr, 0); }), 0) << row.name;
}

TEST_F(BoardTest, settings_reach_the_library_and_the_reply_keeps_its_room) {
    config("[TKI_CPU]\nparameter=cores:8;min_khz:1800000;seconds:2;\n[TKI_MEMORY]\nparameter=min_limit:3000;max_limit:5000000000;\n");
    library = ROWS[0].answers;
    char reply[32] = "";
    EXPECT_EQ(from_pc([&] { return PCBACpuTestStart(reply, 9); }), 1);
    EXPECT_STREQ(reply, "maxfreq=2");
    library = ROWS[1].answers;
    EXPECT_EQ(from_pc([] { return PCBAMemoryTestStart(nullptr, 0); }), 1);
    EXPECT_EQ(asked(), "cpu:8,1800000,2 stop-cpu memory:3000,5000000000 ");
}

TEST_F(BoardTest, keys_close_the_window_and_judge_nothing) {
    library = ROWS[4].answers;
    for (const int code : {KEY_PASS, KEY_FAIL}) {
        from_pc([] { return PCBABluetoothTestStart(nullptr, 0); });
        g_deviceIsAutoTest = 1;
        key(code);
        EXPECT_EQ(test_frame_current(), nullptr);
        EXPECT_EQ(g_deviceIsAutoTest, 1);
        g_deviceIsAutoTest = 0;
    }
    asked();
    EXPECT_EQ(from_pc(PCBATestStop), 1);
    EXPECT_EQ(asked(), "stop-bluetooth "); // the library's test is still the PC's to end
}

TEST_F(BoardTest, camera_identifiers) {
    library = ROWS[4].answers;
    from_pc([] { return PCBABluetoothTestStart(nullptr, 0); });
    asked();
    const auto read = [](const char *in) {
        return from_pc([=] { return ReadCameraIDTestStart(in, in ? static_cast<int>(strlen(in)) : 0, nullptr, 0); });
    };
    camera_id = 0;
    EXPECT_EQ(read("3"), 1);
    EXPECT_EQ(read(nullptr), 1);
    camera_id = -1;
    EXPECT_EQ(read("1"), 0);
    EXPECT_EQ(asked(), "stop-bluetooth id:3,3 id:2,2 id:2,2 ");
}

TEST_F(BoardTest, power_off_is_reached_from_the_pc) {
    static int entered;
    entered = 0;
    g_shell_actions.power_off_entry = [] { ++entered; };
    EXPECT_EQ(from_pc(mmi_AutoTest_PowerOff), 1);
    EXPECT_TRUE(pump_until([] { return entered == 1; }));
    g_shell_actions.power_off_entry = nullptr;
}
} // namespace
