// Numbers and names of the 400 stations. Internal to this folder.
#pragma once

#include "device/result_flags.h"

// Fills number and name of every row of a zeroed table.
void fill_station_table(StationRow (&rows)[STATION_COUNT]);
