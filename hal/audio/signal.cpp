#include "audio/signal.h"

#include "audio/pcm.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace audio {

namespace {
constexpr double FULL_SCALE = 32767;
constexpr double DB_PER_STEP = 0.5;
constexpr int64_t frames_of(int ms) { return int64_t{RATE} * ms / 1000; }
double gain_of(double db) { return std::pow(10.0, db / 20); }
} // namespace

Tones::Tones(std::span<const VxoTone> tones, int db)
    : m_tones(tones.begin(), tones.end()), m_amplitude(FULL_SCALE * gain_of(db)), m_left(frames_of(m_tones.front().ms)) {}

void Tones::fill(std::span<int16_t> out) {
    for (int16_t &sample : out) {
        while (m_left <= 0) {
            m_now = (m_now + 1) % m_tones.size();
            m_left = frames_of(m_tones[m_now].ms);
        }
        --m_left;
        const int hz = m_tones[m_now].hz;
        m_phase = std::fmod(m_phase + 2 * std::numbers::pi * hz / RATE, 2 * std::numbers::pi);
        sample = hz == 0 ? int16_t{0} : static_cast<int16_t>(std::lround(m_amplitude * std::sin(m_phase)));
    }
}

Recorder::Recorder(int ms) : m_tape(static_cast<size_t>(frames_of(ms))) {}

void Recorder::pass(std::span<int16_t> samples) {
    for (int16_t &sample : samples) {
        if (m_recording) m_tape[m_at] = std::exchange(sample, int16_t{0});
        else sample = m_tape[m_at];
        if (++m_at < m_tape.size()) continue;
        m_at = 0;
        m_recording = !m_recording;
    }
}

void apply_volume(std::span<int16_t> samples, int volume) {
    const double gain = volume <= 0 ? 0 : gain_of(-DB_PER_STEP * (100 - std::min(volume, 100)));
    for (int16_t &sample : samples) sample = static_cast<int16_t>(std::lround(sample * gain));
}

} // namespace audio
