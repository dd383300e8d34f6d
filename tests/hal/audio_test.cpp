// The audio functions of the factory library. Microphones and outputs are files: every microphone hears a tone of its own.
#include "support.h"

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <numbers>
#include <tki_factory.h>
#include <tp_clock.h>
#include <thread>
#include <vector>

using namespace hal_test;

namespace {
constexpr const char *SOCKET = "/sys/class/switch/h2w/state";
constexpr int RATE = 48000;
constexpr double MIC_DB = -20;
const std::string FOLDER = "/tmp/audio/";
const std::string RECEIVER = "out_receiver", SPEAKER = "out_speaker", HEADSET = "out_headset", UPPER = "out_speaker_upper";
struct Mic {
    std::string name;
    int hz;
} const MAIN{"mic_main", 400}, HEADSET_MIC{"mic_headset", 900}, AUX1{"mic_aux1", 1700}, AUX2{"mic_aux2", 3300};

using Samples = std::vector<int16_t>;

double db(double power) { return power > 0 ? 10 * std::log10(power) : -200; }
double level(const Samples &samples) { // a full-scale sine is 0 dB
    double sum = 0;
    for (const int16_t s : samples) sum += s / 32767.0 * s / 32767.0;
    return db(2 * sum / static_cast<double>(samples.size()));
}
double level_at(const Samples &samples, int hz) {
    double re = 0, im = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * hz * static_cast<double>(i) / RATE;
        re += samples[i] / 32767.0 * std::cos(phase), im += samples[i] / 32767.0 * std::sin(phase);
    }
    const double n = static_cast<double>(samples.size()) / 2;
    return db((re * re + im * im) / (n * n));
}
size_t played_count(const std::string &output) {
    std::error_code missing;
    const auto bytes = std::filesystem::file_size(FOLDER + output, missing);
    return missing ? 0 : bytes / 2;
}
// What is there now and no more: under a sanitizer a fast handset's file grows faster than it is read.
Samples played(const std::string &output, size_t from = 0) {
    Samples samples(played_count(output) - from);
    std::ifstream file(FOLDER + output, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from * 2));
    file.read(reinterpret_cast<char *>(samples.data()), static_cast<std::streamsize>(samples.size() * 2));
    return samples;
}
// The next tenth of a second that comes out, past what was under way.
Samples listen(const std::string &output) {
    const size_t begin = played_count(output) + RATE / 10;
    if (!eventually([&] { return played_count(output) >= begin + RATE / 10; })) ADD_FAILURE() << output << " is still";
    return played(output, std::min(begin, played_count(output)));
}

int call(const std::string &name) { return bind<tki_api_int_t>(factory(), ("tki_api_" + name).c_str())(); }
int loopback(int mic, int out, const char *parameter, tki_callback cb) {
    return bind<tki_api_Audio_Loopback_Test_Start_t>(factory(), "tki_api_Audio_Loopback_Test_Start")(mic, out, parameter, cb);
}
int set_volume(int v) { return bind<tki_api_Audio_SetVolume_t>(factory(), "tki_api_Audio_SetVolume")(1, 1, v); }
int volume() { return bind<tki_api_Audio_GetVolume_t>(factory(), "tki_api_Audio_GetVolume")(1, 1); }
int ring(int tone) { return bind<tki_api_Audio_RingTest_Start_t>(factory(), "tki_api_Audio_RingTest_Start")(tone); }
int hifi(const char *text) {
    return bind<tki_api_Audio_HiFiTest_auto_Start_t>(factory(), "tki_api_Audio_HiFiTest_auto_Start")(text);
}
auto threads() { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); }

void expect_tone(const std::string &output, int hz, double at_db) {
    SCOPED_TRACE(output);
    const Samples samples = listen(output);
    EXPECT_NEAR(level_at(samples, hz), at_db, 0.5);
    EXPECT_NEAR(level(samples), at_db, 0.5) << "something else sounds, too";
}

