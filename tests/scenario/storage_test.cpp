// Storage that is full, read-only or broken: the program goes on, says so once, and keeps what it has reported.
#include "scenario/runs.h"

using runs::LCD, runs::KEYS, runs::VIBRATOR, runs::OVERALL, runs::Stations, runs::NO_FILE;

namespace {

const Stations EARLIER{{4, Verdict::fail}, {283, Verdict::pass}};
const Stations PASSED = [] {
    Stations all = runs::ALL_PASSED;
    all.insert(EARLIER.begin(), EARLIER.end());
    return all;
}();

class BadStorage : public testing::Test {
protected:
    Handset handset{{.speed = runs::FAST,
                     .settings = runs::settings({{"MMI", "restore_autotest", "1"}}),
                     .storage = "faults",
                     .before_boot = [](const vh::StatePaths &paths) { runs::write_flags(paths, EARLIER); }}};

    void order(const std::string &path, const std::string &fault) {
        const vh::Client::Outcome done = handset.tool({"storage", "fault", path, fault});
        if (done.status != 0) throw std::runtime_error(done.output);
    }
    // Whatever a restart has brought up, up to the menu.
    void to_menu() {
        handset.wait_for("the menu", [this](const vh::ScreenView &view) {
            if (view.front_covers_screen() && view.front().empty()) handset.tap(view.width() / 2, view.height() / 2);
            else if (view.front_shows(runs::COLOUR_NOTE)) handset.press("fail");
            return view.front_shows("Device tests");
        });
    }
    void pass_run() {
        runs::open_list(handset);
        handset.tap_text("Automatic run");
        handset.wait_for("the run, or whether to run again", [this](const vh::ScreenView &view) {
            if (view.front_shows("Already passed. Run again?")) handset.press("108");
            return view.front_covers_screen() && view.front().empty();
        });
        runs::pass_lcd(handset);
        runs::pass_vibrator(handset);
        runs::pass_keys(handset);
        runs::wait_for_list(handset);
        runs::tap_softkey(handset, 2);
        handset.wait_for_text("Device tests");
    }
    void expect_pc_works() {
        EXPECT_EQ(handset.at("batteryMoudle testItem power").status, 0);
        EXPECT_EQ(handset.at("testinfoMoudle testItem 283,read").text, "1");
    }
    std::string latest() const { return runs::content(handset.data() + "/pv_autotest_latest_pass"); }
    // How often the log complains of the storage.
    size_t complaints() const {
        size_t count = 0;
        for (const char *what : {"No space left", "Read-only file system", "Input/output error", "flag area unreadable"})
            count += handset.log_count(what);
        return count;
    }
};

TEST_F(BadStorage, FullStorageKeepsTheVerdicts) {
    order("/data", "full");
    order("/cache", "full");
    pass_run();
    expect_pc_works();
    EXPECT_EQ(runs::stations(handset), PASSED);
    EXPECT_LE(complaints(), 3U); // one for each mark that found no room
    handset.reboot();
    handset.wait_for_text("Device tests"); // no mark of a run found room
    EXPECT_EQ(runs::stations(handset), PASSED);

    order("/data", "none");
    handset.reboot();
    to_menu();
    pass_run();
    EXPECT_EQ(runs::stations(handset), PASSED);
    EXPECT_EQ(latest(), NO_FILE);
}

TEST_F(BadStorage, ReadOnlyCacheAndBrokenDataHinderNothing) {
    order("/cache", "read-only");
    pass_run();
    handset.reboot();
    handset.wait_for_text("Device tests");
    EXPECT_TRUE(handset.log_contains("TKILOG", "Read-only file system"));
    EXPECT_LE(complaints(), 1U);
    order("/data", "eio");
    pass_run();
    expect_pc_works();
    EXPECT_EQ(runs::stations(handset), PASSED);
    handset.reboot();
    handset.wait_for_text("Device tests");
    expect_pc_works();
    EXPECT_EQ(runs::stations(handset), PASSED);
}

TEST_F(BadStorage, BrokenFlagsAreLeftAlone) {
    order("vxoflag", "eio");
    pass_run();
    EXPECT_EQ(handset.at("batteryMoudle testItem power").status, 0);
    EXPECT_EQ(runs::stations(handset), EARLIER); // a byte that cannot be read is not written
    EXPECT_TRUE(handset.log_contains("CHECKTESTINFO", "flag area unreadable, nothing written"));
    EXPECT_LE(complaints(), 10U); // two for each verdict, one for each look at the flags
    order("vxoflag", "none");
    pass_run();
    EXPECT_EQ(runs::stations(handset), PASSED);
}

TEST_F(BadStorage, ABrokenStoreMeansDefaults) {
    order("vxocfg", "eio");
    handset.reboot();
    to_menu();
    expect_pc_works();
    EXPECT_LE(complaints(), 1U);
}

} // namespace
