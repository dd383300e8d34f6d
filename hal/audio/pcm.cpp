#include "audio/pcm.h"

#include <algorithm>
#include <common/hal_log.h>
#include <poll.h>
#include <tp_clock.h>

namespace audio {

namespace {
constexpr unsigned LATENCY_US = 50000;
constexpr int64_t STILL_NS = NS_PER_S;     // one wait for a device
constexpr int64_t RETRY_NS = 1000000;      // a device that is ready without moving
constexpr int STILL_LIMIT = 5;             // waits in a row until it counts as broken
constexpr int RECOVERY_LIMIT = 5;
constexpr size_t DESCRIPTORS_MAX = 15;

const char *direction(snd_pcm_stream_t stream) { return stream == SND_PCM_STREAM_CAPTURE ? "microphone" : "output"; }
} // namespace

std::unique_ptr<Pcm> Pcm::open(const char *name, snd_pcm_stream_t stream) {
    snd_pcm_t *raw = nullptr;
    const int error = snd_pcm_open(&raw, name, stream, SND_PCM_NONBLOCK);
    if (error < 0) {
        HAL_LOG_E(TAG, "%s '%s' not fitted: %s; define pcm.%s in the ALSA configuration (/etc/asound.conf)", direction(stream),
                  name, snd_strerror(error), name);
        return nullptr;
    }
    std::unique_ptr<Pcm> pcm(new Pcm(name, raw, stream));
    return pcm->negotiate() ? std::move(pcm) : nullptr;
}

bool Pcm::negotiate() {
    int error = 0;
    for (m_channels = 1; m_channels <= 2; ++m_channels) {
        constexpr int RESAMPLE = 1;
        error = snd_pcm_set_params(m_pcm.get(), SND_PCM_FORMAT_S16, SND_PCM_ACCESS_RW_INTERLEAVED, m_channels, RATE, RESAMPLE,
                                   LATENCY_US);
        if (error == 0) break;
    }
    if (error < 0) {
        HAL_LOG_E(TAG, "%s '%s' takes neither mono nor stereo of 16 bits and %u Hz: %s; put a plug in front of it",
                  direction(m_stream), m_name.c_str(), RATE, snd_strerror(error));
        return false;
    }
    m_interleaved.resize(m_channels * PERIOD);
    return true;
}

// At most one period. What a capture device leaves untouched (a file that has ended) is silence.
snd_pcm_sframes_t Pcm::transfer(std::span<int16_t> mono) {
    mono = mono.first(std::min(mono.size(), PERIOD));
    const std::span frames(m_interleaved);
    if (m_stream == SND_PCM_STREAM_PLAYBACK) {
        for (size_t i = 0; i < mono.size() * m_channels; ++i) frames[i] = mono[i / m_channels];
        return snd_pcm_writei(m_pcm.get(), frames.data(), mono.size());
    }
    std::fill(frames.begin(), frames.end(), int16_t{0});
    const snd_pcm_sframes_t n = snd_pcm_readi(m_pcm.get(), frames.data(), mono.size());
    for (snd_pcm_sframes_t i = 0; i < n; ++i) mono[static_cast<size_t>(i)] = frames[static_cast<size_t>(i) * m_channels];
    return n;
}

bool Pcm::recover(int error) {
    constexpr int SILENT = 1;
    const int result = snd_pcm_recover(m_pcm.get(), error, SILENT);
    if (result == 0 && m_stream == SND_PCM_STREAM_CAPTURE) snd_pcm_start(m_pcm.get());
    if (result < 0) HAL_LOG_E(TAG, "%s '%s': %s", direction(m_stream), m_name.c_str(), snd_strerror(result));
    return result == 0;
}

void Pcm::wait(hal::Event &stop) {
    m_waited = true;
    pollfd fds[1 + DESCRIPTORS_MAX] = {{stop.fd(), POLLIN, 0}};
    const int count = snd_pcm_poll_descriptors(m_pcm.get(), fds + 1, DESCRIPTORS_MAX);
    const bool ready = tp_clock_poll(fds, 1 + static_cast<nfds_t>(std::max(count, 0)), STILL_NS) > 0;
    if (!ready || fds[0].revents || count <= 0) return;
    unsigned short events = 0;
    snd_pcm_poll_descriptors_revents(m_pcm.get(), fds + 1, static_cast<unsigned>(count), &events);
    if (!(events & (POLLIN | POLLOUT))) stop.wait(RETRY_NS);
}

Pcm::Moved Pcm::move(std::span<int16_t> mono, hal::Event &stop) {
    m_waited = false;
    int still = 0, recoveries = 0;
    while (!mono.empty()) {
        const snd_pcm_sframes_t n = transfer(mono);
        if (n > 0) {
            mono = mono.subspan(static_cast<size_t>(n));
            still = 0;
        } else if (n == 0 || n == -EAGAIN) {
            if (still++ == STILL_LIMIT) {
                HAL_LOG_E(TAG, "%s '%s' does not move", direction(m_stream), m_name.c_str());
                return Moved::failed;
            }
            wait(stop);
        } else if (recoveries++ == RECOVERY_LIMIT || !recover(static_cast<int>(n))) {
            return Moved::failed;
        }
        if (stop.wait(0)) return Moved::stopped;
    }
    return Moved::all;
}

} // namespace audio
