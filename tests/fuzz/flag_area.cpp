// The verdict flags: decoding any area, and that one verdict changes its station and the preview's only.
#include <array>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "config/main_config.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "fuzz.h"

namespace {
int g_area_file = -1;
unsigned g_faults = 0; // bit 0: the read fails, bit 1: the first write is lost, bit 2: every write is

// The factory library's flag functions over a scratch file.
void install(const fuzz::ScratchFile &file) {
    if (g_area_file < 0) g_area_file = open(file.path(), O_RDWR | O_CLOEXEC);
    tki_api_GetTestInfoFlag = [](uint8_t *area) {
        if (g_faults & 1) return -1;
        return pread(g_area_file, area, TKI_FLAG_AREA, 0) == TKI_FLAG_AREA ? 0 : -1;
    };
    tki_api_WriteFuncTestInfoFlags = [](int index, uint8_t value) {
        FUZZ_CHECK(index >= 0 && index < TKI_FLAG_AREA);
        if (g_faults & 2) return g_faults &= ~2u, 0;
        if (g_faults & 4) return 0;
        return pwrite(g_area_file, &value, 1, index) == 1 ? 0 : -1;
    };
}

const uint8_t *bytes_of(const std::string &area) { return reinterpret_cast<const uint8_t *>(area.data()); }

void check_verdict(const std::string &before, const std::string &after, int station, int result) {
    const bool verdict = station >= 0 && station < STATION_COUNT && (result == 1 || result == 2) && !(g_faults & 1);
    const bool fails_preview = verdict && result == 2 && (station >= 280 || (station >= 124 && station <= 159));
    FUZZ_CHECK(before.compare(STATION_COUNT / 4, std::string::npos, after, STATION_COUNT / 4) == 0);
    for (int i = 0; i < STATION_COUNT; ++i) {
        int expected = GetSign(bytes_of(before), i);
        if (verdict && i == station) expected = result;
        if (fails_preview && i == STATION_CAC_PREVIEW) expected = 2;
        if (fails_preview && i == STATION_CAC_PREVIEW_TEMP && g_pretestMenuEnabled == 1) expected = 2;
        FUZZ_CHECK(GetSign(bytes_of(after), i) == expected);
        if (verdict) FUZZ_CHECK(station_result(i) == expected && g_testinfo[i].test_result == expected);
    }
}

void check_pc_commands(const std::string &command) {
    auto out = fuzz::exact(8);
    const int read = mmi_AutoTest_testinfo_Read(command.c_str(), out.data(), static_cast<int>(out.size()));
    FUZZ_CHECK(read == 0 || (out[0] >= '0' && out[0] <= '3' && !out[1]));
    const int written = mmi_AutoTest_testinfo_Write(command.c_str());
    FUZZ_CHECK(written == 0 || command.find(",write") != std::string::npos);
    const int above = CheckParaResult(command.c_str(), 100, 1), below = CheckParaResult(command.c_str(), 101, 0);
    FUZZ_CHECK(command.find(':') == std::string::npos ? !above && !below : above + below == 1);
}
} // namespace

FUZZ_TARGET(flag_area) {
    static const fuzz::ScratchFile file;
    install(file);
    g_bRestoreAutotest = 0; // a shell command would remove the run's markers
    g_pretestMenuEnabled = in.byte() & 1;
    g_faults = in.byte() & 7;
    const int station = static_cast<int16_t>(in.byte() | in.byte() << 8);
    const int result = static_cast<int8_t>(in.byte());
    const std::string command = in.text(80);
    std::string before(in.rest().substr(0, TKI_FLAG_AREA));
    before.resize(TKI_FLAG_AREA, '\0');
    file.put(before);
    GetTestItemsResult(bytes_of(before));
    for (int i = 0; i < STATION_COUNT; ++i)
        FUZZ_CHECK(g_testinfo[i].test_result == GetSign(bytes_of(before), i));
    const bool lost_all = g_faults & 4;
    FUZZ_CHECK(mmi_write_testinfo_single_byte(station, result) == 0);
    if (!lost_all) check_verdict(before, file.get(), station, result);
    else
        FUZZ_CHECK(file.get() == before);
    g_faults = 0;
    check_pc_commands(command);
}
