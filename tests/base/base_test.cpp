#include <gtest/gtest.h>

#include <atomic>
#include <tp_clock.h>

#include "base/encoding.h"
#include "base/guard.h"
#include "base/power_switch.h"
#include "base/shell_command.h"
#include "base/sysfs.h"
#include "base/worker.h"
#include "support/files.h"
#include "support/process.h"

TEST(Guard, RefusesOutsideAHandsetsRoot) {
    if (!guard_allows_start()) GTEST_SKIP() << "this is not a handset's root";
    const int status = process::forked([] {
        if (!process::hide_folder("/system")) _exit(process::SKIPPED);
        EXPECT_FALSE(guard_allows_start());
        EXPECT_EQ(switch_power_off(), -1);
        EXPECT_EQ(switch_restart(), -1);
    });
    if (WEXITSTATUS(status) == process::SKIPPED) GTEST_SKIP() << "no mount namespace";
}

TEST(PowerSwitch, EndsItsOwnMachine) {
    if (process::outcome_in_own_namespace([] {}) == "skipped") GTEST_SKIP() << "no PID namespace";
    EXPECT_EQ(process::outcome_in_own_namespace([] { switch_power_off(); }), "off");
    EXPECT_EQ(process::outcome_in_own_namespace([] { switch_restart(); }), "restart");
}

// Two attributes that every kernel has stand for the handset's: oom_score_adj takes numbers only, comm keeps 15 bytes.
TEST(Sysfs, WriteCountsOnlyWhenItReadsBack) {
    const char *number = "/proc/self/oom_score_adj";
    const std::string before = files::get(number);
    EXPECT_EQ(write_file(number, "10"), 0);
    EXPECT_EQ(write_file(number, "100"), 0) << "replaces in append mode too";
    EXPECT_EQ(write_file(number, "abc"), -1) << "refused by the kernel";
    EXPECT_EQ(write_file("/proc/self/comm", "seventeen bytes.."), -1) << "comes back shorter";
    EXPECT_EQ(write_file("/proc/self/comm", "unit_base"), 0);
    EXPECT_EQ(write_file("/proc/self/no-such", "1"), -1);
    EXPECT_EQ(write_file("/data/long", std::string(257, 'x').c_str()), -1) << "cannot be verified";
    EXPECT_FALSE(file_readable("/data/long"));
    files::put("/data/stale", "old");
    EXPECT_EQ(write_file("/data/stale", "new"), -1) << "an ordinary file appends: its first bytes are the old ones";
    EXPECT_EQ(write_file(number, before.c_str()), 0);
}

TEST(Sysfs, ReadsTouchesAndRemoves) {
    char buffer[4] = {'#', '#', '#', '#'};
    files::put("/data/short", "ab");
    EXPECT_EQ(read_file("/data/short", buffer, 4), 2);
    EXPECT_EQ(std::string(buffer, 4), "ab##") << "not terminated";
    files::put("/data/empty", "");
    EXPECT_EQ(read_file("/data/empty", buffer, 4), -1);
    EXPECT_EQ(read_file("/data/none", buffer, 4), -1);
    EXPECT_EQ(touch_file("/data/marker"), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(remove_file("/data/marker"), 0) << "already gone is no fault";
    EXPECT_EQ(remove_file("/data"), -1);
}

TEST(Shell, ResultsAndBounds) {
    EXPECT_EQ(run_command("exit 3"), 3);
    EXPECT_EQ(run_command("kill -9 $$"), -1);
    EXPECT_EQ(run_command_f("test %s = %d", "7", 7), 0);
    EXPECT_EQ(run_command_f("true %s", std::string(1100, 'x').c_str()), -1);
    EXPECT_EQ(read_command("printf abcdef", 4), "abcd");
    EXPECT_EQ(read_command("printf abc; exit 1", 10), "");
    EXPECT_EQ(read_command("head -c 100000 /dev/zero", 2000).size(), 2000u) << "the command may end though it says more";
}

TEST(Shell, PlainArguments) {
    struct { const char *text, *extra; bool plain; } rows[] = {
        {"abcZ09", "", true}, {"a-b", "", false},   {"a-b", "-", true},     {"", "", false},
        {"$(id)", "", false}, {"a b", "", false},   {"12345678", "", true}, {"123456789", "", false},
        {"\xd6\xd0", "", false},
    };
    for (const auto &row : rows) EXPECT_EQ(argument_is_plain(row.text, row.extra, 8), row.plain) << row.text;
}

TEST(Encoding, BothWaysAndRubbish) {
    EXPECT_EQ(gbk_from_utf8("按键预检"), "\xb0\xb4\xbc\xfc\xd4\xa4\xbc\xec");
    EXPECT_EQ(utf8_from_gbk("\xb0\xb4\xbc\xfc""FM"), "按键FM");
    EXPECT_EQ(gbk_from_utf8("a\xff""b"), "a?b");
    EXPECT_EQ(gbk_from_utf8("a\xe6\x8c"), "a?") << "cut in the middle of a character";
    EXPECT_EQ(utf8_from_gbk("a\xb0"), "a?");
    const std::string big(5000, 'x');
    EXPECT_EQ(gbk_from_utf8(big), big);
}

TEST(WorkerTest, StopEndsAWaitAndJoins) {
    std::atomic<int> ended{0};
    Worker worker;
    const auto wait = [&] {
        while (tp_clock_sleep_or_stop_ns(3600LL * 1000000000)) {}
        ++ended;
    };
    ASSERT_TRUE(worker.start("waits", wait));
    ASSERT_TRUE(worker.start("again", wait)) << "stops the first one";
    EXPECT_EQ(ended, 1);
    worker.stop();
    EXPECT_EQ(ended, 2);
    EXPECT_FALSE(worker.running());
    worker.stop();
}

TEST(WorkerTest, StopsItselfWithoutDeadlock) {
    Worker worker;
    std::atomic<bool> asked{false}, restarted{true};
    ASSERT_TRUE(worker.start("self", [&] {
        worker.stop();
        worker.join();
        asked = tp_os_thread_stop_requested();
        restarted = worker.start("other", [] {});
    }));
    worker.join();
    EXPECT_TRUE(asked);
    EXPECT_FALSE(restarted);
}
