#include "testwnd/lights.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <tki_hardware.h>
#include <utility>

#include "base/log_door.h"
#include "base/sysfs.h"
#include "config/main_config.h"
#include "device/factory_slots.h"
#include "shell/main_menu.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_ALLLIGHT";
constexpr int FULL = 255, DIM = 16, OUT = 0;
constexpr int STEP_MS = 1000; // each light is on for so long

constexpr const char *NAMES[TKI_LIGHTS] = {"info_LightRed",   "info_LightGreen",  "info_LightBlue",       "info_LightKeys",
                                           "info_LightFlash", "info_LightFlash2", "info_LightFlashFront", "info_LightLcd"};
constexpr unsigned bit(int light) { return 1u << light; }

std::string g_backlight; // the display's level before a test changed it; empty: none did. GUI thread

bool fitted(int light) { return call_factory_function<tki_api_Light_Fitted_t>(TAG, "tki_api_Light_Fitted", light) == 1; }

unsigned fitted_of(unsigned lights) {
    unsigned found = 0;
    for (int light = 0; light < TKI_LIGHTS; ++light)
        if (lights & bit(light) && fitted(light)) found |= bit(light);
    return found;
}

// A display that could not be put back is not changed.
bool remember_backlight() {
    char text[16] = {};
    if (g_backlight.empty() && read_file(g_cSysBacklight, text, sizeof text - 1) > 0)
        g_backlight.assign(text, strspn(text, "0123456789"));
    return !g_backlight.empty();
}

bool set_light(int light, int level) {
    if (light == TKI_LIGHT_LCD && !remember_backlight()) return false;
    if (call_factory_function<tki_api_Light_Set_t>(TAG, "tki_api_Light_Set", light, level) == 0) return true;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s light %d does not take level %d", __func__, light, level);
    return false;
}

bool put_out(int light) {
    if (light != TKI_LIGHT_LCD) return set_light(light, OUT);
    const std::string level = std::exchange(g_backlight, {});
    return level.empty() || write_file(g_cSysBacklight, level.c_str()) == 0;
}

// ---- the operator's walk

struct Step {
    int light, level;
};
constexpr Step STEPS[] = {{TKI_LIGHT_RED, FULL},        {TKI_LIGHT_GREEN, FULL},      {TKI_LIGHT_BLUE, FULL},
                          {TKI_LIGHT_KEYS, FULL},       {TKI_LIGHT_FLASH_BACK, FULL}, {TKI_LIGHT_FLASH_BACK2, FULL},
                          {TKI_LIGHT_FLASH_FRONT, FULL}, {TKI_LIGHT_LCD, FULL},        {TKI_LIGHT_LCD, DIM}};
constexpr size_t STEP_COUNT = std::size(STEPS);

struct {
    unsigned fitted = 0, shown = 0, failed = 0;
    size_t step = 0;
    bool once_round = false;
} g_walk;

bool begin_step(size_t step) {
    const Step &s = STEPS[step];
    g_walk.step = step;
    g_walk.shown |= bit(s.light);
    const bool on = set_light(s.light, s.level);
    if (!on) g_walk.failed |= bit(s.light);
    return on;
}

size_t next_fitted(size_t step) {
    do step = (step + 1) % STEP_COUNT;
    while (!(g_walk.fitted & bit(STEPS[step].light)));
    return step;
}

bool start_walk() {
    g_walk = {.fitted = fitted_of(~0u)};
    if (g_walk.fitted == 0) return false;
    begin_step(next_fitted(STEP_COUNT - 1));
    return true;
}

void next_step() {
    const size_t last = g_walk.step, next = next_fitted(last);
    if (STEPS[next].light != STEPS[last].light) put_out(STEPS[last].light);
    g_walk.once_round |= next <= last;
    begin_step(next);
}

int stop_walk() {
    if (g_walk.fitted == 0) return 0;
    return put_out(STEPS[g_walk.step].light) ? 0 : -1;
}

bool all_seen() { return g_walk.once_round && g_walk.failed == 0; }

std::vector<TestLine> walk_lines() {
    std::vector<TestLine> lines;
    for (int light = 0; light < TKI_LIGHTS; ++light) {
        if (!(g_walk.shown & bit(light))) continue;
        const bool on = STEPS[g_walk.step].light == light;
        const int color = g_walk.failed & bit(light) ? LINE_BAD : on ? LINE_GOOD : LINE_NORMAL;
        lines.push_back({lang_text(NAMES[light]).text, color});
    }
    return lines;
}

TestWindow g_all{.domain = "TKI_ALLLIGHT", .title_key = "menu_AllLightTest", .station = 284, .may_pass = all_seen,
                 .start = start_walk, .stop = stop_walk, .note_key = "info_AllLightNote", .lines = walk_lines,
                 .tick = next_step, .tick_ms = STEP_MS};

// ---- the PC's lights

