// Sound of a whole handset: what a microphone hears comes out where a PC routes it, and only there.
#include "scenario/handset.h"

#include "client/audio.h"

#include <filesystem>
#include <fstream>

namespace {
void wait_for_tone(const Handset &handset, const std::string &output, double hz, double dbfs) {
    handset.wait_until(std::to_string(hz) + " Hz at " + std::to_string(dbfs) + " dBFS from the " + output, [&] {
        const auto heard = vh::listen(handset.client(), output);
        return heard && std::abs(heard->hz - hz) < 2 && std::abs(heard->dbfs - dbfs) < 0.5;
    });
}
} // namespace

TEST(Sound, WhatAMicrophoneHearsComesOutWhereThePcRoutesIt) {
    Handset handset({.speed = 2});
    const vh::Client &client = handset.client();
    vh::set_microphone(client, "headset", vh::samples_from("tone:440:-10"));
    handset.wait_for_pc();
    ASSERT_EQ(handset.at("audioMoudle testItem HeadsetSpeaker vol=100").status, 0);
    wait_for_tone(handset, "speaker", 440, -10);
    EXPECT_FALSE(vh::listen(client, "receiver"));
    vh::set_microphone(client, "headset", vh::samples_from("tone:3000:-30")); // while it runs
    wait_for_tone(handset, "speaker", 3000, -30);

    const std::string wav = handset.client().paths().root + "/heard.wav";
    const vh::Samples recorded = vh::recorded(client, "speaker");
    vh::write_wav(wav, recorded);
    const vh::Samples again = vh::samples_from(wav);
    EXPECT_TRUE(again == recorded) << again.size() << " of " << recorded.size();
    vh::set_microphone(client, "headset", again);
    ASSERT_EQ(handset.at("audioMoudle testItem HeadsetReceiver vol=80").status, 0); // ends the first
    wait_for_tone(handset, "receiver", 440, -20);
    EXPECT_FALSE(vh::listen(client, "speaker"));
    vh::set_microphone(client, "headset", {});
    handset.wait_until("silence", [&] { return !vh::listen(client, "receiver"); });
    for (const char *bad : {"tone:19", "tone:1000:1", "tone:1000:-20x", "tone:", "/dev/null"})
        EXPECT_THROW(vh::samples_from(bad), vh::ClientError) << bad;
    EXPECT_THROW(vh::set_microphone(client, "speaker", {}), vh::ClientError);
}
