// What happens to the samples between microphone and output.
#pragma once

#include "audio/engine.h"

#include <cstdint>
#include <span>
#include <vector>

namespace audio {

// Plays tones one after another, over and over.
class Tones {
public:
    Tones(std::span<const VxoTone> tones, int db);
    void fill(std::span<int16_t> out);

private:
    const std::vector<VxoTone> m_tones;
    const double m_amplitude;
    size_t m_now = 0;
    int64_t m_left = 0; // frames
    double m_phase = 0; // runs through all tones, so that a change does not click
};

// Records for a while and hands out silence, then hands out what it has recorded, over and over.
class Recorder {
public:
    explicit Recorder(int ms);
    void pass(std::span<int16_t> samples);

private:
    std::vector<int16_t> m_tape;
    size_t m_at = 0;
    bool m_recording = true;
};

// 0: silence; half a decibel per step below 100.
void apply_volume(std::span<int16_t> samples, int volume);

} // namespace audio
