// The page about an aging run: what is understood of good and of damaged files, and that nothing from them becomes markup.
#include <gtest/gtest.h>

#include "report/page.h"
#include "report/plot.h"

namespace {
size_t count(const std::string &text, const std::string &what) {
    size_t found = 0;
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size()) ++found;
    return found;
}

// Begins a minute before New Year 2027, on a handset whose log is an hour ahead of UTC.
report::RunFiles run_files() {
    return {.trend = "time,phase,level,voltage_mV,current_mA,temperature_C10,cpu0,cpu1\n"
                     "1798761550,reboot,81,4012,-210,312,4.0,3.5\n1798761560,reboot,80,4011,-220,-15,100.0,0.0\n"
                     "1798761560,tor\nrubbish\n1798761570,cpu,x,1,2,3\n99999999999,cpu,1,1,1,1\n"
                     "1798761630,cpu,79,4010,-900,405,99.0,98.0\n1798761640,cpu,78,4010,-900,410,99.0\n",
            .records = "ignored\n[Reboot]\nResult=success\nComment=2 times\n[<b>x]\nResult=Fail\nComment=\"3\" & \xff\n",
            .log = "01/01-00:59:00 [AgingTest] Aging begin\n01/01-00:59:01 [Cycle:] 1 / 2\n01/01-00:59:25 [Reset] wanted: reboot 1 of 2\n"
                   "half a li\n01/01-01:00:10 [Reset] UNWANTED in phase cpu, number 1\n01/01-01:00:40 [Aging] Aging FAIL!\nCamera Aging Fail!\n",
            .account = "running=0\nwanted=\nwanted_resets=1\nunwanted_resets=3\n",
            .started = "1798761540",
            .product = std::string("soft=V1\npsn=P<1>\nhard=H\0rubbish", 33),
            .station = 2};
}
} // namespace

TEST(Report, UnderstandsARunAndLeavesOutWhatIsDamaged) {
    const report::AgingRun run = report::understand(run_files());
    EXPECT_EQ(run.state, report::State::failed);
    ASSERT_EQ(run.trend.size(), 4U);
    EXPECT_EQ(run.trend[1].temperature, -1.5);
    ASSERT_EQ(run.bands.size(), 2U);
    EXPECT_EQ(run.bands[0].to, run.bands[1].from) << "bands meet";
    ASSERT_EQ(run.resets.size(), 2U);
    EXPECT_EQ(run.resets[0].time, 1798761565) << "over the year's end and the time zone";
    EXPECT_EQ(run.resets[0].what + "|" + run.resets[1].what, "reboot 1 of 2|cpu");
    EXPECT_TRUE(run.interrupted) << "two of the three came before this start";
    EXPECT_EQ(run.verdict, (std::vector<std::string>{"Aging FAIL!", "Camera Aging Fail!"}));
    EXPECT_EQ(run.psn + run.cycle, "P<1>1 / 2");
    EXPECT_EQ(run.records.size(), 2U);

    report::RunFiles files = run_files();
    files.account = "running=1\n";
    EXPECT_EQ(report::understand(files).state, report::State::cut_off);
    files.switched_on = true;
    EXPECT_EQ(report::understand(files).state, report::State::running);
    EXPECT_TRUE(report::understand({}).empty());
}

TEST(Report, ThePageShowsAllAndNoTextBecomesMarkup) {
    const std::string page = report::page(report::understand(run_files()), "a&b");
    for (const char *part : {"FAIL", "Camera Aging Fail!", "P&lt;1&gt;", "a&amp;b", "&lt;b&gt;x", "&quot;3&quot; &amp; \xEF\xBF\xBD", "1 / 3",
                             "UNPLANNED", "<title>planned reset at 0:25: reboot 1 of 2</title>", "Battery temperature", "\u00b0C"})
        EXPECT_TRUE(count(page, part)) << part;
    EXPECT_EQ(count(page, "role=\"img\""), 6U) << "four of the battery, two cores";
    EXPECT_EQ(count(page, "nan") + count(page, "inf ") + count(page, "http"), 0U);
    EXPECT_EQ(count(page, "<g>"), count(page, "</g>") - count(page, "<g class"));
    EXPECT_FALSE(report::page(report::understand({.started = "1798761540"}), "x").empty()) << "a run that has only begun";
}

TEST(Report, LongRunsStaySmallAndKeepTheirPeaks) {
    report::RunFiles files{.started = "1000000"};
    for (int i = 0; i < 86400; ++i) files.trend += std::to_string(1000000 + 10 * i) + ",cpu,50,4000,0," + (i == 43210 ? "1000" : "300") + ",1\n";
    const report::AgingRun run = report::understand(files);
    EXPECT_EQ(run.trend.size(), 86400U);
    const std::string plot = report::svg(run, {.title = "t", .unit = "u", .value = [](const report::Point &p) { return p.temperature; }});
    EXPECT_LT(plot.size(), 60000U);
    EXPECT_NE(plot.find(" 26.0L"), std::string::npos) << "the one peak reaches the top";
}