struct Control {
    const char *domain;
    unsigned lights;
    bool as_fitted = false; // those of them that there are; otherwise all are needed
};
constexpr Control RED{"TKI_LED", bit(TKI_LIGHT_RED)}, GREEN{"TKI_LED", bit(TKI_LIGHT_GREEN)},
    ORANGE{"TKI_LED", bit(TKI_LIGHT_RED) | bit(TKI_LIGHT_GREEN)},
    LEDS{"TKI_LED", bit(TKI_LIGHT_RED) | bit(TKI_LIGHT_GREEN) | bit(TKI_LIGHT_BLUE)},
    KEYS{"TKI_KEYBACKLIGHT", bit(TKI_LIGHT_KEYS)}, FLASH{"TKI_FLASHLIGHT", bit(TKI_LIGHT_FLASH_BACK)},
    FLASH2{"TKI_FLASHLIGHT2", bit(TKI_LIGHT_FLASH_BACK2)}, FRONT{"TKI_FLASHLIGHT_FRONT", bit(TKI_LIGHT_FLASH_FRONT)},
    ALL{"TKI_LIGHTCONTROL", bit(TKI_LIGHTS) - 1, true};

const Control *g_control = &ALL;
int g_level = FULL;
unsigned g_on = 0;

int put_out_all(unsigned lights) {
    int result = lights ? 0 : -1;
    for (int light = 0; light < TKI_LIGHTS; ++light)
        if (lights & bit(light) && !put_out(light)) result = -1;
    return result;
}

bool start_control() {
    g_on = 0;
    const unsigned found = fitted_of(g_control->lights);
    bool good = g_control->as_fitted ? found != 0 : found == g_control->lights;
    for (int light = 0; good && light < TKI_LIGHTS; ++light) {
        if (!(found & bit(light))) continue;
        good = set_light(light, g_level);
        g_on |= bit(light);
    }
    return good;
}

int stop_control() { return put_out_all(std::exchange(g_on, 0)); }

std::vector<TestLine> control_lines() {
    std::vector<TestLine> lines;
    for (int light = 0; light < TKI_LIGHTS; ++light)
        if (g_on & bit(light)) lines.push_back({lang_text(NAMES[light]).text, LINE_GOOD});
    return lines;
}

TestWindow g_pc{.title_key = "menu_AllLightTest", .keys = {"", "", "Result_fail"}, .pass_by_key = false,
                .start = start_control, .stop = stop_control, .note_key = "info_PCTestNote", .lines = control_lines};

int switch_on(const Control &control, int level = FULL) {
    return test_frame_pc_start(g_pc, [&] { // its own lights are out
        g_control = &control;
        g_level = level;
        g_pc.domain = control.domain;
    });
}

// Lights of the open window that the command does not name stay on, and the window with them.
int switch_off(const Control &control) {
    return on_gui_thread([&] {
        if (g_pc.created && (g_on & ~control.lights) == 0) return test_frame_pc_stop(g_pc);
        const unsigned found = fitted_of(control.lights);
        g_on &= ~found;
        test_frame_show(g_pc);
        return put_out_all(found) == 0 ? 1 : 0;
    }) == 1;
}

int switch_flash(const Control &control, const char *mode) {
    if (!mode || !*mode || strcmp(mode, "autotest") == 0) return switch_on(control);
    const size_t digits = strspn(mode, "0123456789");
    const int level = mode[digits] || digits > 3 ? 0 : atoi(mode);
    if (level >= 1 && level <= FULL) return switch_on(control, level);
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s: a flashlight takes \"autotest\" or a level of 1 to 255", __func__);
    return 0;
}
} // namespace

void mmi_testwnd_AllLightTestEntry() { test_frame_open(g_all); }
void mmi_testwnd_AllLightTest_Stop_Entry() { test_frame_pc_close(g_all); }

int mmi_AutoTest_LEDTestEntry(const char *color) {
    if (strcmp(color, "red") == 0) return switch_on(RED);
    if (strcmp(color, "green") == 0) return switch_on(GREEN);
    return strcmp(color, "orange") == 0 ? switch_on(ORANGE) : 0;
}
int mmi_AutoTest_LEDTest_Stop() { return switch_off(LEDS); }
int mmi_AutoTest_KEYBacklightTestEntry() { return switch_on(KEYS); }
int mmi_AutoTest_KEYBacklightTest_Stop() { return switch_off(KEYS); }
int mmi_AutoTest_flashlightTestEntry(const char *mode) { return switch_flash(FLASH, mode); }
int mmi_AutoTest_flashlightTest_Stop() { return switch_off(FLASH); }
int mmi_AutoTest_flashlight2TestEntry() { return switch_on(FLASH2); }
int mmi_AutoTest_flashlight2Test_Stop() { return switch_off(FLASH2); }
int mmi_AutoTest_flashlight_frontTestEntry(const char *mode) { return switch_flash(FRONT, mode); }
int mmi_AutoTest_flashlight_frontTest_Stop() { return switch_off(FRONT); }
int mmi_AutoTest_LightControl_Open() { return switch_on(ALL); }
int mmi_AutoTest_LightControl_Close() { return switch_off(ALL); }
