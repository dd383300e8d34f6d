// Aging runs of whole handsets: real reboots and suspends, the operator's stop, resets that nobody asked for, every verdict.
#include "scenario/aging_runs.h"

#include <fstream>

using namespace aging_runs;

namespace {
std::string account(const Handset &handset, const std::string &key) {
    const std::string text = "\n" + file(handset, "/tki/agingrun.txt");
    const size_t at = text.find("\n" + key + "=");
    return at == text.npos ? "" : text.substr(at + key.size() + 2, text.find('\n', at + 1) - at - key.size() - 2);
}
std::string cycle(const Handset &handset) {
    const std::string text = file(handset, "/tki/agingsetting.ini");
    return text.substr(std::min(text.size(), text.find("currentnum=")));
}

// Again and again: the first key only wakes a suspended handset, and between two boots nobody feels any.
void stop(Handset &handset) {
    handset.wait_until("the stop", [&] {
        try {
            const vh::ScreenView view = handset.screen();
            if (view.front_shows("Start aging") || view.front_shows("Device tests")) return true;
        } catch (const vh::ClientError &) {
        }
        for (const char *key : {"volumeup", "volumedown"}) handset.key_down(key);
        for (const char *key : {"volumeup", "volumedown"}) handset.key_up(key);
        return false;
    }, LONG_MS);
}
void wait_boots(const Handset &handset, int boots) {
    handset.wait_until("boot " + std::to_string(boots), [&] { return handset.status().value("boots", 0) >= boots; }, LONG_MS);
}
} // namespace

TEST(Aging, AWholeDayPassesAndSwitchesOffOnceUnplugged) {
    Handset handset({.speed = FAST,
                     .settings = phases({{"reboottest", "times:3"},
                                         {"standbytest", "times:5"},
                                         {"vediotest", "time:3"},
                                         {"vibratortest", "time:1"},
                                         {"cameratest", "times:2;totalnum:3"},
                                         {"audioloop", ""},
                                         {"cpufullload", "time:1"}})});
    start(handset);
    wait_boots(handset, 4);
    handset.wait_for("a colour over the whole panel", [](const vh::ScreenView &view) {
        return view.shows("VedioAging.") && view.front_covers_screen() && view.soft_keys()[1].empty();
    }, LONG_MS);
    see(handset, "Aging PASS!");
    EXPECT_EQ(handset.status().value("boots", 0), 4);
    EXPECT_EQ(handset.station(BURN_IN), Verdict::pass);
    const std::string results = file(handset, RESULTS), log = file(handset, TOTAL_LOG);
    size_t at = 0;
    for (const char *record : {"[Reboot]\nResult=success\nComment=3 times\n", "[Suspend]\nResult=success\nComment=5 times\n",
                               "[Camera]\nResult=success\nComment=2 times\n", "[SpeakerReceiver]\nResult=success\nComment=",
                               "[CPU]\nResult=success\nComment=1 minutes\n", "[TotalTime]\nResult=success\nComment=",
                               "[Temperature]\nResult=success\nComment=", "[Cycles]\nResult=success\nComment=1 times\n"}) {
        EXPECT_TRUE(results.find(record, at) != results.npos) << record << " is not in its place of\n" << results;
        at = std::min(results.size(), results.find(record, at));
    }
    for (const char *record : {"[LCD]\nResult=success\nComment=3 minutes", "[Speaker]\nResult=success", "[Vibrator]\nResult=success"})
        EXPECT_TRUE(holds(results, record)) << record << results;
    for (const char *line : {"Aging begin", "[Cycle:] 1 / 1", "Reboot doing:3/3 success:2,fail:0.", "[Reset] wanted: reboot 3 of 3",
                             "Suspend success 5/5", "[Aging] Aging PASS!"})
        EXPECT_TRUE(holds(log, line)) << line << " is not in\n" << log;
    EXPECT_GE(power::suspends(handset), 5);
    EXPECT_EQ(account(handset, "wanted_resets") + account(handset, "unwanted_resets") + account(handset, "running"), "300");
    const std::string trend = file(handset, "/tki/aging/agingtrend.csv");
    EXPECT_EQ(trend.rfind("time,phase,level", 0), 0U);
    for (const char *phase : {",suspend,8", ",video,", ",cpu,"}) EXPECT_TRUE(holds(trend, phase)) << phase << "\n" << trend;
    EXPECT_EQ(cycle(handset), "currentnum=0\n");
    const vh::Client::Outcome page = handset.tool({"report", "-"});
    for (const char *part : {">PASS<", "reboot 3 of 3", "<td>5 times</td>", "phase suspend", "Load of CPU0"})
        EXPECT_TRUE(page.status == 0 && holds(page.output, part)) << part << "\n" << page.output;
    confirm(handset);
    handset.tap_text("Results");
    handset.wait_for("the curve and the records", [](const vh::ScreenView &view) {
        return view.front_shows("1. Reboot") && view.shows("Comment=3 times") && !view.shows("Unwanted resets");
    });
    EXPECT_TRUE(holds(handset.screen().summary(), "Battery level")) << handset.screen().summary();
}

