// The PC drives a whole handset: what it is answered, what the operator sees meanwhile, what stays untouched.
#include "scenario/raw_pc.h"

#include <fstream>

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

void wait_for_state(const Handset &handset, const std::string &state) {
    handset.wait_until("the state " + state, [&] { return handset.status().value("state", "") == state; }, 20000);
}
} // namespace

TEST(Pc, ColoursWhileTheMenuIsOpen) {
    Handset handset;
    const vh::ScreenView menu = handset.wait_for_text("Device tests");
    const uint32_t ground = handset.client().pixel(3, menu.height() / 2);
    // White is one less than full: agreed with the line's cameras.
    const std::pair<const char *, uint32_t> colours[] = {
        {"FFFFFF", 0xFFFFFE}, {"FF0000", 0xFF0000}, {"00FF00", 0x00FF00}, {"0000FF", 0x0000FF}, {"000000", 0x000000}};
    for (const auto &[word, pixel] : colours) {
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
    handset.tap_text("Device tests");
    handset.wait_for("the list's own soft key", [](const vh::ScreenView &view) {
        return view.front_shows("Automatic run") && view.soft_keys()[2] == "Back";
    });
    handset.tap_text("Automatic run");
    handset.wait_until("the vibrator", [&] { return handset.attr("/sys/class/leds/vibrator/activate") == "1"; });
}

TEST(Pc, LinesAtTheirLimits) {
    Handset handset;
    const std::string write = "FileOptMoudle testItem write ", read = "FileOptMoudle testItem read ";
    const std::string fits = "/data/long," + std::string(255 - 11, 'y'), over = "/data/over," + std::string(256 - 11, 'z');
    std::string every_byte = "vibratorMoudle";
    for (int c = 1; c < 256; ++c)
        if (c != '\n' && c != '\r') every_byte += static_cast<char>(c);
    struct Row {
        std::string line, expected;
    };
    const Row rows[] = {
        {"no such thing", answer(2)},
        {"", answer(2, "empty command")},
        {"\r", answer(2, "empty command")},
        {" ", answer(2)},
        {std::string(1023, 'x'), answer(2)},
        {std::string(1024, 'x'), answer(2, "line too long")},
        {std::string(70000, 'x'), answer(2, "line too long")},
        {std::string("batteryMoudle testItem power\0x", 30), answer(2, "malformed")},
        {every_byte, answer(2)},
        {write + fits, answer(0)},
        {read + "/data/long", answer(0, fits.substr(11))},
        {write + over, answer(2)},
        {read + "/data/over", answer(0)},
        {"batteryMoudle testItem power\r", answer(0, "*80")},
        {"batteryMoudle testItem power", answer(0, "*80")},
    };
    std::string lines, expected;
    for (const Row &row : rows) {
        lines += row.line + "\n";
        expected += row.expected;
    }
    EXPECT_EQ(RawPc(handset).converse(lines), expected) << "sent in one go, answered in order";
    EXPECT_EQ(handset.shell("test -e /data/over").status, 1);

    RawPc slow(handset); // a line that comes byte by byte, its line end later still
    for (const char c : std::string("batteryMoudle testItem power\r")) ASSERT_TRUE(slow.send(std::string(1, c)));
    EXPECT_EQ(handset.at("batteryMoudle testItem power").text, "*80");
    EXPECT_EQ(slow.converse("\n"), answer(0, "*80"));
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
    EXPECT_EQ(handset.status().value("state", ""), "running") << "closing is not choosing";
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
}

TEST(Pc, FlagsAndIdentityComeFromThePartitions) {
    Handset handset({.before_boot = [](const vh::StatePaths &paths) {
        std::ofstream(paths.part("vxoprod")) << "soft=OUT-7.1\nsoft_internal=IN-7.1.2\nhard=HW-B\npsn=PSN0042\nboard=BRD-5\nflash=UFS-64\n";
    }});
    const std::pair<const char *, const char *> readers[] = {{"softwareMoudle testItem external", "OUT-7.1"},
                                                             {"softwareMoudle testItem internal", "IN-7.1.2"},
                                                             {"hardwareMoudle testItem read", "HW-B"},
                                                             {"IMEIMoudle testItem read", "PSN0042"}, // on purpose
                                                             {"barcodeMoudle testItem read", "BRD-5"},
                                                             {"flashtypeMoudle testItem read", "UFS-64"}};
    for (const auto &[command, expected] : readers) {
        const PcLink::Reply reply = handset.at(command);
        EXPECT_EQ(reply.status, 0) << command;
        EXPECT_EQ(reply.text, expected) << command;
    }
    for (const auto &[station, verdict] : {std::pair{0, 1}, {279, 2}, {399, 1}, {282, 1}}) {
        const std::string number = std::to_string(station);
        EXPECT_EQ(handset.at("testinfoMoudle testItem " + number + "," + std::to_string(verdict) + ",write").status, 0);
        EXPECT_EQ(static_cast<int>(handset.station(station)), verdict) << station;
    }
    EXPECT_EQ(handset.station(64), Verdict::untested);
    EXPECT_EQ(handset.at("testinfoMoudle testItem 283,2,write").status, 0);
    EXPECT_EQ(handset.station(64), Verdict::fail) << "a failed station fails the whole";
    EXPECT_EQ(handset.station(282), Verdict::pass) << "its neighbour stays";
    handset.client().set_station(398, 2);
    EXPECT_EQ(handset.at("testinfoMoudle testItem 398,read").text, "2");
    std::ifstream before_file(handset.client().paths().part("vxoflag"), std::ios::binary);
    const std::string before((std::istreambuf_iterator<char>(before_file)), {});
    for (const char *wrong : {"400,1,write", "1024,1,write", "-1,1,write", "284,3,write", "284,0,write", "99999999999,1,write"})
        handset.at(std::string("testinfoMoudle testItem ") + wrong);
    std::ifstream after_file(handset.client().paths().part("vxoflag"), std::ios::binary);
    EXPECT_TRUE(before == std::string((std::istreambuf_iterator<char>(after_file)), {})) << "the partition changed";
}

TEST(Pc, KeyTestTellsTheKeys) {
    Handset handset({.settings = {{"TKI_KEYS", "parameter", "VOLUME_UP:1;VOLUME_DOWN:1;POWER:1;CAMERA:1"}}});
    EXPECT_EQ(handset.at("keyboardMoudle testItem open").status, 0);
    handset.wait_for_text("Volume up");
    handset.press("volumeup");
    handset.wait_for("the line to go", [](const vh::ScreenView &view) { return !view.shows("Volume up"); });
    handset.press("volumedown");
    handset.wait_for("the line to go", [](const vh::ScreenView &view) { return !view.shows("Volume down"); });
    const PcLink::Reply closed = handset.at("keyboardMoudle testItem close");
    EXPECT_EQ(closed.status, 0);
    EXPECT_EQ(closed.text, "115,114,");
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("keyboardMoudle testItem close").text, "");
    EXPECT_EQ(handset.station(312), Verdict::untested) << "only an automatic run records";
}

