// The factory library: what a port must offer, result flags, versions, the test information, the vibrator.
#include "support.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <sys/wait.h>
#include <thread>
#include <tki_factory.h>
#include <tp_clock.h>

using namespace hal_test;

namespace {
constexpr const char *FLAGS = "/dev/block/bootdevice/by-name/vxoflag";
constexpr const char *PRODUCT = "/dev/block/bootdevice/by-name/vxoprod";

struct Api {
    tki_api_GetTestInfoFlag_t read_all = bind<tki_api_GetTestInfoFlag_t>(factory(), "tki_api_GetTestInfoFlag");
    tki_api_ReadFuncTestInfoFlags_t read = bind<tki_api_ReadFuncTestInfoFlags_t>(factory(), "tki_api_ReadFuncTestInfoFlags");
    tki_api_WriteFuncTestInfoFlags_t write = bind<tki_api_WriteFuncTestInfoFlags_t>(factory(), "tki_api_WriteFuncTestInfoFlags");
    tki_api_Get_TestInfo_t ask = bind<tki_api_Get_TestInfo_t>(factory(), "tki_api_Get_TestInfo");
    tki_api_Get_TestInfo_Stop_t stop = bind<tki_api_Get_TestInfo_Stop_t>(factory(), "tki_api_Get_TestInfo_Stop");
    tki_api_Vibrator_Test_Start_t vibrate = bind<tki_api_Vibrator_Test_Start_t>(factory(), "tki_api_Vibrator_Test_Start");
    tki_api_int_t still = bind<tki_api_int_t>(factory(), "tki_api_Vibrator_Test_Stop");
    int text(const char *function, std::string &out, int size = 256) const {
        char buffer[256] = "untouched";
        const int length = bind<tki_api_GetText_t>(factory(), function)(buffer, size);
        out = buffer;
        return length;
    }
} const api;
} // namespace

// All others are looked up when the program starts.
TEST(Factory, OffersWhatSingleTestsBindLaterAndNothingForeign) {
    for (const char *name : {"FlashlightTest_Start", "FlashlightTest_Stop", "Audio_Loopback_Test_Start", "Audio_Loopback_Test_Stop",
                             "Audio_Watch_Mmi_Test_Start", "Audio_Watch_Mmi_Test_Stop"})
        EXPECT_TRUE(bind<void *>(factory(), (std::string("tki_api_") + name).c_str()));
    const std::string build = getenv("VXO_BUILD");
    FILE *list = popen(("nm -D --defined-only " + build + "/lib/lib_factory.so").c_str(), "r");
    ASSERT_TRUE(list);
    for (char line[512]; fgets(line, sizeof line, list);) EXPECT_TRUE(strstr(line, " tki_api_")) << line;
    pclose(list);
}

TEST(Flags, OneByteChangesAndItsNeighboursDoNot) {
    put(FLAGS, std::string(4096, '\x55'));
    EXPECT_EQ(api.write(70, 0x59), 0);
    EXPECT_EQ(api.write(0, 0x80), 0);
    EXPECT_EQ(api.write(255, 0xff), 0);
    EXPECT_EQ(api.write(-1, 1), -1);
    EXPECT_EQ(api.write(256, 1), -1);
    std::string expected(4096, '\x55');
    expected[0] = '\x80', expected[70] = '\x59', expected[255] = '\xff';
    EXPECT_EQ(content(FLAGS), expected);
    uint8_t area[256];
    ASSERT_EQ(api.read_all(area), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(area), 256), expected.substr(0, 256));
    EXPECT_EQ(api.read(255), 0xff);
    EXPECT_EQ(api.read(256), 0);
    EXPECT_EQ(api.read(-1), 0);
}

TEST(Flags, ShortOrMissingPartitionChangesNothing) {
    uint8_t area[256];
    memset(area, 7, sizeof area);
    put(FLAGS, std::string(255, 'x'));
    EXPECT_EQ(api.read_all(area), -1);
    EXPECT_EQ(api.write(3, 1), -1);
    EXPECT_EQ(content(FLAGS), std::string(255, 'x'));
    unlink(FLAGS);
    EXPECT_EQ(api.read_all(area), -1);
    EXPECT_EQ(api.read_all(nullptr), -1);
    EXPECT_EQ(api.read(0), 0);
    EXPECT_EQ(api.write(0, 1), -1);
    for (const uint8_t byte : area) ASSERT_EQ(byte, 7);
}

