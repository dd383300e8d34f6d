#include "audio/engine.h"

#include "audio/pcm.h"
#include "audio/signal.h"

#include <array>
#include <cstdarg>
#include <common/hal_log.h>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <tp_clock.h>

namespace audio {
namespace {
// A PCM without a clock of its own (a file) gives and takes as fast as it is asked: then the clock door keeps the time.
class Pace {
public:
    // Behind each period. device_waited: a device kept the time. False when stop is set.
    bool period_done(bool device_waited, hal::Event &stop) {
        m_frames += PERIOD;
        const int64_t now = tp_clock_mono_ns();
        const int64_t ahead = m_frames * NS_PER_S / RATE - (now - m_begin);
        if (device_waited || ahead < -BEHIND_NS) { // behind: the handset slept, or is busy; what is lost is lost
            m_begin = now;
            m_frames = 0;
        }
        if (device_waited || ahead <= LEAD_NS) return true;
        return !stop.wait(ahead - LEAD_NS / 2);
    }

private:
    static constexpr int64_t BEHIND_NS = NS_PER_S / 5;
    static constexpr int64_t LEAD_NS = NS_PER_S / 25; // room for the jitter of a device with a clock
    int64_t m_begin = tp_clock_mono_ns();
    int64_t m_frames = 0;
};

class Engine {
public:
    // Null after one log line.
    static std::unique_ptr<Engine> start(const VxoAudioTest &test);
    ~Engine() {
        m_stop.set();
        if (m_thread.joinable()) m_thread.join();
    }

private:
    using Period = std::array<int16_t, PERIOD>;
    explicit Engine(const VxoAudioTest &test) : m_volume(*test.volume) {}
    bool open(const VxoAudioTest &test);
    void run();
    bool carry(Period &period);
    bool play(Period &period);

    const std::atomic<int> &m_volume;
    hal::Event m_stop;
    std::unique_ptr<Pcm> m_microphone;
    std::optional<Tones> m_tones;
    std::optional<Recorder> m_recorder;
    std::vector<std::unique_ptr<Pcm>> m_outputs;
    bool m_device_waited = false;
    std::thread m_thread; // talks to nobody, so joining it waits for nobody
};

bool Engine::open(const VxoAudioTest &test) {
    if (!m_stop.valid()) {
        HAL_LOG_E(TAG, "no descriptor left");
        return false;
    }
    if (test.microphone && !(m_microphone = Pcm::open(test.microphone, SND_PCM_STREAM_CAPTURE))) return false;
    if (!test.microphone) m_tones.emplace(std::span(test.tones, static_cast<size_t>(test.tone_count)), test.tone_db);
    if (test.record_ms > 0) m_recorder.emplace(test.record_ms);
    for (const char *name : test.outputs) {
        if (!name) continue;
        m_outputs.push_back(Pcm::open(name, SND_PCM_STREAM_PLAYBACK));
        if (!m_outputs.back()) return false;
    }
    return true;
}

std::unique_ptr<Engine> Engine::start(const VxoAudioTest &test) {
    std::unique_ptr<Engine> engine(new Engine(test));
    // Silence ahead of what a microphone's jitter may eat up; an output that takes none is not fitted.
    Period silence{};
    if (!engine->open(test) || !engine->play(silence) || !engine->play(silence)) return nullptr;
    try {
        engine->m_thread = std::thread([raw = engine.get()] { raw->run(); });
    } catch (const std::system_error &error) {
        HAL_LOG_E(TAG, "thread: %s", error.what());
        return nullptr;
    }
    return engine;
}

bool Engine::play(Period &period) {
    for (const auto &output : m_outputs) {
        if (output->move(period, m_stop) != Pcm::Moved::all) return false;
        m_device_waited |= output->waited();
    }
    return true;
}

bool Engine::carry(Period &period) {
    m_device_waited = false;
    if (m_tones) {
        m_tones->fill(period);
    } else {
        if (m_microphone->move(period, m_stop) != Pcm::Moved::all) return false;
        m_device_waited = m_microphone->waited();
    }
    if (m_recorder) m_recorder->pass(period);
    apply_volume(period, m_volume);
    return play(period);
}

void Engine::run() {
    Period period{};
    Pace pace;
    while (carry(period) && pace.period_done(m_device_waited, m_stop)) {}
    for (const auto &output : m_outputs) output->drop();
}

void log_library_error(const char *, int, const char *function, int, const char *format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    __android_log_print(ANDROID_LOG_ERROR, TAG, "%s %s", function, text);
}

std::mutex g_lock;
std::unique_ptr<Engine> g_engine;
} // namespace
} // namespace audio

int vxo_audio_start(const VxoAudioTest *test) noexcept {
    const std::lock_guard guard(audio::g_lock);
    audio::g_engine.reset();
    snd_lib_error_set_handler(audio::log_library_error);
    audio::g_engine = audio::Engine::start(*test);
    return audio::g_engine ? 0 : -1;
}

void vxo_audio_stop() noexcept {
    const std::lock_guard guard(audio::g_lock);
    audio::g_engine.reset();
}
