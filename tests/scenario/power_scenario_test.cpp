// Sleep, wake-up, power-off and battery warnings of a whole handset. Its time is scaled; attributes are the hardware's side.
#include "scenario/power.h"

using namespace power;

TEST(Power, StandbyByThePc) {
    Handset handset;
    handset.wait_for_text("Device tests");
    wait_bar(handset, "80%"); // a battery has been reported; without one there is no sleep
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    wait_asleep(handset);
    EXPECT_EQ(handset.at("batteryMoudle testItem power").text, "*80") << "a sleeping handset answers the PC";
    EXPECT_EQ(handset.at("standbyMoudle testItem close").status, 0);
    wait_awake(handset);

    handset.set_attr(BATTERY + "present", "0");
    handset.wait_until("a handset without battery", [&] {
        handset.at("standbyMoudle testItem open");
        return handset.log_contains("batteryObserver", "current cannot do idle,no battery id,present=0");
    });
    EXPECT_TRUE(handset.log_contains("batteryObserver", "SetSleepStatus end"));
    handset.at("standbyMoudle testItem close");
    wait_awake(handset);
    handset.at("standbyMoudle testItem open");
    EXPECT_TRUE(is_awake(handset)) << "on a bench supply it never sleeps";

    handset.set_attr(BATTERY + "present", "1");
    handset.fault(BACKLIGHT, "eio");
    handset.wait_until("the refused backlight", [&] {
        handset.at("standbyMoudle testItem open");
        return handset.log_contains("batteryObserver", "set brightness = 10 fail.");
    });
    EXPECT_EQ(handset.attr(AUTOSLEEP), "off") << "a handset whose light stays on is not put to sleep";
    handset.fault(BACKLIGHT, "none");
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    wait_asleep(handset);
}

TEST(Power, NeverSleepsWhenForbidden) {
    Handset handset({.speed = 50, .settings = {idle_setting("0", 5, 10)}});
    handset.wait_for_text("Device tests");
    handset.set_attr(USB, "0");
    wait_bar(handset, "Unplugged");
    EXPECT_EQ(handset.at("standbyMoudle testItem open").status, 0);
    handset.tap_text("Device tests");
    handset.tap_text("Automatic run"); // a test and its end allow sleep again elsewhere
    handset.wait_for("the colour test", [](const vh::ScreenView &view) { return view.front_covers_screen() && view.front().empty(); });
    EXPECT_EQ(handset.at("LCDMoudle testItem close").status, 0);
    handset.wait_ms(40000); // what must not happen cannot be waited for
    EXPECT_TRUE(is_awake(handset));
    EXPECT_EQ(handset.state(), "running");
}

TEST(Power, HeatSwitchesOffAtOnce) {
    Handset handset;
    wait_bar(handset, "80%");
    handset.set_attr(BATTERY + "temp", "455");
    wait_bar(handset, "Too hot");
    handset.set_attr(BATTERY + "temp", "460");
    handset.wait_until("the report of 460", [&] { return handset.at("batteryMoudle testItem temperature").text == "*46.0"; });
    EXPECT_EQ(handset.log_count("battery Temperature Warning"), 1U) << "warned once";
    handset.set_attr(BATTERY + "temp", "599");
    handset.wait_until("the report of 599", [&] { return handset.at("batteryMoudle testItem temperature").text == "*59.9"; });
    EXPECT_EQ(handset.state(), "running");
    handset.set_attr(BATTERY + "temp", "600"); // although it charges
    wait_off(handset);
    EXPECT_TRUE(handset.log_contains("batteryObserver", "battery temperature error!,temperature=600,g_powerofftemp = 600"));
}

TEST(Power, TheBatteryByTheCommandLine) {
    Handset handset({.speed = 100, .settings = {idle_setting("0", 90, 1800)}});
    handset.wait_for_text("Device tests");
    const std::string before = handset.tool({"battery"}).output;
    EXPECT_NE(before.find("level:"), std::string::npos) << before;
    EXPECT_NE(before.find("temperature: 28.5 C"), std::string::npos) << before;
    const std::vector<std::string> bad[] = {{"--level", "101"}, {"--level", "abc"}, {"--level", "50", "--charger", "solar"},
                                            {"--temp", "nan"}, {"--health", "ill"}, {"--present", "2"}, {"--drain", "-1"}};
    for (std::vector<std::string> args : bad) {
        args.insert(args.begin(), "battery");
        const vh::Client::Outcome refused = handset.tool(args);
        EXPECT_EQ(refused.status, 1) << args[1] << args[2];
        EXPECT_NE(refused.output.find(" is "), std::string::npos) << refused.output;
    }
    EXPECT_EQ(handset.attr(USB), "1");
    EXPECT_GE(std::stoi(handset.attr(BATTERY + "capacity")), 80) << "a refused order has set nothing";

    ASSERT_EQ(handset.tool({"battery", "--level", "33", "--drain", "360"}).status, 0); // although it charges: 10 % a second
    wait_bar(handset, "Low: 30%");
    handset.tool({"battery", "--drain", "0", "--level", "100"});
    wait_bar(handset, "100%");
    EXPECT_EQ(handset.attr(BATTERY + "status"), "Full");
    handset.tool({"battery", "--level", "60", "--temp", "40", "--charger", "none", "--drain", "default"});
    wait_bar(handset, "Unplugged");
    EXPECT_EQ(handset.attr(BATTERY + "status"), "Discharging");
    handset.tool({"battery", "--health", "dead", "--present", "0"});
    handset.wait_until("a dead battery", [&] { return handset.at("batteryMoudle testItem health").status == 2; });
}