// Each child counts its byte up and is killed in the middle of it; what it had confirmed must be there.
TEST(Flags, ConfirmedBytesSurviveAKill) {
    put(FLAGS, std::string(4096, '\0'));
    for (int round = 0; round < 10; ++round) {
        int confirmed[2];
        ASSERT_EQ(pipe(confirmed), 0);
        const pid_t child = fork();
        if (child == 0) {
            for (uint8_t value = 1; value < 255; ++value)
                if (api.write(100 + round, value) != 0 || write(confirmed[1], &value, 1) != 1) _exit(1);
            for (;;) pause();
        }
        close(confirmed[1]);
        uint8_t last = 0;
        for (int i = 0; i <= round * 7; ++i) ASSERT_EQ(read(confirmed[0], &last, 1), 1);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        while (read(confirmed[0], &last, 1) == 1) {}
        close(confirmed[0]);
        // At most the one write under way may have come through unconfirmed.
        const int found = api.read(100 + round);
        EXPECT_TRUE(found == last || found == last + 1) << found << " after " << int{last};
        EXPECT_EQ(api.read(99), 0);
        EXPECT_EQ(api.read(101 + round), 0);
        EXPECT_EQ(api.write(100 + round, last), 0) << "a lock outlived its process";
    }
}

TEST(Versions, TextsOfThePartition) {
    std::string text;
    put(PRODUCT, std::string("hard=H1\r\nsoft=V1.0\nsoft=second\nsoft_internal=I7\npsn=\x01P\x7fSN\nflash=" ) + std::string(400, 'f') +
                     "\nno equals sign\n=empty key\nboard" + std::string(1, '\0') + "=hidden\nboard=hidden\n");
    EXPECT_EQ(api.text("tki_api_GetSoftVersion", text), 7);
    EXPECT_EQ(text, "V1.0\nI7");
    EXPECT_EQ(api.text("tki_api_GetPSN", text), 3);
    EXPECT_EQ(text, "PSN");
    EXPECT_EQ(api.text("tki_api_GetFlashType", text), 255);
    EXPECT_EQ(api.text("tki_api_GetFlashType", text, 4), 3);
    EXPECT_EQ(text, "fff");
    EXPECT_EQ(api.text("tki_api_GetBoardNum", text), -1) << "what stands behind the first zero byte is not there";
    EXPECT_EQ(text, "");
    EXPECT_EQ(api.text("tki_api_GetPSN", text, 0), -1);
    put(PRODUCT, "soft=only");
    EXPECT_EQ(api.text("tki_api_GetSoftVersion", text), 4);
    for (const std::string &garbage : {std::string(4096, '='), std::string(9000, '\n'), std::string("soft"), std::string()}) {
        put(PRODUCT, garbage);
        EXPECT_EQ(api.text("tki_api_GetSoftVersion", text), -1);
    }
    unlink(PRODUCT);
    EXPECT_EQ(api.text("tki_api_GetSoftVersion", text), -1);
}

// ---- test information
namespace {
std::atomic<int> g_answers{0}, g_running{0};
std::atomic<bool> g_hold{false};
tki_testinfo_record g_record;
int g_type = 0;

void receive(tki_module_data *data) {
    ++g_running;
    g_type = data->type;
    g_record = *static_cast<const tki_testinfo_record *>(data->data);
    ++g_answers;
    while (g_hold) std::this_thread::yield();
    --g_running;
}
void stop_inside(tki_module_data *) {
    api.stop();
    ++g_answers;
}
void ask_inside(tki_module_data *) {
    ++g_answers;
    api.ask(receive);
}
} // namespace

TEST(TestInfo, DeliversOneRecord) {
    put(PRODUCT, "soft=S\nsoft_internal=I\nboard=B\nflash=" + std::string(300, 'F') + "\n");
    put(FLAGS, std::string(300, '\x55'));
    g_answers = 0;
    ASSERT_EQ(api.ask(receive), 0);
    ASSERT_TRUE(eventually([] { return g_answers == 1; }));
    EXPECT_EQ(api.stop(), 0);
    EXPECT_EQ(g_type, TKI_MODULE_TESTINFO);
    EXPECT_STREQ(g_record.software_version, "S\nI");
    EXPECT_STREQ(g_record.boardnum, "B");
    EXPECT_EQ(strlen(g_record.flash_info), 255u);
    EXPECT_EQ(g_record.flags[255], 0x55);
    EXPECT_EQ(api.ask(nullptr), -1);
}

