// A handset comes up, is seen, and the tool says what to do.
#include "scenario/handset.h"

#include <set>

TEST(Boot, MenuAttributesScreenshotAndPc) {
    Handset handset;
    handset.wait_for_text("Device tests");
    handset.set_attr("/sys/class/power_supply/battery/capacity", "42");
    EXPECT_EQ(handset.attr("/sys/class/power_supply/battery/capacity"), "42");
    EXPECT_EQ(handset.shell("cat /sys/class/power_supply/battery/capacity").output, "42\n");
    EXPECT_THROW(handset.attr("/sys/no/such/node"), vh::ClientError);

    const std::string picture = handset.client().paths().root + "/menu.png";
    ASSERT_EQ(handset.tool({"screenshot", picture}).status, 0);
    const std::string head = content_of(picture).substr(0, 24);
    EXPECT_EQ(head.substr(1, 3), "PNG");
    EXPECT_EQ(head.substr(16), std::string("\0\0\x02\xd0\0\0\x05\0", 8)) << "width and height";
    std::set<uint32_t> colours;
    for (int y = 0; y < 1280; y += 3) colours.insert(handset.client().pixel(100, y));
    EXPECT_GT(colours.size(), 1U) << "the menu is a plain area";
}

TEST(Boot, ToolSaysWhatToDo) {
    Handset handset;
    EXPECT_EQ(handset.tool({"at", "no such command"}).status, 2);
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
