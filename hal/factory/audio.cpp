// The audio tests: which microphone or which tones go to which outputs. The sound itself is lib_vxo_audio.so's.
#include <atomic>
#include <audio/engine.h>
#include <cmath>
#include <common/file.h>
#include <dlfcn.h>
#include <factory/api.h>
#include <factory/headset.h>
#include <mutex>
#include <optional>
#include <span>

namespace {
constexpr const char *LIBRARY = "lib_vxo_audio.so";
constexpr int VOLUME_AT_FIRST = 80, VOLUME_MAX = 100;
constexpr int TONE_DB = -6;
constexpr int FOR_EVER_MS = 1000; // a single tone follows itself without a seam
constexpr int HZ_MIN = 20, HZ_MAX = 20000;

// A pair of start and stop.
enum class Pair { none, acoustic, receiver_call, speaker_call, speaker, headset, auxiliary, wakeup, receiver, hifi, hifi_auto,
                  ring, watch, loopback, mic2earpiece, auxmic2earpiece };

std::mutex g_lock;
Pair g_running = Pair::none;
VxoAudioStart g_start = nullptr;
VxoAudioStop g_stop = nullptr;
std::atomic<int> g_volume{VOLUME_AT_FIRST};

bool load_locked() {
    if (g_start && g_stop) return true;
    void *handle = dlopen(LIBRARY, RTLD_NOW);
    if (!handle) {
        HAL_LOG_E(FACTORY_TAG, "sound not fitted: %s; put %s next to lib_factory.so, and libasound", dlerror(), LIBRARY);
        return false;
    }
    g_start = reinterpret_cast<VxoAudioStart>(dlsym(handle, "vxo_audio_start"));
    g_stop = reinterpret_cast<VxoAudioStop>(dlsym(handle, "vxo_audio_stop"));
    if (g_start && g_stop) return true;
    HAL_LOG_E(FACTORY_TAG, "%s is not the one that belongs to this library", LIBRARY);
    return false;
}

void end_locked() {
    if (g_running != Pair::none) g_stop();
    g_running = Pair::none;
}

int start(Pair pair, VxoAudioTest test) {
    factory::headset_watch_stop();
    const std::lock_guard guard(g_lock);
    end_locked();
    test.volume = &g_volume;
    if (!load_locked() || g_start(&test) != 0) return -1;
    g_running = pair;
    return 0;
}

int stop(Pair pair) {
    if (pair == Pair::loopback) factory::headset_watch_stop();
    const std::lock_guard guard(g_lock);
    if (g_running == pair) end_locked();
    return 0;
}

int end_before_refusal() {
    factory::headset_watch_stop();
    const std::lock_guard guard(g_lock);
    end_locked();
    return -1;
}

int start_tones(Pair pair, const char *output, std::span<const VxoTone> tones, int db = TONE_DB) {
    VxoAudioTest test;
    test.outputs[0] = output;
    test.tones = tones.data();
    test.tone_count = static_cast<int>(tones.size());
    test.tone_db = db;
    return start(pair, test);
}

int start_tone(Pair pair, const char *output, int hz, int db = TONE_DB) {
    const VxoTone tone[] = {{hz, FOR_EVER_MS}};
    return start_tones(pair, output, tone, db);
}

#define MIC_MAIN "tki_mic_main"
#define MIC_HEADSET "tki_mic_headset"
#define MIC_AUX1 "tki_mic_aux1"
#define MIC_AUX2 "tki_mic_aux2"
#define OUT_RECEIVER "tki_out_receiver"
#define OUT_SPEAKER "tki_out_speaker"
#define OUT_HEADSET "tki_out_headset"
#define OUT_SPEAKER_UPPER "tki_out_speaker_upper"

struct Place {
    int code;
    const char *pcm;
};
constexpr Place MICROPHONES[] = {
    {TKI_MIC_MAIN, MIC_MAIN}, {TKI_MIC_HEADSET, MIC_HEADSET}, {TKI_MIC_AUX1, MIC_AUX1}, {TKI_MIC_AUX2, MIC_AUX2}};
constexpr Place OUTPUTS[] = {{TKI_OUT_RECEIVER, OUT_RECEIVER}, {TKI_OUT_SPEAKER, OUT_SPEAKER}, {TKI_OUT_HEADSET, OUT_HEADSET},
                             {TKI_OUT_SPEAKER_UPPER, OUT_SPEAKER_UPPER}};

const char *pcm_of(std::span<const Place> places, int code) {
    for (const Place &place : places)
        if (place.code == code) return place.pcm;
    return nullptr;
}

constexpr VxoTone HIFI_STEPS[] = {{20, 500},   {50, 500},   {100, 500},  {200, 500},   {500, 500},
                                  {1000, 500}, {2000, 500}, {5000, 500}, {10000, 500}, {16000, 500}};

struct Tone {
    int hz, db;
};
// "HZ" or "HZ,DB"; nothing for any other text.
std::optional<Tone> parse_tone(std::string_view text) {
    const size_t comma = text.find(',');
    const auto hz = hal::parse_int(text.substr(0, comma));
    const auto db = comma == text.npos ? std::optional(TONE_DB) : hal::parse_int(text.substr(comma + 1));
    if (!hz || *hz < HZ_MIN || *hz > HZ_MAX || !db || *db < -60 || *db > 0) return std::nullopt;
    return Tone{*hz, *db};
}

int set_volume(std::optional<int> volume) {
    if (!volume || *volume < 0 || *volume > VOLUME_MAX) {
        HAL_LOG_E(FACTORY_TAG, "a volume is 0 to %d; %d stays", VOLUME_MAX, g_volume.load());
        return -1;
    }
    g_volume = *volume;
    return 0;
}

int take_loopback_parameter(std::string_view text) {
    constexpr std::string_view VOLUME = "vol=";
    if (text.starts_with(VOLUME)) return set_volume(hal::parse_int(text.substr(VOLUME.size())));
    if (!text.empty()) HAL_LOG_E(FACTORY_TAG, "'%.*s' changes nothing; known is vol=0 to vol=100", static_cast<int>(text.size()), text.data());
    return 0;
}

std::string_view parameter_text(const char *parameter) { return hal::trim_end(parameter ? parameter : ""); }
} // namespace

