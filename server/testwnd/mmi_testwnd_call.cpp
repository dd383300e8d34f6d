#include "testwnd/mmi_testwnd_call.h"

#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
struct Path {
    tki_api_int_t *start, *stop;
    const char *note, *other; // the other path's name for the middle key
};
const Path PATHS[] = {
    {&tki_api_Audio_ReceiverCall_Loopback_Test_Start, &tki_api_Audio_ReceiverCall_Loopback_Test_Stop,
     "info_CallReceiverNote", "softkeybar_speaker"},
    {&tki_api_Audio_SpeakerCall_Loopback_Test_Start, &tki_api_Audio_SpeakerCall_Loopback_Test_Stop,
     "info_CallSpeakerNote", "softkeybar_receiver"},
};
enum { RECEIVER, SPEAKER };
constexpr unsigned BOTH_HEARD = 3;

int g_path = RECEIVER;
unsigned g_heard = 0; // bits of the paths that were on long enough

bool start() { return *PATHS[g_path].start && (*PATHS[g_path].start)() == 0; }
int stop() { return *PATHS[g_path].stop ? (*PATHS[g_path].stop)() : -1; }
bool may_pass();
bool may_switch();
bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);

TestWindow g_window{.domain = "TKI_CALLTEST", .title_key = "title_CallTest", .station = 298, .may_pass = may_pass,
                    .middle_offered = may_switch, .pass_after_ms = FOOL_PROOF_MS, .start = start, .stop = stop, .proc = proc};

unsigned heard_by_now() { return g_heard | (g_window.started && g_window.pass_offered ? 1u << g_path : 0); }
bool may_pass() { return heard_by_now() == BOTH_HEARD; }
// A path left too early would never count as heard, and nothing would say why. One that did not begin may be left at once.
bool may_switch() { return !g_window.started || g_window.pass_offered; }

void choose(int path) {
    g_path = path;
    g_window.note_key = PATHS[path].note;
    g_window.keys[1] = PATHS[path].other;
}

bool proc(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_KEYDOWN || wParam != KEY_START) return false;
    *result = 0;
    if (!may_switch()) return true;
    g_heard = heard_by_now();
    stop();
    choose(g_path == RECEIVER ? SPEAKER : RECEIVER);
    test_frame_restart(g_window);
    return true;
}

void begin_with(int path) {
    choose(path);
    g_heard = 0;
}
} // namespace

void mmi_testwnd_CallTestEntry() {
    test_frame_close(g_window); // stops its own path first
    begin_with(RECEIVER);
    test_frame_open(g_window);
}

void mmi_testwnd_CallTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_CallTest_Start() {
    return test_frame_pc_start(g_window, [] { begin_with(SPEAKER); });
}

int mmi_AutoTest_CallTest_Stop() { return test_frame_pc_stop(g_window); }
