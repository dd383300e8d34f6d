// What the audio windows ask of the library, when they may pass, and what they do without it.
#include "fixture.h"

#include <dlfcn.h>
#include <support/log_text.h>
#include <tp_globals.h>

#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/audio_pc.h"
#include "testwnd/test_entries.h"

namespace {
std::string calls; // what the library was asked for since the last look
int start_result, volume;

int started(const std::string &what) {
    calls += what + " ";
    return start_result;
}
std::string asked() { return std::exchange(calls, ""); }
} // namespace

extern "C" { // bound later, by name
int tki_api_Audio_Loopback_Test_Start(int microphone, int output, const char *parameter, tki_callback) {
    return started(std::to_string(microphone) + ">" + std::to_string(output) + ":" + parameter);
}
int tki_api_Audio_Loopback_Test_Stop() { return calls += "stop ", 0; }
int tki_api_Audio_Watch_Mmi_Test_Start() { return started("watch"); }
int tki_api_Audio_Watch_Mmi_Test_Stop() { return calls += "stop ", 0; }
}

namespace {
class AudioTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        open_menu(); // and its soft key bar
        calls = "";
        start_result = 0;
        volume = 1;
        lib_vxo_factory = dlopen(nullptr, RTLD_NOW);
        tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start = [] { return started("speaker"); };
        tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start = [] { return started("two"); };
        tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop = [] { return calls += "stop ", 0; };
        tki_api_Audio_SetVolume = [](int a, int b, int level) { return volume = a == 1 && b == 1 ? level : -1, 0; };
        tki_api_Audio_GetVolume = [](int, int) { return volume; };
        tki_api_Audio_RingTest_Start = [](int tone) { return started("ring" + std::to_string(tone)); };
        tki_api_Audio_RingTest_Stop = [] { return calls += "stop ", 0; };
        tki_api_Audio_SpeakerCall_Loopback_Test_Start = [] { return started("call"); };
        tki_api_Audio_SpeakerCall_Loopback_Test_Stop = [] { return calls += "stop ", 0; };
        tki_api_Audio_HiFiTest_auto_Start = [](const char *parameter) { return started(std::string("hifi:") + parameter); };
        tki_api_Audio_HiFiTest_auto_Stop = [] { return calls += "stop ", 0; };
    }
    void TearDown() override {
        WindowTest::TearDown();
        lib_vxo_factory = nullptr;
        for (tki_api_int_t *slot :
             {&tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start, &tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start,
              &tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop, &tki_api_Audio_RingTest_Stop,
              &tki_api_Audio_SpeakerCall_Loopback_Test_Start, &tki_api_Audio_SpeakerCall_Loopback_Test_Stop,
              &tki_api_Audio_HiFiTest_auto_Stop})
            *slot = nullptr;
        tki_api_Audio_SetVolume = nullptr;
        tki_api_Audio_GetVolume = nullptr;
        tki_api_Audio_RingTest_Start = nullptr;
        tki_api_Audio_HiFiTest_auto_Start = nullptr;
    }
    static bool offered() {
        return pump_until([] { return softkeys().starts_with("Result_pass"); });
    }
};

struct Row {
    int (*entry)(const char *, int);
    const char *domain, *asks; // with the argument "vol=5"
};
const Row ROWS[] = {
    {mmi_AutoTest_Audio_MIC_Headset_LoopBackTestEntry, "TKI_AUDIO_MIC_HEADSET_LOOPBACK", "1>4:vol=5 "},
    {mmi_AutoTest_Audio_Headset_Headset_LoopBackTestEntry, "TKI_AUDIO_HEADSET_HEADSET_LOOPBACK", "2>4:vol=5 "},
    {mmi_AutoTest_Audio_Headset_Receiver_LoopBackTestEntry, "TKI_AUDIO_HEADSET_RECEIVER_LOOPBACK", "2>1:vol=5 "},
    {mmi_AutoTest_Audio_Headset_Speaker_LoopBackTestEntry, "TKI_AUDIO_HEADSET_SPEAKER_LOOPBACK", "2>2:vol=5 "},
    {mmi_AutoTest_Audio_Headset_UpSpeaker_LoopBackTestEntry, "TKI_AUDIO_HEADSET_SPEAKER_LOOPBACK", "2>160:vol=5 "},
    {mmi_AutoTest_Audio_AuxiliaryMIC1_Headset_LoopBackTestEntry, "TKI_AUDIO_AUXILIARYMIC1_HEADSET_LOOPBACK", "4>4:vol=5 "},
    {mmi_AutoTest_Audio_AuxiliaryMIC2_Headset_LoopBackTestEntry, "TKI_AUDIO_AUXILIARYMIC2_HEADSET_LOOPBACK", "8>4:vol=5 "},
    {mmi_AutoTest_Audio_Watch_TestEntry, "TKI_WATCH_AUDIO", "watch "},
    {mmi_AutoTest_Audio_HiFi_TestEntry, "TKI_AUDIO_HIFI", "hifi:vol=5 "},
};

TEST_F(AudioTest, every_path_of_the_pc) {
    std::string before;
    for (const Row &row : ROWS) {
        SCOPED_TRACE(row.domain);
        EXPECT_EQ(from_pc([&] { return row.entry("vol=5", 5); }), 1);
        EXPECT_EQ(asked(), before + row.asks); // the path before is stopped first
        ASSERT_NE(test_frame_current(), nullptr);
        EXPECT_STREQ(test_frame_current()->domain, row.domain);
        before = "stop ";
    }
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_KeyTestEntry(); }), 1); // another test takes its place
    EXPECT_EQ(asked(), "stop ");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_Audio_MIC_Headset_LoopBackTestEntry("vol=5", 0); }), 1);
    EXPECT_EQ(asked(), "1>4: ");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_Audio_LoopBackTest_Stop(); }), 1);
    EXPECT_EQ(asked(), "stop ");
    EXPECT_EQ(test_frame_current(), nullptr);
}

