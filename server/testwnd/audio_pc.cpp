#include "testwnd/audio_pc.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <tki_hardware.h>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"

namespace {
constexpr size_t ARGUMENT_MAX = 256;
constexpr WPARAM HEADSET_CHANGED = 1;

// What the PC can switch on, and how.
struct Path {
    const char *tag;
    const char *caller; // as the log names it
    bool (*start)(const Path &path);
    int (*stop)(const Path &path);
    int microphone = 0, output = 0;
    bool shows_headset = false;
};

bool start_routing(const Path &path);
int stop_routing(const Path &path);
bool start_watch(const Path &path);
int stop_watch(const Path &path);
bool start_hifi(const Path &path);
int stop_hifi(const Path &path);

#define ROUTING(tag, name, ...)                                                                                      \
    {"TKI_AUDIO_" tag "_LOOPBACK", "mmi_AutoTest_Audio_" name "_LoopBackTestEntry", start_routing, stop_routing, __VA_ARGS__}
const Path MIC_HEADSET = ROUTING("MIC_HEADSET", "MIC_Headset", TKI_MIC_MAIN, TKI_OUT_HEADSET);
const Path HEADSET_HEADSET = ROUTING("HEADSET_HEADSET", "Headset_Headset", TKI_MIC_HEADSET, TKI_OUT_HEADSET);
const Path HEADSET_RECEIVER = ROUTING("HEADSET_RECEIVER", "Headset_Receiver", TKI_MIC_HEADSET, TKI_OUT_RECEIVER);
const Path HEADSET_SPEAKER = ROUTING("HEADSET_SPEAKER", "Headset_Speaker", TKI_MIC_HEADSET, TKI_OUT_SPEAKER);
// Under the lower speaker's tag, as the line's log filters expect it.
const Path HEADSET_UP_SPEAKER = ROUTING("HEADSET_SPEAKER", "Headset_UpSpeaker", TKI_MIC_HEADSET, TKI_OUT_SPEAKER_UPPER);
const Path AUXILIARY1_HEADSET = ROUTING("AUXILIARYMIC1_HEADSET", "AuxiliaryMIC1_Headset", TKI_MIC_AUX1, TKI_OUT_HEADSET);
const Path AUXILIARY2_HEADSET = ROUTING("AUXILIARYMIC2_HEADSET", "AuxiliaryMIC2_Headset", TKI_MIC_AUX2, TKI_OUT_HEADSET, true);
const Path WATCH = {"TKI_WATCH_AUDIO", "mmi_AutoTest_Audio_Watch_TestEntry", start_watch, stop_watch};
const Path HIFI = {"TKI_AUDIO_HIFI", "mmi_AutoTest_Audio_HiFi_TestEntry", start_hifi, stop_hifi};

const Path *g_path = &MIC_HEADSET;
char g_argument[ARGUMENT_MAX + 1];
std::atomic<int> g_insert_state{TKI_HEADSET_NONE}; // as the library told it last; written on a thread of its own
std::atomic<HWND> g_wnd{HWND_NULL};
int g_shown_state = TKI_HEADSET_NONE;

bool start() { return g_path->start(*g_path); }
int stop() {
    g_wnd = HWND_NULL;
    return g_path->stop(*g_path);
}
bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);

TestWindow g_window{.title_key = "title_LoopBackTest", .keys = {"", "", "Result_fail"}, .pass_by_key = false,
                    .start = start, .stop = stop, .proc = proc, .on_open = [](HWND hwnd) { g_wnd = hwnd; }};

// Posted, not sent: the GUI thread may be waiting for the library's thread to end.
void headsetmic_test_callback(tki_module_data *event) {
    if (!event || event->type != TKI_MODULE_HEADSET || !event->data) return;
    g_insert_state = *static_cast<const int *>(event->data);
    if (const HWND wnd = g_wnd; wnd != HWND_NULL) PostMessage(wnd, MSG_CALLBACK, HEADSET_CHANGED, 0);
}

bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_CALLBACK || wParam != HEADSET_CHANGED) return false;
    *result = 0;
    const int state = g_insert_state;
    if (!g_path->shows_headset || state == g_shown_state) return true;
    g_shown_state = state;
    g_window.note_key = headset_text(state);
    LOG_RAW(ANDROID_LOG_DEBUG, g_path->tag, "headset mic insertstate=%d,%s", state, lang_text(g_window.note_key).text);
    InvalidateRect(hwnd, nullptr, true);
    return true;
}

