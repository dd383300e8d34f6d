// Sound on a whole handset: what the microphones hear comes out where the test sends it, and what does not sound never passes.
#include <cmath>

#include "client/audio.h"
#include "scenario/runs.h"

namespace {
constexpr int LOOPBACK = 300, RING = 296, CALL = 298;

std::vector<Setting> sound_items() {
    return runs::settings({{"TKI_LCD", "enable", "0"},
                           {"TKI_VIBRATOR", "enable", "0"},
                           {"TKI_KEYS", "enable", "0"},
                           {"TKI_AUDIO_LOOPBACK", "enable", "1"},
                           {"TKI_RINGTONE", "enable", "1"},
                           {"TKI_CALLTEST", "enable", "1"}});
}
// What comes out as "output hz"; nothing when it is silent there.
int hz(const Handset &handset, const std::string &output) {
    const auto heard = vh::listen(handset.client(), output);
    return heard ? static_cast<int>(std::lround(heard->hz)) : 0;
}
void hear(const Handset &handset, const std::string &microphone, const std::string &sound) {
    vh::set_microphone(handset.client(), microphone, vh::samples_from(sound));
}
void wait_for_pass(const Handset &handset, const std::string &text) {
    handset.wait_for(text + ", which may be passed",
                     [&](const vh::ScreenView &view) { return view.front_shows(text) && view.soft_keys()[0] == "Pass"; });
}
} // namespace

TEST(Audio, ARunIsPassedByEarAndNotBefore) {
    Handset handset({.settings = sound_items()});
    hear(handset, "main", "tone:1000:-20");
    runs::begin_run(handset);
    handset.wait_for_text("Speak: do you hear your voice?");
    handset.press("pass"); // at once: nobody has listened
    EXPECT_EQ(handset.screen().soft_keys()[0], "");
    const auto before = vh::listen(handset.client(), "speaker");
    ASSERT_TRUE(before);
    EXPECT_NEAR(before->hz, 1000, 20);
    for (int i = 0; i < 4; ++i) handset.press("volumeup"); // half a decibel each
    const auto louder = vh::listen(handset.client(), "speaker");
    ASSERT_TRUE(louder);
    EXPECT_NEAR(louder->dbfs - before->dbfs, 2, 0.5);
    EXPECT_EQ(runs::stations(handset), runs::Stations{});
    wait_for_pass(handset, "Speak: do you hear your voice?");
    handset.press("pass");

    wait_for_pass(handset, "Do you hear the ring tone?");
    EXPECT_EQ(handset.station(LOOPBACK), Verdict::pass);
    EXPECT_TRUE(vh::listen(handset.client(), "speaker"));
    handset.press("pass");

    handset.wait_for_text("Speak: do you hear it in the receiver? Then press Speaker.");
    EXPECT_EQ(handset.station(RING), Verdict::pass);
    EXPECT_NEAR(hz(handset, "receiver"), 1000, 20);
    EXPECT_EQ(hz(handset, "speaker"), 0);
    handset.wait_ms(3500);
    EXPECT_EQ(handset.screen().soft_keys()[0], "") << "only one of two was heard";
    runs::tap_softkey(handset, 1);
    handset.wait_for_text("Speak: do you hear it from the speaker?");
    EXPECT_NEAR(hz(handset, "speaker"), 1000, 20);
    EXPECT_EQ(hz(handset, "receiver"), 0);
    wait_for_pass(handset, "Speak: do you hear it from the speaker?");
    handset.press("pass");
    runs::wait_for_list(handset);
    EXPECT_EQ(hz(handset, "speaker"), 0);
    EXPECT_EQ(runs::stations(handset), (runs::Stations{{LOOPBACK, Verdict::pass},
                                                       {RING, Verdict::pass},
                                                       {CALL, Verdict::pass},
                                                       {runs::OVERALL, Verdict::pass}}));
}

TEST(Audio, EveryCommandSendsItsMicrophoneToItsOutput) {
    Handset handset;
    const std::map<std::string, int> tones{{"main", 500}, {"headset", 800}, {"aux1", 1300}, {"aux2", 2100}};
    for (const auto &[microphone, tone] : tones) hear(handset, microphone, "tone:" + std::to_string(tone));
    struct Row {
        const char *start, *output;
        int hz;
        const char *stop = "audioMoudle testItem close";
    };
    const Row rows[] = {{"audioMoudle testItem HeadsetHeadset", "headset", 800},
                        {"audioMoudle testItem HeadsetSpeaker", "speaker", 800},
                        {"audioMoudle testItem HeadsetReceiver", "receiver", 800},
                        {"audioMoudle testItem HeadsetRecSpeaker", "speaker_upper", 800},
                        {"audioMoudle testItem MicroHeadset", "headset", 500},
                        {"audioMoudle testItem AuxiliaryMicroHeadset1 vol=90", "headset", 1300},
                        {"audioMoudle testItem AuxiliaryMicroHeadset2", "headset", 2100},
                        {"audioMoudle testItem HiFi 3000", "headset", 3000, "hifiaudioMoudle testItem close"},
                        {"audioRingMoudle testItem open 440", "speaker", 440, "audioRingMoudle testItem close"},
                        {"RingPCBA testItem start", "speaker", 1000, "RingPCBA testItem stop"},
                        {"callTestMoudle testItem open speaker", "speaker", 500, "callTestMoudle testItem close"},
                        {"Mic2Earpiece testItem start", "receiver", 500, "Mic2Earpiece testItem stop"},
                        {"AuxMic2Earpiece testItem start", "receiver", 1300, "AuxMic2Earpiece testItem stop"}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.start);
        EXPECT_EQ(handset.at(row.start).status, 0);
        EXPECT_NEAR(hz(handset, row.output), row.hz, 20);
        EXPECT_EQ(handset.at(row.stop).status, 0);
        EXPECT_EQ(hz(handset, row.output), 0);
    }
    for (const char *word : {"Speaker", "Micro", "SpeakerMic"}) {
        EXPECT_EQ(handset.at(std::string("audioMoudle testItem ") + word).status, 0) << word;
        handset.wait_for_text("The PC is testing");
    }
    handset.wait_until("what was recorded", [&] { return std::abs(hz(handset, "speaker") - 500) < 20; });
    EXPECT_EQ(handset.at("audioMoudle testItem close").status, 0);
    handset.wait_for_text("Device tests");
}

TEST(Audio, TheHeadsetSocketAndMissingParts) {
    Handset handset({.settings = sound_items()});
    EXPECT_EQ(handset.at("audioMoudle testItem AuxiliaryMicroHeadset2").status, 0);
    for (const auto &[plug, text] : {std::pair{"headset", "Headset inserted"}, {"headphones", "No microphone"}, {"none", "Insert a headset"}}) {
        EXPECT_EQ(handset.tool({"headset", plug}).status, 0);
        handset.wait_for_text(text);
    }
    ASSERT_EQ(handset.shell("mount -t tmpfs -o ro none /dev/sound").status, 0); // no device is left
    EXPECT_EQ(handset.at("audioMoudle testItem MicroHeadset").status, 2);
    handset.wait_for_text("Device tests"); // and what ran before has ended
    runs::begin_run(handset);
    handset.wait_for_text("Not fitted");
    handset.wait_ms(3500);
    handset.press("pass");
    EXPECT_EQ(runs::stations(handset), runs::Stations{});
    handset.press("fail");
    runs::wait_for_list(handset);
    EXPECT_EQ(handset.station(LOOPBACK), Verdict::fail);
}
