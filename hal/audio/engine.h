// lib_vxo_audio.so: carries sound from a microphone or a tone generator to one or two outputs, by the PCM names that the
// board's ALSA configuration defines. The factory library loads it at the first audio test, so that a start of the
// program does not pay for libasound.
#pragma once

#include <atomic>

struct VxoTone {
    int hz; // 0: a pause
    int ms;
};

struct VxoAudioTest {
    const char *microphone = nullptr;        // PCM name; null: the tones
    const char *outputs[2] = {};             // PCM names; the second may be null
    const VxoTone *tones = nullptr;          // played over and over
    int tone_count = 0;
    int tone_db = 0;                         // of full scale
    int record_ms = 0;                       // above 0: so long recorded, then played, over and over
    const std::atomic<int> *volume = nullptr; // 0 to 100, read while sound runs; outlives the library
};

extern "C" {
// Ends the test before and starts this one; nothing of it but volume is kept. 0 once all PCMs are open and sound runs,
// or -1 (logged). Calls take turns; any thread.
__attribute__((visibility("default"))) int vxo_audio_start(const VxoAudioTest *test) noexcept;
// Returns when no sound runs any more.
__attribute__((visibility("default"))) void vxo_audio_stop() noexcept;
}
using VxoAudioStart = decltype(&vxo_audio_start);
using VxoAudioStop = decltype(&vxo_audio_stop);
