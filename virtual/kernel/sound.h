// The sound devices: files that the handset's ALSA configuration (virtual/rootfs/system/etc/asound.conf) names as PCMs,
// 16 bit, mono, 48 kHz. A microphone gives the samples of its file in the state folder over and over, silence without one;
// an output keeps what was played since it was last opened.
#pragma once

#include "common/fd.h"

#include <string>
#include <string_view>
#include <sys/types.h>

namespace vh {

constexpr const char *MICROPHONES[] = {"mic_main", "mic_headset", "mic_aux1", "mic_aux2"};
constexpr const char *OUTPUTS[] = {"out_receiver", "out_speaker", "out_headset", "out_speaker_upper"};
constexpr const char *SOUND_FOLDER = "/dev/sound/"; // of the attribute file system

// Fills the buffer with what a microphone hears from offset on. The file may be replaced at any time.
void hear(const std::string &file, char *buffer, size_t size, off_t offset);
// Keeps what an output plays; what is older than SOUND_KEPT is given back to the disk. 0 or a negative errno.
constexpr off_t SOUND_KEPT = 64 << 20;
int keep_played(int fd, std::string_view bytes, off_t offset);

} // namespace vh
