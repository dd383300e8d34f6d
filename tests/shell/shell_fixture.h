// A handset's screen in memory with the shell on it. Tests act with keys, touches and messages, and look at
// the description of the screen, at flags and at files.
#pragma once

#include "support/fake_panel.h"
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "shell/main_menu.h"

// Domains of the items whose test window was asked to open, in order.
extern std::vector<std::string> g_opened;

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override { start(720, 1280); }
    void TearDown() override;

    // Begins anew on a screen of this size.
    void start(int width, int height);
    static void write_text(const char *path, const std::string &text);
    static std::string read_text(const char *path);
    static bool exists(const char *path);
    // The main configuration, with the line ends of the installed file; language texts stay their keys.
    static void config(const std::string &text);
    // Builds the menu; without input devices its loop returns at once.
    static void open_menu() {
        kmt_CreateMainMenuWnd();
        settle();
    }
    static void key(int code) {
        press(code);
        release(code);
    }
    static void press(int code, bool down = true) {
        tp_gui_inject_key(code, down);
        settle();
    }
    static void release(int code) { press(code, false); }
    // Handles everything pending; what a hook posts is pending for the next pump only.
    static void settle() {
        for (int idle = 0; idle < 2;) idle = tp_gui_pump() ? 0 : idle + 1;
    }
    // Pumps until the condition holds; false after the time, which is not scaled.
    static bool pump_until(const std::function<bool()> &condition, int ms = 5000);
    static bool shows(const std::string &text); // anywhere on the described screen
    static std::string softkeys();              // "left|middle|right"
    // Colour index of a text on the screen, -2 when it is not there.
    static int color_of(const std::string &text);
    static std::vector<std::string> rows(); // of the active window's list
    static HWND open_window(WNDPROC proc, int width, int height, HWND host = HWND_DESKTOP);
    // Runs on another thread, as the PC's handlers do, while this thread serves the windows.
    static int from_pc(const std::function<int()> &body);
};
