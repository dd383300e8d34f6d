#include "testwnd/mmi_testwnd_ringtone.h"

#include "device/factory_slots.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr int FIRST_MELODY = 0;
int g_tone = FIRST_MELODY;

bool start() { return tki_api_Audio_RingTest_Start && tki_api_Audio_RingTest_Start(g_tone) == 0; }
int stop() { return tki_api_Audio_RingTest_Stop ? tki_api_Audio_RingTest_Stop() : -1; }

TestWindow g_window{.domain = "TKI_RINGTONE", .title_key = "menu_RingTest", .station = 296,
                    .pass_after_ms = FOOL_PROOF_MS, .start = start, .stop = stop, .note_key = "info_RingNote"};
} // namespace

void mmi_testwnd_RingtoneTestEntry() {
    g_tone = FIRST_MELODY;
    test_frame_open(g_window);
}

void mmi_test_RingtoneTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_RingtoneTestEntry(int tone) {
    return test_frame_pc_start(g_window, [tone] { g_tone = tone; });
}

int mmi_AutoTest_RingtoneTest_Stop() { return test_frame_pc_stop(g_window); }
