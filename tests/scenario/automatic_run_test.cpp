// Automatic runs as the operator makes them: verdicts on the partition, what follows what, and how a run ends.
#include "scenario/runs.h"

using runs::LCD, runs::KEYS, runs::VIBRATOR, runs::OVERALL, runs::Stations;

TEST(AutomaticRun, EndsAtAFailureAndCanBeRunAgain) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"TKI_SIMCARD", "enable", "1"}, {"TKI_SIMCARD", "auto", "0"}})});
    runs::begin_run(handset);
    runs::see_colours(handset);
    handset.press("fail");
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset), (Stations{{LCD, Verdict::fail}, {OVERALL, Verdict::fail}}));

    handset.tap_text("Automatic run");
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
    runs::tap_softkey(handset, 2); // the same as the key
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset),
              (Stations{{LCD, Verdict::pass}, {VIBRATOR, Verdict::fail}, {OVERALL, Verdict::fail}}));

    handset.tap_text("Automatic run");
    runs::pass_lcd(handset);
    runs::pass_vibrator(handset);
    runs::pass_keys(handset);
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset), runs::ALL_PASSED);
}

// Handset time is the wall's here: the second must be long beside three touches.
TEST(AutomaticRun, HurriedTouchesShowEveryColourAllTheSame) {
    Handset handset({.settings = {{"TKI_LCD", "parameter", "colornum:3"}}});
    runs::begin_run(handset);
    runs::wait_for_colour(handset);
    const auto pixel = [&] { return handset.client().pixel(360, 640); };
    std::vector<uint32_t> seen{pixel()};
    handset.wait_for("the display's question", [&](const vh::ScreenView &view) {
        if (view.front_shows(runs::COLOUR_NOTE)) return true;
        for (int touch = 0; touch < 3; ++touch) {
            handset.client().tap(360, 640, 1);
            handset.dump(); // its painting is over
        }
        if (handset.screen().front_covers_screen() && pixel() != seen.back()) seen.push_back(pixel());
        return false;
    }, 30000);
    EXPECT_EQ(seen, (std::vector<uint32_t>{0xfffffe, 0xff0000, 0x00ff00}));
    handset.press("pass");
    runs::wait_for_vibrator(handset);
    EXPECT_EQ(handset.station(LCD), Verdict::pass);
}

TEST(AutomaticRun, WithoutOperatorsItemsOnceThenAll) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"MMI", "mmi_flag", "1"}, {"TKI_VIBRATOR", "mmi", "1"}})});
    const auto config = [&] { return handset.shell("cat /etc/tki_config.ini").output; };
    const auto mount_line = [&] { return handset.shell("grep ' /system ' /proc/mounts").output; };
    std::string wanted = config();
    EXPECT_NE(mount_line().find(" ro"), std::string::npos) << mount_line();

    runs::begin_run(handset);
    runs::pass_lcd(handset);
    runs::pass_keys(handset);
    runs::wait_for_list(handset);
    EXPECT_EQ(runs::stations(handset), (Stations{{LCD, Verdict::pass}, {KEYS, Verdict::pass}, {OVERALL, Verdict::pass}}));

    const std::string was = "\r\nmmi_flag=1\r\n";
    ASSERT_NE(wanted.find(was), std::string::npos);
    wanted.replace(wanted.find(was), was.size(), "\r\nmmi_flag=0\r\n");
    EXPECT_EQ(config(), wanted);
    EXPECT_NE(mount_line().find(" rw"), std::string::npos) << mount_line();

    handset.reboot(); // the change outlives it: the next run has all items
    runs::begin_run(handset);
    handset.wait_for_text("Already passed. Run again?");
    handset.press("back");
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
}

TEST(AutomaticRun, IsRepeatedOnTheAuxiliaryDisplay) {
    Handset handset({.speed = runs::FAST,
                     .settings = runs::settings({{"MMI", "aux_lcd", "1"}, {"TKI_KEYS", "enable", "0"}})});
    const std::string flag = handset.data() + "/pv_aux_lcd_test_flag", black = handset.data() + "/fb0_black_flag";
    const std::string main_touch = "/proc/touchscreen/ts_main_ctrl";
    const auto wait_for_restart = [&](int pid) {
        handset.wait_until("a program that started by itself", [&] {
            const int now = handset.status().value("program_pid", -1);
            return now > 0 && now != pid;
        });
        EXPECT_EQ(handset.last(), "exit");
        handset.wait_for_text("Device tests");
    };
    handset.shell("touch /data/fb0_black_flag");
    int pid = handset.status().value("program_pid", -1);
    runs::begin_run(handset);
    runs::pass_lcd(handset);
    runs::wait_for_vibrator(handset);
    handset.key_down("pass"); // nobody reads its release
    wait_for_restart(pid);
    EXPECT_NE(runs::content(flag), runs::NO_FILE);
    EXPECT_EQ(runs::stations(handset),
              (Stations{{LCD, Verdict::pass}, {VIBRATOR, Verdict::pass}, {OVERALL, Verdict::fail}}));

    pid = handset.status().value("program_pid", -1);
    runs::begin_run(handset);
    runs::wait_for_colour(handset);
    EXPECT_EQ(handset.attr(main_touch), "0");
    runs::see_colours(handset);
    handset.key_down("pass"); // the vibrator is no item of this display's list
    wait_for_restart(pid);
    EXPECT_EQ(runs::content(flag), runs::NO_FILE);
    EXPECT_EQ(runs::content(black), runs::NO_FILE);
    EXPECT_EQ(handset.attr(main_touch), "1");
    EXPECT_EQ(handset.station(OVERALL), Verdict::pass);
}
