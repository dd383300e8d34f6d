// The tests' windows on a screen in memory, with the real item tables, fake flags and a PC on another thread.
#pragma once

#include "../shell/shell_fixture.h"

#include <support/fake_flags.h>

class WindowTest : public ShellTest {
protected:
    void SetUp() override;
    void TearDown() override;
    // Writes the configuration with the product's line ends and reads the items.
    static void items(const std::string &text);
    // Starts an automatic run that holds the items as configured; opens the first.
    static void run(const std::string &text);
    static void touch(); // released in the middle of the active window
    static uint32_t middle_pixel();
};
