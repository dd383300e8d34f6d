#include <gtest/gtest.h>

#include <climits>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "config/main_config.h"
#include "device/diag_log.h"
#include "support/files.h"

namespace {
std::string logged(const std::function<void(FILE *)> &write) {
    std::filesystem::remove_all("/data/log");
    FILE *file = nullptr;
    EXPECT_EQ(init_tki_log(&file, "/data/log", "x.log"), 0);
    write(file);
    const std::string text = files::get("/data/log/x.log"); // before it is closed: every line is out at once
    EXPECT_EQ(uninit_tkilog(file), 0);
    return text;
}
} // namespace

TEST(DiagLog, LineForms) {
    const std::string line = logged([](FILE *f) { writetkilog(f, "TAG", "text"); });
    EXPECT_TRUE(std::regex_match(line, std::regex(R"(\d\d/\d\d-\d\d:\d\d:\d\d \[TAG\] text\n)"))) << line;
    EXPECT_EQ(writetkilog(nullptr, "TAG", "text"), -1);
}

TEST(DiagLog, FormatsAsPrintfDoes) {
    const std::string is_long(1020, 'l');
    const auto row = [](auto... args) {
        char expected[1024];
        snprintf(expected, sizeof expected, args...);
        EXPECT_EQ(logged([&](FILE *f) { writetkilog_NoTime(f, "T", args...); }), "[T]\n" + std::string(expected) + "\n");
    };
    row("100%% %s", "text");
    row("%s", std::string(2000, 'x').c_str()); // cut
    row("%s:%d,%d.%s", "a", INT_MIN, 0, "");
    row("%s%s|", is_long.c_str(), "123456");
    row("%s%d", is_long.c_str(), 1234567);
    row("%s %5d|%-4s|%c%x %s", "a", 7, "b", 'c', 255, "end"); // begins plain and does not stay so
    row("%s|%ld", "a", 1L << 40);
}

TEST(DiagLog, OpensAndAppends) {
    std::filesystem::remove_all("/data/a");
    snprintf(g_chLogPath, sizeof g_chLogPath, "/data/a/b/c"); // a chain of missing folders, no "/" at the end
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(tki_initlog(), 0);
        writetkilog_NoTime(g_tki_log, "T", "%d", i);
        uninit_tkilog(g_tki_log);
    }
    EXPECT_EQ(files::get("/data/a/b/c/tki.log"), "[T]\n0\n[T]\n1\n");
    FILE *file = nullptr;
    ASSERT_EQ(init_tki_log(&file, "/data/a/", std::string(150, 'n').c_str()), 0);
    uninit_tkilog(file);
    EXPECT_TRUE(std::filesystem::exists("/data/a/" + std::string(100, 'n'))) << "the name is cut";
    files::put("/data/file", "");
    file = stderr;
    EXPECT_EQ(init_tki_log(&file, "/data/file/sub", "x"), -1);
    EXPECT_EQ(file, nullptr);
}

TEST(DiagLog, ThreadsDoNotMix) {
    const std::string text = logged([](FILE *f) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([f] { for (int i = 0; i < 20; ++i) writetkilog_NoTime(f, "T", "%s", std::string(200, 'x').c_str()); });
        }
        for (auto &thread : threads) thread.join();
    });
    std::string expected;
    for (int i = 0; i < 60; ++i) expected += "[T]\n" + std::string(200, 'x') + "\n";
    EXPECT_EQ(text, expected);
}

TEST(DiagLog, UtcTimeTexts) {
    char out[32] = {};
    EXPECT_EQ(Conver_time2ASC(86400L * 8, 5, out, sizeof out), 0);
    EXPECT_STREQ(out, "Fri Jan  9 00:00:00 1970\n");
    EXPECT_EQ(Conver_time2ASC(0, 0, out, 4), 0);
    EXPECT_STREQ(out, "Thu");
    EXPECT_EQ(Conver_time2ASC(0, 0, out, 0), -1);
}
