// The bare board's tests on a whole handset: what is fitted passes, what is taken away fails at once; the last command.
#include "scenario/runs.h"

TEST(Board, PartsPassWhileTheyAreFitted) {
    Handset handset;
    handset.wait_for_pc();
    const std::string blocked = "/sys/class/rfkill/rfkill1/soft";
    const auto start = [&](const std::string &command) { return handset.at(command + " testItem start").status; };
    EXPECT_EQ(start("CameraBackPCBA"), 0);
    EXPECT_EQ(start("WifiPCBA"), 0);
    handset.wait_for_text("PCBA WiFi Testing...");
    handset.set_attr(blocked, "1");
    EXPECT_EQ(start("WifiPCBA"), 2);
    EXPECT_EQ(handset.tool({"headset", "headset"}).status, 0);
    EXPECT_EQ(start("FmPCBA"), 0);
    EXPECT_EQ(start("SimPCBA"), 0);
    for (const char *part : {"sim0", "camera-back", "fm"}) EXPECT_EQ(handset.tool({"unfit", part}).status, 0) << part;
    for (const char *command : {"SimPCBA", "CameraBackPCBA", "FmPCBA"}) EXPECT_EQ(start(command), 2) << command;
    EXPECT_EQ(handset.at("SimPCBA testItem stop").status, 0);
    handset.wait_for_text("Device tests");
}

TEST(Board, ThePowerOffWindowForgetsTheRebootCycle) {
    Handset handset;
    handset.wait_for_pc();
    const std::string counter = handset.cache() + "/tki/rebootAging.txt";
    std::ofstream(counter) << "3";
    EXPECT_EQ(handset.at("PowerOffMoudle testItem close").status, 0);
    handset.wait_until("the handset to be off", [&] { return handset.state() == "off"; });
    EXPECT_EQ(runs::content(counter), runs::NO_FILE);
}
