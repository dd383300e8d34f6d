#include <gtest/gtest.h>

#include <string>

#include "AgingTest/aging_result.h"
#include "support/files.h"
#include "support/log_text.h"

namespace {
constexpr const char *PATH = "/data/agingtotalresult.txt";

int read_text(const std::string &text) {
    files::put(PATH, text);
    return aging_results_read(PATH);
}

// The list as one text: "index/name/lines/text;" without the line end of the name.
std::string listed() {
    std::string all;
    for (const AgingResultItem *item = g_aging_results; item; item = item->next) {
        const std::string name = item->name;
        EXPECT_TRUE(name.ends_with("\r\n"));
        all += std::to_string(item->index) + "/" + name.substr(0, name.size() - 2) + "/" +
               std::to_string(item->lines) + "/" + item->text + ";";
    }
    return all;
}
} // namespace

TEST(AgingResult, OneItemPerPhase) {
    struct {
        const char *text;
        int count;
        const char *list;
    } rows[] = {
        {"", 0, ""},
        {"before\n[LCD]\nResult=success\nComment=3 times\n[Reboot]\r\n#note\nResult=Fail\n", 2,
         "0/LCD/3/Result=success\nComment=3 times\n;1/Reboot/2/Result=Fail\n;"},
        {"[a]\n[b]tail\nx", 2, "0/a/1/;1/b/2/x;"},
        {"[a]\n\n [b]\n", 1, "0/a/3/\n [b]\n;"}, // only a bracket in the first column opens a phase
        {"[a]\n[]\n", -1, ""},
        {"[a]\nx\n[open\n", -1, ""},
        {"[a]\n]b[\n[]]\n", -1, ""},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(read_text(row.text), row.count) << row.text;
        EXPECT_EQ(listed(), row.list) << row.text;
    }
}

TEST(AgingResult, CutsWhatDoesNotFit) {
    ASSERT_EQ(read_text("[" + std::string(256, 'n') + "]\n" + std::string(254, 'x') + "\xd6\xd0y\nmore\n"),
              1);
    EXPECT_EQ(std::string(g_aging_results->name), std::string(253, 'n') + "\r\n");
    EXPECT_EQ(std::string(g_aging_results->text), std::string(254, 'x'))
        << "half a character, or text behind a gap";
    EXPECT_EQ(g_aging_results->lines, 3);
    EXPECT_EQ(read_text("[" + std::string(257, 'n') + "]\n"), -1);
    std::string many;
    for (int i = 0; i <= AGING_RESULT_MAX; ++i) many += "[a]\n";
    EXPECT_EQ(read_text(many), AGING_RESULT_MAX);
}

TEST(AgingResult, SaysWhyNothingIsShown) {
    read_text("[a]\n");
    LogText log;
    EXPECT_EQ(aging_results_read("/data/none.txt"), -1);
    EXPECT_EQ(g_aging_results, nullptr) << "an old list must not answer";
    EXPECT_EQ(read_text("[\n"), -1);
    const std::string text = log.take();
    EXPECT_NE(text.find("aging_results_read open /data/none.txt fail."), std::string::npos);
    EXPECT_NE(text.find("::Get_CfgValue fail."), std::string::npos);
    EXPECT_NE(text.find("aging_results_read mmi_parse_domain fail."), std::string::npos);
}
