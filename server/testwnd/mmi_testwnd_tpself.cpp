#include "testwnd/mmi_testwnd_tpself.h"

#include <cstring>
#include <tki_hardware.h>

#include "config/main_config.h"
#include "config/test_items.h"
#include "device/factory_slots.h"
#include "device/result_flags.h"
#include "testwnd/measurement.h"
#include "testwnd/test_entries.h"

namespace {
constexpr char TAG[] = "TKI_TPSELF";
constexpr char SYMBOL[] = "tki_api_TouchPanel_SelfTest";
enum class State { at_work, good, bad };

Measurement g_self_test([] { return call_factory_function<tki_api_TouchPanel_SelfTest_t>(TAG, SYMBOL); });
State g_state = State::at_work;

bool start();
void told(int result);
int stop() { return 0; } // the panel ends by itself
bool is_good() { return g_state == State::good; }

std::vector<TestLine> lines() {
    switch (g_state) {
    case State::at_work: return {{lang_text("info_Measuring").text, LINE_NORMAL}};
    case State::good: return {{lang_text("TestResultPass").text, LINE_GOOD}};
    default: return {{lang_text("title_TPFState").text, LINE_BAD}};
    }
}

TestWindow g_window{.domain = "TKI_TPSELF", .title_key = "title_TPSelfTest", .may_pass = is_good, .start = start, .stop = stop,
                    .lines = lines, .told = told};
TestWindow g_monomer{.domain = "TKI_TPSELF", .title_key = "title_TPSelfTest", .monomer = true, .may_pass = is_good,
                     .start = start, .stop = stop, .lines = lines, .told = told};
TestWindow *g_opened = &g_window;

bool start() {
    g_state = State::at_work;
    tki_api_TouchPanel_SelfTest_t self_test = nullptr;
    return bind_factory_function(TAG, SYMBOL, &self_test) && g_self_test.begin(*g_opened);
}

void told(int result) {
    g_state = result == 0 ? State::good : State::bad;
    if (is_good() && g_deviceIsAutoTest == 1) test_frame_pass(*g_opened);
}

int station_in_walked_list() {
    for (const TestItemNode *node = g_testitem_list; node; node = node->pNodeNext)
        if (strcmp(node->testitem.config_domain, TAG) == 0) return node->testitem.testinfo_index;
    return -1;
}

void open(TestWindow &w) {
    test_frame_close(*g_opened);
    g_opened = &w;
    test_frame_open(w);
}
} // namespace

void mmi_testwnd_TPSelfTest_Entry() {
    g_window.station = station_in_walked_list();
    open(g_window);
}
void mmi_testwnd_TPSelfTest_Stop() { test_frame_pc_close(g_window); }
void mmi_testwnd_Monomer_TPSelfTest_Entry() { open(g_monomer); }
void mmi_testwnd_Monomer_TPSelfTest_Stop() { test_frame_pc_close(g_monomer); }