TEST_F(AudioTest, what_is_missing_fails_only_what_needs_it) {
    start_result = -1;
    for (const Row &row : ROWS) EXPECT_EQ(from_pc([&] { return row.entry("", 0); }), 0) << row.domain;
    EXPECT_EQ(test_frame_current(), nullptr);
    start_result = 0;
    lib_vxo_factory = dlopen("libm.so.6", RTLD_NOW);
    LogText log;
    for (const Row &row : ROWS) {
        const bool by_name = row.entry != mmi_AutoTest_Audio_HiFi_TestEntry;
        EXPECT_EQ(from_pc([&] { return row.entry("", 0); }), by_name ? 0 : 1) << row.domain;
    }
    EXPECT_NE(log.take().find("FATAL ERROR: could not dlsym lib_factory.so::tki_api_Audio_Loopback_Test_Start\n"),
              std::string::npos);
}

TEST_F(AudioTest, loopback_in_a_run_passes_after_its_delay) {
    run("[TKI_AUDIO_LOOPBACK]\nenable=1\n[TKI_RINGTONE]\nenable=1\n");
    EXPECT_EQ(asked(), "speaker ");
    EXPECT_TRUE(shows("info_LoopBackNote"));
    EXPECT_EQ(softkeys(), "||Result_fail");
    key(KEY_PASS);
    SendMessage(GetActiveWindow(), MSG_ACTIVE, 1, 0);
    EXPECT_EQ(softkeys(), "||Result_fail");
    EXPECT_EQ(asked(), "");
    SendMessage(GetActiveWindow(), MSG_ACTIVE, 5, 0);
    EXPECT_EQ(softkeys(), "Result_pass||Result_fail");
    key(KEY_PASS);
    EXPECT_EQ(asked(), "stop ring0 ");
    EXPECT_EQ(fake_flags::station(300), 1);
    ASSERT_TRUE(offered()); // the delay's own end
    key(KEY_PASS);
    EXPECT_EQ(asked(), "stop ");
    EXPECT_EQ(fake_flags::station(296), 1);
}

TEST_F(AudioTest, what_did_not_start_can_only_be_failed) {
    start_result = -1;
    run("[TKI_AUDIO_LOOPBACK]\nenable=1\nparameter=AuxiliaryMIC:0;TwoSpeaker:1;\n");
    EXPECT_EQ(asked(), "two ");
    EXPECT_TRUE(shows("info_NotFitted"));
    SendMessage(GetActiveWindow(), MSG_ACTIVE, 5, 0);
    key(KEY_PASS);
    ASSERT_NE(test_frame_current(), nullptr);
    SendMessage(GetActiveWindow(), MSG_QUIT_WITH_FAIL, 0, 0);
    EXPECT_EQ(fake_flags::station(300), 2);
    tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start = nullptr;
    start_result = 0;
    mmi_testwnd_AudioLoopBackTestEntry();
    settle();
    EXPECT_TRUE(shows("info_NotFitted"));
}

TEST_F(AudioTest, a_call_passes_when_both_its_paths_were_on_long_enough) {
    tki_api_Audio_ReceiverCall_Loopback_Test_Start = [] { return started("receiver"); };
    tki_api_Audio_ReceiverCall_Loopback_Test_Stop = [] { return calls += "stop ", 0; };
    run("[TKI_CALLTEST]\nenable=1\n");
    EXPECT_EQ(asked(), "receiver ");
    key(KEY_START);
    EXPECT_EQ(asked(), "") << "a path left too early would never count";
    EXPECT_EQ(softkeys(), "||Result_fail");
    ASSERT_TRUE(pump_until([] { return softkeys() == "|softkeybar_speaker|Result_fail"; }));
    key(KEY_START);
    EXPECT_EQ(asked(), "stop call ");
    EXPECT_EQ(softkeys(), "||Result_fail");
    ASSERT_TRUE(offered());
    key(KEY_PASS);
    EXPECT_EQ(asked(), "stop ");
    EXPECT_EQ(fake_flags::station(298), 1);
    start_result = -1; // what does not begin may be left at once
    mmi_testwnd_CallTestEntry();
    settle();
    EXPECT_EQ(softkeys(), "|softkeybar_speaker|Result_fail");
    tki_api_Audio_ReceiverCall_Loopback_Test_Start = tki_api_Audio_ReceiverCall_Loopback_Test_Stop = nullptr;
}

TEST_F(AudioTest, volume_keys) {
    mmi_testwnd_AudioLoopBackTestEntry();
    key(KEY_VOLUP);
    EXPECT_EQ(volume, 2);
    for (int wanted : {1, 0, 0}) {
        key(KEY_VOLDOWN);
        EXPECT_EQ(volume, wanted);
    }
    tki_api_Audio_GetVolume = nullptr; // without either the keys do nothing
    key(KEY_VOLUP);
    EXPECT_EQ(volume, 0);
}

TEST_F(AudioTest, the_pc_takes_the_sound_from_an_open_loopback) {
    mmi_testwnd_AudioLoopBackTestEntry();
    settle();
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_RingtoneTestEntry(1000); }), 1);
    EXPECT_EQ(asked(), "speaker stop ring1000 ");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CallTest_Start(); }), 1);
    EXPECT_EQ(asked(), "stop call ");
    EXPECT_EQ(from_pc([] { return mmi_AutoTest_CallTest_Stop(); }), 1);
    EXPECT_EQ(test_frame_current(), nullptr); // none could be passed for what the next one took away
}
} // namespace
