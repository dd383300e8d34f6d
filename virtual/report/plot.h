// One value of an aging run over its time, as a static SVG: axes with their units, phases as bands behind the line, resets as
// marks on the time axis. Colours come from the page's style sheet.
#pragma once

#include <functional>
#include <string>

#include "report/aging_run.h"

namespace report {

struct Plot {
    std::string title, unit;
    int height = 150;                       // of the area inside the axes, in pixels of 960 across
    double low = 0, high = 0;               // at least this range is shown; both 0: what the values need
    double least_span = 0;                  // no line is blown up beyond this range
    std::function<double(const Point &)> value; // NaN: none at this point
};

std::string svg(const AgingRun &run, const Plot &plot);
// As on the time axis: "h:min" or, in a run of less than ten minutes, "min:s".
std::string duration_text(long seconds, bool with_seconds);
bool shows_seconds(const AgingRun &run);
// For text and attributes of HTML: markup escaped, control characters blanked, what is not UTF-8 replaced.
std::string escaped(std::string_view text);

} // namespace report
