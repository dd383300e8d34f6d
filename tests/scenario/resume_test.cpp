// An automatic run survives the end of the program: it goes on behind the item that was passed last.
#include "scenario/runs.h"

using runs::LCD, runs::KEYS, runs::VIBRATOR, runs::OVERALL, runs::Stations, runs::NO_FILE;

namespace {

class Resume : public testing::Test {
protected:
    Handset handset{{.speed = runs::FAST, .settings = runs::settings({{"MMI", "restore_autotest", "1"}})}};

    std::string latest() const { return runs::content(handset.data() + "/pv_autotest_latest_pass"); }
    bool marked() const { return runs::content(handset.data() + "/pv_autotest_restore_flag") != NO_FILE; }
    void expect_nothing_resumed() {
        handset.wait_for_text("Device tests");
        EXPECT_EQ(latest(), "FIRST");
    }
};

TEST_F(Resume, GoesOnBehindTheItemPassedLast) {
    expect_nothing_resumed();
    EXPECT_FALSE(marked());
    handset.kill_program(); // in the menu, before any run: the mark "FIRST" begins one
    runs::wait_for_colour(handset);
    EXPECT_EQ(latest(), NO_FILE);
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
    EXPECT_EQ(latest(), "TKI_LCD");

    handset.kill_program(); // behind the first item
    runs::wait_for_vibrator(handset);
    EXPECT_EQ(latest(), NO_FILE);
    EXPECT_TRUE(marked());
    handset.press("pass");
    runs::wait_for_keys(handset);
    EXPECT_EQ(latest(), NO_FILE); // the first pass behind a resume is not noted
    EXPECT_FALSE(marked());

    handset.kill_program(); // so this one loses the run
    expect_nothing_resumed();
    EXPECT_EQ(runs::stations(handset), (Stations{{LCD, Verdict::pass}, {VIBRATOR, Verdict::pass}}));

    handset.reboot();
    runs::pass_lcd(handset);
    runs::pass_vibrator(handset);
    runs::wait_for_keys(handset);
    EXPECT_EQ(latest(), "TKI_VIBRATOR");
    handset.reboot(); // behind the second item
    runs::pass_keys(handset);
    runs::wait_for_list(handset); // which the resumed run was not started from
    EXPECT_EQ(latest(), NO_FILE);
    EXPECT_FALSE(marked());
    EXPECT_EQ(runs::stations(handset), runs::ALL_PASSED);
}

TEST_F(Resume, AnItemInterruptedTwiceLosesTheRun) {
    runs::begin_run(handset);
    runs::wait_for_colour(handset);
    handset.kill_program(); // in the first item
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
    handset.kill_program(); // in the second
    runs::wait_for_vibrator(handset);
    handset.kill_program(); // and once more
    expect_nothing_resumed();
    EXPECT_EQ(runs::stations(handset), (Stations{{LCD, Verdict::pass}}));
}

// Of an ordinary run the power cuts tell.
TEST_F(Resume, AFailureBehindAResumeIsNotResumed) {
    expect_nothing_resumed();
    handset.kill_program(); // begins a run, which fails behind a resume
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
    handset.kill_program();
    runs::wait_for_vibrator(handset);
    handset.press("fail");
    handset.wait_for_text("Device tests");
    EXPECT_EQ(latest(), NO_FILE);
    EXPECT_FALSE(marked());
    handset.kill_program();
    expect_nothing_resumed();
    EXPECT_EQ(runs::stations(handset),
              (Stations{{LCD, Verdict::pass}, {VIBRATOR, Verdict::fail}, {OVERALL, Verdict::fail}}));
}

} // namespace
