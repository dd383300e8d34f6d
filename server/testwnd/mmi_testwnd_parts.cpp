#include "testwnd/mmi_testwnd_parts.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <tki_hardware.h>
#include <utility>

#include "base/log_door.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/test_frame.h"

namespace {
struct Part {
    const char *tag, *title_key, *note_key;
    bool calibrates;           // before its test, if it has one
    const char *start, *stop;  // symbols; null: calibrated and nothing more
    int type;                  // of its events
    const char *shown;         // how its value is shown (a format, or the language key of what is there); null: the event's text
    int felt, gone;            // there from felt on, no longer from gone down
    bool has_to_go;
};
#define EVENTS(name) "tki_api_" name "_Test_Start", "tki_api_" name "_Test_Stop"
#define FORCE EVENTS("ForceTouch"), TKI_MODULE_FORCE, "%d g", 200, 50, true // grams
const Part NFC = {"TKI_NFC", "menu_NfcTest", "info_NfcNote", false, EVENTS("NFC"), TKI_MODULE_NFC, nullptr, 1, 0, false};
const Part FINGERPRINT = {"TKI_FINGERPRINT", "title_Fingerprint", "info_FingerprintNote", false, EVENTS("Fingerprint"),
                          TKI_MODULE_FINGERPRINT, "info_FingerSeen", 1, 0, true};
const Part FORCE_TOUCH = {"TKI_FORCETOUCH", "title_ForceTouch", "info_ForceTouchNote", false, FORCE};
const Part FORCE_CALIBRATION = {"TKI_FORCETOUCH_CALIBRATION", "title_ForceTouch", "info_ForceCalibrated", true,
                                nullptr, nullptr, 0, nullptr, 0, 0, false};
const Part FORCE_COMPREHENSIVE = {"TKI_FORCETOUCH_COMPREHENSIVE", "title_ForceTouch", "info_ForceTouchNote", true, FORCE};

// What was seen since the start.
struct Seen {
    tki_part_event last{};
    bool told = false, there = false, passed = false;
};

const Part *g_part = &NFC;             // GUI thread while no event can come
const Part *g_judged = nullptr;        // the part whose start has not been answered with a stop yet. GUI thread
std::mutex g_mutex;                    // guards what follows
Seen g_seen;

bool start();
int stop();
std::vector<TestLine> lines();
void show(HWND);
TestWindow g_window{.keys = {"", "", "Result_fail"}, .pass_by_key = false, .start = start, .stop = stop, .lines = lines,
                    .changed = show};

Seen seen() {
    const std::scoped_lock lock(g_mutex);
    return g_seen;
}

void on_event(tki_module_data *event) {
    if (!event || event->type != g_part->type || event->result != 0 || !event->data) return;
    {
        const std::scoped_lock lock(g_mutex);
        g_seen.last = *static_cast<const tki_part_event *>(event->data);
        g_seen.last.text[sizeof g_seen.last.text - 1] = '\0';
        g_seen.told = true;
        const int level = g_part->shown ? g_seen.last.value : g_seen.last.text[0] != '\0';
        if (level >= g_part->felt) g_seen.there = true;
        g_seen.passed |= g_seen.there && (!g_part->has_to_go || level <= g_part->gone);
    }
    test_frame_changed(g_window);
}

void show(HWND) { test_frame_show(g_window); }

std::vector<TestLine> lines() {
    const Seen now = seen();
    std::vector<TestLine> shown;
    char text[sizeof now.last.text];
    if (!now.told) *text = '\0';
    else if (g_part->shown && *g_part->shown == '%') snprintf(text, sizeof text, g_part->shown, now.last.value);
    else if (g_part->shown) snprintf(text, sizeof text, "%s", now.there ? lang_text(g_part->shown).text : "");
    else snprintf(text, sizeof text, "%s", now.last.text);
    if (*text) shown.push_back({text, now.there ? LINE_GOOD : LINE_NORMAL});
    if (now.passed) shown.push_back({lang_text("TestResultPass").text, LINE_GOOD});
    return shown;
}

bool calibrate() {
    tki_api_ForceTouch_Calibrate_t operation = nullptr;
    return bind_factory_function(g_part->tag, "tki_api_ForceTouch_Calibrate", &operation) && operation() == 0;
}

bool start() {
    {
        const std::scoped_lock lock(g_mutex);
        g_seen = {};
    }
    if (g_part->calibrates && !calibrate()) return false;
    if (!g_part->start) return g_seen.passed = true; // no event comes
    tki_api_event_start_t begin = nullptr;
    tki_api_int_t end = nullptr; // nothing is switched on that could not be switched off again
    if (!bind_factory_function(g_part->tag, g_part->start, &begin)) return false;
    if (!bind_factory_function(g_part->tag, g_part->stop, &end)) return false;
    return begin(on_event) == 0;
}

int stop() {
    tki_api_int_t end = nullptr;
    if (!g_part->stop || !g_window.started) return 0;
    return bind_factory_function(g_part->tag, g_part->stop, &end) ? end() : -1;
}

int start_for_pc(const Part &part) {
    return on_gui_thread([&part] {
        test_frame_close(g_window); // the part before is stopped before another is chosen
        g_part = &part;
        g_window.domain = part.tag;
        g_window.title_key = part.title_key;
        g_window.note_key = part.note_key;
        g_judged = test_frame_pc_start(g_window) ? &part : nullptr;
        return g_judged ? 1 : 0;
    }) == 1;
}

int stop_for_pc(const Part &part) {
    return on_gui_thread([&part] {
        if (g_judged != &part) return 0;
        g_judged = nullptr;
        test_frame_close(g_window);
        return seen().passed ? 1 : 0;
    }) == 1;
}
} // namespace

#define PART_ENTRY(entry, exit, part)                                                                                \
    int mmi_AutoTest_##entry() { return start_for_pc(part); }                                                        \
    int mmi_AutoTest_##exit() { return stop_for_pc(part); }
PART_ENTRY(NFC_TestEntry, NFC_Test_Stop, NFC)
PART_ENTRY(Fingerprint_TestEntry, Fingerprint_Test_Stop, FINGERPRINT)
PART_ENTRY(ForceTouch_TestEntry, ForceTouch_Test_Stop, FORCE_TOUCH)
PART_ENTRY(ForceTouch_CalibrationEntry, ForceTouch_Calibration_Stop, FORCE_CALIBRATION)
PART_ENTRY(ForceTouch_ComprehensiveEntry, ForceTouch_Comprehensive_Stop, FORCE_COMPREHENSIVE)

int mmi_AutoTest_ForceTouch_Read(char *out, int maxoutlen) {
    int biases[64];
    tki_api_ForceTouch_Read_t operation = nullptr;
    if (!out || maxoutlen <= 0 || !bind_factory_function(FORCE_TOUCH.tag, "tki_api_ForceTouch_Read", &operation)) return 0;
    const int count = std::min(operation(biases, static_cast<int>(std::size(biases))), static_cast<int>(std::size(biases)));
    size_t used = 0;
    for (int i = 0; i < count; ++i) {
        char entry[32];
        const auto length = static_cast<size_t>(snprintf(entry, sizeof entry, "%d(0,0,0),", biases[i]));
        if (used + length >= static_cast<size_t>(maxoutlen)) break;
        memcpy(out + used, entry, length + 1);
        used += length;
    }
    return used > 0;
}