class Audio : public testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string conf;
        for (const Mic &mic : {MAIN, HEADSET_MIC, AUX1, AUX2}) {
            Samples tone(RATE * 20);
            const double amplitude = 32767 * std::pow(10, MIC_DB / 20), step = 2 * std::numbers::pi * mic.hz / RATE;
            for (size_t i = 0; i < tone.size(); ++i)
                tone[i] = static_cast<int16_t>(std::lround(amplitude * std::sin(step * static_cast<double>(i))));
            put(FOLDER + mic.name, {reinterpret_cast<const char *>(tone.data()), tone.size() * 2});
            conf += pcm(mic.name, "/dev/null\" infile \"" + FOLDER + mic.name);
        }
        for (const std::string &out : {RECEIVER, SPEAKER, HEADSET, UPPER}) conf += pcm(out, FOLDER + out);
        put("/etc/asound.conf", conf);
    }
    void SetUp() override {
        std::thread([] {}).join(); // a sanitizer starts a thread of its own with the first
        m_threads = threads();
        tp_clock_set_scale(4);
        EXPECT_EQ(set_volume(100), 0);
    }
    void TearDown() override {
        call("Audio_Loopback_Test_Stop");
        tp_clock_set_scale(1);
        EXPECT_TRUE(eventually(as_before)) << "a stopped test left a thread"; // a joined one is listed a moment longer
    }
    static std::string pcm(const std::string &name, const std::string &files) {
        return "pcm.tki_" + name + " { type file slave.pcm null file \"" + files + "\" format raw }\n";
    }
    std::ptrdiff_t m_threads = 0;
    std::function<bool()> as_before = [this] { return threads() <= m_threads; };
};
} // namespace

TEST_F(Audio, EveryRouteCarriesItsMicrophoneToItsOutputs) {
    const struct {
        const char *start, *stop;
        Mic mic;
        std::vector<std::string> outputs;
    } rows[] = {{"Acoustic_Loopback_Test_Start", "Acoustic_Loopback_Test_Stop", MAIN, {RECEIVER}},
                {"ReceiverCall_Loopback_Test_Start", "ReceiverCall_Loopback_Test_Stop", MAIN, {RECEIVER}},
                {"SpeakerCall_Loopback_Test_Start", "SpeakerCall_Loopback_Test_Stop", MAIN, {SPEAKER}},
                {"Acoustic_Loopback_Speaker_Test_Start", "Acoustic_Loopback_Speaker_Test_Stop", MAIN, {SPEAKER}},
                {"Acoustic_Loopback_Two_Speaker_Test_Start", "Acoustic_Loopback_Speaker_Test_Stop", MAIN, {SPEAKER, UPPER}},
                {"Acoustic_Loopback_Headset_Test_Start", "Acoustic_Loopback_Headset_Test_Stop", HEADSET_MIC, {HEADSET}},
                {"Acoustic_Loopback_Auxiliary_MIC_Test_Start", "Acoustic_Loopback_Auxiliary_MIC_Test_Stop", AUX1, {RECEIVER}},
                {"wakeupMic_on_Start", "wakeupMic_Stop", AUX2, {RECEIVER}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.start);
        ASSERT_EQ(call(std::string("Audio_") + row.start), 0);
        for (const std::string &output : row.outputs) expect_tone(output, row.mic.hz, MIC_DB);
        EXPECT_EQ(call(std::string("Audio_") + row.stop), 0);
        EXPECT_TRUE(eventually(as_before));
        EXPECT_EQ(call(std::string("Audio_") + row.stop), 0) << "nothing to stop is no failure";
    }
}

