// The headset socket: /sys/class/switch/h2w/state, 0 nothing, 1 headset with microphone, 2 headphones without.
#pragma once

#include <tki_factory.h>

namespace factory {
// Tells cb the present state and then every change, on a thread of its own. A socket that cannot be read is logged and
// tells nothing. False (logged) when no thread can be had.
bool headset_watch_start(tki_callback cb);
// Ends all watches. None calls back any more when this returns, but one that itself calls this.
void headset_watch_stop();
} // namespace factory
