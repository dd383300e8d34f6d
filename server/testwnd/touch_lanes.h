// Where the lanes and cells of the touch panel test lie: four wide lanes that form a pinwheel along the edges of the screen,
// each cut into cells across its length. Nothing here draws.
#pragma once

#include <tp_gui.h>

struct TouchLanes {
    RECT lanes[4];    // left (downwards), bottom (to the right), top (to the right), right (downwards); pixels
    int cellWidth;    // the lanes' thickness
    int cellHeight;   // a cell's length along its lane
    int cellCount[4]; // cells of each lane
    int totalCount;   // cells of all
};

// For a screen in pixels. A cell length of 0 is computed from the width; so is one that a lane, a third of the screen thick,
// cannot hold. The outer ends lie up to half a cell and a pixel off the screen's edges, inside or outside.
TouchLanes touch_lanes(int width, int height, int cell_length);
// The cell at a point, 0 to totalCount - 1; -1 outside the lanes and on their borders.
int touch_cell_at(const TouchLanes &lanes, int x, int y);
RECT touch_cell_rect(const TouchLanes &lanes, int cell);