TEST(Pc, RebootAndPowerOff) {
    Handset handset;
    handset.shell("echo kept > /data/file");
    RawPc(handset).send("RebootMoudle testItem close\n");
    handset.wait_until("the second boot", [&] { return handset.status().value("boots", 0) == 2; }, 20000);
    wait_for_state(handset, "running");
    EXPECT_EQ(handset.status().value("last", ""), "reboot");
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.shell("cat /data/file").output, "kept\n");

    handset.wait_until("the PC channel", [&] {
        try {
            return handset.at("batteryMoudle testItem power").status == 0;
        } catch (const vh::ClientError &) {
            return false;
        }
    });
    EXPECT_EQ(handset.at("PowerOffMoudle testItem close").status, 0);
    wait_for_state(handset, "off");
    EXPECT_EQ(handset.status().value("last", ""), "power-off");
    EXPECT_EQ(handset.status().value("boots", 0), 2);
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
    for (const char *wrong : {"MAIN_UI,coupleTest", "MAIN_UI", ",,", "MAIN_UI,coupleTest,2;id", "MAIN_UI,a b,1"})
        EXPECT_EQ(handset.at(std::string("ConfigMoudle testItem write ") + wrong).status, 2) << wrong;
    handset.reboot();
    handset.wait_for_text("RF coupling");
    EXPECT_TRUE(handset.shell("cat /etc/tki_config.ini").output == expected);
}

TEST(Pc, MmiSwitchLeavesTheMenuUsable) {
    Handset handset;
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("mmiMoudle testItem close").status, 0);
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.at("mmiMoudle testItem open").status, 0);
    handset.tap_text("Device tests");
    handset.wait_for_text("Automatic run");
}

