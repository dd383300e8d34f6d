// Board tests, radio and cameras of the factory library on a prepared tree.
#include "support.h"

#include <atomic>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <png.h>
#include <tki_factory.h>
#include <tki_hardware.h>
#include <tp_clock.h>
#include <vector>

using namespace hal_test;

namespace {
std::atomic<int> g_result, g_events;
uint64_t g_value;

template <class Record> void take(const void *data) {
    Record record;
    memcpy(&record, data, sizeof record);
    if constexpr (requires { record.value; }) g_value = static_cast<uint64_t>(record.value);
    g_result = record.result;
}
void told(tki_module_data *data) {
    if (data->type == TKI_PCBA_BATTERY) take<tki_pcba_text>(data->data);
    else if (data->type == TKI_PCBA_CPU || data->type == TKI_PCBA_MEMORY || data->type == TKI_PCBA_STORAGE || data->type == TKI_PCBA_SDCARD)
        take<tki_pcba_number>(data->data);
    else take<tki_pcba_value>(data->data);
    ++g_events;
}

template <class Function, class... Arguments> int result_of(const char *name, Arguments... arguments) {
    const int before = g_events;
    g_result = -2;
    g_value = 0;
    EXPECT_EQ(bind<Function>(factory(), name)(told, arguments...), 0) << name;
    EXPECT_TRUE(eventually([&] { return g_events > before; })) << name;
    return g_result;
}
int plain(const char *part) { return result_of<tki_api_pcba_start_t>(("tki_api_" + std::string(part) + "_start").c_str()); }
int call(const char *name) { return bind<tki_api_int_t>(factory(), name)(); }

std::mutex g_lock;
int g_frames, g_snapshots;
uint32_t g_pixel;
void seen(tki_module_data *data) {
    const std::lock_guard guard(g_lock);
    if (data->result != 0) return;
    tki_camera_frame frame;
    memcpy(&frame, data->data, sizeof frame);
    ++g_frames;
    g_snapshots += frame.snapshot;
    g_pixel = frame.pixels[0];
}
bool sees(uint32_t pixel) {
    return eventually([&] {
        const std::lock_guard guard(g_lock);
        return g_frames > 2 && g_pixel == pixel;
    });
}
void picture(const char *path, uint32_t bgra) {
    const std::vector<uint32_t> pixels(12, bgra);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 4, image.height = 3, image.format = PNG_FORMAT_BGRA;
    const std::string fresh = std::string(path) + ".new";
    ASSERT_TRUE(png_image_write_to_file(&image, fresh.c_str(), 0, pixels.data(), 0, nullptr));
    std::filesystem::rename(fresh, path);
}
int camera(int number) { return bind<tki_api_camera_test_start_t>(factory(), "tki_api_camera_test_start")(number, seen); }
} // namespace

TEST(Board, NothingFittedFailsAtOnce) {
    for (const char *part : {"bluetooth", "wifi", "battery", "sdcard", "gps"}) EXPECT_EQ(plain(part), 0) << part;
    EXPECT_EQ(result_of<tki_api_sim_start_t>("tki_api_sim_start", 1), 0);
    EXPECT_EQ(result_of<tki_api_fm_start_t>("tki_api_fm_start", "98.7"), 0);
    EXPECT_EQ(result_of<tki_api_cpu_start_t>("tki_api_cpu_start", 0, 0, 1), 0); // no frequency is told
    EXPECT_EQ(bind<tki_api_wgb_start_t>(factory(), "tki_api_wgb_start")(2, 1), 0);
    EXPECT_EQ(bind<tki_api_cameraID_test_t>(factory(), "tki_api_cameraID_test")(2, 2), -1);
    EXPECT_EQ(camera(0), -1);
    EXPECT_EQ(call("tki_api_camera_start_capture"), -1);
    EXPECT_EQ(call("tki_api_FM_Get_Rssi"), -1);
}

