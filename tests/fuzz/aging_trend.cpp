// The evidence of an aging run.
#include "AgingTest/aging_trend.h"
#include "fuzz.h"

FUZZ_TARGET(aging_trend) {
    static const fuzz::ScratchFile file;
    const size_t size = in.rest().size();
    file.put(in.rest());
    for (const AgingTrendPoint &point : aging_trend_read(file.path())) {
        FUZZ_CHECK(fuzz::terminated(point.phase) && point.phase[0] >= 'a' && point.phase[0] <= 'z');
        FUZZ_CHECK(point.cpu.size() <= size);
    }
}