#define TKI_STOP(function, pair)                                                                             \
    TKI_API(int) function() noexcept { return stop(pair); }
#define TKI_ROUTE(function, pair, ...)                                                                       \
    TKI_API(int) function() noexcept { return start(pair, {__VA_ARGS__}); }

TKI_ROUTE(tki_api_Audio_Acoustic_Loopback_Test_Start, Pair::acoustic, MIC_MAIN, {OUT_RECEIVER})
TKI_STOP(tki_api_Audio_Acoustic_Loopback_Test_Stop, Pair::acoustic)
TKI_ROUTE(tki_api_Audio_ReceiverCall_Loopback_Test_Start, Pair::receiver_call, MIC_MAIN, {OUT_RECEIVER})
TKI_STOP(tki_api_Audio_ReceiverCall_Loopback_Test_Stop, Pair::receiver_call)
TKI_ROUTE(tki_api_Audio_SpeakerCall_Loopback_Test_Start, Pair::speaker_call, MIC_MAIN, {OUT_SPEAKER})
TKI_STOP(tki_api_Audio_SpeakerCall_Loopback_Test_Stop, Pair::speaker_call)
TKI_ROUTE(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Start, Pair::speaker, MIC_MAIN, {OUT_SPEAKER})
TKI_ROUTE(tki_api_Audio_Acoustic_Loopback_Two_Speaker_Test_Start, Pair::speaker, MIC_MAIN, {OUT_SPEAKER, OUT_SPEAKER_UPPER})
TKI_STOP(tki_api_Audio_Acoustic_Loopback_Speaker_Test_Stop, Pair::speaker)
TKI_ROUTE(tki_api_Audio_Acoustic_Loopback_Headset_Test_Start, Pair::headset, MIC_HEADSET, {OUT_HEADSET})
TKI_STOP(tki_api_Audio_Acoustic_Loopback_Headset_Test_Stop, Pair::headset)
TKI_ROUTE(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Start, Pair::auxiliary, MIC_AUX1, {OUT_RECEIVER})
TKI_STOP(tki_api_Audio_Acoustic_Loopback_Auxiliary_MIC_Test_Stop, Pair::auxiliary)
TKI_ROUTE(tki_api_Audio_wakeupMic_on_Start, Pair::wakeup, MIC_AUX2, {OUT_RECEIVER})
TKI_STOP(tki_api_Audio_wakeupMic_Stop, Pair::wakeup)
TKI_ROUTE(tki_api_Audio_Watch_Mmi_Test_Start, Pair::watch, .microphone = MIC_MAIN, .outputs = {OUT_SPEAKER}, .record_ms = 3000)
TKI_STOP(tki_api_Audio_Watch_Mmi_Test_Stop, Pair::watch)
TKI_STOP(tki_api_Audio_Receiver_Stop, Pair::receiver)
TKI_STOP(tki_api_Audio_HiFiTest_Stop, Pair::hifi)
TKI_STOP(tki_api_Audio_HiFiTest_auto_Stop, Pair::hifi_auto)
TKI_STOP(tki_api_Audio_RingTest_Stop, Pair::ring)
TKI_STOP(tki_api_Audio_Loopback_Test_Stop, Pair::loopback)

