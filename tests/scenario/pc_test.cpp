// The PC drives a whole handset: what it is answered, what the operator sees meanwhile, what stays untouched.
#include "scenario/raw_pc.h"
#include "scenario/runs.h"

#include "client/tool.h"

namespace {
using vh::PcLink;

// Every pixel of a coarse grid.
bool all_pixels(const Handset &handset, uint32_t colour) {
    const vh::ScreenView view = handset.screen();
    for (int y = 0; y < view.height(); y += 61)
        for (int x = 0; x < view.width(); x += 67)
            if (handset.client().pixel(x, y) != colour) return false;
    return true;
}
void wait_for_colour(const Handset &handset, uint32_t colour) {
    char name[32];
    snprintf(name, sizeof name, "all pixels %06X", colour);
    handset.wait_until(name, [&] { return all_pixels(handset, colour); });
}

} // namespace

TEST(Pc, ColoursWhileTheMenuIsOpen) {
    Handset handset;
    const vh::ScreenView menu = handset.wait_for_text("Device tests");
    const uint32_t ground = handset.client().pixel(3, menu.height() / 2);
    // White is one less than full: agreed with the line's cameras.
    for (const auto &[word, pixel] : {std::pair{"FFFFFF", 0xFFFFFEu}, {"0000FF", 0x0000FFu}, {"000000", 0x000000u}}) {
        EXPECT_EQ(handset.at(std::string("LCDMoudle testItem ") + word).status, 0) << word;
        wait_for_colour(handset, pixel);
    }
    const vh::ScreenView test = handset.screen();
    EXPECT_TRUE(test.front_covers_screen());
    EXPECT_TRUE(test.front().empty()) << test.summary();
    handset.press("fail"); // an operator's key gives no verdict here
    EXPECT_EQ(handset.at("LCDMoudle testItem FF0000").status, 0);
    wait_for_colour(handset, 0xFF0000);
    EXPECT_EQ(handset.station(280), Verdict::untested);

    EXPECT_EQ(handset.at("GrayLevelMoudle testItem set 10,20,30").status, 0);
    wait_for_colour(handset, 30 * 65536 + 20 * 256 + 10);
    EXPECT_EQ(handset.at("LCDMoudle testItem close").status, 0);
    const vh::ScreenView back = handset.wait_for_text("Device tests");
    EXPECT_EQ(back.summary(), menu.summary()) << "texts and soft keys as before";
    handset.wait_until("the menu's ground", [&] { return handset.client().pixel(3, menu.height() / 2) == ground; });
}

TEST(Pc, ColourInterruptsAnAutomaticRun) {
    Handset handset({.settings = {{"TKI_LCD", "enable", "0"}}});
    handset.tap_text("Device tests");
    handset.tap_text("Automatic run");
    handset.wait_until("the vibrator", [&] { return handset.attr("/sys/class/leds/vibrator/activate") == "1"; });
    EXPECT_EQ(handset.at("LCDMoudle testItem 00FF00").status, 0);
    wait_for_colour(handset, 0x00FF00);
    EXPECT_EQ(handset.attr("/sys/class/leds/vibrator/activate"), "0") << "the vibrator test's window is closed first";
    EXPECT_EQ(handset.at("LCDMoudle testItem close").status, 0);
    const vh::ScreenView list = handset.wait_for_text("Automatic run");
    EXPECT_FALSE(list.front_shows("Vibrator")) << list.summary();
    EXPECT_EQ(handset.station(64), Verdict::untested) << "closing what was open is no verdict";
    // As agreed the interrupted run still counts as one: the operator leaves the list by a soft key before the next.
    handset.tap_text("Automatic run");
    handset.wait_until("the refusal", [&] { return handset.log_contains("TKI_MAIN", "please exit autotest"); });
    handset.press("fail");
    runs::begin_run(handset);
    handset.wait_until("the vibrator", [&] { return handset.attr("/sys/class/leds/vibrator/activate") == "1"; });
}

