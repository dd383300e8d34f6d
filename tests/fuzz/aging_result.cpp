// The result file of an aging run.
#include "AgingTest/aging_result.h"
#include "fuzz.h"

FUZZ_TARGET(aging_result) {
    static const fuzz::ScratchFile file;
    file.put(in.rest());
    const int count = aging_results_read(file.path());
    FUZZ_CHECK(count >= -1 && count <= AGING_RESULT_MAX);
    int seen = 0;
    for (const AgingResultItem *item = g_aging_results; item; item = item->next) {
        FUZZ_CHECK(item->index == seen++ && item->lines >= 1);
        FUZZ_CHECK(fuzz::terminated(item->name) && fuzz::terminated(item->text));
        const std::string_view name = item->name;
        FUZZ_CHECK(name.size() > 2 && name.ends_with("\r\n"));
        FUZZ_CHECK(item->lines > 1 || item->text[0] == '\0');
    }
    FUZZ_CHECK(seen == (count < 0 ? 0 : count));
}
