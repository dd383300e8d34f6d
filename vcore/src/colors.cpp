// The system colour table. Light texts (7, 8, 10, 12, 15, 19) stand on dark grounds (16, 17, 18, 21, 22); the
// ground 18 is dark enough that even pure blue keeps twice its brightness.
#include "dc.h"

#include <algorithm>
#include <iterator>

gal_pixel SysPixelIndex[SYS_COLOR_COUNT] = {
    0x010101, // 0 unset
    0x00007F, // 1 dark blue
    0x007F00, // 2 dark green
    0x007F7F, // 3 dark cyan
    0x7F0000, // 4 dark red
    0x7F007F, // 5 dark magenta
    0x7F7F00, // 6 dark yellow
    0x808891, // 7 dark grey, still readable on 18
    0xC3C8CE, // 8 light grey
    0x0000FF, // 9 blue
    0x00FF00, // 10 green: pass
    0x00FFFF, // 11 cyan
    0xFF0000, // 12 red: fail and warning
    0xFF00FF, // 13 magenta
    0xFFFF00, // 14 yellow
    0xFFFFFF, // 15 white
    0x000000, // 16 black
    0x1B4468, // 17 highlighted row
    0x0D1014, // 18 normal row and window background
    0xE9ECEF, // 19 normal text
    0x2B323B, // 20 row separator
    0x1C232C, // 21 ground of dialogs' controls
    0x1D63B8, // 22 highlight and pressed
    0xF2A33A, // 23 amber
    0x39B26B, // 24 calm green
    0xD9534F, // 25 calm red
    0x4FA3E3, // 26 sky blue
    0x8E6FD1, // 27 violet
    0x5A636E, // 28 disabled text
    0x14191F, // 29 bars
    0x6B7785, // 30 scroll indicator
    0xB9E3F5, // 31 pale blue
};

int color_index_of(gal_pixel pixel) {
    const auto *found = std::find(std::begin(SysPixelIndex), std::end(SysPixelIndex), pixel & 0xFFFFFF);
    return found == std::end(SysPixelIndex) ? -1 : static_cast<int>(found - std::begin(SysPixelIndex));
}
