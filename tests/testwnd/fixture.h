// The tests' windows on a screen in memory, with the real item tables, fake flags and a PC on another thread.
#pragma once

#include "../shell/shell_fixture.h"

#include <atomic>
#include <support/fake_flags.h>
#include <thread>

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
    // Runs on another thread, as the PC's handlers do, while this thread serves the windows.
    template <class F> static int from_pc(F body) {
        std::atomic<int> done{0};
        int result = -1;
        std::thread pc([&] {
            result = body();
            done = 1;
        });
        EXPECT_TRUE(pump_until([&] { return done == 1; }));
        pc.join();
        return result;
    }
};
