#include "fixture.h"

#include <tp_clock.h>

#include "../shell/shell_fixture.cpp" // the screen in memory is the shell's

#include "shell/test_frame.h"
#include "testwnd/test_entries.h"

std::vector<std::string> g_opened;

void WindowTest::SetUp() {
    start(240, 320);
    fake_flags::install();
    mmi_testwnd_InitLogFont();
    tp_clock_set_scale(20); // the fool-proof second takes 50 ms
}

void WindowTest::TearDown() {
    while (TestWindow *open = test_frame_current()) test_frame_close(*open);
    for (TestItem &item : TestItemWinMenu_TOTAL) item.item_mmi = 0, item.parameter[0] = '\0';
    ShellTest::TearDown();
}

void WindowTest::items(const std::string &text) {
    config(text);
    Get_TestItem_Config(1);
}

void WindowTest::run(const std::string &text) {
    items(text);
    mmi_AutoTestEntry();
    tp_gui_pump();
}

void WindowTest::touch() {
    SendMessage(GetActiveWindow(), MSG_LBUTTONUP, 0, MAKELONG(120, 160));
    tp_gui_pump();
}

uint32_t WindowTest::middle_pixel() { return fake_panel::pixel(120, 160); }
