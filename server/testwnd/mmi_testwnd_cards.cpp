#include "testwnd/mmi_testwnd_cards.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <tki_hardware.h>
#include <utility>
#include <vector>

#include "base/log_door.h"
#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_SIMCARD";
constexpr int PASS_TIMER = 1;
constexpr unsigned RESULT_SHOWN = 100; // 10 ms each
constexpr uint64_t MB = 1000000;

struct Slot {
    int card;
    const char *parameter, *title;
};
constexpr Slot SLOTS[] = {
    {TKI_CARD_SIM0, "SIM1", "info_CardSim1"},
    {TKI_CARD_SIM1, "SIM2", "info_CardSim2"},
    {TKI_CARD_SD, "SDCARD", "info_CardSd"},
};
constexpr size_t SLOT_COUNT = std::size(SLOTS);

struct Told {
    bool known = false;
    tki_card_event event{};
};
std::mutex g_lock;
std::array<Told, SLOT_COUNT> g_told; // by the library, on its thread

// GUI thread.
std::array<bool, SLOT_COUNT> g_wanted;
bool g_all_there = false;

bool start();
int stop() { return tki_api_AllCard_Test_Stop ? tki_api_AllCard_Test_Stop() : -1; }
bool may_pass() { return g_all_there; }
std::vector<TestLine> lines();
void told(int);
bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT *result);
TestWindow g_window{.domain = "TKI_SIMCARD", .title_key = "title_SimCardTest", .station = 324, .may_pass = may_pass,
                    .start = start, .stop = stop, .note_key = "info_CardNote", .lines = lines, .told = told, .proc = proc};

std::string card_text(const tki_card_event &event) {
    std::string text(event.text, strnlen(event.text, sizeof event.text));
    if (event.card == TKI_CARD_SD) text += "," + std::to_string(event.bytes / MB) + "MB";
    return text;
}

void on_card(tki_module_data *module) {
    if (!module || module->type != TKI_MODULE_CARDS || !module->data) return;
    const auto &event = *static_cast<const tki_card_event *>(module->data);
    {
        const std::lock_guard guard(g_lock);
        for (size_t i = 0; i < SLOT_COUNT; ++i)
            if (SLOTS[i].card == event.card) g_told[i] = {true, event};
    }
    test_frame_tell(g_window, 0);
}

TestLine line_of(size_t index, const Told &told) {
    const char *state = !told.known          ? ""
                        : !told.event.fitted  ? "info_NotFitted"
                        : !told.event.present ? "info_CardNone"
                                              : nullptr;
    const std::string value = !state ? card_text(told.event) : *state ? std::string(lang_text(state).text) : std::string();
    const int color = !told.known ? LINE_NORMAL : !state ? LINE_GOOD : g_wanted[index] ? LINE_BAD : LINE_NORMAL;
    return {std::string(lang_text(SLOTS[index].title).text) + ": " + value, color};
}

std::array<Told, SLOT_COUNT> told_now() {
    const std::lock_guard guard(g_lock);
    return g_told;
}

std::vector<TestLine> lines() {
    const auto now = told_now();
    std::vector<TestLine> out;
    for (size_t i = 0; i < SLOT_COUNT; ++i) out.push_back(line_of(i, now[i]));
    return out;
}

// In a run the window passes by itself when its green lines have stood for a second.
void told(int) {
    const auto now = told_now();
    // A configuration that wants no card would pass anything.
    bool all_there = std::find(g_wanted.begin(), g_wanted.end(), true) != g_wanted.end();
    for (size_t i = 0; i < SLOT_COUNT; ++i)
        all_there &= !g_wanted[i] || (now[i].known && now[i].event.fitted && now[i].event.present);
    if (std::exchange(g_all_there, all_there) == all_there) return;
    if (all_there && g_deviceIsAutoTest == 1) SetTimer(g_window.hwnd, PASS_TIMER, RESULT_SHOWN);
    else KillTimer(g_window.hwnd, PASS_TIMER);
}

bool start() {
    Current_simsdcard_testwnd_GetConfigParas();
    g_all_there = false;
    {
        const std::lock_guard guard(g_lock);
        g_told = {};
    }
    if (tki_api_AllCard_Test_Start && tki_api_AllCard_Test_Start(on_card) == 0) return true;
    LOG_RAW(ANDROID_LOG_ERROR, TAG, "%s the card test did not start", __func__);
    return false;
}

bool proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM, LRESULT *result) {
    if (message != MSG_TIMER || wParam != PASS_TIMER) return false;
    KillTimer(hwnd, PASS_TIMER);
    if (g_all_there) test_frame_pass(g_window);
    *result = 0;
    return true;
}

int read_card(int card, char *out, int maxoutlen) {
    tki_card_event event{};
    if (!out || maxoutlen < 0) return 0;
    if (call_factory_function<tki_api_Card_Read_t>(TAG, "tki_api_Card_Read", card, &event) != 0) return 0;
    if (!event.fitted || !event.present) return 0;
    event.card = card;
    const std::string text = card_text(event);
    memcpy(out, text.data(), std::min(text.size(), static_cast<size_t>(maxoutlen)));
    return 1;
}
} // namespace

void Current_simsdcard_testwnd_GetConfigParas() {
    ConfigPara paras[12] = {};
    const int count = test_item_parameters(g_window.domain, paras, 12);
    for (size_t i = 0; i < SLOT_COUNT; ++i) {
        g_wanted[i] = parameter_value(paras, count, SLOTS[i].parameter, "1") != 0;
        LOG_RAW(ANDROID_LOG_DEBUG, TAG, "%s %s=%d", __func__, SLOTS[i].parameter, g_wanted[i] ? 1 : 0);
    }
}

void mmi_testwnd_SIMCardTestEntry() { test_frame_open(g_window); }

void mmi_testwnd_SIMCardTest_Stop_Entry() { test_frame_pc_close(g_window); }

int mmi_AutoTest_sim_Read(int slot, char *out, int maxoutlen) {
    return slot >= 0 && slot < TKI_CARD_SD ? read_card(TKI_CARD_SIM0 + slot, out, maxoutlen) : 0;
}

int mmi_AutoTest_SDCard_Read(char *out, int maxoutlen) { return read_card(TKI_CARD_SD, out, maxoutlen); }