TEST(Aging, ChargeRequestsHeatAndTheWayOff) {
    Handset handset({.speed = FAST, .settings = phases({{"cpufullload", "time:8"}})});
    handset.client().battery({{"charger", "none"}, {"level", 39}, {"drain", 0}});
    start(handset);
    see(handset, "Capacity:39%");
    handset.client().battery({{"level", 45}});
    see(handset, "CPU Full Load");
    for (const auto &[degrees, charging] : {std::pair{48, "0"}, {30, "1"}, {57, "1"}, {48, "0"}, {30, "1"}}) {
        handset.client().battery({{"temp", degrees}});
        if (degrees > 55) handset.wait_until("the heat", [&] { return holds(file(handset, TOTAL_LOG), "ExcessTemperature:5"); }, LONG_MS);
        handset.wait_until("charging " + std::string(charging), [&, want = charging] { return handset.attr(CHARGING) == want; }, LONG_MS);
    }
    see(handset, "BatteryLevel:45%<50%");
    EXPECT_EQ(handset.station(BURN_IN), Verdict::untested);
    handset.client().battery({{"level", 50}});
    power::wait_off(handset);
    EXPECT_EQ(handset.station(BURN_IN), Verdict::pass) << "what was hot has cooled down";
    EXPECT_TRUE(holds(file(handset, RESULTS), "[Temperature]\nResult=success\nComment=5"));
    EXPECT_TRUE(holds(file(handset, TOTAL_LOG), "Power off successful!"));
}

// ---- stopped and cut off in every phase -----------------------------------------------------------------------------

struct PhaseRow {
    const char *name, *setting, *value, *text;
    double speed = FAST;
    int level = 80;
};
void PrintTo(const PhaseRow &row, std::ostream *out) { *out << row.name; }

struct AgingPhase : testing::TestWithParam<PhaseRow> {};

