// What the sensor window shows: a line per sensor, a bubble level, a compass and a note, each a control of its own, so that
// only what looks different is painted again. GUI thread.
#pragma once

#include <tp_gui.h>

#include "testwnd/sensor_rules.h"

struct SensorScene {
    bool tested[TKI_SENSORS] = {};
    SensorLimits limits[TKI_SENSORS] = {};
    SensorRules rules;
    const char *note_key = "";
    int note_color = 19;
};

// Makes the controls for the sensors of the scene in the window, which owns them from now on.
void sensor_view_create(HWND window, const SensorScene &scene);
void sensor_view_show(HWND window, const SensorScene &scene);
