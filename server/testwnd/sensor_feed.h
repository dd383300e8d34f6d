// The library's samples, shared by the sensor window and the PC's readers: the first who opens starts them, the last who
// closes ends them. Samples are judged as they come, on the library's thread; windows look at a copy. Any thread, except a
// callback of the library.
#pragma once

#include "testwnd/sensor_rules.h"

bool sensor_feed_open();  // false: the library does not start, nothing to close
int sensor_feed_close();  // 0, or -1 when the library did not stop

// Forgets what the rules saw. From now on changed is called, on the library's thread, for everything that comes.
void sensor_feed_begin(const SensorLimits (&limits)[TKI_SENSORS], void (*changed)());
SensorRules sensor_feed_rules(); // as they stand

// The next sample of one sensor. False when it gives no answer, at once when that is known, else after a second.
bool sensor_feed_next(int sensor, tki_sensor_event *out);