TEST_P(AgingPhase, StopsAndSurvivesResetsThatNobodyAskedFor) {
    const PhaseRow &row = GetParam();
    Handset handset({.speed = row.speed, .settings = phases({{row.setting, row.value}, {"ExternBattery", "1"}}), .storage = "faults"});
    const bool goes_on = row.name == std::string("reboot"); // its counter file brings the run back
    if (row.level < 80) handset.client().battery({{"charger", "none"}, {"level", row.level}, {"drain", 0}});
    start(handset);
    see(handset, row.text);
    handset.kill_program();
    handset.wait_until("the account", [&] { return account(handset, "unwanted_resets") == "1"; });
    EXPECT_EQ(account(handset, "lost_phase"), row.name);
    EXPECT_TRUE(holds(file(handset, TOTAL_LOG), "UNWANTED in phase " + std::string(row.name) + ", number 1"));
    if (!goes_on) start(handset);
    see(handset, row.text);
    const int boots = handset.status().value("boots", 0);
    EXPECT_EQ(handset.tool({"storage", "cut", "now", "--mode", "lose"}).status, 0);
    wait_boots(handset, boots + 1);
    handset.wait_until("the account", [&] { return account(handset, "unwanted_resets") == "2"; }, LONG_MS);
    see(handset, goes_on ? row.text : "Device tests");
    if (!goes_on) start(handset);
    see(handset, row.text);
    stop(handset);
    handset.wait_until("the end of the run", [&] { return account(handset, "running") == "0"; });
    EXPECT_EQ(file(handset, "/tki/rebootAging.txt"), runs::NO_FILE);
    EXPECT_EQ(cycle(handset), "currentnum=0\n");
    EXPECT_EQ(handset.station(BURN_IN), Verdict::untested) << "a stop is no verdict";
    EXPECT_FALSE(holds(file(handset, TOTAL_LOG), "Aging PASS!"));
    if (!handset.screen().front_shows("Start aging")) handset.tap_text("Aging");
    handset.tap_text("Results");
    handset.wait_for("the resets", [](const vh::ScreenView &view) { return view.front_shows("Unwanted resets"); });
    EXPECT_EQ(handset.status().value("boots", 0), 2 + std::stoi(account(handset, "wanted_resets")));
    handset.press("fail");
    handset.wait_for_text("Start aging");
    handset.press("fail");
    handset.wait_for_text("Device tests");
    EXPECT_TRUE(handset.attr(power::AUTOSLEEP) == "off" && handset.attr(power::BLANK) == "0");
}

INSTANTIATE_TEST_SUITE_P(Every, AgingPhase,
                         testing::Values(PhaseRow{"begin", "cpufullload", "time:1", "Please charging!", FAST, 39},
                                         PhaseRow{"reboot", "reboottest", "times:1000", "Reboot doing:", 2},
                                         PhaseRow{"suspend", "standbytest", "times:1000", "Suspend doing:"},
                                         PhaseRow{"video", "vediotest", "time:1000", "VedioAging."},
                                         PhaseRow{"camera", "cameratest", "times:10000;totalnum:2", "Camera doing:"},
                                         PhaseRow{"cpu", "cpufullload", "time:1000", "CPU Full Load"}),
                         [](const auto &row) { return std::string(row.param.name); });

// ---- verdicts ---------------------------------------------------------------------------------------------------------

struct VerdictRow {
    const char *name, *setting, *value, *unfit, *text;
    int degrees = 25;
    bool damaged_counter = false;
};
void PrintTo(const VerdictRow &row, std::ostream *out) { *out << row.name; }

struct AgingVerdict : testing::TestWithParam<VerdictRow> {};

TEST_P(AgingVerdict, FailsWithItsTextAndGoesOnThroughAllCycles) {
    const VerdictRow &row = GetParam();
    Handset handset({.speed = FAST, .settings = phases({{row.setting, row.value}, {"vibratortest", "time:1"}, {"ExternBattery", "1"}}, "2")});
    if (*row.unfit) handset.tool({"unfit", row.unfit});
    handset.client().battery({{"temp", row.degrees}});
    if (row.damaged_counter) {
        handset.shell("mkdir -p /cache/tki/rebootAging.txt");
        handset.reboot(); // the run begins as if it went on
    } else {
        start(handset);
    }
    see(handset, row.text);
    EXPECT_EQ(handset.station(BURN_IN), Verdict::fail);
    EXPECT_TRUE(row.damaged_counter || holds(file(handset, TOTAL_LOG), "[Cycle:] 2 / 2"));
    EXPECT_EQ(file(handset, "/tki/rebootAging.txt"), runs::NO_FILE);
    confirm(handset);
    handset.wait_for("the menu or the list", [](const vh::ScreenView &view) {
        return view.front_shows("Device tests") || view.front_shows("Start aging");
    });
}