TEST_F(Audio, LoopbackCodesAndItsParameter) {
    const std::pair<int, Mic> mics[] = {{1, MAIN}, {2, HEADSET_MIC}, {4, AUX1}, {8, AUX2}};
    const std::pair<int, std::string> outs[] = {{1, RECEIVER}, {2, SPEAKER}, {4, HEADSET}, {160, UPPER}};
    for (size_t i = 0; i < 4; ++i) { // each start ends the one before
        ASSERT_EQ(loopback(mics[i].first, outs[3 - i].first, i == 0 ? nullptr : "some text", nullptr), 0);
        expect_tone(outs[3 - i].second, mics[i].second.hz, MIC_DB);
    }
    ASSERT_EQ(loopback(1, 4, "vol=60", nullptr), 0);
    expect_tone(HEADSET, MAIN.hz, MIC_DB - 20);
    EXPECT_EQ(volume(), 60);
    for (const auto &[mic, out, text] : {std::tuple{3, 4, ""}, {1, 3, ""}, {1, 4, "vol=101"}, {1, 4, "vol="}})
        EXPECT_EQ(loopback(mic, out, text, nullptr), -1) << mic << " " << out << text;
    EXPECT_EQ(volume(), 60);
    EXPECT_TRUE(eventually(as_before)) << "a refused start ends the test before it as well";
}

TEST_F(Audio, VolumeActsAtOnceAndSilencesAtZero) {
    ASSERT_EQ(call("Audio_Acoustic_Loopback_Test_Start"), 0);
    double before = 1;
    for (const int v : {100, 99, 60, 10, 0}) {
        ASSERT_EQ(set_volume(v), 0);
        const double now = level(listen(RECEIVER));
        EXPECT_LT(now, before) << v;
        before = now;
    }
    EXPECT_EQ(before, -200);
    EXPECT_EQ(set_volume(101), -1);
    EXPECT_EQ(set_volume(-1), -1);
    EXPECT_EQ(volume(), 0);
    EXPECT_EQ(call("Audio_Loopback_Test_Stop"), 0);
    expect_tone(RECEIVER, MAIN.hz, -200); // another pair's stop let it run
    EXPECT_EQ(call("Audio_Acoustic_Loopback_Test_Stop"), 0);
}

TEST_F(Audio, TonesAndTheRecorder) {
    ASSERT_EQ(call("Audio_Receiver_Start"), 0);
    expect_tone(RECEIVER, 1000, -6);
    ASSERT_EQ(ring(440), 0);
    expect_tone(SPEAKER, 440, -6);
    ASSERT_EQ(hifi("2500,-30\r\n"), 0);
    expect_tone(HEADSET, 2500, -30);
    for (const char *text : {"19", "20001", "1000,1", "1000,", "x", ","}) EXPECT_EQ(hifi(text), -1) << text;
    for (const int tone : {-1, 20001}) EXPECT_EQ(ring(tone), -1) << tone;

    ASSERT_EQ(call("Audio_HiFiTest_Start"), 0); // half a second per step
    EXPECT_TRUE(eventually([] { return played_count(HEADSET) > RATE * 7 / 2; }));
    const Samples sweep = played(HEADSET);
    const auto step = [&](int at_ms) { return Samples(&sweep[RATE / 1000 * at_ms], &sweep[RATE / 1000 * (at_ms + 100)]); };
    EXPECT_NEAR(level_at(step(1200), 100), -6, 0.5);
    EXPECT_NEAR(level_at(step(3200), 2000), -6, 0.5);

    tp_clock_set_scale(40);
    ASSERT_EQ(call("Audio_Watch_Mmi_Test_Start"), 0); // three seconds of silence, three of what was recorded
    EXPECT_TRUE(eventually([] { return played_count(SPEAKER) > RATE * 5; }));
    const Samples both = played(SPEAKER);
    EXPECT_EQ(level(Samples(both.begin(), both.begin() + RATE * 29 / 10)), -200);
    EXPECT_NEAR(level_at(Samples(&both[RATE * 7 / 2], &both[RATE * 9 / 2]), MAIN.hz), MIC_DB, 0.5);
    EXPECT_EQ(call("Audio_Watch_Mmi_Test_Stop"), 0);
}