TEST(Pc, DialogStaysAnswerableAndCloses) {
    Handset handset;
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("CloseDialog testItem start").status, 2) << "none is open";
    handset.key_down("power");
    handset.wait_for("the power-off dialog", [](const vh::ScreenView &view) { return view.shows("Switch off now?"); });
    handset.key_up("power");
    EXPECT_EQ(handset.at("batteryMoudle testItem power").text, "*80");
    EXPECT_EQ(handset.at("testinfoMoudle testItem 281,1,write").status, 0);
    EXPECT_EQ(handset.station(281), Verdict::pass);
    EXPECT_TRUE(handset.screen().shows("Switch off now?")) << handset.screen().summary();
    EXPECT_EQ(handset.at("CloseDialog testItem start").status, 0);
    handset.wait_for("the dialog to go", [](const vh::ScreenView &view) { return !view.shows("Switch off now?"); });
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("CloseDialog testItem start").status, 2);
    EXPECT_EQ(handset.state(), "running") << "closing is not choosing";
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
}

TEST(Pc, KeyTestTellsTheKeys) {
    Handset handset({.settings = {{"TKI_KEYS", "parameter", "VOLUME_UP:1;VOLUME_DOWN:1;POWER:1;CAMERA:1"}}});
    EXPECT_EQ(handset.at("keyboardMoudle testItem open").status, 0);
    handset.wait_for_text("Volume up");
    handset.press("volumeup");
    handset.wait_for("the line to go", [](const vh::ScreenView &view) { return !view.shows("Volume up"); });
    handset.press("volumedown");
    handset.wait_for("the line to go", [](const vh::ScreenView &view) { return !view.shows("Volume down"); });
    EXPECT_EQ(handset.at("keyboardMoudle testItem close").text, "115,114,");
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.station(312), Verdict::untested) << "only an automatic run records";
}

TEST(Pc, RebootAndPowerOff) {
    Handset handset;
    handset.shell("echo kept > /data/file");
    RawPc(handset).send("RebootMoudle testItem close\n");
    handset.wait_until("the second boot", [&] { return handset.status().value("boots", 0) == 2; }, 20000);
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.last(), "reboot");
    EXPECT_EQ(handset.shell("cat /data/file").output, "kept\n");
    handset.wait_for_pc();
    EXPECT_EQ(handset.at("PowerOffMoudle testItem close").status, 0);
    handset.wait_until("power-off", [&] { return handset.state() == "off"; }, 20000);
    EXPECT_EQ(handset.last(), "power-off");
}

TEST(Pc, ConfigurationChangeSurvivesAReboot) {
    Handset handset;
    EXPECT_FALSE(handset.wait_for_text("Device tests").shows("RF coupling"));
    const std::string before = handset.shell("cat /etc/tki_config.ini").output;
    EXPECT_NE(handset.shell("echo x >> /etc/tki_config.ini").status, 0) << "the system is read-only before";
    EXPECT_EQ(handset.at("ConfigMoudle testItem write MAIN_UI,coupleTest,1").status, 0);
    std::string expected = before;
    const size_t at = expected.find("coupleTest=0");
    ASSERT_NE(at, std::string::npos);
    expected.replace(at, 12, "coupleTest=1");
    EXPECT_TRUE(handset.shell("cat /etc/tki_config.ini").output == expected) << "one line changes, and no line end";
    handset.reboot();
    handset.wait_for_text("RF coupling");
    EXPECT_TRUE(handset.shell("cat /etc/tki_config.ini").output == expected);
}

TEST(Pc, NoReplyLeavesItsBuffer) {
    const std::string build = program_folder();
    const auto run = vh::run_tool({"exec", "--", "env", "LD_LIBRARY_PATH=" + build + "/lib", "ASAN_OPTIONS=detect_leaks=0",
                                   build + "/bin/unit_replies"});
    EXPECT_EQ(run.status, 0) << run.output;
}
