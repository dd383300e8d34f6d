// The result flag area in memory, behind the factory slots.
#pragma once

#include <cstdint>
#include <cstring>

#include "device/factory_slots.h"
#include "device/result_flags.h"

namespace fake_flags {
inline uint8_t area[TKI_FLAG_AREA];

inline void install() {
    memset(area, 0, sizeof area);
    tki_api_GetTestInfoFlag = [](uint8_t *out) {
        memcpy(out, area, sizeof area);
        return 0;
    };
    tki_api_WriteFuncTestInfoFlags = [](int index, uint8_t value) {
        area[index] = value;
        return 0;
    };
}
inline void set(int station, int value) { SetSignInOneByte(&area[station / 4], station % 4, value); }
inline int station(int index) { return GetSign(area, index); }
} // namespace fake_flags