namespace {
std::mutex g_lock;
std::vector<int> g_states;
std::vector<int> states() {
    const std::lock_guard guard(g_lock);
    return g_states;
}
void note(tki_module_data *data) {
    const std::lock_guard guard(g_lock);
    g_states.push_back(data->type == TKI_MODULE_HEADSET && data->result == 0 ? *static_cast<const int *>(data->data) : -9);
}
void note_and_stop(tki_module_data *data) {
    note(data);
    call("Audio_Loopback_Test_Stop");
}
int headset() { return bind<tki_api_GetHeadsetState_t>(factory(), "tki_api_GetHeadsetState")(); }
} // namespace

TEST_F(Audio, HeadsetIsReportedOncePerChangeUntilTheStop) {
    std::filesystem::remove(SOCKET);
    EXPECT_EQ(headset(), -1);
    tp_clock_set_scale(100);
    ASSERT_EQ(loopback(2, 1, "", note), 0) << "a handset without the switch still routes";
    std::vector<int> expected;
    for (const int state : {0, 1, 2, 0}) {
        put(SOCKET, std::to_string(state) + "\n");
        EXPECT_EQ(headset(), state);
        if (expected.empty()) {
            ASSERT_EQ(loopback(2, 1, "", note), 0);
        }
        expected.push_back(state);
        EXPECT_TRUE(eventually([&] { return states().size() >= expected.size(); }));
        put(SOCKET, std::to_string(state) + "\n"); // written again, not changed
        put(SOCKET, "rubbish\n");
        EXPECT_EQ(headset(), -1);
        tp_clock_sleep_ms(3000);
        EXPECT_EQ(states(), expected);
    }
    call("Audio_Loopback_Test_Stop");
    put(SOCKET, "1\n");
    tp_clock_sleep_ms(3000);
    EXPECT_EQ(states(), expected) << "reported behind the stop";
    ASSERT_EQ(loopback(2, 1, "", note_and_stop), 0);
    EXPECT_TRUE(eventually([&] { return states().size() > expected.size(); }));
    EXPECT_TRUE(eventually(as_before)) << "the receiver could not stop by itself";
}

TEST_F(Audio, WhatIsNotFittedAnswersAtOnceAndSaysWhatToDo) {
    ASSERT_EQ(call("Audio_Acoustic_Loopback_Test_Start"), 0);
    std::filesystem::rename(FOLDER + AUX1.name, FOLDER + "taken away");
    {
        const LogCapture log;
        EXPECT_EQ(call("Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start"), -1);
        EXPECT_EQ(log.count("define pcm.tki_mic_aux1 in the ALSA configuration"), 1u);
    }
    EXPECT_TRUE(eventually(as_before)) << "the test before it still runs";
    std::filesystem::rename(FOLDER + "taken away", FOLDER + AUX1.name);
    EXPECT_EQ(call("Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start"), 0);
    EXPECT_EQ(call("Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop"), 0);

    if (getenv("VXO_NO_NAMESPACES")) return; // nothing may be mounted
    const std::string library = std::string(getenv("VXO_BUILD")) + "/lib/lib_vxo_audio.so";
    const std::string command = "unshare -m sh -c 'mount --bind /dev/null " + library + " && exec " +
                                std::filesystem::read_symlink("/proc/self/exe").string() +
                                " --gtest_also_run_disabled_tests --gtest_filter=AudioLibrary.DISABLED_Missing' >/dev/null";
    EXPECT_EQ(system(command.c_str()), 0);
}

// In a process of its own, without the sound library.
TEST(AudioLibrary, DISABLED_Missing) {
    EXPECT_EQ(set_volume(30), 0);
    EXPECT_EQ(volume(), 30);
    EXPECT_EQ(call("Audio_RingTest_Stop"), 0);
    EXPECT_EQ(content("/proc/self/maps").find("libasound"), std::string::npos) << "loaded before it is needed";
    const LogCapture log;
    EXPECT_EQ(ring(0), -1);
    EXPECT_EQ(log.count("sound not fitted"), 1u);
    EXPECT_EQ(call("Audio_RingTest_Stop"), 0);
}