TKI_API(int) tki_api_mic2earpiece_start(int) noexcept { return start(Pair::mic2earpiece, {MIC_MAIN, {OUT_RECEIVER}}); }
TKI_STOP(tki_api_mic2earpiece_stop, Pair::mic2earpiece)
TKI_API(int) tki_api_auxmic2earpiece_start(int) noexcept { return start(Pair::auxmic2earpiece, {MIC_AUX1, {OUT_RECEIVER}}); }
TKI_STOP(tki_api_auxmic2earpiece_stop, Pair::auxmic2earpiece)

TKI_API(int) tki_api_Audio_Receiver_Start() noexcept { return start_tone(Pair::receiver, OUT_RECEIVER, 1000); }

TKI_API(int) tki_api_Audio_HiFiTest_Start() noexcept { return start_tones(Pair::hifi, OUT_HEADSET, HIFI_STEPS); }

TKI_API(int) tki_api_Audio_HiFiTest_auto_Start(const char *parameter) noexcept {
    const std::string_view text = parameter_text(parameter);
    if (text.empty()) return start_tones(Pair::hifi_auto, OUT_HEADSET, HIFI_STEPS);
    if (const auto tone = parse_tone(text)) return start_tone(Pair::hifi_auto, OUT_HEADSET, tone->hz, tone->db);
    HAL_LOG_E(FACTORY_TAG, "'%.*s' is not HZ or HZ,DB, e.g. 1000,-6 (%d to %d Hz, -60 to 0 dB)", static_cast<int>(text.size()),
              text.data(), HZ_MIN, HZ_MAX);
    return end_before_refusal();
}

TKI_API(int) tki_api_Audio_RingTest_Start(int tone) noexcept {
    if (tone >= HZ_MIN && tone <= HZ_MAX) return start_tone(Pair::ring, OUT_SPEAKER, tone);
    if (tone < 0 || tone > HZ_MAX) {
        HAL_LOG_E(FACTORY_TAG, "no ring tone %d: 0 to %d, or a frequency to %d", tone, HZ_MIN - 1, HZ_MAX);
        return end_before_refusal();
    }
    VxoTone melody[] = {{523, 250}, {659, 250}, {784, 250}, {1047, 500}, {0, 250}};
    for (VxoTone &note : melody) note.hz = static_cast<int>(std::lround(note.hz * std::pow(2.0, tone / 12.0)));
    return start_tones(Pair::ring, OUT_SPEAKER, melody);
}

TKI_API(int) tki_api_Audio_Loopback_Test_Start(int microphone, int output, const char *parameter, tki_callback cb) noexcept {
    const char *from = pcm_of(MICROPHONES, microphone), *to = pcm_of(OUTPUTS, output);
    if (!from || !to) {
        HAL_LOG_E(FACTORY_TAG, "no microphone %d (1, 2, 4, 8) or no output %d (1, 2, 4, 160)", microphone, output);
        return end_before_refusal();
    }
    if (take_loopback_parameter(parameter_text(parameter)) != 0) return end_before_refusal();
    if (start(Pair::loopback, {from, {to}}) != 0) return -1;
    if (!cb || factory::headset_watch_start(cb)) return 0;
    return end_before_refusal();
}

TKI_API(int) tki_api_Audio_SetVolume(int, int, int volume) noexcept { return set_volume(volume); }

TKI_API(int) tki_api_Audio_GetVolume(int, int) noexcept { return g_volume; }
