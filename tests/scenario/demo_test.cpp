// The demonstration: what its operator does by keys, touches, parts and sound is what the flags tell afterwards.
#include "scenario/runs.h"

#include "client/tool.h"

namespace {
namespace fs = std::filesystem;

struct Demo : testing::Test {
    const vh::Client client{vh::fresh_handset_name()};
    const std::string pictures = client.paths().root + ".pictures"; // beside the state folder: they go with the home
    vh::Client::Outcome run(std::vector<std::string> more) {
        std::vector<std::string> args{"demo", "-n", client.name(), "--headless", "--speed", "5", "--out", pictures,
                                      "--patience", std::to_string(patient(30))};
        args.insert(args.end(), more.begin(), more.end());
        return vh::run_tool(args);
    }
    Verdict station(int number) const { return static_cast<Verdict>(client.station(number)); }
    ~Demo() override {
        vh::run_tool({"wipe", "-n", client.name()});
        fs::remove_all(pictures);
    }
};

TEST_F(Demo, PassesAllItemsOfTheDefaultConfiguration) {
    const auto outcome = run({});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_NE(outcome.output.find("13 tests"), std::string::npos) << outcome.output;
    for (const int number : {280, 284, 300, 296, 298, 316, 344, 312, 320, 328, 324, runs::OVERALL})
        EXPECT_EQ(station(number), Verdict::pass) << number << "\n" << outcome.output;
    int shown = 0;
    for (const auto &file : fs::directory_iterator(pictures)) shown += file.file_size() > 1000;
    EXPECT_GE(shown, 24) << outcome.output;
}

TEST_F(Demo, WipesARoundPanel) {
    const std::string config = pictures + ".ini";
    std::ofstream(config) << "[MMI]\r\nLanguage=English\r\nUEShape=1\r\n[TKI_TOUCH]\r\nenable=1\r\n[TKI_KEYS]\r\nenable=0\r\n";
    const auto outcome = run({"--config", config, "--size", "480x480"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(station(320), Verdict::pass) << outcome.output;
    fs::remove(config);
}

TEST_F(Demo, FailsTheItemWhosePartIsMissing) {
    const std::string config = pictures + ".ini";
    std::ofstream(config) << "[MMI]\r\nLanguage=English\r\n[TKI_VIBRATOR]\r\nenable=1\r\n[TKI_TPSELF]\r\nenable=1\r\n"
                             "[TKI_KEYS]\r\nenable=0\r\n[TKI_SIMCARD]\r\nenable=1\r\n";
    for (const auto &[part, vibrator] : {std::pair{"touchselftest", Verdict::pass}, {"vibrator", Verdict::fail}}) {
        const auto outcome = run({"--config", config, "--unfit", part});
        EXPECT_EQ(outcome.status, 1) << outcome.output;
        EXPECT_NE(outcome.output.find("is not good: "), std::string::npos) << outcome.output;
        EXPECT_NE(outcome.output.find("324  TKI_SIMCARD                untested"), std::string::npos) << outcome.output;
        EXPECT_EQ(station(runs::VIBRATOR), vibrator) << outcome.output;
        EXPECT_EQ(station(324), Verdict::untested) << "the run ends at the first failure";
    }
    fs::remove(config);
}
} // namespace