TEST(TestInfo, NoAnswerAfterAStop) {
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(api.ask(receive), 0);
        if (i % 3 == 0) std::this_thread::yield();
        if (i % 2) { ASSERT_EQ(api.ask(receive), 0); }
        ASSERT_EQ(api.stop(), 0);
        const int answers = g_answers;
        ASSERT_EQ(g_running, 0);
        if (i % 20 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_EQ(g_answers, answers);
    }
}

TEST(TestInfo, TwoStopsBothWaitForTheRunningAnswer) {
    g_answers = 0;
    g_hold = true;
    ASSERT_EQ(api.ask(receive), 0);
    ASSERT_TRUE(eventually([] { return g_answers == 1; }));
    std::atomic<int> returned{0};
    std::thread first([&] { api.stop(); EXPECT_EQ(g_running, 0); ++returned; });
    std::thread second([&] { api.stop(); EXPECT_EQ(g_running, 0); ++returned; });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(returned, 0);
    g_hold = false;
    first.join();
    second.join();
}

TEST(TestInfo, StopAndAskFromInsideTheAnswer) {
    g_answers = 0;
    ASSERT_EQ(api.ask(stop_inside), 0);
    ASSERT_TRUE(eventually([] { return g_answers == 1; }));
    ASSERT_EQ(api.ask(ask_inside), 0);
    ASSERT_TRUE(eventually([] { return g_answers == 3; }));
    EXPECT_EQ(api.stop(), 0);
}

// ---- vibrator and mode
TEST(Vibrator, PulsesAreBoundedAndRenewed) {
    const std::filesystem::path led = "/sys/class/leds/vibrator";
    EXPECT_EQ(api.vibrate(100), -1) << "not fitted";
    EXPECT_EQ(api.still(), -1);
    put(led / "duration", "");
    put(led / "activate", "");
    EXPECT_EQ(api.vibrate(0), -1);
    EXPECT_EQ(api.vibrate(-2), -1);

    tp_clock_set_scale(200); // the renewal after 10 s comes in 50 ms
    EXPECT_EQ(api.vibrate(-1), 0);
    EXPECT_EQ(content(led / "duration"), "15000");
    for (int renewal = 0; renewal < 2; ++renewal) {
        put(led / "activate", "0");
        EXPECT_TRUE(eventually([&] { return content(led / "activate") == "1"; }));
    }
    EXPECT_EQ(api.still(), 0);
    EXPECT_EQ(content(led / "activate"), "0");
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    EXPECT_EQ(content(led / "activate"), "0") << "renewed after the stop";

    EXPECT_EQ(api.vibrate(18000), 0);
    EXPECT_TRUE(eventually([&] { return content(led / "duration") == "8000"; })) << "the last pulse is the rest";
    EXPECT_EQ(api.still(), 0);
    tp_clock_set_scale(1);
    std::filesystem::remove_all(led);

    put("/sys/class/timed_output/vibrator/enable", "");
    EXPECT_EQ(api.vibrate(700), 0);
    EXPECT_EQ(content("/sys/class/timed_output/vibrator/enable"), "700");
    EXPECT_EQ(api.still(), 0);
    EXPECT_EQ(content("/sys/class/timed_output/vibrator/enable"), "0");
    std::filesystem::remove_all("/sys/class/timed_output");
}

TEST(Mode, LightsThePanelOnlyWhereThereIsABacklight) {
    const auto init = bind<tki_api_tki_mode_init_t>(factory(), "tki_api_tki_mode_init");
    const auto uninit = bind<tki_api_tki_mode_uninit_t>(factory(), "tki_api_tki_mode_uninit");
    EXPECT_EQ(uninit(), -1);
    EXPECT_EQ(init(0), 0);
    put("/sys/class/leds/lcd-backlight/brightness", "0");
    EXPECT_EQ(init(0), 0);
    EXPECT_EQ(content("/sys/class/leds/lcd-backlight/brightness"), "100");
    EXPECT_EQ(uninit(), 0);
    EXPECT_EQ(init(-1), -1);
}
