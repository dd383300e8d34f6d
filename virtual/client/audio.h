// What the handset's microphones hear and what comes out of it. Samples: 16 bit, mono, 48 kHz; levels: a full-scale sine is
// 0 dBFS. Failures are thrown as ClientError.
#pragma once

#include <optional>

#include "client/client.h"

namespace vh {

using Samples = std::vector<int16_t>;
constexpr int SAMPLE_RATE = 48000;

// "main", "headset", "aux1", "aux2"; "receiver", "speaker", "headset", "speaker_upper". Others are refused by the functions below.
std::string microphone_names();
std::string output_names();

// What a microphone hears from now on, over and over; nothing: silence.
void set_microphone(const Client &handset, const std::string &microphone, const Samples &samples);
// A WAV file (16 bit, 48 kHz, mono or the left of stereo), or "tone:HZ" or "tone:HZ:DBFS" (-6), or "silence".
Samples samples_from(const std::string &source);
// What came out in the last use of an output, its last minutes.
Samples recorded(const Client &handset, const std::string &output);
void write_wav(const std::string &file, const Samples &samples);

struct Heard {
    double dbfs = 0;
    double hz = 0; // the strongest
};
// Listens to what comes out now, about half a second of the handset's time. Nothing: silence, or nothing plays.
std::optional<Heard> listen(const Client &handset, const std::string &output);
std::optional<Heard> measure(const Samples &samples); // at least 16384

} // namespace vh