bool start_routing(const Path &path) {
    tki_api_Audio_Loopback_Test_Start_t begin = nullptr;
    tki_api_int_t end = nullptr;
    // Nothing is switched on that could not be switched off again.
    if (!bind_factory_function(path.tag, "tki_api_Audio_Loopback_Test_Start", &begin)) return false;
    if (!bind_factory_function(path.tag, "tki_api_Audio_Loopback_Test_Stop", &end)) return false;
    LOG_RAW(ANDROID_LOG_DEBUG, path.tag, "%s::tki_api_Audio_Loopback_Test_Start begin", path.caller);
    const int result = begin(path.microphone, path.output, g_argument, headsetmic_test_callback);
    LOG_RAW(ANDROID_LOG_DEBUG, path.tag, "%s::tki_api_Audio_Loopback_Test_Start end", path.caller);
    if (result != 0) LOG_RAW(ANDROID_LOG_ERROR, path.tag, "%s::tki_api_Audio_Loopback_Test_Start fail", path.caller);
    return result == 0;
}

int call_later_bound(const char *tag, const char *symbol) {
    tki_api_int_t operation = nullptr;
    return bind_factory_function(tag, symbol, &operation) ? operation() : -1;
}

int stop_routing(const Path &path) { return call_later_bound(path.tag, "tki_api_Audio_Loopback_Test_Stop"); }

bool start_watch(const Path &path) {
    tki_api_int_t begin = nullptr, end = nullptr;
    if (!bind_factory_function(path.tag, "tki_api_Audio_Watch_Mmi_Test_Start", &begin)) return false;
    if (!bind_factory_function(path.tag, "tki_api_Audio_Watch_Mmi_Test_Stop", &end)) return false;
    return begin() == 0;
}

int stop_watch(const Path &path) { return call_later_bound(path.tag, "tki_api_Audio_Watch_Mmi_Test_Stop"); }

bool start_hifi(const Path &) {
    return tki_api_Audio_HiFiTest_auto_Start && tki_api_Audio_HiFiTest_auto_Start(g_argument) == 0;
}
int stop_hifi(const Path &) { return tki_api_Audio_HiFiTest_auto_Stop ? tki_api_Audio_HiFiTest_auto_Stop() : -1; }

int start_for_pc(const Path &path, const char *in, int size) {
    return test_frame_pc_start(g_window, [&] { // its own path is stopped
        memset(g_argument, 0, sizeof g_argument);
        if (in && size > 0) strncpy(g_argument, in, std::min(static_cast<size_t>(size), ARGUMENT_MAX));
        g_path = &path;
        g_insert_state = g_shown_state = TKI_HEADSET_NONE;
        g_window.domain = path.tag;
        g_window.note_key = path.shows_headset ? headset_text(TKI_HEADSET_NONE) : "info_PCTestNote";
    });
}

int call_with_zero(const char *symbol) {
    tki_api_earpiece_start_t operation = nullptr;
    return bind_factory_function("TKI_CPU", symbol, &operation) ? operation(0) : -1;
}
} // namespace

const char *headset_text(int state) {
    if (state == TKI_HEADSET_WITH_MIC) return "info_HeadSetinsert";
    return state == TKI_HEADSET_WITHOUT_MIC ? "info_HeadSetNoMicNote" : "info_HeadSetNote";
}

#define AUDIO_ENTRY(name, path)                                                                                      \
    int mmi_AutoTest_Audio_##name(const char *in, int size) { return start_for_pc(path, in, size); }
AUDIO_ENTRY(MIC_Headset_LoopBackTestEntry, MIC_HEADSET)
AUDIO_ENTRY(Headset_Headset_LoopBackTestEntry, HEADSET_HEADSET)
AUDIO_ENTRY(Headset_Receiver_LoopBackTestEntry, HEADSET_RECEIVER)
AUDIO_ENTRY(Headset_Speaker_LoopBackTestEntry, HEADSET_SPEAKER)
AUDIO_ENTRY(Headset_UpSpeaker_LoopBackTestEntry, HEADSET_UP_SPEAKER)
AUDIO_ENTRY(AuxiliaryMIC1_Headset_LoopBackTestEntry, AUXILIARY1_HEADSET)
AUDIO_ENTRY(AuxiliaryMIC2_Headset_LoopBackTestEntry, AUXILIARY2_HEADSET)
AUDIO_ENTRY(Watch_TestEntry, WATCH)
AUDIO_ENTRY(HiFi_TestEntry, HIFI)

int mmi_AutoTest_Audio_LoopBackTest_Stop() { return test_frame_pc_close(g_window); }

int mmi_AutoTest_Audio_HiFi_Test_Stop() {
    return on_gui_thread([] {
        if (g_window.created && g_path == &HIFI) return test_frame_pc_stop(g_window);
        return stop_hifi(HIFI) == 0 ? 1 : 0; // ends what something else started
    }) == 1;
}

int mmi_mic2earpiece_start() { return call_with_zero("tki_api_mic2earpiece_start") == 0; }
int mmi_mic2earpiece_stop() { return call_later_bound("TKI_CPU", "tki_api_mic2earpiece_stop") == 0; }
int mmi_auxmic2earpiece_start() { return call_with_zero("tki_api_auxmic2earpiece_start") == 0; }
int mmi_auxmic2earpiece_stop() { return call_later_bound("TKI_CPU", "tki_api_auxmic2earpiece_stop") == 0; }
