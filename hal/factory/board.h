// What the board tests measure; board.cpp runs them.
#pragma once

#include <common/event.h>
#include <string_view>
#include <tki_hardware.h>

namespace factory {
tki_pcba_number measure_cpu(hal::Event &stop, int cores, int min_khz, int seconds);
tki_pcba_number measure_memory(int64_t min_mib, int64_t max_mib);
tki_pcba_number measure_storage();
tki_pcba_number measure_sdcard();
tki_pcba_value measure_sim(int slots);
tki_pcba_value measure_bluetooth();
tki_pcba_value measure_wifi();
tki_pcba_value measure_gps(hal::Event &stop);
tki_pcba_value measure_touch();
tki_pcba_text measure_battery();
tki_pcba_value measure_fm(hal::Event &stop, std::string_view channel);
} // namespace factory
