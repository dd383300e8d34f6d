// The clock door, the time of the last input, and texts by key.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <tp_clock.h>
#include <tp_globals.h>
#include <tp_os.h>
#include <unistd.h>
#include <vector>

namespace {
constexpr int64_t SECOND = 1'000'000'000;

TEST(Clock, NeverGoesBackWhileTheScaleChanges) {
    std::atomic<bool> stop{false};
    std::atomic<int> steps_back{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back([&] {
            int64_t last = 0;
            while (!stop) {
                const int64_t now = tp_clock_mono_ns();
                steps_back += now < last;
                last = now;
            }
        });
    // From one thread to another, too: what this thread saw is never later than what it reads next.
    for (int i = 0; i < 200; ++i) {
        const int64_t before = tp_clock_mono_ns();
        tp_clock_set_scale(i % 2 ? 1000 : 1);
        steps_back += tp_clock_mono_ns() < before;
    }
    stop = true;
    for (std::thread &t : readers) t.join();
    EXPECT_EQ(steps_back, 0);
    tp_clock_set_scale(1);
}

TEST(Clock, ScalesWaitsAndReads) {
    tp_clock_set_scale(1000);
    EXPECT_EQ(tp_clock_scale(), 1000);
    const int64_t mono = tp_clock_mono_ns(), real = tp_clock_real_ns();
    tp_clock_sleep_ms(10'000);
    EXPECT_GE(tp_clock_mono_ns() - mono, 10 * SECOND);
    EXPECT_GE(tp_clock_real_ns() - real, 10 * SECOND);
    EXPECT_TRUE(tp_clock_sleep_or_stop_ns(SECOND));
    EXPECT_EQ(tp_clock_poll(nullptr, 0, SECOND), 0);
    EXPECT_LT(tp_clock_mono_ns() - mono, 3000 * SECOND);
    EXPECT_EQ(tp_clock_to_kernel_ns(1), 1); // never shorter than asked for
    EXPECT_EQ(tp_clock_to_kernel_ns(5000), 5);
    EXPECT_EQ(tp_clock_from_kernel_ns(5), 5000);
    tp_clock_set_scale(0.5);
    EXPECT_EQ(tp_clock_scale(), 1);
}

int64_t kernel_real_seconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

// The property is read once per process: each row in a fresh one, which runs one of the two tests below.
int in_fresh_process(const std::string &property, const char *test) {
    property_set("ro.vxo.clock", property.c_str());
    const std::string filter = std::string("--gtest_filter=Clock.") + test;
    const pid_t child = fork();
    if (child == 0) {
        execl("/proc/self/exe", "unit_vcore", "--gtest_also_run_disabled_tests", "--gtest_brief=1", filter.c_str(), nullptr);
        _exit(99);
    }
    int status = -1;
    waitpid(child, &status, 0);
    property_set("ro.vxo.clock", "");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Clock, DISABLED_InScaledProcess) {
    EXPECT_EQ(tp_clock_scale(), 60);
    EXPECT_NEAR(static_cast<double>(tp_clock_time()), static_cast<double>(kernel_real_seconds() - 100 + 100 * 60), 180);
}
TEST(Clock, DISABLED_InPlainProcess) {
    EXPECT_EQ(tp_clock_scale(), 1);
    EXPECT_NEAR(static_cast<double>(tp_clock_time()), static_cast<double>(kernel_real_seconds()), 1);
}

TEST(Clock, TakesScaleAndBaseFromTheProperty) {
    if (access("/dev/__vxo_props", W_OK) != 0) GTEST_SKIP() << "needs the box";
    const std::string base = std::to_string((kernel_real_seconds() - 100) * SECOND);
    EXPECT_EQ(in_fresh_process("60 " + base, "DISABLED_InScaledProcess"), 0);
    for (const char *odd : {"0.5 5", "abc", "10", "nan 0", "inf 7", "-3 1"})
        EXPECT_EQ(in_fresh_process(odd, "DISABLED_InPlainProcess"), 0) << odd;
}

TEST(Globals, TextsComeFromTheSourceOrAreTheKey) {
    EXPECT_STREQ(tp_i18n_get_text("title_ftm"), "title_ftm");
    EXPECT_STREQ(tp_i18n_get_text(nullptr), "");
    tp_i18n_set_source([](const char *key, char *out) {
        if (strcmp(key, "long") != 0) return -1;
        memset(out, 'x', 255);
        return 0;
    });
    EXPECT_STREQ(tp_i18n_get_text(tp_i18n_get_text("none")), "none");
    EXPECT_EQ(strlen(tp_i18n_get_text("long")), 255u);
    tp_i18n_set_source(nullptr);
}
} // namespace
