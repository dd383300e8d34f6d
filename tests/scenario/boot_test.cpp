// A handset comes up, is seen, and survives what the workstation can do to it.
#include "scenario/handset.h"

#include <array>
#include <fstream>
#include <set>

TEST(Boot, MenuAttributesScreenshotAndPc) {
    Handset handset;
    const vh::ScreenView menu = handset.wait_for_text("Device tests");
    EXPECT_EQ(menu.width(), 720);
    EXPECT_TRUE(menu.shows("Product info"));

    handset.set_attr("/sys/class/power_supply/battery/capacity", "42");
    EXPECT_EQ(handset.attr("/sys/class/power_supply/battery/capacity"), "42");
    EXPECT_EQ(handset.shell("cat /sys/class/power_supply/battery/capacity").output, "42\n");
    EXPECT_THROW(handset.attr("/sys/no/such/node"), vh::ClientError);

    const std::string picture = handset.client().paths().root + "/menu.png";
    ASSERT_EQ(handset.tool({"screenshot", picture}).status, 0);
    std::ifstream file(picture, std::ios::binary);
    std::array<char, 24> head{};
    file.read(head.data(), head.size());
    EXPECT_EQ(std::string(head.data() + 1, 3), "PNG");
    const auto number = [&](size_t at) { // width and height, big endian
        return static_cast<unsigned char>(head[at + 2]) * 256 + static_cast<unsigned char>(head[at + 3]);
    };
    EXPECT_EQ(number(16), 720);
    EXPECT_EQ(number(20), 1280);
    std::set<uint32_t> colours;
    for (int y = 0; y < 1280; y += 3) colours.insert(handset.client().pixel(100, y));
    EXPECT_GT(colours.size(), 1U) << "the menu is a plain area";

    EXPECT_EQ(handset.at("no such command").status, 2);
    EXPECT_EQ(handset.tool({"at", "no such command"}).status, 2);
}

TEST(Boot, StateSurvivesRebootAndTheProgramIsStartedAgain) {
    Handset handset;
    handset.shell("echo kept > /data/file; echo gone > /tmp/file");
    handset.kill_program();
    handset.wait_for_text("Device tests");
    handset.reboot();
    handset.wait_for_text("Device tests");
    EXPECT_EQ(handset.shell("cat /data/file").output, "kept\n");
    EXPECT_NE(handset.shell("cat /tmp/file").status, 0);
}

TEST(Boot, OptionsReachTheProgram) {
    Handset handset({.size = "480x800", .settings = {{"MMI", "Language", "Chinese"}, {"MAIN_UI", "coupleTest", "1"}}});
    const vh::ScreenView menu = handset.wait_for_text("设备测试");
    EXPECT_EQ(menu.width(), 480);
    EXPECT_EQ(menu.height(), 800);
    EXPECT_TRUE(menu.shows("耦合测试"));
}

TEST(Boot, ToolSaysWhatToDo) {
    Handset handset;
    EXPECT_NE(handset.tool({"boot", "--headless"}).status, 0) << "a second launcher of the same handset";
    const vh::Client::Outcome wrong = handset.tool({"key", "nosuchkey"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_NE(wrong.output.find("volumeup"), std::string::npos) << wrong.output;
    ASSERT_EQ(handset.tool({"stop"}).status, 0);
    for (const char *command : {"dump", "status"})
        EXPECT_NE(handset.tool({command}).output.find("./handset boot -n " + handset.client().name()), std::string::npos)
            << handset.tool({command}).output;
    EXPECT_EQ(handset.tool({"dump"}).status, 1);
    ASSERT_EQ(handset.tool({"boot", "--headless"}).status, 0);
    handset.wait_for_text("Device tests");
}

TEST(Boot, TwoHandsetsDoNotMeet) {
    Handset one, two;
    one.shell("echo one > /data/who");
    two.shell("echo two > /data/who");
    EXPECT_EQ(one.shell("cat /data/who").output, "one\n");
    one.tap_text("Device tests");
    one.wait_for_text("Automatic run");
    EXPECT_TRUE(two.screen().front_shows("Device tests")) << two.screen().summary();
}
