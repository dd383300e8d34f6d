// The evidence of an aging run, "agingtrend.csv" in the aging log directory: a line every 10 s, the last 10 days at most.
//
//   time,phase,level,voltage_mV,current_mA,temperature_C10,cpu0,cpu1,...
//   1795420800,suspend,81,4012,-210,312,4.0,3.5
//
// time: seconds since 1970; level and cpuN (load of a core since the line before) in percent; temperature in tenths of a
// degree Celsius. Lines are whole and durable; a reader leaves out what it does not understand, such as a line that a power
// cut tore.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr int AGING_TREND_PERIOD_S = 10;
constexpr size_t AGING_TREND_LINES = 10 * 24 * 3600 / AGING_TREND_PERIOD_S;

struct AgingTrendPoint {
    long time = 0;
    char phase[16] = {};
    int level = 0, voltage = 0, current = 0, temperature = 0;
    std::vector<double> cpu;
};

// Appends one line; when there are too many, the oldest day goes. False: not written. One writer at a time.
bool aging_trend_write(const AgingTrendPoint &point);
// All lines of a file in order; nothing where it cannot be read. Any thread.
std::vector<AgingTrendPoint> aging_trend_read(const char *path);
std::string aging_trend_path();