TEST(Board, WhatIsMeasuredDecides) {
    put("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "1804800\n");
    EXPECT_EQ(result_of<tki_api_cpu_start_t>("tki_api_cpu_start", 1, 1800000, 1), 1);
    EXPECT_EQ(g_value, 1804800u);
    EXPECT_EQ(result_of<tki_api_cpu_start_t>("tki_api_cpu_start", 1, 1900000, 1), 0);
    EXPECT_EQ(result_of<tki_api_cpu_start_t>("tki_api_cpu_start", 1000, 0, 1), 0);
    const auto memory = [](int64_t least, int64_t most) { return result_of<tki_api_memory_start_t>("tki_api_memory_start", least, most); };
    EXPECT_EQ(memory(1, 1), 1);
    const auto mib = static_cast<int64_t>(g_value);
    EXPECT_EQ(memory(mib, mib), 1);
    EXPECT_EQ(memory(mib + 1, 1), 0);
    EXPECT_EQ(memory(1, mib - 1), 0);
    const auto files = [] { return std::distance(std::filesystem::directory_iterator("/data"), {}); };
    const auto before = files();
    EXPECT_EQ(plain("storage"), 1);
    EXPECT_EQ(files(), before);

    put("/sys/class/bluetooth/hci0/address", "02:1a:7d:da:71:13\n");
    EXPECT_EQ(plain("bluetooth"), 1);
    put("/sys/class/rfkill/rfkill3/type", "bluetooth\n");
    put("/sys/class/rfkill/rfkill3/soft", "1\n");
    put("/sys/class/rfkill/rfkill3/hard", "0\n");
    put("/sys/class/rfkill/rfkill3/state", "0\n");
    EXPECT_EQ(plain("bluetooth"), 0);

    const std::string battery = "/sys/class/power_supply/battery/";
    put(battery + "present", "1\n"), put(battery + "voltage_now", "3950000\n"), put(battery + "temp", "250\n");
    put(battery + "health", "Good\n");
    EXPECT_EQ(plain("battery"), 1);
    put(battery + "temp", "460\n");
    EXPECT_EQ(plain("battery"), 0);
    put("/sys/class/gnss/gnss0/nmea", "noise\n$GPGGA,,\n");
    EXPECT_EQ(plain("gps"), 1);
}

TEST(Board, RadioTunesWithinItsBand) {
    const std::string radio = "/sys/class/radio/radio0/";
    for (const char *name : {"enable", "frequency", "volume"}) put(radio + name, "0\n");
    put(radio + "rssi", "-58\n");
    const auto tune = bind<tki_api_FM_Test_Start_t>(factory(), "tki_api_FM_Test_Start");
    for (const int wrong : {-1, 6399, 10801, 987000}) EXPECT_EQ(tune(wrong), -1) << wrong;
    EXPECT_EQ(tune(9870), 0);
    EXPECT_EQ(content(radio + "enable") + " " + content(radio + "frequency"), "1 98700");
    EXPECT_EQ(call("tki_api_FM_Get_Rssi"), -58);
    const auto volume = bind<tki_api_FM_Set_Vol_t>(factory(), "tki_api_FM_Set_Vol");
    EXPECT_EQ(volume(15), 0);
    EXPECT_EQ(volume(16), -1);
    EXPECT_EQ(call("tki_api_FM_Get_Vol"), 15);
    EXPECT_EQ(call("tki_api_FM_Test_Stop"), 0);
    EXPECT_EQ(call("tki_api_FM_Get_Rssi"), -1);
    const auto board = [](const char *channel) { return result_of<tki_api_fm_start_t>("tki_api_fm_start", channel); };
    for (const char *good : {"", "98.7", "9870", "64", "107.95"}) EXPECT_EQ(board(good), 1) << good;
    for (const char *bad : {"x", "98.x", "108.1", "63.9", "98.7001", "-98"}) EXPECT_EQ(board(bad), 0) << bad;
    put(radio + "rssi", "-110\n");
    EXPECT_EQ(board("98.7"), 0);
    EXPECT_EQ(call("tki_api_fm_stop"), 0); // ended by itself; its thread is joined here
    EXPECT_EQ(content(radio + "enable"), "0");
}

TEST(Camera, APictureIsSeenUntilItIsReplaced) {
    picture("/dev/video0", 0xFF123456);
    ASSERT_EQ(camera(0), 0);
    EXPECT_TRUE(sees(0x123456));
    EXPECT_EQ(call("tki_api_camera_do_autofocus"), -1);
    EXPECT_EQ(call("tki_api_camera_start_capture"), 0);
    EXPECT_TRUE(eventually([] { return std::lock_guard(g_lock), g_snapshots == 1; }));
    picture("/dev/video0", 0xFFABCDEF);
    EXPECT_TRUE(sees(0xABCDEF));
    EXPECT_EQ(call("tki_api_camera_test_stop"), 0);
    const int frames = g_frames;
    tp_clock_sleep_ms(100);
    EXPECT_EQ(g_frames, frames);
    put("/dev/video0", "no picture");
    EXPECT_EQ(camera(0), -1);
    EXPECT_EQ(camera(3), -1);
}

TEST(Camera, IdentifiersAgreeWithTheProductionRecord) {
    const auto test = bind<tki_api_cameraID_test_t>(factory(), "tki_api_cameraID_test");
    put("/sys/class/video4linux/video0/name", "back-13m\n");
    put("/sys/class/video4linux/video2/name", "front-5m\n");
    EXPECT_EQ(test(2, 2), 0);
    EXPECT_EQ(test(3, 3), -1);
    const std::string partition = "/dev/block/bootdevice/by-name/vxoprod", was = content(partition);
    put(partition, "camera0=back-13m\ncamera2=front-8m\n");
    EXPECT_EQ(test(2, 2), -1);
    put(partition, "camera0=back-13m\ncamera2=front-5m\n");
    EXPECT_EQ(test(2, 2), 0);
    put(partition, was);
}