namespace {
// All that a hostile argument could have touched: files with their content, attributes, processes.
std::string everything(const Handset &handset) {
    std::string all = handset.shell("find /data /cache /system /tmp -type f ! -name tki.log -exec md5sum {} + | sort -k 2;"
                                    "find /data /cache /tmp ! -type f | sort; ps -eo args | grep -v -e find -e ps -e sort -e grep | sort")
                          .output;
    for (const char *path : {"/sys/class/leds/lcd-backlight/brightness", "/proc/panel_hue_main_switch", "/proc/panel_reg",
                             "/proc/panel_cabc_level_switch", "/sys/power/autosleep", "/sys/class/graphics/fb0/blank"})
        all += std::string(path) + "=" + handset.attr(path) + "\n";
    return all;
}
} // namespace

TEST(Pc, HostileArgumentsReachNothing) {
    Handset handset;
    handset.wait_for_text("Device tests");
    handset.shell("echo secret > /data/secret; mkdir /data/folder; ln -s /etc /data/link");
    const std::vector<std::string> hostile = {
        ";touch /data/pwned", "$(touch /data/pwned)", "`touch /data/pwned`", "|touch /data/pwned", "&touch /data/pwned", ">/data/pwned",
        "'\";touch /data/pwned;\"'", "../../data/pwned", "%n%s%n%s%500000d", "-rf /data", "\t\x01\x1b[2J\x7f",
        "\xff\xfe\x80", "main,1;touch /data/pwned", "main,$(touch /data/pwned)", "../../../data/pwned,1", "0x1,`touch /data/pwned`",
        "MMI,LogPath,/data;touch /data/pwned", "MMI,LogPath,$(touch /data/pwned)", "MMI,$IFS,1", "MMI,-x,../..//",
        std::string(255, 'A'), "main," + std::string(250, '7'), "7," + std::string(250, '7'), "1,2,3 4"};
    // These take an argument that is used; each must refuse.
    const std::string refusing[] = {"HueMoudle testItem set ", "HueRegMoudle testItem set ", "GrayLevelMoudle testItem set ",
                                    "LCDbacklightMoudle testItem ", "commonModule testItem showImage ", "SwitchSSID testItem ",
                                    "WiFiDataRate testItem set ", "simMoudle testItem ", "sdCardMoudle testItem ",
                                    "LCDTurnoffMoudle testItem "};
    // These answer 0 whatever happened, or take what is harmless.
    const std::string doing_nothing[] = {"FileOptMoudle testItem read ", "FileOptMoudle testItem write ",
                                         "FileOptMoudle testItem remove ", "ConfigMoudle testItem write ",
                                         "WiFiConCptMoudle testItem close ", "barcodeMoudle testItem read ",
                                         "batteryMoudle testItem power "};
    const std::string before = everything(handset);
    ASSERT_NE(before.find("/data/secret"), std::string::npos) << before;
    ASSERT_NE(before.find("tki_config.ini"), std::string::npos);
    PcLink pc(handset.client());
    for (const std::string &argument : hostile) {
        for (const std::string &command : refusing) EXPECT_EQ(pc.at(command + argument).status, 2) << command + argument;
        for (const std::string &command : doing_nothing) EXPECT_NE(pc.at(command + argument).status, 3) << command + argument;
    }
    for (const std::string path : {"/etc/passwd", "/data/../etc/passwd", "/data/link/passwd", "/data/folder", "/data//secret",
                                   "/data/./secret", "data/secret", "/system/etc/tki_config.ini", "/data", "/data/folder/../secret"}) {
        EXPECT_EQ(pc.at("FileOptMoudle testItem read " + path).text, "") << path;
        pc.at("FileOptMoudle testItem write " + path + ",x");
        pc.at("FileOptMoudle testItem remove " + path);
    }
    // A line end inside an argument only begins the next command.
    EXPECT_EQ(RawPc(handset).converse("HueMoudle testItem set main,1;\n$(touch /data/pwned)\n"), answer(2) + answer(2));
    EXPECT_EQ(everything(handset), before);
    EXPECT_EQ(pc.at("FileOptMoudle testItem read /data/secret").text, "secret\n") << "what is allowed still works";
    handset.wait_for_text("Device tests");
}