INSTANTIATE_TEST_SUITE_P(Each, AgingVerdict,
                         testing::Values(VerdictRow{"battery", "cpufullload", "time:1", "", "BatteryTemperature too High", 57},
                                         VerdictRow{"reboot", "reboottest", "times:1", "", "Reboot Aging Fail!", 25, true},
                                         VerdictRow{"video", "vediotest", "time:1", "vibrator", "Vedio Aging Fail!"},
                                         VerdictRow{"camera", "cameratest", "times:1;totalnum:2", "camera-front", "Camera Aging Fail!"}),
                         [](const auto &row) { return std::string(row.param.name); });

// ---- starts -----------------------------------------------------------------------------------------------------------

TEST(Aging, StartsByItselfOnTwoBootsAndClearsTheMark) {
    const auto mark = [](const vh::StatePaths &paths) {
        std::string area(16384, '\0');
        area.replace(4096, 16, "this-is-cfg-head").replace(4096 + 32, 14, "vxo.autoageing");
        area.replace(4096 + 64, 21, "cfg-signature-is-here").replace(4096 + 96, 1, "1");
        std::ofstream(paths.part("vxocfg"), std::ios::binary) << area;
    };
    Handset handset({.speed = FAST, .settings = phases({{"cpufullload", "time:1000"}}), .before_boot = mark});
    const auto marked = [&] { return content_of(handset.client().paths().part("vxocfg")).at(4096 + 96); };
    for (const char *times : {"1", "2"}) {
        see(handset, "CPU Full Load");
        EXPECT_EQ(file(handset, "/tki/AutoAgingTimes.txt"), times);
        EXPECT_EQ(marked(), '1');
        handset.reboot();
    }
    handset.wait_for_text("Device tests");
    EXPECT_EQ(marked(), '0');
    EXPECT_EQ(file(handset, "/tki/AutoAgingTimes.txt"), "0");
    EXPECT_EQ(account(handset, "unwanted_resets"), "2") << "a reboot from outside is one that the run did not ask for";
}

TEST(Aging, ARestartBehindTheLastCycleGivesTheVerdictAtOnce) {
    Handset handset({.speed = FAST,
                     .settings = phases({{"cpufullload", "time:1000"}, {"ExternBattery", "1"}}),
                     .before_boot = [](const vh::StatePaths &paths) {
                         std::filesystem::create_directories(paths.cache() + "/tki");
                         std::ofstream(paths.cache() + "/tki/agingsetting.ini") << "[AGINGSETTING]\ncurrentnum=1\n";
                         std::ofstream(paths.cache() + "/tki/agingrun.txt") << "running=\xff\nwanted_resets=-7\nrubbish";
                     }});
    start(handset);
    see(handset, "Aging PASS!");
    EXPECT_EQ(handset.station(BURN_IN), Verdict::pass);
    EXPECT_FALSE(holds(file(handset, RESULTS), "[CPU]"));
}

TEST(Aging, StoppedInTheTwoSecondsBeforeAReboot) {
    Handset handset({.settings = phases({{"reboottest", "times:5"}})}); // at the handset's own pace
    start(handset);
    see(handset, "Reboot doing:1/5");
    stop(handset);
    handset.wait_until("the record", [&] { return holds(file(handset, RESULTS), "[Reboot]\nResult=Fail\nComment=0 times\n"); });
    EXPECT_TRUE(holds(file(handset, TOTAL_LOG), "Reboot STOP:0/5 success:0,fail:0."));
    handset.wait_ms(4000); // what must not happen cannot be waited for
    EXPECT_EQ(handset.status().value("boots", 0), 1);
    EXPECT_EQ(file(handset, "/tki/rebootAging.txt"), runs::NO_FILE);
}
