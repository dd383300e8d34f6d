// One end of a sound path: a PCM that is opened by name, never blocks for ever and is asked for mono.
#pragma once

#include <alsa/asoundlib.h>
#include <common/event.h>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace audio {

constexpr const char *TAG = "AUDIO";
constexpr unsigned RATE = 48000;
constexpr size_t PERIOD = RATE / 100; // frames that are carried at once
constexpr int64_t NS_PER_S = 1000000000;

class Pcm {
public:
    // Null after one log line.
    static std::unique_ptr<Pcm> open(const char *name, snd_pcm_stream_t stream);

    enum class Moved { all, stopped, failed };
    // Captures or plays all frames. Gives up when stop is set or the device does not move; the reason is logged.
    Moved move(std::span<int16_t> mono, hal::Event &stop);
    // Whether the last move had to wait: then the device keeps the time.
    bool waited() const { return m_waited; }
    // Forgets what has not been played yet.
    void drop() { snd_pcm_drop(m_pcm.get()); }

private:
    struct Close {
        void operator()(snd_pcm_t *pcm) const { snd_pcm_close(pcm); }
    };
    Pcm(const char *name, snd_pcm_t *pcm, snd_pcm_stream_t stream) : m_name(name), m_stream(stream), m_pcm(pcm) {}
    bool negotiate();
    snd_pcm_sframes_t transfer(std::span<int16_t> mono);
    bool recover(int error);
    void wait(hal::Event &stop);

    const std::string m_name;
    const snd_pcm_stream_t m_stream;
    std::unique_ptr<snd_pcm_t, Close> m_pcm;
    unsigned m_channels = 1;
    std::vector<int16_t> m_interleaved; // of a device that takes only stereo
    bool m_waited = false;
};

} // namespace audio
